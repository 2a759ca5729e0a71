#include "iossim/SimDatabase.h"

#include <QSqlError>
#include <QVariant>

namespace telmon::iossim {

namespace {

// The open connection, or null with `error` set; a connection that stopped answering is
// dropped so that the next call opens a new one (the file or server may be back by then).
QSqlDatabase* Open(SqlConnection& c, QString* error) {
  QSqlDatabase* db = c.Database(error);
  if (db != nullptr && !c.IsAlive()) {
    c.Reset();
    db = c.Database(error);
  }
  return db;
}

bool Fail(QSqlDatabase& db, const QSqlQuery& q, QString* error) {
  *error = SqlErrorText(q.lastError());
  db.rollback();
  return false;
}

}  // namespace

SimDatabase::SimDatabase(const QString& configConnection, const QString& realtimeConnection,
                         const QString& siteId)
    : config_(configConnection, OpenMode::ReadWrite),
      realtime_(realtimeConnection, OpenMode::ReadWrite),
      siteId_(siteId) {}

QSqlDatabase* SimDatabase::Config(QString* error) { return Open(config_, error); }
QSqlDatabase* SimDatabase::Realtime(QString* error) { return Open(realtime_, error); }

bool SimDatabase::LoadConfig(int dahsId, SimConfig* config, QString* error) {
  QSqlDatabase* db = Config(error);
  return db != nullptr && LoadSimConfig(*db, dahsId, config, error);
}

QString SimDatabase::Lookup(const QString& key, const QString& defaultValue, QString* error) {
  QSqlDatabase* db = Config(error);
  if (db == nullptr) {
    return defaultValue;
  }
  QSqlQuery q(*db);
  q.prepare(QStringLiteral("SELECT lookupvalue FROM H5LOOKUP WHERE siteid = ? AND lookupkey = ?"));
  q.addBindValue(siteId_);
  q.addBindValue(key);
  if (!q.exec()) {
    *error = SqlErrorText(q.lastError());
    return defaultValue;
  }
  return q.next() ? q.value(0).toString() : defaultValue;
}

bool SimDatabase::StoreLookup(const QString& key, const QString& value, QString* error) {
  QSqlDatabase* db = Config(error);
  if (db == nullptr) {
    return false;
  }
  QSqlQuery q(*db);
  q.prepare(QStringLiteral(
      "INSERT INTO H5LOOKUP (siteid, lookupkey, lookupvalue) VALUES (?, ?, ?) "
      "ON CONFLICT (siteid, lookupkey) DO UPDATE SET lookupvalue = excluded.lookupvalue"));
  q.addBindValue(siteId_);
  q.addBindValue(key);
  q.addBindValue(value);
  if (!q.exec()) {
    *error = SqlErrorText(q.lastError());
    return false;
  }
  return true;
}

bool SimDatabase::WriteRealtime(const std::vector<RealtimePoint>& points, QString* error) {
  QSqlDatabase* db = Realtime(error);
  if (db == nullptr) {
    return false;
  }
  if (!db->transaction()) {
    *error = SqlErrorText(db->lastError());
    return false;
  }
  QSqlQuery q(*db);
  if (!q.prepare(QStringLiteral(
          "INSERT INTO H5REALTIME (ioid, tstamp, numvalue, textvalue) VALUES (?, ?, ?, ?) "
          "ON CONFLICT (ioid) DO UPDATE SET tstamp = excluded.tstamp, "
          "numvalue = excluded.numvalue, textvalue = excluded.textvalue"))) {
    return Fail(*db, q, error);
  }
  const QVariant nullNumber(QMetaType::fromType<double>());
  for (const RealtimePoint& p : points) {
    q.bindValue(0, p.ioid);
    q.bindValue(1, p.stamp);
    q.bindValue(2, p.numeric ? QVariant(*p.numeric) : nullNumber);
    q.bindValue(3, p.text.isNull() ? QStringLiteral("") : p.text);
    if (!q.exec()) {
      return Fail(*db, q, error);
    }
  }
  q.finish();
  if (!db->commit()) {
    *error = SqlErrorText(db->lastError());
    db->rollback();
    return false;
  }
  return true;
}

std::optional<std::vector<CommandRecord>> SimDatabase::PendingCommands(QString* error) {
  QSqlDatabase* db = Config(error);
  if (db == nullptr) {
    return std::nullopt;
  }
  QSqlQuery q(*db);
  q.setForwardOnly(true);
  q.prepare(
      QStringLiteral("SELECT id, commandtext FROM H5IOCOMMAND "
                     "WHERE siteid = ? AND processedat IS NULL ORDER BY id"));
  q.addBindValue(siteId_);
  if (!q.exec()) {
    *error = SqlErrorText(q.lastError());
    return std::nullopt;
  }
  std::vector<CommandRecord> records;
  while (q.next()) {
    records.push_back({q.value(0).toLongLong(), q.value(1).toString()});
  }
  return records;
}

bool SimDatabase::MarkDone(std::int64_t id, const QString& result, QString* error) {
  QSqlDatabase* db = Config(error);
  if (db == nullptr) {
    return false;
  }
  QSqlQuery q(*db);
  q.prepare(QStringLiteral("UPDATE H5IOCOMMAND SET processedat = ?, result = ? WHERE id = ?"));
  q.addBindValue(QDateTime::currentDateTime());
  q.addBindValue(result);
  q.addBindValue(static_cast<qlonglong>(id));
  if (!q.exec()) {
    *error = SqlErrorText(q.lastError());
    return false;
  }
  return true;
}

}  // namespace telmon::iossim
