// The journal file itself: entries read back as written, two writers on one file, files that
// cannot be opened or written (reported once, the operation carried out), and the CSV export.

#include "journal/JournalCsv.h"
#include "journal/JournalTableModel.h"
#include "journal/JournaledSender.h"
#include "journal/OperationJournal.h"
#include "tests/util/QStringPrinter.h"
#include "tests/views/ViewsTestSupport.h"
#include "util/Clock.h"
#include "views/DeviceOperations.h"

#include <QAbstractItemModelTester>
#include <QDir>
#include <QElapsedTimer>
#include <QFile>
#include <QSqlDatabase>
#include <QSqlQuery>
#include <QTemporaryDir>

#include <gtest/gtest.h>

#include <thread>

namespace telmon {
namespace {

JournalOperation Op(const QString& operation, const QString& value = QString()) {
  return {operation,
          QStringLiteral("12 Stack"),
          value,
          QStringLiteral("<Command/>"),
          JournalOutcome::Sent,
          QString(),
          {}};
}

class JournalStoreTest : public ::testing::Test {
 protected:
  QString File(const char* name = "journal.sqlite") const {
    return dir_.filePath(QString::fromLatin1(name));
  }
  QTemporaryDir dir_;
  ManualClock clock_;
  test::CollectingSink sink_;
};

TEST_F(JournalStoreTest, EntriesAreStoredWithTheirContextAndReadBackOldestFirst) {
  OperationJournal journal(File(), {3, QStringLiteral("OPS-PC")}, sink_, clock_);
  journal.Record(Op(QStringLiteral("Set clock")));
  journal.SetEditAccount(QStringLiteral("super"));
  clock_.Advance(1500);
  journal.Record(Op(QStringLiteral("Failover")));
  JournalOperation named = Op(QStringLiteral("Erase HDR"));
  named.account = QStringLiteral("tech");
  journal.Record(named);

  // A second reader sees every entry: each was committed before Record returned.
  OperationJournal reader(File(), {}, sink_, clock_);
  const std::vector<JournalEntry> entries = reader.ReadAll();
  ASSERT_EQ(entries.size(), 3u);
  const QString accounts[] = {"-", "super", "tech"};
  for (std::size_t i = 0; i < entries.size(); ++i) {
    EXPECT_EQ(entries[i].account, accounts[i]);
    EXPECT_EQ(entries[i].dahs, 3);
    EXPECT_EQ(entries[i].computer, "OPS-PC");
    EXPECT_EQ(entries[i].command, "<Command/>");
  }
  EXPECT_EQ(entries[1].timeUtc, clock_.Now().toUTC());
  EXPECT_EQ(entries[1].timeLocal, clock_.Now().toString(QStringLiteral("yyyy-MM-dd HH:mm:ss")));
  EXPECT_TRUE(sink_.messages.empty());

  // Append-only: the file refuses changes to what is stored.
  QSqlDatabase db = QSqlDatabase::addDatabase(QStringLiteral("QSQLITE"), QStringLiteral("peek"));
  db.setDatabaseName(File());
  ASSERT_TRUE(db.open());
  EXPECT_FALSE(QSqlQuery(db).exec(QStringLiteral("DELETE FROM journal")));
  EXPECT_FALSE(QSqlQuery(db).exec(QStringLiteral("UPDATE journal SET account = 'x'")));
  db.close();
  db = QSqlDatabase();
  QSqlDatabase::removeDatabase(QStringLiteral("peek"));
}

// A file from before entries kept the target's previous value is brought up to date when it
// is opened: its entries read back with none, new ones keep theirs.
TEST_F(JournalStoreTest, AnOlderFileGetsThePreviousValueAndKeepsItsEntries) {
  {
    QSqlDatabase db = QSqlDatabase::addDatabase(QStringLiteral("QSQLITE"), QStringLiteral("old"));
    db.setDatabaseName(File());
    ASSERT_TRUE(db.open());
    QSqlQuery q(db);
    ASSERT_TRUE(q.exec(QStringLiteral(
        "CREATE TABLE journal (id INTEGER PRIMARY KEY AUTOINCREMENT, time_utc TEXT NOT NULL, "
        "time_local TEXT NOT NULL, dahs INTEGER NOT NULL, account TEXT NOT NULL, computer TEXT "
        "NOT NULL, operation TEXT NOT NULL, targets TEXT NOT NULL, value TEXT NOT NULL, command "
        "TEXT NOT NULL, outcome TEXT NOT NULL)")));
    ASSERT_TRUE(q.exec(QStringLiteral(
        "INSERT INTO journal (time_utc, time_local, dahs, account, computer, operation, targets, "
        "value, command, outcome) VALUES ('2026-01-02T03:04:05.000Z', '2026-01-02 04:04:05', 1, "
        "'-', 'PC', 'Set clock', '12 Stack', '', '<Command/>', 'sent')")));
    db.close();
  }
  QSqlDatabase::removeDatabase(QStringLiteral("old"));
  OperationJournal journal(File(), {1, QStringLiteral("PC")}, sink_, clock_);
  JournalOperation forced = Op(QStringLiteral("ForceChannelValue"), QStringLiteral("42.5"));
  forced.previous = QStringLiteral("40.1");
  journal.Record(forced);
  const std::vector<JournalEntry> entries = journal.ReadAll();
  ASSERT_EQ(entries.size(), 2u);
  EXPECT_EQ(entries[0].operation, "Set clock");
  EXPECT_EQ(entries[0].previous, "");
  EXPECT_EQ(entries[1].previous, "40.1");
  EXPECT_TRUE(sink_.messages.empty()) << sink_.Texts().join('\n').toStdString();
}

// Two monitors journal into one file at once, and one of them while another connection holds
// the write lock for a while: nobody loses an entry.
TEST_F(JournalStoreTest, TwoWritersAtOnceBothKeepEveryEntry) {
  constexpr int kEach = 150;
  const QString file = File();
  auto writer = [&file](const QString& computer) {
    ManualClock clock;
    test::CollectingSink sink;
    OperationJournal journal(file, {1, computer}, sink, clock);
    for (int i = 0; i < kEach; ++i) {
      journal.Record(Op(QStringLiteral("WriteToChannel"), QString::number(i)));
    }
    EXPECT_EQ(journal.Finish(), 0u);
    // Entries that found the file locked waited for it; nothing failed.
    for (std::size_t i = 0; i < sink.messages.size(); ++i) {
      EXPECT_TRUE(sink.messages[i].second.startsWith(i % 2 == 0 ? "TELM-9050: " : "TELM-9051: "))
          << sink.Texts().join('\n').toStdString();
    }
    EXPECT_EQ(sink.messages.size() % 2, 0u);
  };
  std::thread a(writer, QStringLiteral("A"));
  std::thread b(writer, QStringLiteral("B"));
  std::thread locker([&file] {
    QSqlDatabase db = QSqlDatabase::addDatabase(QStringLiteral("QSQLITE"), QStringLiteral("lock"));
    db.setDatabaseName(file);
    db.setConnectOptions(QStringLiteral("QSQLITE_BUSY_TIMEOUT=5000"));
    if (db.open()) {
      QSqlQuery(db).exec(QStringLiteral("BEGIN IMMEDIATE"));
      std::this_thread::sleep_for(std::chrono::milliseconds(400));
      QSqlQuery(db).exec(QStringLiteral("COMMIT"));
      db.close();
    }
    db = QSqlDatabase();
    QSqlDatabase::removeDatabase(QStringLiteral("lock"));
  });
  a.join();
  b.join();
  locker.join();
  OperationJournal reader(file, {}, sink_, clock_);
  const std::vector<JournalEntry> entries = reader.ReadAll();
  ASSERT_EQ(entries.size(), 2u * kEach);
  int fromA = 0;
  for (const JournalEntry& e : entries) {
    fromA += e.computer == QLatin1String("A") ? 1 : 0;
  }
  EXPECT_EQ(fromA, kEach);
}

// Whatever is wrong with the file, the operator hears of it once and the device still gets
// its command.
TEST_F(JournalStoreTest, UnusableJournalIsReportedOnceAndNeverStopsAnOperation) {
  struct Case {
    const char* name;
    std::function<QString(const QTemporaryDir&)> prepare;
    const char* what;
  };
  const Case cases[] = {
      {"corrupt file",
       [](const QTemporaryDir& d) {
         QFile f(d.filePath(QStringLiteral("corrupt.sqlite")));
         EXPECT_TRUE(f.open(QIODevice::WriteOnly));
         f.write(QByteArray(8192, '\x5a'));
         return f.fileName();
       },
       "opened"},
      {"a folder in its place",
       [](const QTemporaryDir& d) {
         QDir(d.path()).mkpath(QStringLiteral("folder.sqlite"));
         return d.filePath(QStringLiteral("folder.sqlite"));
       },
       "opened"},
      {"under a file",
       [](const QTemporaryDir& d) {
         QFile f(d.filePath(QStringLiteral("plain")));
         EXPECT_TRUE(f.open(QIODevice::WriteOnly));
         return d.filePath(QStringLiteral("plain/journal.sqlite"));
       },
       "opened"},
      {"refuses writes (full disk)",
       [](const QTemporaryDir& d) {
         const QString name = d.filePath(QStringLiteral("full.sqlite"));
         {
           QSqlDatabase db =
               QSqlDatabase::addDatabase(QStringLiteral("QSQLITE"), QStringLiteral("prep"));
           db.setDatabaseName(name);
           EXPECT_TRUE(db.open());
           QSqlQuery q(db);
           EXPECT_TRUE(q.exec(QStringLiteral(
               "CREATE TABLE journal (id INTEGER PRIMARY KEY AUTOINCREMENT, time_utc TEXT, "
               "time_local TEXT, dahs INTEGER, account TEXT, computer TEXT, operation TEXT, "
               "targets TEXT, value TEXT, command TEXT, outcome TEXT)")));
           EXPECT_TRUE(q.exec(QStringLiteral(
               "CREATE TRIGGER full BEFORE INSERT ON journal BEGIN SELECT RAISE(ABORT, "
               "'database or disk is full'); END")));
           db.close();
         }
         QSqlDatabase::removeDatabase(QStringLiteral("prep"));
         return name;
       },
       "written"},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.name);
    test::CollectingSink sink;
    test::LoopbackPeer peer;
    const QString file = c.prepare(dir_);
    OperationJournal journal(file, {}, sink, clock_);
    JournaledSender journaled(peer, &journal);
    KeyedListModel model;
    DeviceListviewManager devices;
    devices.Setup(sink, journaled, model);
    DeviceOperations ops(devices, {nullptr, nullptr, nullptr, &sink, "Telmon", "S", &journaled});
    const test::ParsedEvents events(
        QStringLiteral(R"(<Event eventtype="DeviceUpdate" DeviceID="12" DeviceName="Stack"/>)"));
    devices.UpdateOneItemInLsv(events[0]);
    model.Select(model.FindKey(QStringLiteral("12K")));
    // None of these is a file busy with another writer: nothing is tried again (a busy file
    // is, for three seconds).
    QElapsedTimer took;
    took.start();
    ops.SetClock();
    ops.SetClock();
    EXPECT_LT(took.elapsed(), 2000);
    EXPECT_EQ(peer.Received(), QByteArray("<Command action=\"SetDeviceClock\" id=\"12\"/>"
                                          "<Command action=\"SetDeviceClock\" id=\"12\"/>"));
    ASSERT_EQ(sink.messages.size(), 1u) << sink.Texts().join('\n').toStdString();
    EXPECT_EQ(sink.messages[0].first, MsgType::Error);
    EXPECT_TRUE(sink.messages[0].second.startsWith(
        QStringLiteral("TELM-9002: The operator journal '%1' could not be %2 (")
            .arg(QDir::toNativeSeparators(file), QLatin1String(c.what))))
        << sink.messages[0].second.toStdString();
    EXPECT_TRUE(sink.messages[0].second.endsWith(
        "). Operations go on; they are not journaled until it can be."));
  }
}

TEST(JournalCsvTest, FieldsWithQuotesCommasAndLineBreaksAreQuotedByteForByte) {
  JournalEntry e;
  e.timeUtc = QDateTime(QDate(2026, 1, 2), QTime(3, 4, 5, 6), Qt::UTC);
  e.timeLocal = QStringLiteral("2026-01-02 04:04:05");
  e.dahs = 1;
  e.account = QStringLiteral("super");
  e.computer = QStringLiteral("PC");
  e.operation = QStringLiteral("ForceChannelValue");
  e.targets = QStringLiteral("5 NOx, \"raw\"");
  e.previous = QStringLiteral("12.5");
  e.value = QStringLiteral("Gr\u00fc\u00dfe\r\nline 2");
  e.command = QStringLiteral("<Command action=\"X\"/>");
  e.outcome = QStringLiteral("sent");
  const QByteArray expected =
      "Time (UTC),Time (local),DAHS,Account,Computer,Operation,Targets,Previous,Value,Command,"
      "Outcome\r\n"
      "2026-01-02T03:04:05.006Z,2026-01-02 04:04:05,1,super,PC,ForceChannelValue,"
      "\"5 NOx, \"\"raw\"\"\",12.5,\"Gr\xc3\xbc\xc3\x9f"
      "e\r\nline 2\",\"<Command action=\"\"X\"\"/>\","
      "sent\r\n";
  EXPECT_EQ(JournalCsv({&e}), expected);
}

TEST(JournalFilterTest, FilterMatchesAnyTextOperationAccountDatesAndComputer) {
  JournalTableModel model;
  QAbstractItemModelTester tester(&model);
  std::vector<JournalEntry> entries(3);
  const char* days[] = {"2026-01-01 10:00:00", "2026-01-02 10:00:00", "2026-01-03 10:00:00"};
  const char* accounts[] = {"tech", "super", "-"};
  const char* operations[] = {"Failover", "WriteToChannel", "Set clock"};
  for (int i = 0; i < 3; ++i) {
    entries[i].timeLocal = QLatin1String(days[i]);
    entries[i].account = QLatin1String(accounts[i]);
    entries[i].operation = QLatin1String(operations[i]);
    entries[i].targets = QStringLiteral("10%1 Stack NOx").arg(i);
    entries[i].computer = i == 1 ? QStringLiteral("shelter-laptop") : QStringLiteral("control");
  }
  model.SetEntries(entries);
  EXPECT_EQ(model.EntryAt(0).operation, "Set clock");  // newest first
  JournalFilterProxy proxy;
  proxy.setSourceModel(&model);
  struct Case {
    JournalFilter filter;
    QStringList operations;
  };
  const Case cases[] = {
      {{}, {"Set clock", "WriteToChannel", "Failover"}},
      {{QStringLiteral("101 STACK")}, {"WriteToChannel"}},
      {{{}, QStringLiteral("write")}, {"WriteToChannel"}},
      {{{}, {}, QStringLiteral("TECH")}, {"Failover"}},
      {{{}, {}, {}, QDate(2026, 1, 2), {}}, {"Set clock", "WriteToChannel"}},
      {{{}, {}, {}, QDate(2026, 1, 1), QDate(2026, 1, 2)}, {"WriteToChannel", "Failover"}},
      {{QStringLiteral("nothing like it")}, {}},
      {{{}, {}, {}, {}, {}, QStringLiteral("SHELTER")}, {"WriteToChannel"}},
      {{{}, {}, QStringLiteral("tech"), {}, {}, QStringLiteral("shelter")}, {}},
  };
  for (const Case& c : cases) {
    proxy.SetFilter(c.filter);
    QStringList shown;
    for (const JournalEntry* e : proxy.VisibleEntries()) {
      shown << e->operation;
    }
    EXPECT_EQ(shown, c.operations);
  }
  JournalEntry newest = entries[0];
  newest.operation = QStringLiteral("Erase HDR");
  model.Append(newest);
  EXPECT_EQ(model.EntryAt(0).operation, "Erase HDR");
}

}  // namespace
}  // namespace telmon
