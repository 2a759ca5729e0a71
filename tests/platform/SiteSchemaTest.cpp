#include "platform/SiteSchema.h"
#include "tests/platform/SiteDatabaseFixture.h"

namespace telmon::test {
namespace {

class SiteSchemaTest : public ::testing::TestWithParam<Backend> {
 protected:
  void SetUp() override {
    TELMON_REQUIRE_BACKEND(GetParam());
    db_ = std::make_unique<ScratchDatabase>(GetParam());
  }
  int Version() {
    SqlConnection connection(db_->ConnectionString(), OpenMode::ReadWrite);
    QSqlDatabase* db = connection.Database(nullptr);
    return db != nullptr ? SiteSchema::Version(*db) : -2;
  }
  std::unique_ptr<ScratchDatabase> db_;
};

TEST_P(SiteSchemaTest, UpgradeFromTheFirstVersionKeepsEveryRow) {
  db_->Init(1);
  EXPECT_EQ(Version(), 1);
  db_->Exec(
      QStringLiteral("INSERT INTO H5LOOKUP (siteid, lookupkey, lookupvalue) VALUES"
                     " ('S', 'IOS:TcpListenPortForMonitorConnections', '7700')"));
  db_->Exec(QStringLiteral("INSERT INTO H5IOCOMMAND (siteid, commandtext, createdat) VALUES"
                           " ('S', 'cmd', ?)"),
            {QDateTime::currentDateTime()});
  db_->Exec(QStringLiteral("INSERT INTO H5REALTIME (ioid, numvalue) VALUES ('17C', 4.5)"));

  QString error;
  ASSERT_TRUE(SiteSchema::InitConnection(db_->ConnectionString(), &error)) << error.toStdString();
  EXPECT_EQ(Version(), SiteSchema::CurrentVersion);
  EXPECT_EQ(db_->Rows(QStringLiteral("SELECT lookupvalue FROM H5LOOKUP"))[0][0].toString(),
            QStringLiteral("7700"));
  EXPECT_EQ(db_->Rows(QStringLiteral("SELECT commandtext FROM H5IOCOMMAND")).size(), 1);
  EXPECT_EQ(db_->Rows(QStringLiteral("SELECT numvalue FROM H5REALTIME"))[0][0].toDouble(), 4.5);
  // The tables of the later versions exist and are usable.
  db_->Exec(QStringLiteral("INSERT INTO H5ACCOUNT (account, passwordhash) VALUES ('a', 'h')"));
  db_->Exec(QStringLiteral("INSERT INTO H5IOCHANNEL (dahsid, channelid) VALUES (1, 17)"));
  db_->Exec(
      QStringLiteral("INSERT INTO H5ALARM (dahsid, sourcekind, sourceid, condition)"
                     " VALUES (1, 'DEVICE', 3, 'Watchdog failure')"));
  db_->Exec(QStringLiteral("INSERT INTO H5ALARMHISTORY (alarmid, event, eventat) VALUES (1,"
                           " 'RAISED', ?)"),
            {QDateTime::currentDateTime()});

  // Running it again changes nothing.
  ASSERT_TRUE(SiteSchema::InitConnection(db_->ConnectionString(), &error)) << error.toStdString();
  EXPECT_EQ(db_->Rows(QStringLiteral("SELECT account FROM H5ACCOUNT")).size(), 1);
}

TEST_P(SiteSchemaTest, NewerDatabaseIsLeftAlone) {
  db_->Init();
  db_->Exec(QStringLiteral("UPDATE SCHEMA_VERSION SET version = 99"));
  QString error;
  EXPECT_FALSE(SiteSchema::InitConnection(db_->ConnectionString(), &error));
  EXPECT_TRUE(error.contains(QStringLiteral("99"))) << error.toStdString();
  EXPECT_EQ(Version(), 99);
}

// Only the versions there are: the first (1) up to the current one.
TEST_P(SiteSchemaTest, AVersionThatDoesNotExistIsRefusedUntouched) {
  SqlConnection connection(db_->ConnectionString(), OpenMode::Create);
  QString error;
  QSqlDatabase* db = connection.Database(&error);
  ASSERT_NE(db, nullptr) << error.toStdString();
  for (const int version : {0, -1, SiteSchema::CurrentVersion + 1}) {
    EXPECT_FALSE(SiteSchema::UpgradeTo(*db, version, &error));
    EXPECT_EQ(error, QStringLiteral("there is no schema version %1").arg(version));
    EXPECT_FALSE(db->tables().contains(QStringLiteral("SCHEMA_VERSION"), Qt::CaseInsensitive));
  }
  EXPECT_TRUE(SiteSchema::UpgradeTo(*db, 1, &error)) << error.toStdString();
  EXPECT_EQ(SiteSchema::Version(*db), 1);
}

TEST_P(SiteSchemaTest, FailedStepRollsBackAndReportsTheVersion) {
  db_->Init(2);
  // A table in the way of version 3 makes its step fail as a whole.
  db_->Exec(QStringLiteral("CREATE TABLE H5IOQUEUE (x INTEGER)"));
  QString error;
  EXPECT_FALSE(SiteSchema::InitConnection(db_->ConnectionString(), &error));
  EXPECT_TRUE(error.contains(QStringLiteral("version 3"))) << error.toStdString();
  EXPECT_EQ(Version(), 2);
  EXPECT_TRUE(db_->Rows(QStringLiteral("SELECT COUNT(*) FROM H5ACCOUNT")).size() == 1);
}

INSTANTIATE_TEST_SUITE_P(Backends, SiteSchemaTest,
                         ::testing::Values(Backend::Sqlite, Backend::Postgresql), BackendName);

}  // namespace
}  // namespace telmon::test
