#include "alarms/AlarmStatistics.h"

#include "util/UtilityFunctions.h"

#include <QSqlDriver>
#include <QSqlError>
#include <QSqlQuery>
#include <QVariant>

namespace telmon {

namespace {

bool Run(QSqlQuery& q, const QString& sql, const QVariantList& values, QString* error) {
  q.setForwardOnly(true);
  return RunPrepared(q, sql, values, error);
}

const QString RaisedRows = QStringLiteral(
    " FROM H5ALARMHISTORY WHERE dahsid = ? AND event = 'RAISED' AND eventat >= ? AND eventat <= ?");

struct Dialect {
  QString withinChatter;  // the event and `p2` no further apart than the chatter time
};

Dialect DialectOf(const QSqlDatabase& db) {
  if (db.driver() != nullptr && db.driver()->dbmsType() == QSqlDriver::PostgreSQL) {
    return {QStringLiteral("eventat - p2 <= interval '%1 seconds'").arg(AlarmChatterSeconds)};
  }
  // SQLite keeps a bound time as ISO text, which julianday reads.
  return {QStringLiteral("(julianday(eventat) - julianday(p2)) * 86400.0 <= %1.0001")
              .arg(AlarmChatterSeconds)};
}

// One count per slot: each is a short range of the time index, where grouping the whole day
// by slot would sort every activation of it.
bool ReadSlots(QSqlDatabase& db, std::int32_t dahs, AlarmStatistics& s, QString* error) {
  QSqlQuery q(db);
  q.setForwardOnly(true);
  if (!q.prepare(QStringLiteral("SELECT COUNT(*) FROM H5ALARMHISTORY WHERE dahsid = ? AND"
                                " event = 'RAISED' AND eventat >= ? AND eventat < ?"))) {
    *error = SqlErrorText(q.lastError());
    return false;
  }
  for (int slot = 0; slot < AlarmSlots; ++slot) {
    const QDateTime end = slot + 1 < AlarmSlots ? s.SlotStart(slot + 1) : s.to.addMSecs(1);
    q.bindValue(0, dahs);
    q.bindValue(1, s.SlotStart(slot));
    q.bindValue(2, end);
    if (!q.exec() || !q.next()) {
      *error = SqlErrorText(q.lastError());
      return false;
    }
    s.perSlot[static_cast<std::size_t>(slot)] = q.value(0).toInt();
  }
  return true;
}

// The priorities in one pass, without grouping.
bool ReadPriorities(QSqlDatabase& db, const QVariantList& range, AlarmStatistics& s,
                    QString* error) {
  QString sql = QStringLiteral("SELECT COUNT(*)");
  for (int p = HighestAlarmPriority; p <= LowestAlarmPriority; ++p) {
    sql += QStringLiteral(", SUM(CASE WHEN priority = %1 THEN 1 ELSE 0 END)").arg(p);
  }
  QSqlQuery q(db);
  if (!Run(q, sql + RaisedRows, range, error)) {
    return false;
  }
  if (q.next()) {
    s.total = q.value(0).toInt();
    int known = 0;
    for (int p = HighestAlarmPriority; p <= LowestAlarmPriority; ++p) {
      const int n = q.value(p).toInt();  // NULL (no rows) reads as 0
      s.byPriority[static_cast<std::size_t>(p)] = n;
      known += n;
    }
    s.byPriority[0] = s.total - known;
  }
  return true;
}

bool ReadTopSources(QSqlDatabase& db, const QVariantList& range, AlarmStatistics& s,
                    QString* error) {
  QSqlQuery q(db);
  if (!Run(q,
           QStringLiteral("SELECT sourcekind, sourceid, MAX(sourcename), COUNT(*) AS n") +
               RaisedRows +
               QStringLiteral(" GROUP BY sourcekind, sourceid ORDER BY n DESC, sourcekind,"
                              " sourceid LIMIT 10"),
           range, error)) {
    return false;
  }
  while (q.next()) {
    s.topSources.push_back({q.value(0).toString(), q.value(1).toInt(), q.value(2).toString(),
                            QString(), q.value(3).toInt()});
  }
  return true;
}

bool ReadChattering(QSqlDatabase& db, const Dialect& d, const QVariantList& range,
                    AlarmStatistics& s, QString* error) {
  QSqlQuery q(db);
  const QString sql =
      QStringLiteral(
          "SELECT sourcekind, sourceid, MAX(sourcename), condition, COUNT(*) AS n FROM"
          " (SELECT sourcekind, sourceid, sourcename, condition, eventat, LAG(eventat, %1) OVER"
          " (PARTITION BY sourcekind, sourceid, condition ORDER BY eventat) AS p2")
          .arg(AlarmChatterCount - 1) +
      RaisedRows + QStringLiteral(") w WHERE p2 IS NOT NULL AND ") + d.withinChatter +
      QStringLiteral(
          " GROUP BY sourcekind, sourceid, condition ORDER BY n DESC, sourcekind,"
          " sourceid, condition");
  if (!Run(q, sql, range, error)) {
    return false;
  }
  while (q.next()) {
    s.chattering.push_back({q.value(0).toString(), q.value(1).toInt(), q.value(2).toString(),
                            q.value(3).toString(), q.value(4).toInt()});
  }
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
  const QVariantList range = {store.Dahs(), s.from, now};
  const Dialect d = DialectOf(*db);
  if (!ReadSlots(*db, store.Dahs(), s, error) || !ReadPriorities(*db, range, s, error) ||
      !ReadTopSources(*db, range, s, error) || !ReadChattering(*db, d, range, s, error)) {
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
