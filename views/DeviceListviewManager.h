#pragma once

// The Devices page: one row per field device, kept current by "DeviceUpdate" events, plus the
// device commands (random mode, IP address, clock, HDR erase, failover) sent for the operator.

#include "views/ListviewManagerBase.h"

#include <cstdint>
#include <functional>

namespace telmon {

class DeviceListviewManager final : public ListviewManagerBase {
 public:
  static constexpr char Placeholder[] = "(no device information)";
  enum Column {
    ColID,
    ColName,
    ColDriver,
    ColPLCType,
    ColConnection,
    ColPortTarget,
    ColWatchdogTimeout,
    ColWatchdogStatus,
    ColRandom,
    ColFailoverStatus,
    ColRecentClock,
    ColumnCount
  };

  DeviceListviewManager();

  void UpdateOneItemInLsv(xml::XmlElement event) override;
  // One event already read: into the plant state, then onto the page. The device's record
  // after it; null for an event whose ID is not a number (its row is still shown).
  const DeviceRecord* Apply(const DeviceEvent& event);
  bool AnyDevicesAreInRandomMode() const;
  // Each command returns the text it sent. The per-device operations send nothing (and return
  // an empty text) when no row is selected, and throw a type mismatch when the selected row's
  // text is not a device ID (the placeholder).
  QString SetRandomModeForAllDevices(bool flag);
  QString SetRandomModeForSelectedDevice(bool flag);
  QString SetIPAddressForSelectedDevice(const QString& newAddress);
  QString SetClockForSelectedDevice();
  QString EraseHDRForSelectedDevice();
  QString FailoverSelectedDevice();
  // "<ID> <name>" of the selected device, as the page shows it; empty when none is selected.
  QString SelectedDeviceText() const;
  // The selected row's text as a number; 0 when nothing numeric is selected.
  std::int32_t GetSelectedDeviceID() const;

 private:
  void Show(const DeviceEvent& event);
  void ClearPlant() override { plant_->ClearDevices(); }
  // The selected device's ID; empty when no row is selected.
  std::optional<std::int32_t> SelectedId() const;
  QString SendSelected(const std::function<QString(std::int32_t)>& command);
};

}  // namespace telmon
