#include "views/ui/ChannelsPage.h"

#include <QVBoxLayout>

namespace telmon {

ChannelsPage::ChannelsPage(KeyedListModel& channels, QWidget* parent)
    : QWidget(parent), toolbarChannels_(new QToolBar(this)), lsvChannels_(new KeyedListView(this)) {
  toolbarChannels_->setObjectName(QStringLiteral("toolbarChannels"));
  toolbarChannels_->setToolButtonStyle(Qt::ToolButtonTextOnly);
  lsvChannels_->setObjectName(QStringLiteral("lsvChannels"));
  lsvChannels_->SetListModel(&channels);

  QAction* oneDecPlace = AddButton("1DecPlace", tr("1 Dec"), tr("Display 1 decimal place"));
  oneDecPlace->setCheckable(true);
  connect(oneDecPlace, &QAction::toggled, this, &ChannelsPage::OneDecPlaceToggled);
  toolbarChannels_->addSeparator();
  connect(AddButton("AddWatch", tr("Add"), tr("Add channel")), &QAction::triggered, this,
          &ChannelsPage::AddWatchClicked);
  connect(AddButton("AddAddress", tr("Address"), tr("Add PLC address")), &QAction::triggered, this,
          &ChannelsPage::AddAddressClicked);
  connect(AddButton("RemoveAllWatches", tr("Remove All"), tr("Remove all channels")),
          &QAction::triggered, this, &ChannelsPage::RemoveAllWatchesClicked);
  connect(AddButton("ChangeValue", tr("Change"), tr("Change value")), &QAction::triggered, this,
          &ChannelsPage::ChangeValueClicked);
  toolbarChannels_->addSeparator();
  connect(AddButton("RefreshBlocks", tr("Refresh"), QStringLiteral("Refresh all blocks")),
          &QAction::triggered, this, &ChannelsPage::RefreshBlocksClicked);
  connect(AddButton("Messages", tr("Messages"), tr("Show messages")), &QAction::triggered, this,
          &ChannelsPage::MessagesClicked);
  connect(AddButton("SaveIOList", tr("Save"), tr("Save channel list")), &QAction::triggered, this,
          &ChannelsPage::SaveIOListClicked);
  // Changing values needs edit mode; the main window enables the button when it is on.
  Button(QStringLiteral("ChangeValue"))->setEnabled(false);

  auto* layout = new QVBoxLayout(this);
  layout->addWidget(toolbarChannels_);
  layout->addWidget(lsvChannels_, 1);
}

QAction* ChannelsPage::Button(const QString& key) const {
  for (QAction* action : toolbarChannels_->actions()) {
    if (action->objectName() == key) {
      return action;
    }
  }
  return nullptr;
}

QAction* ChannelsPage::AddButton(const char* key, const QString& caption, const QString& toolTip) {
  QAction* action = toolbarChannels_->addAction(caption);
  action->setObjectName(QString::fromLatin1(key));
  action->setToolTip(toolTip);
  return action;
}

}  // namespace telmon
