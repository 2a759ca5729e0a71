#include "iossim/SimConfig.h"

#include <QSqlError>
#include <QSqlQuery>
#include <QSqlRecord>
#include <QVariant>

#include <array>
#include <utility>

namespace telmon::iossim {

namespace {

struct KindName {
  ChannelKind kind;
  const char* text;
  const char* unit;
};

constexpr std::array<KindName, 11> KindNames{{
    {ChannelKind::NOx, "NOx", "ppm"},
    {ChannelKind::SO2, "SO2", "ppm"},
    {ChannelKind::CO, "CO", "ppm"},
    {ChannelKind::O2, "O2", "%"},
    {ChannelKind::CO2, "CO2", "%"},
    {ChannelKind::Opacity, "OPACITY", "%"},
    {ChannelKind::NH3, "NH3", "ppm"},
    {ChannelKind::Flow, "FLOW", "kscfh"},
    {ChannelKind::ModeCode, "MC", ""},
    {ChannelKind::CalHdr, "CALHDR", ""},
    {ChannelKind::Digital, "DIGITAL", ""},
}};

// Runs `sql` with the DAHS number bound and hands every row to `row`.
template <typename RowFn>
bool ForEachRow(QSqlDatabase& db, const QString& sql, int dahsId, QString* error, RowFn row) {
  QSqlQuery q(db);
  q.setForwardOnly(true);
  if (!q.prepare(sql)) {
    *error = q.lastError().text();
    return false;
  }
  q.addBindValue(dahsId);
  if (!q.exec()) {
    *error = q.lastError().text();
    return false;
  }
  while (q.next()) {
    row(q);
  }
  return true;
}

QString Text(const QSqlQuery& q, int i) { return q.value(i).toString(); }
int Int(const QSqlQuery& q, int i) { return q.value(i).toInt(); }
bool Flag(const QSqlQuery& q, int i) { return q.value(i).toInt() != 0; }

bool LoadDevices(QSqlDatabase& db, int dahsId, SimConfig* c, QString* error) {
  return ForEachRow(db,
                    QStringLiteral("SELECT deviceid, name, drivername, plctype, connection, "
                                   "portname, watchdogtimeout, redundantdeviceid, hdrenabled, "
                                   "faulty FROM H5IODEVICE WHERE dahsid = ? ORDER BY deviceid"),
                    dahsId, error, [c](const QSqlQuery& q) {
                      DeviceConfig d;
                      d.id = Int(q, 0);
                      d.name = Text(q, 1);
                      d.driverName = Text(q, 2);
                      d.plcType = Text(q, 3);
                      d.connection = Text(q, 4);
                      d.portName = Text(q, 5);
                      d.watchdogTimeout = Int(q, 6);
                      d.redundantDeviceId = Int(q, 7);
                      d.hdrEnabled = Flag(q, 8);
                      d.faulty = Flag(q, 9);
                      c->devices.push_back(std::move(d));
                    });
}

bool LoadQueues(QSqlDatabase& db, int dahsId, SimConfig* c, QString* error) {
  return ForEachRow(db,
                    QStringLiteral("SELECT qname, drivername, portname FROM H5IOQUEUE "
                                   "WHERE dahsid = ? ORDER BY qname"),
                    dahsId, error, [c](const QSqlQuery& q) {
                      c->queues.push_back(QueueConfig{Text(q, 0), Text(q, 1), Text(q, 2)});
                    });
}

bool LoadBlocks(QSqlDatabase& db, int dahsId, SimConfig* c, QString* error) {
  return ForEachRow(
      db,
      QStringLiteral("SELECT blockid, deviceid, qname, name, datatypename, dataaddress, dataqty, "
                     "refreshinterval, fastreadenabled, disabled, ishdr, containswatchdog, "
                     "implicitchannelid FROM H5IOBLOCK WHERE dahsid = ? ORDER BY blockid"),
      dahsId, error, [c](const QSqlQuery& q) {
        BlockConfig b;
        b.id = Int(q, 0);
        b.deviceId = Int(q, 1);
        b.queueName = Text(q, 2);
        b.name = Text(q, 3);
        b.dataTypeName = Text(q, 4);
        b.dataAddress = Text(q, 5);
        b.dataQty = Int(q, 6);
        b.refreshIntervalMs = Int(q, 7);
        b.fastReadEnabled = Flag(q, 8);
        b.disabled = Flag(q, 9);
        b.isHdr = Flag(q, 10);
        b.containsWatchdog = Flag(q, 11);
        b.implicitChannelId = Int(q, 12);
        c->blocks.push_back(std::move(b));
      });
}

bool LoadChannels(QSqlDatabase& db, int dahsId, SimConfig* c, QString* error) {
  return ForEachRow(
      db,
      QStringLiteral("SELECT channelid, name, deviceid, blockid, address, scaling, otherinfo, "
                     "datasource, oscillationmin, oscillationmax, oscillationperiod, kind, "
                     "rangelow, rangehigh FROM H5IOCHANNEL WHERE dahsid = ? ORDER BY channelid"),
      dahsId, error, [c](const QSqlQuery& q) {
        ChannelConfig ch;
        ch.id = Int(q, 0);
        ch.name = Text(q, 1);
        ch.deviceId = Int(q, 2);
        ch.blockId = Int(q, 3);
        ch.address = Text(q, 4);
        ch.scaling = Text(q, 5);
        ch.otherInfo = Text(q, 6);
        ch.dataSource = Text(q, 7);
        ch.oscillationMin = Text(q, 8);
        ch.oscillationMax = Text(q, 9);
        ch.oscillationPeriod = Text(q, 10);
        ch.kind = ChannelKindFromText(Text(q, 11));
        ch.rangeLow = q.value(12).toDouble();
        ch.rangeHigh = q.value(13).isNull() ? 100.0 : q.value(13).toDouble();
        c->channels.push_back(std::move(ch));
      });
}

}  // namespace

ChannelKind ChannelKindFromText(const QString& text) {
  for (const KindName& k : KindNames) {
    if (text.compare(QLatin1String(k.text), Qt::CaseInsensitive) == 0) {
      return k.kind;
    }
  }
  return ChannelKind::Digital;
}

QString ChannelKindText(ChannelKind kind) {
  for (const KindName& k : KindNames) {
    if (k.kind == kind) {
      return QLatin1String(k.text);
    }
  }
  return QStringLiteral("DIGITAL");
}

QString ChannelKindUnit(ChannelKind kind) {
  for (const KindName& k : KindNames) {
    if (k.kind == kind) {
      return QLatin1String(k.unit);
    }
  }
  return {};
}

bool IsAnalogKind(ChannelKind kind) {
  return kind != ChannelKind::ModeCode && kind != ChannelKind::CalHdr &&
         kind != ChannelKind::Digital;
}

bool LoadSimConfig(QSqlDatabase& db, int dahsId, SimConfig* config, QString* error) {
  SimConfig c;
  c.dahsId = dahsId;
  QString why;
  const bool ok = LoadDevices(db, dahsId, &c, &why) && LoadQueues(db, dahsId, &c, &why) &&
                  LoadBlocks(db, dahsId, &c, &why) && LoadChannels(db, dahsId, &c, &why);
  if (!ok) {
    *error =
        QStringLiteral("cannot read the I/O configuration of DAHS %1: %2").arg(dahsId).arg(why);
    return false;
  }
  *config = std::move(c);
  return true;
}

}  // namespace telmon::iossim
