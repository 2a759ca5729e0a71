#include "iossim/SimValues.h"

#include <algorithm>
#include <cmath>
#include <numbers>

namespace telmon::iossim {

namespace {

// Operating point and movement of a kind, as fractions of the channel's range.
struct Shape {
  double base;
  double swing;
  double noise;
  double periodSeconds;
};

Shape ShapeOf(ChannelKind kind) {
  switch (kind) {
    case ChannelKind::NOx:
      return {0.30, 0.08, 0.010, 600};
    case ChannelKind::SO2:
      return {0.25, 0.06, 0.008, 900};
    case ChannelKind::CO:
      return {0.06, 0.03, 0.006, 300};
    case ChannelKind::O2:
      return {0.36, 0.04, 0.004, 480};
    case ChannelKind::CO2:
      return {0.45, 0.04, 0.004, 480};
    case ChannelKind::Opacity:
      return {0.06, 0.02, 0.005, 240};
    case ChannelKind::NH3:
      return {0.10, 0.04, 0.010, 360};
    case ChannelKind::Flow:
      return {0.60, 0.10, 0.005, 1200};
    default:
      return {0.0, 0.0, 0.0, 60};
  }
}

}  // namespace

double RoundForRange(double value, double rangeLow, double rangeHigh) {
  const double span = std::abs(rangeHigh - rangeLow);
  // Dividing by a whole power of ten gives the double nearest the decimal (22.4, not
  // 22.400000000000002 as multiplying by 0.1 would).
  const double perUnit = span <= 30 ? 100.0 : span <= 300 ? 10.0 : 1.0;
  return std::round(value * perUnit) / perUnit;
}

double MeasuredValue(const ChannelConfig& channel, double phase, double seconds,
                     std::mt19937_64& rng) {
  const Shape s = ShapeOf(channel.kind);
  const double span = channel.rangeHigh - channel.rangeLow;
  std::normal_distribution<double> noise(0.0, s.noise);
  const double angle = 2 * std::numbers::pi * (seconds / s.periodSeconds + phase);
  double frac = s.base + s.swing * std::sin(angle) + noise(rng);
  frac = std::clamp(frac, 0.0, 1.0);
  return RoundForRange(channel.rangeLow + frac * span, channel.rangeLow, channel.rangeHigh);
}

double RandomValue(const ChannelConfig& channel, std::mt19937_64& rng) {
  if (channel.kind == ChannelKind::Digital) {
    return std::uniform_int_distribution<int>(0, 1)(rng);
  }
  std::uniform_real_distribution<double> d(channel.rangeLow, channel.rangeHigh);
  return RoundForRange(d(rng), channel.rangeLow, channel.rangeHigh);
}

double TriangleWave(double min, double max, double halfPeriodSeconds, double seconds) {
  if (!(halfPeriodSeconds > 0) || seconds < 0) {
    return min;
  }
  const double t = std::fmod(seconds, 2 * halfPeriodSeconds);
  const double rise = t <= halfPeriodSeconds ? t : 2 * halfPeriodSeconds - t;
  return min + (max - min) * rise / halfPeriodSeconds;
}

}  // namespace telmon::iossim

namespace telmon::iossim {

QString PlainNumber(double value) {
  if (!std::isfinite(value)) {
    return QStringLiteral("0");
  }
  QString s = QString::number(value, 'f', 6);
  while (s.endsWith(QLatin1Char('0'))) {
    s.chop(1);
  }
  if (s.endsWith(QLatin1Char('.'))) {
    s.chop(1);
  }
  return s == QLatin1String("-0") ? QStringLiteral("0") : s;
}

}  // namespace telmon::iossim
