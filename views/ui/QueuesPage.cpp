#include "views/ui/QueuesPage.h"

#include "views/ui/ListFilterEdit.h"

#include <QHBoxLayout>
#include <QVBoxLayout>

namespace telmon {

QueuesPage::QueuesPage(KeyedListModel& queues, QueueListviewManager& manager, QWidget* parent)
    : QWidget(parent),
      lsvQueues_(new KeyedListView(this)),
      cmdResetCounters_(new QPushButton(QString::fromLatin1(ResetCountersCaption), this)) {
  lsvQueues_->setObjectName(QStringLiteral("lsvQueues"));
  lsvQueues_->SetListModel(&queues);
  cmdResetCounters_->setObjectName(QStringLiteral("cmdResetCounters"));
  cmdResetCounters_->setToolTip(QString::fromLatin1(ResetCountersToolTip));
  cmdResetCounters_->setAutoDefault(false);
  // No confirmation and no access check: the IOS resets the counters monthly anyway.
  QueueListviewManager* target = &manager;
  connect(cmdResetCounters_, &QPushButton::clicked, this, [target] { target->ResetCounters(); });

  auto* buttons = new QHBoxLayout;
  buttons->addWidget(cmdResetCounters_);
  buttons->addStretch();
  auto* layout = new QVBoxLayout(this);
  auto* filter = new ListFilterEdit(this);
  filter->setObjectName(QStringLiteral("txtFilterQueues"));
  filter->Attach(lsvQueues_);
  layout->addWidget(filter);
  layout->addWidget(lsvQueues_, 1);
  layout->addLayout(buttons);
}

}  // namespace telmon
