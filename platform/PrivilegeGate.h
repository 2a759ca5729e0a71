#pragma once

#include "platform/SecurityService.h"

#include <optional>

namespace telmon {

// One interactive privilege check: creates and initialises a security object with the selected
// DAHS's settings, asks for `level`, and releases the object. Empty when the security service
// cannot be used (the caller reports its own "can't use security" text).
class IPrivilegeGate {
 public:
  virtual ~IPrivilegeGate() = default;
  virtual std::optional<PrivilegeCheck> CheckPrivilege(int level) = 0;
};

}  // namespace telmon
