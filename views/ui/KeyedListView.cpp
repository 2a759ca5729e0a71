#include "views/ui/KeyedListView.h"

#include <QAccessible>
#include <QHeaderView>
#include <QItemSelectionModel>

namespace telmon {

KeyedListView::KeyedListView(QWidget* parent) : QTreeView(parent) {
  setRootIsDecorated(false);
  setItemsExpandable(false);
  setUniformRowHeights(true);
  setAllColumnsShowFocus(true);
  setSelectionMode(QAbstractItemView::SingleSelection);
  setSelectionBehavior(QAbstractItemView::SelectRows);
  setEditTriggers(QAbstractItemView::NoEditTriggers);
  setSortingEnabled(false);  // the model keeps its own order
  header()->setStretchLastSection(false);
}

void KeyedListView::SetListModel(KeyedListModel* model) {
  if (model_ != nullptr) {
    disconnect(model_, nullptr, this, nullptr);
  }
  model_ = model;
  setModel(model);
  if (model == nullptr) {
    return;
  }
  model->SetPalette(palette());
  connect(model, &QAbstractItemModel::columnsInserted, this, &KeyedListView::ApplyColumnWidths);
  connect(model, &QAbstractItemModel::modelReset, this, &KeyedListView::ApplyColumnWidths);
  connect(model, &QAbstractItemModel::modelReset, this, &KeyedListView::ShowModelSelection);
  connect(model, &KeyedListModel::SelectionChanged, this, &KeyedListView::ShowModelSelection);
  connect(selectionModel(), &QItemSelectionModel::currentRowChanged, this,
          &KeyedListView::TakeViewSelection);
  ApplyColumnWidths();
  ShowModelSelection();
}

// A change over many rows repaints what is shown. QTreeView would look each changed row up in
// turn to find the part it shows, which on a long list costs far more than the repaint; the
// list is flat with rows of one height, so nothing else about the rows can have changed.
void KeyedListView::dataChanged(const QModelIndex& topLeft, const QModelIndex& bottomRight,
                                const QList<int>& roles) {
  if (topLeft.row() == bottomRight.row() || !topLeft.isValid() || !bottomRight.isValid()) {
    QTreeView::dataChanged(topLeft, bottomRight, roles);
    return;
  }
  viewport()->update();
  if (QAccessible::isActive()) {
    QAccessibleTableModelChangeEvent event(this, QAccessibleTableModelChangeEvent::DataChanged);
    event.setFirstRow(topLeft.row());
    event.setFirstColumn(topLeft.column());
    event.setLastRow(bottomRight.row());
    event.setLastColumn(bottomRight.column());
    QAccessible::updateAccessibility(&event);
  }
}

void KeyedListView::ApplyColumnWidths() {
  if (model_ == nullptr) {
    return;
  }
  const double dpi = logicalDpiX();
  for (int column = 0; column < model_->ColumnCount(); ++column) {
    setColumnWidth(column, model_->ColumnWidthPixels(column, dpi));
  }
}

void KeyedListView::ShowModelSelection() {
  if (model_ == nullptr || syncing_) {
    return;
  }
  syncing_ = true;
  const int row = model_->SelectedPosition();
  if (row < 0) {
    selectionModel()->clear();
  } else {
    const QModelIndex index = model_->index(row, 0);
    selectionModel()->setCurrentIndex(
        index, QItemSelectionModel::ClearAndSelect | QItemSelectionModel::Rows);
    scrollTo(index);
  }
  syncing_ = false;
}

void KeyedListView::TakeViewSelection(const QModelIndex& current) {
  if (model_ == nullptr || syncing_) {
    return;
  }
  syncing_ = true;
  model_->SelectViewRow(current.isValid() ? current.row() : -1);
  syncing_ = false;
}

}  // namespace telmon
