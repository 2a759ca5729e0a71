#include "app/CommandLine.h"

#include "util/ByteCount.h"
#include "util/UtilityFunctions.h"

namespace telmon {

CommandLine CommandLine::Parse(const QStringList& arguments) {
  CommandLine cl;
  cl.dahsId = ReadDahsIdSwitch(arguments);
  for (qsizetype i = 1; i < arguments.size(); ++i) {
    const QString& arg = arguments[i];
    auto value = [&](const QString& name) -> QString {
      if (arg.startsWith(name + QLatin1Char('='))) {
        return arg.mid(name.size() + 1);
      }
      if (i + 1 < arguments.size()) {
        return arguments[++i];
      }
      cl.error = QStringLiteral("%1 needs a value").arg(name);
      return {};
    };
    if (arg == QLatin1String("--help") || arg == QLatin1String("-h")) {
      cl.help = true;
    } else if (arg == QLatin1String("--version")) {
      cl.version = true;
    } else if (arg.startsWith(QLatin1String("--message-log"))) {
      cl.messageLogFile = value(QStringLiteral("--message-log"));
    } else if (arg.startsWith(QLatin1String("--receive-buffer-cap"))) {
      const QString text = value(QStringLiteral("--receive-buffer-cap"));
      cl.receiveBufferCap = ParseByteCount(text);
      if (cl.receiveBufferCap == 0 && cl.error.isEmpty()) {
        cl.error = QStringLiteral("--receive-buffer-cap needs a byte count, not '%1'").arg(text);
      }
    } else if (arg.startsWith(QLatin1String("--screenshots"))) {
      cl.screenshotDir = value(QStringLiteral("--screenshots"));
    } else if (arg.startsWith(QLatin1String("/DAHSID="), Qt::CaseInsensitive) ||
               arg.startsWith(QLatin1String("-platform")) || arg.startsWith(QLatin1String("-"))) {
      // Qt's own options were taken out by the application object; "-" options it left
      // (such as -style) are its business.
    } else {
      cl.error = QStringLiteral("unknown argument '%1'").arg(arg);
    }
  }
  return cl;
}

QString CommandLine::HelpText(const QString& programName) {
  return QStringLiteral(
             "Usage: %1 [/DAHSID=<n>] [--message-log FILE] [--screenshots DIR]\n"
             "\n"
             "Monitors the I/O server of one DAHS of the site.\n"
             "\n"
             "  /DAHSID=<n>         the DAHS to monitor (missing means 0: site-wide settings "
             "only)\n"
             "  --message-log FILE  append every row of the messages window to FILE\n"
             "  --screenshots DIR   save a PNG image of every page and dialog into DIR, then exit\n"
             "  --receive-buffer-cap BYTES\n"
             "                      unparsable text from the I/O server kept before skipping\n"
             "                      to its next event (default 8M; K, M and G suffixes)\n"
             "  --help              show this text\n"
             "  --version           show the program's version\n"
             "\n"
             "The site's settings file Halvo5.INI is read from the folder named by the\n"
             "environment variable HALVO5_SYSTEM_FOLDER.\n")
      .arg(programName);
}

}  // namespace telmon
