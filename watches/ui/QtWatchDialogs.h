#pragma once

// The watch operations' windows as the main window shows them: the add-channel dialog, kept
// loaded and hidden between uses, and the watch-lists dialog, made for one use.

#include "watches/IWatchDialogs.h"
#include "watches/ui/frmAddChannelWatch.h"

#include <QPointer>

namespace telmon {

class QtWatchDialogs final : public IWatchDialogs {
 public:
  QtWatchDialogs(QWidget& mainWindow, AddChannelWatchSources sources, KeyedListModel& watches);

  AddChannelChoice ShowAddChannelWatch() override;
  void ShowWatchLists() override;
  void SetMainBusy(bool busy) override;

  // Loaded on first use; for screenshots and tests.
  frmAddChannelWatch& AddChannelWatch();

 private:
  QWidget& main_;
  AddChannelWatchSources sources_;
  KeyedListModel& watches_;
  QPointer<frmAddChannelWatch> addChannelWatch_;
};

}  // namespace telmon
