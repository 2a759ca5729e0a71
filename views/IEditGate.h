#pragma once

namespace telmon {

// Edit mode as the protected operations see it; the main window implements it.
class IEditGate {
 public:
  virtual ~IEditGate() = default;
  virtual bool EditsAllowed() const = 0;
  // Asks "Edits are not enabled. Do you want to enable edits now?" when edit mode is off and
  // runs the privilege check on Yes; returns the edit mode as it then stands.
  virtual bool AskWhetherUserWantsToEnableEditing() = 0;
};

}  // namespace telmon
