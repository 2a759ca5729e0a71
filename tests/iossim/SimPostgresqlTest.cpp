#include "iossim/SimPlant.h"
#include "platform/H5DBIL.h"
#include "tests/iossim/SimTestClient.h"
#include "tests/platform/SiteDatabaseFixture.h"

#include <QFile>

namespace telmon::iossim::testing {
namespace {

// A site whose databases live on a PostgreSQL server: the same simulator, other SQL dialect.
TEST(SimPostgresql, ServesASiteKeptOnADatabaseServer) {
  TELMON_REQUIRE_BACKEND(telmon::test::Backend::Postgresql);
  telmon::test::ScratchDatabase db(telmon::test::Backend::Postgresql);
  db.Init();
  QString error;
  ASSERT_TRUE(WriteDemoDahsDatabase(db.ConnectionString(), 1, &error)) << error.toStdString();
  QTemporaryDir dir;
  QFile ini(dir.filePath(QStringLiteral("Halvo5.INI")));
  ASSERT_TRUE(ini.open(QIODevice::WriteOnly));
  ini.write(QStringLiteral("[Site]\nSiteID = DEMO\nSqlConnectionString_Config = %1\n"
                           "SqlConnectionString_Realtime = %1\n[DAHS1]\nDescription = PG\n")
                .arg(db.ConnectionString())
                .toUtf8());
  ini.close();

  SimOptions o;
  o.settingsSource = dir.path();
  o.port = 0;
  SystemClock clock;
  Simulator sim(o, clock);
  ASSERT_TRUE(sim.Start(&error)) << error.toStdString();
  SimTestClient client;
  ASSERT_TRUE(client.Connect(sim.Port()));
  client.Send("<Command action=\"GetFullDeviceInfo\" /><Command action=\"SetURP\" value=\"2\"/>");

  ConnectionStrings connections;
  connections.config = connections.realtime = db.ConnectionString();
  H5DBIL dbil;
  ASSERT_TRUE(dbil.SetSiteID(QStringLiteral("DEMO"), QStringLiteral("EN"), connections));
  ASSERT_TRUE(dbil.WriteMessageRecord(
      QStringLiteral("<Command action=\"WriteToChannel\" id=\"1046\" value=\"13\" />"), {}, {},
      QStringLiteral("TELM-0075")));
  ASSERT_TRUE(QTest::qWaitFor(
      [&] {
        const auto v = dbil.ReadCurrentValues(connections.realtime, {},
                                              QStringLiteral("1046C,IOS.AllCommsOk"));
        return v && v->value(QStringLiteral("1046C")).numericValue == 13.0 &&
               v->contains(QStringLiteral("IOS.AllCommsOk"));
      },
      8000));
  EXPECT_EQ(db.Rows(QStringLiteral("SELECT result FROM H5IOCOMMAND")),
            (QList<QVariantList>{{QStringLiteral("OK")}}));
  ASSERT_TRUE(client.WaitFor([&] { return client.Count(QStringLiteral("DeviceUpdate")) >= 7; }));
  EXPECT_EQ(dbil.LookupValue(QStringLiteral("IOS:UnscheduledRequestPriority"), {}),
            QStringLiteral("2"));
}

}  // namespace
}  // namespace telmon::iossim::testing
