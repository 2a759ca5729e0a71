#pragma once

// A realtime site of `rows` points, a watch list over it (drawn in a list view when `shown`),
// and the channel tick that reads the watched points each time it runs: what the benchmarks of
// the channel tick and of what rides on it start from.

#include "bench/support/RealtimeSite.h"
#include "bench/support/StandIns.h"
#include "platform/H5DBIL.h"
#include "util/Clock.h"
#include "views/ChannelListviewManager.h"
#include "views/ChannelUpdateTick.h"
#include "views/ui/KeyedListView.h"

#include <QApplication>
#include <QStringList>

#include <memory>

namespace telmon::bench {

struct WatchedSite {
  explicit WatchedSite(int rows, bool shown = false) : site(rows) {
    channels.Setup({}, model, 0);
    if (shown) {
      view = std::make_unique<KeyedListView>();
      view->SetListModel(&model);
      view->resize(1200, 800);
      view->show();
    }
  }
  // "1;2;...;n", the list of channels 1 to n the watch list takes.
  static QString ChannelIds(int n) {
    QStringList ids;
    for (int i = 1; i <= n; ++i) {
      ids << QString::number(i);
    }
    return ids.join(QLatin1Char(';'));
  }
  // Watches channels 1 to n and lets the view take them in.
  void Watch(int n) {
    channels.AddLsvRowsForChannelIDList(ChannelIds(n));
    QApplication::processEvents();
  }

  RealtimeSite site;
  H5DBIL dbil;
  KeyedListModel model;
  std::unique_ptr<KeyedListView> view;
  ChannelListviewManager channels;
  SystemClock clock;
  NoPanels panels;
  QuietSink sink;
  ChannelUpdateTick tick{dbil, site.connection, &channels, clock, panels, sink};
};

}  // namespace telmon::bench
