#pragma once

// The one place where text is tested for being numeric and converted to numbers and Booleans.
// The rules follow the system's loosely typed conversions: surrounding blanks are ignored,
// a sign, a decimal point and an exponent are allowed, and "&H"/"&O" prefix hexadecimal and
// octal integers.

#include <QString>

#include <cstdint>
#include <optional>

namespace telmon {

bool IsNumeric(const QString& text);
// Numeric value of the text, or empty when it is not numeric or out of range of a double.
std::optional<double> ToDouble(const QString& text);
// Conversion to a 32-bit integer, rounding half to even like the system's conversions;
// empty when the text is not numeric or the value does not fit.
std::optional<std::int32_t> ToInt32(const QString& text);
std::optional<std::int64_t> ToInt64(const QString& text);
// The words true/false in any case, or a number (non-zero is true); empty otherwise.
std::optional<bool> ToBoolean(const QString& text);
// "True" or "False", the Boolean's text as the list pages show it.
QString BooleanText(bool value);

}  // namespace telmon
