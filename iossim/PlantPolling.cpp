// The polling side of the plant: blocks fall due, wait in their device's queue, and are read
// (or fail) when the queue gets to them.

#include "iossim/EventXml.h"
#include "iossim/PlantEvents.h"
#include "iossim/SimPlant.h"
#include "iossim/SimValues.h"

#include <algorithm>

namespace telmon::iossim {

namespace {

constexpr int FailuresBeforePause = 3;
constexpr int PauseMs = 5000;
constexpr int FailedReadMs = 2000;
constexpr int ClockReadEveryMs = 10000;
constexpr int WrittenValueHoldMs = 60000;

bool IsSerial(const QString& port) { return port.startsWith(QLatin1String("COM")); }

int CostMs(const QueueState& q) { return IsSerial(q.cfg.portName) ? 120 : 25; }

}  // namespace

void SimPlant::Tick() {
  const QDateTime now = clock_.Now();
  ScheduleDueBlocks(now);
  for (QueueState& q : queues_) {
    ServiceQueue(q, now);
  }
  UpdateWatchdogs(now);
  UpdateClocks(now);
  ReleaseDueChannels(now);
}

void SimPlant::ScheduleDueBlocks(const QDateTime& now) {
  for (BlockState& b : blocks_) {
    if (b.cfg.disabled || b.queued || now < b.nextDue) {
      continue;
    }
    b.nextDue = b.nextDue.addMSecs(b.cfg.refreshIntervalMs);
    if (b.nextDue < now) {
      b.nextDue = now.addMSecs(b.cfg.refreshIntervalMs);  // fell behind: do not catch up
    }
    const DeviceState* d = Device(b.cfg.deviceId);
    QueueState* q = Queue(b.cfg.queueName);
    if (d == nullptr || d->random || q == nullptr) {
      continue;
    }
    q->scheduled.push_back(IoRequest{IoRequest::Kind::Read, b.cfg.id, 0, 0, {}, {}, now});
    b.queued = true;
    q->peak = std::max(q->peak, q->Size());
    q->dirty = true;
  }
}

void SimPlant::ServiceQueue(QueueState& q, const QDateTime& now) {
  if (q.paused) {
    if (now < q.pausedUntil) {
      return;
    }
    q.paused = false;
    q.dirty = true;
  }
  const int capacity = std::max(1, TickMs / (CostMs(q) + settings_.ridMs));
  for (int served = 0; served < capacity && q.Size() > 0 && !q.paused; ++served) {
    // URP: this many scheduled requests are serviced for every unscheduled one.
    const bool takeUnscheduled =
        !q.unscheduled.empty() &&
        (q.scheduled.empty() || q.scheduledSinceUnscheduled >= std::max(1, settings_.urp));
    std::deque<IoRequest>& from = takeUnscheduled ? q.unscheduled : q.scheduled;
    const IoRequest r = from.front();
    from.pop_front();
    q.scheduledSinceUnscheduled = takeUnscheduled ? 0 : q.scheduledSinceUnscheduled + 1;
    Serve(q, r, now);
  }
}

void SimPlant::Serve(QueueState& q, const IoRequest& r, const QDateTime& now) {
  ++q.serviced;
  q.dirty = true;
  if (r.queuedAt.msecsTo(now) > 2LL * TickMs || settings_.ridMs > 0) {
    ++q.delays;
  }
  if (r.kind == IoRequest::Kind::Write) {
    ServeWrite(q, r, now);
  } else {
    ServeRead(q, r, now);
  }
}

int SimPlant::ResponseMs(const DeviceState& d, bool ok) {
  if (!ok) {
    return FailedReadMs;
  }
  const int base = IsSerial(d.cfg.portName) ? 120 : 25;
  std::uniform_real_distribution<double> f(0.5, 1.8);
  return static_cast<int>(base * f(rng_)) + settings_.ridMs;
}

void SimPlant::ServeRead(QueueState& q, const IoRequest& r, const QDateTime& now) {
  BlockState* b = Block(r.blockId);
  DeviceState* d = b == nullptr ? nullptr : Device(b->cfg.deviceId);
  if (b == nullptr || d == nullptr) {
    return;
  }
  if (r.kind == IoRequest::Kind::Read) {
    b->queued = false;
  }
  if (!Responds(*d)) {
    ReadFailed(q, *b, now);
    return;
  }
  ++q.success;
  q.consecutiveFailures = 0;
  const int ms = ResponseMs(*d, true);
  b->lastResponseMs = ms;
  b->minResponseMs = b->minResponseMs < 0 ? ms : std::min(b->minResponseMs, ms);
  b->maxResponseMs = std::max(b->maxResponseMs, ms);
  b->failCount = 0;
  b->lastRead = now;
  b->dirty = true;
  d->lastSuccess = now;
  if (b->cfg.isHdr && d->cfg.hdrEnabled) {
    d->hdrRecords += std::max(1, b->cfg.dataQty);
  }
  ReadChannels(*b, now);
  BlockSettled(b->cfg.id, true, now);
}

void SimPlant::ReadFailed(QueueState& q, BlockState& b, const QDateTime& now) {
  ++q.failure;
  ++b.failCount;
  b.lastResponseMs = FailedReadMs;
  b.minResponseMs = b.minResponseMs < 0 ? FailedReadMs : b.minResponseMs;
  b.maxResponseMs = std::max(b.maxResponseMs, FailedReadMs);
  b.dirty = true;
  if (++q.consecutiveFailures >= FailuresBeforePause) {
    // The driver closes the port and waits before it opens it again.
    q.consecutiveFailures = 0;
    q.paused = true;
    q.pausedUntil = now.addMSecs(PauseMs);
    ++q.openErrors;
  }
  BlockSettled(b.cfg.id, false, now);
}

void SimPlant::ServeWrite(QueueState& q, const IoRequest& r, const QDateTime& now) {
  ChannelState* c = Channel(r.channelId);
  const BlockState* b = c == nullptr ? nullptr : Block(c->cfg.blockId);
  const DeviceState* d = b == nullptr ? nullptr : Device(b->cfg.deviceId);
  if (c == nullptr || d == nullptr) {
    Q_EMIT WriteFinished(r.recordId, QStringLiteral("Failed: channel %1 is gone").arg(r.channelId));
    return;
  }
  if (!Responds(*d)) {
    ++q.failure;
    Q_EMIT WriteFinished(r.recordId,
                         QStringLiteral("Failed: %1 did not respond").arg(DeviceLabel(*d)));
    return;
  }
  ++q.success;
  c->held = true;
  c->heldNumeric = r.numeric;
  c->heldText = r.text;
  c->heldUntil = IsAnalogKind(c->cfg.kind) ? now.addMSecs(WrittenValueHoldMs) : QDateTime();
  ApplyValue(*c, r.numeric, r.text, now);
  Q_EMIT WriteFinished(r.recordId, QStringLiteral("OK"));
}

void SimPlant::ReadChannels(const BlockState& b, const QDateTime& now) {
  for (const std::size_t i : channelsOfBlock_.value(b.cfg.id)) {
    ChannelState& c = channels_[i];
    if (IsForcedSource(c.dataSource)) {
      continue;  // forced channels do not follow the device
    }
    if (c.held) {
      ApplyValue(c, c.heldNumeric, c.heldText, now);
    } else if (IsAnalogKind(c.cfg.kind)) {
      ApplyValue(c, MeasuredValue(c.cfg, c.phase, Seconds(now), rng_), QString(), now);
    } else if (c.cfg.kind == ChannelKind::Digital) {
      ApplyValue(c, 1.0, QString(), now);
    } else {
      ApplyValue(c, c.hasValue ? c.numeric : std::optional<double>(0.0), c.text, now);
    }
  }
}

void SimPlant::BlockSettled(int blockId, bool ok, const QDateTime& now) {
  if (!refreshPending_.remove(blockId)) {
    return;
  }
  refreshFailures_ += ok ? 0 : 1;
  if (!refreshPending_.isEmpty()) {
    return;
  }
  refreshFinish_ = now;
  const double secs = static_cast<double>(refreshStart_.msecsTo(now)) / 1000.0;
  QString text = QStringLiteral("All data refreshed in %1 s").arg(PlainNumber(secs));
  if (refreshFailures_ > 0) {
    text += QStringLiteral("; %1 block read(s) failed").arg(refreshFailures_);
  }
  Q_EMIT Log(text);
  BroadcastOne(
      MessageEventXml(refreshFailures_ > 0 ? SimMsgType::Warning : SimMsgType::Info, text));
}

void SimPlant::UpdateWatchdogs(const QDateTime& now) {
  for (DeviceState& d : devices_) {
    const qint64 timeoutMs = 1000LL * std::max(5, d.cfg.watchdogTimeout);
    bool ok = true;
    QString status;
    if (d.random) {
      status = QStringLiteral("Simulated (random values)");
    } else if (d.lastSuccess.isValid() && d.lastSuccess.msecsTo(now) <= timeoutMs) {
      status = d.active ? QStringLiteral("OK") : QStringLiteral("OK (standby)");
    } else if (!d.lastSuccess.isValid() && start_.msecsTo(now) <= timeoutMs) {
      status = QStringLiteral("Waiting for first response");
    } else {
      ok = false;
      status = QStringLiteral("Timed out (no response in %1 s)").arg(d.cfg.watchdogTimeout);
    }
    if (ok != d.watchdogOk || status != d.watchdogStatus) {
      d.watchdogOk = ok;
      d.watchdogStatus = status;
      d.dirty = true;
    }
  }
}

void SimPlant::UpdateClocks(const QDateTime& now) {
  for (DeviceState& d : devices_) {
    if (!Responds(d) && !d.random) {
      continue;
    }
    if (d.clockReadAt.isValid() && d.clockReadAt.msecsTo(now) < ClockReadEveryMs) {
      continue;
    }
    if (d.clockReadAt.isValid()) {
      d.clockOffsetMs += d.clockDriftMsPerMin * d.clockReadAt.msecsTo(now) / 60000;
    }
    d.clockReadAt = now;
    d.dirty = true;
  }
}

void SimPlant::DropQueuedReads(int deviceId) {
  for (QueueState& q : queues_) {
    const auto ofDevice = [this, deviceId](const IoRequest& r) {
      const BlockState* b = Block(r.blockId);
      return r.kind != IoRequest::Kind::Write && b != nullptr && b->cfg.deviceId == deviceId;
    };
    const auto before = q.Size();
    std::erase_if(q.scheduled, ofDevice);
    std::erase_if(q.unscheduled, ofDevice);
    q.dirty = q.dirty || q.Size() != before;
  }
  // Blocks of a device in random mode count as refreshed: their values are generated.
  const QDateTime now = clock_.Now();
  for (BlockState& b : blocks_) {
    if (b.cfg.deviceId == deviceId) {
      b.queued = false;
      BlockSettled(b.cfg.id, true, now);
    }
  }
}

}  // namespace telmon::iossim
