// telmon-serve: every DAHS of the site, live and read-only, in a browser.

#include "platform/SiteSettingsReader.h"
#include "serve/HttpServer.h"
#include "serve/ServeCommandLine.h"
#include "serve/SiteWatcher.h"

#include "TelmonVersion.h"

#include <QCoreApplication>
#include <QFileInfo>
#include <QTimer>

#include <malloc.h>

#include <atomic>
#include <csignal>
#include <cstdio>

using namespace telmon;
using namespace telmon::serve;

namespace {

std::atomic<bool> stopRequested{false};

extern "C" void OnStopSignal(int /*signal*/) { stopRequested = true; }

int Fail(const QString& text) {
  std::fprintf(stderr, "telmon-serve: %s\n", text.toUtf8().constData());
  return 2;
}

}  // namespace

int main(int argc, char** argv) {
  // One thread per event stream: glibc would give each its own heap arena, and with a hundred
  // streams the memory held grows for minutes. Two arenas keep it flat at a third less.
  mallopt(M_ARENA_MAX, 2);
  QCoreApplication app(argc, argv);
  QCoreApplication::setOrganizationName(QStringLiteral("Quarn"));
  QCoreApplication::setApplicationName(QStringLiteral("telmon-serve"));
  QCoreApplication::setApplicationVersion(QString::fromLatin1(kVersion));
  QString error;
  const ServeCommandLine cl = ServeCommandLine::Parse(QCoreApplication::arguments(), &error);
  if (!error.isEmpty()) {
    Fail(error);
    std::fputs(ServeCommandLine::HelpText().toUtf8().constData(), stderr);
    return 2;
  }
  if (cl.help) {
    std::fputs(ServeCommandLine::HelpText().toUtf8().constData(), stdout);
    return 0;
  }
  if (cl.version) {
    std::printf("telmon-serve %s\n", kVersion);
    return 0;
  }
  // Nothing is watched before the address is known to be safe to serve on.
  SnapshotHub hub;
  WatchRegistry watches;
  LoginDesk logins;
  HttpServer server(cl.server, hub, watches, ParseWatchIds);
  if (cl.server.login) {
    server.SetLoginDesk(&logins);
  }
  server.SetWatchLists(SavedWatchList);
  std::string bindError;
  if (!server.Bind(&bindError)) {
    return Fail(QString::fromStdString(bindError));
  }
  std::vector<std::int32_t> dahsIds = cl.dahsIds;
  if (dahsIds.empty()) {
    QString source = SiteSettingsReader::DefaultSource(&error);
    if (source.isEmpty()) {
      return Fail(error);
    }
    if (QFileInfo(source).isDir()) {
      source += QLatin1Char('/') + QLatin1String(SettingsFileName);
    }
    dahsIds = DahsSections(source);
  }
  WatcherOptions options;
  options.iosHost = cl.iosHost.isEmpty() ? qEnvironmentVariable("TELMON_IOS_HOST") : cl.iosHost;
  options.journalFile = cl.journalFile;
  SiteWatcher watcher(hub, watches, options);
  if (!watcher.Start(dahsIds, &error)) {
    return Fail(error);
  }
  if (cl.server.login) {
    watcher.AnswerLogins(&logins, cl.loginLevel);
  }
  server.Start();
  std::fprintf(stderr, "telmon-serve: serving %s://%s:%d/\n",
               cl.server.certFile.empty() ? "http" : "https", cl.server.address.c_str(),
               server.Port());
  std::signal(SIGINT, OnStopSignal);
  std::signal(SIGTERM, OnStopSignal);
  QTimer stopWatch;
  QObject::connect(&stopWatch, &QTimer::timeout, &app, [] {
    if (stopRequested) {
      QCoreApplication::quit();
    }
  });
  stopWatch.start(200);
  const int code = QCoreApplication::exec();
  server.Stop();
  return code;
}
