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

}  // namespace telmon::serve
