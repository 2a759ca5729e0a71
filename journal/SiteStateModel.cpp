#include "journal/SiteStateModel.h"

#include "util/Clock.h"

namespace telmon {

namespace {

const QString kForcedValue = QStringLiteral("ForcedValue");
const QString kTriangleWave = QStringLiteral("TriangleWave");

}  // namespace

SiteStateModel::SiteStateModel(const IClock& clock, QObject* parent)
    : QObject(parent), clock_(clock) {}

void SiteStateModel::OnDeviceUpdate(const DeviceRecord& device) {
  DeviceState& state = devices_[device.id];
  state.name = device.name;
  state.watchdogText = device.watchdogStatus;
  state.watchdogOk = device.watchdogOk;
  state.random = device.random.value_or(false);
  Q_EMIT Changed();
}

void SiteStateModel::OnChannelConfigFullUpdate() {
  channels_.clear();
  Q_EMIT Changed();
}

void SiteStateModel::OnChannelConfigUpdate(const ChannelConfigInfo& channel) {
  if (!channel.ID) {
    return;
  }
  ChannelState& state = channels_[*channel.ID];
  if (!channel.Name.isEmpty()) {
    state.name = channel.Name;
  }
  state.dataSource = channel.DataSource;
  state.min = channel.OscillationMin;
  state.max = channel.OscillationMax;
  state.period = channel.OscillationPeriod;
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

void SiteStateModel::SetEditModeElsewhere(const std::vector<EditModeElsewhere>& others) {
  if (elsewhere_ && *elsewhere_ == others) {
    return;
  }
  elsewhere_ = others;
  Q_EMIT Changed();
}

QString SiteStateModel::EditModeElsewhereText() const {
  if (!elsewhere_) {
    return {};
  }
  QStringList names;
  for (const EditModeElsewhere& other : *elsewhere_) {
    names << QStringLiteral("%1 (%2 since %3)").arg(other.computer, other.account, other.since);
  }
  return QStringLiteral("Edit mode on elsewhere: ") +
         (names.isEmpty() ? QStringLiteral("none") : names.join(QStringLiteral(", ")));
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
