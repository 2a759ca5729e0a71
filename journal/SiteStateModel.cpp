#include "journal/SiteStateModel.h"

#include "util/Clock.h"

namespace telmon {

namespace {

const QString kForcedValue = QStringLiteral("ForcedValue");
const QString kTriangleWave = QStringLiteral("TriangleWave");

std::optional<std::int32_t> IdOf(xml::XmlElement event, const char* attribute) {
  bool ok = false;
  const std::int32_t id = xml::GetAttributeText(event, attribute).trimmed().toInt(&ok);
  return ok ? std::optional<std::int32_t>(id) : std::nullopt;
}

// Writes the attribute's text into `target` when the event carries it.
void TakeText(xml::XmlElement event, const char* attribute, QString& target) {
  const QString text = xml::GetAttributeText(event, attribute);
  if (!text.isEmpty()) {
    target = text;
  }
}

}  // namespace

SiteStateModel::SiteStateModel(const IClock& clock, QObject* parent)
    : QObject(parent), clock_(clock) {}

void SiteStateModel::OnDeviceUpdate(xml::XmlElement event) {
  const std::optional<std::int32_t> id = IdOf(event, "DeviceID");
  if (!id) {
    return;
  }
  DeviceState& device = devices_[*id];
  TakeText(event, "DeviceName", device.name);
  TakeText(event, "WatchdogStatusStr", device.watchdogText);
  // As on the Devices page, a device whose watchdog state is not reported counts as not OK.
  device.watchdogOk = xml::GetAttributeBoolean(event, "WatchdogStatusOk").value_or(false);
  if (const std::optional<bool> random = xml::GetAttributeBoolean(event, "GenerateRandomValues")) {
    device.random = *random;
  }
  Q_EMIT Changed();
}

void SiteStateModel::OnChannelConfigFullUpdate() {
  channels_.clear();
  Q_EMIT Changed();
}

void SiteStateModel::OnChannelConfigUpdate(xml::XmlElement event) {
  const std::optional<std::int32_t> id = IdOf(event, "ID");
  if (!id) {
    return;
  }
  ChannelState& channel = channels_[*id];
  TakeText(event, "Name", channel.name);
  channel.dataSource = xml::GetAttributeText(event, "DataSource");
  channel.min = xml::GetAttributeText(event, "OscillationMin");
  channel.max = xml::GetAttributeText(event, "OscillationMax");
  channel.period = xml::GetAttributeText(event, "OscillationPeriod");
  Q_EMIT Changed();
}

void SiteStateModel::OnJournalRecorded(const JournalEntry& entry,
                                       const JournalOperation& operation) {
  if (operation.channels.empty()) {
    return;
  }
  for (const JournalChannelWrite& write : operation.channels) {
    written_[write.channelId] = {write.value, entry.timeUtc.toLocalTime()};
  }
  Q_EMIT Changed();
}

void SiteStateModel::SetEditMode(bool on) {
  if (on == editMode_ && editSince_.isValid()) {
    return;
  }
  editMode_ = on;
  editSince_ = clock_.Now();
  Q_EMIT Changed();
}

QString SiteStateModel::ChannelName(std::int32_t id) const {
  const auto it = channels_.find(id);
  return it == channels_.end() ? QString() : it->second.name;
}

std::vector<SiteStateModel::Item> SiteStateModel::Items() const {
  std::vector<Item> items;
  for (const auto& [id, device] : devices_) {
    if (device.random) {
      items.push_back({Group::RandomDevice, id, device.name, QStringLiteral("random values")});
    }
  }
  for (const auto& [id, device] : devices_) {
    if (!device.watchdogOk) {
      items.push_back({Group::WatchdogNotOk, id, device.name, device.watchdogText});
    }
  }
  for (const auto& [id, channel] : channels_) {
    if (channel.dataSource == kForcedValue) {
      const auto written = written_.find(id);
      items.push_back({Group::ForcedChannel, id, channel.name,
                       written == written_.end()
                           ? kForcedValue
                           : kForcedValue + QStringLiteral(" ") + written->second.value});
    } else if (channel.dataSource == kTriangleWave) {
      items.push_back({Group::ForcedChannel, id, channel.name,
                       QStringLiteral("TriangleWave %1 to %2, half period %3 s")
                           .arg(channel.min, channel.max, channel.period)});
    }
  }
  for (const auto& [id, written] : written_) {
    items.push_back({Group::WrittenChannel, id, ChannelName(id),
                     written.value + QStringLiteral(" at ") +
                         written.when.toString(QStringLiteral("yyyy-MM-dd HH:mm:ss"))});
  }
  return items;
}

int SiteStateModel::LeftChangedCount() const { return static_cast<int>(Items().size()); }

QString SiteStateModel::GroupTitle(Group group) {
  switch (group) {
    case Group::RandomDevice:
      return QStringLiteral("Devices giving random values");
    case Group::WatchdogNotOk:
      return QStringLiteral("Devices whose watchdog is not OK");
    case Group::ForcedChannel:
      return QStringLiteral("Forced channels");
    case Group::WrittenChannel:
      return QStringLiteral("Channels written in this run");
  }
  return {};
}

QString SiteStateModel::PanelText(int count) {
  return QStringLiteral("%1 left changed").arg(count);
}

}  // namespace telmon
