#pragma once

// The Blocks page: the block list alone.

#include "views/ui/KeyedListView.h"

#include <QWidget>

namespace telmon {

class BlocksPage : public QWidget {
  Q_OBJECT

 public:
  explicit BlocksPage(KeyedListModel& blocks, QWidget* parent = nullptr);

  KeyedListView* lsvBlocks() const { return lsvBlocks_; }

 private:
  KeyedListView* lsvBlocks_;
};

}  // namespace telmon
