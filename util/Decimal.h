#pragma once

// Exact decimal numbers as the system keeps typed-in values and wave limits: decimal text is
// read digit by digit (never through a binary double), the range and precision are those of
// the system's decimal type (a 96-bit coefficient with at most 28 digits after the point; text
// and results with more are rounded half to even), and the text form is plain (no exponent, no
// trailing zeros).

#include <QString>

#include <compare>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>

namespace telmon {

// The arithmetic is Boost.Multiprecision's cpp_dec_float, held in place but kept out of this
// header so that its templates are compiled once.
class Decimal {
 public:
  // 29 significant digits are kept exactly, enough for every value of the system's decimal
  // type; the backend carries guard digits beyond them.
  static constexpr int SignificantDigits = 29;

  Decimal();  // zero
  Decimal(const Decimal& other);
  Decimal& operator=(const Decimal& other);
  ~Decimal();
  // Implicit on purpose: integers convert exactly.
  Decimal(std::int64_t value);
  Decimal(int value) : Decimal(static_cast<std::int64_t>(value)) {}

  // Decimal text with optional blanks around it, a sign, a decimal point and an exponent
  // ("12", "-0.5", ".25", "1.5E3"); empty for anything else or beyond the decimal range.
  static std::optional<Decimal> Parse(const QString& text);
  // The value of a double as the system converts it: rounded to 15 significant digits, so
  // 0.1 becomes exactly 0.1; empty for NaN, infinities and values beyond the decimal range.
  static std::optional<Decimal> FromDouble(double value);
  // Largest magnitude the system's decimal type holds: 79228162514264337593543950335.
  static const Decimal& MaxValue();

  // Plain decimal text: "-" when negative, no exponent, no trailing zeros, "0" for zero.
  QString ToText() const;
  double ToDouble() const;
  // Rounded half to even like the system's integer conversions; empty when out of range.
  std::optional<std::int64_t> ToInt64() const;
  bool IsZero() const;

  friend Decimal operator+(const Decimal& a, const Decimal& b);
  friend Decimal operator-(const Decimal& a, const Decimal& b);
  friend Decimal operator*(const Decimal& a, const Decimal& b);
  // Division by zero yields empty rather than an infinity the decimal type cannot hold.
  friend std::optional<Decimal> Divide(const Decimal& a, const Decimal& b);
  friend Decimal operator-(const Decimal& a);
  friend bool operator==(const Decimal& a, const Decimal& b);
  friend std::strong_ordering operator<=>(const Decimal& a, const Decimal& b);

  // Defined only where the backend is known.
  struct Access;

 private:
  alignas(8) std::byte storage_[48]{};
};

// Writes a number given as significant digits and a power of ten in plain decimal notation.
// `scientific` is the text of a C++ scientific conversion ("-1.2345e-07"); leading and trailing
// zeros of the digits are dropped, so the result is the shortest plain text of the value.
QString PlainTextFromScientific(const std::string& scientific);

}  // namespace telmon
