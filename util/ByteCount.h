#pragma once

// Byte counts as operators type them: digits, optionally followed by K, M or G for binary
// multiples ("64K" is 65,536 bytes, "8M" 8,388,608).

#include <QString>
#include <QtGlobal>

namespace telmon {

// The count, or 0 when the text is not a positive byte count of at most 1 TiB.
qint64 ParseByteCount(const QString& text);

}  // namespace telmon
