// iossim: a simulated I/O server for one DAHS of a site.

#include "iossim/SimOptions.h"
#include "iossim/Simulator.h"
#include "util/Clock.h"

#include "TelmonVersion.h"

#include <QCoreApplication>
#include <QDateTime>
#include <QSocketNotifier>

#include <sys/signalfd.h>
#include <unistd.h>
#include <csignal>
#include <cstdio>

namespace {

void PrintLine(FILE* stream, const QString& line) {
  std::fputs(line.toLocal8Bit().constData(), stream);
  std::fputc('\n', stream);
  std::fflush(stream);
}

// SIGTERM and SIGINT are blocked in every thread and read from a descriptor on the event loop,
// so that a stop request ends the run through the ordinary shutdown path.
sigset_t StopSignals() {
  sigset_t set;
  sigemptyset(&set);
  sigaddset(&set, SIGTERM);
  sigaddset(&set, SIGINT);
  return set;
}

void StopOnSignal(int signalFd) {
  signalfd_siginfo info{};
  const bool got = read(signalFd, &info, sizeof info) == static_cast<ssize_t>(sizeof info);
  PrintLine(stderr, QStringLiteral("iossim: stopping on signal %1").arg(got ? info.ssi_signo : 0));
  QCoreApplication::quit();
}

}  // namespace

int main(int argc, char** argv) {
  const sigset_t stopSignals = StopSignals();
  pthread_sigmask(SIG_BLOCK, &stopSignals, nullptr);
  QCoreApplication app(argc, argv);
  QCoreApplication::setApplicationName(QStringLiteral("iossim"));
  QCoreApplication::setApplicationVersion(QString::fromLatin1(telmon::kVersion));

  telmon::iossim::SimOptions options;
  QString message;
  switch (telmon::iossim::ParseSimOptions(QCoreApplication::arguments(), &options, &message)) {
    case telmon::iossim::OptionsOutcome::ShowHelp:
      PrintLine(stdout, message);
      return 0;
    case telmon::iossim::OptionsOutcome::Error:
      PrintLine(stderr, QStringLiteral("iossim: ") + message);
      return 2;
    case telmon::iossim::OptionsOutcome::Run:
      break;
  }

  const int signalFd = signalfd(-1, &stopSignals, SFD_NONBLOCK | SFD_CLOEXEC);
  QSocketNotifier stopNotifier(signalFd, QSocketNotifier::Read);
  QObject::connect(&stopNotifier, &QSocketNotifier::activated, &app,
                   [signalFd] { StopOnSignal(signalFd); });

  telmon::SystemClock clock;
  telmon::iossim::Simulator simulator(options, clock);
  QObject::connect(&simulator, &telmon::iossim::Simulator::Log, &app, [](const QString& line) {
    PrintLine(stderr,
              QDateTime::currentDateTime().toString(QStringLiteral("HH:mm:ss.zzz ")) + line);
  });
  QString error;
  if (!simulator.Start(&error)) {
    PrintLine(stderr, QStringLiteral("iossim: ") + error);
    close(signalFd);
    return 1;
  }
  PrintLine(stdout, QStringLiteral("listening on ") + simulator.ListenText());
  const int rc = QCoreApplication::exec();
  close(signalFd);
  return rc;
}
