// telmon_journal_writer: one monitor's journaling as a process of its own, for the tests of the
// site's shared journal. It journals into its own outbox file under its own computer name with
// the shared journal on, as the window does, and does what it is told on its input:
//
//   write K   journal K more channel writes (values go on from the last), then "recorded N"
//   finish    forward until nothing waits in the outbox, then "all sent" and exit 0
//
// Its output also carries each message the journal raises, as "message <type> <text>".
// Exit codes: 0 all sent; 2 usage; 3 entries still waiting at the deadline; 4 input ended (or
// a blank line came) before "finish".
//
// Usage: telmon_journal_writer OUTBOX COMPUTER CONNECTION [RETRY_MS] [FINISH_DEADLINE_MS]

#include "journal/JournalForwarder.h"
#include "journal/OperationJournal.h"
#include "util/Clock.h"
#include "util/IRaiseMsg.h"

#include <QCoreApplication>
#include <QDeadlineTimer>
#include <QEventLoop>
#include <QStringList>
#include <QThread>
#include <QTimer>

#include <cstdio>
#include <cstdlib>
#include <functional>
#include <iostream>
#include <string>

namespace telmon {
namespace {

constexpr int kExitAllSent = 0;
constexpr int kExitUsage = 2;
constexpr int kExitStillWaiting = 3;
constexpr int kExitInputEnded = 4;

void Say(const QString& line) {
  std::fputs((line + QLatin1Char('\n')).toUtf8().constData(), stdout);
  std::fflush(stdout);
}

class PrintingSink final : public IRaiseMsg {
 public:
  void RaiseMsg(std::int32_t msgType, const QString& text) override {
    Say(QStringLiteral("message %1 %2").arg(msgType).arg(text));
  }
};

// The lines of standard input, read on a thread of their own and handed to `handle` on the
// main thread; an empty string once the input ends. The thread ends with the process.
void ReadInput(QObject* context, const std::function<void(const QString&)>& handle) {
  QThread* reader = QThread::create([context, handle] {
    std::string line;
    while (std::getline(std::cin, line)) {
      QMetaObject::invokeMethod(
          context, [handle, text = QString::fromStdString(line).trimmed()] { handle(text); },
          Qt::QueuedConnection);
    }
    QMetaObject::invokeMethod(
        context, [handle] { handle(QString()); }, Qt::QueuedConnection);
  });
  reader->start();
}

int Run(const QStringList& args) {
  if (args.size() < 4 || args.size() > 6) {
    std::fputs(
        "usage: telmon_journal_writer OUTBOX COMPUTER CONNECTION [RETRY_MS] "
        "[FINISH_DEADLINE_MS]\n",
        stderr);
    return kExitUsage;
  }
  const int retryMs = args.size() > 4 ? args[4].toInt() : 100;
  const int finishMs = args.size() > 5 ? args[5].toInt() : 60000;
  SystemClock clock;
  PrintingSink sink;
  OperationJournal journal(args[1], {1, args[2]}, sink, clock);
  journal.SetSharedJournal(args[3], retryMs);
  JournalForwarder* forwarder = journal.Forwarder();

  int recorded = 0;
  int exitCode = -1;
  // Forwards until the forwarder has nothing left waiting, trying again every retryMs.
  const auto finish = [&] {
    const QDeadlineTimer deadline(finishMs);
    // Entries that waited for a busy outbox go into it first, as at the program's end.
    journal.Finish();
    for (;;) {
      forwarder->SendNow();
      // What the pass reported is on its way to this thread.
      QCoreApplication::sendPostedEvents();
      if (forwarder->WaitingCount() == 0) {
        Say(QStringLiteral("all sent"));
        return kExitAllSent;
      }
      if (deadline.hasExpired()) {
        Say(QStringLiteral("still waiting %1").arg(forwarder->WaitingCount()));
        return kExitStillWaiting;
      }
      QEventLoop pause;
      QTimer::singleShot(retryMs, &pause, &QEventLoop::quit);
      pause.exec();
    }
  };
  // The reader may hand over a line while the program ends: what it hands it to is never freed.
  auto* context = new QObject;
  ReadInput(context, [&](const QString& line) {
    if (exitCode >= 0) {
      return;
    }
    if (line.startsWith(QLatin1String("write "))) {
      const int count = line.mid(6).toInt();
      for (int i = 0; i < count; ++i) {
        ++recorded;
        const QString value = QString::number(recorded);
        // A channel write as the several-channels dialog journals it.
        journal.Record(
            {QStringLiteral("WriteToChannel"),
             QStringLiteral("12 Stack NOx"),
             value,
             QStringLiteral("<Command action=\"WriteToChannel\" id=\"12\" value=\"%1\"/>")
                 .arg(value),
             JournalOutcome::RecordWritten,
             QString(),
             {{12, value}},
             QString::number(recorded - 1)});
      }
      Say(QStringLiteral("recorded %1").arg(recorded));
    } else if (line == QLatin1String("finish")) {
      exitCode = finish();
    } else if (line.isEmpty()) {
      exitCode = kExitInputEnded;
    }
    if (exitCode >= 0) {
      QCoreApplication::exit(exitCode);
    }
  });
  QCoreApplication::exec();
  return exitCode;
}

}  // namespace
}  // namespace telmon

int main(int argc, char** argv) {
  QCoreApplication app(argc, argv);
  const int exitCode = telmon::Run(QCoreApplication::arguments());
  std::fflush(stdout);
  // The input reader is blocked in a read; end without waiting for it.
  std::_Exit(exitCode);
}
