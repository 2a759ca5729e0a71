#include "iossim/SimPlant.h"
#include "platform/AccountStore.h"
#include "platform/H5DBIL.h"
#include "platform/SiteSettingsReader.h"
#include "platform/SqlConnection.h"
#include "tests/iossim/SimTestClient.h"

#include <QSqlQuery>

namespace telmon::iossim::testing {
namespace {

// The simulator against the database, seen the way the monitor sees it: command records go
// in through the site's database interface, current values come out of the realtime table.
class SimDatabaseTest : public DemoSiteTest {
 protected:
  void SetUp() override {
    DemoSiteTest::SetUp();
    SiteSettingsReader reader;
    ASSERT_TRUE(reader.Open(dir_.path()) && reader.LoadDahs(1))
        << reader.TakeMessages().join("; ").toStdString();
    settings_ = reader.Settings();
    ASSERT_TRUE(dbil_.SetSiteID(settings_.siteId, settings_.languageId, settings_.connections));
  }

  CurrentValues Read(const QString& ioids) {
    const auto values = dbil_.ReadCurrentValues(settings_.connections.realtime, {}, ioids);
    EXPECT_TRUE(values.has_value());
    return values.value_or(CurrentValues());
  }

  // id|commandtext|result of every command record with a processing time.
  QStringList Processed() {
    SqlConnection c(settings_.connections.config, OpenMode::ReadOnly);
    QString error;
    QSqlQuery q(*c.Database(&error));
    q.exec(
        QStringLiteral("SELECT id, result FROM H5IOCOMMAND WHERE processedat IS NOT NULL "
                       "ORDER BY id"));
    QStringList rows;
    while (q.next()) rows << q.value(0).toString() + QLatin1Char('|') + q.value(1).toString();
    return rows;
  }

  DahsSettings settings_;
  H5DBIL dbil_;
};

TEST_F(SimDatabaseTest, WriteRecordsAreAppliedAndMarkedDone) {
  Start(Options(1));
  // 1046 is the NOx MC60 mode code, written through the CEMS controller's queue; 1216 and 1217
  // are forced-value test channels, which take a write at once.
  const auto write = [&](const QString& text) {
    ASSERT_TRUE(dbil_.WriteMessageRecord(text, QString(), QString(), QStringLiteral("TELM-0038")));
  };
  write(QStringLiteral("<Command action=\"WriteToChannel\" id=\"1046\" value=\"13\" />"));
  write(QStringLiteral("<Command action=\"WriteToChannel\" id=\"1216\" value=\"42.5\" />"));
  write(QStringLiteral("<Command action=\"WriteToChannel\" id=\"99999\" value=\"1\" />"));
  write(QStringLiteral("<Command action=\"WriteToChannel\" id=\"1217\" value=\"\" />"));
  write(QStringLiteral("<Command action=\"RecreateAllAlarms\" />"));
  write(QStringLiteral("not a command"));
  QStringList done;
  ASSERT_TRUE(QTest::qWaitFor([&] { return (done = Processed()).size() == 6; }, 8000))
      << done.join('\n').toStdString();
  EXPECT_EQ(done[0], QStringLiteral("1|OK"));
  EXPECT_EQ(done[1], QStringLiteral("2|OK"));
  EXPECT_EQ(done[2], QStringLiteral("3|Failed: there is no channel 99999"));
  EXPECT_EQ(done[3], QStringLiteral("4|OK"));
  EXPECT_TRUE(done[4].startsWith(QStringLiteral("5|Ignored"))) << done[4].toStdString();
  EXPECT_TRUE(done[5].startsWith(QStringLiteral("6|Failed: not a command")))
      << done[5].toStdString();

  ASSERT_TRUE(QTest::qWaitFor(
      [&] {
        const CurrentValues v = Read(QStringLiteral("1046C,1216C,1217C"));
        return v.value(QStringLiteral("1046C")).numericValue == 13.0 &&
               v.value(QStringLiteral("1216C")).numericValue == 42.5 &&
               v.contains(QStringLiteral("1217C")) &&
               !v.value(QStringLiteral("1217C")).numericValue.has_value();
      },
      4000));
}

// 1216 is a forced-value test channel: released two seconds after the start, forced again by a
// record, and released again two seconds later; every monitor is told each time.
TEST_F(SimDatabaseTest, ARecordForcesAReleasedChannelAgain) {
  SimOptions options = Options(1);
  options.releaseForcedAfterS = 2;
  Simulator* sim = Start(options);
  SimTestClient client;
  ASSERT_TRUE(client.Connect(sim->Port()));
  const auto sources = [&] {
    QStringList out;
    for (const SimEvent& e : client.OfType(QStringLiteral("ChannelConfigUpdate"))) {
      if (e.Attr("ID") == QLatin1String("1216")) out << e.Attr("DataSource");
    }
    return out;
  };
  ASSERT_TRUE(client.WaitFor([&] { return sources() == QStringList{"Calculated"}; }, 15000))
      << sources().join(',').toStdString();
  ASSERT_TRUE(dbil_.WriteMessageRecord(
      QStringLiteral("<Command action=\"WriteToChannel\" id=\"1216\" value=\"42.5\" />"), QString(),
      QString(), QStringLiteral("TELM-0038")));
  EXPECT_TRUE(client.WaitFor(
      [&] {
        return sources() == QStringList{"Calculated", "ForcedValue", "Calculated"};
      },
      15000))
      << sources().join(',').toStdString();
  EXPECT_EQ(Processed(), QStringList{"1|OK"});
}

TEST_F(SimDatabaseTest, RealtimeTableIsRewrittenEverySecond) {
  Simulator* sim = Start(Options(1));
  const QString ioids = QStringLiteral("1001C,IOS.AllCommsOk,IOS.AllDataRefreshed");
  CurrentValues first = Read(ioids);
  ASSERT_EQ(first.size(), 2) << "at start-up only the server-wide points have values";
  ASSERT_TRUE(QTest::qWaitFor([&] { return (first = Read(ioids)).size() == 3; }, 4000))
      << "the flow channel is read within its block's interval";
  EXPECT_EQ(first.value(QStringLiteral("IOS.AllCommsOk")).numericValue, 1.0);
  const QDateTime t0 = first.value(QStringLiteral("IOS.AllCommsOk")).timestamp;
  QList<QDateTime> stamps;
  ASSERT_TRUE(QTest::qWaitFor(
      [&] {
        const QDateTime t = Read(ioids).value(QStringLiteral("IOS.AllCommsOk")).timestamp;
        if (stamps.isEmpty() || stamps.last() != t) stamps << t;
        return stamps.size() >= 3;
      },
      4500));
  EXPECT_GE(t0.msecsTo(stamps.last()), 1500);
  const CurrentValueItem flow = Read(ioids).value(QStringLiteral("1001C"));
  ASSERT_TRUE(flow.numericValue.has_value());
  EXPECT_GT(*flow.numericValue, 0.0);
  EXPECT_TRUE(flow.textValue.isEmpty());

  // A refresh of all data shows as started, then as finished.
  sim->Plant()->RefreshAllData();
  ASSERT_TRUE(QTest::qWaitFor(
      [&] {
        return Read(ioids)
            .value(QStringLiteral("IOS.AllDataRefreshed"))
            .textValue.endsWith(QStringLiteral("Finish=\"\"/>"));
      },
      3000));
  ASSERT_TRUE(QTest::qWaitFor(
      [&] {
        return !Read(ioids)
                    .value(QStringLiteral("IOS.AllDataRefreshed"))
                    .textValue.endsWith(QStringLiteral("Finish=\"\"/>"));
      },
      8000));
}

TEST_F(SimDatabaseTest, DemoSiteHasTwoDahsUnitsAndTheTwoAccounts) {
  SiteSettingsReader reader;
  ASSERT_TRUE(reader.Open(dir_.path()) && reader.LoadDahs(2));
  EXPECT_EQ(reader.Settings().siteId, QStringLiteral("DEMO"));
  EXPECT_NE(reader.Settings().connections.realtime, settings_.connections.realtime);
  EXPECT_NE(reader.Settings().connections.config, settings_.connections.config);
  for (const QString& connection :
       {settings_.connections.config, reader.Settings().connections.config}) {
    SqlConnection c(connection, OpenMode::ReadWrite);
    QString error;
    QSqlDatabase* db = c.Database(&error);
    ASSERT_NE(db, nullptr) << error.toStdString();
    AccountStore accounts(*db);
    const auto tech = accounts.Find(QStringLiteral("tech"), &error);
    const auto super = accounts.Find(QStringLiteral("super"), &error);
    ASSERT_TRUE(tech && super) << error.toStdString();
    EXPECT_EQ(tech->privilegeLevel, 100);
    EXPECT_EQ(super->privilegeLevel, 251);
    EXPECT_TRUE(VerifyPassword(tech->passwordHash, QStringLiteral("tech-demo")));
    EXPECT_TRUE(VerifyPassword(super->passwordHash, QStringLiteral("super-demo")));
    EXPECT_FALSE(VerifyPassword(super->passwordHash, QStringLiteral("tech-demo")));
    QSqlQuery q(*db);
    ASSERT_TRUE(q.exec(
        QStringLiteral("SELECT COUNT(*), SUM(address LIKE '%MC60' OR address LIKE '%MC75'), "
                       "SUM(address LIKE 'CalHistory.%.Days[%'), SUM(datasource IN ('ForcedValue', "
                       "'TriangleWave')) FROM H5IOCHANNEL")));
    ASSERT_TRUE(q.next());
    EXPECT_GT(q.value(0).toInt(), 200);
    // LIKE ignores case here: the lower-case "mc60" channels of the bulk-write rules count too.
    EXPECT_EQ(q.value(1).toInt(), 23);
    EXPECT_EQ(q.value(2).toInt(), 150);
    EXPECT_EQ(q.value(3).toInt(), 5);
  }
  // Writing the site again replaces it rather than failing on the old rows.
  QString error;
  EXPECT_TRUE(WriteDemoSite(dir_.path(), &error)) << error.toStdString();
}

}  // namespace
}  // namespace telmon::iossim::testing
