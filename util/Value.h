#pragma once

// The program's loosely typed value: what an attribute, a dialog entry or a database field
// holds before it is assigned to a typed field. It distinguishes "no value yet" (empty) from
// "deliberately no value" (null), as the system's conversions do.

#include "util/Decimal.h"

#include <QDate>
#include <QDateTime>
#include <QString>

#include <cstdint>
#include <optional>
#include <variant>

namespace telmon {

// Day zero of the system's date-time values: a date-time on this day is a pure time of day.
inline QDate ZeroDate() { return {1899, 12, 30}; }
inline QDateTime ZeroDateTime() { return {ZeroDate(), QTime(0, 0)}; }

class Value {
 public:
  enum class Kind { Empty, Null, Integer, Floating, Decimal, DateTime, Boolean, Text };

  Value() = default;  // empty
  static Value Null() { return Value(NullTag{}); }
  // A time of day without a date, kept on day zero.
  static Value Time(const QTime& time) { return Value(QDateTime(ZeroDate(), time)); }

  // Implicit on purpose: a value is built from whatever it holds.
  Value(int v) : data_(static_cast<std::int64_t>(v)) {}
  Value(std::int64_t v) : data_(v) {}
  Value(double v) : data_(v) {}
  Value(const telmon::Decimal& v) : data_(v) {}
  Value(const QDateTime& v) : data_(v) {}
  Value(bool v) : data_(v) {}
  Value(const QString& v) : data_(v) {}
  Value(const char* v) : data_(QString::fromUtf8(v)) {}

  Kind kind() const { return static_cast<Kind>(data_.index()); }
  bool IsEmpty() const { return kind() == Kind::Empty; }
  bool IsNull() const { return kind() == Kind::Null; }
  // True for numbers, Booleans (whose true is -1) and text that reads as a number.
  bool IsNumeric() const;

  // Direct access; each requires the matching kind.
  std::int64_t integer() const { return std::get<std::int64_t>(data_); }
  double floating() const { return std::get<double>(data_); }
  const telmon::Decimal& decimal() const { return std::get<telmon::Decimal>(data_); }
  const QDateTime& dateTime() const { return std::get<QDateTime>(data_); }
  bool boolean() const { return std::get<bool>(data_); }
  const QString& text() const { return std::get<QString>(data_); }

  // Conversions as an assignment to a typed field performs them: empty gives 0 or "", null and
  // text that is not a number give no value, true is -1, fractions round half to even.
  std::optional<std::int64_t> ToInt64() const;
  std::optional<std::int32_t> ToInt32() const;
  std::optional<double> ToDouble() const;
  // The ordinary text form: "" for empty and null, decimal digits for integers, 15 significant
  // digits for floating values written out in full (never an exponent), plain text for decimals,
  // "True"/"False", and dates as "yyyy-MM-dd HH:mm:ss" (a pure time as "HH:mm:ss", a midnight as
  // "yyyy-MM-dd").
  QString ToText() const;

  friend bool operator==(const Value& a, const Value& b);

 private:
  struct EmptyTag {
    friend bool operator==(EmptyTag, EmptyTag) { return true; }
  };
  struct NullTag {
    friend bool operator==(NullTag, NullTag) { return true; }
  };
  explicit Value(NullTag tag) : data_(tag) {}

  // The order of the alternatives is the order of Kind.
  std::variant<EmptyTag, NullTag, std::int64_t, double, telmon::Decimal, QDateTime, bool, QString>
      data_;
};

// A double to 15 significant digits in plain decimal notation: 1E-07 is "0.0000001", 1E+20 is
// "100000000000000000000"; infinities and NaN keep their names.
QString FloatingText(double value);

// Date-time text for attributes and messages: a pure time as "HH:mm:ss", a value whose time of
// day is midnight (to the second) as "yyyy-MM-dd", anything else as "yyyy-MM-dd HH:mm:ss".
QString DateTimeText(const QDateTime& value);

}  // namespace telmon
