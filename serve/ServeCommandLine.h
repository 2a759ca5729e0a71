#pragma once

// telmon-serve's command line.

#include "serve/HttpServer.h"

#include <QString>
#include <QStringList>

#include <cstdint>
#include <vector>

namespace telmon::serve {

struct ServeCommandLine {
  ServerOptions server;
  QString tokenFile;
  QString iosHost;
  QString journalFile;
  int loginLevel = 1;
  std::vector<std::int32_t> dahsIds;  // empty: every [DAHS<n>] section
  bool help = false;
  bool version = false;

  // False with `error` set for an option it cannot read; the token file is read here.
  static ServeCommandLine Parse(const QStringList& arguments, QString* error);
  static QString HelpText();
};

// The watch page's `?ids=` read with the add-channel dialog's rules and list limit.
WatchQuery ParseWatchIds(const std::string& text);
// The channels of the saved watch list named `name` (the watch-lists dialog's ten lists of the
// user telmon-serve runs as), as "1216,1217"; empty when no list has that name.
std::optional<std::string> SavedWatchList(const std::string& name);

}  // namespace telmon::serve
