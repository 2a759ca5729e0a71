#include "app/CommandLine.h"

#include "util/ByteCount.h"
#include "util/UtilityFunctions.h"

namespace telmon {

namespace {

// Qt's own options that take a value; the application object has normally taken them out
// already.
bool IsQtOptionWithValue(const QString& arg) {
  static const QStringList options = {QStringLiteral("-platform"),
                                      QStringLiteral("-platformpluginpath"),
                                      QStringLiteral("-platformtheme"),
                                      QStringLiteral("-plugin"),
                                      QStringLiteral("-qmljsdebugger"),
                                      QStringLiteral("-style"),
                                      QStringLiteral("-stylesheet"),
                                      QStringLiteral("-session"),
                                      QStringLiteral("-display"),
                                      QStringLiteral("-geometry"),
                                      QStringLiteral("-qwindowgeometry"),
                                      QStringLiteral("-qwindowtitle"),
                                      QStringLiteral("-qwindowicon"),
                                      QStringLiteral("-title"),
                                      QStringLiteral("-icon"),
                                      QStringLiteral("-name"),
                                      QStringLiteral("-widgetcount"),
                                      QStringLiteral("-reverse")};
  return options.contains(arg);
}

}  // namespace

CommandLine CommandLine::Parse(const QStringList& arguments) {
  CommandLine cl;
  cl.dahsSwitch = FindDahsIdSwitch(arguments);
  bool switchSeen = false;
  for (qsizetype i = 1; i < arguments.size(); ++i) {
    const QString& arg = arguments[i];
    // "--name=value" or "--name value"; a missing value leaves the option unused.
    auto value = [&](const QString& name, QString* target) {
      if (arg.startsWith(name + QLatin1Char('='))) {
        *target = arg.mid(name.size() + 1);
      } else if (arg == name && i + 1 < arguments.size()) {
        *target = arguments[++i];
      } else {
        cl.ignored << arg;
      }
    };
    if (arg == QLatin1String("--help") || arg == QLatin1String("-h")) {
      cl.help = true;
    } else if (arg == QLatin1String("--version")) {
      cl.version = true;
    } else if (arg.startsWith(QLatin1String("--message-log"))) {
      value(QStringLiteral("--message-log"), &cl.messageLogFile);
    } else if (arg.startsWith(QLatin1String("--receive-buffer-cap"))) {
      // A cap that is not a byte count is named with the ignored arguments; the default stays.
      QString text;
      value(QStringLiteral("--receive-buffer-cap"), &text);
      if (const qint64 cap = ParseByteCount(text); cap > 0) {
        cl.receiveBufferCap = cap;
      } else if (!text.isEmpty()) {
        cl.ignored << QStringLiteral("--receive-buffer-cap=") + text;
      }
    } else if (arg.startsWith(QLatin1String("--trend-memory"))) {
      QString text;
      value(QStringLiteral("--trend-memory"), &text);
      if (const qint64 budget = ParseByteCount(text); budget > 0) {
        cl.trendMemory = budget;
      } else if (!text.isEmpty()) {
        cl.ignored << QStringLiteral("--trend-memory=") + text;
      }
    } else if (arg.startsWith(QLatin1String("--journal"))) {
      value(QStringLiteral("--journal"), &cl.journalFile);
    } else if (arg.startsWith(QLatin1String("--screenshots"))) {
      value(QStringLiteral("--screenshots"), &cl.screenshotDir);
    } else if (arg.startsWith(QLatin1String("/DAHSID="), Qt::CaseInsensitive) && !switchSeen) {
      switchSeen = true;  // a second switch is not read
    } else if (IsQtOptionWithValue(arg) && i + 1 < arguments.size()) {
      ++i;  // Qt's business
    } else {
      cl.ignored << arg;
    }
  }
  return cl;
}

std::int32_t CommandLine::DahsId() const {
  return dahsSwitch ? DahsIdFromSwitchText(*dahsSwitch) : dahsId;
}

QString CommandLine::IgnoredNote() const {
  if (ignored.isEmpty()) {
    return {};
  }
  QStringList quoted;
  for (const QString& arg : ignored) {
    quoted << QLatin1Char('"') + arg + QLatin1Char('"');
  }
  return QStringLiteral("Command line: ignored %1 (not used by this program).")
      .arg(quoted.join(QStringLiteral(", ")));
}

QString CommandLine::HelpText(const QString& programName) {
  return QStringLiteral(
             "Usage: %1 [/DAHSID=<n>] [--message-log FILE] [--journal FILE] [--screenshots DIR]\n"
             "\n"
             "Monitors the I/O server of one DAHS of the site.\n"
             "\n"
             "  /DAHSID=<n>         the DAHS to monitor (missing means 0: site-wide settings "
             "only)\n"
             "  --message-log FILE  append every row of the messages window to FILE\n"
             "  --journal FILE      the operator journal (SQLite) to write instead of the\n"
             "                      user's own (<data folder>/telmon/journal.sqlite); a\n"
             "                      postgresql://... connection string instead names the\n"
             "                      site's shared journal (over [Telmon] Journal)\n"
             "  --screenshots DIR   save a PNG image of every page and dialog into DIR, then exit\n"
             "  --receive-buffer-cap BYTES\n"
             "                      unparsable text from the I/O server kept before skipping\n"
             "                      to its next event (default 8M; K, M and G suffixes)\n"
             "  --trend-memory BYTES\n"
             "                      memory for the trends' points; beyond it the oldest are\n"
             "                      dropped (default 256M; K, M and G suffixes)\n"
             "  --help              show this text\n"
             "  --version           show the program's version\n"
             "\n"
             "Any other argument is ignored and named in the messages window.\n"
             "The site's settings file Halvo5.INI is read from the folder named by the\n"
             "environment variable HALVO5_SYSTEM_FOLDER.\n")
      .arg(programName);
}

}  // namespace telmon
