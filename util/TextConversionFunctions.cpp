#include "util/TextConversionFunctions.h"

#include "util/Decimal.h"
#include "util/Value.h"

#include <QRegularExpression>

#include <cmath>
#include <limits>

namespace telmon {

namespace {

const QRegularExpression& DecimalPattern() {
  static const QRegularExpression re(QStringLiteral(R"(^[+-]?(\d+\.?\d*|\.\d+)([eE][+-]?\d+)?$)"));
  return re;
}

// "&H1F" or "&O17" (case-insensitive) as an integer of the given width: the system reads the
// digits as a bit pattern of that width, so with 32 bits &HFFFFFFFF is -1 and with 16 bits
// &HFFFF is -1; a pattern wider than the width does not convert.
std::optional<std::int64_t> RadixValue(const QString& t, int bits) {
  if (t.size() < 3 || t[0] != QLatin1Char('&')) {
    return std::nullopt;
  }
  const QChar kind = t[1].toUpper();
  const int base = kind == QLatin1Char('H') ? 16 : kind == QLatin1Char('O') ? 8 : 0;
  const QString digits = t.mid(2);
  if (base == 0 || digits.size() > 24 || !digits.front().isLetterOrNumber()) {
    return std::nullopt;
  }
  bool ok = false;
  const qulonglong v = digits.toULongLong(&ok, base);
  const qulonglong limit = (1ULL << bits) - 1;
  if (!ok || v > limit) {
    return std::nullopt;
  }
  const qulonglong signBit = 1ULL << (bits - 1);
  if ((v & signBit) != 0) {
    return static_cast<std::int64_t>(v) - static_cast<std::int64_t>(limit) - 1;
  }
  return static_cast<std::int64_t>(v);
}

template <typename Int>
std::optional<Int> Narrow(std::optional<std::int64_t> v) {
  if (!v || *v < std::numeric_limits<Int>::min() || *v > std::numeric_limits<Int>::max()) {
    return std::nullopt;
  }
  return static_cast<Int>(*v);
}

// Decimal text goes through an exact decimal so that integers beyond 2^53 keep every digit.
std::optional<std::int64_t> DecimalTextToInt64(const QString& t) {
  if (!DecimalPattern().match(t).hasMatch()) {
    return std::nullopt;
  }
  const auto d = Decimal::Parse(t);
  return d ? d->ToInt64() : std::nullopt;
}

}  // namespace

bool IsNumeric(const QString& text) { return ToDouble(text).has_value(); }

std::optional<double> ToDouble(const QString& text) {
  const QString t = text.trimmed();
  if (t.isEmpty()) {
    return std::nullopt;
  }
  if (auto r = RadixValue(t, 32)) {
    return static_cast<double>(*r);
  }
  if (!DecimalPattern().match(t).hasMatch()) {
    return std::nullopt;
  }
  bool ok = false;
  const double v = t.toDouble(&ok);
  if (ok && std::isfinite(v)) {
    return v;
  }
  // A value too small for a double is numeric and reads as zero; one too large is not.
  if (const auto d = Decimal::Parse(t); d && std::abs(d->ToDouble()) < 1.0) {
    return 0.0;
  }
  return std::nullopt;
}

std::optional<std::int64_t> ToInt64(const QString& text) {
  const QString t = text.trimmed();
  if (auto r = RadixValue(t, 32)) {
    return r;
  }
  return DecimalTextToInt64(t);
}

std::optional<std::int32_t> ToInt32(const QString& text) {
  return Narrow<std::int32_t>(ToInt64(text));
}

std::optional<std::int16_t> ToInt16(const QString& text) {
  const QString t = text.trimmed();
  if (t.startsWith(QLatin1Char('&'))) {
    return Narrow<std::int16_t>(RadixValue(t, 16));
  }
  return Narrow<std::int16_t>(DecimalTextToInt64(t));
}

std::optional<bool> ToBoolean(const QString& text) {
  const QString t = text.trimmed();
  if (t.compare(QLatin1String("true"), Qt::CaseInsensitive) == 0) {
    return true;
  }
  if (t.compare(QLatin1String("false"), Qt::CaseInsensitive) == 0) {
    return false;
  }
  if (const auto d = ToDouble(t)) {
    return *d != 0.0;
  }
  return std::nullopt;
}

QString BooleanText(bool value) { return value ? QStringLiteral("True") : QStringLiteral("False"); }

std::optional<QDateTime> ToDateTime(const QString& text) {
  const QString t = text.trimmed();
  for (const char* format : {"yyyy-MM-dd HH:mm:ss", "yyyy-MM-ddTHH:mm:ss", "yyyy-MM-dd HH:mm"}) {
    const QDateTime dt = QDateTime::fromString(t, QLatin1String(format));
    if (dt.isValid()) {
      return dt;
    }
  }
  if (const QDate d = QDate::fromString(t, QStringLiteral("yyyy-MM-dd")); d.isValid()) {
    return QDateTime(d, QTime(0, 0));
  }
  for (const char* format : {"H:mm:ss", "H:mm"}) {
    const QTime time = QTime::fromString(t, QLatin1String(format));
    if (time.isValid()) {
      return QDateTime(ZeroDate(), time);
    }
  }
  return std::nullopt;
}

}  // namespace telmon
