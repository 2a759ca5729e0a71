#include "views/ui/ChannelsPage.h"

#include "views/ui/ListFilterEdit.h"

#include <QItemSelectionModel>
#include <QVBoxLayout>

#include <algorithm>

namespace telmon {

ChannelsPage::ChannelsPage(KeyedListModel& channels, QWidget* parent)
    : QWidget(parent), toolbarChannels_(new QToolBar(this)), lsvChannels_(new KeyedListView(this)) {
  toolbarChannels_->setObjectName(QStringLiteral("toolbarChannels"));
  toolbarChannels_->setToolButtonStyle(Qt::ToolButtonTextOnly);
  lsvChannels_->setObjectName(QStringLiteral("lsvChannels"));
  lsvChannels_->SetListModel(&channels);
  lsvChannels_->setSelectionMode(QAbstractItemView::ExtendedSelection);

  QAction* oneDecPlace =
      AddButton("1DecPlace", tr("1 Dec"), QStringLiteral("Display 1 decimal place"));
  oneDecPlace->setCheckable(true);
  connect(oneDecPlace, &QAction::toggled, this, &ChannelsPage::OneDecPlaceToggled);
  toolbarChannels_->addSeparator();
  connect(
      AddButton("AddWatch", tr("Add"), QStringLiteral("Add entry for a configured I/O channel")),
      &QAction::triggered, this, &ChannelsPage::AddWatchClicked);
  connect(AddButton("AddAddress", tr("Address"), QStringLiteral("Add entry for PLC address")),
          &QAction::triggered, this, &ChannelsPage::AddAddressClicked);
  connect(
      AddButton("RemoveAllWatches", tr("Remove All"), QStringLiteral("Remove all channel watches")),
      &QAction::triggered, this, &ChannelsPage::RemoveAllWatchesClicked);
  connect(AddButton("ChangeValue", tr("Change"),
                    QStringLiteral("Change channel value (password required)")),
          &QAction::triggered, this, &ChannelsPage::ChangeValueClicked);
  toolbarChannels_->addSeparator();
  connect(AddButton("RefreshBlocks", tr("Refresh"), QStringLiteral("Refresh all blocks")),
          &QAction::triggered, this, &ChannelsPage::RefreshBlocksClicked);
  connect(AddButton("Messages", tr("Messages"), QStringLiteral("View messages")),
          &QAction::triggered, this, &ChannelsPage::MessagesClicked);
  connect(AddButton("SaveIOList", tr("Save"), QStringLiteral("Save I/O channel list to file")),
          &QAction::triggered, this, &ChannelsPage::SaveIOListClicked);
  toolbarChannels_->addSeparator();
  connect(
      AddButton("Trends", tr("Trends"), QStringLiteral("Show the trends of the watched channels")),
      &QAction::triggered, this, &ChannelsPage::TrendsClicked);
  // Changing values needs edit mode; the main window enables the button when it is on.
  Button(QStringLiteral("ChangeValue"))->setEnabled(false);

  auto* layout = new QVBoxLayout(this);
  layout->addWidget(toolbarChannels_);
  auto* filter = new ListFilterEdit(this);
  filter->setObjectName(QStringLiteral("txtFilterChannels"));
  filter->Attach(lsvChannels_);
  layout->addWidget(filter);
  layout->addWidget(lsvChannels_, 1);
}

QStringList ChannelsPage::SelectedTags() const {
  QStringList tags;
  // The view's rows, through the filter: the tags are the same data.
  const QAbstractItemModel* model = lsvChannels_->model();
  if (lsvChannels_->ListModel() == nullptr || lsvChannels_->selectionModel() == nullptr) {
    return tags;
  }
  QModelIndexList rows = lsvChannels_->selectionModel()->selectedRows();
  std::sort(rows.begin(), rows.end(),
            [](const QModelIndex& a, const QModelIndex& b) { return a.row() < b.row(); });
  for (const QModelIndex& index : rows) {
    tags.push_back(model->data(index, KeyedListModel::TagRole).toString());
  }
  return tags;
}

bool ChannelsPage::MultiSelect() const {
  return lsvChannels_->selectionMode() != QAbstractItemView::SingleSelection;
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
