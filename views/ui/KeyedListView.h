#pragma once

// Shows a KeyedListModel as a report-style list: column widths from the model's twips at the
// screen's resolution, per-row colours and alignment from the model, and the selection kept
// in the model so that the managers can read it without the widget. The view shows the list
// through a filter; row numbers are mapped both ways, so the model's selection is always the
// row the operator picked, whatever the filter hides.

#include "views/KeyedListModel.h"
#include "views/ListFilterProxy.h"

#include <QTreeView>

namespace telmon {

class KeyedListView : public QTreeView {
  Q_OBJECT

 public:
  explicit KeyedListView(QWidget* parent = nullptr);

  void SetListModel(KeyedListModel* model);
  KeyedListModel* ListModel() const { return model_; }
  ListFilterProxy* Filter() const { return proxy_; }
  // The view's index of a model row (invalid while the filter hides it).
  QModelIndex ViewIndex(int modelRow, int column = 0) const;

  // Narrows the shown rows; when the selected row is hidden the selection is cleared, so
  // that no button acts on a row the operator cannot see.
  void SetFilterText(const QString& text);

 protected:
  void dataChanged(const QModelIndex& topLeft, const QModelIndex& bottomRight,
                   const QList<int>& roles = QList<int>()) override;

 private:
  void ApplyColumnWidths();
  void ShowModelSelection();
  void ShowSelection(bool scroll);
  void TakeViewSelection(const QModelIndex& current);
  void BeginProxyChange();
  void EndProxyChange();

  KeyedListModel* model_ = nullptr;
  ListFilterProxy* proxy_;
  bool syncing_ = false;
  int proxyChanging_ = 0;
};

}  // namespace telmon
