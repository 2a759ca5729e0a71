#pragma once

#include <QString>

#include <cstdint>

namespace telmon {

// The one-operation message sink that every part of the program reports through.
// The main window implements it; tests collect messages in a vector.
class IRaiseMsg {
 public:
  virtual ~IRaiseMsg() = default;
  virtual void RaiseMsg(std::int32_t msgType, const QString& text) = 0;
};

// Message types the program raises about itself.
namespace MsgType {
inline constexpr std::int32_t Progress = 1;
inline constexpr std::int32_t Error = 4;
inline constexpr std::int32_t UnknownEvent = 8194;
inline constexpr std::int32_t PortLookup = 8196;
}  // namespace MsgType

}  // namespace telmon
