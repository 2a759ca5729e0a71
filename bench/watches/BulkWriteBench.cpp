// The bulk mode-code write to 20,000 MC channels against a bare batch of the same inserts (one
// prepared INSERT in one transaction), on an SQLite file and (when TELMON_TEST_PG is set) on
// the PostgreSQL test server. Each benchmark runs ten writes; the resident memory before the
// second and after the last shows whether repeats leave anything behind. The ratio of the two
// rates is printed at the end.

#include "bench/support/BenchProgram.h"
#include "bench/support/SiteDatabases.h"
#include "bench/support/StandIns.h"
#include "ioslink/IosCommands.h"
#include "platform/H5DBIL.h"
#include "platform/SqlConnection.h"
#include "util/UtilityXMLDOMFunctions.h"
#include "views/ChannelConfigInfoManager.h"
#include "watches/BulkModeCodeWrites.h"
#include "watches/ChannelValueWriter.h"

#include <QCoreApplication>
#include <QFile>
#include <QSqlQuery>

#include <benchmark/benchmark.h>

#include <cstdio>
#include <map>

namespace {

constexpr int Channels = 20000;
constexpr int Repeats = 10;

long ResidentKiB() {
  QFile status(QStringLiteral("/proc/self/status"));
  if (!status.open(QIODevice::ReadOnly)) {
    return 0;
  }
  for (const QByteArray& line : status.readAll().split('\n')) {
    if (line.startsWith("VmRSS:")) {
      return line.mid(6).trimmed().split(' ').value(0).toLong();
    }
  }
  return 0;
}

void ClearCommands(const QString& connection) {
  telmon::SqlConnection link(connection, telmon::OpenMode::ReadWrite);
  QSqlDatabase* db = link.Database(nullptr);
  if (db != nullptr) {
    QSqlQuery(*db).exec(QStringLiteral("DELETE FROM H5IOCOMMAND"));
  }
}

// The site databases with the site's tables, and 20,000 mode-code channels configured.
struct Sites {
  telmon::bench::SiteDatabases databases;
  telmon::ChannelConfigInfoManager configs;

  Sites() {
    QString events;
    for (int id = 1; id <= Channels; ++id) {
      events += QStringLiteral(R"(<Event eventtype="ChannelConfigUpdate" ID="%1" Name="Stack )"
                               R"(NOx MC" DeviceID="1" Address="MODE.U1.M%1.MC60" />)")
                    .arg(id);
    }
    const telmon::xml::XmlDocument doc = telmon::xml::ParseXmlFragment(nullptr, events);
    for (telmon::xml::XmlElement e : telmon::xml::SelectNodes(doc, "//Event")) {
      configs.UpdateConfigInfo(e);
    }
  }
};

Sites* TheSites = nullptr;

const QString& Connection(const benchmark::State& state) { return TheSites->databases.Of(state); }

using telmon::bench::QuietSink;

// Memory is read after the first write (caches and connections are warm) and after the last.
void Finish(benchmark::State& state, long afterFirst) {
  state.SetItemsProcessed(state.iterations() * Channels);
  const long last = ResidentKiB();
  state.counters["rss_KiB"] = static_cast<double>(last);
  state.counters["rss_growth_KiB"] = static_cast<double>(last - afterFirst);
}

// The least a program can do: the same records' texts, built beforehand, inserted by one
// prepared statement in one transaction.
void BM_BareBatchInsert(benchmark::State& state) {
  const QString& connection = Connection(state);
  if (connection.isEmpty()) {
    state.SkipWithError("no PostgreSQL server (TELMON_TEST_PG unset)");
    return;
  }
  QStringList texts;
  for (int id = 1; id <= Channels; ++id) {
    texts.append(telmon::IosCommands::WriteToChannel(id, telmon::Value(13)));
  }
  telmon::SqlConnection link(connection, telmon::OpenMode::ReadWrite);
  QSqlDatabase* db = link.Database(nullptr);
  long afterFirst = 0;
  for (auto _ : state) {
    db->transaction();
    QSqlQuery insert(*db);
    insert.prepare(QStringLiteral(
        "INSERT INTO H5IOCOMMAND (siteid, commandtext, extra1, extra2, callercode, createdat)"
        " VALUES (?, ?, ?, ?, ?, ?)"));
    for (const QString& text : texts) {
      insert.bindValue(0, QStringLiteral("S"));
      insert.bindValue(1, text);
      insert.bindValue(2, QStringLiteral(""));
      insert.bindValue(3, QStringLiteral(""));
      insert.bindValue(4, QStringLiteral("TELM-0075"));
      insert.bindValue(5, QDateTime::currentDateTime());
      if (!insert.exec()) {
        state.SkipWithError("the bare insert failed");
        return;
      }
    }
    insert.finish();
    db->commit();
    state.PauseTiming();
    ClearCommands(connection);
    afterFirst = afterFirst == 0 ? ResidentKiB() : afterFirst;
    state.ResumeTiming();
  }
  Finish(state, afterFirst);
}

// The "MC 13" button of the Bulk Writes page: the channel choice, the records' texts and the
// grouped writes with their per-record results.
void BM_BulkModeCodeWrite(benchmark::State& state) {
  const QString& connection = Connection(state);
  if (connection.isEmpty()) {
    state.SkipWithError("no PostgreSQL server (TELMON_TEST_PG unset)");
    return;
  }
  telmon::H5DBIL dbil;
  dbil.SetSiteID(QStringLiteral("S"), QString(), {connection, {}, {}, {}, connection});
  QuietSink sink;
  telmon::ChannelValueWriter writer(dbil, sink);
  telmon::bench::OpenEditGate gate;
  telmon::bench::AnsweringPrompter prompter(telmon::PromptAnswer::Ok);
  telmon::BulkModeCodeWrites page({TheSites->configs, writer, gate, sink, prompter, {}});
  long afterFirst = 0;
  for (auto _ : state) {
    page.cmdWrite13ToAllMCChannels();
    state.PauseTiming();
    ClearCommands(connection);
    afterFirst = afterFirst == 0 ? ResidentKiB() : afterFirst;
    state.ResumeTiming();
  }
  if (sink.errors != 0 || prompter.asked != 0) {
    state.SkipWithError("the bulk write reported failures");
    return;
  }
  Finish(state, afterFirst);
}

void Backends(benchmark::internal::Benchmark* b) {
  b->ArgNames({"pg"})->Arg(0)->Arg(1)->Iterations(Repeats)->UseRealTime()->Unit(
      benchmark::kMillisecond);
}

BENCHMARK(BM_BareBatchInsert)->Apply(Backends);
BENCHMARK(BM_BulkModeCodeWrite)->Apply(Backends);

}  // namespace

int main(int argc, char** argv) {
  telmon::bench::BenchProgram<QCoreApplication> program(argc, argv);
  Sites sites;
  TheSites = &sites;
  const telmon::bench::RunRecorder& reporter = program.Run();
  for (const char* backend : {"pg:0", "pg:1"}) {
    const std::string suffix = std::string("/") + backend + "/iterations:10/real_time";
    const double bare = reporter.Of("BM_BareBatchInsert" + suffix).itemsPerSecond;
    const double bulk = reporter.Of("BM_BulkModeCodeWrite" + suffix).itemsPerSecond;
    if (bare > 0 && bulk > 0) {
      std::printf("%s: bulk write %.0f records/s, bare batch %.0f records/s, ratio %.2f\n",
                  backend[3] == '0' ? "SQLite" : "PostgreSQL", bulk, bare, bulk / bare);
    }
  }
  TheSites = nullptr;
  return 0;
}
