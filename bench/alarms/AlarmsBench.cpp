// What the alarms page costs. An SQLite alarms database with 10,000 current alarms and, for
// each of two DAHS units, 1,000,000 history rows (a month's, and a day's): the refresh that runs
// with every channel tick (the alarms query, the rows read into alarms, the list brought up to
// date) against the bare query (the same statement, every value of every row fetched); and the
// statistics window's figures worked out over the whole history. The ratios to the bare query
// measured in the same run are printed at the end.

#include "alarms/AlarmListManager.h"
#include "alarms/AlarmStatistics.h"
#include "alarms/AlarmStore.h"
#include "bench/support/RunRecorder.h"
#include "platform/SiteSchema.h"
#include "platform/SqlConnection.h"

#include <QCoreApplication>
#include <QSqlQuery>
#include <QSqlRecord>
#include <QTemporaryDir>

#include <benchmark/benchmark.h>

#include <cstdio>

namespace {

constexpr int CurrentAlarms = 10000;
constexpr int HistoryRows = 1000000;
const QDateTime Now(QDate(2026, 11, 25), QTime(18, 0));

const char* const States[] = {"ACTIVE_UNACK", "ACTIVE_ACK", "CLEARED_UNACK", "SHELVED"};
const char* const Kinds[] = {"DEVICE", "BLOCK", "CHANNEL"};

struct Site {
  QTemporaryDir dir;
  QString connection = QStringLiteral("sqlite:") + dir.filePath(QStringLiteral("alarms.db"));

  Site() {
    telmon::SqlConnection link(connection, telmon::OpenMode::Create);
    QSqlDatabase* db = link.Database(nullptr);
    telmon::SiteSchema::Init(*db, nullptr);
    db->transaction();
    QSqlQuery current(*db);
    current.prepare(QStringLiteral(
        "INSERT INTO H5ALARM (dahsid, sourcekind, sourceid, sourcename, condition, priority,"
        " state, active, raisedat, acknowledgedby, message) VALUES (1, ?, ?, ?, ?, ?, ?, ?, ?, ?, "
        "?)"));
    for (int i = 0; i < CurrentAlarms; ++i) {
      current.addBindValue(QLatin1String(Kinds[i % 3]));
      current.addBindValue(10000 + i);
      current.addBindValue(QStringLiteral("Stack %1 NOx ppm").arg(i % 40));
      current.addBindValue(i % 5 == 0 ? QStringLiteral("Watchdog failure")
                                      : QStringLiteral("Out of range"));
      current.addBindValue(1 + i % 4);
      current.addBindValue(QLatin1String(States[i % 4]));
      current.addBindValue(i % 4 == 2 ? 0 : 1);
      current.addBindValue(Now.addSecs(-i * 7));
      current.addBindValue(i % 4 == 1 ? QStringLiteral("super") : QString());
      current.addBindValue(QStringLiteral("%1 is outside its range 0 to 200").arg(200 + i % 50));
      current.exec();
    }
    QSqlQuery history(*db);
    history.prepare(QStringLiteral(
        "INSERT INTO H5ALARMHISTORY (alarmid, dahsid, sourcekind, sourceid, sourcename, condition,"
        " priority, event, state, eventat, who, message) VALUES (?, ?, ?, ?, ?, ?, ?, ?, ?, ?, '',"
        " 'x')"));
    // DAHS 1: a month of history, one change every 2.6 s; DAHS 2: all of it in the last day.
    for (const int dahs : {1, 2}) {
      const qint64 stepMs = dahs == 1 ? 2592 : 85;
      const QDateTime from = Now.addMSecs(-stepMs * HistoryRows - 60000);
      for (int i = 0; i < HistoryRows; ++i) {
        const int source = i % 5000;
        history.addBindValue(source + 1);
        history.addBindValue(dahs);
        history.addBindValue(QLatin1String(Kinds[source % 3]));
        history.addBindValue(10000 + source);
        history.addBindValue(QStringLiteral("Stack %1").arg(source % 40));
        history.addBindValue(QStringLiteral("Out of range"));
        history.addBindValue(1 + source % 4);
        history.addBindValue(i % 2 == 0 ? QStringLiteral("RAISED") : QStringLiteral("CLEARED"));
        history.addBindValue(QLatin1String(States[i % 2 == 0 ? 0 : 2]));
        history.addBindValue(from.addMSecs(static_cast<qint64>(i) * stepMs));
        history.exec();
      }
    }
    current.finish();
    history.finish();
    db->commit();
  }
};

Site* TheSite = nullptr;

// The page's statement with every value of every row fetched, and nothing else done.
void BM_BareQuery(benchmark::State& state) {
  telmon::SqlConnection link(TheSite->connection, telmon::OpenMode::ReadWrite);
  QSqlDatabase* db = link.Database(nullptr);
  const QString sql = QStringLiteral(
      "SELECT alarmid, dahsid, sourcekind, sourceid, sourcename, condition, priority, state,"
      " active, raisedat, acknowledgedat, clearedat, shelveduntil, acknowledgedby, shelvedby,"
      " message FROM H5ALARM WHERE dahsid = ? ORDER BY CASE state WHEN 'ACTIVE_UNACK' THEN 0"
      " WHEN 'ACTIVE_ACK' THEN 1 WHEN 'CLEARED_UNACK' THEN 2 WHEN 'SHELVED' THEN 3 ELSE 4 END,"
      " priority, CASE WHEN raisedat IS NULL THEN 1 ELSE 0 END, raisedat DESC, alarmid DESC");
  for (auto _ : state) {
    QSqlQuery q(*db);
    q.setForwardOnly(true);
    q.prepare(sql);
    q.addBindValue(1);
    q.exec();
    int rows = 0;
    while (q.next()) {
      for (int c = 0; c < 16; ++c) {
        benchmark::DoNotOptimize(q.value(c));
      }
      ++rows;
    }
    if (rows != CurrentAlarms) {
      state.SkipWithError("wrong row count");
    }
  }
}

// The refresh of the page: the store's query and the list brought up to date. `changed` 0:
// nothing changed since the last tick (the usual case); 1: a new alarm came first, so every
// row moved and the list is rebuilt.
void BM_TickRefresh(benchmark::State& state) {
  telmon::AlarmStore store(TheSite->connection, 1);
  telmon::KeyedListModel model;
  telmon::AlarmListManager list(model);
  list.InitializeLsv();
  QString error;
  list.UpdateLsv(*store.ReadCurrent(&error));
  telmon::AlarmRow extra;
  extra.monitorOwn = true;
  extra.sourceKind = QStringLiteral("DEVICE");
  extra.priority = 1;
  extra.state = telmon::AlarmState::ActiveUnack;
  extra.raised = Now;
  bool withExtra = false;
  for (auto _ : state) {
    auto rows = store.ReadCurrent(&error);
    if (!rows) {
      state.SkipWithError("read failed");
      break;
    }
    if (state.range(0) == 1) {
      withExtra = !withExtra;
    }
    list.UpdateLsv(std::move(*rows), withExtra ? std::vector<telmon::AlarmRow>{extra}
                                               : std::vector<telmon::AlarmRow>{});
    benchmark::DoNotOptimize(list.UnackCount());
  }
}

// The statistics window's figures for DAHS 1 (a month of history) or DAHS 2 (all of it in the
// last 24 hours, 500,000 activations to sum).
void BM_Statistics(benchmark::State& state) {
  const auto dahs = static_cast<std::int32_t>(state.range(0));
  telmon::AlarmStore store(TheSite->connection, dahs);
  QString error;
  const auto current = store.ReadCurrent(&error);
  for (auto _ : state) {
    const auto s = telmon::ComputeAlarmStatistics(store, Now, *current, &error);
    // A month: a change every 2.6 s, half of them activations, in 23 h 50 min of slots.
    const bool counted =
        dahs == 1 ? s && s->total > 16000 && s->total < 17000 : s && s->total == HistoryRows / 2;
    if (!counted) {
      state.SkipWithError("statistics failed or counted wrongly");
      break;
    }
    benchmark::DoNotOptimize(s->FloodSlots());
  }
}

BENCHMARK(BM_BareQuery)->Iterations(20)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_TickRefresh)
    ->ArgName("rebuilt")
    ->Arg(0)
    ->Arg(1)
    ->Iterations(20)
    ->Unit(benchmark::kMillisecond);
BENCHMARK(BM_Statistics)
    ->ArgName("dahs")
    ->Arg(1)
    ->Arg(2)
    ->Iterations(3)
    ->UseRealTime()
    ->Unit(benchmark::kMillisecond);

}  // namespace

int main(int argc, char** argv) {
  QCoreApplication app(argc, argv);
  benchmark::Initialize(&argc, argv);
  Site site;
  TheSite = &site;
  telmon::bench::RunRecorder reporter;
  benchmark::RunSpecifiedBenchmarks(&reporter);
  const auto bare = reporter.Of("BM_BareQuery/iterations:20");
  const auto same = reporter.Of("BM_TickRefresh/rebuilt:0/iterations:20");
  const auto rebuilt = reporter.Of("BM_TickRefresh/rebuilt:1/iterations:20");
  const auto month = reporter.Of("BM_Statistics/dahs:1/iterations:3/real_time");
  const auto day = reporter.Of("BM_Statistics/dahs:2/iterations:3/real_time");
  if (bare.cpuTime > 0 && same.cpuTime > 0 && rebuilt.cpuTime > 0) {
    std::printf(
        "10,000 alarms, tick refresh / bare query (CPU time): %.2f unchanged, %.2f rebuilt "
        "(bare query %.1f ms)\n",
        same.cpuTime / bare.cpuTime, rebuilt.cpuTime / bare.cpuTime, bare.cpuTime);
  }
  if (month.realTime > 0 && day.realTime > 0) {
    std::printf(
        "statistics, 1,000,000 history rows over a month: %.0f ms real, %.0f ms CPU; "
        "1,000,000 in the last 24 hours: %.0f ms real, %.0f ms CPU\n",
        month.realTime, month.cpuTime, day.realTime, day.cpuTime);
  }
  benchmark::Shutdown();
  TheSite = nullptr;
  return 0;
}
