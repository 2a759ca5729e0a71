#pragma once

// The audible signal: it sounds while an active, unacknowledged critical or high alarm
// (priority 1 or 2) stands, once per refresh, until those alarms are acknowledged or the
// operator silences them. Silencing covers the alarms standing at that moment; an alarm
// raised afterwards (or raised again) sounds again.

#include "alarms/AlarmTypes.h"

#include <QSet>

#include <cstdint>
#include <utility>
#include <vector>

namespace telmon {

class AlarmHorn {
 public:
  // Takes the current alarms; true when the signal should sound now.
  bool Update(const std::vector<AlarmRow>& rows);
  bool Sounding() const { return sounding_; }
  void Silence();

  static bool Sounds(const AlarmRow& row);

 private:
  using Activation = std::pair<std::int64_t, qint64>;  // alarm, time raised
  std::vector<Activation> standing_;
  QSet<Activation> silenced_;
  bool sounding_ = false;
};

}  // namespace telmon
