#include "iossim/SimAlarms.h"

#include <cmath>

namespace telmon::iossim {

SimAlarms::SimAlarms(const QString& connection, int dahs) : store_(connection, dahs) {}

QString SimAlarms::Key(const AlarmCondition& c) {
  return c.sourceKind + QLatin1Char(':') + QString::number(c.sourceId) + QLatin1Char(':') +
         c.condition;
}

// Alarms still active from an earlier run count as standing, so that those whose condition is
// gone are cleared at the first step.
bool SimAlarms::LoadStanding(QString* error) {
  const auto rows = store_.ReadCurrent(error);
  if (!rows) {
    return false;
  }
  for (const AlarmRow& r : *rows) {
    if (r.active) {
      AlarmCondition c{r.sourceKind, r.sourceId, r.sourceName, r.condition, r.priority, r.message};
      standing_.insert(Key(c), c);
    }
  }
  loaded_ = true;
  return true;
}

void SimAlarms::AddTestConditions(std::vector<AlarmCondition>& conditions, double seconds) const {
  if (floodCount_ > 0 && std::fmod(seconds, FloodEverySeconds) < FloodLastsSeconds) {
    for (int i = 1; i <= floodCount_; ++i) {
      conditions.push_back(
          {AlarmSourceKind::Channel, 900000 + i, QStringLiteral("Flood test"),
           QStringLiteral("Flood test"), 4,
           QStringLiteral("Test alarm %1 of a burst of %2").arg(i).arg(floodCount_)});
    }
  }
  if (chatterChannel_ && std::fmod(seconds, ChatterCycleSeconds) < ChatterCycleSeconds / 2.0) {
    conditions.push_back({AlarmSourceKind::Channel, *chatterChannel_, QString(),
                          QStringLiteral("Chatter test"), 3,
                          QStringLiteral("Test alarm that comes and goes")});
  }
}

bool SimAlarms::Sync(std::vector<AlarmCondition> conditions, const QDateTime& now, double seconds,
                     QString* error) {
  if (!loaded_ && !LoadStanding(error)) {
    return false;
  }
  AddTestConditions(conditions, seconds);
  QHash<QString, AlarmCondition> next;
  for (const AlarmCondition& c : conditions) {
    next.insert(Key(c), c);
  }
  for (auto it = standing_.begin(); it != standing_.end();) {
    if (next.contains(it.key())) {
      ++it;
      continue;
    }
    if (!store_.Clear(it->sourceKind, it->sourceId, it->condition, now, error)) {
      return false;
    }
    it = standing_.erase(it);
  }
  for (auto it = next.cbegin(); it != next.cend(); ++it) {
    if (standing_.contains(it.key())) {
      continue;
    }
    if (!store_.Raise(*it, now, error)) {
      return false;
    }
    standing_.insert(it.key(), *it);
  }
  return true;
}

}  // namespace telmon::iossim
