// A large journal read and exported a chunk at a time: the progress told between chunks, what a
// stop leaves (the oldest entries read so far; no export file), and each entry once, those
// still waiting for a busy file included.

#include "journal/JournalCsv.h"
#include "journal/OperationJournal.h"
#include "tests/util/QStringPrinter.h"
#include "tests/views/ViewsTestSupport.h"
#include "util/Clock.h"

#include <QFile>
#include <QSqlDatabase>
#include <QSqlQuery>
#include <QTemporaryDir>

#include <gtest/gtest.h>

#include <vector>

namespace telmon {
namespace {

constexpr int kEntries = 25000;

class JournalChunksTest : public ::testing::Test {
 protected:
  void SetUp() override {
    journal_.Record({QStringLiteral("Set clock"), {}, QStringLiteral("0"), {}, {}, {}, {}});
    // The rest in one transaction of a second connection.
    {
      QSqlDatabase db =
          QSqlDatabase::addDatabase(QStringLiteral("QSQLITE"), QStringLiteral("fill"));
      db.setDatabaseName(File());
      ASSERT_TRUE(db.open());
      db.transaction();
      QSqlQuery insert(db);
      insert.prepare(QStringLiteral(
          "INSERT INTO journal (time_utc, time_local, dahs, account, computer, operation, "
          "targets, value, command, outcome) VALUES ('2026-01-01T00:00:00.000Z', "
          "'2026-01-01 00:00:00', 1, 'tech', 'PC', 'WriteToChannel', '12 Stack', ?, "
          "'<Record/>', 'record written')"));
      for (int i = 1; i < kEntries; ++i) {
        insert.addBindValue(QString::number(i));
        ASSERT_TRUE(insert.exec());
      }
      insert.finish();
      db.commit();
      db.close();
    }
    QSqlDatabase::removeDatabase(QStringLiteral("fill"));
  }

  QString File() const { return dir_.filePath(QStringLiteral("journal.sqlite")); }

  // Values 0..n-1 in order, each once.
  static bool InOrder(const std::vector<JournalEntry>& entries, std::size_t n) {
    if (entries.size() != n) {
      return false;
    }
    for (std::size_t i = 0; i < n; ++i) {
      if (entries[i].value != QString::number(i)) {
        return false;
      }
    }
    return true;
  }

  QTemporaryDir dir_;
  ManualClock clock_;
  test::CollectingSink sink_;
  OperationJournal journal_{File(), {1, QStringLiteral("PC")}, sink_, clock_};
};

TEST_F(JournalChunksTest, ReadingTellsEachChunkAndAStopKeepsWhatWasRead) {
  struct Case {
    const char* name;
    std::size_t stopAfter;  // chunks; 0: never
    std::size_t entries;
    bool stopped;
  };
  const Case cases[] = {
      {"read to the end", 0, kEntries, false},
      {"stopped after the first chunk", 1, OperationJournal::ReadChunk, true},
      {"stopped after the second chunk", 2, 2 * std::size_t{OperationJournal::ReadChunk}, true},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.name);
    std::vector<std::pair<std::size_t, std::size_t>> told;
    bool stopped = false;
    const std::vector<JournalEntry> entries = journal_.ReadForWindow(
        [&](std::size_t done, std::size_t total) {
          told.emplace_back(done, total);
          return told.size() != c.stopAfter;
        },
        &stopped);
    EXPECT_EQ(stopped, c.stopped);
    EXPECT_TRUE(InOrder(entries, c.entries)) << entries.size();
    const std::size_t chunk = OperationJournal::ReadChunk;
    std::vector<std::pair<std::size_t, std::size_t>> expected{{chunk, kEntries},
                                                              {2 * chunk, kEntries}};
    expected.resize(c.stopAfter == 0 ? expected.size() : c.stopAfter);
    EXPECT_EQ(told, expected);
  }
  EXPECT_TRUE(sink_.messages.empty());
}

// Entries waiting for a busy file come after the file's, each once, however the read is split.
TEST_F(JournalChunksTest, EntriesWaitingForABusyFileComeOnceAfterTheFile) {
  QSqlDatabase db = QSqlDatabase::addDatabase(QStringLiteral("QSQLITE"), QStringLiteral("lock"));
  db.setDatabaseName(File());
  ASSERT_TRUE(db.open());
  ASSERT_TRUE(QSqlQuery(db).exec(QStringLiteral("BEGIN IMMEDIATE")));
  for (int i = kEntries; i < kEntries + 3; ++i) {
    journal_.Record({QStringLiteral("Set clock"), {}, QString::number(i), {}, {}, {}, {}});
  }
  ASSERT_EQ(journal_.WaitingCount(), 3u);
  bool stopped = false;
  EXPECT_TRUE(
      InOrder(journal_.ReadForWindow([](std::size_t, std::size_t) { return true; }, &stopped),
              kEntries + 3));
  EXPECT_TRUE(InOrder(journal_.ReadAll(), kEntries + 3));
  ASSERT_TRUE(QSqlQuery(db).exec(QStringLiteral("COMMIT")));
  db.close();
  db = QSqlDatabase();
  QSqlDatabase::removeDatabase(QStringLiteral("lock"));
  EXPECT_EQ(journal_.Finish(), 0u);
  EXPECT_TRUE(
      InOrder(journal_.ReadForWindow([](std::size_t, std::size_t) { return true; }, &stopped),
              kEntries + 3));
}

// The journal export a chunk at a time: the bytes of the one-piece export; stopped, no file.
TEST_F(JournalChunksTest, ExportWritesTheSameBytesOrNoFileWhenStopped) {
  const std::vector<JournalEntry> entries = journal_.ReadAll();
  std::vector<const JournalEntry*> pointers;
  pointers.reserve(entries.size());
  for (const JournalEntry& e : entries) {
    pointers.push_back(&e);
  }
  const QString path = dir_.filePath(QStringLiteral("out.csv"));
  std::size_t chunks = 0;
  const ChunkedWrite whole = WriteJournalCsv(path, entries, [&](std::size_t, std::size_t) {
    ++chunks;
    return true;
  });
  EXPECT_EQ(whole.status, ChunkedWrite::Status::Written);
  EXPECT_EQ(chunks, 25u);
  QFile file(path);
  ASSERT_TRUE(file.open(QIODevice::ReadOnly));
  EXPECT_EQ(file.readAll(), JournalCsv(pointers));

  const QString stoppedPath = dir_.filePath(QStringLiteral("stopped.csv"));
  std::size_t told = 0;
  const ChunkedWrite stopped =
      WriteJournalCsv(stoppedPath, entries, [&](std::size_t, std::size_t) { return ++told < 3; });
  EXPECT_EQ(stopped.status, ChunkedWrite::Status::Cancelled);
  EXPECT_EQ(stopped.done, 3000u);
  EXPECT_EQ(stopped.total, static_cast<std::size_t>(kEntries));
  EXPECT_FALSE(QFile::exists(stoppedPath));
}

}  // namespace
}  // namespace telmon
