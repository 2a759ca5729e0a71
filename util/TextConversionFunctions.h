#pragma once

// The one place where text is tested for being numeric and converted to numbers and Booleans.
// The rules follow the system's loosely typed conversions: surrounding blanks are ignored,
// a sign, a decimal point and an exponent are allowed, and "&H"/"&O" prefix hexadecimal and
// octal integers. The decimal separator is always ".", and no grouping separators are read
// (a "," separates channel IDs in typed lists and must never make a number).

#include <QDateTime>
#include <QString>

#include <cstdint>
#include <optional>

namespace telmon {

bool IsNumeric(const QString& text);
// Numeric value of the text, or empty when it is not numeric or out of range of a double.
std::optional<double> ToDouble(const QString& text);
// Conversion to a 32-bit integer, rounding half to even like the system's conversions;
// empty when the text is not numeric or the value does not fit. "&H"/"&O" text is read as a
// 32-bit pattern: "&HFFFF" is 65535 and "&HFFFFFFFF" is -1.
std::optional<std::int32_t> ToInt32(const QString& text);
std::optional<std::int64_t> ToInt64(const QString& text);
// As ToInt32 for a 16-bit integer; "&H"/"&O" text is a 16-bit pattern here, so "&HFFFF" is -1
// and "&H10000" does not fit.
std::optional<std::int16_t> ToInt16(const QString& text);
// The words true/false in any case, or a number (non-zero is true); empty otherwise.
std::optional<bool> ToBoolean(const QString& text);
// "True" or "False", the Boolean's text as the list pages show it.
QString BooleanText(bool value);
// Date and time text as the program and the IOS write it: "yyyy-MM-dd", "yyyy-MM-dd HH:mm:ss"
// (also with "T"), or a time of day "HH:mm[:ss]", which gives a pure time on day zero.
std::optional<QDateTime> ToDateTime(const QString& text);

}  // namespace telmon
