#pragma once

// The monitor's own alarms for what is left changed: a device left giving random values, or a
// channel left forced, for longer than a set time (8 hours unless the site sets
// "TELM:LeftChangedAlarmHours" in its lookups). They are shown on the alarms page and in the
// site state, and never written into the site's alarms database.

#include "alarms/AlarmTypes.h"
#include "journal/SiteStateModel.h"

#include <QDateTime>

#include <cstdint>
#include <map>
#include <utility>
#include <vector>

namespace telmon {

class IClock;

inline constexpr int DefaultLeftChangedAlarmHours = 8;
inline constexpr char LeftChangedAlarmLookupKey[] = "TELM:LeftChangedAlarmHours";

class LeftChangedAlarms {
 public:
  LeftChangedAlarms(const IClock& clock, std::int64_t limitSeconds);

  // Takes what the site state shows now; a change seen for the first time starts its time.
  void Update(const std::vector<SiteStateModel::Item>& items);
  // The alarms of changes left longer than the limit, oldest first.
  std::vector<AlarmRow> Alarms() const;
  std::int64_t LimitSeconds() const { return limitSeconds_; }

  // The limit a lookup text gives: whole or decimal hours above zero; the default otherwise.
  static std::int64_t LimitFromLookup(const QString& text);

 private:
  struct Seen {
    QString name;
    QDateTime since;
  };
  using Key = std::pair<int, std::int32_t>;  // group, ID

  const IClock& clock_;
  std::int64_t limitSeconds_;
  std::map<Key, Seen> seen_;
};

}  // namespace telmon
