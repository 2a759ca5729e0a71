#pragma once

// Keeps the site's alarms database in step with the simulated plant: raises the alarm of every
// condition that appears and clears those of conditions that are gone. For tests and the demo
// it can also raise a burst of alarms every 10 minutes (cleared 2 minutes later) and make the
// alarm of one channel come and go three times a minute.

#include "alarms/AlarmStore.h"

#include <QDateTime>
#include <QSet>
#include <QString>

#include <optional>
#include <vector>

namespace telmon::iossim {

class SimAlarms {
 public:
  static constexpr int FloodEverySeconds = 600;
  static constexpr int FloodLastsSeconds = 120;
  static constexpr int ChatterCycleSeconds = 20;  // raised for 10 s of every 20

  SimAlarms(const QString& connection, int dahs);

  void SetFlood(int count) { floodCount_ = count; }
  void SetChatter(std::optional<int> channelId) { chatterChannel_ = channelId; }

  // Brings the database in step with the conditions standing at `now` (`seconds` since the
  // simulator started). False with `error` set when the database failed; the next call tries
  // again with what is still out of step.
  bool Sync(std::vector<AlarmCondition> conditions, const QDateTime& now, double seconds,
            QString* error);

  static QString Key(const AlarmCondition& c);

 private:
  bool LoadStanding(QString* error);
  void AddTestConditions(std::vector<AlarmCondition>& conditions, double seconds) const;

  AlarmStore store_;
  bool loaded_ = false;
  QHash<QString, AlarmCondition> standing_;
  int floodCount_ = 0;
  std::optional<int> chatterChannel_;
};

}  // namespace telmon::iossim
