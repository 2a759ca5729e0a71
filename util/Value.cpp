#include "util/Value.h"

#include "util/TextConversionFunctions.h"

#include <cmath>
#include <cstdio>
#include <limits>

namespace telmon {

namespace {

std::optional<std::int64_t> RoundToInt64(double v) {
  const double r = std::nearbyint(v);  // default rounding mode: half to even
  if (!std::isfinite(r) || r < -9.2233720368547758e18 || r >= 9.2233720368547758e18) {
    return std::nullopt;
  }
  return static_cast<std::int64_t>(r);
}

}  // namespace

QString FloatingText(double value) {
  if (!std::isfinite(value)) {
    return QString::number(value);
  }
  // 15 significant digits, as the system converts a double to text, written out in full.
  char buffer[64];
  std::snprintf(buffer, sizeof buffer, "%.14e", value);
  return PlainTextFromScientific(buffer);
}

QString DateTimeText(const QDateTime& value) {
  const QTime t = value.time();
  if (value.date() == ZeroDate()) {
    return t.toString(QStringLiteral("HH:mm:ss"));
  }
  if (t.hour() == 0 && t.minute() == 0 && t.second() == 0) {
    return value.date().toString(QStringLiteral("yyyy-MM-dd"));
  }
  return value.toString(QStringLiteral("yyyy-MM-dd HH:mm:ss"));
}

bool Value::IsNumeric() const {
  switch (kind()) {
    case Kind::Integer:
    case Kind::Floating:
    case Kind::Decimal:
    case Kind::Boolean:
      return true;
    case Kind::Text:
      return telmon::IsNumeric(text());
    default:
      return false;
  }
}

std::optional<std::int64_t> Value::ToInt64() const {
  switch (kind()) {
    case Kind::Empty:
      return 0;
    case Kind::Integer:
      return integer();
    case Kind::Floating:
      return RoundToInt64(floating());
    case Kind::Decimal:
      return decimal().ToInt64();
    case Kind::Boolean:
      return boolean() ? -1 : 0;
    case Kind::Text:
      return telmon::ToInt64(text());
    default:
      return std::nullopt;
  }
}

std::optional<std::int32_t> Value::ToInt32() const {
  const auto v = ToInt64();
  if (!v || *v < std::numeric_limits<std::int32_t>::min() ||
      *v > std::numeric_limits<std::int32_t>::max()) {
    return std::nullopt;
  }
  return static_cast<std::int32_t>(*v);
}

std::optional<double> Value::ToDouble() const {
  switch (kind()) {
    case Kind::Empty:
      return 0.0;
    case Kind::Integer:
      return static_cast<double>(integer());
    case Kind::Floating:
      return floating();
    case Kind::Decimal:
      return decimal().ToDouble();
    case Kind::Boolean:
      return boolean() ? -1.0 : 0.0;
    case Kind::Text:
      return telmon::ToDouble(text());
    default:
      return std::nullopt;
  }
}

QString Value::ToText() const {
  switch (kind()) {
    case Kind::Integer:
      return QString::number(integer());
    case Kind::Floating:
      return FloatingText(floating());
    case Kind::Decimal:
      return decimal().ToText();
    case Kind::DateTime:
      return DateTimeText(dateTime());
    case Kind::Boolean:
      return BooleanText(boolean());
    case Kind::Text:
      return text();
    default:
      return {};
  }
}

bool operator==(const Value& a, const Value& b) { return a.data_ == b.data_; }

}  // namespace telmon
