#include "views/ui/KeyedListView.h"

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
