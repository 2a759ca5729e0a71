#pragma once

// What telmon-serve shows, as plain values: the Qt thread that owns the site sessions copies
// each session's lists, counters and state into a SiteSnapshot and publishes it; the HTTP
// threads only ever read published snapshots, which never change once published. Nothing here
// knows Qt, so the pages and the metrics are rendered and tested without a session.

#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

namespace telmon::serve {

// A cell as a desktop page shows it: its text and its colour's meaning ("" for the window's
// text colour, "fault", "random", "disabled", or "other").
struct Cell {
  std::string text;
  std::string tone;
  bool operator==(const Cell&) const = default;
};

struct Row {
  std::string key;
  std::vector<Cell> cells;
};

struct Table {
  std::vector<std::string> headers;
  std::vector<Row> rows;
};

struct QueueFigures {
  std::string name;
  std::int64_t size = 0;
  std::int64_t ioFailures = 0;
  bool paused = false;
};

struct StateItem {
  std::string group;  // the site state window's group title
  std::int32_t id = 0;
  std::string name;
  std::string detail;
};

struct WatchedValue {
  std::string name;   // the channel's name, empty while unknown
  std::string value;  // as the channel page shows it
  std::string stamp;  // the value's time
  bool read = false;  // false until a realtime read returned the channel
};

struct JournalLine {
  std::string time;
  std::int32_t dahs = 0;
  std::string account;
  std::string operation;
  std::string targets;
  std::string previous;  // the target's value before
  std::string value;
  std::string outcome;
};

struct DahsSnapshot {
  std::int32_t dahsId = 0;
  std::string title;
  bool linkUp = false;
  std::string linkText;         // the link panel's text ("Connected", "Closed", ...)
  std::string lastFullRefresh;  // the server's all-data refresh, else the last connect
  Table devices;
  Table queues;
  Table blocks;
  int devicesRandom = 0;
  int devicesWatchdogNotOk = 0;
  int devicesPolling = 0;
  bool notPolling = false;  // the server says not every device is being polled
  int forcedChannels = 0;
  int failingBlocks = 0;
  int queuesPaused = 0;
  int alarmsActive = -1;  // -1: the alarms database has not been read
  int alarmsUnacknowledged = 0;
  std::vector<QueueFigures> queueFigures;
  std::vector<StateItem> siteState;
  std::map<std::int32_t, WatchedValue> watched;
  std::uint64_t eventsReceived = 0;
  std::uint64_t bytesReceived = 0;
  std::uint64_t resyncs = 0;  // receive-buffer resynchronisations
  std::uint64_t reconnects = 0;
  bool realtimeReadFailed = false;
};

struct SiteSnapshot {
  std::uint64_t version = 0;
  std::vector<DahsSnapshot> dahs;
  std::vector<JournalLine> journal;  // newest first
  double tickSeconds = 0;            // how long building this snapshot took

  const DahsSnapshot* Dahs(std::int32_t dahsId) const;
};

// The latest snapshot, handed from the Qt thread to the HTTP threads. Publishing numbers the
// snapshot and wakes every event stream waiting for a newer one.
class SnapshotHub {
 public:
  SnapshotHub();
  void Publish(SiteSnapshot snapshot);
  std::shared_ptr<const SiteSnapshot> Current() const;
  // The snapshot once its version is above `seen`, or the current one after `timeout` or once
  // the hub stops.
  std::shared_ptr<const SiteSnapshot> WaitNewer(std::uint64_t seen,
                                                std::chrono::milliseconds timeout) const;
  // Wakes every waiter for good: the server is going down.
  void Stop();
  bool Stopped() const;

 private:
  mutable std::mutex mutex_;
  mutable std::condition_variable changed_;
  std::shared_ptr<const SiteSnapshot> current_;
  bool stopped_ = false;
};

// The channels the watch pages ask for, per DAHS: the HTTP threads note what a page wants, the
// Qt thread reads the values of every channel asked for lately.
class WatchRegistry {
 public:
  using Clock = std::chrono::steady_clock;
  void Want(std::int32_t dahsId, const std::vector<std::int32_t>& ids, Clock::time_point now);
  // The channels of `dahsId` asked for since `since`, in ascending order; older wishes go.
  std::vector<std::int32_t> Wanted(std::int32_t dahsId, Clock::time_point since);

 private:
  std::mutex mutex_;
  std::map<std::int32_t, std::map<std::int32_t, Clock::time_point>> wanted_;
};

}  // namespace telmon::serve
