#pragma once

// The two-second channel tick: one realtime read for every watched row plus the two
// server-wide points, then the status panels, the not-polling indicator and the rows.

#include "platform/H5DBIL.h"
#include "util/Clock.h"
#include "util/IRaiseMsg.h"
#include "util/UtilityFunctions.h"
#include "views/ChannelListviewManager.h"

#include <QString>

#include <optional>

namespace telmon {

// The parts of the main window that the tick writes.
class IChannelTickPanels {
 public:
  virtual ~IChannelTickPanels() = default;
  virtual void SetChannelUpdateTime(const QString& text) = 0;
  virtual void SetAllRefreshTime(const QString& text) = 0;
  virtual void SetAllRefreshToolTip(const QString& text) = 0;
  virtual void SetNotPollingVisible(bool visible) = 0;
  // The hourglass pointer around the blocking read.
  virtual void BeginBusy() = 0;
  virtual void EndBusy() = 0;
};

// What the all-refresh panel shows for the text of "IOS.AllDataRefreshed".
struct AllRefreshStatus {
  QString text;
  std::optional<QString> toolTip;  // empty: keep the panel's normal tool tip
};
AllRefreshStatus ReadAllRefreshStatus(const QString& pointText, const DateTimeFormats& formats);

// Told of every tick's read after the rows were updated.
class IChannelTickObserver {
 public:
  virtual ~IChannelTickObserver() = default;
  // The values read at `time`, or null when the read failed.
  virtual void TickRead(const QDateTime& time, const CurrentValues* values) = 0;
};

inline constexpr char AllRefreshDefaultToolTip[] = "Last All Data Refreshed Time";

class ChannelUpdateTick {
 public:
  // `channels` may be null (no watch page yet): the tick then reads nothing.
  ChannelUpdateTick(H5DBIL& dbil, QString realtimeConnection, ChannelListviewManager* channels,
                    const IClock& clock, IChannelTickPanels& panels, IRaiseMsg& sink,
                    DateTimeFormats formats = DateTimeFormats::FromLocale(QLocale::system()));

  void Run();
  // May be null; the observer must outlive the tick or be unset first.
  void SetObserver(IChannelTickObserver* observer) { observer_ = observer; }

 private:
  void ShowResults(const CurrentValues& values);

  H5DBIL& dbil_;
  QString connection_;
  ChannelListviewManager* channels_;
  const IClock& clock_;
  IChannelTickPanels& panels_;
  IRaiseMsg& sink_;
  DateTimeFormats formats_;
  IChannelTickObserver* observer_ = nullptr;
};

}  // namespace telmon
