#pragma once

// The signals the simulated plant produces: plausible stack readings per channel kind, random
// values for devices in random mode, and forced triangle waves.

#include "iossim/SimConfig.h"

#include <random>

namespace telmon::iossim {

// A reading of a measured channel at `seconds` since the start: a slow swing around a typical
// operating point of the channel's range plus a little noise. `phase` (0..1) keeps channels of
// the same kind from moving in step.
double MeasuredValue(const ChannelConfig& channel, double phase, double seconds,
                     std::mt19937_64& rng);

// A value anywhere in the channel's range, for devices in random mode.
double RandomValue(const ChannelConfig& channel, std::mt19937_64& rng);

// Triangle wave that starts at `min`, rises to `max` in `halfPeriodSeconds` and falls back in
// as long again. A non-positive half period holds `min`.
double TriangleWave(double min, double max, double halfPeriodSeconds, double seconds);

// Rounds to the resolution an analyzer of that range reports.
double RoundForRange(double value, double rangeLow, double rangeHigh);

}  // namespace telmon::iossim

namespace telmon::iossim {

// Decimal text without exponent and without trailing zeros ("12.5", "0.001", "1500").
QString PlainNumber(double value);

}  // namespace telmon::iossim
