// The database layer against real faults: what kind of failure each one is, how long it may
// hold the caller, and that a commit whose answer was lost is never written twice.

#include "platform/H5DBIL.h"
#include "tests/platform/FaultPeers.h"
#include "tests/platform/SiteDatabaseFixture.h"

#include <QElapsedTimer>

namespace telmon::test {
namespace {

std::vector<MessageRecord> Records(int count, const QString& tag = QStringLiteral("r")) {
  std::vector<MessageRecord> records;
  records.reserve(static_cast<std::size_t>(count));
  for (int i = 0; i < count; ++i) {
    records.push_back(
        {tag + QString::number(i), QString(), QString(), QStringLiteral("TELM-0075")});
  }
  return records;
}

QString PostgresAt(int port, const QString& database,
                   const QString& options = QStringLiteral("?connect_timeout=1")) {
  return QStringLiteral("postgresql://%1@127.0.0.1:%2/%3%4")
      .arg(qEnvironmentVariable("PGUSER", QStringLiteral("telmon")))
      .arg(port)
      .arg(database, options);
}

struct Site {
  explicit Site(const QString& connection) {
    QObject::connect(&dbil, &H5DBIL::Message, &dbil,
                     [this](std::int32_t type, const QString& text) { log.Add(type, text); });
    EXPECT_TRUE(dbil.SetSiteID(QStringLiteral("PLANT1"), QStringLiteral("EN"),
                               {connection, connection, connection, connection, connection}));
  }
  H5DBIL dbil;
  MessageLog log;
};

// Each fault as the layer reports it, and the time it may take: an unreachable server within
// its connect timeout, a locked file within its busy timeout.
TEST(DatabaseFaults, EachFaultIsToldApartAndFailsWithinItsTimeout) {
  SilentListener silent;
  ScratchDatabase locked(Backend::Sqlite);
  locked.Init();
  SqlConnection locker(locked.ConnectionString(), OpenMode::ReadWrite);
  QString error;
  QSqlDatabase* lockDb = locker.Database(&error);
  ASSERT_NE(lockDb, nullptr) << error.toStdString();
  QSqlQuery lock(*lockDb);
  ASSERT_TRUE(lock.exec(QStringLiteral("BEGIN EXCLUSIVE")));

  struct Case {
    const char* name;
    QString connection;
    qint64 atMostMs;
  };
  const Case cases[] = {
      {"refused port", PostgresAt(RefusedPort(), QStringLiteral("site")), 1000},
      {"silent listener", PostgresAt(silent.Port(), QStringLiteral("site")), 2500},
      {"locked file", locked.ConnectionString(), SqliteBusyTimeoutMs + 1500},
  };
  for (const Case& c : cases) {
    Site site(c.connection);
    QElapsedTimer timer;
    timer.start();
    const WriteResult result = site.dbil.WriteMessageRecords(Records(3), site.dbil.NewWriteKey());
    EXPECT_EQ(result.failure, DbFailure::Unavailable)
        << c.name << ": " << result.error.toStdString();
    EXPECT_FALSE(result.error.isEmpty()) << c.name;
    EXPECT_LT(timer.elapsed(), c.atMostMs) << c.name;
    EXPECT_TRUE(site.log.entries.empty()) << c.name << site.log.All().toStdString();
  }
  EXPECT_EQ(silent.Accepted(), 1);
  ASSERT_TRUE(lock.exec(QStringLiteral("ROLLBACK")));
  EXPECT_TRUE(locked.Rows(QStringLiteral("SELECT id FROM H5IOCOMMAND")).isEmpty());
}

class RefusedStatementTest : public ::testing::TestWithParam<Backend> {};

// A statement the database refuses is no connection failure: the connection stays, the next
// write on it goes through.
TEST_P(RefusedStatementTest, IsRefusedAndTheConnectionStaysUsable) {
  TELMON_REQUIRE_BACKEND(GetParam());
  ScratchDatabase db(GetParam());
  db.Init();
  if (GetParam() == Backend::Sqlite) {
    db.Exec(
        QStringLiteral("CREATE TRIGGER refuse BEFORE INSERT ON H5IOCOMMAND WHEN "
                       "NEW.commandtext = 'bad' BEGIN SELECT RAISE(ABORT, 'refused'); END"));
  } else {
    db.Exec(
        QStringLiteral("CREATE FUNCTION refuse() RETURNS trigger AS $$ BEGIN IF "
                       "NEW.commandtext = 'bad' THEN RAISE EXCEPTION 'refused'; END IF; "
                       "RETURN NEW; END $$ LANGUAGE plpgsql"));
    db.Exec(
        QStringLiteral("CREATE TRIGGER refuse BEFORE INSERT ON H5IOCOMMAND FOR EACH ROW "
                       "EXECUTE FUNCTION refuse()"));
  }
  Site site(db.ConnectionString());
  std::vector<MessageRecord> records = Records(150);
  records[120].commandText = QStringLiteral("bad");
  const WriteResult refused = site.dbil.WriteMessageRecords(records, site.dbil.NewWriteKey());
  EXPECT_EQ(refused.failure, DbFailure::Refused);
  EXPECT_TRUE(refused.error.contains(QStringLiteral("refused"))) << refused.error.toStdString();
  EXPECT_TRUE(site.dbil.WriteMessageRecords(Records(2), site.dbil.NewWriteKey()).Written());
  EXPECT_EQ(db.Rows(QStringLiteral("SELECT id FROM H5IOCOMMAND")).size(), 2);
}

INSTANTIATE_TEST_SUITE_P(Backends, RefusedStatementTest,
                         ::testing::Values(Backend::Sqlite, Backend::Postgresql), BackendName);

// A PostgreSQL database reached through a proxy that stops forwarding when told.
class StalledServerTest : public ::testing::Test {
 protected:
  void SetUp() override {
    TELMON_REQUIRE_BACKEND(Backend::Postgresql);
    db_ = std::make_unique<ScratchDatabase>(Backend::Postgresql);
    db_->Init();
    proxy_ = std::make_unique<StallingProxy>(qEnvironmentVariableIntValue("PGPORT"));
    const QString name = db_->ConnectionString().section(QLatin1Char('/'), -1);
    site_ = std::make_unique<Site>(PostgresAt(proxy_->Port(), name));
    site_->dbil.SetReplyTimeout(700);
  }

  int StoredRows() {
    return static_cast<int>(db_->Rows(QStringLiteral("SELECT id FROM H5IOCOMMAND")).size());
  }

  std::unique_ptr<ScratchDatabase> db_;
  std::unique_ptr<StallingProxy> proxy_;
  std::unique_ptr<Site> site_;
};

// The proxy stops before the statement, before the commit, or after the commit (the server
// committed, its answer never came): each time the call gives up at the reply timeout as a
// lost connection, and the second call under the same key leaves the records stored once.
TEST_F(StalledServerTest, AWriteCutAnywhereIsStoredExactlyOnceOnItsRetry) {
  struct Case {
    const char* trigger;
    StallingProxy::Action action;
    int storedAfterFirstCall;
  };
  const Case cases[] = {
      {"EXECUTE", StallingProxy::Action::StallBefore, 0},
      {"COMMIT", StallingProxy::Action::StallBefore, 0},
      {"COMMIT", StallingProxy::Action::StallAfter, 250},
  };
  int before = 0;
  for (const Case& c : cases) {
    SCOPED_TRACE(std::string(c.trigger) +
                 (c.action == StallingProxy::Action::StallBefore ? " before" : " after"));
    proxy_->Arm(c.trigger, c.action);
    const std::uint64_t key = site_->dbil.NewWriteKey();
    const std::vector<MessageRecord> records = Records(250);
    QElapsedTimer timer;
    timer.start();
    const WriteResult first = site_->dbil.WriteMessageRecords(records, key);
    EXPECT_EQ(first.failure, DbFailure::Unavailable) << first.error.toStdString();
    EXPECT_LT(timer.elapsed(), 3000);
    EXPECT_TRUE(proxy_->Triggered());
    EXPECT_EQ(StoredRows(), before + c.storedAfterFirstCall);
    const WriteResult retry = site_->dbil.WriteMessageRecords(records, key);
    EXPECT_TRUE(retry.Written()) << retry.error.toStdString();
    before += 250;
    EXPECT_EQ(StoredRows(), before);
  }
  EXPECT_TRUE(site_->log.entries.empty()) << site_->log.All().toStdString();
}

// The realtime read on a server that stopped answering: given up at the reply timeout, tried
// once more on a fresh connection, which answers.
TEST_F(StalledServerTest, AStalledReadIsCutAndReadAgainOnAFreshConnection) {
  db_->Exec(
      QStringLiteral("INSERT INTO H5REALTIME (ioid, tstamp, numvalue, textvalue)"
                     " VALUES ('5C', NULL, 1.5, '')"));
  proxy_->Arm("H5REALTIME", StallingProxy::Action::StallBefore);
  const QString connection = site_->dbil.Connections().realtime;
  QElapsedTimer timer;
  timer.start();
  const auto values = site_->dbil.ReadCurrentValues(connection, QDateTime(), QStringLiteral("5C"));
  EXPECT_LT(timer.elapsed(), 3000);
  ASSERT_TRUE(values.has_value()) << site_->log.All().toStdString();
  EXPECT_EQ(values->value(QStringLiteral("5C")).numericValue, 1.5);
}

}  // namespace
}  // namespace telmon::test
