#pragma once

// The windows the watch operations open, behind one seam so that the operations run without
// a display: the main window hands in the implementation that shows the real dialogs.

#include <QString>

namespace telmon {

// What the add-channel dialog returns.
struct AddChannelChoice {
  bool ok = false;
  bool blocks = false;  // IDList holds block IDs (the block tab), else channel IDs
  QString IDList;       // decimal IDs joined by ";"
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
