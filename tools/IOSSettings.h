#pragma once

// The I/O server's run-time settings as the "IOS Settings" page shows and changes them: log
// level and log file, Unscheduled Request Priority (URP) and Request Initiation Delay (RID).
// The server owns every value; the page only sends commands and shows what the server reports
// in "IOSSettingsUpdate".

#include "journal/JournaledSender.h"
#include "util/UtilityXMLDOMFunctions.h"

#include <QString>

#include <cstdint>

namespace telmon {

class ICommandSender;
class IRaiseMsg;

namespace IOSSettingsCommands {
inline constexpr char GetSettings[] = R"(<Command action="GetIOSSettings" />)";
inline constexpr char LogLevelNone[] =
    R"(<Command action="SetLogLevel" value="-1"/><Command action="GetIOSSettings" />)";
inline constexpr char LogLevelNormal[] =
    R"(<Command action="SetLogLevel" value="0"/><Command action="GetIOSSettings" />)";
inline constexpr char LogLevelAll[] =
    R"(<Command action="SetLogLevel" value="2"/><Command action="GetIOSSettings" />)";
inline constexpr char ResetLog[] =
    R"(<Command action="ResetLog" /><Command action="GetIOSSettings" />)";
QString SetURP(std::int64_t value);
QString SetRID(std::int64_t value);
}  // namespace IOSSettingsCommands

// What "lblLogLevel" shows for the level the server reports.
QString LogLevelDisplayText(const QString& level);
// The URP that "Increase" and "Decrease" send for the box text: 1 for a box that is not a
// number; the box value moved by one, never below 1 by the page's own doing. Throws an overflow
// error for a value beyond a 32-bit integer.
std::int32_t IncreasedURP(const QString& boxText);
std::int32_t DecreasedURP(const QString& boxText);

// The page's controls as the settings logic sees them.
class IIOSSettingsView {
 public:
  virtual ~IIOSSettingsView() = default;
  virtual void SetLogLevelText(const QString& text) = 0;
  virtual void SetLogIsActiveText(const QString& text) = 0;
  virtual QString URPText() const = 0;
  virtual void SetURPText(const QString& text) = 0;
  // A change of the box text runs OnRIDTextChanged, as typing does.
  virtual void SetRIDText(const QString& text) = 0;
  virtual void ShowURPStorageNotice() = 0;
};

// The handlers of the page. Each traps its own errors and reports them as
// "<code>: Error <number>, <description>" with codes TELM-0014 to TELM-0023.
class IOSSettingsLogic {
 public:
  IOSSettingsLogic(IIOSSettingsView& view, ICommandSender& sender, IRaiseMsg& sink)
      : view_(view), sender_(sender), sink_(sink) {}

  void OnRefreshSettings();
  void OnSettingsEvent(xml::XmlElement event);
  void OnSetLogLevelNone();
  void OnSetLogLevelAll();
  void OnSetLogLevelNormal();
  void OnStartStopRestartLog();
  void OnIncreaseURP();
  void OnDecreaseURP();
  void OnRIDTextChanged(const QString& text);
  // Sends every change to the server through `journaled`, journaled (not the requests for its
  // settings, nor the server's own values put back into the boxes).
  void SetJournaledSender(JournaledSender* journaled) { journaled_ = journaled; }

 private:
  template <typename Action>
  void Trap(const char* code, Action&& action);
  void Send(const char* code, const char* command, const char* operation = nullptr,
            const QString& previous = QString());
  // `previous`: the setting's last value, as the server reported it or this page sent it.
  void SendJournaled(const QString& command, const QString& operation, const QString& value,
                     const QString& previous);
  void SendURP(std::int32_t value);
  void ApplySettings(xml::XmlElement event);

  IIOSSettingsView& view_;
  ICommandSender& sender_;
  IRaiseMsg& sink_;
  JournaledSender* journaled_ = nullptr;
  bool echoingServer_ = false;
  // The settings' last values (reported or sent), journaled as what a change replaced.
  QString logLevel_;
  QString logActive_;
  QString urp_;
  QString rid_;
};

}  // namespace telmon
