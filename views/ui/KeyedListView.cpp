#include "views/ui/KeyedListView.h"

#include <QAccessible>
#include <QHeaderView>
#include <QItemSelectionModel>

#include <algorithm>

namespace telmon {

KeyedListView::KeyedListView(QWidget* parent)
    : QTreeView(parent), proxy_(new ListFilterProxy(this)) {
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
  disconnect(proxy_, nullptr, this, nullptr);
  model_ = model;
  proxy_->setSourceModel(model);
  if (model == nullptr) {
    setModel(nullptr);
    return;
  }
  // While the filter adds or drops rows, the selection model moves its current row; that is
  // not the operator's choice and must not reach the model. The "about to" signals are
  // connected before the selection model exists so that they come first; the "done" signals
  // after, so that they come last.
  connect(proxy_, &QAbstractItemModel::rowsAboutToBeRemoved, this,
          &KeyedListView::BeginProxyChange);
  connect(proxy_, &QAbstractItemModel::rowsAboutToBeInserted, this,
          &KeyedListView::BeginProxyChange);
  connect(proxy_, &QAbstractItemModel::layoutAboutToBeChanged, this,
          &KeyedListView::BeginProxyChange);
  connect(proxy_, &QAbstractItemModel::modelAboutToBeReset, this, &KeyedListView::BeginProxyChange);
  setModel(proxy_);
  connect(proxy_, &QAbstractItemModel::rowsRemoved, this, &KeyedListView::EndProxyChange);
  connect(proxy_, &QAbstractItemModel::rowsInserted, this, &KeyedListView::EndProxyChange);
  connect(proxy_, &QAbstractItemModel::layoutChanged, this, &KeyedListView::EndProxyChange);
  connect(proxy_, &QAbstractItemModel::modelReset, this, &KeyedListView::EndProxyChange);
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

void KeyedListView::ShowModelSelection() { ShowSelection(true); }

void KeyedListView::ShowSelection(bool scroll) {
  if (model_ == nullptr || syncing_) {
    return;
  }
  syncing_ = true;
  const QModelIndex index = ViewIndex(model_->SelectedPosition());
  if (!index.isValid()) {
    selectionModel()->clear();
  } else {
    selectionModel()->setCurrentIndex(
        index, QItemSelectionModel::ClearAndSelect | QItemSelectionModel::Rows);
    if (scroll) {
      scrollTo(index);
    }
  }
  syncing_ = false;
}

void KeyedListView::TakeViewSelection(const QModelIndex& current) {
  if (model_ == nullptr || syncing_ || proxyChanging_ > 0) {
    return;
  }
  syncing_ = true;
  const QModelIndex source = proxy_->mapToSource(current);
  model_->SelectViewRow(source.isValid() ? source.row() : -1);
  syncing_ = false;
}

QModelIndex KeyedListView::ViewIndex(int modelRow, int column) const {
  if (model_ == nullptr || modelRow < 0) {
    return {};
  }
  return proxy_->mapFromSource(model_->index(modelRow, column));
}

void KeyedListView::SetFilterText(const QString& text) {
  proxy_->SetFilterText(text);
  if (model_ != nullptr && model_->Selected() != nullptr &&
      !ViewIndex(model_->SelectedPosition()).isValid()) {
    model_->SelectViewRow(-1);
  }
}

void KeyedListView::BeginProxyChange() { ++proxyChanging_; }

void KeyedListView::EndProxyChange() {
  proxyChanging_ = std::max(0, proxyChanging_ - 1);
  // Only a current row that no longer shows the model's selection is put right, so that a
  // multiple selection survives rows coming and going.
  if (proxyChanging_ > 0 || model_ == nullptr) {
    return;
  }
  const KeyedListModel::RowRef selected = model_->Selected();
  const QModelIndex current = currentIndex();
  const bool showsSelected =
      selected == nullptr ? !current.isValid()
                          : current.isValid() && current.data(KeyedListModel::KeyRole).toString() ==
                                                     model_->Key(selected);
  if (!showsSelected) {
    ShowSelection(false);
  }
}

}  // namespace telmon
