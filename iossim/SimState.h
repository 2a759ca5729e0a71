#pragma once

// Run-time state of the simulated plant, one record per configured entity.

#include "iossim/SimConfig.h"

#include <QDateTime>
#include <QString>

#include <cstdint>
#include <deque>
#include <optional>

namespace telmon::iossim {

struct DeviceState {
  DeviceConfig cfg;
  bool random = false;
  bool active = true;  // in a redundant pair, the member that currently serves the channels
  int failovers = 0;
  bool watchdogOk = true;
  QString watchdogStatus = QStringLiteral("Starting");
  QDateTime lastSuccess;
  std::int64_t clockOffsetMs = 0;  // the device's clock runs off by this much
  int clockDriftMsPerMin = 0;
  QDateTime clockReadAt;   // when the IOS last read the device clock
  QString pendingAddress;  // takes effect when the server restarts
  int hdrRecords = 0;
  bool dirty = true;
};

// A request waiting in a queue: a scheduled or forced read of a block, or a channel write.
struct IoRequest {
  enum class Kind { Read, RefreshRead, Write };
  Kind kind = Kind::Read;
  int blockId = 0;
  int channelId = 0;
  std::int64_t recordId = 0;  // command record of a write
  std::optional<double> numeric;
  QString text;
  QDateTime queuedAt;
};

struct QueueState {
  QueueConfig cfg;
  std::deque<IoRequest> scheduled;
  std::deque<IoRequest> unscheduled;
  std::int64_t peak = 0;
  std::int64_t serviced = 0;
  std::int64_t success = 0;
  std::int64_t failure = 0;
  std::int64_t delays = 0;
  std::int64_t openErrors = 0;
  std::int64_t dupWritesCancelled = 0;
  int consecutiveFailures = 0;
  int scheduledSinceUnscheduled = 0;
  bool paused = false;
  QDateTime pausedUntil;
  bool dirty = true;

  std::int64_t Size() const {
    return static_cast<std::int64_t>(scheduled.size() + unscheduled.size());
  }
};

struct BlockState {
  BlockConfig cfg;
  QDateTime nextDue;
  bool queued = false;
  int failCount = 0;
  QDateTime lastRead;
  int lastResponseMs = -1;
  int minResponseMs = -1;
  int maxResponseMs = -1;
  bool dirty = true;
};

struct ChannelState {
  ChannelConfig cfg;
  double phase = 0.0;
  // Data source and oscillation as forced at run time; they start as configured.
  QString dataSource;
  QString oscillationMin;
  QString oscillationMax;
  QString oscillationPeriod;
  QDateTime forcedAt;
  // When a forced source goes back to the plant's own; invalid = it stays forced.
  QDateTime releaseAt;
  // A value written to the channel; measured kinds return to their signal after a while.
  bool held = false;
  std::optional<double> heldNumeric;
  QString heldText;
  QDateTime heldUntil;  // invalid = until written again
  // The current value as last read, and when.
  bool hasValue = false;
  std::optional<double> numeric;
  QString text;
  QDateTime stamp;
};

struct ServerSettings {
  int logLevel = 0;
  bool logActive = true;
  int urp = 1;
  int ridMs = 0;
};

}  // namespace telmon::iossim
