#include "iossim/SimPlant.h"

#include "iossim/PlantEvents.h"
#include "iossim/SimValues.h"

#include <algorithm>

namespace telmon::iossim {

namespace {

const QString ForcedValueSource = QStringLiteral("ForcedValue");
const QString TriangleWaveSource = QStringLiteral("TriangleWave");

}  // namespace

SimPlant::SimPlant(const SimConfig& config, const IClock& clock, std::uint64_t seed,
                   QObject* parent)
    : QObject(parent), clock_(clock), rng_(seed), start_(clock.Now()) {
  std::uniform_int_distribution<int> offset(-90000, 90000);
  std::uniform_int_distribution<int> drift(-600, 600);
  for (const DeviceConfig& cfg : config.devices) {
    DeviceState d;
    d.cfg = cfg;
    d.clockOffsetMs = offset(rng_);
    d.clockDriftMsPerMin = drift(rng_);
    deviceIndex_.insert(cfg.id, devices_.size());
    devices_.push_back(std::move(d));
  }
  // Of each redundant pair, the member with the lower ID starts as the active one.
  for (DeviceState& d : devices_) {
    d.active = d.cfg.redundantDeviceId == 0 || d.cfg.id < d.cfg.redundantDeviceId ||
               !deviceIndex_.contains(d.cfg.redundantDeviceId);
  }
  for (const QueueConfig& cfg : config.queues) {
    queueIndex_.insert(cfg.name, queues_.size());
    queues_.push_back(QueueState{cfg});
  }
  std::uniform_real_distribution<double> unit(0.0, 1.0);
  for (const BlockConfig& cfg : config.blocks) {
    BlockState b;
    b.cfg = cfg;
    b.cfg.refreshIntervalMs = std::max(cfg.refreshIntervalMs, TickMs);
    // Every block is read once at start-up (spread over a moment), then at its own interval.
    b.nextDue =
        start_.addMSecs(static_cast<qint64>(unit(rng_) * std::min(2000, b.cfg.refreshIntervalMs)));
    blockIndex_.insert(cfg.id, blocks_.size());
    if (!cfg.disabled) {
      refreshPending_.insert(cfg.id);  // the start-up read of all data
    }
    blocks_.push_back(std::move(b));
  }
  for (const ChannelConfig& cfg : config.channels) {
    ChannelState c;
    c.cfg = cfg;
    c.phase = unit(rng_);
    c.dataSource = cfg.dataSource;
    c.oscillationMin = cfg.oscillationMin;
    c.oscillationMax = cfg.oscillationMax;
    c.oscillationPeriod = cfg.oscillationPeriod;
    c.forcedAt = start_;
    channelIndex_.insert(cfg.id, channels_.size());
    channelsOfBlock_[cfg.blockId].push_back(channels_.size());
    channels_.push_back(std::move(c));
  }
  refreshStart_ = start_;
  if (refreshPending_.isEmpty()) {
    refreshFinish_ = start_;
  }
}

DeviceState* SimPlant::Device(int id) {
  const auto it = deviceIndex_.constFind(id);
  return it == deviceIndex_.constEnd() ? nullptr : &devices_[*it];
}

BlockState* SimPlant::Block(int id) {
  const auto it = blockIndex_.constFind(id);
  return it == blockIndex_.constEnd() ? nullptr : &blocks_[*it];
}

ChannelState* SimPlant::Channel(int id) {
  const auto it = channelIndex_.constFind(id);
  return it == channelIndex_.constEnd() ? nullptr : &channels_[*it];
}

QueueState* SimPlant::Queue(const QString& name) {
  const auto it = queueIndex_.constFind(name);
  return it == queueIndex_.constEnd() ? nullptr : &queues_[*it];
}

QString SimPlant::DeviceLabel(const DeviceState& d) const {
  return QStringLiteral("device %1 (%2)").arg(d.cfg.id).arg(d.cfg.name);
}

bool SimPlant::IsForcedSource(const QString& source) const {
  return source == ForcedValueSource || source == TriangleWaveSource;
}

double SimPlant::Seconds(const QDateTime& now) const {
  return static_cast<double>(start_.msecsTo(now)) / 1000.0;
}

void SimPlant::MakeFaulty(int deviceId) {
  if (DeviceState* d = Device(deviceId)) {
    d->cfg.faulty = true;
  }
}

QList<QByteArray> SimPlant::FullDeviceInfo() const {
  QList<QByteArray> out;
  for (const DeviceState& d : devices_) {
    out.push_back(DeviceUpdateXml(d));
  }
  return out;
}

QList<QByteArray> SimPlant::FullQueueInfo() const {
  QList<QByteArray> out;
  for (const QueueState& q : queues_) {
    out.push_back(QueueUpdateXml(q));
  }
  return out;
}

QList<QByteArray> SimPlant::FullBlockInfo() const {
  QList<QByteArray> out;
  for (const BlockState& b : blocks_) {
    const auto d = deviceIndex_.constFind(b.cfg.deviceId);
    const bool random = d != deviceIndex_.constEnd() && devices_[*d].random;
    out.push_back(BlockUpdateXml(b, random));
  }
  return out;
}

QList<QByteArray> SimPlant::FullChannelConfigInfo() const {
  QList<QByteArray> out;
  out.push_back(ChannelConfigFullUpdateXml(static_cast<int>(channels_.size())));
  for (const ChannelState& c : channels_) {
    out.push_back(ChannelConfigUpdateXml(c));
  }
  return out;
}

QByteArray SimPlant::SettingsInfo() const { return SettingsUpdateXml(settings_); }

void SimPlant::BroadcastOne(const QByteArray& event) { Q_EMIT Broadcast({event}); }

void SimPlant::PublishChanges() {
  QList<QByteArray> events;
  for (DeviceState& d : devices_) {
    if (d.dirty) {
      events.push_back(DeviceUpdateXml(d));
      d.dirty = false;
    }
  }
  for (QueueState& q : queues_) {
    if (q.dirty) {
      events.push_back(QueueUpdateXml(q));
      q.dirty = false;
    }
  }
  for (BlockState& b : blocks_) {
    if (b.dirty) {
      const DeviceState* d = Device(b.cfg.deviceId);
      events.push_back(BlockUpdateXml(b, d != nullptr && d->random));
      b.dirty = false;
    }
  }
  if (settingsDirty_) {
    events.push_back(SettingsUpdateXml(settings_));
    settingsDirty_ = false;
  }
  if (!events.isEmpty()) {
    Q_EMIT Broadcast(events);
  }
}

QList<QByteArray> SimPlant::RandomUpdates(int count) {
  QList<QByteArray> out;
  const std::size_t total = devices_.size() + queues_.size() + blocks_.size();
  if (total == 0) {
    return out;
  }
  std::uniform_int_distribution<std::size_t> pick(0, total - 1);
  for (int i = 0; i < count; ++i) {
    std::size_t k = pick(rng_);
    if (k < devices_.size()) {
      out.push_back(DeviceUpdateXml(devices_[k]));
    } else if ((k -= devices_.size()) < queues_.size()) {
      out.push_back(QueueUpdateXml(queues_[k]));
    } else {
      const BlockState& b = blocks_[k - queues_.size()];
      const DeviceState* d = Device(b.cfg.deviceId);
      out.push_back(BlockUpdateXml(b, d != nullptr && d->random));
    }
  }
  return out;
}

// A device giving random values is not being polled, so it counts against the point as a
// failing one does; the monitor shows "Not Polling Device(s)" from it.
bool SimPlant::AllCommsOk() const {
  return std::all_of(devices_.begin(), devices_.end(),
                     [](const DeviceState& d) { return d.watchdogOk && !d.random; });
}

void SimPlant::ApplyValue(ChannelState& c, const std::optional<double>& numeric,
                          const QString& text, const QDateTime& now) {
  c.hasValue = true;
  c.numeric = numeric;
  c.text = text;
  c.stamp = now;
}

std::optional<RealtimePoint> SimPlant::PointOf(ChannelState& c, const QDateTime& now) {
  if (c.dataSource == TriangleWaveSource) {
    const double min = c.oscillationMin.toDouble();
    const double max = c.oscillationMax.toDouble();
    const double secs = static_cast<double>(c.forcedAt.msecsTo(now)) / 1000.0;
    const double v = TriangleWave(min, max, c.oscillationPeriod.toDouble(), secs);
    ApplyValue(c, RoundForRange(v, min, max), QString(), now);
  } else if (c.dataSource == ForcedValueSource) {
    if (c.held) {
      ApplyValue(c, c.heldNumeric, c.heldText, now);
    } else {
      const double v = c.oscillationMin.isEmpty() ? c.cfg.rangeLow : c.oscillationMin.toDouble();
      ApplyValue(c, v, QString(), now);
    }
  } else if (const DeviceState* d = Device(c.cfg.deviceId); d != nullptr && d->random && !c.held) {
    if (IsAnalogKind(c.cfg.kind) || c.cfg.kind == ChannelKind::Digital) {
      ApplyValue(c, RandomValue(c.cfg, rng_), QString(), now);
    } else {
      // Mode codes and calibration records keep what was last written to them.
      ApplyValue(c, c.hasValue ? c.numeric : std::optional<double>(0.0), c.text, now);
    }
  } else if (c.cfg.blockId == 0 || Block(c.cfg.blockId) == nullptr) {
    // Calculated channels have no block to read; they follow their signal every second.
    ApplyValue(c, c.held ? c.heldNumeric : MeasuredValue(c.cfg, c.phase, Seconds(now), rng_),
               c.held ? c.heldText : QString(), now);
  }
  if (!c.hasValue) {
    return std::nullopt;
  }
  return RealtimePoint{QString::number(c.cfg.id) + QLatin1Char('C'), c.stamp, c.numeric, c.text};
}

std::vector<RealtimePoint> SimPlant::RealtimeSnapshot() {
  const QDateTime now = clock_.Now();
  std::vector<RealtimePoint> points;
  points.reserve(channels_.size() + 2);
  for (ChannelState& c : channels_) {
    if (c.held && c.heldUntil.isValid() && now >= c.heldUntil) {
      c.held = false;  // a measured channel returns to its signal
    }
    if (auto p = PointOf(c, now)) {
      points.push_back(std::move(*p));
    }
  }
  points.push_back({QStringLiteral("IOS.AllCommsOk"), now, AllCommsOk() ? 1.0 : 0.0, QString()});
  const QString refreshed =
      QStringLiteral("<AllDataRefreshed Start=\"%1\" Finish=\"%2\"/>")
          .arg(EventTimeText(refreshStart_),
               refreshFinish_.isValid() ? EventTimeText(refreshFinish_) : QString());
  points.push_back({QStringLiteral("IOS.AllDataRefreshed"), now, std::nullopt, refreshed});
  return points;
}

}  // namespace telmon::iossim
