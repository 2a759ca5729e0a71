// A journal file that another program holds locked: the caller never waits longer than the
// window's budget, the entries wait in order and reach the file once each when it is free, and
// what could not be written by the end is counted.

#include "journal/OperationJournal.h"
#include "tests/util/QStringPrinter.h"
#include "tests/views/ViewsTestSupport.h"
#include "util/Clock.h"

#include <QDir>
#include <QElapsedTimer>
#include <QSqlDatabase>
#include <QSqlError>
#include <QSqlQuery>
#include <QTemporaryDir>
#include <QTest>

#include <gtest/gtest.h>

#include <optional>

namespace telmon {
namespace {

// The most a Record may keep its caller while the file is locked: the budget and a little for
// the insert itself, inside the window's 100 ms clock.
constexpr qint64 kMostMs = 100;

JournalOperation Numbered(int n) {
  return {QStringLiteral("WriteToChannel"),
          QStringLiteral("12 Stack"),
          QString::number(n),
          QStringLiteral("<Record/>"),
          JournalOutcome::RecordWritten,
          QString(),
          {}};
}

// Another program's connection to the journal file, holding its write lock until Release.
class Locker {
 public:
  Locker(const QString& file, const char* begin) : name_(QStringLiteral("locker")) {
    QSqlDatabase db = QSqlDatabase::addDatabase(QStringLiteral("QSQLITE"), name_);
    db.setDatabaseName(file);
    EXPECT_TRUE(db.open());
    QSqlQuery query(db);
    EXPECT_TRUE(query.exec(QString::fromLatin1(begin))) << query.lastError().text().toStdString();
  }
  ~Locker() {
    Release();
    QSqlDatabase::database(name_, false).close();
    QSqlDatabase::removeDatabase(name_);
  }
  Locker(const Locker&) = delete;
  Locker& operator=(const Locker&) = delete;

  void Release() {
    if (held_) {
      held_ = false;
      QSqlQuery(QSqlDatabase::database(name_, false)).exec(QStringLiteral("COMMIT"));
    }
  }

 private:
  QString name_;
  bool held_ = true;
};

class JournalBusyTest : public ::testing::Test {
 protected:
  QString File() const { return dir_.filePath(QStringLiteral("journal.sqlite")); }

  // The values of the entries in the file, as a second program reads them.
  QStringList ValuesInFile() {
    test::CollectingSink sink;
    OperationJournal reader(File(), {}, sink, clock_);
    QStringList values;
    for (const JournalEntry& e : reader.ReadAll()) {
      values << e.value;
    }
    return values;
  }

  // Records entry `n`; how long the caller waited.
  static qint64 TimedRecord(OperationJournal& journal, int n) {
    QElapsedTimer elapsed;
    elapsed.start();
    journal.Record(Numbered(n));
    return elapsed.elapsed();
  }

  QTemporaryDir dir_;
  ManualClock clock_;
  test::CollectingSink sink_;
};

TEST_F(JournalBusyTest, EntriesWaitForALockedFileAndReachItInOrderOnceEach) {
  for (const char* begin : {"BEGIN IMMEDIATE", "BEGIN EXCLUSIVE"}) {
    SCOPED_TRACE(begin);
    dir_.remove();
    ASSERT_TRUE(QDir().mkpath(dir_.path()));
    sink_.messages.clear();
    OperationJournal journal(File(), {1, QStringLiteral("PC")}, sink_, clock_);
    journal.Record(Numbered(0));
    std::optional<Locker> locker(std::in_place, File(), begin);

    qint64 longest = 0;
    for (int n = 1; n <= 5; ++n) {
      longest = std::max(longest, TimedRecord(journal, n));
    }
    EXPECT_LE(longest, kMostMs);
    EXPECT_EQ(journal.WaitingCount(), 5u);
    EXPECT_EQ(
        sink_.Texts(),
        QStringList{QStringLiteral("TELM-9050: The operator journal '%1' is busy (another program "
                                   "holds it locked). Operations go on; their entries wait and are "
                                   "written in order when it is free.")
                        .arg(QDir::toNativeSeparators(File()))});
    EXPECT_EQ(sink_.messages[0].first, MsgType::Error);
    // The window shows the waiting entries after those in the file.
    QStringList shown;
    for (const JournalEntry& e : journal.ReadForWindow()) {
      shown << e.value;
    }
    EXPECT_EQ(shown, QStringList({"0", "1", "2", "3", "4", "5"}));
    EXPECT_EQ(ValuesInFile(), QStringList{"0"});

    locker.reset();
    ASSERT_TRUE(QTest::qWaitFor([&] { return sink_.messages.size() == 2; }, 10000));
    EXPECT_EQ(sink_.messages[1],
              std::make_pair(MsgType::Progress,
                             QStringLiteral("TELM-9051: The operator journal '%1' is free again; "
                                            "waiting entries written: 5.")
                                 .arg(QDir::toNativeSeparators(File()))));
    EXPECT_EQ(journal.WaitingCount(), 0u);
    // With nothing waiting the next entry is in the file when Record returns.
    journal.Record(Numbered(6));
    EXPECT_EQ(ValuesInFile(), QStringList({"0", "1", "2", "3", "4", "5", "6"}));
    EXPECT_EQ(journal.Finish(), 0u);
    EXPECT_EQ(sink_.messages.size(), 2u) << sink_.Texts().join('\n').toStdString();
  }
}

// The lock goes while entries still wait: an entry recorded just then goes behind them, never
// straight into the file before them.
TEST_F(JournalBusyTest, AnEntryRecordedWhileOthersWaitNeverOvertakesThem) {
  OperationJournal journal(File(), {1, QStringLiteral("PC")}, sink_, clock_);
  journal.Record(Numbered(0));
  {
    Locker locker(File(), "BEGIN IMMEDIATE");
    for (int n = 1; n <= 20; ++n) {
      journal.Record(Numbered(n));
    }
  }
  for (int n = 21; n <= 25; ++n) {
    journal.Record(Numbered(n));
  }
  EXPECT_EQ(journal.Finish(), 0u);
  QStringList expected;
  for (int n = 0; n <= 25; ++n) {
    expected << QString::number(n);
  }
  EXPECT_EQ(ValuesInFile(), expected);
  EXPECT_EQ(sink_.messages.size(), 2u) << sink_.Texts().join('\n').toStdString();
}

// The program ends while the file is still locked: it waits as long as it was told, counts what
// could not be written, and a later entry starts waiting again.
TEST_F(JournalBusyTest, WhatStillWaitsAtTheEndIsCounted) {
  OperationJournal journal(File(), {1, QStringLiteral("PC")}, sink_, clock_);
  journal.Record(Numbered(0));
  Locker locker(File(), "BEGIN EXCLUSIVE");
  for (int n = 1; n <= 1200; ++n) {
    journal.Record(Numbered(n));
  }
  QElapsedTimer elapsed;
  elapsed.start();
  EXPECT_EQ(journal.Finish(300), 1200u);
  EXPECT_LT(elapsed.elapsed(), 2000);
  ASSERT_EQ(sink_.messages.size(), 2u) << sink_.Texts().join('\n').toStdString();
  EXPECT_EQ(sink_.messages[1],
            std::make_pair(MsgType::Error,
                           QStringLiteral("TELM-9052: The operator journal '%1' was still busy "
                                          "when the program ended; entries not written: 1,200.")
                               .arg(QDir::toNativeSeparators(File()))));
  EXPECT_EQ(journal.WaitingCount(), 0u);

  journal.Record(Numbered(1201));
  EXPECT_EQ(journal.WaitingCount(), 1u);
  EXPECT_EQ(sink_.messages.size(), 3u);
  EXPECT_TRUE(sink_.messages[2].second.startsWith(QLatin1String("TELM-9050: ")));
  locker.Release();
  EXPECT_EQ(journal.Finish(), 0u);
  EXPECT_EQ(ValuesInFile(), QStringList({"0", "1201"}));
}

// A journal opened for the first time on a file another program holds locked still opens (the
// file is set up already) and queues its entry rather than reporting the file unusable.
TEST_F(JournalBusyTest, AFileLockedBeforeTheFirstEntryIsNotReportedUnusable) {
  {
    OperationJournal first(File(), {1, QStringLiteral("PC")}, sink_, clock_);
    first.Record(Numbered(0));
  }
  Locker locker(File(), "BEGIN IMMEDIATE");
  OperationJournal journal(File(), {1, QStringLiteral("PC")}, sink_, clock_);
  EXPECT_LE(TimedRecord(journal, 1), kMostMs);
  ASSERT_EQ(sink_.messages.size(), 1u);
  EXPECT_TRUE(sink_.messages[0].second.startsWith(QLatin1String("TELM-9050: ")));
  locker.Release();
  EXPECT_EQ(journal.Finish(), 0u);
  EXPECT_EQ(ValuesInFile(), QStringList({"0", "1"}));
}

}  // namespace
}  // namespace telmon
