#pragma once

// The values the cal HDR write puts into calibration history channels: fixed flags, spans,
// drift limits, reference gases, zero and span averages that drift from day to day, and
// injection times in the early morning of each past day. Numbers are exact decimals written
// in their shortest plain text.

#include "tools/CalHdrChannelList.h"
#include "util/Decimal.h"

#include <QDateTime>
#include <QHash>
#include <QString>

#include <cstdint>
#include <optional>
#include <utility>
#include <vector>

namespace telmon {

// Channel-name prefix -> span, from the grid as it stands at the click.
class CalHdrSpanTable {
 public:
  // Every row with a prefix and a numeric span, in row order; a prefix already present (in any
  // case) keeps its first span. Throws an overflow error for a span that is a number beyond the
  // range of the decimal type, before anything is written.
  static CalHdrSpanTable FromGrid(const CalHdrGrid& grid);
  bool Empty() const { return entries_.empty(); }
  std::size_t Size() const { return entries_.size(); }
  // The span of the first prefix the channel name begins with, ignoring case.
  std::optional<Decimal> SpanFor(const QString& channelName) const;

 private:
  std::vector<std::pair<QString, Decimal>> entries_;
};

// Injection start and end minutes per group of channels (address prefix). Groups are numbered
// in the order they first need a time, from 0, so group g injects zero gas from
// 06:30 + 10 g minutes for 4 minutes and span gas for the 4 minutes after.
class CalHdrInjectionTimes {
 public:
  enum Index { ZeroStart = 0, ZeroEnd = 1, SpanStart = 2, SpanEnd = 3 };
  std::int32_t Minutes(const QString& addressPrefix, int index);
  int GroupCount() const { return static_cast<int>(cache_.size() / 4); }

 private:
  QHash<QString, std::int32_t> cache_;  // "$ZEROSTART" etc. + address prefix (lower case)
};

// The day number of a cal HDR address: the integer between ".Days[" and the following "]";
// -999 when that text is missing or not numeric. Throws an overflow error for a number beyond
// a 32-bit integer.
std::int32_t CalHdrDayNumber(const QString& address);

// Drift limit (rule A), span reference gas (B), zero average (C) and span average (D); empty
// where the rule gives no value.
std::optional<Decimal> CalHdrDriftLimit(const QString& name, const std::optional<Decimal>& span,
                                        bool withFloor);
std::optional<Decimal> CalHdrSpanRefGas(const QString& name, const std::optional<Decimal>& span);
Decimal CalHdrZeroAverage(const std::optional<Decimal>& span, std::int32_t day);
std::optional<Decimal> CalHdrSpanAverage(const QString& name, const std::optional<Decimal>& span,
                                         std::int32_t day);
// Injection time of a channel: today at midnight minus day + 1 days plus the group's minutes;
// the zero date-time for a negative day number. Throws an overflow error for a date outside
// the years 100 to 9999.
QDateTime CalHdrInjectionTime(const QDateTime& todayMidnight, std::int32_t day,
                              std::int32_t minutes);

struct CalHdrChannelContext {
  const CalHdrSpanTable& spans;
  CalHdrInjectionTimes& times;
  QDateTime todayMidnight;
};

// The text written into a cal HDR channel, chosen by its address keyword; empty for a keyword
// that is not written or a rule without a value. Throws an overflow error when a result leaves
// the decimal range.
QString CalHdrChannelValue(const QString& name, const QString& address,
                           CalHdrChannelContext& context);

}  // namespace telmon
