// The operations monitors ask the server for: device modes and maintenance, server settings,
// forced channel values, and channel writes from the command table.

#include "iossim/EventXml.h"
#include "iossim/PlantEvents.h"
#include "iossim/SimPlant.h"
#include "util/TextConversionFunctions.h"

#include <QHostAddress>

namespace telmon::iossim {

namespace {

OpResult Fail(const QString& message) { return OpResult{false, message, SimMsgType::Error}; }
OpResult Done(const QString& message) { return OpResult{true, message, SimMsgType::Info}; }

OpResult NoDevice(int id) { return Fail(QStringLiteral("There is no device %1").arg(id)); }

// A device that does not answer: the refusal, and on a second line what its watchdog says.
OpResult NotAnswering(const QString& refusal, const QString& watchdogStatus) {
  return Fail(
      refusal + QStringLiteral("\r\nWatchdog: ") +
      (watchdogStatus.isEmpty() ? QStringLiteral("no response to its polls") : watchdogStatus));
}

}  // namespace

void SimPlant::MarkDeviceBlocksDirty(int deviceId) {
  for (BlockState& b : blocks_) {
    if (b.cfg.deviceId == deviceId) {
      b.dirty = true;
    }
  }
}

OpResult SimPlant::SetRandomModeOne(DeviceState& d, bool on) {
  if (d.random != on) {
    d.random = on;
    d.dirty = true;
    MarkDeviceBlocksDirty(d.cfg.id);
    if (on) {
      DropQueuedReads(d.cfg.id);
    } else {
      const QDateTime now = clock_.Now();
      for (BlockState& b : blocks_) {
        if (b.cfg.deviceId == d.cfg.id) {
          b.nextDue = now;  // read the real values again at once
        }
      }
    }
  }
  return Done(on ? QStringLiteral("%1 now generates random values").arg(DeviceLabel(d))
                 : QStringLiteral("%1 is polled again").arg(DeviceLabel(d)));
}

OpResult SimPlant::SetRandomMode(std::optional<int> deviceId, bool on) {
  if (deviceId) {
    DeviceState* d = Device(*deviceId);
    return d == nullptr ? NoDevice(*deviceId) : SetRandomModeOne(*d, on);
  }
  for (DeviceState& d : devices_) {
    SetRandomModeOne(d, on);
  }
  return Done(on ? QStringLiteral("All %1 devices now generate random values").arg(devices_.size())
                 : QStringLiteral("All %1 devices are polled again").arg(devices_.size()));
}

OpResult SimPlant::SetDeviceAddress(int deviceId, const QString& address) {
  DeviceState* d = Device(deviceId);
  if (d == nullptr) {
    return NoDevice(deviceId);
  }
  QHostAddress parsed;
  if (!parsed.setAddress(address.trimmed()) || parsed.protocol() != QAbstractSocket::IPv4Protocol) {
    return Fail(QStringLiteral("'%1' is not an IPv4 address; %2 keeps its address")
                    .arg(address, DeviceLabel(*d)));
  }
  d->pendingAddress = parsed.toString();
  return Done(QStringLiteral("IP address of %1 set to %2; it takes effect when the I/O server "
                             "restarts")
                  .arg(DeviceLabel(*d), d->pendingAddress));
}

OpResult SimPlant::SetDeviceClock(int deviceId) {
  DeviceState* d = Device(deviceId);
  if (d == nullptr) {
    return NoDevice(deviceId);
  }
  if (!Responds(*d) && !d->random) {
    return NotAnswering(
        QStringLiteral("%1 did not respond; its clock was not set").arg(DeviceLabel(*d)),
        d->watchdogStatus);
  }
  const QDateTime now = clock_.Now();
  d->clockOffsetMs = 0;
  d->clockReadAt = now;
  BroadcastOne(DeviceUpdateXml(*d));
  return Done(QStringLiteral("Clock of %1 set to %2").arg(DeviceLabel(*d), EventTimeText(now)));
}

OpResult SimPlant::EraseHdr(int deviceId) {
  DeviceState* d = Device(deviceId);
  if (d == nullptr) {
    return NoDevice(deviceId);
  }
  if (!d->cfg.hdrEnabled) {
    return Fail(QStringLiteral("%1 keeps no historical data records").arg(DeviceLabel(*d)));
  }
  if (!Responds(*d) && !d->random) {
    return NotAnswering(QStringLiteral("%1 did not respond; HDR not erased").arg(DeviceLabel(*d)),
                        d->watchdogStatus);
  }
  const int erased = d->hdrRecords;
  d->hdrRecords = 0;
  const QDateTime now = clock_.Now();
  for (ChannelState& c : channels_) {
    if (c.cfg.deviceId == deviceId && c.cfg.kind == ChannelKind::CalHdr) {
      c.held = false;
      ApplyValue(c, 0.0, QString(), now);
    }
  }
  return Done(
      QStringLiteral("Erased %1 historical data records in %2").arg(erased).arg(DeviceLabel(*d)));
}

OpResult SimPlant::Failover(int deviceId) {
  DeviceState* d = Device(deviceId);
  if (d == nullptr) {
    return NoDevice(deviceId);
  }
  DeviceState* partner = d->cfg.redundantDeviceId == 0 ? nullptr : Device(d->cfg.redundantDeviceId);
  if (partner == nullptr) {
    return Fail(QStringLiteral("%1 has no redundant partner").arg(DeviceLabel(*d)));
  }
  DeviceState& next = d->active ? *partner : *d;
  DeviceState& previous = d->active ? *d : *partner;
  if (!Responds(next) && !next.random) {
    return Fail(QStringLiteral("Failover refused: %1 is not responding").arg(DeviceLabel(next)));
  }
  next.active = true;
  previous.active = false;
  ++next.failovers;
  ++previous.failovers;
  UpdateWatchdogs(clock_.Now());
  next.dirty = previous.dirty = false;
  Q_EMIT Broadcast({DeviceUpdateXml(previous), DeviceUpdateXml(next)});
  return Done(
      QStringLiteral("Failed over from %1 to %2").arg(DeviceLabel(previous), DeviceLabel(next)));
}

OpResult SimPlant::SetLogLevel(int level) {
  if (level < -1 || level > 2) {
    return Fail(QStringLiteral("Log level %1 is not one of -1, 0, 1, 2").arg(level));
  }
  settings_.logLevel = level;
  BroadcastOne(SettingsUpdateXml(settings_));
  return Done(QStringLiteral("Log level set to %1").arg(level));
}

OpResult SimPlant::ResetLog() {
  QString text;
  if (!settings_.logActive) {
    settings_.logActive = true;
    text = QStringLiteral("IOS log started");
  } else if (settings_.logLevel < 0) {
    settings_.logActive = false;
    text = QStringLiteral("IOS log stopped");
  } else {
    text = QStringLiteral("IOS log restarted in a new file");
  }
  BroadcastOne(SettingsUpdateXml(settings_));
  return Done(text);
}

OpResult SimPlant::SetUrp(int urp) {
  if (urp < 1 || urp > 100) {
    return Fail(QStringLiteral("Unscheduled request priority %1 is outside 1 to 100").arg(urp));
  }
  settings_.urp = urp;
  BroadcastOne(SettingsUpdateXml(settings_));
  Q_EMIT UrpChanged(urp);
  return Done(QStringLiteral("Unscheduled request priority set to %1").arg(urp));
}

OpResult SimPlant::SetRid(int ms) {
  if (ms < 0 || ms > 10000) {
    return Fail(QStringLiteral("Request initiation delay %1 ms is outside 0 to 10000").arg(ms));
  }
  OpResult r = Done(QStringLiteral("Request initiation delay set to %1 ms").arg(ms));
  if (ms > 0 && ms < 10) {
    r = OpResult{
        true,
        QStringLiteral("Request initiation delay %1 ms is below the minimum; 10 ms used").arg(ms),
        SimMsgType::Warning};
    ms = 10;
  }
  settings_.ridMs = ms;
  BroadcastOne(SettingsUpdateXml(settings_));
  return r;
}

OpResult SimPlant::ForceChannel(int channelId, const QString& value, const QString& dataSource,
                                const QString& min, const QString& max, const QString& period) {
  ChannelState* c = Channel(channelId);
  if (c == nullptr) {
    return Fail(QStringLiteral("There is no channel %1").arg(channelId));
  }
  if (!IsForcedSource(c->cfg.dataSource)) {
    return Fail(QStringLiteral("Channel %1 cannot be forced: its data source is '%2'")
                    .arg(channelId)
                    .arg(c->cfg.dataSource));
  }
  const QDateTime now = clock_.Now();
  if (dataSource == QLatin1String("TriangleWave")) {
    const auto lo = ToDouble(min);
    const auto hi = ToDouble(max);
    const auto half = ToDouble(period);
    if (!lo || !hi || !half || *half <= 0) {
      return Fail(QStringLiteral("Triangle wave for channel %1 needs numeric limits and a "
                                 "positive period")
                      .arg(channelId));
    }
    c->oscillationMin = min.trimmed();
    c->oscillationMax = max.trimmed();
    c->oscillationPeriod = period.trimmed();
  } else if (dataSource != QLatin1String("ForcedValue")) {
    return Fail(QStringLiteral("Unknown data source '%1'").arg(dataSource));
  }
  c->dataSource = dataSource;
  c->forcedAt = now;
  c->held = true;
  c->heldNumeric = ToDouble(value);
  c->heldText = c->heldNumeric ? QString() : value;
  c->heldUntil = QDateTime();
  c->releaseAt = ReleaseTime(now);
  BroadcastOne(ChannelConfigUpdateXml(*c));
  return Done(dataSource == QLatin1String("TriangleWave")
                  ? QStringLiteral("Channel %1 follows a triangle wave from %2 to %3, half period "
                                   "%4 s")
                        .arg(QString::number(channelId), min, max, period)
                  : QStringLiteral("Channel %1 forced to '%2'").arg(channelId).arg(value));
}

OpResult SimPlant::RefreshAllData() {
  const QDateTime now = clock_.Now();
  refreshPending_.clear();
  refreshFailures_ = 0;
  refreshStart_ = now;
  refreshFinish_ = QDateTime();
  int queued = 0;
  for (BlockState& b : blocks_) {
    const DeviceState* d = Device(b.cfg.deviceId);
    QueueState* q = Queue(b.cfg.queueName);
    if (b.cfg.disabled || d == nullptr || d->random || q == nullptr) {
      continue;
    }
    q->unscheduled.push_back(IoRequest{IoRequest::Kind::RefreshRead, b.cfg.id, 0, 0, {}, {}, now});
    q->peak = std::max(q->peak, q->Size());
    q->dirty = true;
    refreshPending_.insert(b.cfg.id);
    ++queued;
  }
  if (queued == 0) {
    refreshFinish_ = now;
  }
  return Done(QStringLiteral("Reading all data: %1 block(s) queued").arg(queued));
}

OpResult SimPlant::ResetQueueCounters() {
  for (QueueState& q : queues_) {
    q.peak = q.Size();
    q.serviced = q.success = q.failure = q.delays = q.openErrors = q.dupWritesCancelled = 0;
    q.dirty = false;
  }
  Q_EMIT Broadcast(FullQueueInfo());
  return Done(QStringLiteral("Counters of %1 queue(s) reset").arg(queues_.size()));
}

std::optional<QString> SimPlant::QueueWrite(std::int64_t recordId, int channelId,
                                            const QString& valueText) {
  ChannelState* c = Channel(channelId);
  if (c == nullptr) {
    return QStringLiteral("Failed: there is no channel %1").arg(channelId);
  }
  const std::optional<double> numeric = ToDouble(valueText);
  const QString text = numeric ? QString() : valueText;
  const QDateTime now = clock_.Now();
  if (IsForcedSource(c->cfg.dataSource)) {
    return WriteForceable(*c, numeric, text, now);
  }
  BlockState* b = Block(c->cfg.blockId);
  DeviceState* d = b == nullptr ? nullptr : Device(b->cfg.deviceId);
  QueueState* q = b == nullptr ? nullptr : Queue(b->cfg.queueName);
  if (b == nullptr || d == nullptr || q == nullptr || d->random) {
    c->held = true;
    c->heldNumeric = numeric;
    c->heldText = text;
    c->heldUntil = QDateTime();
    ApplyValue(*c, numeric, text, now);
    return QStringLiteral("OK");
  }
  if (b->cfg.disabled) {
    return QStringLiteral("Failed: block %1 is disabled").arg(b->cfg.id);
  }
  for (IoRequest& pending : q->unscheduled) {
    if (pending.kind == IoRequest::Kind::Write && pending.channelId == channelId) {
      // A later write to the same channel makes the earlier one pointless.
      ++q->dupWritesCancelled;
      q->dirty = true;
      Q_EMIT WriteFinished(pending.recordId,
                           QStringLiteral("Cancelled: superseded by record %1").arg(recordId));
      pending =
          IoRequest{IoRequest::Kind::Write, b->cfg.id, channelId, recordId, numeric, text, now};
      return std::nullopt;
    }
  }
  q->unscheduled.push_back(
      IoRequest{IoRequest::Kind::Write, b->cfg.id, channelId, recordId, numeric, text, now});
  q->peak = std::max(q->peak, q->Size());
  q->dirty = true;
  return std::nullopt;
}

}  // namespace telmon::iossim
