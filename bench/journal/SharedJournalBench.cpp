// What the shared journal's verify costs: a chain of TELMON_BENCH_ENTRIES (default 1,000,000)
// entries on the PostgreSQL server that TELMON_BENCH_PG names (a postgresql:// connection string
// to a database where the program may create and drop a database), walked and every hash
// recomputed, against reading the same rows without hashing in the same run.

#include "bench/support/RunRecorder.h"
#include "journal/SharedJournal.h"
#include "platform/SqlConnection.h"

#include <QCoreApplication>
#include <QSqlError>
#include <QSqlQuery>
#include <QStringList>

#include <benchmark/benchmark.h>

#include <cstdio>
#include <cstdlib>

namespace {

constexpr int RowsPerStatement = 2000;

QString Server() { return qEnvironmentVariable("TELMON_BENCH_PG"); }
std::int64_t Entries() {
  bool ok = false;
  const qlonglong n = qEnvironmentVariable("TELMON_BENCH_ENTRIES").toLongLong(&ok);
  return ok && n > 0 ? n : 1000000;
}

QString DatabaseName() {
  return QStringLiteral("telmon_bench_%1").arg(QCoreApplication::applicationPid());
}

QString BenchConnection() {
  QString base = Server();
  const qsizetype slash = base.indexOf(QLatin1Char('/'), base.indexOf(QLatin1Char('@')) + 1);
  return base.left(slash + 1) + DatabaseName();
}

void Admin(const QString& sql) {
  telmon::SqlConnection admin(Server(), telmon::OpenMode::ReadWrite);
  QSqlQuery(*admin.Database(nullptr)).exec(sql);
}

// A valid chain written straight into the table, many rows to a statement.
bool FillChain(std::int64_t entries) {
  telmon::SqlConnection link(BenchConnection(), telmon::OpenMode::ReadWrite);
  QString error;
  QSqlDatabase* db = link.Database(&error);
  if (db == nullptr || !telmon::SharedJournal::InitSchema(*db, &error)) {
    std::fprintf(stderr, "%s\n", qPrintable(error));
    return false;
  }
  QString previous = telmon::SharedJournal::GenesisHash;
  const QString computers[] = {QStringLiteral("control-room"), QStringLiteral("shelter")};
  db->transaction();
  QSqlQuery query(*db);
  for (std::int64_t seq = 1; seq <= entries;) {
    QStringList values;
    for (int i = 0; i < RowsPerStatement && seq <= entries; ++i, ++seq) {
      telmon::SharedJournalRow row;
      row.seq = seq;
      row.computer = computers[seq % 2];
      row.outbox =
          QStringLiteral("5f0c7d1e-2b9a-4c33-9a47-%1").arg(seq % 2, 12, 10, QLatin1Char('0'));
      row.localSeq = (seq + 1) / 2;
      row.timeUtc =
          QStringLiteral("2026-01-02T03:04:05.%1Z").arg(seq % 1000, 3, 10, QLatin1Char('0'));
      row.timeLocal = QStringLiteral("2026-01-02 04:04:05");
      row.dahs = 1;
      row.account = QStringLiteral("tech");
      row.operation = QStringLiteral("WriteToChannel");
      row.targets = QStringLiteral("%1 Stack NOx ppm").arg(10000 + seq % 5000);
      row.value = QString::number(seq % 100);
      row.command = QStringLiteral("<Command action=\"WriteToChannel\" id=\"%1\" value=\"%2\"/>")
                        .arg(10000 + seq % 5000)
                        .arg(seq % 100);
      row.outcome = QStringLiteral("sent");
      row.previousHash = previous;
      row.hash =
          telmon::SharedJournal::ChainHash(previous, telmon::SharedJournal::CanonicalBytes(row));
      previous = row.hash;
      values << QStringLiteral(
                    "(%1,'%2','%3',%4,'%5','%6',%7,'%8','%9','%10','%11','%12','%13','%14','%15')")
                    .arg(row.seq)
                    .arg(row.computer, row.outbox)
                    .arg(row.localSeq)
                    .arg(row.timeUtc, row.timeLocal)
                    .arg(row.dahs)
                    .arg(row.account, row.operation, row.targets, row.value, row.command,
                         row.outcome, row.previousHash, row.hash);
    }
    if (!query.exec(QStringLiteral("INSERT INTO telmon_journal VALUES ") +
                    values.join(QLatin1Char(',')))) {
      std::fprintf(stderr, "%s\n", qPrintable(telmon::SqlErrorText(query.lastError())));
      return false;
    }
  }
  return db->commit();
}

void BM_ReadChain(benchmark::State& state) {
  telmon::SqlConnection link(BenchConnection(), telmon::OpenMode::ReadOnly);
  QString error;
  for (auto _ : state) {
    benchmark::DoNotOptimize(telmon::SharedJournal::ReadAll(*link.Database(&error), &error).size());
  }
}

void BM_VerifyChain(benchmark::State& state) {
  telmon::SqlConnection link(BenchConnection(), telmon::OpenMode::ReadOnly);
  QString error;
  for (auto _ : state) {
    const telmon::JournalVerifyResult result =
        telmon::SharedJournal::Verify(*link.Database(&error));
    if (!result.ok || result.entries != Entries()) {
      state.SkipWithError("the chain did not verify");
    }
  }
}

BENCHMARK(BM_ReadChain)->Iterations(2)->UseRealTime()->Unit(benchmark::kMillisecond);
BENCHMARK(BM_VerifyChain)->Iterations(2)->UseRealTime()->Unit(benchmark::kMillisecond);

}  // namespace

int main(int argc, char** argv) {
  QCoreApplication app(argc, argv);
  benchmark::Initialize(&argc, argv);
  if (Server().isEmpty()) {
    std::fprintf(stderr,
                 "telmon_shared_journal_bench: set TELMON_BENCH_PG to a postgresql:// "
                 "connection string\n");
    return 2;
  }
  Admin(QStringLiteral("CREATE DATABASE %1").arg(DatabaseName()));
  const bool filled = FillChain(Entries());
  if (filled) {
    telmon::bench::RunRecorder reporter;
    benchmark::RunSpecifiedBenchmarks(&reporter);
    const auto read = reporter.Of("BM_ReadChain/iterations:2/real_time");
    const auto verify = reporter.Of("BM_VerifyChain/iterations:2/real_time");
    if (read.realTime > 0 && verify.realTime > 0) {
      std::printf("verify %lld entries: %.1f s (%.2f x reading them without hashing)\n",
                  static_cast<long long>(Entries()), verify.realTime / 1000.0,
                  verify.realTime / read.realTime);
    }
  }
  Admin(QStringLiteral("DROP DATABASE IF EXISTS %1 WITH (FORCE)").arg(DatabaseName()));
  return filled ? 0 : 1;
}
