// Forced channels going back to the plant: after the hold given with ReleaseForcedAfter, a
// forced channel takes its value from the plant again and every monitor is told its new data
// source; a later write forces it again with the source it was configured with.

#include "iossim/PlantEvents.h"
#include "iossim/SimPlant.h"

namespace telmon::iossim {

namespace {

// The source the plant's own channels report: read through a block, or calculated.
QString PlantSource(bool hasBlock) {
  return hasBlock ? QStringLiteral("Device") : QStringLiteral("Calculated");
}

}  // namespace

void SimPlant::ReleaseForcedAfter(std::int64_t ms) {
  releaseForcedAfterMs_ = ms;
  for (ChannelState& c : channels_) {
    if (IsForcedSource(c.dataSource)) {
      c.releaseAt = ReleaseTime(c.forcedAt);
    }
  }
}

QDateTime SimPlant::ReleaseTime(const QDateTime& forcedAt) const {
  return releaseForcedAfterMs_ ? forcedAt.addMSecs(*releaseForcedAfterMs_) : QDateTime();
}

// A write to a channel whose configured source can be forced. A released channel is forced
// again as configured; a forced value is held, a triangle wave keeps its course.
std::optional<QString> SimPlant::WriteForceable(ChannelState& c,
                                                const std::optional<double>& numeric,
                                                const QString& text, const QDateTime& now) {
  const bool released = !IsForcedSource(c.dataSource);
  if (released) {
    c.dataSource = c.cfg.dataSource;
    c.oscillationMin = c.cfg.oscillationMin;
    c.oscillationMax = c.cfg.oscillationMax;
    c.oscillationPeriod = c.cfg.oscillationPeriod;
    c.forcedAt = now;
    c.releaseAt = ReleaseTime(now);
    Q_EMIT Log(
        QStringLiteral("channel %1 forced again (%2) by a write").arg(c.cfg.id).arg(c.dataSource));
    BroadcastOne(ChannelConfigUpdateXml(c));
  }
  if (c.dataSource == QLatin1String("TriangleWave")) {
    return QStringLiteral("OK; channel %1 follows its triangle wave").arg(c.cfg.id);
  }
  c.held = true;
  c.heldNumeric = numeric;
  c.heldText = text;
  c.heldUntil = QDateTime();
  c.releaseAt = ReleaseTime(now);
  ApplyValue(c, numeric, text, now);
  return QStringLiteral("OK");
}

void SimPlant::ReleaseDueChannels(const QDateTime& now) {
  QList<QByteArray> events;
  for (ChannelState& c : channels_) {
    if (!c.releaseAt.isValid() || now < c.releaseAt) {
      continue;
    }
    c.releaseAt = QDateTime();
    if (!IsForcedSource(c.dataSource)) {
      continue;
    }
    c.dataSource = PlantSource(c.cfg.blockId != 0 && Block(c.cfg.blockId) != nullptr);
    c.held = false;
    c.heldUntil = QDateTime();
    Q_EMIT Log(
        QStringLiteral("channel %1 released: data source %2").arg(c.cfg.id).arg(c.dataSource));
    events.push_back(ChannelConfigUpdateXml(c));
  }
  if (!events.isEmpty()) {
    Q_EMIT Broadcast(events);
  }
}

}  // namespace telmon::iossim
