#include "iossim/DemoSite.h"

#include "iossim/DemoSitePlant.h"
#include "platform/AccountStore.h"
#include "platform/SiteSchema.h"
#include "platform/SiteSettingsReader.h"
#include "platform/SqlConnection.h"

#include <QDir>
#include <QFile>
#include <QSqlError>
#include <QSqlQuery>
#include <QVariant>

namespace telmon::iossim {

namespace {

constexpr int DemoDahsCount = 2;
const QString DemoSiteId = QStringLiteral("DEMO");

QString ConfigFile(int dahs) { return QStringLiteral("dahs%1.sqlite").arg(dahs); }
QString RealtimeFile(int dahs) { return QStringLiteral("dahs%1-realtime.sqlite").arg(dahs); }

QString ConnectionLines(int dahs) {
  const QString db = QStringLiteral("sqlite:") + ConfigFile(dahs);
  return QStringLiteral(
             "SqlConnectionString_Config = %1\n"
             "SqlConnectionString_Alarms = %1\n"
             "SqlConnectionString_Data = %1\n"
             "SqlConnectionString_DataShortTerm = %1\n"
             "SqlConnectionString_Realtime = sqlite:%2\n")
      .arg(db, RealtimeFile(dahs));
}

// Each DAHS has its own database (command records and I/O configuration are per DAHS) and its
// own realtime file (channel IDs are only unique within a DAHS). The site-wide strings are
// DAHS 1's, so that a monitor started without a DAHS number still finds a database.
QString SettingsText() {
  QString s = QStringLiteral(
                  "; Telmon demo site. A simulated I/O server per DAHS serves it:\n"
                  ";   iossim --settings <this folder> --dahs 1   (and --dahs 2)\n"
                  "[Site]\n"
                  "SiteID = %1\n"
                  "LanguageID = EN\n"
                  "ExtraTraceMsgsEnabled = no\n"
                  "LogFlushEnabled = yes\n")
                  .arg(DemoSiteId) +
              ConnectionLines(1);
  for (int dahs = 1; dahs <= DemoDahsCount; ++dahs) {
    s += QStringLiteral("\n[DAHS%1]\nDescription = Unit %1 DAHS\nHDREnabled = yes\n").arg(dahs);
    if (dahs > 1) {
      s += ConnectionLines(dahs);
    }
  }
  return s;
}

bool Exec(QSqlQuery& q, const QVariantList& values, QString* error) {
  for (int i = 0; i < values.size(); ++i) {
    q.bindValue(i, values[i]);
  }
  if (!q.exec()) {
    *error = SqlErrorText(q.lastError());
    return false;
  }
  return true;
}

bool Insert(QSqlDatabase& db, const QString& sql, const QList<QVariantList>& rows, QString* error) {
  QSqlQuery q(db);
  if (!q.prepare(sql)) {
    *error = SqlErrorText(q.lastError());
    return false;
  }
  for (const QVariantList& row : rows) {
    if (!Exec(q, row, error)) {
      return false;
    }
  }
  return true;
}

QList<QVariantList> DeviceRows(const SimConfig& c) {
  QList<QVariantList> rows;
  for (const DeviceConfig& d : c.devices) {
    rows.push_back({c.dahsId, d.id, d.name, d.driverName, d.plcType, d.connection, d.portName,
                    d.watchdogTimeout, d.redundantDeviceId, int(d.hdrEnabled), int(d.faulty)});
  }
  return rows;
}

QList<QVariantList> QueueRows(const SimConfig& c) {
  QList<QVariantList> rows;
  for (const QueueConfig& q : c.queues) {
    rows.push_back({c.dahsId, q.name, q.driverName, q.portName});
  }
  return rows;
}

QList<QVariantList> BlockRows(const SimConfig& c) {
  QList<QVariantList> rows;
  for (const BlockConfig& b : c.blocks) {
    rows.push_back({c.dahsId, b.id, b.deviceId, b.queueName, b.name, b.dataTypeName, b.dataAddress,
                    b.dataQty, b.refreshIntervalMs, int(b.fastReadEnabled), int(b.disabled),
                    int(b.isHdr), int(b.containsWatchdog), b.implicitChannelId});
  }
  return rows;
}

QList<QVariantList> ChannelRows(const SimConfig& c) {
  QList<QVariantList> rows;
  for (const ChannelConfig& ch : c.channels) {
    rows.push_back({c.dahsId, ch.id, ch.name, ch.deviceId, ch.blockId, ch.address, ch.scaling,
                    ch.otherInfo, ch.dataSource, ch.oscillationMin, ch.oscillationMax,
                    ch.oscillationPeriod, ChannelKindText(ch.kind), ch.rangeLow, ch.rangeHigh});
  }
  return rows;
}

bool InsertPlant(QSqlDatabase& db, const SimConfig& c, QString* error) {
  return Insert(db,
                QStringLiteral("INSERT INTO H5IODEVICE (dahsid, deviceid, name, drivername, "
                               "plctype, connection, portname, watchdogtimeout, "
                               "redundantdeviceid, hdrenabled, faulty) "
                               "VALUES (?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?)"),
                DeviceRows(c), error) &&
         Insert(db,
                QStringLiteral("INSERT INTO H5IOQUEUE (dahsid, qname, drivername, portname) "
                               "VALUES (?, ?, ?, ?)"),
                QueueRows(c), error) &&
         Insert(db,
                QStringLiteral("INSERT INTO H5IOBLOCK (dahsid, blockid, deviceid, qname, name, "
                               "datatypename, dataaddress, dataqty, refreshinterval, "
                               "fastreadenabled, disabled, ishdr, containswatchdog, "
                               "implicitchannelid) VALUES (?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, "
                               "?, ?)"),
                BlockRows(c), error) &&
         Insert(db,
                QStringLiteral("INSERT INTO H5IOCHANNEL (dahsid, channelid, name, deviceid, "
                               "blockid, address, scaling, otherinfo, datasource, "
                               "oscillationmin, oscillationmax, oscillationperiod, kind, "
                               "rangelow, rangehigh) VALUES (?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, "
                               "?, ?, ?, ?)"),
                ChannelRows(c), error);
}

bool InsertLookupsAndAccounts(QSqlDatabase& db, QString* error) {
  const QString sql =
      QStringLiteral("INSERT INTO H5LOOKUP (siteid, lookupkey, lookupvalue) VALUES (?, ?, ?)");
  if (!Insert(db, sql,
              {{DemoSiteId, QStringLiteral("IOS:TcpListenPortForMonitorConnections"),
                QStringLiteral("7651")},
               {DemoSiteId, QStringLiteral("IOS:UnscheduledRequestPriority"), QStringLiteral("1")}},
              error)) {
    return false;
  }
  // A throw-away site: the cheapest hash cost the privilege service still verifies.
  AccountStore accounts(db);
  const PasswordHashCost cost = PasswordHashCost::Minimum();
  return accounts.AddAccount(QStringLiteral("tech"), 100, QStringLiteral("tech-demo"), cost,
                             error) &&
         accounts.AddAccount(QStringLiteral("super"), 251, QStringLiteral("super-demo"), cost,
                             error);
}

bool WriteDahsDatabase(const QDir& dir, int dahs, QString* error, const DemoScale& scale) {
  const QString config = QStringLiteral("sqlite:") + dir.filePath(ConfigFile(dahs));
  return SiteSchema::InitConnection(config, error) &&
         SiteSchema::InitConnection(QStringLiteral("sqlite:") + dir.filePath(RealtimeFile(dahs)),
                                    error) &&
         WriteDemoDahsDatabase(config, dahs, error, scale);
}

// A demo site is written from scratch: databases left from an earlier run go first.
bool RemoveEarlierSite(const QDir& dir, QString* error) {
  QStringList files = {QLatin1String(SettingsFileName)};
  for (int dahs = 1; dahs <= DemoDahsCount; ++dahs) {
    for (const QString& db : {ConfigFile(dahs), RealtimeFile(dahs)}) {
      files << db << db + QStringLiteral("-wal") << db + QStringLiteral("-shm")
            << db + QStringLiteral("-journal");
    }
  }
  for (const QString& name : files) {
    if (dir.exists(name) && !QFile::remove(dir.filePath(name))) {
      *error = QStringLiteral("cannot replace '%1'").arg(dir.filePath(name));
      return false;
    }
  }
  return true;
}

}  // namespace

bool WriteDemoSite(const QString& dirPath, QString* error, const DemoScale& scale) {
  QString ignored;
  QString& why = error != nullptr ? *error : ignored;
  const QDir dir(dirPath);
  if (!QDir().mkpath(dirPath)) {
    why = QStringLiteral("cannot create the folder '%1'").arg(dirPath);
    return false;
  }
  if (!RemoveEarlierSite(dir, &why)) {
    return false;
  }
  for (int dahs = 1; dahs <= DemoDahsCount; ++dahs) {
    if (!WriteDahsDatabase(dir, dahs, &why, scale)) {
      why = QStringLiteral("demo database of DAHS %1: %2").arg(dahs).arg(why);
      return false;
    }
  }
  QFile ini(dir.filePath(QLatin1String(SettingsFileName)));
  if (!ini.open(QIODevice::WriteOnly | QIODevice::Truncate | QIODevice::Text) ||
      ini.write(SettingsText().toUtf8()) < 0 || !ini.flush()) {
    why = QStringLiteral("cannot write '%1': %2").arg(ini.fileName(), ini.errorString());
    return false;
  }
  return true;
}

bool WriteDemoDahsDatabase(const QString& connectionString, int dahsId, QString* error,
                           const DemoScale& scale) {
  QString ignored;
  error = error != nullptr ? error : &ignored;
  SqlConnection connection(connectionString, OpenMode::ReadWrite);
  QSqlDatabase* db = connection.Database(error);
  if (db == nullptr || !db->transaction()) {
    if (db != nullptr) {
      *error = SqlErrorText(db->lastError());
    }
    return false;
  }
  if (!InsertLookupsAndAccounts(*db, error) ||
      !InsertPlant(*db, ScaleUpDemoConfig(DemoUnitConfig(dahsId), scale), error)) {
    db->rollback();
    return false;
  }
  if (!db->commit()) {
    *error = SqlErrorText(db->lastError());
    return false;
  }
  return true;
}

}  // namespace telmon::iossim
