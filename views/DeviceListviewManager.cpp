#include "views/DeviceListviewManager.h"

#include "ioslink/IosCommands.h"
#include "util/ErrorInfo.h"
#include "util/TextConversionFunctions.h"

#include <array>

namespace telmon {

namespace {

const std::array<ListColumn, DeviceListviewManager::ColumnCount> kColumns = {{
    {QStringLiteral("ID"), 500, Qt::AlignLeft, QStringLiteral("ID")},
    {QStringLiteral("Name"), 1600, Qt::AlignLeft, {}},
    {QStringLiteral("Driver"), 1200, Qt::AlignLeft, {}},
    {QStringLiteral("PLC Type"), 900, Qt::AlignLeft, {}},
    {QStringLiteral("Connection"), 2500, Qt::AlignLeft, {}},
    {QStringLiteral("Port/Target"), 1500, Qt::AlignLeft, {}},
    {QStringLiteral("Watchdog Timeout"), 500, Qt::AlignRight, {}},
    {QStringLiteral("Watchdog Status"), 1500, Qt::AlignLeft, {}},
    {QStringLiteral("Random"), 900, Qt::AlignLeft, {}},
    {QStringLiteral("Failover Status"), 1300, Qt::AlignLeft, {}},
    {QStringLiteral("Recent Clock"), 1930, Qt::AlignRight, {}},
}};

}  // namespace

DeviceListviewManager::DeviceListviewManager()
    : ListviewManagerBase(PageTraits{kColumns, Placeholder, true,
                                     "//Event[@eventtype=\"DeviceUpdate\"]", "TELM-0047",
                                     "DeviceID"}) {}

void DeviceListviewManager::UpdateOneItemInLsv(xml::XmlElement event) {
  if (lsv_ == nullptr) {
    return;
  }
  Apply(DeviceEvent::Parse(event));
}

const DeviceRecord* DeviceListviewManager::Apply(const DeviceEvent& event) {
  if (lsv_ == nullptr) {
    return nullptr;
  }
  Show(event);
  return plant_->Apply(event);
}

void DeviceListviewManager::Show(const DeviceEvent& event) {
  KeyedListModel::Batch batch(*lsv_);
  const RowRef row = PrepareRowFor(event.idText);
  ColorRef color = Colors::WindowText;
  if (!event.WatchdogOk()) {
    color = Colors::Red;
  } else if (event.random == std::optional<bool>(true)) {
    color = Colors::Blue;
  }
  WriteText(row, ColName, event.name);
  WriteText(row, ColDriver, event.driver);
  WriteText(row, ColPLCType, event.plcType);
  WriteText(row, ColConnection, event.connection);
  WriteText(row, ColPortTarget, event.portName);
  WriteText(row, ColWatchdogTimeout, event.watchdogTimeoutText);
  WriteText(row, ColWatchdogStatus, event.watchdogStatus);
  WriteText(row, ColFailoverStatus, event.failoverStatus);
  if (event.random) {
    lsv_->SetSubItem(row, ColRandom, BooleanText(*event.random));
  }
  // Unlike every other cell, the clock is blanked to "n/a" by an event that omits it.
  lsv_->SetSubItem(row, ColRecentClock,
                   event.recentClock.isEmpty() ? QStringLiteral("n/a") : event.recentClock);
  ApplyColor(row, color);
}

bool DeviceListviewManager::AnyDevicesAreInRandomMode() const {
  if (lsv_ == nullptr) {
    return false;
  }
  for (int i = 0; i < lsv_->RowCount(); ++i) {
    const RowRef row = lsv_->RowAt(i);
    if (row != nullptr && ToBoolean(lsv_->SubItem(row, ColRandom)).value_or(false)) {
      return true;
    }
  }
  return false;
}

QString DeviceListviewManager::SetRandomModeForAllDevices(bool flag) {
  QString command = IosCommands::SetAllDevicesToRandomMode(flag);
  Send(command);
  return command;
}

QString DeviceListviewManager::SendSelected(const std::function<QString(std::int32_t)>& command) {
  const auto id = SelectedId();
  if (!id) {
    return {};
  }
  QString text = command(*id);
  Send(text);
  return text;
}

QString DeviceListviewManager::SetRandomModeForSelectedDevice(bool flag) {
  return SendSelected(
      [flag](std::int32_t id) { return IosCommands::SetDeviceToRandomMode(id, flag); });
}

QString DeviceListviewManager::SetIPAddressForSelectedDevice(const QString& newAddress) {
  return SendSelected(
      [&newAddress](std::int32_t id) { return IosCommands::SetDeviceIPAddress(id, newAddress); });
}

QString DeviceListviewManager::SetClockForSelectedDevice() {
  return SendSelected(&IosCommands::SetDeviceClock);
}

QString DeviceListviewManager::EraseHDRForSelectedDevice() {
  return SendSelected(&IosCommands::EraseHDRForDevice);
}

QString DeviceListviewManager::FailoverSelectedDevice() {
  return SendSelected(&IosCommands::DoFailover);
}

QString DeviceListviewManager::SelectedDeviceText() const {
  if (lsv_ == nullptr || lsv_->Selected() == nullptr) {
    return {};
  }
  const RowRef row = lsv_->Selected();
  return (lsv_->Text(row) + QLatin1Char(' ') + lsv_->SubItem(row, ColName)).trimmed();
}

std::int32_t DeviceListviewManager::GetSelectedDeviceID() const {
  if (lsv_ == nullptr || lsv_->Selected() == nullptr) {
    return 0;
  }
  const QString text = lsv_->Text(lsv_->Selected());
  return IsNumeric(text) ? ToInt32(text).value_or(0) : 0;
}

std::optional<std::int32_t> DeviceListviewManager::SelectedId() const {
  if (lsv_ == nullptr || lsv_->Selected() == nullptr) {
    return std::nullopt;
  }
  const QString text = lsv_->Text(lsv_->Selected());
  const std::optional<std::int32_t> id = ToInt32(text);
  if (!id) {
    throw IsNumeric(text) ? TelmonError(ErrorNumber::Overflow, QStringLiteral("Overflow"))
                          : TelmonError::TypeMismatch();
  }
  return id;
}

}  // namespace telmon
