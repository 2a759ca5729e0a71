#pragma once

// Small stateless text and date helpers shared by every part of the program.

#include <QDateTime>
#include <QString>
#include <QStringList>

#include <cstdint>

namespace telmon {

// The first n characters followed by "..." when the text is longer than n; otherwise the text.
QString TruncateForDisplay(const QString& text, int n);

// Escapes &, <, >, the double quote and the degree sign (in that order) for an attribute
// value written between double quotes; the apostrophe is left as it is.
QString EscapeXmlText(const QString& text);

// Value of the "/DAHSID=" switch in the command-line arguments as a 32-bit integer; 0 when the
// switch is missing or its value is not a number.
std::int32_t ReadDahsIdSwitch(const QStringList& arguments);

}  // namespace telmon
