#pragma once

// The program's command line: "/DAHSID=<n>" selects the DAHS (missing means 0); the long
// options are for operators and support.

#include <QString>
#include <QStringList>

#include <cstdint>

namespace telmon {

struct CommandLine {
  std::int32_t dahsId = 0;
  bool help = false;
  bool version = false;
  QString messageLogFile;  // --message-log FILE
  QString screenshotDir;   // --screenshots DIR: capture every page and dialog, then exit
  // --receive-buffer-cap BYTES: unparsable text from the I/O server kept before resynchronising
  qint64 receiveBufferCap = qint64{8} * 1024 * 1024;
  QString error;  // set when the arguments cannot be used

  static CommandLine Parse(const QStringList& arguments);
  static QString HelpText(const QString& programName);
};

}  // namespace telmon
