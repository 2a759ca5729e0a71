// The plant's alarm conditions, worked out from its state whenever the simulator asks.

#include "iossim/SimPlant.h"
#include "iossim/SimValues.h"

#include <QSet>

#include <cmath>

namespace telmon::iossim {

namespace {

// Each analyzer's calibration drifts away and is corrected again in a cycle of half an hour,
// spending the last part of it beyond the drift limit.
constexpr double DriftCycleSeconds = 1800.0;
constexpr double DriftMaxPercent = 4.0;
constexpr double DriftLimitPercent = 2.5;

bool IsAnalyzerKind(ChannelKind kind) {
  switch (kind) {
    case ChannelKind::NOx:
    case ChannelKind::SO2:
    case ChannelKind::CO:
    case ChannelKind::O2:
    case ChannelKind::CO2:
    case ChannelKind::NH3:
      return true;
    default:
      return false;
  }
}

}  // namespace

std::vector<AlarmCondition> SimPlant::AlarmConditions() const {
  std::vector<AlarmCondition> out;
  for (const DeviceState& d : devices_) {
    if (!d.watchdogOk) {
      out.push_back({AlarmSourceKind::Device, d.cfg.id, d.cfg.name,
                     QStringLiteral("Watchdog failure"), 1,
                     QStringLiteral("Watchdog of device %1 (%2): %3")
                         .arg(d.cfg.id)
                         .arg(d.cfg.name, d.watchdogStatus)});
    }
  }
  for (const BlockState& b : blocks_) {
    if (b.failCount > 0 && !b.cfg.disabled) {
      out.push_back({AlarmSourceKind::Block, b.cfg.id, b.cfg.name, QStringLiteral("Read failure"),
                     2,
                     QStringLiteral("Block %1 (%2): %3 reads in a row failed")
                         .arg(b.cfg.id)
                         .arg(b.cfg.name)
                         .arg(b.failCount)});
    }
  }
  const double seconds = Seconds(clock_.Now());
  QSet<int> analyzers;
  for (const ChannelState& c : channels_) {
    const ChannelConfig& cfg = c.cfg;
    if (IsAnalyzerKind(cfg.kind)) {
      analyzers.insert(cfg.deviceId);
    }
    if (!IsAnalogKind(cfg.kind) || !c.hasValue || !c.numeric || !(cfg.rangeHigh > cfg.rangeLow)) {
      continue;
    }
    if (*c.numeric < cfg.rangeLow || *c.numeric > cfg.rangeHigh) {
      out.push_back({AlarmSourceKind::Channel, cfg.id, cfg.name, QStringLiteral("Out of range"), 3,
                     QStringLiteral("%1 is outside its range %2 to %3")
                         .arg(PlainNumber(*c.numeric), PlainNumber(cfg.rangeLow),
                              PlainNumber(cfg.rangeHigh))});
    }
  }
  for (const DeviceState& d : devices_) {
    if (!analyzers.contains(d.cfg.id)) {
      continue;
    }
    const double phase = std::fmod(d.cfg.id * 0.37, 1.0);
    const double cycle = std::fmod(seconds / DriftCycleSeconds + phase, 1.0);
    const double drift = DriftMaxPercent * cycle;
    if (drift > DriftLimitPercent) {
      out.push_back({AlarmSourceKind::Device, d.cfg.id, d.cfg.name,
                     QStringLiteral("Calibration drift"), 2,
                     QStringLiteral("Calibration drift %1 % of span, beyond the limit of %2 %")
                         .arg(QString::number(drift, 'f', 1), PlainNumber(DriftLimitPercent))});
    }
  }
  return out;
}

}  // namespace telmon::iossim
