#include "views/DeviceCommands.h"

namespace telmon::DeviceCommands {

namespace {
QString WithId(const char* action, const QString& id) {
  return QStringLiteral("<Command action=\"") + QLatin1String(action) + QStringLiteral("\" id=\"") +
         id + QStringLiteral("\"/>");
}
QString WithIdAndValue(const char* action, const QString& id, const QString& value) {
  return QStringLiteral("<Command action=\"") + QLatin1String(action) + QStringLiteral("\" id=\"") +
         id + QStringLiteral("\" value=\"") + value + QStringLiteral("\"/>");
}
}  // namespace

QString SetDeviceToRandomMode(const QString& id, bool random) {
  // The flag is the magnitude of the Boolean's integer form, whose true is -1.
  return WithIdAndValue("SetDeviceToRandomMode", id,
                        random ? QStringLiteral("1") : QStringLiteral("0"));
}

QString SetDeviceIPAddress(const QString& id, const QString& escapedAddress) {
  return WithIdAndValue("SetDeviceIPAddress", id, escapedAddress);
}

QString SetDeviceClock(const QString& id) { return WithId("SetDeviceClock", id); }
QString EraseHDRForDevice(const QString& id) { return WithId("EraseHDRForDevice", id); }
QString DoFailover(const QString& id) { return WithId("DoFailover", id); }
QString ResetQCounters() { return QStringLiteral("<Command action=\"ResetQCounters\"/>"); }

}  // namespace telmon::DeviceCommands
