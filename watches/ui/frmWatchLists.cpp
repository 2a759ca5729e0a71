#include "watches/ui/frmWatchLists.h"

#include <QHBoxLayout>
#include <QHeaderView>
#include <QPushButton>
#include <QTreeWidget>
#include <QVBoxLayout>

namespace telmon {

frmWatchLists::frmWatchLists(WatchLists& lists, KeyedListModel& watches, QWidget* parent)
    : QDialog(parent), lists_(lists), watches_(watches) {
  setObjectName(QStringLiteral("frmWatchLists"));
  setWindowTitle(QStringLiteral("Watch Lists"));
  setAttribute(Qt::WA_DeleteOnClose, false);
  lsvWatchLists_ = new QTreeWidget(this);
  lsvWatchLists_->setObjectName(QStringLiteral("lsvWatchLists"));
  lsvWatchLists_->setRootIsDecorated(false);
  lsvWatchLists_->setColumnCount(2);
  lsvWatchLists_->setHeaderLabels({QStringLiteral("List Name"), QStringLiteral("Last Changed")});
  lsvWatchLists_->setEditTriggers(QAbstractItemView::EditKeyPressed |
                                  QAbstractItemView::SelectedClicked);
  lsvWatchLists_->header()->resizeSection(0, 220);

  lists_.Open();
  showing_ = true;
  for (int slot = 1; slot <= kWatchListSlots; ++slot) {
    auto* item = new QTreeWidgetItem(lsvWatchLists_);  // the tree owns the item
    item->setData(0, Qt::UserRole, QStringLiteral("K") + QString::number(slot));
    ShowRow(slot);
  }
  showing_ = false;
  connect(lsvWatchLists_, &QTreeWidget::itemChanged, this, &frmWatchLists::OnItemChanged);

  const std::array<std::pair<const char*, QString>, 4> buttons = {{
      {"cmdLoad", QStringLiteral("Load List")},
      {"cmdSave", QStringLiteral("Save List")},
      {"cmdClear", QStringLiteral("Clear List")},
      {"cmdClose", QStringLiteral("Close")},
  }};
  auto* row = new QHBoxLayout;
  std::array<QPushButton*, 4> made{};
  for (std::size_t i = 0; i < buttons.size(); ++i) {
    made.at(i) = new QPushButton(buttons.at(i).second, this);
    made.at(i)->setObjectName(QLatin1String(buttons.at(i).first));
    made.at(i)->setAutoDefault(false);
    row->addWidget(made.at(i));
  }
  connect(made[0], &QPushButton::clicked, this, &frmWatchLists::cmdLoad_Click);
  connect(made[1], &QPushButton::clicked, this, &frmWatchLists::cmdSave_Click);
  connect(made[2], &QPushButton::clicked, this, &frmWatchLists::cmdClear_Click);
  connect(made[3], &QPushButton::clicked, this, &QDialog::accept);
  auto* layout = new QVBoxLayout(this);
  layout->addWidget(lsvWatchLists_, 1);
  layout->addLayout(row);
  resize(420, 330);
}

int frmWatchLists::SelectedSlot() const {
  const QTreeWidgetItem* item = lsvWatchLists_->currentItem();
  if (item == nullptr || !item->isSelected()) {
    return 0;
  }
  return lsvWatchLists_->indexOfTopLevelItem(const_cast<QTreeWidgetItem*>(item)) + 1;
}

void frmWatchLists::ShowRow(int slot) {
  QTreeWidgetItem* item = lsvWatchLists_->topLevelItem(slot - 1);
  const WatchListRow& row = lists_.Rows().at(static_cast<std::size_t>(slot - 1));
  const bool was = showing_;
  showing_ = true;
  item->setText(0, row.name);
  item->setText(1, row.date);
  // An unused slot cannot be renamed.
  Qt::ItemFlags flags = Qt::ItemIsSelectable | Qt::ItemIsEnabled;
  if (lists_.CanRename(slot)) {
    flags |= Qt::ItemIsEditable;
  }
  item->setFlags(flags);
  showing_ = was;
}

void frmWatchLists::cmdLoad_Click() { lists_.Load(SelectedSlot()); }

void frmWatchLists::cmdSave_Click() {
  const int slot = SelectedSlot();
  const bool rename = lists_.Save(slot, watches_, QDateTime::currentDateTime());
  if (slot == 0) {
    return;
  }
  ShowRow(slot);
  if (rename) {
    lsvWatchLists_->setFocus();
    lsvWatchLists_->editItem(lsvWatchLists_->topLevelItem(slot - 1), 0);
  }
}

void frmWatchLists::cmdClear_Click() {
  const int slot = SelectedSlot();
  lists_.Clear(slot);
  if (slot != 0) {
    ShowRow(slot);
  }
}

void frmWatchLists::OnItemChanged(QTreeWidgetItem* item, int column) {
  if (showing_ || column != 0) {
    return;
  }
  const int slot = lsvWatchLists_->indexOfTopLevelItem(item) + 1;
  lists_.Rename(slot, item->text(0));
  ShowRow(slot);  // a refused name goes back to the stored one
}

}  // namespace telmon
