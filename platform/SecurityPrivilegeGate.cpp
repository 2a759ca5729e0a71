#include "platform/SecurityPrivilegeGate.h"

#include "platform/SecurityService.h"

namespace telmon {

SecurityPrivilegeGate::SecurityPrivilegeGate(Prompter& prompter, const IClock& clock,
                                             IRaiseMsg& sink, SecuritySettings settings)
    : prompter_(prompter), clock_(clock), sink_(sink), settings_(std::move(settings)) {}

std::optional<PrivilegeCheck> SecurityPrivilegeGate::CheckPrivilege(int level) {
  SecurityService service(prompter_, clock_);
  QObject::connect(&service, &SecurityService::Message, &service,
                   [this](std::int32_t type, const QString& text) { sink_.RaiseMsg(type, text); });
  if (!service.Initialise(settings_.siteId, settings_.languageId, settings_.configConnection,
                          settings_.alarmsConnection, settings_.programName, settings_.ownerId)) {
    return std::nullopt;
  }
  return service.CheckPrivilege(level, true);
}

}  // namespace telmon
