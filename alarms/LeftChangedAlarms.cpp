#include "alarms/LeftChangedAlarms.h"

#include "util/Clock.h"

#include <algorithm>

namespace telmon {

namespace {

QString HoursText(std::int64_t seconds) {
  const double hours = static_cast<double>(seconds) / 3600.0;
  return QString::number(hours, 'g', 4) + QStringLiteral(" h");
}

}  // namespace

LeftChangedAlarms::LeftChangedAlarms(const IClock& clock, std::int64_t limitSeconds)
    : clock_(clock), limitSeconds_(limitSeconds) {}

std::int64_t LeftChangedAlarms::LimitFromLookup(const QString& text) {
  bool ok = false;
  const double hours = text.trimmed().toDouble(&ok);
  if (!ok || !(hours > 0) || hours > 24.0 * 366) {
    return static_cast<std::int64_t>(DefaultLeftChangedAlarmHours) * 3600;
  }
  return std::max<std::int64_t>(1, static_cast<std::int64_t>(hours * 3600.0));
}

void LeftChangedAlarms::Update(const std::vector<SiteStateModel::Item>& items) {
  const QDateTime now = clock_.Now();
  std::map<Key, Seen> next;
  for (const SiteStateModel::Item& item : items) {
    if (item.group != SiteStateModel::Group::RandomDevice &&
        item.group != SiteStateModel::Group::ForcedChannel) {
      continue;
    }
    const Key key{static_cast<int>(item.group), item.id};
    const auto it = seen_.find(key);
    next[key] = Seen{item.name, it != seen_.end() ? it->second.since : now};
  }
  seen_ = std::move(next);
}

std::vector<AlarmRow> LeftChangedAlarms::Alarms() const {
  const QDateTime now = clock_.Now();
  std::vector<AlarmRow> alarms;
  for (const auto& [key, seen] : seen_) {
    if (seen.since.secsTo(now) < limitSeconds_) {
      continue;
    }
    const bool device = key.first == static_cast<int>(SiteStateModel::Group::RandomDevice);
    AlarmRow row;
    row.monitorOwn = true;
    row.sourceKind = device ? AlarmSourceKind::Device : AlarmSourceKind::Channel;
    row.sourceId = key.second;
    row.sourceName = seen.name;
    row.condition =
        device ? QStringLiteral("Left in random values") : QStringLiteral("Left forced");
    row.priority = 3;
    row.state = AlarmState::ActiveAck;
    row.raised = seen.since.addSecs(limitSeconds_);
    row.message = QStringLiteral("%1 since %2, longer than %3")
                      .arg(device ? QStringLiteral("Random values") : QStringLiteral("Forced"),
                           seen.since.toString(QStringLiteral("yyyy-MM-dd HH:mm:ss")),
                           HoursText(limitSeconds_));
    alarms.push_back(row);
  }
  std::sort(alarms.begin(), alarms.end(),
            [](const AlarmRow& a, const AlarmRow& b) { return a.raised < b.raised; });
  return alarms;
}

}  // namespace telmon
