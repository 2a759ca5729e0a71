#pragma once

// The value an operator typed into a value dialog, decided in a fixed order: the Null box,
// "&H" hexadecimal, an exact decimal, otherwise the text as typed.

#include "util/Decimal.h"
#include "util/Value.h"

#include <QString>

namespace telmon {

// The one-channel dialog reads "&H" text as a 32-bit pattern, the several-channels dialog as a
// 16-bit one (&HFFFF is 65535 in the first and -1 in the second).
enum class HexWidth { Bits32, Bits16 };

// Throws TelmonError: type mismatch for "&H" without hexadecimal digits, overflow for a
// pattern or a number beyond its type, invalid argument for text no command can carry.
Value DecideEnteredValue(bool nullChecked, const QString& text, HexWidth width);

// Null, or a value whose text is not blank.
bool IsValueGiven(const Value& value);

// Text as an exact decimal, as the system's decimal conversion reads it (also "&H"/"&O"
// integers). Throws TelmonError: type mismatch for text that is not a number, overflow beyond
// the decimal range.
Decimal DecimalFromText(const QString& text);

}  // namespace telmon
