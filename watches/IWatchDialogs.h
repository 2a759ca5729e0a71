#pragma once

// The windows the watch operations open, behind one seam so that the operations run without
// a display: the main window hands in the implementation that shows the real dialogs.

#include "views/ChannelIdList.h"

#include <QString>

namespace telmon {

// What the add-channel dialog returns.
struct AddChannelChoice {
  bool ok = false;
  bool blocks = false;  // ids are block IDs (the block tab), else channel IDs
  IdList ids;
  // The dialog's result text: the IDs in decimal joined by ";".
  QString IDList() const { return JoinIdList(ids, QLatin1Char(';')); }
};

class IWatchDialogs {
 public:
  virtual ~IWatchDialogs() = default;
  // frmAddChannelWatch, modal; the dialog stays loaded and hidden for the next use.
  virtual AddChannelChoice ShowAddChannelWatch() = 0;
  // frmWatchLists, modal; unloaded when it closes.
  virtual void ShowWatchLists() = 0;
  // The main window's hourglass pointer while a watch is being added.
  virtual void SetMainBusy(bool busy) = 0;
};

}  // namespace telmon
