#include "platform/MessageTypes.h"

#include <array>

namespace telmon {

namespace {

struct MessageTypeEntry {
  std::int32_t type;
  bool trace;
  ColorRef colour;  // 0x00BBGGRR; 0 = the list's default text colour
};

constexpr ColorRef DarkRed = 0x000000C0;
constexpr ColorRef DarkOrange = 0x000060C0;
constexpr ColorRef Grey = 0x00808080;
constexpr ColorRef Purple = 0x00800080;

// Types the monitor raises itself (1, 4, 8194, 8196) and the types the I/O server sends in
// its "Message" events (1 information, 2 warning, 4 error, 8 and 16 trace). Any other type
// is shown in the default colour and is never treated as trace.
constexpr std::array<MessageTypeEntry, 7> Table = {{
    {1, false, 0},
    {2, false, DarkOrange},
    {4, false, DarkRed},
    {8, true, Grey},
    {16, true, Grey},
    {8194, false, Purple},
    {8196, false, DarkOrange},
}};

const MessageTypeEntry* Find(std::int32_t msgType) {
  for (const MessageTypeEntry& entry : Table) {
    if (entry.type == msgType) {
      return &entry;
    }
  }
  return nullptr;
}

}  // namespace

bool MessageTypes::IsTraceType(std::int32_t msgType) const {
  const MessageTypeEntry* entry = Find(msgType);
  return entry != nullptr && entry->trace;
}

ColorRef MessageTypes::Colour(std::int32_t msgType) const {
  const MessageTypeEntry* entry = Find(msgType);
  return entry != nullptr ? entry->colour : 0;
}

}  // namespace telmon
