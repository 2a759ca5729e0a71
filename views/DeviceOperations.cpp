#include "views/DeviceOperations.h"

#include "views/ViewErrors.h"

namespace telmon {

namespace {

const QString kCrLf = QStringLiteral("\r\n");

QString RandomModeOperation(int index, bool all) {
  return (index == 1 ? QStringLiteral("Random values on") : QStringLiteral("Random values off")) +
         (all ? QStringLiteral(" (all)") : QString());
}

}  // namespace

DeviceOperations::DeviceOperations(DeviceListviewManager& devices,
                                   const DeviceOperationServices& services)
    : devices_(devices), services_(services) {}

void DeviceOperations::PollAll(int index) {
  if (!PassEditGate()) {
    return;
  }
  const JournaledSender::Scope scope =
      Journaled(RandomModeOperation(index, true), QStringLiteral("all devices"), QString());
  devices_.SetRandomModeForAllDevices(index == 1);
}

void DeviceOperations::PollSelected(int index) {
  if (!PassEditGate()) {
    return;
  }
  try {
    const QString target = devices_.SelectedDeviceText();
    const JournaledSender::Scope scope =
        Journaled(RandomModeOperation(index, false), target, QString());
    devices_.SetRandomModeForSelectedDevice(index == 1);
  } catch (...) {
    // The placeholder row is selected: nothing is sent. The random/poll buttons own no
    // message code, so the failure is reported without one.
    const ErrorInfo info = CurrentErrorInfo();
    services_.sink->RaiseMsg(MsgType::Error, QStringLiteral("Error ") +
                                                 QString::number(info.number) +
                                                 QStringLiteral(", ") + info.description);
  }
}

void DeviceOperations::ChangeIPAddress() {
  try {
    if (!HasSelection() ||
        !PassPrivilegeGate({DeviceAdminPrivilege, "TELM-0079: can't use security",
                            "Access denied.  [TELM-0080]",
                            "' does not have privileges. [TELM-0081]"})) {
      return;
    }
    const std::int32_t id = devices_.GetSelectedDeviceID();
    if (id == 0) {
      ShowBox(QStringLiteral("No device is selected. Cannot change IP address.") + kCrLf + kCrLf +
                  QStringLiteral("1. (Re)start Halvo I/O Service 5 and restart this application.") +
                  kCrLf + QStringLiteral("2. Make sure devices are configured for site '") +
                  services_.siteId + QStringLiteral("'.") + kCrLf + QStringLiteral("[TELM-0083]"),
              PromptIcon::Exclamation);
      return;
    }
    const std::optional<QString> address = services_.prompter->InputText(
        QStringLiteral("New IP Address for device ") + QString::number(id), services_.appTitle);
    if (!address || address->isEmpty()) {
      return;
    }
    // The IOS validates the address; whatever was typed is sent.
    {
      const JournaledSender::Scope scope =
          Journaled(QStringLiteral("Change IP address"), devices_.SelectedDeviceText(), *address);
      devices_.SetIPAddressForSelectedDevice(*address);
    }
    ShowBox(
        QStringLiteral("Restart Halvo I/O Service 5 for the new IP address to take effect.") +
            kCrLf + kCrLf +
            QStringLiteral(
                "If there is a redundant DAS, you must make this same change on the other DAS.") +
            kCrLf + kCrLf + QStringLiteral("Restart this application. [TELM-0084]"),
        PromptIcon::Critical);
  } catch (...) {
    ReportFailure("TELM-0082");
  }
}

void DeviceOperations::SetClock() {
  try {
    if (HasSelection()) {
      account_ = NoAccount;
      const JournaledSender::Scope scope =
          Journaled(QStringLiteral("Set clock"), devices_.SelectedDeviceText(), QString());
      devices_.SetClockForSelectedDevice();
    }
  } catch (...) {
    ReportFailure("TELM-0004");
  }
}

void DeviceOperations::EraseHDR() {
  try {
    if (!HasSelection() ||
        !PassPrivilegeGate({DeviceAdminPrivilege, "TELM-0057: can't use security",
                            "Access denied.  [TELM-0067]",
                            "' does not have privileges. [TELM-0068]"})) {
      return;
    }
    if (Confirm(
            QStringLiteral("Are you sure you want to erase all historical data in this device?") +
                kCrLf + kCrLf + QStringLiteral("This operation cannot be undone."),
            PromptIcon::Critical)) {
      const JournaledSender::Scope scope =
          Journaled(QStringLiteral("Erase HDR"), devices_.SelectedDeviceText(), QString());
      devices_.EraseHDRForSelectedDevice();
    }
  } catch (...) {
    ReportFailure("TELM-0002");
  }
}

void DeviceOperations::Failover() {
  try {
    if (!HasSelection() || !PassPrivilegeGate({EditPrivilege, "TELM-0058: can't use security",
                                               "Access denied.  [TELM-0069]",
                                               "' does not have privileges. [TELM-0070]"})) {
      return;
    }
    if (Confirm(QStringLiteral("Do a failover?"), PromptIcon::Exclamation)) {
      const JournaledSender::Scope scope =
          Journaled(QStringLiteral("Failover"), devices_.SelectedDeviceText(), QString());
      devices_.FailoverSelectedDevice();
    }
  } catch (...) {
    ReportFailure("TELM-0003");
  }
}

bool DeviceOperations::PassEditGate() {
  account_.clear();
  IEditGate& gate = *services_.editGate;
  if (!gate.EditsAllowed()) {
    gate.AskWhetherUserWantsToEnableEditing();
  }
  return gate.EditsAllowed();
}

// With edit mode on the operator has already proved the privilege; otherwise the account is
// asked for the operation's own level.
bool DeviceOperations::PassPrivilegeGate(const PrivilegeTexts& texts) {
  account_.clear();
  if (services_.editGate->EditsAllowed()) {
    return true;
  }
  const std::optional<PrivilegeCheck> check = services_.privilegeGate->CheckPrivilege(texts.level);
  if (!check) {
    services_.sink->RaiseMsg(MsgType::Error, QString::fromLatin1(texts.cannotUseSecurity));
    return false;
  }
  if (check->result == PrivilegeResult::Cancelled) {
    return false;
  }
  if (!check->granted()) {
    ShowBox(QString::fromLatin1(texts.accessDenied), PromptIcon::Exclamation);
    services_.sink->RaiseMsg(MsgType::Error, QStringLiteral("Account '") + check->account +
                                                 QString::fromLatin1(texts.accountSuffix));
    return false;
  }
  account_ = check->account;
  return true;
}

bool DeviceOperations::HasSelection() {
  const KeyedListModel* lsv = devices_.Lsv();
  if (lsv != nullptr && lsv->Selected() != nullptr) {
    return true;
  }
  ShowBox(QStringLiteral("Select a device first."), PromptIcon::Exclamation);
  return false;
}

// A destructive step: "No" is the default so that Enter cannot confirm it.
bool DeviceOperations::Confirm(const QString& text, PromptIcon icon) {
  return services_.prompter->Ask(PromptQuestion{text, services_.appTitle, icon,
                                                PromptButtons::YesNo, PromptAnswer::No}) ==
         PromptAnswer::Yes;
}

void DeviceOperations::ShowBox(const QString& text, PromptIcon icon) {
  services_.prompter->Show(text, services_.appTitle, icon);
}

void DeviceOperations::ReportFailure(const char* code) {
  services_.sink->RaiseMsg(MsgType::Error,
                           ListError::CurrentFailureText(QString::fromLatin1(code)));
}

JournaledSender::Scope DeviceOperations::Journaled(const QString& operation, const QString& targets,
                                                   const QString& value) {
  return JournaledSender::Journaled(services_.journaled,
                                    {operation, targets, value, {}, {}, account_, {}});
}

}  // namespace telmon
