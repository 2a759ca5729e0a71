#include "ioslink/IosCommands.h"
#include "platform/H5DBIL.h"
#include "tests/platform/SiteDatabaseFixture.h"
#include "tests/util/QStringPrinter.h"
#include "util/UtilityXMLDOMFunctions.h"
#include "watches/ChannelValueWriter.h"

#include <QSet>

namespace telmon::test {
namespace {

class CollectingSink final : public IRaiseMsg {
 public:
  void RaiseMsg(std::int32_t msgType, const QString& text) override { log.Add(msgType, text); }
  QStringList Texts() const {
    QStringList texts;
    for (const auto& [type, text] : log.entries) {
      texts.append(text);
    }
    return texts;
  }
  MessageLog log;
};

// The value attribute as the server reads it back from the stored command.
QString StoredValue(const QString& command) {
  const xml::XmlDocument doc = xml::ParseXmlDocument(nullptr, command);
  EXPECT_TRUE(doc) << command.left(200).toStdString();
  return doc ? xml::GetAttributeText(xml::DocumentElement(doc), "value") : QString();
}

class ChannelValueWriterTest : public ::testing::TestWithParam<Backend> {
 protected:
  void SetUp() override {
    TELMON_REQUIRE_BACKEND(GetParam());
    db_ = std::make_unique<ScratchDatabase>(GetParam());
    db_->Init();
    QObject::connect(&dbil_, &H5DBIL::Message, &dbil_,
                     [this](std::int32_t, const QString& text) { dbilMessages_.append(text); });
    const QString c = db_->ConnectionString();
    ASSERT_TRUE(dbil_.SetSiteID(QStringLiteral("PLANT1"), QStringLiteral("EN"), {c, c, c, c, c}));
  }

  QList<QVariantList> Records() {
    return db_->Rows(QStringLiteral(
        "SELECT commandtext, extra1, extra2, callercode FROM H5IOCOMMAND ORDER BY id"));
  }

  // Refuses, inside the database, every record that names channel `id`.
  void RefuseChannel(int id) {
    const QString match = QStringLiteral("%id=\"%1\"%").arg(id);
    if (GetParam() == Backend::Sqlite) {
      db_->Exec(
          QStringLiteral("CREATE TRIGGER refuse BEFORE INSERT ON H5IOCOMMAND WHEN "
                         "NEW.commandtext LIKE '%1' BEGIN SELECT RAISE(ABORT, 'refused'); END")
              .arg(match));
      return;
    }
    db_->Exec(QStringLiteral("CREATE FUNCTION refuse() RETURNS trigger AS $$ BEGIN IF "
                             "NEW.commandtext LIKE '%1' THEN RAISE EXCEPTION 'refused'; END IF; "
                             "RETURN NEW; END $$ LANGUAGE plpgsql")
                  .arg(match));
    db_->Exec(
        QStringLiteral("CREATE TRIGGER refuse BEFORE INSERT ON H5IOCOMMAND FOR EACH ROW "
                       "EXECUTE FUNCTION refuse()"));
  }

  std::unique_ptr<ScratchDatabase> db_;
  H5DBIL dbil_;
  CollectingSink sink_;
  QStringList dbilMessages_;
  ChannelValueWriter writer_{dbil_, sink_};
};

TEST_P(ChannelValueWriterTest, RecordsCarryTheExactCommandAndCallerCode) {
  struct Case {
    Value value;
    QString command;
  };
  const std::vector<Case> cases = {
      {Value::Null(), R"(<Command action="WriteToChannel" id="17" value="" />)"},
      {Value(*Decimal::Parse("12.50")),
       R"(<Command action="WriteToChannel" id="17" value="12.5" />)"},
      {Value(*Decimal::Parse("1E-7")),
       R"(<Command action="WriteToChannel" id="17" value="0.0000001" />)"},
      {Value(1.0E-7), R"(<Command action="WriteToChannel" id="17" value="0.0000001" />)"},
      {Value(65535), R"(<Command action="WriteToChannel" id="17" value="65535" />)"},
      {Value(-1), R"(<Command action="WriteToChannel" id="17" value="-1" />)"},
      {Value("OPEN"), R"(<Command action="WriteToChannel" id="17" value="OPEN" />)"},
  };
  for (const Case& c : cases) {
    EXPECT_TRUE(writer_.WriteChannelValueRecord(QStringLiteral("TELM-0038"), 17, c.value));
  }
  const auto rows = Records();
  ASSERT_EQ(rows.size(), static_cast<qsizetype>(cases.size()));
  for (std::size_t i = 0; i < cases.size(); ++i) {
    EXPECT_EQ(rows[i][0].toString(), cases[i].command);
    EXPECT_EQ(rows[i][1].toString(), QString());
    EXPECT_EQ(rows[i][2].toString(), QString());
    EXPECT_EQ(rows[i][3].toString(), QStringLiteral("TELM-0038"));
  }
  EXPECT_TRUE(sink_.log.entries.empty()) << sink_.log.All().toStdString();
}

// What each write tells the journal the channels had before: the value the watch list showed,
// "(several values)" where they differ, nothing where no watch list tells.
TEST_P(ChannelValueWriterTest, TheJournalHasTheValueTheWatchListShowedBefore) {
  struct Operations final : IOperationJournal {
    QStringList previous;
    void Record(const JournalOperation& operation) override { previous << operation.previous; }
  } journal;
  writer_.SetJournal(&journal);
  writer_.WriteChannelValueRecord(QStringLiteral("TELM-0038"), 5, Value(1));
  writer_.SetPreviousValues(
      [](std::int32_t id) { return id == 6 ? QStringLiteral("7") : QStringLiteral("13"); });
  writer_.WriteChannelValueRecord(QStringLiteral("TELM-0038"), 5, Value(2));
  writer_.WriteChannelValueRecords(QStringLiteral("TELM-0075"), {{5, Value(3)}, {8, Value(3)}},
                                   QStringLiteral("Bulk mode-code write"));
  writer_.WriteChannelValueRecords(QStringLiteral("TELM-0075"), {{5, Value(4)}, {6, Value(4)}},
                                   QStringLiteral("Bulk mode-code write"));
  EXPECT_EQ(journal.previous, QStringList({"", "13", "13", "(several values)"}));
}

TEST_P(ChannelValueWriterTest, HostileTextIsStoredAsXmlThatReadsBackTheSameValue) {
  const QStringList texts = {QStringLiteral("say \"hi\""),
                             QStringLiteral("a<b"),
                             QStringLiteral("R&D"),
                             QStringLiteral("]]>"),
                             QStringLiteral("it's"),
                             QStringLiteral("tab\there"),
                             QStringLiteral("two\nlines\r\n"),
                             QStringLiteral("°C µg/m³"),
                             QStringLiteral("\u20ac5 \U0001F600"),
                             QString(10000, QLatin1Char('x')),
                             QStringLiteral("<Command action=\"Shutdown\" />"),
                             QStringLiteral("  padded  ")};
  for (const QString& text : texts) {
    ASSERT_TRUE(writer_.WriteChannelValueRecord(QStringLiteral("TELM-0049"), 5, Value(text)));
  }
  const auto rows = Records();
  ASSERT_EQ(rows.size(), texts.size());
  for (qsizetype i = 0; i < texts.size(); ++i) {
    // TAB and line breaks read back as the blanks any parser makes of them in an attribute.
    EXPECT_EQ(StoredValue(rows[i][0].toString()), IosCommands::AttributeValueAsParsed(texts[i]))
        << i;
  }
  EXPECT_EQ(StoredValue(rows[5][0].toString()), "tab here");
  EXPECT_EQ(StoredValue(rows[6][0].toString()), "two lines ");
}

TEST_P(ChannelValueWriterTest, NothingIsWrittenWithoutAValueAndUnsendableTextIsReported) {
  EXPECT_FALSE(writer_.WriteChannelValueRecord(QStringLiteral("TELM-0038"), 3, Value()));
  EXPECT_FALSE(writer_.WriteChannelValueRecord(QStringLiteral("TELM-0038"), 3, Value("")));
  EXPECT_FALSE(writer_.WriteChannelValueRecord(QStringLiteral("TELM-0038"), 3, Value(" \t ")));
  EXPECT_TRUE(sink_.log.entries.empty());

  EXPECT_FALSE(writer_.WriteChannelValueRecord(QStringLiteral("TELM-0038"), 3,
                                               Value(QStringLiteral("a\x01"))));
  EXPECT_EQ(sink_.Texts(), QStringList{QStringLiteral(
                               "TELM-0036: Could not write msg record to change channel value "
                               "(3=a\x01)")});
  EXPECT_EQ(sink_.log.entries[0].first, 4);
  EXPECT_TRUE(Records().isEmpty());
}

// More records than two transactions hold: every one stored once, in order, across the seams.
TEST_P(ChannelValueWriterTest, ManyRecordsAreEachStoredOnceInOrder) {
  constexpr int Count = 2 * static_cast<int>(ChannelValueWriter::BatchSize) + 1;
  std::vector<ChannelValue> items;
  for (int id = 1; id <= Count; ++id) {
    items.push_back({id, Value(id % 7)});
  }
  items.push_back({9999, Value("")});  // no value: skipped, not failed
  const std::vector<bool> written =
      writer_.WriteChannelValueRecords(QStringLiteral("TELM-0075"), items, {});
  const auto rows = Records();
  ASSERT_EQ(rows.size(), Count);
  for (int i = 0; i < Count; ++i) {
    EXPECT_EQ(rows[i][0].toString(),
              QStringLiteral(R"(<Command action="WriteToChannel" id="%1" value="%2" />)")
                  .arg(i + 1)
                  .arg((i + 1) % 7));
    EXPECT_TRUE(written[i]);
  }
  EXPECT_FALSE(written.back());
  EXPECT_TRUE(sink_.log.entries.empty()) << sink_.log.All().toStdString();
}

TEST_P(ChannelValueWriterTest, ARefusedRecordFailsAloneAndTheRestAreStoredOnce) {
  RefuseChannel(1500);
  std::vector<ChannelValue> items;
  for (int id = 1; id <= 2200; ++id) {
    items.push_back({id, Value(13)});
  }
  const std::vector<bool> written =
      writer_.WriteChannelValueRecords(QStringLiteral("TELM-0075"), items, {});
  EXPECT_EQ(sink_.Texts(), QStringList{QStringLiteral(
                               "TELM-0036: Could not write msg record to change channel value "
                               "(1500=13)")});
  const auto rows = Records();
  ASSERT_EQ(rows.size(), 2199);
  QSet<QString> seen;
  for (const auto& row : rows) {
    seen.insert(row[0].toString());
  }
  EXPECT_EQ(seen.size(), 2199);
  for (int id = 1; id <= 2200; ++id) {
    EXPECT_EQ(written[id - 1], id != 1500) << id;
  }
}

INSTANTIATE_TEST_SUITE_P(Backends, ChannelValueWriterTest,
                         ::testing::Values(Backend::Sqlite, Backend::Postgresql), BackendName);

// A locked SQLite file: the write waits for the lock, gives up, reports and stores nothing;
// once the lock is gone the next write goes through.
TEST(ChannelValueWriterLockTest, ALockedDatabaseFileGivesTheFailureReport) {
  ScratchDatabase db(Backend::Sqlite);
  db.Init();
  H5DBIL dbil;
  const QString c = db.ConnectionString();
  ASSERT_TRUE(dbil.SetSiteID(QStringLiteral("PLANT1"), QStringLiteral("EN"), {c, c, c, c, c}));
  CollectingSink sink;
  ChannelValueWriter writer(dbil, sink);
  {
    SqlConnection locker(c, OpenMode::ReadWrite);
    QString error;
    QSqlDatabase* lockDb = locker.Database(&error);
    ASSERT_NE(lockDb, nullptr);
    QSqlQuery lock(*lockDb);
    ASSERT_TRUE(lock.exec(QStringLiteral("BEGIN EXCLUSIVE")));
    EXPECT_FALSE(writer.WriteChannelValueRecord(QStringLiteral("TELM-0038"), 12,
                                                Value(*Decimal::Parse("-0.25"))));
    ASSERT_TRUE(lock.exec(QStringLiteral("ROLLBACK")));
  }
  EXPECT_EQ(sink.Texts().value(sink.Texts().size() - 1),
            QStringLiteral("TELM-0036: Could not write msg record to change channel value "
                           "(12=-0.25)"));
  EXPECT_TRUE(writer.WriteChannelValueRecord(QStringLiteral("TELM-0038"), 12, Value(1)));
  EXPECT_EQ(db.Rows(QStringLiteral("SELECT commandtext FROM H5IOCOMMAND")).size(), 1);
}

}  // namespace
}  // namespace telmon::test
