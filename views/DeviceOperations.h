#pragma once

// What the eight buttons of the Devices page do: check the selection, pass the edit or
// privilege gate, ask what must be asked, then let the device manager send the command. No
// button waits for the IOS; its answer arrives as later device updates.

#include "journal/JournaledSender.h"
#include "platform/PrivilegeGate.h"
#include "platform/Prompter.h"
#include "util/IRaiseMsg.h"
#include "views/DeviceListviewManager.h"
#include "views/IEditGate.h"

#include <QString>

namespace telmon {

// Captions and tool tips of the device buttons; the double blanks are part of the texts.
namespace DeviceButtonTexts {
inline constexpr char RandomAllCaption[] = "Random Values (all)";
inline constexpr char RandomAllToolTip[] = "Change all devices to random mode  (password required)";
inline constexpr char PollAllCaption[] = "Poll Devices (all)";
inline constexpr char PollAllToolTip[] = "Change all devices to polling mode (password required)";
inline constexpr char RandomOneCaption[] = "Random Values (1)";
inline constexpr char RandomOneToolTip[] =
    "Change the selected device to random mode  (password required)";
inline constexpr char PollOneCaption[] = "Poll Devices (1)";
inline constexpr char PollOneToolTip[] =
    "Change the selected device to polling mode (password required)";
inline constexpr char ChangeIPAddressCaption[] = "Change IP Address";
inline constexpr char ChangeIPAddressToolTip[] =
    "Change IP address of the selected device  (password required and IOS restart required)";
inline constexpr char SetClockCaption[] = "Set Clock";
inline constexpr char SetClockToolTip[] =
    "Set the clock of the selected device to the current computer time";
inline constexpr char EraseHDRCaption[] = "Erase HDR";
inline constexpr char EraseHDRToolTip[] =
    "Erase all historical data in the selected device (password required)";
inline constexpr char FailoverCaption[] = "Failover";
inline constexpr char FailoverToolTip[] = "Failover to a redundant device (if available)";
}  // namespace DeviceButtonTexts

// Privilege levels of the protected device operations.
inline constexpr int DeviceAdminPrivilege = 251;
inline constexpr int EditPrivilege = 250;

struct DeviceOperationServices {
  IEditGate* editGate = nullptr;
  IPrivilegeGate* privilegeGate = nullptr;
  Prompter* prompter = nullptr;
  IRaiseMsg* sink = nullptr;
  QString appTitle;
  QString siteId;  // named in the "no device" notice
  // The device manager's sender, journaling each command; none: nothing is journaled.
  JournaledSender* journaled = nullptr;
};

class DeviceOperations {
 public:
  DeviceOperations(DeviceListviewManager& devices, const DeviceOperationServices& services);

  // cmdPoll / cmdPollOne: index 1 switches to random values, index 0 back to polling.
  void PollAll(int index);
  void PollSelected(int index);
  void ChangeIPAddress();
  void SetClock();
  void EraseHDR();
  void Failover();

  void SetSiteId(const QString& siteId) { services_.siteId = siteId; }

 private:
  struct PrivilegeTexts {
    int level;
    const char* cannotUseSecurity;
    const char* accessDenied;
    const char* accountSuffix;
  };
  bool PassEditGate();
  bool PassPrivilegeGate(const PrivilegeTexts& texts);
  bool HasSelection();
  bool Confirm(const QString& text, PromptIcon icon);
  void ShowBox(const QString& text, PromptIcon icon);
  void ReportFailure(const char* code);
  // The operation the manager's next command is journaled as; nothing is journaled when no
  // command leaves the manager (nothing selected).
  JournaledSender::Scope Journaled(const QString& operation, const QString& targets,
                                   const QString& value);

  DeviceListviewManager& devices_;
  DeviceOperationServices services_;
  // The account that passed the last privilege check; empty under edit mode.
  QString account_;
};

}  // namespace telmon
