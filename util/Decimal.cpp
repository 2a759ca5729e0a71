// GCC 12 reports a false -Wrestrict inside std::string as inlined into cpp_dec_float's text
// parser at -O3; it must be silenced before <string> is first seen.
#if defined(__GNUC__) && !defined(__clang__)
#pragma GCC diagnostic ignored "-Wrestrict"
#endif

#include "util/Decimal.h"

#include <QRegularExpression>

#include <boost/multiprecision/cpp_dec_float.hpp>

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <limits>
#include <memory>
#include <new>
#include <string>
#include <vector>

namespace telmon {

using Backend = boost::multiprecision::number<boost::multiprecision::cpp_dec_float<28>,
                                              boost::multiprecision::et_off>;

struct Decimal::Access {
  static Backend& Of(Decimal& d) { return *std::launder(reinterpret_cast<Backend*>(d.storage_)); }
  static const Backend& Of(const Decimal& d) {
    return *std::launder(reinterpret_cast<const Backend*>(d.storage_));
  }
  static Decimal Make(const Backend& v) {
    Decimal d;
    Of(d) = v;
    return d;
  }
};

namespace {

static_assert(sizeof(Backend) <= 48 && alignof(Backend) <= 8);

const Backend& Get(const Decimal& d) { return Decimal::Access::Of(d); }
Decimal Make(const Backend& v) { return Decimal::Access::Make(v); }

const QRegularExpression& DecimalTextPattern() {
  static const QRegularExpression re(
      QStringLiteral(R"(^([+-]?)(\d*)(?:\.(\d*))?(?:[eE]([+-]?\d+))?$)"));
  return re;
}

// Exponents beyond this are either far outside the decimal range or so small that the value is
// zero for every practical purpose; both are decided without building huge numbers.
constexpr long long ExponentLimit = 1000;

// Rounds a string of significant digits to `keep` digits, half to even, as the system rounds
// when a value carries more digits than its decimal type. Returns how many digits were dropped
// from the end; a carry out of the first digit turns "99..9" into "1". With nothing kept, the
// digits become "1" when they round up to one unit of the last kept place and empty otherwise.
long long RoundDigits(std::string& digits, long long keep) {
  const auto size = static_cast<long long>(digits.size());
  if (size <= keep) {
    return 0;
  }
  if (keep < 0) {
    digits.clear();
    return size;
  }
  const std::string dropped = digits.substr(static_cast<std::size_t>(keep));
  digits.resize(static_cast<std::size_t>(keep));
  const bool restNonZero = dropped.find_first_not_of('0', 1) != std::string::npos;
  const bool odd = !digits.empty() && ((digits.back() - '0') % 2) != 0;
  const bool up = dropped[0] > '5' || (dropped[0] == '5' && (restNonZero || odd));
  if (!up) {
    return size - keep;
  }
  for (auto it = digits.rbegin(); it != digits.rend(); ++it) {
    if (*it != '9') {
      ++*it;
      return size - keep;
    }
    *it = '0';
  }
  digits.insert(digits.begin(), '1');
  if (keep == 0) {
    return size;
  }
  digits.pop_back();
  return size - keep + 1;
}

// Decimal text as sign, significant digits without leading or trailing zeros, and the power of
// ten of the last digit.
struct Significand {
  std::string sign;
  std::string digits;
  long long exp10 = 0;
};

enum class TextKind { Invalid, Zero, TooLarge, Number };

TextKind ReadDecimalText(const QString& text, Significand& n) {
  const QRegularExpressionMatch m = DecimalTextPattern().match(text.trimmed());
  if (!m.hasMatch() || (m.capturedLength(2) == 0 && m.capturedLength(3) == 0)) {
    return TextKind::Invalid;
  }
  n.digits = (m.captured(2) + m.captured(3)).toStdString();
  const auto first = n.digits.find_first_not_of('0');
  if (first == std::string::npos) {
    return TextKind::Zero;
  }
  const QString expText = m.captured(4);
  bool expOk = true;
  const long long exponent = expText.isEmpty() ? 0 : expText.toLongLong(&expOk);
  if (!expOk || std::llabs(exponent) > ExponentLimit * 1000) {
    return expText.startsWith(QLatin1Char('-')) ? TextKind::Zero : TextKind::TooLarge;
  }
  n.sign = m.captured(1).toStdString();
  n.digits.erase(0, first);
  const auto last = n.digits.find_last_not_of('0');
  n.exp10 = exponent - m.capturedLength(3) + static_cast<long long>(n.digits.size() - last - 1);
  n.digits.resize(last + 1);
  return TextKind::Number;
}

// The coefficient of the system's decimal type: 96 bits.
constexpr char MaxCoefficient[] = "79228162514264337593543950335";
constexpr long long MaxScale = 28;

// Rounds the number to what the system's decimal type keeps: at most 29 significant digits, at
// most 28 of them after the point, and a coefficient that fits 96 bits (a 29-digit coefficient
// above it loses one more place after the point). False when the value rounds to zero.
bool FitDecimalType(Significand& n) {
  n.exp10 += RoundDigits(n.digits, Decimal::SignificantDigits);
  if (n.exp10 < -MaxScale) {
    const long long keep = static_cast<long long>(n.digits.size()) - (-MaxScale - n.exp10);
    n.exp10 += RoundDigits(n.digits, keep);
  }
  const std::string max = MaxCoefficient;
  if (n.exp10 < 0 && n.digits.size() == max.size() && n.digits > max) {
    n.exp10 += RoundDigits(n.digits, static_cast<long long>(max.size()) - 1);
  }
  const auto last = n.digits.find_last_not_of('0');
  if (last == std::string::npos) {
    return false;
  }
  n.exp10 += static_cast<long long>(n.digits.size() - last - 1);
  n.digits.resize(last + 1);
  return true;
}

// A result of arithmetic rounded as the decimal type keeps it; a magnitude beyond the type's
// range is left for the caller to refuse.
Decimal Fitted(const Backend& value) {
  if (value.is_zero()) {
    return {};
  }
  // Most results (every result of the cal HDR rules, say) already fit: no more places than the
  // 29 significant digits leave after the digits before the point, and at most 28. They are
  // taken as they are, without the round trip through text.
  static const std::vector<Backend> Powers = [] {
    std::vector<Backend> p{Backend(1)};
    for (int i = 1; i <= Decimal::SignificantDigits; ++i) {
      p.push_back(p.back() * 10);
    }
    return p;
  }();
  const Backend magnitude = boost::multiprecision::abs(value);
  int before = 1;  // digits before the point
  while (before < Decimal::SignificantDigits && magnitude >= Powers[before]) {
    ++before;
  }
  const auto places =
      static_cast<std::size_t>(std::min<long long>(MaxScale, Decimal::SignificantDigits - before));
  const Backend shifted = value * Powers[places];
  if (shifted == boost::multiprecision::trunc(shifted)) {
    return Make(value);
  }
  Significand n;
  const std::string text =
      value.str(std::numeric_limits<Backend>::max_digits10, std::ios_base::scientific);
  if (ReadDecimalText(QString::fromStdString(text), n) != TextKind::Number) {
    return Make(value);
  }
  if (!FitDecimalType(n)) {
    return {};
  }
  return Make(Backend(n.sign + n.digits + "e" + std::to_string(n.exp10)));
}

}  // namespace

Decimal::Decimal() { std::construct_at(reinterpret_cast<Backend*>(storage_)); }
Decimal::Decimal(const Decimal& other) {
  std::construct_at(reinterpret_cast<Backend*>(storage_), Get(other));
}
Decimal& Decimal::operator=(const Decimal& other) {
  if (this != &other) {
    Access::Of(*this) = Get(other);
  }
  return *this;
}
Decimal::~Decimal() { std::destroy_at(&Access::Of(*this)); }

Decimal::Decimal(std::int64_t value) {
  std::construct_at(reinterpret_cast<Backend*>(storage_), static_cast<long long>(value));
}

const Decimal& Decimal::MaxValue() {
  static const Decimal max = Make(Backend("79228162514264337593543950335"));
  return max;
}

std::optional<Decimal> Decimal::Parse(const QString& text) {
  Significand n;
  switch (ReadDecimalText(text, n)) {
    case TextKind::Invalid:
    case TextKind::TooLarge:
      return std::nullopt;
    case TextKind::Zero:
      return Decimal();
    case TextKind::Number:
      break;
  }
  if (!FitDecimalType(n)) {
    return Decimal();
  }
  const long long adjusted = n.exp10 + static_cast<long long>(n.digits.size()) - 1;
  if (adjusted > ExponentLimit) {
    return std::nullopt;
  }
  Decimal result = Make(Backend(n.sign + n.digits + "e" + std::to_string(n.exp10)));
  if (boost::multiprecision::abs(Get(result)) > Get(MaxValue())) {
    return std::nullopt;
  }
  return result;
}

std::optional<Decimal> Decimal::FromDouble(double value) {
  if (!std::isfinite(value)) {
    return std::nullopt;
  }
  char buffer[64];
  std::snprintf(buffer, sizeof buffer, "%.14e", value);
  return Parse(QString::fromLatin1(buffer));
}

QString Decimal::ToText() const {
  if (IsZero()) {
    return QStringLiteral("0");
  }
  return PlainTextFromScientific(Get(*this).str(SignificantDigits - 1, std::ios_base::scientific));
}

double Decimal::ToDouble() const { return Get(*this).convert_to<double>(); }

std::optional<std::int64_t> Decimal::ToInt64() const {
  const Backend& value = Get(*this);
  const Backend lower = boost::multiprecision::floor(value);
  const Backend fraction = value - lower;
  Backend rounded = lower;
  if (fraction > Backend(0.5) ||
      (fraction == Backend(0.5) && boost::multiprecision::fmod(lower, Backend(2)) != 0)) {
    rounded += 1;
  }
  static const Backend min(std::numeric_limits<long long>::min());
  static const Backend max(std::numeric_limits<long long>::max());
  if (rounded < min || rounded > max) {
    return std::nullopt;
  }
  return static_cast<std::int64_t>(rounded.convert_to<long long>());
}

bool Decimal::IsZero() const { return Get(*this).is_zero(); }

Decimal operator+(const Decimal& a, const Decimal& b) { return Fitted(Get(a) + Get(b)); }
Decimal operator-(const Decimal& a, const Decimal& b) { return Fitted(Get(a) - Get(b)); }
Decimal operator*(const Decimal& a, const Decimal& b) { return Fitted(Get(a) * Get(b)); }
Decimal operator-(const Decimal& a) { return Make(-Get(a)); }
bool operator==(const Decimal& a, const Decimal& b) { return Get(a) == Get(b); }

std::optional<Decimal> Divide(const Decimal& a, const Decimal& b) {
  if (b.IsZero()) {
    return std::nullopt;
  }
  return Fitted(Get(a) / Get(b));
}

std::strong_ordering operator<=>(const Decimal& a, const Decimal& b) {
  if (Get(a) < Get(b)) {
    return std::strong_ordering::less;
  }
  if (Get(b) < Get(a)) {
    return std::strong_ordering::greater;
  }
  return std::strong_ordering::equal;
}

QString PlainTextFromScientific(const std::string& scientific) {
  const auto ePos = scientific.find_first_of("eE");
  const std::string mantissa = scientific.substr(0, ePos);
  const long long exponent =
      ePos == std::string::npos ? 0 : std::stoll(scientific.substr(ePos + 1));
  const bool negative = !mantissa.empty() && mantissa[0] == '-';
  std::string digits;
  long long pointPos = -1;  // digits before the decimal point
  for (const char c : mantissa) {
    if (c >= '0' && c <= '9') {
      digits.push_back(c);
    } else if (c == '.') {
      pointPos = static_cast<long long>(digits.size());
    }
  }
  if (pointPos < 0) {
    pointPos = static_cast<long long>(digits.size());
  }
  const auto first = digits.find_first_not_of('0');
  if (first == std::string::npos) {
    return QStringLiteral("0");
  }
  digits.erase(0, first);
  pointPos += exponent - static_cast<long long>(first);
  digits.resize(digits.find_last_not_of('0') + 1);
  const auto count = static_cast<long long>(digits.size());
  std::string out = negative ? "-" : "";
  if (pointPos <= 0) {
    out += "0." + std::string(static_cast<std::size_t>(-pointPos), '0') + digits;
  } else if (pointPos >= count) {
    out += digits + std::string(static_cast<std::size_t>(pointPos - count), '0');
  } else {
    out += digits.substr(0, static_cast<std::size_t>(pointPos)) + "." +
           digits.substr(static_cast<std::size_t>(pointPos));
  }
  return QString::fromStdString(out);
}

}  // namespace telmon
