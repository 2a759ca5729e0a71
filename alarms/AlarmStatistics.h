#pragma once

// Alarm statistics of the last 24 hours, counted in one pass over the history's activations: the
// activations in each 10-minute slot (a slot with more than 10 is a flood), sources that
// chatter (3 or more activations of one alarm within a minute), the ten most frequent sources
// and the share of each priority; and, from the current alarms, those active for more than 24
// hours (stale).

#include "alarms/AlarmStore.h"

#include <QDateTime>

#include <array>
#include <optional>
#include <vector>

namespace telmon {

inline constexpr int AlarmSlotMinutes = 10;
inline constexpr int AlarmSlots = 24 * 60 / AlarmSlotMinutes;
inline constexpr int AlarmFloodThreshold = 10;  // more than this in one slot
inline constexpr int AlarmChatterCount = 3;     // this many activations ...
inline constexpr int AlarmChatterSeconds = 60;  // ... within this time
inline constexpr int AlarmStaleHours = 24;

struct AlarmSourceCount {
  QString sourceKind;
  std::int32_t sourceId = 0;
  QString sourceName;
  QString condition;  // empty in the top-ten list, which counts whole sources
  int count = 0;
};

struct AlarmStatistics {
  QDateTime from;  // start of the first slot
  QDateTime to;    // the time they were worked out
  std::array<int, AlarmSlots> perSlot{};
  int total = 0;
  // Activations per priority 1 to 4; index 0 counts any other priority.
  std::array<int, LowestAlarmPriority + 1> byPriority{};
  std::vector<AlarmSourceCount> topSources;
  // `count`: activations that were at least the third within a minute.
  std::vector<AlarmSourceCount> chattering;
  std::vector<AlarmRow> stale;

  bool IsFlood(int slot) const {
    return perSlot[static_cast<std::size_t>(slot)] > AlarmFloodThreshold;
  }
  int FloodSlots() const;
  QDateTime SlotStart(int slot) const {
    return from.addSecs(static_cast<qint64>(slot) * AlarmSlotMinutes * 60);
  }
};

// The first slot starts on a 10-minute boundary so that the slots match the clock.
QDateTime AlarmStatisticsStart(const QDateTime& now);

std::optional<AlarmStatistics> ComputeAlarmStatistics(AlarmStore& store, const QDateTime& now,
                                                      const std::vector<AlarmRow>& current,
                                                      QString* error);

}  // namespace telmon
