#include "serve/ServeCommandLine.h"

#include "watches/TypedChannelIds.h"
#include "watches/WatchListStore.h"

#include <QFile>

namespace telmon::serve {

namespace {

constexpr std::int64_t kWatchListLimit = 32767;

bool ReadToken(const QString& file, std::string* token, QString* error) {
  QFile f(file);
  if (!f.open(QIODevice::ReadOnly)) {
    *error = QStringLiteral("cannot read the token file %1: %2").arg(file, f.errorString());
    return false;
  }
  *token = QString::fromUtf8(f.readAll()).trimmed().toStdString();
  if (token->size() < 16) {
    *error = QStringLiteral("the token in %1 is shorter than 16 characters").arg(file);
    return false;
  }
  return true;
}

}  // namespace

ServeCommandLine ServeCommandLine::Parse(const QStringList& arguments, QString* error) {
  ServeCommandLine cl;
  error->clear();
  for (qsizetype i = 1; i < arguments.size() && error->isEmpty(); ++i) {
    const QString& a = arguments[i];
    const auto value = [&](QString* out) {
      if (i + 1 >= arguments.size()) {
        *error = QStringLiteral("%1 needs a value").arg(a);
        return false;
      }
      *out = arguments[++i];
      return true;
    };
    const auto number = [&](int low, int high, int* out) {
      QString text;
      if (!value(&text)) {
        return;
      }
      bool ok = false;
      const int n = text.toInt(&ok);
      if (!ok || n < low || n > high) {
        *error = QStringLiteral("%1 takes a number from %2 to %3, not '%4'")
                     .arg(a)
                     .arg(low)
                     .arg(high)
                     .arg(text);
        return;
      }
      *out = n;
    };
    QString text;
    if (a == QLatin1String("--help") || a == QLatin1String("-h")) {
      cl.help = true;
    } else if (a == QLatin1String("--version")) {
      cl.version = true;
    } else if (a == QLatin1String("--listen")) {
      if (value(&text)) {
        cl.server.address = text.toStdString();
      }
    } else if (a == QLatin1String("--port")) {
      number(0, 65535, &cl.server.port);
    } else if (a == QLatin1String("--tls-cert")) {
      if (value(&text)) {
        cl.server.certFile = text.toStdString();
      }
    } else if (a == QLatin1String("--tls-key")) {
      if (value(&text)) {
        cl.server.keyFile = text.toStdString();
      }
    } else if (a == QLatin1String("--token-file")) {
      if (value(&cl.tokenFile)) {
        ReadToken(cl.tokenFile, &cl.server.token, error);
      }
    } else if (a == QLatin1String("--allowed-host")) {
      if (value(&text)) {
        cl.server.allowedHosts.push_back(text.toStdString());
      }
    } else if (a == QLatin1String("--login")) {
      cl.server.login = true;
    } else if (a == QLatin1String("--login-level")) {
      number(1, 32767, &cl.loginLevel);
    } else if (a == QLatin1String("--max-streams")) {
      number(1, 4096, &cl.server.maxStreams);
    } else if (a == QLatin1String("--ios-host")) {
      value(&cl.iosHost);
    } else if (a == QLatin1String("--journal")) {
      value(&cl.journalFile);
    } else if (a == QLatin1String("--dahs")) {
      if (value(&text)) {
        for (const QString& piece : text.split(QLatin1Char(','), Qt::SkipEmptyParts)) {
          bool ok = false;
          const int id = piece.trimmed().toInt(&ok);
          if (!ok || id < 1) {
            *error =
                QStringLiteral("--dahs takes DAHS numbers separated by commas, not '%1'").arg(text);
            break;
          }
          cl.dahsIds.push_back(id);
        }
      }
    } else {
      *error = QStringLiteral("unknown option '%1'").arg(a);
    }
  }
  return cl;
}

QString ServeCommandLine::HelpText() {
  return QStringLiteral(
      "Usage: telmon-serve [options]\n"
      "Shows every DAHS of the site, live and read-only, in a browser.\n\n"
      "  --listen ADDRESS     address to serve on (default 127.0.0.1); any other than the\n"
      "                       loopback needs --tls-cert, --tls-key and --token-file or --login\n"
      "  --port N             TCP port (default 8080; 0: any free port)\n"
      "  --tls-cert FILE      TLS certificate (PEM)\n"
      "  --tls-key FILE       its private key (PEM)\n"
      "  --token-file FILE    pages need this token (at least 16 characters)\n"
      "  --login              site accounts sign in (the window's privilege service)\n"
      "  --allowed-host NAME  a host name the pages answer to (repeatable; on the loopback\n"
      "                       only loopback names are answered without it)\n"
      "  --login-level N      the privilege level a sign-in needs (default 1)\n"
      "  --dahs LIST          the DAHS numbers to watch (default: every [DAHS<n>] section)\n"
      "  --ios-host HOST      where the I/O servers run (default: this computer)\n"
      "  --journal FILE       the operator journal whose latest entries are shown\n"
      "  --max-streams N      open event streams at most (default 128)\n"
      "  --version, --help\n");
}

WatchQuery ParseWatchIds(const std::string& text) {
  WatchQuery query;
  query.idsText = text;
  const TypedChannelIds parsed =
      ParseTypedChannelIds(QString::fromStdString(text), kWatchListLimit);
  switch (parsed.status) {
    case TypedChannelIds::Status::Ok:
      query.ids = parsed.ids;
      break;
    case TypedChannelIds::Status::Invalid:
      query.error = "'" + parsed.invalidPiece.toStdString() + "' is not valid.";
      break;
    case TypedChannelIds::Status::Overflow:
      query.error = "Overflow";
      break;
    case TypedChannelIds::Status::TooMany:
      query.error = std::to_string(parsed.count) + " channels are more than a watch list holds";
      break;
  }
  return query;
}

std::optional<std::string> SavedWatchList(const std::string& name) {
  // An instance of its own: this runs on an HTTP thread.
  const std::unique_ptr<QSettings> settings = OpenWatchListSettings();
  WatchListStore store(*settings);
  const QString wanted = TrimBlanks(QString::fromStdString(name));
  for (int slot = 1; slot <= kWatchListSlots; ++slot) {
    if (wanted.isEmpty() || wanted == QLatin1String(kEmptySlot) ||
        TrimBlanks(store.Read(WatchListStore::ValueName("List|Desc", slot), QString())) != wanted) {
      continue;
    }
    QStringList ids =
        store.Read(WatchListStore::ValueName("List|", slot), QString()).split(QLatin1Char(';'));
    ids.removeAll(QString());
    return ids.join(QLatin1Char(',')).toStdString();
  }
  return std::nullopt;
}

}  // namespace telmon::serve
