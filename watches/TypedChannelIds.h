#pragma once

// Channel IDs as the operator types them in the add-channel dialog: pieces separated by ",",
// each a single ID, an ascending or descending range "first-last", or a unit piece whose "u"
// stands for every unit digit 1 to 9 ("u0007" is 1007, 2007, ..., 9007).
//
// The text is counted before anything is expanded, so "1-2000000000" costs a few bytes until
// the caller has asked the operator and decided the count is one it can hold.

#include <QString>

#include <cstdint>
#include <vector>

namespace telmon {

struct TypedChannelIds {
  enum class Status {
    Ok,        // ids holds every ID in order
    Invalid,   // a piece has an end below 1 or not numeric; invalidPiece names it
    Overflow,  // an end is numeric but does not fit a 32-bit integer
    TooMany,   // count is above the limit given; ids is empty
  };
  Status status = Status::Ok;
  QString invalidPiece;
  // How many IDs the text names, duplicates included (valid for Ok and TooMany).
  std::int64_t count = 0;
  std::vector<std::int32_t> ids;
};

// Parses the typed text; expands the IDs only when there are at most maxIds of them.
TypedChannelIds ParseTypedChannelIds(const QString& text, std::int64_t maxIds);

// The text with blanks (spaces only) removed at both ends.
QString TrimBlanks(const QString& text);

}  // namespace telmon
