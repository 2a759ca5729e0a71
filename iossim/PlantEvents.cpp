#include "iossim/PlantEvents.h"

#include "iossim/EventXml.h"
#include "iossim/SimValues.h"

namespace telmon::iossim {

QString EventTimeText(const QDateTime& t) {
  return t.toString(QStringLiteral("yyyy-MM-dd HH:mm:ss"));
}

QString FailoverStatusText(const DeviceState& device) {
  if (device.cfg.redundantDeviceId == 0) {
    return QStringLiteral("Not redundant");
  }
  QString s = device.active ? QStringLiteral("Active") : QStringLiteral("Standby");
  s += QStringLiteral(" (partner %1)").arg(device.cfg.redundantDeviceId);
  if (device.failovers > 0) {
    s += QStringLiteral(", %1 failover%2")
             .arg(device.failovers)
             .arg(device.failovers == 1 ? "" : "s");
  }
  return s;
}

QByteArray DeviceUpdateXml(const DeviceState& d) {
  EventXml e("DeviceUpdate");
  e.Int("DeviceID", d.cfg.id)
      .Attr("DeviceName", d.cfg.name)
      .Attr("DriverName", d.cfg.driverName)
      .Attr("PLCType", d.cfg.plcType)
      .Attr("Connection", d.cfg.connection)
      .Attr("PortName", d.cfg.portName)
      .Int("WatchdogTimeout", d.cfg.watchdogTimeout)
      .Attr("WatchdogStatusStr", d.watchdogStatus)
      .Bool("WatchdogStatusOk", d.watchdogOk)
      .Bool("GenerateRandomValues", d.random)
      .Attr("FailoverStatus", FailoverStatusText(d));
  if (d.clockReadAt.isValid()) {
    e.Attr("RecentClock", EventTimeText(d.clockReadAt.addMSecs(d.clockOffsetMs)));
  }
  return e.Finish();
}

QByteArray QueueUpdateXml(const QueueState& q) {
  return EventXml("QUpdate")
      .Attr("QName", q.cfg.name)
      .Attr("DriverName", q.cfg.driverName)
      .Attr("PortName", q.cfg.portName)
      .Int("Size", q.Size())
      .Int("PeakSize", q.peak)
      .Int("RequestsServiced", q.serviced)
      .Int("IOSuccessCount", q.success)
      .Int("IOFailureCount", q.failure)
      .Int("DelayCount", q.delays)
      .Int("CommOpenErrors", q.openErrors)
      .Int("DupWriteCancelCount", q.dupWritesCancelled)
      .Bool("IsPaused", q.paused)
      .Finish();
}

QByteArray BlockUpdateXml(const BlockState& b, bool deviceInRandomMode) {
  EventXml e("BlockUpdate");
  e.Int("BlockID", b.cfg.id)
      .Attr("BlockName", b.cfg.name)
      .Int("DeviceID", b.cfg.deviceId)
      .Attr("DataTypeName", b.cfg.dataTypeName)
      .Attr("DataAddress", b.cfg.dataAddress)
      .Int("DataQty", b.cfg.dataQty)
      .Int("RefreshInterval", b.cfg.refreshIntervalMs)
      .Bool("FastReadEnabled", b.cfg.fastReadEnabled)
      .Bool("Disabled", b.cfg.disabled)
      .Int("ImplicitChannelID", b.cfg.implicitChannelId)
      .Bool("IsHDRBlock", b.cfg.isHdr)
      .Bool("ContainsWatchdog", b.cfg.containsWatchdog)
      .Int("FailCount", b.failCount);
  if (b.lastRead.isValid()) {
    e.Attr("LastReadTime", EventTimeText(b.lastRead));
  }
  if (b.lastResponseMs >= 0) {
    e.Int("LastResponseTime", b.lastResponseMs)
        .Int("MinResponseTime", b.minResponseMs)
        .Int("MaxResponseTime", b.maxResponseMs);
  }
  e.Bool("DeviceIsGenRandomValues", deviceInRandomMode);
  return e.Finish();
}

QByteArray ChannelConfigFullUpdateXml(int channelCount) {
  return EventXml("ChannelConfigFullUpdate").Int("Count", channelCount).Finish();
}

QByteArray ChannelConfigUpdateXml(const ChannelState& c) {
  EventXml e("ChannelConfigUpdate");
  e.Int("ID", c.cfg.id)
      .Attr("Name", c.cfg.name)
      .Int("DeviceID", c.cfg.deviceId)
      .Int("BlockID", c.cfg.blockId)
      .Attr("Address", c.cfg.address)
      .Attr("Scaling", c.cfg.scaling)
      .Attr("OtherInfo", c.cfg.otherInfo)
      .Attr("DataSource", c.dataSource)
      .Attr("OscillationMin", c.oscillationMin)
      .Attr("OscillationMax", c.oscillationMax)
      .Attr("OscillationPeriod", c.oscillationPeriod);
  if (IsAnalogKind(c.cfg.kind)) {
    e.Child("Limits", {{"Low", PlainNumber(c.cfg.rangeLow)},
                       {"High", PlainNumber(c.cfg.rangeHigh)},
                       {"Units", ChannelKindUnit(c.cfg.kind)}});
  }
  return e.Finish();
}

QByteArray SettingsUpdateXml(const ServerSettings& s) {
  return EventXml("IOSSettingsUpdate")
      .Int("LogLevel", s.logLevel)
      .Bool("IsLogActive", s.logActive)
      .Int("URP", s.urp)
      .Int("RID", s.ridMs)
      .Finish();
}

}  // namespace telmon::iossim
