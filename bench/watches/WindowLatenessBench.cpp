// What a 20,000-record bulk write costs the window: the worst lateness of a 100 ms clock on the
// window's thread and the time to the write's last message, with the write on the database
// worker and, as the baseline in the same run, on the window's thread itself. Four databases:
// a healthy SQLite file, a healthy PostgreSQL server (when TELMON_TEST_PG is set), a port that
// refuses and a listener that never answers. The messages go into the messages window's own
// model. At the end: each case's figures, and the healthy throughput on the worker over that
// on the window's thread.
//
// Also one channel tick of 20,000 watched rows: on the worker (the window's share only)
// against the tick that reads on the window's thread.

#include "bench/support/RealtimeSite.h"
#include "bench/support/RunRecorder.h"
#include "bench/support/StandIns.h"
#include "messages/MessageLogModel.h"
#include "platform/DatabaseWorker.h"
#include "platform/H5DBIL.h"
#include "platform/MessageTypes.h"
#include "platform/SiteSchema.h"
#include "platform/SqlConnection.h"
#include "tests/platform/FaultPeers.h"
#include "util/Clock.h"
#include "views/ChannelListviewManager.h"
#include "views/ChannelUpdateTick.h"
#include "watches/ChannelValueWriter.h"

#include <QCoreApplication>
#include <QElapsedTimer>
#include <QEventLoop>
#include <QSqlQuery>
#include <QTemporaryDir>
#include <QTimer>
#include <QUuid>

#include <benchmark/benchmark.h>

#include <cstdio>

namespace {

using namespace telmon;

constexpr int Records = 20000;
constexpr int ClockMs = 100;
constexpr int Ticks = 20000;

QString Server() {
  return QStringLiteral("postgresql://%1@%2:%3/")
      .arg(qEnvironmentVariable("PGUSER"), qEnvironmentVariable("PGHOST"),
           qEnvironmentVariable("PGPORT"));
}

bool Admin(const QString& sql) {
  SqlConnection admin(Server() + QStringLiteral("postgres"), OpenMode::ReadWrite);
  QSqlDatabase* db = admin.Database(nullptr);
  return db != nullptr && QSqlQuery(*db).exec(sql);
}

void ClearCommands(const QString& connection) {
  SqlConnection link(connection, OpenMode::ReadWrite);
  if (QSqlDatabase* db = link.Database(nullptr)) {
    QSqlQuery(*db).exec(QStringLiteral("DELETE FROM H5IOCOMMAND"));
  }
}

struct Targets {
  QTemporaryDir dir;
  test::SilentListener silent;
  QString connections[4];
  QString pgName;
  Targets() {
    connections[0] = QStringLiteral("sqlite:") + dir.filePath(QStringLiteral("site.db"));
    SiteSchema::InitConnection(connections[0], nullptr);
    if (qEnvironmentVariableIsSet("TELMON_TEST_PG")) {
      pgName = QStringLiteral("telmon_b_") + QUuid::createUuid().toString(QUuid::Id128).left(12);
      if (Admin(QStringLiteral("CREATE DATABASE %1").arg(pgName))) {
        connections[1] = Server() + pgName;
        SiteSchema::InitConnection(connections[1], nullptr);
      }
    }
    // The connect timeout as a site would have it (the default, 3 s).
    connections[2] =
        QStringLiteral("postgresql://telmon@127.0.0.1:%1/site").arg(test::RefusedPort());
    connections[3] = QStringLiteral("postgresql://telmon@127.0.0.1:%1/site").arg(silent.Port());
  }
  ~Targets() {
    if (!pgName.isEmpty()) {
      Admin(QStringLiteral("DROP DATABASE IF EXISTS %1 WITH (FORCE)").arg(pgName));
    }
  }
};

Targets* TheTargets = nullptr;

struct LogSink final : IRaiseMsg {
  SystemClock clock;
  MessageTypes types;
  MessageLogModel log{clock, types};
  int messages = 0;
  void RaiseMsg(std::int32_t type, const QString& text) override {
    ++messages;
    log.AddMsg(type, text);
  }
};

// The worst lateness of a 100 ms clock while `start` runs its work, until `finished` holds.
struct Clocked {
  double worstLateMs = 0;
  double totalMs = 0;
};

Clocked RunClocked(const std::function<void(std::function<void()>)>& start) {
  QEventLoop loop;
  QTimer clock;
  clock.setTimerType(Qt::PreciseTimer);
  clock.setInterval(ClockMs);
  QElapsedTimer sinceLast;
  Clocked result;
  QObject::connect(&clock, &QTimer::timeout, [&] {
    result.worstLateMs =
        std::max(result.worstLateMs, static_cast<double>(sinceLast.restart() - ClockMs));
  });
  QElapsedTimer total;
  QTimer::singleShot(0, [&] {
    sinceLast.start();
    clock.start();
    total.start();
    start([&] {
      result.totalMs = static_cast<double>(total.elapsed());
      loop.quit();
    });
  });
  loop.exec();
  // The clock's lateness over the time of a write that blocked it is also counted.
  result.worstLateMs =
      std::max(result.worstLateMs, static_cast<double>(sinceLast.elapsed() - ClockMs));
  return result;
}

std::vector<ChannelValue> Items() {
  std::vector<ChannelValue> items;
  items.reserve(Records);
  for (int id = 1; id <= Records; ++id) {
    items.push_back({id, Value(13)});
  }
  return items;
}

// range(0): the database (0 SQLite, 1 PostgreSQL, 2 refused port, 3 silent listener);
// range(1): 1 on the worker, 0 on the window's thread.
void BM_BulkWrite(benchmark::State& state) {
  const QString& c = TheTargets->connections[state.range(0)];
  if (c.isEmpty()) {
    state.SkipWithError("no PostgreSQL server (TELMON_TEST_PG unset)");
    return;
  }
  const bool onWorker = state.range(1) == 1;
  H5DBIL dbil;
  dbil.SetSiteID(QStringLiteral("S"), QString(), {c, c, c, c, c});
  LogSink sink;
  ChannelValueWriter writer(dbil, sink);
  std::unique_ptr<DatabaseWorker> worker;
  if (onWorker) {
    worker = std::make_unique<DatabaseWorker>(
        QStringLiteral("S"), QString(), ConnectionStrings{c, c, c, c, c},
        [&](std::int32_t t, const QString& x) { sink.RaiseMsg(t, x); });
    writer.SetWorker(worker.get(), nullptr);
  }
  double worst = 0;
  for (auto _ : state) {
    const Clocked run = RunClocked([&](const std::function<void()>& done) {
      writer.WriteChannelValueRecordsThen(QStringLiteral("TELM-0075"), Items(), {},
                                          [done](const ChannelWriteOutcome&) { done(); });
    });
    state.SetIterationTime(run.totalMs / 1000.0);
    worst = std::max(worst, run.worstLateMs);
    state.PauseTiming();
    if (state.range(0) < 2) {
      ClearCommands(c);
    }
    state.ResumeTiming();
  }
  writer.SetWorker(nullptr, nullptr);
  state.SetItemsProcessed(state.iterations() * Records);
  state.counters["late_ms"] = worst;
  state.counters["messages"] = sink.messages;
}

void WriteCases(benchmark::internal::Benchmark* b) {
  b->ArgNames({"db", "worker"});
  for (int db = 0; db < 4; ++db) {
    for (int worker : {0, 1}) {
      b->Args({db, worker});
    }
  }
  b->Iterations(3)->UseManualTime()->Unit(benchmark::kMillisecond);
}

BENCHMARK(BM_BulkWrite)->Apply(WriteCases);

// One tick of 20,000 watched rows; range(0) 1 reads on the worker. The CPU time is this
// process's; on the worker the window's share is what it does before and after the read.
void BM_Tick(benchmark::State& state) {
  bench::RealtimeSite site(Ticks);
  H5DBIL dbil;
  KeyedListModel model;
  ChannelListviewManager channels;
  channels.Setup({}, model, 0);
  QStringList ids;
  for (int i = 1; i <= Ticks; ++i) {
    ids << QString::number(i);
  }
  channels.AddLsvRowsForChannelIDList(ids.join(QLatin1Char(';')));
  SystemClock clock;
  bench::NoPanels panels;
  bench::QuietSink sink;
  ChannelUpdateTick tick(dbil, site.connection, &channels, clock, panels, sink);
  std::unique_ptr<DatabaseWorker> worker;
  if (state.range(0) == 1) {
    const QString& c = site.connection;
    worker = std::make_unique<DatabaseWorker>(QStringLiteral("S"), QString(),
                                              ConnectionStrings{c, c, c, c, c},
                                              [](std::int32_t, const QString&) {});
    tick.SetWorker(worker.get());
  }
  double worst = 0;
  for (auto _ : state) {
    const Clocked run = RunClocked([&](const std::function<void()>& done) {
      tick.Run();
      QTimer* poll = new QTimer;
      QObject::connect(poll, &QTimer::timeout, [poll, &tick, done] {
        if (!tick.Reading()) {
          poll->deleteLater();
          done();
        }
      });
      poll->start(1);
    });
    worst = std::max(worst, run.worstLateMs);
  }
  tick.SetWorker(nullptr);
  state.counters["late_ms"] = worst;
}

BENCHMARK(BM_Tick)->ArgName("worker")->Arg(0)->Arg(1)->Iterations(5)->UseRealTime()->Unit(
    benchmark::kMillisecond);

}  // namespace

int main(int argc, char** argv) {
  QCoreApplication app(argc, argv);
  benchmark::Initialize(&argc, argv);
  Targets targets;
  TheTargets = &targets;
  bench::RunRecorder reporter;
  benchmark::RunSpecifiedBenchmarks(&reporter);
  const char* names[] = {"SQLite", "PostgreSQL", "refused port", "silent listener"};
  for (int db = 0; db < 4; ++db) {
    auto name = [db](int worker) {
      std::string text = "BM_BulkWrite/db:";
      text += std::to_string(db);
      text += "/worker:";
      text += std::to_string(worker);
      text += "/iterations:3/manual_time";
      return text;
    };
    const auto window = reporter.Of(name(0));
    const auto onWorker = reporter.Of(name(1));
    if (window.itemsPerSecond > 0 && onWorker.itemsPerSecond > 0) {
      std::printf(
          "%s: on the worker %.0f records/s, on the window's thread %.0f records/s, "
          "ratio %.2f\n",
          names[db], onWorker.itemsPerSecond, window.itemsPerSecond,
          onWorker.itemsPerSecond / window.itemsPerSecond);
    }
  }
  const auto tickWindow = reporter.Of("BM_Tick/worker:0/iterations:5/real_time");
  const auto tickWorker = reporter.Of("BM_Tick/worker:1/iterations:5/real_time");
  if (tickWindow.cpuTime > 0) {
    std::printf(
        "20,000-row tick: CPU %.1f ms on the worker path against %.1f ms read on the "
        "window's thread, ratio %.2f\n",
        tickWorker.cpuTime, tickWindow.cpuTime, tickWorker.cpuTime / tickWindow.cpuTime);
  }
  benchmark::Shutdown();
  TheTargets = nullptr;
  return 0;
}
