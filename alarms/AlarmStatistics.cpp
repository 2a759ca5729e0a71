#include "alarms/AlarmStatistics.h"

#include "util/UtilityFunctions.h"

#include <QSqlDriver>
#include <QSqlError>
#include <QSqlQuery>
#include <QVariant>

#include <algorithm>
#include <unordered_map>

namespace telmon {

namespace {

// Each activation of the period: its source, condition and priority, and its time as
// milliseconds after the first slot's start, worked out by the database so that no row's time
// text is parsed here. In time order, which the history's time index gives without a sort.
QString ActivationsSql(const QSqlDatabase& db) {
  const bool postgres = db.driver() != nullptr && db.driver()->dbmsType() == QSqlDriver::PostgreSQL;
  // SQLite keeps a bound time as ISO text, which julianday reads.
  const QString offset = postgres
                             ? QStringLiteral(
                                   "CAST(ROUND(EXTRACT(EPOCH FROM (eventat - CAST(? AS TIMESTAMP)))"
                                   " * 1000) AS BIGINT)")
                             : QStringLiteral(
                                   "CAST(ROUND((julianday(eventat) - julianday(?)) * 86400000.0)"
                                   " AS INTEGER)");
  return QStringLiteral("SELECT sourcekind, sourceid, sourcename, condition, priority, ") + offset +
         QStringLiteral(
             " FROM H5ALARMHISTORY WHERE dahsid = ? AND event = 'RAISED' AND"
             " eventat >= ? AND eventat <= ? ORDER BY eventat");
}

struct SourceKey {
  QString kind;
  std::int32_t id = 0;
  QString condition;  // empty when a whole source is counted
  bool operator==(const SourceKey&) const = default;
};

struct SourceKeyHash {
  std::size_t operator()(const SourceKey& k) const {
    return qHashMulti(0, k.kind, k.id, k.condition);
  }
};

struct Tally {
  QString name;  // the greatest of the names the counted rows carry
  int count = 0;
  void Count(const QString& rowName) {
    ++count;
    if (count == 1 || name < rowName) {
      name = rowName;
    }
  }
};

// One alarm (a source's condition) as the pass meets its activations.
struct AlarmTrack {
  Tally all;      // every activation
  Tally chatter;  // those that came within a minute of the one two before
  qint64 last = 0;
  qint64 before = 0;  // the activation before `last`
};

std::vector<AlarmSourceCount> Ranked(
    const std::unordered_map<SourceKey, Tally, SourceKeyHash>& tallies, std::size_t keep) {
  std::vector<AlarmSourceCount> out;
  out.reserve(tallies.size());
  for (const auto& [key, tally] : tallies) {
    if (tally.count > 0) {
      out.push_back({key.kind, key.id, tally.name, key.condition, tally.count});
    }
  }
  // Most first, then by source and condition so that equal counts keep one order.
  const auto before = [](const AlarmSourceCount& a, const AlarmSourceCount& b) {
    if (a.count != b.count) {
      return a.count > b.count;
    }
    if (const int kind = QString::compare(a.sourceKind, b.sourceKind); kind != 0) {
      return kind < 0;
    }
    if (a.sourceId != b.sourceId) {
      return a.sourceId < b.sourceId;
    }
    return QString::compare(a.condition, b.condition) < 0;
  };
  if (out.size() > keep) {
    std::partial_sort(out.begin(), out.begin() + static_cast<std::ptrdiff_t>(keep), out.end(),
                      before);
    out.resize(keep);
  } else {
    std::sort(out.begin(), out.end(), before);
  }
  return out;
}

// Every figure from one pass over the period's activations: the database's grouping and window
// functions cost several microseconds a row, far more than counting here.
bool ReadActivations(QSqlDatabase& db, std::int32_t dahs, AlarmStatistics& s, QString* error) {
  QSqlQuery q(db);
  q.setForwardOnly(true);
  if (!RunPrepared(q, ActivationsSql(db), {s.from, dahs, s.from, s.to}, error)) {
    return false;
  }
  constexpr qint64 SlotMs = static_cast<qint64>(AlarmSlotMinutes) * 60 * 1000;
  constexpr qint64 ChatterMs = static_cast<qint64>(AlarmChatterSeconds) * 1000;
  static_assert(AlarmChatterCount == 3, "the track keeps the two activations before each");
  std::unordered_map<SourceKey, AlarmTrack, SourceKeyHash> alarms;
  SourceKey key;
  while (q.next()) {
    key.kind = q.value(0).toString();
    key.id = q.value(1).toInt();
    key.condition = q.value(3).toString();
    const QString name = q.value(2).toString();
    const int priority = q.value(4).toInt();  // NULL reads as 0, an unknown priority
    const qint64 at = q.value(5).toLongLong();
    ++s.total;
    ++s.byPriority[static_cast<std::size_t>(
        priority >= HighestAlarmPriority && priority <= LowestAlarmPriority ? priority : 0)];
    ++s.perSlot[static_cast<std::size_t>(std::clamp<qint64>(at / SlotMs, 0, AlarmSlots - 1))];
    AlarmTrack& track = alarms[key];
    if (track.all.count >= AlarmChatterCount - 1 && at - track.before <= ChatterMs) {
      track.chatter.Count(name);
    }
    track.all.Count(name);
    track.before = track.last;
    track.last = at;
  }
  if (q.lastError().isValid()) {
    *error = SqlErrorText(q.lastError());
    return false;
  }
  // The top ten count whole sources, whatever the condition.
  std::unordered_map<SourceKey, Tally, SourceKeyHash> sources;
  std::unordered_map<SourceKey, Tally, SourceKeyHash> chattering;
  for (auto& [alarm, track] : alarms) {
    Tally& source = sources[SourceKey{alarm.kind, alarm.id, QString()}];
    if (source.count == 0 || source.name < track.all.name) {
      source.name = track.all.name;
    }
    source.count += track.all.count;
    if (track.chatter.count > 0) {
      chattering.emplace(alarm, std::move(track.chatter));
    }
  }
  constexpr std::size_t TopSources = 10;
  s.topSources = Ranked(sources, TopSources);
  s.chattering = Ranked(chattering, chattering.size());
  return true;
}

}  // namespace

int AlarmStatistics::FloodSlots() const {
  int n = 0;
  for (int slot = 0; slot < AlarmSlots; ++slot) {
    n += IsFlood(slot) ? 1 : 0;
  }
  return n;
}

QDateTime AlarmStatisticsStart(const QDateTime& now) {
  const QDateTime slotOfNow = RoundDownToPeriod(now, static_cast<qint64>(AlarmSlotMinutes) * 60);
  return slotOfNow.addSecs(-static_cast<qint64>(AlarmSlots - 1) * AlarmSlotMinutes * 60);
}

std::optional<AlarmStatistics> ComputeAlarmStatistics(AlarmStore& store, const QDateTime& now,
                                                      const std::vector<AlarmRow>& current,
                                                      QString* error) {
  QSqlDatabase* db = store.Database(error);
  if (db == nullptr) {
    return std::nullopt;
  }
  AlarmStatistics s;
  s.to = now;
  s.from = AlarmStatisticsStart(now);
  if (!ReadActivations(*db, store.Dahs(), s, error)) {
    return std::nullopt;
  }
  const QDateTime staleBefore = now.addSecs(-static_cast<qint64>(AlarmStaleHours) * 3600);
  for (const AlarmRow& row : current) {
    if (!row.monitorOwn && row.active && row.raised.isValid() && row.raised < staleBefore) {
      s.stale.push_back(row);
    }
  }
  return s;
}

}  // namespace telmon
