#include "views/PlantState.h"

#include "util/TextConversionFunctions.h"

#include <algorithm>

namespace telmon {

namespace {

// A Boolean as the pages read it: the I/O server writes "true" and "false"; anything else is
// converted as any Boolean attribute is (empty when missing, empty or not a Boolean).
std::optional<bool> BooleanAt(const xml::AttributeTable& attributes, std::size_t i) {
  const std::optional<QByteArrayView> inPlace = attributes.InPlace(i);
  if (inPlace && *inPlace == QByteArrayView("true")) {
    return true;
  }
  if (inPlace && *inPlace == QByteArrayView("false")) {
    return false;
  }
  const QString text = attributes.Text(i);
  return text.isEmpty() ? std::nullopt : ToBoolean(text);
}

// IDs and counts are whole decimal numbers; anything else is not one.
std::optional<std::int32_t> Int32Of(const QString& text) {
  bool ok = false;
  const std::int32_t value = text.trimmed().toInt(&ok);
  return ok ? std::optional<std::int32_t>(value) : std::nullopt;
}

// A 32-bit integer read in place when it is plain ASCII digits, as the server sends IDs.
std::optional<std::int32_t> Int32At(const xml::AttributeTable& attributes, std::size_t i) {
  if (const std::optional<QByteArrayView> inPlace = attributes.InPlace(i)) {
    if (!inPlace->isEmpty() && inPlace->size() <= 9 &&
        std::all_of(inPlace->begin(), inPlace->end(),
                    [](char c) { return c >= '0' && c <= '9'; })) {
      std::int32_t value = 0;
      for (const char c : *inPlace) {
        value = value * 10 + (c - '0');
      }
      return value;
    }
  }
  return Int32Of(attributes.Text(i));
}

std::optional<std::int64_t> Int64Of(const QString& text) {
  bool ok = false;
  const qlonglong value = text.trimmed().toLongLong(&ok);
  return ok ? std::optional<std::int64_t>(value) : std::nullopt;
}

void Keep(QString& target, const QString& text) {
  if (!text.isEmpty()) {
    target = text;
  }
}

constexpr std::array<const char*, 12> kDeviceAttributes = {
    "DeviceID",       "DeviceName",  "DriverName",       "PLCType",
    "Connection",     "PortName",    "WatchdogTimeout",  "WatchdogStatusStr",
    "FailoverStatus", "RecentClock", "WatchdogStatusOk", "GenerateRandomValues"};

constexpr std::array<const char*, 12> kQueueAttributes = {"QName",
                                                          "DriverName",
                                                          "PortName",
                                                          "Size",
                                                          "PeakSize",
                                                          "RequestsServiced",
                                                          "IOSuccessCount",
                                                          "IOFailureCount",
                                                          "DelayCount",
                                                          "CommOpenErrors",
                                                          "DupWriteCancelCount",
                                                          "IsPaused"};

constexpr std::array<const char*, BlockEvent::AttributeCount + 1> kBlockAttributes = {
    "BlockName",
    "DeviceID",
    "DataTypeName",
    "DataAddress",
    "DataQty",
    "RefreshInterval",
    "FastReadEnabled",
    "Disabled",
    "ImplicitChannelID",
    "IsHDRBlock",
    "ContainsWatchdog",
    "FailCount",
    "LastReadTime",
    "LastResponseTime",
    "MaxResponseTime",
    "MinResponseTime",
    "DeviceIsGenRandomValues",
    "BlockID"};

}  // namespace

QDateTime ParseEventTime(const QString& text) {
  return QDateTime::fromString(text.trimmed(), QStringLiteral("yyyy-MM-dd HH:mm:ss"));
}

DeviceEvent DeviceEvent::Parse(xml::XmlElement event) {
  const xml::AttributeTable a(event, kDeviceAttributes);
  DeviceEvent e;
  e.idText = a.Text(0);
  e.id = Int32Of(e.idText);
  e.name = a.Text(1);
  e.driver = a.Text(2);
  e.plcType = a.Text(3);
  e.connection = a.Text(4);
  e.portName = a.Text(5);
  e.watchdogTimeoutText = a.Text(6);
  e.watchdogTimeout = Int32Of(e.watchdogTimeoutText);
  e.watchdogStatus = a.Text(7);
  e.failoverStatus = a.Text(8);
  e.recentClock = a.Text(9);
  e.watchdogOkSaid = BooleanAt(a, 10);
  e.random = BooleanAt(a, 11);
  return e;
}

QueueEvent QueueEvent::Parse(xml::XmlElement event) {
  const xml::AttributeTable a(event, kQueueAttributes);
  QueueEvent e;
  e.name = a.Text(0);
  e.driver = a.Text(1);
  e.portName = a.Text(2);
  for (std::size_t i = 0; i < CounterCount; ++i) {
    e.counterTexts[i] = a.Text(3 + i);
    e.counters[i] = Int64Of(e.counterTexts[i]);
  }
  e.paused = BooleanAt(a, 11);
  return e;
}

BlockEvent::BlockEvent(xml::XmlElement event) : attributes_(event, kBlockAttributes) {}

BlockEvent BlockEvent::Parse(xml::XmlElement event) {
  BlockEvent e(event);
  const xml::AttributeTable& a = e.attributes_;
  e.id = Int32At(a, BlockEvent::IdIndex);
  if (a.Has(DeviceID)) {
    e.deviceId = Int32At(a, DeviceID);
  }
  e.disabled = BooleanAt(a, Disabled);
  e.hdr = BooleanAt(a, IsHDRBlock);
  e.containsWatchdog = BooleanAt(a, ContainsWatchdog);
  e.random = BooleanAt(a, DeviceIsGenRandomValues);
  if (a.Has(FailCount)) {
    e.failCount = ToDouble(a.Text(FailCount));
  }
  return e;
}

std::optional<bool> BlockEvent::BooleanOf(Attribute a) const {
  switch (a) {
    case Disabled:
      return disabled;
    case IsHDRBlock:
      return hdr;
    case ContainsWatchdog:
      return containsWatchdog;
    case DeviceIsGenRandomValues:
      return random;
    default:
      return std::nullopt;
  }
}

const DeviceRecord* PlantState::Apply(const DeviceEvent& event) {
  if (!event.id) {
    return nullptr;
  }
  DeviceRecord& d = devices_[*event.id];
  d.id = *event.id;
  Keep(d.name, event.name);
  Keep(d.driver, event.driver);
  Keep(d.plcType, event.plcType);
  Keep(d.connection, event.connection);
  Keep(d.portName, event.portName);
  if (!event.watchdogTimeoutText.isEmpty()) {
    d.watchdogTimeout = event.watchdogTimeout;
  }
  Keep(d.watchdogStatus, event.watchdogStatus);
  Keep(d.failoverStatus, event.failoverStatus);
  d.recentClock = event.recentClock;
  d.watchdogOk = event.WatchdogOk();
  if (event.random) {
    d.random = event.random;
  }
  return &d;
}

const QueueRecord* PlantState::Apply(const QueueEvent& event) {
  QueueRecord& q = queues_[event.name];
  q.name = event.name;
  Keep(q.driver, event.driver);
  Keep(q.portName, event.portName);
  for (std::size_t i = 0; i < QueueEvent::CounterCount; ++i) {
    if (!event.counterTexts[i].isEmpty()) {
      q.counters[i] = event.counters[i];
    }
  }
  if (event.paused) {
    q.paused = event.paused;
  }
  return &q;
}

const BlockRecord* PlantState::Apply(const BlockEvent& event) {
  if (!event.id) {
    return nullptr;
  }
  BlockRecord& b = blocks_[*event.id];
  b.id = *event.id;
  const xml::AttributeTable& a = event.Attributes();
  if (a.Has(BlockEvent::DeviceID)) {
    b.deviceId = event.deviceId;
  }
  for (const auto& [value, target] :
       {std::pair{&event.disabled, &b.disabled}, std::pair{&event.hdr, &b.hdr},
        std::pair{&event.containsWatchdog, &b.containsWatchdog},
        std::pair{&event.random, &b.random}}) {
    if (*value) {
      *target = *value;
    }
  }
  if (a.Has(BlockEvent::FailCount)) {
    b.failCount = event.failCount.value_or(0.0);
  }
  return &b;
}

const DeviceRecord* PlantState::Device(std::int32_t id) const {
  const auto it = devices_.constFind(id);
  return it == devices_.constEnd() ? nullptr : &*it;
}

const QueueRecord* PlantState::Queue(const QString& name) const {
  const auto it = queues_.constFind(name);
  return it == queues_.constEnd() ? nullptr : &*it;
}

const BlockRecord* PlantState::Block(std::int32_t id) const {
  const auto it = blocks_.constFind(id);
  return it == blocks_.constEnd() ? nullptr : &*it;
}

}  // namespace telmon
