#pragma once

// The plant as the I/O server reports it, each event read once into typed fields: numbers as
// numbers, Booleans as Booleans, times as times, and the texts a page shows exactly as they
// arrived. An event (DeviceEvent, QueueEvent, BlockEvent) holds what one event said, with
// empty fields for what it left out; the state (PlantState) keeps, per entity, what the events
// so far add up to. The pages present the events; the site state, telmon-check and every other
// reader ask the state, never a page's cells.

#include "util/UtilityXMLDOMFunctions.h"

#include <QDateTime>
#include <QHash>
#include <QString>

#include <array>
#include <cstdint>
#include <optional>

namespace telmon {

// The times the I/O server sends ("RecentClock", "LastReadTime"): invalid when the text is not
// a time of that form.
QDateTime ParseEventTime(const QString& text);

// What one "DeviceUpdate" said. Texts are empty when the attribute was missing or empty.
struct DeviceEvent {
  QString idText;                  // "DeviceID" as sent: the row's text
  std::optional<std::int32_t> id;  // the same as a 32-bit integer, when it is one
  QString name;                    // "DeviceName"
  QString driver;                  // "DriverName"
  QString plcType;                 // "PLCType"
  QString connection;              // "Connection"
  QString portName;                // "PortName"
  QString watchdogTimeoutText;     // "WatchdogTimeout"
  std::optional<std::int32_t> watchdogTimeout;
  QString watchdogStatus;              // "WatchdogStatusStr"
  QString failoverStatus;              // "FailoverStatus"
  QString recentClock;                 // "RecentClock" (ParseEventTime reads it as a time)
  std::optional<bool> watchdogOkSaid;  // "WatchdogStatusOk" when it is a Boolean
  std::optional<bool> random;          // "GenerateRandomValues" when it is a Boolean

  // A device is OK only while its latest event says "WatchdogStatusOk" is true: an event that
  // leaves it out, or sends it empty or garbled, says the device is not OK.
  bool WatchdogOk() const { return watchdogOkSaid == std::optional<bool>(true); }

  static DeviceEvent Parse(xml::XmlElement event);
};

// A device as its events so far describe it.
struct DeviceRecord {
  std::int32_t id = 0;
  QString name;
  QString driver;
  QString plcType;
  QString connection;
  QString portName;
  std::optional<std::int32_t> watchdogTimeout;
  QString watchdogStatus;
  QString failoverStatus;
  // From the latest event only (empty when it carried none); read as a time on demand, since
  // few readers want it and every event carries it.
  QString recentClock;
  QDateTime RecentClockTime() const { return ParseEventTime(recentClock); }
  bool watchdogOk = false;     // the latest event's word, as DeviceEvent::WatchdogOk
  std::optional<bool> random;  // the latest event that said
};

// What one "QUpdate" said.
struct QueueEvent {
  enum Counter {
    Size,
    PeakSize,
    RequestsServiced,
    IOSuccessCount,
    IOFailureCount,
    DelayCount,
    CommOpenErrors,
    DupWriteCancelCount,
    CounterCount
  };
  QString name;      // "QName": the row's text
  QString driver;    // "DriverName"
  QString portName;  // "PortName"
  // The counters' texts as sent, in the order of Counter, and their numbers.
  std::array<QString, CounterCount> counterTexts;
  std::array<std::optional<std::int64_t>, CounterCount> counters;
  std::optional<bool> paused;  // "IsPaused" when it is a Boolean

  static QueueEvent Parse(xml::XmlElement event);
};

struct QueueRecord {
  QString name;
  QString driver;
  QString portName;
  std::array<std::optional<std::int64_t>, QueueEvent::CounterCount> counters;
  std::optional<bool> paused;
};

// What one "BlockUpdate" said. The texts the page shows are read in place from the event, so a
// BlockEvent is valid only while its event element is.
class BlockEvent {
 public:
  // The attributes, in the page's column order of their cells.
  enum Attribute {
    BlockName,
    DeviceID,
    DataTypeName,
    DataAddress,
    DataQty,
    RefreshInterval,
    FastReadEnabled,
    Disabled,
    ImplicitChannelID,
    IsHDRBlock,
    ContainsWatchdog,
    FailCount,
    LastReadTime,
    LastResponseTime,
    MaxResponseTime,
    MinResponseTime,
    DeviceIsGenRandomValues,
    AttributeCount
  };

  static BlockEvent Parse(xml::XmlElement event);

  const xml::AttributeTable& Attributes() const { return attributes_; }
  // Where "BlockID" is in Attributes().
  static constexpr std::size_t IdIndex = AttributeCount;
  std::optional<std::int32_t> id;  // "BlockID" as a 32-bit integer
  std::optional<std::int32_t> deviceId;
  std::optional<bool> disabled;
  std::optional<bool> hdr;
  std::optional<bool> containsWatchdog;
  std::optional<bool> random;
  // "FailCount" as a number; none when missing, empty or not a number.
  std::optional<double> failCount;
  // The Booleans the page shows, by attribute (none for the text attributes).
  std::optional<bool> BooleanOf(Attribute a) const;

 private:
  explicit BlockEvent(xml::XmlElement event);
  xml::AttributeTable attributes_;
};

struct BlockRecord {
  std::int32_t id = 0;
  std::optional<std::int32_t> deviceId;
  std::optional<bool> disabled;
  std::optional<bool> hdr;
  std::optional<bool> containsWatchdog;
  std::optional<bool> random;
  double failCount = 0;
};

class PlantState {
 public:
  // Each returns the entity's record after the event; null for an event without a usable ID
  // (it is still shown by the page as it always was).
  const DeviceRecord* Apply(const DeviceEvent& event);
  const QueueRecord* Apply(const QueueEvent& event);
  const BlockRecord* Apply(const BlockEvent& event);
  // A full refresh starts the lists again.
  void ClearDevices() { devices_.clear(); }
  void ClearQueues() { queues_.clear(); }
  void ClearBlocks() { blocks_.clear(); }

  const DeviceRecord* Device(std::int32_t id) const;
  const QueueRecord* Queue(const QString& name) const;
  const BlockRecord* Block(std::int32_t id) const;
  const QHash<std::int32_t, DeviceRecord>& Devices() const { return devices_; }

 private:
  QHash<std::int32_t, DeviceRecord> devices_;
  QHash<QString, QueueRecord> queues_;
  QHash<std::int32_t, BlockRecord> blocks_;
};

}  // namespace telmon
