// The realtime read of the watch page against a bare prepared SELECT of the same rows, on an
// SQLite file and (when TELMON_TEST_PG is set) on the PostgreSQL test server.

#include "bench/support/BenchProgram.h"
#include "bench/support/SiteDatabases.h"
#include "platform/H5DBIL.h"
#include "platform/SqlConnection.h"

#include <QCoreApplication>
#include <QSqlQuery>
#include <QStringList>

#include <benchmark/benchmark.h>

#include <memory>

namespace {

constexpr int MaxIoids = 10000;

QStringList Ioids(int count) {
  QStringList ioids;
  for (int i = 1; i <= count; ++i) {
    ioids.append(QString::number(i) + QLatin1Char('C'));
  }
  return ioids;
}

void Fill(const QString& connectionString) {
  telmon::SqlConnection connection(connectionString, telmon::OpenMode::ReadWrite);
  QSqlDatabase* db = connection.Database(nullptr);
  if (db == nullptr || !db->transaction()) {
    return;
  }
  QSqlQuery insert(*db);
  insert.prepare(QStringLiteral(
      "INSERT INTO H5REALTIME (ioid, tstamp, numvalue, textvalue) VALUES (?, ?, ?, '')"));
  const QDateTime now = QDateTime::currentDateTime();
  for (const QString& ioid : Ioids(MaxIoids)) {
    insert.bindValue(0, ioid);
    insert.bindValue(1, now);
    insert.bindValue(2, 1.5);
    if (!insert.exec()) {
      return;
    }
  }
  insert.finish();
  db->commit();
}

// The site databases the benchmarks read: made once, dropped at exit.
telmon::bench::SiteDatabases* TheSites = nullptr;

const QString& Connection(const benchmark::State& state) { return TheSites->Of(state); }

void BM_DbilReadCurrentValues(benchmark::State& state) {
  const QString& connection = Connection(state);
  if (connection.isEmpty()) {
    state.SkipWithError("no PostgreSQL server (TELMON_TEST_PG unset)");
    return;
  }
  telmon::H5DBIL dbil;
  dbil.SetSiteID(QStringLiteral("S"), QString(), {connection, {}, {}, {}, connection});
  const QString list = Ioids(static_cast<int>(state.range(1))).join(QLatin1Char(','));
  for (auto _ : state) {
    auto values = dbil.ReadCurrentValues(connection, QDateTime(), list);
    if (!values || values->size() != state.range(1)) {
      state.SkipWithError("the read failed");
      return;
    }
    benchmark::DoNotOptimize(values);
  }
  state.SetItemsProcessed(state.iterations() * state.range(1));
}

// The least a program can do for the same rows: one statement with a placeholder per IOID,
// prepared once, the four columns read into variants.
void BM_BarePreparedSelect(benchmark::State& state) {
  const QString& connection = Connection(state);
  if (connection.isEmpty()) {
    state.SkipWithError("no PostgreSQL server (TELMON_TEST_PG unset)");
    return;
  }
  telmon::SqlConnection link(connection, telmon::OpenMode::ReadWrite);
  QSqlDatabase* db = link.Database(nullptr);
  const QStringList ioids = Ioids(static_cast<int>(state.range(1)));
  QStringList marks;
  marks.fill(QStringLiteral("?"), ioids.size());
  QSqlQuery query(*db);
  query.setForwardOnly(true);
  query.prepare(QStringLiteral("SELECT ioid, tstamp, numvalue, textvalue FROM H5REALTIME WHERE "
                               "ioid IN (") +
                marks.join(QLatin1Char(',')) + QLatin1Char(')'));
  for (auto _ : state) {
    for (int i = 0; i < ioids.size(); ++i) {
      query.bindValue(i, ioids[i]);
    }
    query.exec();
    int rows = 0;
    while (query.next()) {
      benchmark::DoNotOptimize(query.value(0));
      benchmark::DoNotOptimize(query.value(1));
      benchmark::DoNotOptimize(query.value(2));
      benchmark::DoNotOptimize(query.value(3));
      ++rows;
    }
    if (rows != ioids.size()) {
      state.SkipWithError("the bare select failed");
      return;
    }
  }
  state.SetItemsProcessed(state.iterations() * state.range(1));
}

void Sizes(benchmark::internal::Benchmark* b) {
  b->ArgNames({"pg", "ioids"});
  for (const int backend : {0, 1}) {
    for (const int n : {1, 100, 1000, MaxIoids}) {
      b->Args({backend, n});
    }
  }
  b->Unit(benchmark::kMicrosecond);
}

BENCHMARK(BM_BarePreparedSelect)->Apply(Sizes);
BENCHMARK(BM_DbilReadCurrentValues)->Apply(Sizes);

}  // namespace

int main(int argc, char** argv) {
  telmon::bench::BenchProgram<QCoreApplication> program(argc, argv);
  telmon::bench::SiteDatabases sites(Fill);
  TheSites = &sites;
  program.Run();
  TheSites = nullptr;
  return 0;
}
