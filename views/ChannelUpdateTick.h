#pragma once

// The two-second channel tick: one realtime read for every watched row plus the two
// server-wide points, then the status panels, the not-polling indicator and the rows.
//
// With a worker set, the read runs on the worker's thread and the rest follows when its
// result comes back; the window never waits for the database. A tick that falls due while
// the previous read still runs starts no second one: the rows keep their last values and the
// update-time panel says how old they are.

#include "platform/H5DBIL.h"
#include "util/Clock.h"
#include "util/IRaiseMsg.h"
#include "util/UtilityFunctions.h"
#include "views/ChannelListviewManager.h"

#include <QString>

#include <memory>
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

class DatabaseWorker;

class ChannelUpdateTick {
 public:
  // `channels` may be null (no watch page yet): the tick then reads nothing.
  ChannelUpdateTick(H5DBIL& dbil, QString realtimeConnection, ChannelListviewManager* channels,
                    const IClock& clock, IChannelTickPanels& panels, IRaiseMsg& sink,
                    DateTimeFormats formats = DateTimeFormats::FromLocale(QLocale::system()));

  void Run();
  // Reads on `worker` from now on (null: in place). The worker must outlive the tick or be
  // unset first.
  void SetWorker(DatabaseWorker* worker) { worker_ = worker; }
  bool Reading() const { return reading_; }

  // "<long time of the last update> (<seconds> s old)", shown while a read is still running.
  static QString AgedUpdateText(const QString& lastUpdate, qint64 seconds);
  // May be null; the observer must outlive the tick or be unset first.
  void SetObserver(IChannelTickObserver* observer) { observer_ = observer; }

 private:
  void ShowResults(const CurrentValues& values);
  void Finish(const QDateTime& tickTime, const std::optional<CurrentValues>& values);
  void Observe(const QDateTime& tickTime, const CurrentValues* values);

  H5DBIL& dbil_;
  QString connection_;
  ChannelListviewManager* channels_;
  const IClock& clock_;
  IChannelTickPanels& panels_;
  IRaiseMsg& sink_;
  DateTimeFormats formats_;
  IChannelTickObserver* observer_ = nullptr;
  DatabaseWorker* worker_ = nullptr;
  bool reading_ = false;
  QDateTime lastUpdate_;  // of the last read that came back
  std::shared_ptr<bool> alive_ = std::make_shared<bool>(true);
};

}  // namespace telmon
