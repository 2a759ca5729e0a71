#pragma once

// The privilege gate the program uses: one privilege service per check, initialised from the
// selected DAHS's settings, its messages passed to the message sink, released after the check.

#include "platform/PrivilegeGate.h"
#include "util/IRaiseMsg.h"

#include <QString>

namespace telmon {

class Prompter;
class IClock;

struct SecuritySettings {
  QString siteId;
  QString languageId;
  QString configConnection;
  QString alarmsConnection;
  QString programName;
  QString ownerId;
};

class SecurityPrivilegeGate final : public IPrivilegeGate {
 public:
  SecurityPrivilegeGate(Prompter& prompter, const IClock& clock, IRaiseMsg& sink,
                        SecuritySettings settings);

  std::optional<PrivilegeCheck> CheckPrivilege(int level) override;

 private:
  Prompter& prompter_;
  const IClock& clock_;
  IRaiseMsg& sink_;
  SecuritySettings settings_;
};

}  // namespace telmon
