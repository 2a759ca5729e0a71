#pragma once

// telmon-check's command line:
//   telmon-check /DAHSID=n status [--json]
//   telmon-check /DAHSID=n watch IDS [--seconds S] [--csv]
//   telmon-check /DAHSID=n run SEQUENCE.yaml [--junit FILE] [--tap]
// with --password-file FILE (the password of the account in TELMON_ACCOUNT), --verbose (every
// message on the error stream), --ios-host HOST and --journal FILE; --help and --version alone. A
// password is never taken from the command line itself.

#include <QString>
#include <QStringList>

#include <cstdint>
#include <optional>

namespace telmon::check {

// Exit codes.
inline constexpr int ExitPassed = 0;
inline constexpr int ExitFailed = 1;    // a step failed
inline constexpr int ExitUsage = 2;     // bad command line, sequence file or start-up
inline constexpr int ExitNoRights = 3;  // the privilege gate refused
inline constexpr int ExitInterrupted = 130;

struct CheckCommandLine {
  enum class Command { None, Status, Watch, Run, Help, Version };
  Command command = Command::None;
  std::int32_t dahsId = 0;
  QString argument;  // IDS of watch, SEQUENCE.yaml of run
  bool json = false;
  bool csv = false;
  bool tap = false;
  std::optional<double> seconds;
  QString junitFile;
  QString passwordFile;
  QString iosHost;
  QString journalFile;  // empty: the user's own journal, as telmon's
  bool verbose = false;

  // Empty `error` when the line is usable.
  static CheckCommandLine Parse(const QStringList& arguments, QString* error);
  static QString HelpText();
};

}  // namespace telmon::check
