#pragma once

// Channel and block IDs as the program hands them around: numbers in order, duplicates as
// given. Text forms exist only where the IDs meet a text: the add-channel dialog's result
// (";"), a watch row's key and tag ("<id>C"), tag files and saved lists.

#include <QChar>
#include <QString>

#include <cstdint>
#include <vector>

namespace telmon {

using IdList = std::vector<std::int32_t>;

// "<id>C": a channel's realtime point, and the key and tag of its watch row.
QString ChannelIoid(std::int32_t id);

// The IDs in decimal joined by `separator`, no blanks, nothing after the last.
QString JoinIdList(const IdList& ids, QChar separator);

// The IDs of a ";" list text, in order: numeric entries are taken, others skipped. Reading
// stops at the first numeric entry that does not fit a 32-bit integer; `overflow` says so, and
// `ids` holds the entries before it.
struct IdListText {
  IdList ids;
  bool overflow = false;
};
IdListText ParseIdListText(const QString& text);

}  // namespace telmon
