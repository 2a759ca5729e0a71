#include "platform/AccountStore.h"
#include "platform/H5DBIL.h"
#include "platform/SiteSettingsReader.h"
#include "tests/platform/SiteDatabaseFixture.h"

#include <QProcess>

namespace telmon::test {
namespace {

struct Result {
  int exitCode = -1;
  QString out;
  QString err;
};

Result RunSiteTool(const QStringList& arguments, const QByteArray& input = {}) {
  QProcess process;
  process.start(QStringLiteral(TELMON_SITE_EXE), arguments);
  EXPECT_TRUE(process.waitForStarted(10000));
  process.write(input);
  process.closeWriteChannel();
  EXPECT_TRUE(process.waitForFinished(60000));
  return {process.exitCode(), QString::fromUtf8(process.readAllStandardOutput()),
          QString::fromUtf8(process.readAllStandardError())};
}

TEST(SiteTool, ManagesAccountsAndLookupsOnAnInitialisedDatabase) {
  ScratchDatabase db(Backend::Sqlite);
  const QString c = db.ConnectionString();
  EXPECT_EQ(RunSiteTool({QStringLiteral("add-user"), c, QStringLiteral("a"), QStringLiteral("1"),
                         QStringLiteral("--password=x")})
                .exitCode,
            1);  // no database yet
  ASSERT_EQ(RunSiteTool({QStringLiteral("init"), c}).exitCode, 0);

  const Result added =
      RunSiteTool({QStringLiteral("add-user"), c, QStringLiteral("tech"), QStringLiteral("250")},
                  QByteArrayLiteral("from stdin\n"));
  ASSERT_EQ(added.exitCode, 0) << added.err.toStdString();
  EXPECT_FALSE(added.out.contains(QStringLiteral("from stdin")));
  ASSERT_EQ(RunSiteTool({QStringLiteral("set-password"), c, QStringLiteral("TECH"),
                         QStringLiteral("--password=new one")})
                .exitCode,
            0);
  {
    SqlConnection connection(c, OpenMode::ReadWrite);
    QString error;
    AccountStore store(*connection.Database(&error));
    const auto account = store.Find(QStringLiteral("tech"), &error);
    ASSERT_TRUE(account.has_value());
    EXPECT_EQ(account->privilegeLevel, 250);
    EXPECT_TRUE(VerifyPassword(account->passwordHash, QStringLiteral("new one")));
  }

  const QString key = QStringLiteral("it's \"odd\"; DELETE FROM H5LOOKUP");
  ASSERT_EQ(
      RunSiteTool({QStringLiteral("set-lookup"), c, QStringLiteral("S"), key, QStringLiteral("1")})
          .exitCode,
      0);
  ASSERT_EQ(
      RunSiteTool({QStringLiteral("set-lookup"), c, QStringLiteral("S"), key, QStringLiteral("2")})
          .exitCode,
      0);
  H5DBIL dbil;
  ASSERT_TRUE(dbil.SetSiteID(QStringLiteral("S"), QString(), {c, c, c, c, c}));
  EXPECT_EQ(dbil.LookupValue(key, QString()), QStringLiteral("2"));

  EXPECT_EQ(RunSiteTool({QStringLiteral("remove-user"), c, QStringLiteral("tech")}).exitCode, 0);
  const Result again = RunSiteTool({QStringLiteral("remove-user"), c, QStringLiteral("tech")});
  EXPECT_EQ(again.exitCode, 1);
  EXPECT_TRUE(again.err.contains(QStringLiteral("no account 'tech'")));
}

TEST(SiteTool, WrongCommandLinesShowTheUsage) {
  EXPECT_EQ(RunSiteTool({QStringLiteral("--help")}).exitCode, 0);
  for (const QStringList& args :
       {QStringList{}, QStringList{QStringLiteral("frobnicate")},
        QStringList{QStringLiteral("init")},
        QStringList{QStringLiteral("init"), QStringLiteral("a"), QStringLiteral("--password=x")},
        QStringList{QStringLiteral("--bogus")}}) {
    const Result result = RunSiteTool(args);
    EXPECT_EQ(result.exitCode, 2) << args.join(QLatin1Char(' ')).toStdString();
    EXPECT_TRUE(result.err.contains(QStringLiteral("Usage: telmon-site")));
  }
  const Result level = RunSiteTool({QStringLiteral("add-user"), QStringLiteral("sqlite:/x.db"),
                                    QStringLiteral("a"), QStringLiteral("high")});
  EXPECT_EQ(level.exitCode, 1);
  EXPECT_TRUE(level.err.contains(QStringLiteral("'high' is not a privilege level")));
}

TEST(SiteTool, DemoSiteIsReadyForTheMonitor) {
  QTemporaryDir dir;
  const Result demo = RunSiteTool({QStringLiteral("demo"), dir.path()});
  ASSERT_EQ(demo.exitCode, 0) << demo.err.toStdString();
  SiteSettingsReader reader;
  ASSERT_TRUE(reader.Open(dir.path())) << reader.TakeMessages().join('\n').toStdString();
  ASSERT_TRUE(reader.LoadDahs(1)) << reader.TakeMessages().join('\n').toStdString();
  const DahsSettings& settings = reader.Settings();
  H5DBIL dbil;
  MessageLog log;
  QObject::connect(&dbil, &H5DBIL::Message, &dbil,
                   [&log](std::int32_t type, const QString& text) { log.Add(type, text); });
  ASSERT_TRUE(dbil.SetSiteID(settings.siteId, settings.languageId, settings.connections));
  EXPECT_TRUE(dbil.TestConnectionsReadOnly()) << log.All().toStdString();
  EXPECT_TRUE(dbil.TestConnectionsReadWrite()) << log.All().toStdString();
}

}  // namespace
}  // namespace telmon::test
