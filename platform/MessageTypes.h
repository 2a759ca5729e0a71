#pragma once

// The table of message types: whether a type is a trace type, and its row colour.

#include "util/ColorRef.h"

#include <cstdint>

namespace telmon {

class MessageTypes {
 public:
  virtual ~MessageTypes() = default;
  virtual bool IsTraceType(std::int32_t msgType) const;
  // 0 means the default colour.
  virtual ColorRef Colour(std::int32_t msgType) const;
};

}  // namespace telmon
