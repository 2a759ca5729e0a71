#include "util/TextConversionFunctions.h"

#include <QRegularExpression>

#include <cmath>
#include <limits>

namespace telmon {

namespace {

const QRegularExpression& DecimalPattern() {
  static const QRegularExpression re(QStringLiteral(R"(^[+-]?(\d+\.?\d*|\.\d+)([eE][+-]?\d+)?$)"));
  return re;
}

// "&H1F" or "&O17" (case-insensitive) as an integer; the system reads 1 to 8 hex digits as a
// 32-bit pattern, so &HFFFFFFFF is -1.
std::optional<std::int64_t> RadixValue(const QString& t) {
  if (t.size() < 3 || t[0] != QLatin1Char('&')) {
    return std::nullopt;
  }
  const QChar kind = t[1].toUpper();
  const int base = kind == QLatin1Char('H') ? 16 : kind == QLatin1Char('O') ? 8 : 0;
  if (base == 0) {
    return std::nullopt;
  }
  const QString digits = t.mid(2);
  if (digits.size() > (base == 16 ? 8 : 11)) {
    return std::nullopt;
  }
  bool ok = false;
  const qulonglong v = digits.toULongLong(&ok, base);
  if (!ok || v > 0xFFFFFFFFULL) {
    return std::nullopt;
  }
  if (v > 0x7FFFFFFFULL) {
    return static_cast<std::int64_t>(static_cast<std::int32_t>(static_cast<std::uint32_t>(v)));
  }
  return static_cast<std::int64_t>(v);
}

}  // namespace

bool IsNumeric(const QString& text) { return ToDouble(text).has_value(); }

std::optional<double> ToDouble(const QString& text) {
  const QString t = text.trimmed();
  if (t.isEmpty()) {
    return std::nullopt;
  }
  if (auto r = RadixValue(t)) {
    return static_cast<double>(*r);
  }
  if (!DecimalPattern().match(t).hasMatch()) {
    return std::nullopt;
  }
  bool ok = false;
  const double v = t.toDouble(&ok);
  if (!ok || !std::isfinite(v)) {
    return std::nullopt;
  }
  return v;
}

std::optional<std::int64_t> ToInt64(const QString& text) {
  const auto d = ToDouble(text);
  if (!d) {
    return std::nullopt;
  }
  const double r = std::nearbyint(*d);  // default rounding mode: half to even
  if (r < -9.2233720368547758e18 || r >= 9.2233720368547758e18) {
    return std::nullopt;
  }
  return static_cast<std::int64_t>(r);
}

std::optional<std::int32_t> ToInt32(const QString& text) {
  const auto v = ToInt64(text);
  if (!v || *v < std::numeric_limits<std::int32_t>::min() ||
      *v > std::numeric_limits<std::int32_t>::max()) {
    return std::nullopt;
  }
  return static_cast<std::int32_t>(*v);
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

QString BooleanText(bool value) {
  return value ? QStringLiteral("True") : QStringLiteral("False");
}

}  // namespace telmon
