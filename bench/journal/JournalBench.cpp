// What the operator journal costs. A grouped write of 20,000 "WriteToChannel" records into an
// SQLite site database with the journal on (one entry with the count and the IDs) against the
// same write with it off; and a 100,000-entry journal opened (read, loaded into the table
// model, the first screen of rows fetched) and filtered as the operator types. And the
// window's 100 ms clock while operations are journaled into a file another program holds
// locked, against the same with the file free. The ratios to the baselines measured in the
// same run are printed at the end.

#include "bench/support/BenchProgram.h"
#include "bench/support/StandIns.h"
#include "journal/JournalTableModel.h"
#include "journal/OperationJournal.h"
#include "journal/SharedJournal.h"
#include "platform/H5DBIL.h"
#include "platform/SiteSchema.h"
#include "platform/SqlConnection.h"
#include "util/Clock.h"
#include "watches/ChannelValueWriter.h"

#include <QCoreApplication>
#include <QElapsedTimer>
#include <QEventLoop>
#include <QSqlDatabase>
#include <QSqlQuery>
#include <QTemporaryDir>
#include <QTimer>

#include <benchmark/benchmark.h>

#include <cstdio>
#include <map>

namespace {

using telmon::bench::QuietSink;

constexpr int Records = 20000;
constexpr int JournalEntries = 100000;
constexpr int FirstScreenRows = 40;

struct Files {
  QTemporaryDir dir;
  QString site = QStringLiteral("sqlite:") + dir.filePath(QStringLiteral("site.db"));
  QString bigJournal = dir.filePath(QStringLiteral("big.sqlite"));
  std::vector<telmon::ChannelValue> items;

  Files() {
    telmon::SqlConnection link(site, telmon::OpenMode::Create);
    telmon::SiteSchema::Init(*link.Database(nullptr), nullptr);
    for (int id = 1; id <= Records; ++id) {
      items.push_back({id, telmon::Value(13)});
    }
    FillBigJournal();
  }

  // The schema as the program makes it, then the entries in one transaction.
  void FillBigJournal() const {
    telmon::ManualClock clock;
    QuietSink sink;
    telmon::OperationJournal journal(bigJournal, {1, QStringLiteral("PC")}, sink, clock);
    journal.Record({QStringLiteral("Set clock"), {}, {}, {}, {}, {}, {}});
    QSqlDatabase db = QSqlDatabase::addDatabase(QStringLiteral("QSQLITE"), QStringLiteral("fill"));
    db.setDatabaseName(bigJournal);
    db.open();
    db.transaction();
    QSqlQuery insert(db);
    insert.prepare(QStringLiteral(
        "INSERT INTO journal (time_utc, time_local, dahs, account, computer, operation, targets, "
        "value, command, outcome) VALUES (?, ?, 1, ?, 'PC', ?, ?, ?, ?, 'sent')"));
    const char* operations[] = {"WriteToChannel", "ForceChannelValue", "Random values on",
                                "Set clock"};
    QDateTime t(QDate(2025, 1, 1), QTime(0, 0), Qt::UTC);
    for (int i = 1; i < JournalEntries; ++i) {
      t = t.addSecs(300);
      insert.addBindValue(t.toString(Qt::ISODateWithMs));
      insert.addBindValue(t.toString(QStringLiteral("yyyy-MM-dd HH:mm:ss")));
      insert.addBindValue(i % 7 == 0 ? QStringLiteral("super") : QStringLiteral("tech"));
      insert.addBindValue(QLatin1String(operations[i % 4]));
      insert.addBindValue(QStringLiteral("%1 Stack NOx ppm").arg(10000 + i % 5000));
      insert.addBindValue(QString::number(i % 100));
      insert.addBindValue(QStringLiteral(R"(<Command action="WriteToChannel" id="%1" value="%2"/>)")
                              .arg(10000 + i % 5000)
                              .arg(i % 100));
      insert.exec();
    }
    insert.finish();
    db.commit();
    db.close();
    db = QSqlDatabase();
    QSqlDatabase::removeDatabase(QStringLiteral("fill"));
  }
};

Files* TheFiles = nullptr;

// The clock's worst lateness and the longest Record (ms), file free [0] and locked [1].
struct ClockFigures {
  double lateMs = -1;
  double recordMs = -1;
};
ClockFigures TheClock[2];
// The clock's worst lateness while the journal opens, in one piece [0] and in chunks [1].
double TheOpenLate[2] = {-1, -1};

void ClearCommands() {
  telmon::SqlConnection link(TheFiles->site, telmon::OpenMode::ReadWrite);
  QSqlQuery(*link.Database(nullptr)).exec(QStringLiteral("DELETE FROM H5IOCOMMAND"));
}

// The grouped write of the bulk pages, journal off (0), on (1), or on with the site's shared
// journal (2: the PostgreSQL server TELMON_BENCH_PG names, forwarding on its own thread).
void BM_GroupedWrite(benchmark::State& state) {
  const QString shared = qEnvironmentVariable("TELMON_BENCH_PG");
  if (state.range(0) == 2 && shared.isEmpty()) {
    state.SkipWithError("set TELMON_BENCH_PG to a postgresql:// connection string");
    return;
  }
  telmon::H5DBIL dbil;
  dbil.SetSiteID(QStringLiteral("S"), QString(), {TheFiles->site, {}, {}, {}, TheFiles->site});
  QuietSink sink;
  telmon::ManualClock clock;
  telmon::OperationJournal journal(TheFiles->dir.filePath(QStringLiteral("bench-journal.sqlite")),
                                   {1, QStringLiteral("PC")}, sink, clock);
  telmon::ChannelValueWriter writer(dbil, sink);
  if (state.range(0) >= 1) {
    writer.SetJournal(&journal);
  }
  if (state.range(0) == 2) {
    telmon::SqlConnection server(shared, telmon::OpenMode::ReadWrite);
    QString error;
    QSqlDatabase* db = server.Database(&error);
    if (db == nullptr || !telmon::SharedJournal::InitSchema(*db, &error)) {
      state.SkipWithError(qPrintable(error));
      return;
    }
    journal.SetSharedJournal(shared);
  }
  for (auto _ : state) {
    writer.WriteChannelValueRecords(QStringLiteral("TELM-0075"), TheFiles->items,
                                    QStringLiteral("Bulk mode-code write"));
    state.PauseTiming();
    ClearCommands();
    state.ResumeTiming();
  }
  if (sink.errors != 0) {
    state.SkipWithError("the write reported failures");
  }
  state.SetItemsProcessed(state.iterations() * Records);
}

// Opening the journal window: every entry read, the model filled, the first screen fetched.
void BM_OpenJournal(benchmark::State& state) {
  QuietSink sink;
  telmon::ManualClock clock;
  for (auto _ : state) {
    telmon::OperationJournal journal(TheFiles->bigJournal, {}, sink, clock);
    telmon::JournalTableModel model;
    model.SetEntries(journal.ReadAll());
    telmon::JournalFilterProxy proxy;
    proxy.setSourceModel(&model);
    for (int row = 0; row < FirstScreenRows; ++row) {
      for (int column = 0; column < telmon::JournalTableModel::ColumnCount; ++column) {
        benchmark::DoNotOptimize(proxy.index(row, column).data());
      }
    }
  }
  state.SetItemsProcessed(state.iterations() * JournalEntries);
}

// Opening the journal window as it does it now: the file read 10,000 entries at a time, the
// window's events run between chunks (the progress bar's part), while a 100 ms clock runs;
// range(0) 0: read in one piece, as before. Counter: the clock's worst lateness.
void BM_OpenJournalClock(benchmark::State& state) {
  constexpr int kClockMs = 100;
  QuietSink sink;
  telmon::ManualClock clock;
  double worstLate = 0;
  for (auto _ : state) {
    telmon::OperationJournal journal(TheFiles->bigJournal, {}, sink, clock);
    telmon::JournalTableModel model;
    QTimer tick;
    tick.setTimerType(Qt::PreciseTimer);
    QElapsedTimer sinceLast;
    QObject::connect(&tick, &QTimer::timeout, [&] {
      worstLate = std::max(worstLate, static_cast<double>(sinceLast.restart() - kClockMs));
    });
    sinceLast.start();
    tick.start(kClockMs);
    bool stopped = false;
    model.SetEntries(state.range(0) == 0 ? journal.ReadAll()
                                         : journal.ReadForWindow(
                                               [](std::size_t, std::size_t) {
                                                 QCoreApplication::processEvents();
                                                 return true;
                                               },
                                               &stopped));
    QCoreApplication::processEvents();
    worstLate = std::max(worstLate, static_cast<double>(sinceLast.elapsed() - kClockMs));
    benchmark::DoNotOptimize(model.rowCount());
  }
  state.counters["late_ms"] = worstLate;
  TheOpenLate[state.range(0)] = worstLate;
  state.SetItemsProcessed(state.iterations() * JournalEntries);
}

// One keystroke in the filter box over 100,000 entries, and the first screen of the result.
void BM_FilterKeystroke(benchmark::State& state) {
  QuietSink sink;
  telmon::ManualClock clock;
  telmon::OperationJournal journal(TheFiles->bigJournal, {}, sink, clock);
  telmon::JournalTableModel model;
  model.SetEntries(journal.ReadAll());
  telmon::JournalFilterProxy proxy;
  proxy.setSourceModel(&model);
  const QString texts[] = {QStringLiteral("1"), QStringLiteral("10"), QStringLiteral("104"),
                           QStringLiteral("1042")};
  std::size_t next = 0;
  for (auto _ : state) {
    telmon::JournalFilter filter;
    filter.anyText = texts[next++ % std::size(texts)];
    proxy.SetFilter(filter);
    for (int row = 0; row < std::min(FirstScreenRows, proxy.rowCount()); ++row) {
      benchmark::DoNotOptimize(proxy.index(row, 0).data());
    }
  }
  state.SetItemsProcessed(state.iterations() * JournalEntries);
}

// The window's thread journals an operation every 10 ms for a second while its 100 ms clock
// runs; range(0) 1: another connection takes the journal file's write lock for 150 ms, frees
// it for 150 ms, and so on (each spell's entries wait for the journal's writer and reach the
// file when the lock goes). Counters: the clock's worst lateness and the longest Record.
void BM_ClockWhileJournaling(benchmark::State& state) {
  constexpr int kClockMs = 100;
  constexpr int kEveryMs = 10;
  constexpr int kEntries = 100;
  const bool locked = state.range(0) == 1;
  const QString file = TheFiles->dir.filePath(QStringLiteral("clock-%1.sqlite").arg(locked));
  QuietSink sink;
  telmon::ManualClock clock;
  telmon::OperationJournal journal(file, {1, QStringLiteral("PC")}, sink, clock);
  journal.Record({QStringLiteral("Set clock"), {}, {}, {}, {}, {}, {}});
  const QString lockName = QStringLiteral("locker");
  {
    QSqlDatabase db = QSqlDatabase::addDatabase(QStringLiteral("QSQLITE"), lockName);
    db.setDatabaseName(file);
    db.open();
  }
  double worstLate = 0;
  double longestRecord = 0;
  for (auto _ : state) {
    bool holding = false;
    auto toggle = [&] {
      holding = !holding;
      QSqlQuery(QSqlDatabase::database(lockName))
          .exec(holding ? QStringLiteral("BEGIN IMMEDIATE") : QStringLiteral("COMMIT"));
    };
    QTimer locker;
    locker.setInterval(150);
    QObject::connect(&locker, &QTimer::timeout, toggle);
    if (locked) {
      toggle();
      locker.start();
    }
    QEventLoop loop;
    QTimer tick;
    tick.setTimerType(Qt::PreciseTimer);
    tick.setInterval(kClockMs);
    QElapsedTimer sinceLast;
    QObject::connect(&tick, &QTimer::timeout, [&] {
      worstLate = std::max(worstLate, static_cast<double>(sinceLast.restart() - kClockMs));
    });
    QTimer work;
    work.setTimerType(Qt::PreciseTimer);
    work.setInterval(kEveryMs);
    int recorded = 0;
    QObject::connect(&work, &QTimer::timeout, [&] {
      QElapsedTimer one;
      one.start();
      journal.Record({QStringLiteral("WriteToChannel"),
                      QStringLiteral("12 Stack"),
                      QString::number(recorded),
                      QStringLiteral("<Record/>"),
                      telmon::JournalOutcome::RecordWritten,
                      {},
                      {}});
      longestRecord = std::max(longestRecord, static_cast<double>(one.nsecsElapsed()) / 1e6);
      if (++recorded == kEntries) {
        loop.quit();
      }
    });
    sinceLast.start();
    tick.start();
    work.start();
    loop.exec();
    worstLate = std::max(worstLate, static_cast<double>(sinceLast.elapsed() - kClockMs));
    state.PauseTiming();
    locker.stop();
    if (holding) {
      toggle();
    }
    if (journal.Finish() != 0) {
      state.SkipWithError("entries were not written");
    }
    state.ResumeTiming();
  }
  QSqlDatabase::database(lockName, false).close();
  QSqlDatabase::removeDatabase(lockName);
  state.counters["late_ms"] = worstLate;
  state.counters["record_ms"] = longestRecord;
  TheClock[state.range(0)] = {worstLate, longestRecord};
  state.SetItemsProcessed(state.iterations() * kEntries);
}

BENCHMARK(BM_GroupedWrite)
    ->ArgName("journal")
    ->Arg(0)
    ->Arg(1)
    ->Arg(2)
    ->Iterations(16)
    ->UseRealTime()
    ->Unit(benchmark::kMillisecond);
BENCHMARK(BM_OpenJournal)->Iterations(3)->UseRealTime()->Unit(benchmark::kMillisecond);
BENCHMARK(BM_FilterKeystroke)->Iterations(8)->UseRealTime()->Unit(benchmark::kMillisecond);
BENCHMARK(BM_OpenJournalClock)
    ->ArgName("chunks")
    ->Arg(0)
    ->Arg(1)
    ->Iterations(3)
    ->UseRealTime()
    ->Unit(benchmark::kMillisecond);
BENCHMARK(BM_ClockWhileJournaling)
    ->ArgName("locked")
    ->Arg(0)
    ->Arg(1)
    ->Iterations(3)
    ->UseRealTime()
    ->Unit(benchmark::kMillisecond);

}  // namespace

int main(int argc, char** argv) {
  telmon::bench::BenchProgram<QCoreApplication> program(argc, argv);
  Files files;
  TheFiles = &files;
  const telmon::bench::RunRecorder& reporter = program.Run();
  const auto off = reporter.Of("BM_GroupedWrite/journal:0/iterations:16/real_time");
  const auto on = reporter.Of("BM_GroupedWrite/journal:1/iterations:16/real_time");
  if (off.realTime > 0 && on.realTime > 0) {
    const double cpuRatio = on.cpuTime / off.cpuTime;
    std::printf(
        "20,000-record write, journal on / off: %.3f (%+.1f %%) real time, %.3f (%+.1f %%) "
        "CPU time\n",
        on.realTime / off.realTime, 100.0 * (on.realTime / off.realTime - 1.0), cpuRatio,
        100.0 * (cpuRatio - 1.0));
  }
  const auto shared = reporter.Of("BM_GroupedWrite/journal:2/iterations:16/real_time");
  if (off.realTime > 0 && shared.realTime > 0) {
    std::printf("20,000-record write, shared journal on / journal off: %.3f real time, %.3f CPU\n",
                shared.realTime / off.realTime, shared.cpuTime / off.cpuTime);
  }
  const auto open = reporter.Of("BM_OpenJournal");
  const auto key = reporter.Of("BM_FilterKeystroke");
  if (off.realTime > 0 && open.realTime > 0 && key.realTime > 0) {
    std::printf(
        "open 100,000-entry journal to first rows: %.0f ms (%.2f x the 20,000-record "
        "write); one filter keystroke: %.0f ms (%.2f x)\n",
        open.realTime, open.realTime / off.realTime, key.realTime, key.realTime / off.realTime);
  }
  const auto whole = reporter.Of("BM_OpenJournalClock/chunks:0/iterations:3/real_time");
  const auto chunked = reporter.Of("BM_OpenJournalClock/chunks:1/iterations:3/real_time");
  if (whole.realTime > 0 && chunked.realTime > 0) {
    std::printf(
        "open 100,000-entry journal in chunks / in one piece: %.2f real time (%.0f / %.0f ms); "
        "100 ms clock's worst lateness %.0f / %.0f ms\n",
        chunked.realTime / whole.realTime, chunked.realTime, whole.realTime, TheOpenLate[1],
        TheOpenLate[0]);
  }
  if (TheClock[0].lateMs >= 0 && TheClock[1].lateMs >= 0) {
    std::printf(
        "100 ms clock while journaling every 10 ms, file locked / free: worst lateness %.1f / "
        "%.1f ms (%.2f x), longest Record %.1f / %.1f ms\n",
        TheClock[1].lateMs, TheClock[0].lateMs,
        TheClock[1].lateMs / std::max(1.0, TheClock[0].lateMs), TheClock[1].recordMs,
        TheClock[0].recordMs);
  }
  TheFiles = nullptr;
  return 0;
}
