#pragma once

// The storage of one row of KeyedListModel, shared by its two source files.

#include "views/KeyedListModel.h"

#include <vector>

namespace telmon {

// A cell colour that follows the row colour.
inline constexpr ColorRef kInheritColor = 0xFFFFFFFFU;

struct KeyedListModel::Row {
  QString key;
  QString text;
  QString sortKey;
  QString tag;
  std::vector<QString> subItems;  // column 1 is subItems[0]
  std::vector<ColorRef> cellColors;
  ColorRef color = Colors::WindowText;
  int iconIndex = -1;
  int position = -1;   // -1 while held back by a batch
  bool dirty = false;  // changed in the open batch, columns dirtyLeft..dirtyRight
  int dirtyLeft = 0;
  int dirtyRight = 0;
};

}  // namespace telmon
