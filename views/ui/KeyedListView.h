#pragma once

// Shows a KeyedListModel as a report-style list: column widths from the model's twips at the
// screen's resolution, per-row colours and alignment from the model, and the selection kept
// in the model so that the managers can read it without the widget.

#include "views/KeyedListModel.h"

#include <QTreeView>

namespace telmon {

class KeyedListView : public QTreeView {
  Q_OBJECT

 public:
  explicit KeyedListView(QWidget* parent = nullptr);

  void SetListModel(KeyedListModel* model);
  KeyedListModel* ListModel() const { return model_; }

 protected:
  void dataChanged(const QModelIndex& topLeft, const QModelIndex& bottomRight,
                   const QList<int>& roles = QList<int>()) override;

 private:
  void ApplyColumnWidths();
  void ShowModelSelection();
  void TakeViewSelection(const QModelIndex& current);

  KeyedListModel* model_ = nullptr;
  bool syncing_ = false;
};

}  // namespace telmon
