#include "watches/ui/QtWatchDialogs.h"

#include "watches/ui/frmWatchLists.h"

namespace telmon {

QtWatchDialogs::QtWatchDialogs(QWidget& mainWindow, AddChannelWatchSources sources,
                               KeyedListModel& watches)
    : main_(mainWindow), sources_(std::move(sources)), watches_(watches) {}

frmAddChannelWatch& QtWatchDialogs::AddChannelWatch() {
  if (addChannelWatch_.isNull()) {
    addChannelWatch_ = new frmAddChannelWatch(sources_, &main_);  // owned by the main window
  }
  return *addChannelWatch_;
}

AddChannelChoice QtWatchDialogs::ShowAddChannelWatch() { return AddChannelWatch().Run(); }

void QtWatchDialogs::ShowWatchLists() {
  const std::unique_ptr<QSettings> settings = OpenWatchListSettings();
  WatchListStore store(*settings);
  WatchLists lists(store, *sources_.prompter, sources_.appTitle);
  frmWatchLists dialog(lists, watches_, &main_);
  dialog.exec();
}

void QtWatchDialogs::SetMainBusy(bool busy) {
  if (busy) {
    main_.setCursor(Qt::WaitCursor);
  } else {
    main_.unsetCursor();
  }
}

}  // namespace telmon
