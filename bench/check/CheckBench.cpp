// telmon-check's runner against the I/O server simulator as a real process: 500 force steps
// and 500 expect-value steps (a channel forced, then its value awaited in the realtime
// database), on the demo site. What is measured is the runner's own time per step, beyond the
// waits for the simulator and the database (the expectations poll every 250 ms and the
// simulator writes its realtime values once a second, so the wall time is mostly waiting).
// The baseline, measured in the same run, is the bare work of one force-and-expect pair done
// directly: one command record, one command sent, one realtime read.

#include "bench/support/BenchProgram.h"
#include "check/CheckSession.h"
#include "check/ConsolePrompter.h"
#include "check/SequenceRunner.h"
#include "ioslink/IosCommands.h"
#include "iossim/DemoSite.h"

#include <QCoreApplication>
#include <QElapsedTimer>
#include <QFile>
#include <QProcess>
#include <QSqlDatabase>
#include <QSqlQuery>
#include <QTcpServer>
#include <QTemporaryDir>

#include <benchmark/benchmark.h>

#include <cstdio>

using namespace telmon;
using namespace telmon::check;

namespace {

constexpr int Pairs = 500;
constexpr int ForcedChannels[] = {1216, 1217, 1218};

struct Plant {
  QTemporaryDir dir;
  QProcess sim;
  SystemClock clock;
  std::unique_ptr<ConsolePrompter> prompter;
  std::unique_ptr<CheckSession> session;

  bool Start() {
    QTcpServer probe;
    probe.listen(QHostAddress::LocalHost, 0);
    const int port = probe.serverPort();
    probe.close();
    QString error;
    if (!iossim::WriteDemoSite(dir.path(), &error)) {
      return false;
    }
    {
      QSqlDatabase db = QSqlDatabase::addDatabase(QStringLiteral("QSQLITE"), QStringLiteral("b"));
      db.setDatabaseName(dir.filePath(QStringLiteral("dahs1.sqlite")));
      db.open();
      QSqlQuery(db).exec(QStringLiteral("UPDATE H5LOOKUP SET lookupvalue = '%1' WHERE lookupkey = "
                                        "'IOS:TcpListenPortForMonitorConnections'")
                             .arg(port));
    }
    QSqlDatabase::removeDatabase(QStringLiteral("b"));
    sim.setProcessChannelMode(QProcess::MergedChannels);
    sim.start(QStringLiteral(TELMON_IOSSIM_PATH),
              {QStringLiteral("--settings"), dir.path(), QStringLiteral("--port"),
               QString::number(port)});
    QByteArray log;
    if (!RunUntil([&] { return (log += sim.readAll()).contains("listening on"); }, 20000)) {
      std::fprintf(stderr, "%s\n", log.constData());
      return false;
    }
    qputenv("HALVO5_SYSTEM_FOLDER", dir.path().toUtf8());
    qputenv(AccountVariable, "super");
    QFile password(dir.filePath(QStringLiteral("password")));
    password.open(QIODevice::WriteOnly);
    password.write("super-demo\n");
    password.close();
    prompter = std::make_unique<ConsolePrompter>(password.fileName(), nullptr);
    session = std::make_unique<CheckSession>(*prompter, clock, nullptr);
    return session->Start(1, &error, QStringLiteral("127.0.0.1")) &&
           session->WaitForFullInfo(30000) &&
           session->EditGate().AskWhetherUserWantsToEnableEditing();
  }
  ~Plant() {
    session.reset();
    sim.kill();
    sim.waitForFinished(5000);
  }
};

Plant* ThePlant = nullptr;
double RunnerUsPerPair = 0;
double BaselineUsPerPair = 0;

// Groups of three forces then three expectations, so that one realtime write serves three.
Sequence ForceAndExpect(int base) {
  Sequence sequence;
  for (int i = 0; i < Pairs; i += 3) {
    const int group = std::min(3, Pairs - i);
    for (int k = 0; k < group; ++k) {
      Step force;
      force.kind = StepKind::Force;
      force.channel = ForcedChannels[k];
      force.value = QString::number(base + i + k);
      sequence.steps.push_back(force);
    }
    for (int k = 0; k < group; ++k) {
      Step expect;
      expect.kind = StepKind::ExpectValue;
      expect.channel = ForcedChannels[k];
      expect.expected = QString::number(base + i + k);
      expect.timeoutMs = 15000;
      sequence.steps.push_back(expect);
    }
  }
  return sequence;
}

void BM_RunnerForceAndExpect(benchmark::State& state) {
  int base = 1000;
  for (auto _ : state) {
    SequenceRunner runner(*ThePlant->session, RunnerOptions{});
    const RunReport report = runner.Run(ForceAndExpect(base));
    base += 1000;
    qint64 busyUs = 0;
    int passed = 0;
    for (const StepResult& r : report.results) {
      busyUs += r.busyUs;
      passed += r.passed() ? 1 : 0;
    }
    RunnerUsPerPair = static_cast<double>(busyUs) / Pairs;
    state.counters["steps"] = static_cast<double>(report.results.size());
    state.counters["passed"] = passed;
    state.counters["busy_us_per_pair"] = RunnerUsPerPair;
    state.counters["wall_ms_per_pair"] = static_cast<double>(report.TotalMs()) / Pairs;
  }
}
BENCHMARK(BM_RunnerForceAndExpect)->Iterations(1)->Unit(benchmark::kSecond);

void BM_BareForceAndRead(benchmark::State& state) {
  CheckSession& s = *ThePlant->session;
  const QString connection = s.Settings().SqlConnectionString_Realtime();
  for (auto _ : state) {
    QElapsedTimer timer;
    timer.start();
    for (int i = 0; i < Pairs; ++i) {
      const int channel = ForcedChannels[i % 3];
      const Value value(i);
      s.Writer().WriteChannelValueRecord(QStringLiteral("TELM-0038"), channel, value);
      s.Session().SendCommand(IosCommands::ForceChannelValue(channel, value));
      benchmark::DoNotOptimize(
          s.Dbil().ReadCurrentValues(connection, QDateTime(), QString::number(channel) + 'C'));
    }
    BaselineUsPerPair = static_cast<double>(timer.nsecsElapsed()) / 1000.0 / Pairs;
    state.counters["us_per_pair"] = BaselineUsPerPair;
  }
}
BENCHMARK(BM_BareForceAndRead)->Iterations(1)->Unit(benchmark::kMillisecond);

}  // namespace

int main(int argc, char** argv) {
  telmon::bench::BenchProgram<QCoreApplication> program(argc, argv);
  Plant plant;
  if (!plant.Start()) {
    std::fprintf(stderr, "the simulator or the session did not start\n");
    return 1;
  }
  ThePlant = &plant;
  program.Run();
  if (BaselineUsPerPair > 0 && RunnerUsPerPair > 0) {
    std::printf(
        "runner %.0f us per force-and-expect pair beyond the waits, bare work %.0f us, "
        "ratio %.2f\n",
        RunnerUsPerPair, BaselineUsPerPair, RunnerUsPerPair / BaselineUsPerPair);
  }
  ThePlant = nullptr;
  return 0;
}
