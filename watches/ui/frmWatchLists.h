#pragma once

// "Watch Lists": the operator's ten saved watch lists, with their names and when each was
// saved. Opened for one use and unloaded when closed.

#include "watches/WatchListStore.h"

#include <QDialog>

class QTreeWidget;
class QTreeWidgetItem;

namespace telmon {

class frmWatchLists : public QDialog {
  Q_OBJECT

 public:
  frmWatchLists(WatchLists& lists, KeyedListModel& watches, QWidget* parent = nullptr);

  QTreeWidget* lsvWatchLists() const { return lsvWatchLists_; }
  void cmdLoad_Click();
  void cmdSave_Click();
  void cmdClear_Click();

 private:
  int SelectedSlot() const;
  void ShowRow(int slot);
  void OnItemChanged(QTreeWidgetItem* item, int column);

  WatchLists& lists_;
  KeyedListModel& watches_;
  QTreeWidget* lsvWatchLists_ = nullptr;
  bool showing_ = false;
};

}  // namespace telmon
