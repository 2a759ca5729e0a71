// Grouped record writes against real faults: every record stored exactly once or reported
// exactly once, an unreachable database touched no more than twice, a cancelled write stopped
// between batches, and the worker's results back on the window's thread in order.

#include "platform/DatabaseWorker.h"
#include "platform/H5DBIL.h"
#include "tests/platform/FaultPeers.h"
#include "tests/platform/SiteDatabaseFixture.h"
#include "tests/util/QStringPrinter.h"
#include "watches/ChannelValueWriter.h"

#include <QCoreApplication>
#include <QElapsedTimer>
#include <QFile>
#include <QProcess>
#include <QRegularExpression>
#include <QSet>
#include <QThread>

#include <sys/resource.h>

#include <csignal>
#include <cstdio>

namespace telmon::test {
namespace {

class TextSink final : public IRaiseMsg {
 public:
  void RaiseMsg(std::int32_t, const QString& text) override { texts.append(text); }
  QStringList texts;
};

std::vector<ChannelValue> Items(int count) {
  std::vector<ChannelValue> items;
  for (int id = 1; id <= count; ++id) {
    items.push_back({id, Value(13)});
  }
  return items;
}

QString Failure(int id) { return ChannelValueWriter::FailureText(id, Value(13)); }

QStringList Failures(int from, int to) {
  QStringList texts;
  for (int id = from; id <= to; ++id) {
    texts.append(Failure(id));
  }
  return texts;
}

QString Postgres(int port, const QString& database = QStringLiteral("site")) {
  return QStringLiteral("postgresql://telmon@127.0.0.1:%1/%2?connect_timeout=1")
      .arg(port)
      .arg(database);
}

// The channel IDs stored, each as often as it was stored.
QList<int> StoredIds(const QString& connection) {
  SqlConnection c(connection, OpenMode::ReadWrite);
  QString error;
  QSqlDatabase* db = c.Database(&error);
  EXPECT_NE(db, nullptr) << error.toStdString();
  QList<int> ids;
  if (db == nullptr) {
    return ids;
  }
  QSqlQuery query(*db);
  EXPECT_TRUE(query.exec(QStringLiteral("SELECT commandtext FROM H5IOCOMMAND ORDER BY id")));
  static const QRegularExpression id(QStringLiteral(R"re(id="(\d+)")re"));
  while (query.next()) {
    ids.append(id.match(query.value(0).toString()).captured(1).toInt());
  }
  return ids;
}

// Each of 1..count either stored once and not reported, or reported once and not stored.
void ExpectEachOnce(const QList<int>& stored, const QStringList& reports, int count) {
  const QSet<int> storedSet(stored.begin(), stored.end());
  EXPECT_EQ(storedSet.size(), stored.size()) << "a record was stored twice";
  int reported = 0;
  for (int id = 1; id <= count; ++id) {
    const bool isReported = reports.contains(Failure(id));
    reported += isReported ? 1 : 0;
    EXPECT_NE(storedSet.contains(id), isReported) << id;
  }
  EXPECT_EQ(reported + stored.size(), count);
}

// An unreachable database: the first batch is tried twice, then every record of the write is
// reported, in order, without another attempt (the silent listener counts the connections).
TEST(RecordWriteFaults, AnUnreachableDatabaseIsTriedTwiceAndEveryRecordReported) {
  SilentListener silent;
  struct Case {
    const char* name;
    QString connection;
  };
  const Case cases[] = {{"refused port", Postgres(RefusedPort())},
                        {"silent listener", Postgres(silent.Port())}};
  for (const Case& c : cases) {
    H5DBIL dbil;
    ASSERT_TRUE(
        dbil.SetSiteID(QStringLiteral("PLANT1"), QString(),
                       {c.connection, c.connection, c.connection, c.connection, c.connection}));
    TextSink sink;
    ChannelValueWriter writer(dbil, sink);
    QElapsedTimer timer;
    timer.start();
    const std::vector<bool> written =
        writer.WriteChannelValueRecords(QStringLiteral("TELM-0075"), Items(12000), {});
    EXPECT_LT(timer.elapsed(), 10000) << c.name;
    EXPECT_EQ(std::count(written.begin(), written.end(), true), 0) << c.name;
    EXPECT_EQ(sink.texts, Failures(1, 12000)) << c.name;
  }
  EXPECT_EQ(silent.Accepted(), 2);
}

// A locked SQLite file: two waits for the lock, then the rest is reported; once the lock is
// gone a write goes through.
TEST(RecordWriteFaults, ALockedFileCostsTwoWaitsNotOnePerBatch) {
  ScratchDatabase db(Backend::Sqlite);
  db.Init();
  const QString c = db.ConnectionString();
  H5DBIL dbil;
  ASSERT_TRUE(dbil.SetSiteID(QStringLiteral("PLANT1"), QString(), {c, c, c, c, c}));
  TextSink sink;
  ChannelValueWriter writer(dbil, sink);
  SqlConnection locker(c, OpenMode::ReadWrite);
  QString error;
  QSqlDatabase* lockDb = locker.Database(&error);
  ASSERT_NE(lockDb, nullptr);
  QSqlQuery lock(*lockDb);
  ASSERT_TRUE(lock.exec(QStringLiteral("BEGIN EXCLUSIVE")));
  QElapsedTimer timer;
  timer.start();
  writer.WriteChannelValueRecords(QStringLiteral("TELM-0075"), Items(12000), {});
  // Three batches one wait each would be three busy timeouts.
  EXPECT_LT(timer.elapsed(), 2 * SqliteBusyTimeoutMs + 2000);
  EXPECT_EQ(sink.texts, Failures(1, 12000));
  ASSERT_TRUE(lock.exec(QStringLiteral("ROLLBACK")));
  EXPECT_TRUE(writer.WriteChannelValueRecord(QStringLiteral("TELM-0038"), 1, Value(1)));
  EXPECT_EQ(StoredIds(c), QList<int>{1});
}

// A PostgreSQL server of the test's own, killed at once (as a crash would) just after the
// second commit went out, and started again: the write goes on after it, and no record is
// stored twice or lost without its report.
TEST(RecordWriteFaults, AServerKilledAtACommitLeavesEachRecordStoredOrReportedOnce) {
  TELMON_REQUIRE_BACKEND(Backend::Postgresql);
  QTemporaryDir dir;
  // The server runs as its own user, which must reach its folder.
  QFile::setPermissions(dir.path(), QFile::permissions(dir.path()) | QFile::ExeOther |
                                        QFile::ReadOther | QFile::ExeGroup | QFile::ReadGroup);
  const QString script = QStringLiteral(TELMON_SOURCE_DIR "/scripts/pg-test-server");
  const QString folder = dir.filePath(QStringLiteral("pg"));
  QProcess start;
  start.start(script, {QStringLiteral("start"), folder});
  ASSERT_TRUE(start.waitForFinished(120000));
  const QString env = QString::fromUtf8(start.readAllStandardOutput());
  const int port =
      QRegularExpression(QStringLiteral("PGPORT=(\\d+)")).match(env).captured(1).toInt();
  ASSERT_GT(port, 0) << env.toStdString() << start.readAllStandardError().toStdString();
  struct Stop {
    QString script, folder;
    ~Stop() { QProcess::execute(script, {QStringLiteral("stop"), folder}); }
  } stop{script, folder};
  {
    SqlConnection admin(Postgres(port, QStringLiteral("postgres")), OpenMode::ReadWrite);
    QString error;
    QSqlDatabase* db = admin.Database(&error);
    ASSERT_NE(db, nullptr) << error.toStdString();
    QSqlQuery(*db).exec(QStringLiteral("CREATE DATABASE site"));
  }
  QString error;
  ASSERT_TRUE(SiteSchema::InitConnection(Postgres(port), &error)) << error.toStdString();

  StallingProxy proxy(port);
  const std::string kill =
      QStringLiteral("'%1' kill '%2' && '%1' resume '%2'").arg(script, folder).toStdString();
  proxy.Arm("COMMIT", StallingProxy::Action::CallAfter, 2,
            [kill] { EXPECT_EQ(std::system(kill.c_str()), 0); });
  const QString c = Postgres(proxy.Port());
  H5DBIL dbil;
  ASSERT_TRUE(dbil.SetSiteID(QStringLiteral("PLANT1"), QString(), {c, c, c, c, c}));
  TextSink sink;
  ChannelValueWriter writer(dbil, sink);
  writer.WriteChannelValueRecords(QStringLiteral("TELM-0075"), Items(12000), {});
  EXPECT_TRUE(proxy.Triggered());
  ExpectEachOnce(StoredIds(Postgres(port)), sink.texts, 12000);
  // The server was back for the retry: nothing had to be given up.
  EXPECT_TRUE(sink.texts.isEmpty()) << sink.texts.mid(0, 3).join('\n').toStdString();
}

// A full disk, as a file-size limit in a process of its own (this test program again, running
// only the part below): the records that did not fit are reported, those stored are not.
TEST(RecordWriteFaults, AFullDiskLeavesEachRecordStoredOrReportedOnce) {
  ScratchDatabase db(Backend::Sqlite);
  db.Init();
  QProcess child;
  QProcessEnvironment env = QProcessEnvironment::systemEnvironment();
  env.insert(QStringLiteral("TELMON_FULL_DISK_SITE"), db.ConnectionString());
  child.setProcessEnvironment(env);
  child.start(QCoreApplication::applicationFilePath(),
              {QStringLiteral("--gtest_filter=RecordWriteFaultsChild.WriteUnderAFileSizeLimit")});
  ASSERT_TRUE(child.waitForFinished(60000));
  const QString out = QString::fromUtf8(child.readAllStandardOutput());
  const QStringList reports = out.split(QLatin1Char('\n')).filter(QStringLiteral("TELM-0036"));
  EXPECT_FALSE(reports.isEmpty()) << out.left(2000).toStdString();
  ExpectEachOnce(StoredIds(db.ConnectionString()), reports, 12000);
}

TEST(RecordWriteFaultsChild, WriteUnderAFileSizeLimit) {
  const QString c = qEnvironmentVariable("TELMON_FULL_DISK_SITE");
  if (c.isEmpty()) {
    GTEST_SKIP() << "run by AFullDiskLeavesEachRecordStoredOrReportedOnce";
  }
  std::signal(SIGXFSZ, SIG_IGN);
  const rlimit limit{rlim_t{256} * 1024, rlim_t{256} * 1024};
  ASSERT_EQ(setrlimit(RLIMIT_FSIZE, &limit), 0);
  H5DBIL dbil;
  ASSERT_TRUE(dbil.SetSiteID(QStringLiteral("PLANT1"), QString(), {c, c, c, c, c}));
  TextSink sink;
  ChannelValueWriter writer(dbil, sink);
  writer.WriteChannelValueRecords(QStringLiteral("TELM-0075"), Items(12000), {});
  for (const QString& text : sink.texts) {
    std::printf("%s\n", text.toUtf8().constData());
  }
}

// Cancel between batches: the batch that runs is finished, none is started after it.
TEST(RecordWriteFaults, CancelStopsBetweenBatches) {
  ScratchDatabase db(Backend::Sqlite);
  db.Init();
  const QString c = db.ConnectionString();
  H5DBIL dbil;
  ASSERT_TRUE(dbil.SetSiteID(QStringLiteral("PLANT1"), QString(), {c, c, c, c, c}));
  std::atomic<bool> cancel{false};
  std::vector<std::size_t> progress;
  QStringList reports;
  const ChannelWriteOutcome outcome = WriteRecordBatches(
      dbil, QStringLiteral("TELM-0075"), Items(12000),
      [&](const QString& text) { reports.append(text); },
      [&](std::size_t done) {
        progress.push_back(done);
        cancel = true;
      },
      &cancel, ChannelValueWriter::BatchSize);
  EXPECT_TRUE(outcome.cancelled);
  EXPECT_EQ(progress, std::vector<std::size_t>{5000});
  EXPECT_EQ(std::count(outcome.written.begin(), outcome.written.end(), true), 5000);
  EXPECT_TRUE(reports.isEmpty());
  EXPECT_EQ(StoredIds(c).size(), 5000);
  EXPECT_EQ(ChannelValueWriter::ClosingNote(outcome, 12000),
            QStringLiteral("TELM-9011: Write cancelled: 5000 of 12000 records written, 7000 not "
                           "written."));
}

class RecordingProgress final : public IWriteProgress {
 public:
  void Begin(std::size_t total, std::function<void()> cancelWrite) override {
    steps.append(QStringLiteral("begin %1").arg(total));
    cancel = std::move(cancelWrite);
    if (cancelAtOnce) {
      cancel();
    }
  }
  void Advance(std::size_t done) override { steps.append(QStringLiteral("%1").arg(done)); }
  void End() override { steps.append(QStringLiteral("end")); }
  QStringList steps;
  std::function<void()> cancel;
  bool cancelAtOnce = false;
};

// On a worker: the failures, the progress, the closing note and the caller's own ending come
// back on this thread, in that order, and the caller's thread was free meanwhile.
TEST(RecordWriteFaults, OnAWorkerTheResultsComeBackInOrder) {
  ScratchDatabase db(Backend::Sqlite);
  db.Init();
  const QString c = db.ConnectionString();
  db.Exec(
      QStringLiteral("CREATE TRIGGER refuse BEFORE INSERT ON H5IOCOMMAND WHEN "
                     "NEW.commandtext LIKE '%id=\"3\"%' OR NEW.commandtext LIKE '%id=\"7000\"%'"
                     " BEGIN SELECT RAISE(ABORT, 'refused'); END"));
  H5DBIL dbil;
  ASSERT_TRUE(dbil.SetSiteID(QStringLiteral("PLANT1"), QString(), {c, c, c, c, c}));
  TextSink sink;
  ChannelValueWriter writer(dbil, sink);
  DatabaseWorker worker(QStringLiteral("PLANT1"), QString(), {c, c, c, c, c},
                        [&](std::int32_t, const QString& text) { sink.RaiseMsg(0, text); });
  RecordingProgress progress;
  writer.SetWorker(&worker, &progress);

  struct Run {
    bool cancel = false;
    QStringList texts;
    QStringList steps;
    int stored = 0;
  };
  const Run runs[] = {
      {false,
       {Failure(3), Failure(7000),
        QStringLiteral("TELM-9010: 11998 of 12000 records written, 2 not written."),
        QStringLiteral("done 11998")},
       {"begin 12000", "5000", "10000", "12000", "end"},
       11998},
      {true,
       {QStringLiteral("TELM-9011: Write cancelled: 0 of 12000 records written, 12000 not "
                       "written."),
        QStringLiteral("done 0")},
       {"begin 12000", "end"},
       11998},
  };
  for (const Run& run : runs) {
    sink.texts.clear();
    progress.steps.clear();
    progress.cancelAtOnce = run.cancel;
    bool done = false;
    writer.WriteChannelValueRecordsThen(
        QStringLiteral("TELM-0075"), Items(12000), {}, [&](const ChannelWriteOutcome& outcome) {
          sink.texts.append(QStringLiteral("done %1").arg(
              std::count(outcome.written.begin(), outcome.written.end(), true)));
          done = true;
        });
    EXPECT_FALSE(done);  // the write is not the caller's to wait for
    QElapsedTimer timer;
    timer.start();
    while (!done && timer.elapsed() < 60000) {
      QCoreApplication::processEvents(QEventLoop::AllEvents, 50);
    }
    EXPECT_EQ(sink.texts, run.texts);
    EXPECT_EQ(progress.steps, run.steps);
    EXPECT_EQ(StoredIds(c).size(), run.stored);
  }
  writer.SetWorker(nullptr, nullptr);
}

}  // namespace
}  // namespace telmon::test
