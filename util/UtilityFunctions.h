#pragma once

// Small stateless text and date helpers shared by every part of the program.

#include "util/Clock.h"
#include "util/Value.h"

#include <QDateTime>
#include <QLocale>
#include <QString>
#include <QStringList>

#include <cstdint>
#include <optional>

namespace telmon {

// The first n characters followed by "..." when the text is longer than n; otherwise the text.
QString TruncateForDisplay(const QString& text, int n);

// Escapes &, <, >, the double quote and the degree sign (in that order) for an attribute
// value written between double quotes; the apostrophe is left as it is.
QString EscapeXmlText(const QString& text);

// Text of the first "/DAHSID=" switch (in any case) in the command-line arguments; empty when
// the switch is missing.
std::optional<QString> FindDahsIdSwitch(const QStringList& arguments);
// The switch's value converted to a 32-bit integer. Throws TelmonError "Type mismatch" when the
// text is not a number and "Overflow" when it does not fit.
std::int32_t DahsIdFromSwitchText(const QString& text);
// Value of the "/DAHSID=" switch as a 32-bit integer; 0 when the switch is missing. Throws as
// DahsIdFromSwitchText for a value that is not a 32-bit integer.
std::int32_t ReadDahsIdSwitch(const QStringList& arguments);

// The current local date-time; parts that must be testable take it from their IClock.
QDateTime Now();
QDateTime Now(const IClock& clock);

// Null for an empty value, a numeric zero (numbers, false, text such as "0"), the zero
// date-time (also as text) and zero-length text; any other value unchanged.
Value NullIfZeroOrEmpty(const Value& value);
// Empty for null; any other value unchanged. Assigned to a number the empty value gives 0, to
// text "".
Value NullToEmpty(const Value& value);

// The system's time and date formats that the named styles refer to. FromLocale derives them
// from a locale: its long time format without time zone, the same without seconds as the
// short time, "hh:mm AP" as the medium time, and its short date format.
struct DateTimeFormats {
  QLocale locale;
  QString longTime;
  QString mediumTime;
  QString shortTime;
  QString shortDate;
  static DateTimeFormats FromLocale(const QLocale& locale);
};

// A date-time formatted by a numbered style: -3, 1 and 11 the long time, -2 the medium time,
// -1 the short time, 13 the short date; 2 and 12 the hour alone in the system's clock style;
// any other style the time without seconds in the system's clock style. Styles 10, 11 and 12
// put the short date and a blank in front. Style 10 is what the message log prints with.
QString FormatDateTimeStyle(const QDateTime& value, int style, const DateTimeFormats& formats);
QString FormatDateTimeStyle(const QDateTime& value, int style);

// Midnight of the value's day plus the largest whole number of periods (in seconds) that fits
// into the value's time of day; a period of a day or longer gives midnight. A period that is
// not positive leaves the value as it is.
QDateTime RoundDownToPeriod(const QDateTime& value, std::int64_t periodSeconds);

}  // namespace telmon
