#include "platform/H5DBIL.h"
#include "tests/platform/SiteDatabaseFixture.h"

#include <QElapsedTimer>
#include <QFile>
#include <QTcpServer>

namespace telmon::test {
namespace {

class H5DBILTest : public ::testing::TestWithParam<Backend> {
 protected:
  void SetUp() override {
    TELMON_REQUIRE_BACKEND(GetParam());
    db_ = std::make_unique<ScratchDatabase>(GetParam());
    db_->Init();
    QObject::connect(&dbil_, &H5DBIL::Message, &dbil_,
                     [this](std::int32_t type, const QString& text) { log_.Add(type, text); });
    const QString c = db_->ConnectionString();
    ASSERT_TRUE(dbil_.SetSiteID(QStringLiteral("PLANT1"), QStringLiteral("EN"), {c, c, c, c, c}))
        << log_.All().toStdString();
  }

  void PutRealtime(const QString& ioid, const QVariant& number, const QString& text,
                   const QDateTime& stamp) {
    db_->Exec(QStringLiteral("INSERT INTO H5REALTIME (ioid, tstamp, numvalue, textvalue)"
                             " VALUES (?, ?, ?, ?)"),
              {ioid, stamp, number, text});
  }

  std::unique_ptr<ScratchDatabase> db_;
  H5DBIL dbil_;
  MessageLog log_;
};

TEST_P(H5DBILTest, ConnectionTestsPassOnAnInitialisedDatabase) {
  EXPECT_TRUE(dbil_.TestConnectionsReadOnly()) << log_.All().toStdString();
  EXPECT_TRUE(dbil_.TestConnectionsReadWrite()) << log_.All().toStdString();
}

TEST_P(H5DBILTest, LookupsAreStoredAndReadLiterally) {
  const QString hostile = QStringLiteral("x'); DROP TABLE H5LOOKUP; --\"\\%_é");
  db_->Exec(QStringLiteral("INSERT INTO H5LOOKUP (siteid, lookupkey, lookupvalue) VALUES (?,?,?)"),
            {QStringLiteral("PLANT1"), hostile, hostile + QStringLiteral("value")});
  db_->Exec(QStringLiteral("INSERT INTO H5LOOKUP (siteid, lookupkey, lookupvalue) VALUES (?,?,?)"),
            {QStringLiteral("OTHER"), QStringLiteral("IOS:TcpListenPortForMonitorConnections"),
             QStringLiteral("9999")});

  EXPECT_EQ(dbil_.LookupValue(hostile, QString()), hostile + QStringLiteral("value"));
  // Another site's key and a key differing only in case are not this site's.
  EXPECT_EQ(dbil_.LookupValue(QStringLiteral("IOS:TcpListenPortForMonitorConnections"),
                              QStringLiteral("default")),
            QStringLiteral("default"));
  EXPECT_EQ(dbil_.LookupValue(hostile.toUpper(), QStringLiteral("d")), QStringLiteral("d"));
  EXPECT_TRUE(log_.entries.empty()) << log_.All().toStdString();
}

TEST_P(H5DBILTest, CommandRecordsRoundTripWithTheirSite) {
  const QString command =
      QStringLiteral("<Command action=\"WriteToChannel\" id=\"17\" value=\"1'; --\" />");
  const QDateTime before = QDateTime::currentDateTime().addSecs(-1);
  ASSERT_TRUE(dbil_.WriteMessageRecord(command, QString(), QStringLiteral("x\"y"),
                                       QStringLiteral("TELM-0038")))
      << log_.All().toStdString();
  ASSERT_TRUE(dbil_.WriteMessageRecord(QStringLiteral("second"), QString(), QString(),
                                       QStringLiteral("TELM-0049")));

  const auto rows = db_->Rows(QStringLiteral(
      "SELECT siteid, commandtext, extra1, extra2, callercode, createdat, processedat"
      " FROM H5IOCOMMAND ORDER BY id"));
  ASSERT_EQ(rows.size(), 2);
  EXPECT_EQ(rows[0][0].toString(), QStringLiteral("PLANT1"));
  EXPECT_EQ(rows[0][1].toString(), command);
  EXPECT_EQ(rows[0][2].toString(), QString());
  EXPECT_EQ(rows[0][3].toString(), QStringLiteral("x\"y"));
  EXPECT_EQ(rows[0][4].toString(), QStringLiteral("TELM-0038"));
  const QDateTime created = SqlToDateTime(rows[0][5]);
  EXPECT_TRUE(created >= before && created <= QDateTime::currentDateTime().addSecs(1))
      << rows[0][5].toString().toStdString();
  EXPECT_TRUE(rows[0][6].isNull());
  EXPECT_EQ(rows[1][4].toString(), QStringLiteral("TELM-0049"));
}

TEST_P(H5DBILTest, BatchesOfRecordsAreWholeAtEverySizeAroundAStatementsRows) {
  // The batch goes out in statements of 100 rows and one for the rest.
  int written = 0;
  for (const int count : {1, 99, 100, 101, 200}) {
    std::vector<MessageRecord> records(static_cast<std::size_t>(count));
    for (int i = 0; i < count; ++i) {
      records[static_cast<std::size_t>(i)].commandText = QString::number(written + i);
    }
    const WriteResult result = dbil_.WriteMessageRecords(records, dbil_.NewWriteKey());
    ASSERT_TRUE(result.Written()) << count << ": " << result.error.toStdString();
    written += count;
  }
  const auto rows = db_->Rows(QStringLiteral("SELECT commandtext FROM H5IOCOMMAND ORDER BY id"));
  ASSERT_EQ(rows.size(), written);
  for (int i = 0; i < written; ++i) {
    ASSERT_EQ(rows[i][0].toString(), QString::number(i));
  }
}

TEST_P(H5DBILTest, CurrentValuesComeBackKeyedByIoid) {
  const QDateTime stamp(QDate(2024, 3, 14), QTime(14, 5, 9, 250));
  PutRealtime(QStringLiteral("17C"), 12.5, QString(), stamp);
  PutRealtime(QStringLiteral("18C"), QVariant(QMetaType::fromType<double>()), QString(), stamp);
  PutRealtime(QStringLiteral("IOS.AllDataRefreshed"), QVariant(QMetaType::fromType<double>()),
              QStringLiteral("<AllDataRefreshed Start=\"x\" Finish=\"\"/>"), stamp);
  PutRealtime(QStringLiteral("O'Brien,\"q\""), 1.0, QStringLiteral("odd"), stamp);

  const auto values =
      dbil_.ReadCurrentValues(db_->ConnectionString(), QDateTime(),
                              QStringLiteral(" 17C,18C,,17C,99C,IOS.AllDataRefreshed,O'Brien"));
  ASSERT_TRUE(values.has_value()) << log_.All().toStdString();
  ASSERT_EQ(values->size(), 3);
  const CurrentValueItem& a = values->value(QStringLiteral("17C"));
  EXPECT_EQ(a.numericValue, 12.5);
  EXPECT_EQ(a.timestamp, stamp);
  EXPECT_FALSE(values->value(QStringLiteral("18C")).numericValue.has_value());
  const CurrentValueItem& refresh = values->value(QStringLiteral("IOS.AllDataRefreshed"));
  EXPECT_FALSE(refresh.numericValue.has_value());
  EXPECT_EQ(refresh.textValue, QStringLiteral("<AllDataRefreshed Start=\"x\" Finish=\"\"/>"));
  // A comma always separates IOIDs, so a stored IOID that contains one cannot be asked for.
  EXPECT_FALSE(values->contains(QStringLiteral("O'Brien")));
}

// The list form asks for exactly what its text asks for: blanks trimmed, empty items left
// out, each IOID once, and a comma inside an item separating IOIDs on every database.
TEST_P(H5DBILTest, AnIoidListReadsWhatItsTextReads) {
  const QDateTime stamp(QDate(2024, 3, 14), QTime(14, 5, 9));
  PutRealtime(QStringLiteral("17C"), 12.5, QString(), stamp);
  PutRealtime(QStringLiteral("18C"), 3.0, QStringLiteral("t"), stamp);
  PutRealtime(QStringLiteral("O'Brien,\"q\""), 1.0, QStringLiteral("odd"), stamp);
  PutRealtime(QStringLiteral("IOS.AllCommsOk"), 1.0, QString(), stamp);
  const QStringList cases[] = {
      {},
      {QString()},
      {QStringLiteral(" 17C"), QStringLiteral("17C"), QString(), QStringLiteral("18C ")},
      {QStringLiteral("O'Brien,\"q\""), QStringLiteral("18C,IOS.AllCommsOk")},
      {QStringLiteral("99C"), QStringLiteral("IOS.AllCommsOk"), QStringLiteral("17C")},
  };
  const auto keys = [](const CurrentValues& values) {
    QStringList list = values.keys();
    list.sort();
    return list;
  };
  for (const QStringList& items : cases) {
    const IoidList list{items};
    const QString text = items.join(QLatin1Char(','));
    EXPECT_EQ(list.Text(), text);
    EXPECT_EQ(IoidList::FromText(text).Text(), text);
    const auto typed = dbil_.ReadCurrentValues(db_->ConnectionString(), QDateTime(), list);
    const auto joined = dbil_.ReadCurrentValues(db_->ConnectionString(), QDateTime(), text);
    ASSERT_TRUE(typed.has_value() && joined.has_value()) << log_.All().toStdString();
    EXPECT_EQ(keys(*typed), keys(*joined)) << text.toStdString();
    EXPECT_FALSE(typed->contains(QStringLiteral("O'Brien,\"q\"")));
    for (const CurrentValueItem& item : *joined) {
      EXPECT_EQ(typed->value(item.ioid).numericValue, item.numericValue);
      EXPECT_EQ(typed->value(item.ioid).textValue, item.textValue);
    }
  }
  const auto many = dbil_.ReadCurrentValues(db_->ConnectionString(), QDateTime(),
                                            IoidList{{QStringLiteral(" 17C"), QStringLiteral("17C"),
                                                      QStringLiteral("18C,IOS.AllCommsOk")}});
  ASSERT_TRUE(many.has_value());
  EXPECT_EQ(keys(*many), (QStringList{"17C", "18C", "IOS.AllCommsOk"}));
}

TEST_P(H5DBILTest, ManyIoidsAreReadInOneCallAndAsOfFiltersLaterRows) {
  const QDateTime early(QDate(2024, 1, 1), QTime(0, 0));
  QStringList ioids;
  for (int i = 1; i <= 2500; ++i) {
    ioids.append(QString::number(i) + QLatin1Char('C'));
  }
  db_->Exec(
      QStringLiteral(
          "INSERT INTO H5REALTIME (ioid, tstamp, numvalue, textvalue) VALUES ('1C', ?, 1, '')"),
      {early.addDays(2)});
  QVariantList stamps;
  QString sql = QStringLiteral("INSERT INTO H5REALTIME (ioid, tstamp, numvalue) VALUES ");
  for (int i = 2; i <= 2500; ++i) {
    sql +=
        QStringLiteral("('%1C', ?, %1)%2").arg(i).arg(i < 2500 ? QStringLiteral(",") : QString());
    stamps.append(early);
  }
  db_->Exec(sql, stamps);

  const auto all =
      dbil_.ReadCurrentValues(db_->ConnectionString(), QDateTime(), ioids.join(QLatin1Char(',')));
  ASSERT_TRUE(all.has_value()) << log_.All().toStdString();
  EXPECT_EQ(all->size(), 2500);
  EXPECT_EQ(all->value(QStringLiteral("2500C")).numericValue, 2500.0);

  const auto asOf = dbil_.ReadCurrentValues(db_->ConnectionString(), early.addDays(1),
                                            ioids.join(QLatin1Char(',')));
  ASSERT_TRUE(asOf.has_value()) << log_.All().toStdString();
  EXPECT_EQ(asOf->size(), 2499);
  EXPECT_FALSE(asOf->contains(QStringLiteral("1C")));
}

TEST_P(H5DBILTest, MissingSchemaFailsTheConnectionTestsWithAReason) {
  ScratchDatabase empty(GetParam());
  empty.Exec(QStringLiteral("CREATE TABLE unrelated (x INTEGER)"));
  const QString c = empty.ConnectionString();
  H5DBIL dbil;
  MessageLog log;
  QObject::connect(&dbil, &H5DBIL::Message, &dbil,
                   [&log](std::int32_t type, const QString& text) { log.Add(type, text); });
  ASSERT_TRUE(dbil.SetSiteID(QStringLiteral("S"), QStringLiteral("EN"), {c, c, c, c, c}));
  EXPECT_FALSE(dbil.TestConnectionsReadOnly());
  EXPECT_FALSE(dbil.TestConnectionsReadWrite());
  ASSERT_FALSE(log.entries.empty());
  EXPECT_EQ(log.entries.front().first, 4);
  EXPECT_TRUE(log.All().contains(QStringLiteral("telmon-site init"))) << log.All().toStdString();
  EXPECT_EQ(dbil.LookupValue(QStringLiteral("k"), QStringLiteral("dflt")), QStringLiteral("dflt"));
  EXPECT_FALSE(dbil.WriteMessageRecord(QStringLiteral("c"), {}, {}, {}));
  EXPECT_FALSE(dbil.ReadCurrentValues(c, QDateTime(), QStringLiteral("1C")).has_value());

  // Once the schema is there, the same object reads: a statement that failed to prepare is not
  // kept for the next call.
  empty.Init();
  empty.Exec(
      QStringLiteral("INSERT INTO H5LOOKUP (siteid, lookupkey, lookupvalue) VALUES"
                     " ('S', 'k', 'v')"));
  EXPECT_EQ(dbil.LookupValue(QStringLiteral("k"), QStringLiteral("dflt")), QStringLiteral("v"));
  EXPECT_TRUE(dbil.ReadCurrentValues(c, QDateTime(), QStringLiteral("1C")).has_value())
      << log.All().toStdString();
}

INSTANTIATE_TEST_SUITE_P(Backends, H5DBILTest,
                         ::testing::Values(Backend::Sqlite, Backend::Postgresql), BackendName);

// Without a site identifier or a configuration database nothing can be read: each is said.
TEST(H5DBILSqlite, AnEmptySiteOrConfigurationIsRefusedAndSaid) {
  ScratchDatabase db(Backend::Sqlite);
  db.Init();
  const QString c = db.ConnectionString();
  H5DBIL dbil;
  MessageLog log;
  QObject::connect(&dbil, &H5DBIL::Message, &dbil,
                   [&log](std::int32_t type, const QString& text) { log.Add(type, text); });
  EXPECT_FALSE(dbil.SetSiteID(QStringLiteral(" "), QString(), {c, c, c, c, c}));
  EXPECT_FALSE(dbil.SetSiteID(QStringLiteral("S"), QString(), {QStringLiteral(" "), c, c, c, c}));
  ASSERT_EQ(log.entries.size(), 2u);
  EXPECT_EQ(log.entries[0], std::make_pair(std::int32_t{4},
                                           QStringLiteral("H5DBIL: the site identifier is empty")));
  EXPECT_EQ(log.entries[1].second,
            QStringLiteral("H5DBIL: the configuration connection string is empty"));
}

TEST(H5DBILSqlite, MissingFileIsNotCreatedAndIsReported) {
  QTemporaryDir dir;
  const QString path = dir.filePath(QStringLiteral("nowhere.db"));
  const QString c = QStringLiteral("sqlite:") + path;
  H5DBIL dbil;
  MessageLog log;
  QObject::connect(&dbil, &H5DBIL::Message, &dbil,
                   [&log](std::int32_t type, const QString& text) { log.Add(type, text); });
  ASSERT_TRUE(dbil.SetSiteID(QStringLiteral("S"), QString(), {c, {}, {}, {}, c}));
  EXPECT_FALSE(dbil.TestConnectionsReadOnly());
  EXPECT_FALSE(dbil.TestConnectionsReadWrite());
  EXPECT_FALSE(dbil.ReadCurrentValues(c, QDateTime(), QStringLiteral("1C")).has_value());
  EXPECT_FALSE(QFileInfo::exists(path));
  EXPECT_TRUE(log.All().contains(path)) << log.All().toStdString();
}

// Setting the site again starts from fresh connections: a database file put in the place of
// another is the one read afterwards.
TEST(H5DBILSqlite, SettingTheSiteAgainOpensItsDatabasesAfresh) {
  ScratchDatabase first(Backend::Sqlite);
  first.Init();
  first.Exec(
      QStringLiteral("INSERT INTO H5LOOKUP (siteid, lookupkey, lookupvalue) VALUES"
                     " ('S', 'k', 'first')"));
  ScratchDatabase second(Backend::Sqlite);
  second.Init();
  second.Exec(
      QStringLiteral("INSERT INTO H5LOOKUP (siteid, lookupkey, lookupvalue) VALUES"
                     " ('S', 'k', 'second')"));
  const QString c = first.ConnectionString();
  H5DBIL dbil;
  ASSERT_TRUE(dbil.SetSiteID(QStringLiteral("S"), QString(), {c, c, c, c, c}));
  EXPECT_EQ(dbil.LookupValue(QStringLiteral("k"), QString()), QStringLiteral("first"));

  const QString path = c.mid(QStringLiteral("sqlite:").size());
  for (const QString& suffix : {QString(), QStringLiteral("-wal"), QStringLiteral("-shm")}) {
    QFile::remove(path + suffix);
  }
  ASSERT_TRUE(QFile::copy(second.ConnectionString().mid(QStringLiteral("sqlite:").size()), path));
  ASSERT_TRUE(dbil.SetSiteID(QStringLiteral("S"), QString(), {c, c, c, c, c}));
  EXPECT_EQ(dbil.LookupValue(QStringLiteral("k"), QString()), QStringLiteral("second"));
}

TEST(H5DBILSqlite, ReadsGoOnWhileAnotherConnectionHoldsAWriteTransaction) {
  ScratchDatabase db(Backend::Sqlite);
  db.Init();
  H5DBIL dbil;
  const QString c = db.ConnectionString();
  ASSERT_TRUE(dbil.SetSiteID(QStringLiteral("S"), QString(), {c, c, c, c, c}));
  ASSERT_TRUE(dbil.ReadCurrentValues(c, QDateTime(), QStringLiteral("1C")).has_value());

  SqlConnection writer(c, OpenMode::ReadWrite);
  QSqlDatabase* w = writer.Database(nullptr);
  ASSERT_NE(w, nullptr);
  QSqlQuery q(*w);
  ASSERT_TRUE(q.exec(QStringLiteral("BEGIN IMMEDIATE")));
  ASSERT_TRUE(
      q.exec(QStringLiteral("INSERT INTO H5REALTIME (ioid, tstamp, numvalue) VALUES ('1C', "
                            "'2024-01-01T00:00:00.000', 3)")));
  QElapsedTimer timer;
  timer.start();
  const auto values = dbil.ReadCurrentValues(c, QDateTime(), QStringLiteral("1C"));
  EXPECT_LT(timer.elapsed(), 1000);
  ASSERT_TRUE(values.has_value());
  EXPECT_TRUE(values->isEmpty());  // the uncommitted row is not seen
  ASSERT_TRUE(q.exec(QStringLiteral("COMMIT")));
  EXPECT_EQ(dbil.ReadCurrentValues(c, QDateTime(), QStringLiteral("1C"))->size(), 1);
}

TEST(H5DBILPostgresql, UnreachableServerFailsWithinTheConnectTimeout) {
  // A loopback port that nothing listens on: bind one, note it, release it.
  quint16 port = 0;
  {
    QTcpServer probe;
    ASSERT_TRUE(probe.listen(QHostAddress::LocalHost));
    port = probe.serverPort();
  }
  const QString c = QStringLiteral("postgresql://telmon@127.0.0.1:%1/site").arg(port);
  H5DBIL dbil;
  MessageLog log;
  QObject::connect(&dbil, &H5DBIL::Message, &dbil,
                   [&log](std::int32_t type, const QString& text) { log.Add(type, text); });
  ASSERT_TRUE(dbil.SetSiteID(QStringLiteral("S"), QString(), {c, c, c, c, c}));
  QElapsedTimer timer;
  timer.start();
  EXPECT_FALSE(dbil.TestConnectionsReadOnly());
  EXPECT_EQ(dbil.LookupValue(QStringLiteral("k"), QStringLiteral("7651")), QStringLiteral("7651"));
  EXPECT_LT(timer.elapsed(), 2 * (DefaultConnectTimeoutSeconds + 1) * 1000);
  ASSERT_EQ(log.entries.size(), 2u);
  EXPECT_EQ(log.entries[0].first, 4);
  EXPECT_TRUE(log.entries[0].second.contains(QStringLiteral("127.0.0.1")))
      << log.All().toStdString();
}

TEST(H5DBILPostgresql, DroppedConnectionIsReopened) {
  TELMON_REQUIRE_BACKEND(Backend::Postgresql);
  ScratchDatabase db(Backend::Postgresql);
  db.Init();
  db.Exec(
      QStringLiteral("INSERT INTO H5LOOKUP (siteid, lookupkey, lookupvalue) VALUES"
                     " ('S', 'k', 'v')"));
  H5DBIL dbil;
  MessageLog log;
  QObject::connect(&dbil, &H5DBIL::Message, &dbil,
                   [&log](std::int32_t type, const QString& text) { log.Add(type, text); });
  const QString c = db.ConnectionString();
  ASSERT_TRUE(dbil.SetSiteID(QStringLiteral("S"), QString(), {c, c, c, c, c}));
  ASSERT_EQ(dbil.LookupValue(QStringLiteral("k"), QString()), QStringLiteral("v"));

  // End every other session on the site database, as a server restart would.
  db.Exec(
      QStringLiteral("SELECT pg_terminate_backend(pid) FROM pg_stat_activity"
                     " WHERE datname = current_database() AND pid <> pg_backend_pid()"));
  EXPECT_EQ(dbil.LookupValue(QStringLiteral("k"), QString()), QStringLiteral("v"));

  db.Exec(
      QStringLiteral("SELECT pg_terminate_backend(pid) FROM pg_stat_activity"
                     " WHERE datname = current_database() AND pid <> pg_backend_pid()"));
  // A write is not repeated on a fresh connection, but the call after it works again.
  dbil.WriteMessageRecord(QStringLiteral("a"), {}, {}, {});
  EXPECT_TRUE(dbil.WriteMessageRecord(QStringLiteral("b"), {}, {}, {})) << log.All().toStdString();
}

}  // namespace
}  // namespace telmon::test
