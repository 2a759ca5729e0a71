#pragma once

// Edit mode: off at start-up; switching it on needs privilege level 250 from the privilege
// service; switching it off offers to put devices in random mode back to polling.

#include "platform/PrivilegeGate.h"
#include "platform/Prompter.h"
#include "util/IRaiseMsg.h"
#include "views/IEditGate.h"

#include <QObject>

#include <functional>

namespace telmon {

class EditModeController : public QObject, public IEditGate {
  Q_OBJECT

 public:
  struct DeviceHooks {
    std::function<bool()> anyDevicesInRandomMode;
    std::function<void()> setAllDevicesToPolling;
  };

  EditModeController(Prompter& prompter, IPrivilegeGate& gate, IRaiseMsg& sink,
                     QString programTitle, DeviceHooks hooks, QObject* parent = nullptr);

  bool EditsAllowed() const override { return editsAllowed_; }
  // The account that switched edit mode on; empty while it is off.
  const QString& EditAccount() const { return account_; }
  bool AskWhetherUserWantsToEnableEditing() override;
  // Switches edit mode; returns true when the operator cancelled the switch.
  bool SetEditMode(bool on);
  // What the menu item "Allow &Edits" does.
  void Toggle() { SetEditMode(!editsAllowed_); }

  static constexpr int EditPrivilegeLevel = 250;

 Q_SIGNALS:
  // Emitted after every switch attempt with the mode as it then stands.
  void EditModeChanged(bool editsAllowed);

 private:
  void SwitchOn();
  bool SwitchOff();

  Prompter& prompter_;
  IPrivilegeGate& gate_;
  IRaiseMsg& sink_;
  QString title_;
  DeviceHooks hooks_;
  bool editsAllowed_ = false;
  QString account_;
};

}  // namespace telmon
