#pragma once

// The device commands exactly as the IOS expects them: attributes in a fixed order, one blank
// before each, none before "/>".

#include <QString>

namespace telmon::DeviceCommands {

// `id` is a device ID in decimal or "*" for every device.
QString SetDeviceToRandomMode(const QString& id, bool random);
// `escapedAddress` is already escaped for an attribute value.
QString SetDeviceIPAddress(const QString& id, const QString& escapedAddress);
QString SetDeviceClock(const QString& id);
QString EraseHDRForDevice(const QString& id);
QString DoFailover(const QString& id);
QString ResetQCounters();

}  // namespace telmon::DeviceCommands
