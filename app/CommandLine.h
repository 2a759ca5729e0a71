#pragma once

// The program's command line: "/DAHSID=<n>" selects the DAHS (missing means 0); the long
// options are for operators and support. Anything else (site shortcuts carry switches of their
// own) is ignored and named in one note in the messages window; it never stops the program.

#include <QString>
#include <QStringList>

#include <cstdint>
#include <optional>

namespace telmon {

struct CommandLine {
  // The DAHS number when no "/DAHSID=" text was given (tests set it directly).
  std::int32_t dahsId = 0;
  // The text after "/DAHSID=", as given; converted by start-up (DahsId).
  std::optional<QString> dahsSwitch;
  bool help = false;
  bool version = false;
  QString messageLogFile;  // --message-log FILE
  QString journalFile;     // --journal FILE: the operator journal instead of the user's own
  QString screenshotDir;   // --screenshots DIR: capture every page and dialog, then exit
  QStringList ignored;     // arguments the program does not use, in order
  // --receive-buffer-cap BYTES: unparsable text from the I/O server kept before resynchronising
  qint64 receiveBufferCap = qint64{8} * 1024 * 1024;
  // --trend-memory BYTES: the trend recorder's memory budget for its points
  qint64 trendMemory = qint64{256} * 1024 * 1024;

  static CommandLine Parse(const QStringList& arguments);
  static QString HelpText(const QString& programName);

  // The DAHS number: the switch's value as a 32-bit integer, `dahsId` without the switch.
  // Throws TelmonError when the switch's value is not a 32-bit integer.
  std::int32_t DahsId() const;
  // The note naming the ignored arguments; empty when none was ignored.
  QString IgnoredNote() const;
};

}  // namespace telmon
