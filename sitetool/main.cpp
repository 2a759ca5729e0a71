// telmon-site: the site administrator's command-line tool.

#include "sitetool/SiteTool.h"

#include <termios.h>
#include <unistd.h>
#include <QCoreApplication>
#include <QTextStream>

#include <cstdio>
#include <iostream>
#include <string>

namespace {

// Reads one line from standard input; when it is a terminal, asks and hides the typing.
std::optional<QString> ReadPassword(const QString& prompt) {
  const bool terminal = isatty(STDIN_FILENO) != 0;
  termios saved{};
  if (terminal) {
    std::cerr << prompt.toStdString() << std::flush;
    tcgetattr(STDIN_FILENO, &saved);
    termios quiet = saved;
    quiet.c_lflag &= ~static_cast<tcflag_t>(ECHO);
    tcsetattr(STDIN_FILENO, TCSANOW, &quiet);
  }
  std::string line;
  const bool read = static_cast<bool>(std::getline(std::cin, line));
  if (terminal) {
    tcsetattr(STDIN_FILENO, TCSANOW, &saved);
    std::cerr << std::endl;
  }
  if (!read) {
    return std::nullopt;
  }
  if (!line.empty() && line.back() == '\r') {
    line.pop_back();
  }
  return QString::fromStdString(line);
}

}  // namespace

int main(int argc, char* argv[]) {
  QCoreApplication app(argc, argv);
  QTextStream out(stdout);
  QTextStream err(stderr);
  QStringList arguments = QCoreApplication::arguments();
  arguments.removeFirst();
  return telmon::sitetool::Run(arguments, out, err, ReadPassword);
}
