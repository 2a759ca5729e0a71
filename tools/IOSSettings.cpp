#include "tools/IOSSettings.h"

#include "ioslink/ICommandSender.h"
#include "util/ErrorInfo.h"
#include "util/IRaiseMsg.h"
#include "util/TextConversionFunctions.h"

#include <QScopedValueRollback>

#include <limits>

namespace telmon {

namespace {

[[noreturn]] void ThrowOverflow() { throw TelmonError(ErrorNumber::Overflow, "Overflow"); }

// The integer value of a numeric box, or empty for text that is not a number.
std::optional<std::int64_t> BoxInteger(const QString& text) {
  if (!IsNumeric(text)) {
    return std::nullopt;
  }
  const auto value = ToInt32(text);
  if (!value) {
    ThrowOverflow();
  }
  return *value;
}

std::int32_t Fit(std::int64_t value) {
  if (value > std::numeric_limits<std::int32_t>::max()) {
    ThrowOverflow();
  }
  return static_cast<std::int32_t>(value);
}

}  // namespace

QString IOSSettingsCommands::SetURP(std::int64_t value) {
  return QStringLiteral(R"(<Command action="SetURP" value="%1"/>)").arg(value);
}

QString IOSSettingsCommands::SetRID(std::int64_t value) {
  return QStringLiteral(R"(<Command action="SetRID" value="%1"/>)").arg(value);
}

QString LogLevelDisplayText(const QString& level) {
  if (level == QLatin1String("-1")) return QStringLiteral("-1 - None");
  if (level == QLatin1String("0")) return QStringLiteral("0 - Normal");
  if (level == QLatin1String("1")) return QStringLiteral("1 - All (UserDB)");
  if (level == QLatin1String("2")) return QStringLiteral("2 - All");
  return level;
}

std::int32_t IncreasedURP(const QString& boxText) {
  const auto n = BoxInteger(boxText);
  if (!n) {
    return 1;
  }
  return Fit(*n > 0 ? *n + 1 : *n);
}

std::int32_t DecreasedURP(const QString& boxText) {
  const auto n = BoxInteger(boxText);
  if (!n) {
    return 1;
  }
  return Fit(*n > 1 ? *n - 1 : *n);
}

template <typename Action>
void IOSSettingsLogic::Trap(const char* code, Action&& action) {
  try {
    action();
  } catch (...) {
    const ErrorInfo error = CurrentErrorInfo();
    sink_.RaiseMsg(MsgType::Error, QStringLiteral("%1: Error %2, %3")
                                       .arg(QLatin1String(code))
                                       .arg(error.number)
                                       .arg(error.description));
  }
}

void IOSSettingsLogic::Send(const char* code, const char* command, const char* operation,
                            const QString& previous) {
  Trap(code, [&] {
    if (operation == nullptr) {
      sender_.SendCommand(QLatin1String(command));
    } else {
      SendJournaled(QLatin1String(command), QLatin1String(operation), QString(), previous);
    }
  });
}

void IOSSettingsLogic::SendJournaled(const QString& command, const QString& operation,
                                     const QString& value, const QString& previous) {
  if (journaled_ == nullptr || echoingServer_) {
    sender_.SendCommand(command);
    return;
  }
  journaled_->Send(
      command, {operation, QStringLiteral("I/O server"), value, {}, {}, NoAccount, {}, previous});
}

void IOSSettingsLogic::OnRefreshSettings() { Send("TELM-0014", IOSSettingsCommands::GetSettings); }

void IOSSettingsLogic::OnSettingsEvent(xml::XmlElement event) {
  Trap("TELM-0015", [&] { ApplySettings(event); });
}

void IOSSettingsLogic::ApplySettings(xml::XmlElement event) {
  logLevel_ = LogLevelDisplayText(xml::GetAttributeText(event, "LogLevel"));
  view_.SetLogLevelText(logLevel_);
  // The shared attribute reader: a missing, empty or non-Boolean text leaves the label as it is.
  if (const std::optional<bool> active = xml::GetAttributeBoolean(event, "IsLogActive")) {
    logActive_ = *active ? QStringLiteral("log active: YES") : QStringLiteral("log active: NO");
    view_.SetLogIsActiveText(*active ? QStringLiteral("YES") : QStringLiteral("NO"));
  }
  if (const QString urp = xml::GetAttributeText(event, "URP"); !urp.isEmpty()) {
    urp_ = urp;
    view_.SetURPText(urp);
  }
  // A new box text is a change like a keystroke: the value goes back to the server.
  if (const QString rid = xml::GetAttributeText(event, "RID"); !rid.isEmpty()) {
    // The server's own value echoed back is no operator's change: it is not journaled.
    const QScopedValueRollback<bool> echo(echoingServer_, true);
    rid_ = rid;
    view_.SetRIDText(rid);
  }
}

void IOSSettingsLogic::OnSetLogLevelNone() {
  Send("TELM-0016", IOSSettingsCommands::LogLevelNone, "Log level None", logLevel_);
}

void IOSSettingsLogic::OnSetLogLevelAll() {
  Send("TELM-0017", IOSSettingsCommands::LogLevelAll, "Log level All", logLevel_);
}

void IOSSettingsLogic::OnSetLogLevelNormal() {
  Send("TELM-0018", IOSSettingsCommands::LogLevelNormal, "Log level Normal", logLevel_);
}

void IOSSettingsLogic::OnStartStopRestartLog() {
  Send("TELM-0019", IOSSettingsCommands::ResetLog, "Log reset", logActive_);
}

void IOSSettingsLogic::OnIncreaseURP() {
  Trap("TELM-0020", [&] { SendURP(IncreasedURP(view_.URPText())); });
}

void IOSSettingsLogic::OnDecreaseURP() {
  Trap("TELM-0021", [&] { SendURP(DecreasedURP(view_.URPText())); });
}

void IOSSettingsLogic::SendURP(std::int32_t value) {
  Trap("TELM-0022", [&] {
    SendJournaled(IOSSettingsCommands::SetURP(value), QStringLiteral("Set URP"),
                  QString::number(value), urp_);
    urp_ = QString::number(value);
    view_.ShowURPStorageNotice();
  });
}

void IOSSettingsLogic::OnRIDTextChanged(const QString& text) {
  Trap("TELM-0023", [&] {
    if (const auto rid = BoxInteger(text)) {
      SendJournaled(IOSSettingsCommands::SetRID(*rid), QStringLiteral("Set RID"),
                    QString::number(*rid), rid_);
      rid_ = QString::number(*rid);
    }
  });
}

}  // namespace telmon
