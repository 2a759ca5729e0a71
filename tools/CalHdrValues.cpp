#include "tools/CalHdrValues.h"

#include "util/ErrorInfo.h"
#include "util/TextConversionFunctions.h"

#include <QSet>

#include <array>

namespace telmon {

namespace {

// The factors of the rules, read from their decimal text once.
struct Factors {
  Decimal flowDrift = Read("0.06");
  Decimal drift = Read("0.05");
  Decimal fixedDrift = Read("0.5");
  Decimal flowRefGas = Read("0.55");
  Decimal air = Read("20.9");
  Decimal refGas = Read("0.9");
  Decimal dailyDrift = Read("0.001");
  static Decimal Read(const char* text) { return *Decimal::Parse(QLatin1String(text)); }
};

const Factors& Factor() {
  static const Factors factors;
  return factors;
}

[[noreturn]] void ThrowOverflow() { throw TelmonError(ErrorNumber::Overflow, "Overflow"); }

// Results must stay inside the range of the decimal type the channels are written from.
Decimal Checked(const Decimal& value) {
  if (value > Decimal::MaxValue() || value < -Decimal::MaxValue()) {
    ThrowOverflow();
  }
  return value;
}

bool Has(const QString& name, const char* part, Qt::CaseSensitivity cs = Qt::CaseSensitive) {
  return name.contains(QLatin1String(part), cs);
}

// A span typed into the grid as an exact decimal; hexadecimal and octal forms go through
// their integer value.
Decimal SpanValue(const QString& text) {
  if (const auto exact = Decimal::Parse(text)) {
    return *exact;
  }
  if (const auto whole = ToInt64(text)) {
    return Decimal(*whole);
  }
  ThrowOverflow();
}

QString Text(const std::optional<Decimal>& value) {
  return value ? value->ToText().trimmed() : QString();
}

// The parts of a date-time the keyword names: "YEAR" ... "MINUTE", "YYYYMMDD" or "HHMMSS".
QString TimePart(const QDateTime& time, const QString& part) {
  const QDate date = time.date();
  const QTime clock = time.time();
  if (part == QLatin1String("YEAR")) return QString::number(date.year());
  if (part == QLatin1String("MONTH")) return QString::number(date.month());
  if (part == QLatin1String("DAY")) return QString::number(date.day());
  if (part == QLatin1String("HOUR")) return QString::number(clock.hour());
  if (part == QLatin1String("MINUTE")) return QString::number(clock.minute());
  if (part == QLatin1String("YYYYMMDD")) {
    return QStringLiteral("%1%2%3")
        .arg(date.year(), 4, 10, QLatin1Char('0'))
        .arg(date.month(), 2, 10, QLatin1Char('0'))
        .arg(date.day(), 2, 10, QLatin1Char('0'));
  }
  if (part == QLatin1String("HHMMSS")) return clock.toString(QStringLiteral("HHmmss"));
  return {};
}

// The injection index and the part a time keyword names; index -1 when it names none.
std::pair<int, QString> TimeKeyword(const QString& keyword) {
  static const std::array<std::pair<const char*, int>, 4> Stages{{
      {"ZEROINJECTIONSTART", CalHdrInjectionTimes::ZeroStart},
      {"ZEROINJECTIONEND", CalHdrInjectionTimes::ZeroEnd},
      {"SPANINJECTIONSTART", CalHdrInjectionTimes::SpanStart},
      {"SPANINJECTIONEND", CalHdrInjectionTimes::SpanEnd},
  }};
  static const QSet<QString> Parts = {QStringLiteral("YEAR"), QStringLiteral("MONTH"),
                                      QStringLiteral("DAY"), QStringLiteral("HOUR"),
                                      QStringLiteral("MINUTE")};
  if (Parts.contains(keyword)) {
    return {CalHdrInjectionTimes::ZeroStart, keyword};
  }
  for (const auto& [stage, index] : Stages) {
    if (!keyword.startsWith(QLatin1String(stage))) {
      continue;
    }
    const QString part = keyword.mid(qsizetype(qstrlen(stage)));
    if (Parts.contains(part) || part == QLatin1String("YYYYMMDD") ||
        part == QLatin1String("HHMMSS")) {
      return {index, part};
    }
  }
  return {-1, QString()};
}

enum class Rule { None, Zero, One, Span, Drift, DriftFloor, RefGas, ZeroAvg, SpanAvg };

Rule RuleFor(const QString& keyword) {
  static const QHash<QString, Rule> Rules = [] {
    QHash<QString, Rule> rules;
    for (const char* k :
         {"ZEROFAILLOW60", "ZEROFAILHIGH60", "SPANFAILLOW60", "SPANFAILHIGH60", "FAILOOC60",
          "FAIL5DAYOOC60", "ZEROFAILLOW75", "ZEROFAILHIGH75", "SPANFAILLOW75", "SPANFAILHIGH75",
          "MANUAL", "FAILDAYSCOUNT60", "ZEROREFGAS"}) {
      rules.insert(QLatin1String(k), Rule::Zero);
    }
    rules.insert(QStringLiteral("ONLINE"), Rule::One);
    for (const char* k : {"INSTSPAN60", "INSTSPAN75"}) rules.insert(QLatin1String(k), Rule::Span);
    for (const char* k : {"DRIFTLIMIT60", "ZERODRIFTLIMIT60", "SPANDRIFTLIMIT60"}) {
      rules.insert(QLatin1String(k), Rule::Drift);
    }
    for (const char* k : {"DRIFTLIMIT75", "ZERODRIFTLIMIT75", "SPANDRIFTLIMIT75"}) {
      rules.insert(QLatin1String(k), Rule::DriftFloor);
    }
    rules.insert(QStringLiteral("SPANREFGAS"), Rule::RefGas);
    rules.insert(QStringLiteral("ZEROAVG"), Rule::ZeroAvg);
    rules.insert(QStringLiteral("SPANAVG"), Rule::SpanAvg);
    return rules;
  }();
  return Rules.value(keyword, Rule::None);
}

}  // namespace

CalHdrSpanTable CalHdrSpanTable::FromGrid(const CalHdrGrid& grid) {
  CalHdrSpanTable table;
  QSet<QString> seen;
  for (const CalHdrRow& row : grid) {
    if (row.prefix.isEmpty() || !IsNumeric(row.span) || seen.contains(row.prefix.toLower())) {
      continue;
    }
    seen.insert(row.prefix.toLower());
    table.entries_.emplace_back(row.prefix, SpanValue(row.span));
  }
  return table;
}

std::optional<Decimal> CalHdrSpanTable::SpanFor(const QString& channelName) const {
  for (const auto& [prefix, span] : entries_) {
    if (channelName.startsWith(prefix, Qt::CaseInsensitive)) {
      return span;
    }
  }
  return std::nullopt;
}

std::int32_t CalHdrInjectionTimes::Minutes(const QString& addressPrefix, int index) {
  static const std::array<QString, 4> Keys = {
      QStringLiteral("$ZEROSTART"), QStringLiteral("$ZEROEND"), QStringLiteral("$SPANSTART"),
      QStringLiteral("$SPANEND")};
  const QString group = addressPrefix.toLower();
  if (!cache_.contains(Keys[0] + group)) {
    const std::int32_t g = static_cast<std::int32_t>(cache_.size() / 4);
    const std::int32_t zeroStart = 390 + 10 * g;
    cache_.insert(Keys[0] + group, zeroStart);
    cache_.insert(Keys[1] + group, zeroStart + 4);
    cache_.insert(Keys[2] + group, zeroStart + 4);
    cache_.insert(Keys[3] + group, zeroStart + 8);
  }
  return cache_.value(Keys[static_cast<std::size_t>(index)] + group);
}

std::int32_t CalHdrDayNumber(const QString& address) {
  static const QString Open = QStringLiteral(".Days[");
  const qsizetype start = address.indexOf(Open, 0, Qt::CaseInsensitive);
  if (start < 0) {
    return -999;
  }
  const qsizetype from = start + Open.size();
  const qsizetype end = address.indexOf(QLatin1Char(']'), from);
  if (end < 0) {
    return -999;
  }
  const QString text = address.mid(from, end - from);
  if (!IsNumeric(text)) {
    return -999;
  }
  const std::optional<std::int32_t> day = ToInt32(text);
  if (!day) {
    ThrowOverflow();  // a number, but none a 32-bit day count holds
  }
  return *day;
}

std::optional<Decimal> CalHdrDriftLimit(const QString& name, const std::optional<Decimal>& span,
                                        bool withFloor) {
  if (!span) {
    return std::nullopt;
  }
  if (Has(name, "FLOW", Qt::CaseInsensitive)) {
    return Checked(*span * Factor().flowDrift);
  }
  if (Has(name, "SO2") || !Has(name, "O2")) {
    const Decimal limit = Checked(*span * Factor().drift);
    const bool floored = withFloor && (Has(name, "NOx", Qt::CaseInsensitive) ||
                                       Has(name, "SO2", Qt::CaseInsensitive));
    return floored && limit < Decimal(5) ? Decimal(5) : limit;
  }
  return Factor().fixedDrift;  // oxygen and CO2 channels
}

std::optional<Decimal> CalHdrSpanRefGas(const QString& name, const std::optional<Decimal>& span) {
  if (!span) {
    return std::nullopt;
  }
  if (Has(name, "FLOW", Qt::CaseInsensitive)) {
    return Checked(*span * Factor().flowRefGas);
  }
  if (Has(name, "O2") && !Has(name, "SO2") && !Has(name, "CO2")) {
    return Factor().air;  // air
  }
  return Checked(*span * Factor().refGas);
}

Decimal CalHdrZeroAverage(const std::optional<Decimal>& span, std::int32_t day) {
  if (!span || day < 0) {
    return {};
  }
  const Decimal days(static_cast<std::int64_t>(day) + 1);
  return Checked(Checked(*span * -Factor().dailyDrift) * days);
}

std::optional<Decimal> CalHdrSpanAverage(const QString& name, const std::optional<Decimal>& span,
                                         std::int32_t day) {
  std::optional<Decimal> refGas = CalHdrSpanRefGas(name, span);
  if (!refGas || !span || day < 0) {
    return refGas;
  }
  const Decimal days(static_cast<std::int64_t>(day) + 1);
  return Checked(*refGas + Checked(Checked(*span * Factor().dailyDrift) * days));
}

QDateTime CalHdrInjectionTime(const QDateTime& todayMidnight, std::int32_t day,
                              std::int32_t minutes) {
  if (day < 0) {
    return ZeroDateTime();
  }
  // Built from the date and the clock time rather than by adding seconds, so that a change to
  // or from summer time never moves the injection hour.
  const std::int64_t dayOffset = -(static_cast<std::int64_t>(day) + 1) + minutes / 1440;
  const QTime clock = QTime::fromMSecsSinceStartOfDay((minutes % 1440) * 60000);
  const QDate date = todayMidnight.date().addDays(dayOffset);
  // The system's dates run from the year 100 to 9999; a day number that leaves them overflows.
  if (!date.isValid() || date.year() < 100 || date.year() > 9999) {
    ThrowOverflow();
  }
  return {date, clock};
}

QString CalHdrChannelValue(const QString& name, const QString& address,
                           CalHdrChannelContext& context) {
  const QString keyword = AddressKeyword(address).toUpper();
  const std::optional<Decimal> span = context.spans.SpanFor(name);
  const std::int32_t day = CalHdrDayNumber(address);
  switch (RuleFor(keyword)) {
    case Rule::Zero:
      return QStringLiteral("0");
    case Rule::One:
      return QStringLiteral("1");
    case Rule::Span:
      return Text(span);
    case Rule::Drift:
      return Text(CalHdrDriftLimit(name, span, false));
    case Rule::DriftFloor:
      return Text(CalHdrDriftLimit(name, span, true));
    case Rule::RefGas:
      return Text(CalHdrSpanRefGas(name, span));
    case Rule::ZeroAvg:
      return Text(CalHdrZeroAverage(span, day));
    case Rule::SpanAvg:
      return Text(CalHdrSpanAverage(name, span, day));
    case Rule::None:
      break;
  }
  const auto [index, part] = TimeKeyword(keyword);
  if (index < 0) {
    return {};
  }
  const std::int32_t minutes = context.times.Minutes(AddressPrefix(address), index);
  return TimePart(CalHdrInjectionTime(context.todayMidnight, day, minutes), part);
}

}  // namespace telmon
