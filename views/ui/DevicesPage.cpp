#include "views/ui/DevicesPage.h"

#include "views/ui/ListFilterEdit.h"

#include <QGridLayout>
#include <QResizeEvent>
#include <QVBoxLayout>

namespace telmon {

namespace T = DeviceButtonTexts;

constexpr int ButtonsPerNarrowRow = 4;

DevicesPage::DevicesPage(KeyedListModel& devices, DeviceOperations& operations, QWidget* parent)
    : QWidget(parent),
      lsvDevices_(new KeyedListView(this)),
      buttonRow_(new QWidget(this)),
      buttons_(new QGridLayout(buttonRow_)) {
  lsvDevices_->setObjectName(QStringLiteral("lsvDevices"));
  lsvDevices_->SetListModel(&devices);
  buttons_->setContentsMargins(0, 0, 0, 0);

  cmdPoll_[1] = AddButton("cmdPoll_1", T::RandomAllCaption, T::RandomAllToolTip);
  cmdPoll_[0] = AddButton("cmdPoll_0", T::PollAllCaption, T::PollAllToolTip);
  cmdPollOne_[1] = AddButton("cmdPollOne_1", T::RandomOneCaption, T::RandomOneToolTip);
  cmdPollOne_[0] = AddButton("cmdPollOne_0", T::PollOneCaption, T::PollOneToolTip);
  cmdChangeIPAddress_ =
      AddButton("cmdChangeIPAddress", T::ChangeIPAddressCaption, T::ChangeIPAddressToolTip);
  cmdSetClock_ = AddButton("cmdSetClock", T::SetClockCaption, T::SetClockToolTip);
  cmdEraseHDR_ = AddButton("cmdEraseHDR", T::EraseHDRCaption, T::EraseHDRToolTip);
  cmdFailover_ = AddButton("cmdFailover", T::FailoverCaption, T::FailoverToolTip);
  DeviceOperations* ops = &operations;
  for (int index : {0, 1}) {
    connect(cmdPoll_[index], &QPushButton::clicked, this, [ops, index] { ops->PollAll(index); });
    connect(cmdPollOne_[index], &QPushButton::clicked, this,
            [ops, index] { ops->PollSelected(index); });
  }
  connect(cmdChangeIPAddress_, &QPushButton::clicked, this, [ops] { ops->ChangeIPAddress(); });
  connect(cmdSetClock_, &QPushButton::clicked, this, [ops] { ops->SetClock(); });
  connect(cmdEraseHDR_, &QPushButton::clicked, this, [ops] { ops->EraseHDR(); });
  connect(cmdFailover_, &QPushButton::clicked, this, [ops] { ops->Failover(); });

  auto* layout = new QVBoxLayout(this);
  auto* filter = new ListFilterEdit(this);
  filter->setObjectName(QStringLiteral("txtFilterDevices"));
  filter->Attach(lsvDevices_);
  layout->addWidget(filter);
  layout->addWidget(lsvDevices_, 1);
  layout->addWidget(buttonRow_);
  ArrangeButtons(width());
}

QPushButton* DevicesPage::AddButton(const char* objectName, const char* caption,
                                    const char* toolTip) {
  auto* button = new QPushButton(QString::fromLatin1(caption), buttonRow_);
  button->setObjectName(QString::fromLatin1(objectName));
  button->setToolTip(QString::fromLatin1(toolTip));
  button->setAutoDefault(false);
  order_.push_back(button);
  return button;
}

void DevicesPage::ArrangeButtons(int width) {
  int needed = 0;
  for (const QPushButton* button : order_) {
    needed += button->sizeHint().width() + buttons_->horizontalSpacing();
  }
  const int perRow = needed + 2 * layout()->contentsMargins().left() <= width
                         ? static_cast<int>(order_.size())
                         : ButtonsPerNarrowRow;
  if (perRow == perRow_) {
    return;
  }
  for (QPushButton* button : order_) {
    buttons_->removeWidget(button);
  }
  for (int column = 0; column <= static_cast<int>(order_.size()); ++column) {
    buttons_->setColumnStretch(column, 0);
  }
  for (std::size_t i = 0; i < order_.size(); ++i) {
    const int index = static_cast<int>(i);
    buttons_->addWidget(order_[i], index / perRow, index % perRow);
  }
  buttons_->setColumnStretch(perRow, 1);
  perRow_ = perRow;
}

void DevicesPage::resizeEvent(QResizeEvent* event) {
  ArrangeButtons(width());
  QWidget::resizeEvent(event);
}

}  // namespace telmon
