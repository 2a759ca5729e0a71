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
  if (!q.prepare(sql)) {
    *error = SqlErrorText(q.lastError());
    return false;
  }
  for (int i = 0; i < values.size(); ++i) {
    q.bindValue(i, values[i]);
  }
  if (!q.exec()) {
    *error = SqlErrorText(q.lastError());
    return false;
  }
  return true;
}

const QString RaisedRows = QStringLiteral(
    " FROM H5ALARMHISTORY WHERE dahsid = ? AND event = 'RAISED' AND eventat >= ? AND eventat <= ?");

struct Dialect {
  QString slotText;       // "yyyy-MM-ddTHH:m" of the event's time: its 10-minute slot
  QString withinChatter;  // the event and `p2` no further apart than the chatter time
};

Dialect DialectOf(const QSqlDatabase& db) {
  if (db.driver() != nullptr && db.driver()->dbmsType() == QSqlDriver::PostgreSQL) {
    return {QStringLiteral("substr(to_char(eventat, 'YYYY-MM-DD\"T\"HH24:MI'), 1, 15)"),
            QStringLiteral("eventat - p2 <= interval '%1 seconds'").arg(AlarmChatterSeconds)};
  }
  // SQLite keeps a bound time as ISO text, which julianday reads.
  return {QStringLiteral("substr(replace(eventat, ' ', 'T'), 1, 15)"),
          QStringLiteral("(julianday(eventat) - julianday(p2)) * 86400.0 <= %1.0001")
              .arg(AlarmChatterSeconds)};
}

bool ReadSlots(QSqlDatabase& db, const Dialect& d, const QVariantList& range, AlarmStatistics& s,
               QString* error) {
  QSqlQuery q(db);
  if (!Run(q,
           QStringLiteral("SELECT %1 AS slot, COUNT(*)").arg(d.slotText) + RaisedRows +
               QStringLiteral(" GROUP BY slot"),
           range, error)) {
    return false;
  }
  while (q.next()) {
    const QDateTime start = QDateTime::fromString(q.value(0).toString() + QStringLiteral("0:00"),
                                                  QStringLiteral("yyyy-MM-ddTHH:mm:ss"));
    const qint64 slot = start.isValid() ? s.from.secsTo(start) / (AlarmSlotMinutes * 60) : -1;
    const int count = q.value(1).toInt();
    if (slot >= 0 && slot < AlarmSlots) {
      s.perSlot[static_cast<std::size_t>(slot)] += count;
    }
  }
  return true;
}

bool ReadPriorities(QSqlDatabase& db, const QVariantList& range, AlarmStatistics& s,
                    QString* error) {
  QSqlQuery q(db);
  if (!Run(q,
           QStringLiteral("SELECT priority, COUNT(*)") + RaisedRows +
               QStringLiteral(" GROUP BY priority"),
           range, error)) {
    return false;
  }
  while (q.next()) {
    const int priority = q.value(0).toInt();
    const int count = q.value(1).toInt();
    const bool known = priority >= HighestAlarmPriority && priority <= LowestAlarmPriority;
    s.byPriority[known ? static_cast<std::size_t>(priority) : 0] += count;
    s.total += count;
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
  if (!ReadSlots(*db, d, range, s, error) || !ReadPriorities(*db, range, s, error) ||
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
