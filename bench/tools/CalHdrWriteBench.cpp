// The cal HDR write over 5,000 cal channels in 40 groups into an SQLite site database, against
// the bare batch insert of the same 5,000 command records (one prepared statement, one
// transaction) in the same run. Prints records per second of both and their ratio.

#include "bench/support/BenchProgram.h"
#include "bench/support/StandIns.h"
#include "ioslink/IosCommands.h"
#include "platform/H5DBIL.h"
#include "platform/SiteSchema.h"
#include "platform/SqlConnection.h"
#include "platform/testing/ScriptedPrompter.h"
#include "tools/CalHdrWrite.h"
#include "util/Clock.h"
#include "watches/ChannelValueWriter.h"

#include <QCoreApplication>
#include <QSqlQuery>
#include <QTemporaryDir>
#include <QTextStream>

#include <benchmark/benchmark.h>

#include <map>
#include <memory>

namespace {

using namespace telmon;

constexpr int Groups = 40;
constexpr int Days = 5;
constexpr std::array<const char*, 25> Keywords{{
    "ZEROFAILLOW60",
    "ZEROFAILHIGH60",
    "SPANFAILLOW60",
    "SPANFAILHIGH60",
    "FAILOOC60",
    "ZEROREFGAS",
    "ONLINE",
    "INSTSPAN60",
    "INSTSPAN75",
    "DRIFTLIMIT60",
    "DRIFTLIMIT75",
    "SPANREFGAS",
    "ZEROAVG",
    "SPANAVG",
    "YEAR",
    "MONTH",
    "DAY",
    "HOUR",
    "MINUTE",
    "ZEROINJECTIONSTARTHHMMSS",
    "ZEROINJECTIONENDHHMMSS",
    "SPANINJECTIONSTARTHHMMSS",
    "SPANINJECTIONENDHHMMSS",
    "ZEROINJECTIONSTARTYYYYMMDD",
    "SPANINJECTIONENDYYYYMMDD",
}};
constexpr int Channels = Groups * Days * static_cast<int>(Keywords.size());  // 5,000

ChannelConfigInfoManager::Records CalChannels() {
  ChannelConfigInfoManager::Records records;
  int id = 1;
  for (int g = 0; g < Groups; ++g) {
    for (int d = 0; d < Days; ++d) {
      for (const char* keyword : Keywords) {
        auto r = std::make_unique<ChannelConfigInfo>();
        r->Key = QStringLiteral("%1C").arg(id++);
        r->Name = QStringLiteral("Stack NOx A%1 Day %2 %3").arg(g).arg(d).arg(keyword);
        r->Address = QStringLiteral("CalHistory.A%1.NOX.Days[%2].%3").arg(g).arg(d).arg(keyword);
        records.push_back(std::move(r));
      }
    }
  }
  return records;
}

QString NewSite(const QTemporaryDir& dir, const QString& name) {
  const QString connection = QStringLiteral("sqlite:") + dir.filePath(name);
  SqlConnection link(connection, OpenMode::Create);
  QSqlDatabase* db = link.Database(nullptr);
  if (db == nullptr || !SiteSchema::Init(*db, nullptr)) {
    return {};
  }
  return connection;
}

// Collects the records a write makes, for the baseline to insert the very same ones.
struct Collect final : IChannelValueWriter {
  QStringList commands;
  bool WriteChannelValueRecord(const QString&, std::int32_t id, const Value& value) override {
    commands << IosCommands::WriteToChannel(id, value);
    return true;
  }
};

struct Fixture {
  QTemporaryDir dir;
  ChannelConfigInfoManager::Records channels = CalChannels();
  CalHdrGrid grid;
  ManualClock clock;
  bench::OpenEditGate gate;
  ScriptedPrompter prompter;
  QStringList commands;

  Fixture() {
    grid[0] = {QStringLiteral("Stack NOx"), QStringLiteral("100")};
    Collect collect;
    bench::QuietSink sink;
    WriteCalHdrChannels(grid, channels, {gate, collect, sink, prompter, clock, "Bench"});
    commands = collect.commands;
  }
};

Fixture* TheFixture = nullptr;

void BM_CalHdrWrite(benchmark::State& state) {
  Fixture& f = *TheFixture;
  H5DBIL dbil;
  const QString c = NewSite(f.dir, QStringLiteral("write.db"));
  dbil.SetSiteID(QStringLiteral("S"), QString(), {c, c, c, c, c});
  bench::QuietSink sink;
  ChannelValueWriter writer(dbil, sink);
  for (auto _ : state) {
    const auto count =
        WriteCalHdrChannels(f.grid, f.channels, {f.gate, writer, sink, f.prompter, f.clock, "B"});
    if (count != Channels || sink.errors != 0) {
      state.SkipWithError("the write failed");
      return;
    }
  }
  state.SetItemsProcessed(state.iterations() * Channels);
}

// The least a program can do for the same records: one prepared INSERT, one transaction.
void BM_BareBatchInsert(benchmark::State& state) {
  Fixture& f = *TheFixture;
  const QString c = NewSite(f.dir, QStringLiteral("bare.db"));
  SqlConnection link(c, OpenMode::ReadWrite);
  QSqlDatabase* db = link.Database(nullptr);
  for (auto _ : state) {
    db->transaction();
    QSqlQuery insert(*db);
    insert.prepare(QStringLiteral(
        "INSERT INTO H5IOCOMMAND (siteid, commandtext, extra1, extra2, callercode, createdat)"
        " VALUES (?, ?, '', '', ?, ?)"));
    bool ok = true;
    for (const QString& command : f.commands) {
      insert.bindValue(0, QStringLiteral("S"));
      insert.bindValue(1, command);
      insert.bindValue(2, QStringLiteral("TELM-0063"));
      insert.bindValue(3, QDateTime::currentDateTime());
      ok = ok && insert.exec();
    }
    insert.finish();
    if (!ok || !db->commit() || f.commands.size() != Channels) {
      state.SkipWithError("the bare insert failed");
      return;
    }
  }
  state.SetItemsProcessed(state.iterations() * Channels);
}

// The same write with the records collected in memory: the share of the values themselves.
void BM_CalHdrValuesOnly(benchmark::State& state) {
  Fixture& f = *TheFixture;
  bench::QuietSink sink;
  for (auto _ : state) {
    Collect collect;
    WriteCalHdrChannels(f.grid, f.channels, {f.gate, collect, sink, f.prompter, f.clock, "B"});
    benchmark::DoNotOptimize(collect.commands);
  }
  state.SetItemsProcessed(state.iterations() * Channels);
}

BENCHMARK(BM_CalHdrValuesOnly)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_BareBatchInsert)->Unit(benchmark::kMillisecond)->MinTime(2.0);
BENCHMARK(BM_CalHdrWrite)->Unit(benchmark::kMillisecond)->MinTime(2.0);

// Keeps the records per second of each benchmark for the ratio printed at the end.

}  // namespace

int main(int argc, char** argv) {
  telmon::bench::BenchProgram<QCoreApplication> program(argc, argv);
  Fixture fixture;
  TheFixture = &fixture;
  const telmon::bench::RunRecorder& reporter = program.Run();
  TheFixture = nullptr;
  const double write = reporter.Of("BM_CalHdrWrite").itemsPerSecond;
  const double bare = reporter.Of("BM_BareBatchInsert").itemsPerSecond;
  if (write > 0 && bare > 0) {
    QTextStream(stdout) << QStringLiteral(
                               "cal HDR write: %1 records/s; bare batch insert: %2 records/s; "
                               "ratio %3\n")
                               .arg(write, 0, 'f', 0)
                               .arg(bare, 0, 'f', 0)
                               .arg(write / bare, 0, 'f', 3);
  }
  return 0;
}
