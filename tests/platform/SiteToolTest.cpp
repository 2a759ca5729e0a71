#include "platform/AccountStore.h"
#include "platform/H5DBIL.h"
#include "platform/SiteSettingsReader.h"
#include "tests/platform/SiteDatabaseFixture.h"

#include <QFile>
#include <QProcess>
#include <QSqlDatabase>
#include <QSqlQuery>
#include <QTemporaryDir>

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

TEST(SiteTool, BigDemoSiteSpreadsChannelsOverBlocksDevicesAndQueues) {
  QTemporaryDir dir;
  const Result demo = RunSiteTool({QStringLiteral("demo"), dir.path(), QStringLiteral("--channels"),
                                   QStringLiteral("3000"), QStringLiteral("--blocks=60")});
  ASSERT_EQ(demo.exitCode, 0) << demo.err.toStdString();
  {
    QSqlDatabase db = QSqlDatabase::addDatabase(QStringLiteral("QSQLITE"), QStringLiteral("big"));
    db.setDatabaseName(dir.filePath(QStringLiteral("dahs1.sqlite")));
    ASSERT_TRUE(db.open());
    auto scalar = [&db](const char* sql) {
      QSqlQuery q(db);
      EXPECT_TRUE(q.exec(QString::fromLatin1(sql))) << sql;
      return q.next() ? q.value(0).toLongLong() : -1;
    };
    const struct {
      const char* sql;
      qint64 expected;
    } checks[] = {
        {"SELECT COUNT(*) FROM H5IOCHANNEL WHERE dahsid = 1", 3000},
        {"SELECT COUNT(*) FROM H5IOBLOCK WHERE dahsid = 1", 60},
        {"SELECT COUNT(DISTINCT name) FROM H5IOCHANNEL WHERE dahsid = 1", 3000},
        // Every extra block has channels, on a device of the demo and that device's queue.
        {"SELECT COUNT(*) FROM H5IOBLOCK b WHERE dahsid = 1 AND blockid > 100000 AND NOT EXISTS "
         "(SELECT 1 FROM H5IOCHANNEL c WHERE c.dahsid = 1 AND c.blockid = b.blockid)",
         0},
        {"SELECT COUNT(DISTINCT deviceid) FROM H5IOBLOCK WHERE dahsid = 1 AND blockid > 100000", 7},
        {"SELECT COUNT(DISTINCT qname) FROM H5IOBLOCK WHERE dahsid = 1 AND blockid > 100000", 3},
        {"SELECT COUNT(*) FROM H5IOCHANNEL WHERE dahsid = 1 AND channelid > 100000 AND "
         "(scaling = '' OR scaling IS NULL)",
         0},
    };
    for (const auto& check : checks) {
      EXPECT_EQ(scalar(check.sql), check.expected) << check.sql;
    }
  }
  QSqlDatabase::removeDatabase(QStringLiteral("big"));
  for (const QStringList& args :
       {QStringList{QStringLiteral("demo"), dir.path(), QStringLiteral("--channels")},
        QStringList{QStringLiteral("demo"), dir.path(), QStringLiteral("--blocks=many")},
        QStringList{QStringLiteral("demo"), dir.path(), QStringLiteral("--channels=100000")},
        QStringList{QStringLiteral("init"), QStringLiteral("sqlite:x"),
                    QStringLiteral("--blocks=5")}}) {
    EXPECT_EQ(RunSiteTool(args).exitCode, 2) << args.join(QLatin1Char(' ')).toStdString();
  }
}

TEST(SiteSettingsFile, EachFaultIsNamed) {
  struct Case {
    const char* text;  // null: no file at all
    bool opens;
    const char* message;
  };
  const Case cases[] = {
      {nullptr, false, "the settings file does not exist"},
      {"[Site\n", false, "syntax error on line 1"},
      {"[Other]\nSiteID=P1\n", false, "no section [Site]"},
      {"[Site]\nSiteID=  \n", false, "[Site] SiteID: missing or empty"},
      {"[Site]\nSiteID=P1\n", true, "no section [DAHS1] (it needs at least a Description line)"},
      {"[Site]\nSiteID=P1\n[Telmon]\nJournal = sqlite:j.db\n", false,
       "settings.ini: [Telmon] Journal: 'sqlite:j.db' is not a postgresql:// connection string"},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.message);
    QTemporaryDir dir;
    const QString path = dir.filePath(QStringLiteral("settings.ini"));
    if (c.text != nullptr) {
      QFile file(path);
      ASSERT_TRUE(file.open(QIODevice::WriteOnly));
      file.write(c.text);
    }
    SiteSettingsReader reader;
    EXPECT_EQ(reader.Open(path), c.opens);
    if (c.opens) {
      EXPECT_FALSE(reader.LoadDahs(1));
    }
    EXPECT_TRUE(reader.TakeMessages().join(u'\n').contains(QLatin1String(c.message)));
  }
}

TEST(SiteSettingsFile, SharedJournalComesFromTheTelmonSection) {
  QTemporaryDir dir;
  QFile file(dir.filePath(QStringLiteral("Halvo5.INI")));
  ASSERT_TRUE(file.open(QIODevice::WriteOnly));
  file.write(
      "[Site]\nSiteID=P1\n[telmon]\njournal = postgresql://j@db:5433/journal ; shared\n"
      "[DAHS1]\nDescription=U1\n");
  file.close();
  SiteSettingsReader reader;
  ASSERT_TRUE(reader.Open(dir.path()));
  ASSERT_TRUE(reader.LoadDahs(1));
  EXPECT_EQ(reader.Settings().journalConnection, QStringLiteral("postgresql://j@db:5433/journal"));
}

}  // namespace
}  // namespace telmon::test
