#include "platform/SiteSchema.h"

#include "platform/SqlConnection.h"

#include <QSqlDriver>
#include <QSqlError>
#include <QSqlQuery>
#include <QStringList>

#include <vector>

namespace telmon::SiteSchema {

namespace {

// "%ID%" is the auto-numbered key column, spelt differently by the two servers. Only keys
// refuse NULL: readers take a NULL text as empty and a NULL number as 0.
const std::vector<std::vector<const char*>> Steps = {
    {
        "CREATE TABLE SCHEMA_VERSION (version INTEGER NOT NULL)",
        "INSERT INTO SCHEMA_VERSION (version) VALUES (0)",
        "CREATE TABLE H5LOOKUP (siteid TEXT NOT NULL, lookupkey TEXT NOT NULL,"
        " lookupvalue TEXT DEFAULT '', PRIMARY KEY (siteid, lookupkey))",
        "CREATE TABLE H5IOCOMMAND (id %ID%, siteid TEXT NOT NULL, commandtext TEXT NOT NULL,"
        " extra1 TEXT NOT NULL DEFAULT '', extra2 TEXT NOT NULL DEFAULT '',"
        " callercode TEXT NOT NULL DEFAULT '', createdat TIMESTAMP NOT NULL,"
        " processedat TIMESTAMP NULL, result TEXT NULL)",
        "CREATE INDEX H5IOCOMMAND_PENDING ON H5IOCOMMAND (siteid, processedat)",
        "CREATE TABLE H5REALTIME (ioid TEXT NOT NULL PRIMARY KEY, tstamp TIMESTAMP NULL,"
        " numvalue DOUBLE PRECISION NULL, textvalue TEXT NULL)",
    },
    {
        "CREATE TABLE H5ACCOUNT (account TEXT NOT NULL PRIMARY KEY, passwordhash TEXT NOT NULL,"
        " privilegelevel INTEGER NOT NULL DEFAULT 0, failedcount INTEGER NOT NULL DEFAULT 0,"
        " lockeduntil TIMESTAMP NULL)",
    },
    {
        "CREATE TABLE H5IODEVICE (dahsid INTEGER NOT NULL, deviceid INTEGER NOT NULL,"
        " name TEXT DEFAULT '', drivername TEXT DEFAULT '',"
        " plctype TEXT DEFAULT '', connection TEXT DEFAULT '',"
        " portname TEXT DEFAULT '', watchdogtimeout INTEGER DEFAULT 0,"
        " redundantdeviceid INTEGER DEFAULT 0, hdrenabled INTEGER DEFAULT 0,"
        " faulty INTEGER DEFAULT 0, PRIMARY KEY (dahsid, deviceid))",
        "CREATE TABLE H5IOQUEUE (dahsid INTEGER NOT NULL, qname TEXT NOT NULL,"
        " drivername TEXT DEFAULT '', portname TEXT DEFAULT '',"
        " PRIMARY KEY (dahsid, qname))",
        "CREATE TABLE H5IOBLOCK (dahsid INTEGER NOT NULL, blockid INTEGER NOT NULL,"
        " deviceid INTEGER DEFAULT 0, qname TEXT DEFAULT '',"
        " name TEXT DEFAULT '', datatypename TEXT DEFAULT '',"
        " dataaddress TEXT DEFAULT '', dataqty INTEGER DEFAULT 0,"
        " refreshinterval INTEGER DEFAULT 0, fastreadenabled INTEGER DEFAULT 0,"
        " disabled INTEGER DEFAULT 0, ishdr INTEGER DEFAULT 0,"
        " containswatchdog INTEGER DEFAULT 0, implicitchannelid INTEGER NOT NULL"
        " DEFAULT 0, PRIMARY KEY (dahsid, blockid))",
        "CREATE TABLE H5IOCHANNEL (dahsid INTEGER NOT NULL, channelid INTEGER NOT NULL,"
        " name TEXT DEFAULT '', deviceid INTEGER DEFAULT 0,"
        " blockid INTEGER DEFAULT 0, address TEXT DEFAULT '',"
        " scaling TEXT DEFAULT '', otherinfo TEXT DEFAULT '',"
        " datasource TEXT DEFAULT '', oscillationmin TEXT DEFAULT '',"
        " oscillationmax TEXT DEFAULT '', oscillationperiod TEXT DEFAULT '',"
        " kind TEXT DEFAULT '', rangelow DOUBLE PRECISION DEFAULT 0,"
        " rangehigh DOUBLE PRECISION DEFAULT 0, PRIMARY KEY (dahsid, channelid))",
    },
    {
        // One row per alarm that still needs attention; an alarm cleared and acknowledged
        // leaves it. Every change is also appended to the history, which is never rewritten.
        "CREATE TABLE H5ALARM (alarmid %ID%, dahsid INTEGER NOT NULL DEFAULT 0,"
        " sourcekind TEXT NOT NULL DEFAULT '', sourceid INTEGER NOT NULL DEFAULT 0,"
        " sourcename TEXT DEFAULT '', condition TEXT NOT NULL DEFAULT '',"
        " priority INTEGER DEFAULT 4, state TEXT DEFAULT 'ACTIVE_UNACK',"
        " active INTEGER DEFAULT 1, raisedat TIMESTAMP NULL, acknowledgedat TIMESTAMP NULL,"
        " clearedat TIMESTAMP NULL, shelveduntil TIMESTAMP NULL,"
        " acknowledgedby TEXT DEFAULT '', shelvedby TEXT DEFAULT '', message TEXT DEFAULT '')",
        "CREATE UNIQUE INDEX H5ALARM_SOURCE ON H5ALARM (dahsid, sourcekind, sourceid, condition)",
        "CREATE TABLE H5ALARMHISTORY (id %ID%, alarmid BIGINT NOT NULL,"
        " dahsid INTEGER NOT NULL DEFAULT 0, sourcekind TEXT DEFAULT '',"
        " sourceid INTEGER DEFAULT 0, sourcename TEXT DEFAULT '', condition TEXT DEFAULT '',"
        " priority INTEGER DEFAULT 4, event TEXT NOT NULL, state TEXT DEFAULT '',"
        " eventat TIMESTAMP NOT NULL, who TEXT DEFAULT '', message TEXT DEFAULT '')",
        "CREATE INDEX H5ALARMHISTORY_EVENT ON H5ALARMHISTORY (dahsid, event, eventat)",
    },
};

bool IsPostgresql(const QSqlDatabase& db) {
  return db.driver() != nullptr && db.driver()->dbmsType() == QSqlDriver::PostgreSQL;
}

QString StatementFor(const QSqlDatabase& db, const char* text) {
  QString sql = QString::fromLatin1(text);
  sql.replace(QStringLiteral("%ID%"), IsPostgresql(db)
                                          ? QStringLiteral("BIGINT GENERATED BY DEFAULT AS "
                                                           "IDENTITY PRIMARY KEY")
                                          : QStringLiteral("INTEGER PRIMARY KEY AUTOINCREMENT"));
  return sql;
}

bool HasVersionTable(QSqlDatabase& db) {
  for (const QString& table : db.tables(QSql::Tables)) {
    if (table.compare(QStringLiteral("SCHEMA_VERSION"), Qt::CaseInsensitive) == 0) {
      return true;
    }
  }
  return false;
}

bool RunStep(QSqlDatabase& db, int version, QString* error) {
  if (!db.transaction()) {
    *error = QStringLiteral("can't begin the upgrade to schema version %1: %2")
                 .arg(version)
                 .arg(SqlErrorText(db.lastError()));
    return false;
  }
  QSqlQuery query(db);
  QStringList statements;
  for (const char* text : Steps[static_cast<std::size_t>(version - 1)]) {
    statements.append(StatementFor(db, text));
  }
  statements.append(QStringLiteral("UPDATE SCHEMA_VERSION SET version = %1").arg(version));
  for (const QString& sql : statements) {
    if (!query.exec(sql)) {
      *error = QStringLiteral("upgrade to schema version %1 failed: %2")
                   .arg(version)
                   .arg(SqlErrorText(query.lastError()));
      query.finish();
      db.rollback();
      return false;
    }
  }
  query.finish();
  if (!db.commit()) {
    *error = QStringLiteral("can't commit schema version %1: %2")
                 .arg(version)
                 .arg(SqlErrorText(db.lastError()));
    db.rollback();
    return false;
  }
  return true;
}

}  // namespace

int Version(QSqlDatabase& db, QString* error) {
  if (!HasVersionTable(db)) {
    return 0;
  }
  QSqlQuery query(db);
  if (!query.exec(QStringLiteral("SELECT MAX(version) FROM SCHEMA_VERSION")) || !query.next()) {
    if (error != nullptr) {
      *error =
          QStringLiteral("can't read the schema version: %1").arg(SqlErrorText(query.lastError()));
    }
    return -1;
  }
  return query.value(0).toInt();
}

bool UpgradeTo(QSqlDatabase& db, int targetVersion, QString* error) {
  QString ignored;
  QString& message = error != nullptr ? *error : ignored;
  if (targetVersion < 1 || targetVersion > CurrentVersion) {
    message = QStringLiteral("there is no schema version %1").arg(targetVersion);
    return false;
  }
  const int current = Version(db, &message);
  if (current < 0) {
    return false;
  }
  if (current > CurrentVersion) {
    message = QStringLiteral(
                  "the database has schema version %1, newer than this program's %2; "
                  "use a newer telmon-site")
                  .arg(current)
                  .arg(CurrentVersion);
    return false;
  }
  Q_ASSERT(Steps.size() == static_cast<std::size_t>(CurrentVersion));
  for (int version = current + 1; version <= targetVersion; ++version) {
    if (!RunStep(db, version, &message)) {
      return false;
    }
  }
  return true;
}

bool InitConnection(const QString& connectionString, QString* error) {
  SqlConnection connection(connectionString, OpenMode::Create);
  QSqlDatabase* db = connection.Database(error);
  return db != nullptr && Init(*db, error);
}

}  // namespace telmon::SiteSchema
