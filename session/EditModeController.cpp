#include "session/EditModeController.h"

#include <utility>

namespace telmon {

EditModeController::EditModeController(Prompter& prompter, IPrivilegeGate& gate, IRaiseMsg& sink,
                                       QString programTitle, DeviceHooks hooks, QObject* parent)
    : QObject(parent),
      prompter_(prompter),
      gate_(gate),
      sink_(sink),
      title_(std::move(programTitle)),
      hooks_(std::move(hooks)) {}

bool EditModeController::AskWhetherUserWantsToEnableEditing() {
  if (editsAllowed_) {
    return true;
  }
  const PromptAnswer answer =
      prompter_.Ask({QStringLiteral("Edits are not enabled. Do you want to enable edits now?"),
                     title_, PromptIcon::Exclamation, PromptButtons::YesNo, std::nullopt});
  if (answer == PromptAnswer::Yes) {
    Toggle();
  }
  return editsAllowed_;
}

bool EditModeController::SetEditMode(bool on) {
  bool cancelled = false;
  if (on) {
    SwitchOn();
  } else {
    cancelled = SwitchOff();
  }
  Q_EMIT EditModeChanged(editsAllowed_);
  return cancelled;
}

void EditModeController::SwitchOn() {
  const std::optional<PrivilegeCheck> check = gate_.CheckPrivilege(EditPrivilegeLevel);
  if (!check) {
    sink_.RaiseMsg(MsgType::Error, QStringLiteral("TELM-0059: can't use security"));
    return;
  }
  if (check->granted()) {
    editsAllowed_ = true;
    account_ = check->account;
  }
}

bool EditModeController::SwitchOff() {
  if (hooks_.anyDevicesInRandomMode && hooks_.anyDevicesInRandomMode()) {
    const PromptAnswer answer =
        prompter_.Ask({QStringLiteral("Do you want to set all devices back to polling mode?"),
                       title_, PromptIcon::Question, PromptButtons::YesNoCancel, std::nullopt});
    if (answer == PromptAnswer::Cancel) {
      return true;
    }
    if (answer == PromptAnswer::Yes && hooks_.setAllDevicesToPolling) {
      hooks_.setAllDevicesToPolling();
    }
  }
  editsAllowed_ = false;
  account_.clear();
  return false;
}

}  // namespace telmon
