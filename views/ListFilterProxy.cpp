#include "views/ListFilterProxy.h"

namespace telmon {

ListFilterProxy::ListFilterProxy(QObject* parent) : QSortFilterProxyModel(parent) {
  setDynamicSortFilter(true);
}

void ListFilterProxy::SetFilterText(const QString& text) {
  if (text == text_) {
    return;
  }
  text_ = text;
  invalidateRowsFilter();
}

bool ListFilterProxy::filterAcceptsRow(int sourceRow, const QModelIndex& sourceParent) const {
  if (text_.isEmpty()) {
    return true;
  }
  const QAbstractItemModel* source = sourceModel();
  const int columns = source->columnCount(sourceParent);
  for (int column = 0; column < columns; ++column) {
    const QString cell = source->index(sourceRow, column, sourceParent).data().toString();
    if (cell.contains(text_, Qt::CaseInsensitive)) {
      return true;
    }
  }
  return false;
}

}  // namespace telmon
