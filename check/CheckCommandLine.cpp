#include "check/CheckCommandLine.h"

namespace telmon::check {

namespace {

bool TakeValue(const QStringList& args, qsizetype& i, QString* value, QString* error) {
  if (i + 1 >= args.size()) {
    *error = QStringLiteral("%1 needs a value").arg(args[i]);
    return false;
  }
  *value = args[++i];
  return true;
}

bool ParseOption(const QStringList& args, qsizetype& i, CheckCommandLine& cl, QString* error) {
  const QString& a = args[i];
  QString value;
  if (a == QLatin1String("--json")) {
    cl.json = true;
  } else if (a == QLatin1String("--csv")) {
    cl.csv = true;
  } else if (a == QLatin1String("--tap")) {
    cl.tap = true;
  } else if (a == QLatin1String("--verbose")) {
    cl.verbose = true;
  } else if (a == QLatin1String("--junit")) {
    return TakeValue(args, i, &cl.junitFile, error);
  } else if (a == QLatin1String("--password-file")) {
    return TakeValue(args, i, &cl.passwordFile, error);
  } else if (a == QLatin1String("--ios-host")) {
    return TakeValue(args, i, &cl.iosHost, error);
  } else if (a == QLatin1String("--journal")) {
    return TakeValue(args, i, &cl.journalFile, error);
  } else if (a == QLatin1String("--seconds")) {
    if (!TakeValue(args, i, &value, error)) {
      return false;
    }
    bool ok = false;
    cl.seconds = value.toDouble(&ok);
    if (!ok || *cl.seconds <= 0) {
      *error = QStringLiteral("--seconds needs a positive number of seconds");
      return false;
    }
  } else {
    *error = QStringLiteral("unknown option %1").arg(a);
    return false;
  }
  return true;
}

bool ParseWord(const QString& a, CheckCommandLine& cl, QString* error) {
  using Command = CheckCommandLine::Command;
  if (a.startsWith(QLatin1String("/DAHSID="), Qt::CaseInsensitive)) {
    bool ok = false;
    cl.dahsId = a.mid(8).toInt(&ok);
    if (!ok) {
      *error = QStringLiteral("%1: the DAHS number must be a whole number").arg(a);
    }
    return ok;
  }
  if (cl.command == Command::None) {
    const struct {
      const char* word;
      Command command;
    } words[] = {{"status", Command::Status},
                 {"alarms", Command::Alarms},
                 {"watch", Command::Watch},
                 {"run", Command::Run},
                 {"help", Command::Help}};
    for (const auto& w : words) {
      if (a == QLatin1String(w.word)) {
        cl.command = w.command;
        return true;
      }
    }
    *error = QStringLiteral("unknown command '%1'").arg(a);
    return false;
  }
  if (cl.argument.isNull() && cl.command != Command::Status && cl.command != Command::Alarms) {
    cl.argument = a;
    return true;
  }
  *error = QStringLiteral("unexpected argument '%1'").arg(a);
  return false;
}

}  // namespace

CheckCommandLine CheckCommandLine::Parse(const QStringList& arguments, QString* error) {
  CheckCommandLine cl;
  error->clear();
  for (qsizetype i = 1; i < arguments.size() && error->isEmpty(); ++i) {
    const QString& a = arguments[i];
    if (a == QLatin1String("--help") || a == QLatin1String("-h")) {
      cl.command = Command::Help;
      return cl;
    }
    if (a == QLatin1String("--version")) {
      cl.command = Command::Version;
      return cl;
    }
    if (a == QLatin1String("--password")) {
      *error = QStringLiteral(
          "a password is never given on the command line: use the terminal "
          "prompt or --password-file");
    } else if (a.startsWith(QLatin1String("--"))) {
      ParseOption(arguments, i, cl, error);
    } else {
      ParseWord(a, cl, error);
    }
  }
  if (error->isEmpty() && cl.command == Command::None) {
    *error = QStringLiteral("no command given (status, alarms, watch or run)");
  } else if (error->isEmpty() && cl.command != Command::Status && cl.command != Command::Alarms &&
             cl.command != Command::Help && cl.argument.isEmpty()) {
    *error = cl.command == Command::Watch ? QStringLiteral("watch needs channel IDs")
                                          : QStringLiteral("run needs a sequence file");
  }
  return cl;
}

QString CheckCommandLine::HelpText() {
  return QStringLiteral(
      "Usage: telmon-check /DAHSID=n COMMAND [options]\n"
      "  status [--json]                       devices, queues and blocks as the IOS reports them\n"
      "  alarms [--json]                       the current alarms of the DAHS, as the Active\n"
      "                                        Alarms page lists them\n"
      "  watch IDS [--seconds S] [--csv]       channel values every two seconds (IDS as typed in\n"
      "                                        the add-channel dialog: 17,18,10910-10915,u0007)\n"
      "  run SEQUENCE.yaml [--junit FILE] [--tap]\n"
      "                                        run a test sequence; exit 0 only if every step "
      "passed\n"
      "Options:\n"
      "  --password-file FILE   password for the account in TELMON_ACCOUNT (otherwise both are\n"
      "                         asked on the terminal)\n"
      "  --ios-host HOST        computer the I/O server runs on (default: TELMON_IOS_HOST, or\n"
      "                         this computer's name)\n"
      "  --journal FILE         operator journal to record the run's changes in (default: the\n"
      "                         user's own, the one telmon keeps); postgresql://... names\n"
      "                         the site's shared journal instead\n"
      "  --verbose              every message on the error stream\n"
      "  --help, --version      this text, or the program's version\n"
      "Exit codes: 0 passed, 1 a step failed, 2 usage or start-up error, 3 no edit rights,\n"
      "130 interrupted.\n");
}

}  // namespace telmon::check
