// telmon-check: commissioning checks against a DAHS's I/O server without a window.

#include "check/CheckCommandLine.h"
#include "check/CheckCommands.h"
#include "check/CheckSession.h"
#include "check/ConsolePrompter.h"
#include "check/Interrupts.h"
#include "check/Sequence.h"
#include "util/Clock.h"

#include "TelmonVersion.h"

#include <QCoreApplication>

#include <cstdio>

using namespace telmon;
using namespace telmon::check;

namespace {

void Fail(const QString& text) {
  std::fprintf(stderr, "telmon-check: %s\n", text.toUtf8().constData());
}

// Start-up as telmon does it, then the full information from the I/O server.
bool StartSession(CheckSession& session, const CheckCommandLine& cl, bool needIos) {
  QString error;
  // As telmon: where the computer's own name does not reach the I/O server, TELMON_IOS_HOST
  // names it; --ios-host overrides both.
  const QString host = cl.iosHost.isEmpty() ? qEnvironmentVariable("TELMON_IOS_HOST") : cl.iosHost;
  if (!session.Start(cl.dahsId, &error, host)) {
    Fail(error);
    return false;
  }
  if (needIos && !session.WaitForFullInfo(30000)) {
    Fail(QStringLiteral("no full information from the I/O server of DAHS %1 (is it running?)")
             .arg(session.Settings().DahsID()));
    return false;
  }
  return true;
}

int Run(const CheckCommandLine& cl) {
  std::optional<Sequence> sequence;
  if (cl.command == CheckCommandLine::Command::Run) {
    // The whole file is checked before anything is connected or sent.
    LoadResult loaded = LoadSequenceFile(cl.argument);
    if (!loaded.sequence) {
      Fail(loaded.error);
      return ExitUsage;
    }
    sequence = std::move(loaded.sequence);
  }
  ConsolePrompter prompter(cl.passwordFile, cl.verbose ? stderr : nullptr);
  SystemClock clock;
  CheckSession session(prompter, clock, cl.verbose ? stderr : nullptr);
  session.SetJournalFile(cl.journalFile);
  if (!StartSession(session, cl, cl.command != CheckCommandLine::Command::Watch)) {
    return ExitUsage;
  }
  if (cl.command == CheckCommandLine::Command::Run && sequence->NeedsEditRights() &&
      !session.EditGate().AskWhetherUserWantsToEnableEditing()) {
    Fail(QStringLiteral("Access denied: the sequence changes the plant and needs an account with "
                        "privilege level %1; nothing was sent.")
             .arg(EditPrivilege));
    return ExitNoRights;
  }
  // From here on Ctrl-C is the program's: a run goes to its release, a watch ends. Before it,
  // nothing has been sent and the default ending is right.
  Interrupts interrupts;
  switch (cl.command) {
    case CheckCommandLine::Command::Status:
      return StatusCommand(session, cl, stdout);
    case CheckCommandLine::Command::Watch:
      return WatchCommand(session, cl, interrupts, stdout);
    default:
      break;
  }
  return RunCommand(session, *sequence, cl, interrupts, stdout);
}

}  // namespace

int main(int argc, char** argv) {
  QCoreApplication app(argc, argv);
  QCoreApplication::setOrganizationName(QStringLiteral("Quarn"));
  QCoreApplication::setApplicationName(QStringLiteral("telmon-check"));
  QCoreApplication::setApplicationVersion(QString::fromLatin1(kVersion));
  QString error;
  const CheckCommandLine cl = CheckCommandLine::Parse(QCoreApplication::arguments(), &error);
  if (!error.isEmpty()) {
    Fail(error);
    std::fputs(CheckCommandLine::HelpText().toUtf8().constData(), stderr);
    return ExitUsage;
  }
  if (cl.command == CheckCommandLine::Command::Help) {
    std::fputs(CheckCommandLine::HelpText().toUtf8().constData(), stdout);
    return ExitPassed;
  }
  if (cl.command == CheckCommandLine::Command::Version) {
    std::printf("telmon-check %s\n", kVersion);
    return ExitPassed;
  }
  return Run(cl);
}
