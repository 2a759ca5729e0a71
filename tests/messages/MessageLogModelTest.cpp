// Rules of the message log: splitting, options, trimming in bursts, keys, selection and the
// texts of Copy, Save, Print and the file log.

#include "messages/MessageFileLog.h"
#include "messages/MessageLogModel.h"

#include <QAbstractItemModelTester>
#include <QFile>
#include <QSignalSpy>
#include <QTemporaryDir>

#include <gtest/gtest.h>

#include <ostream>

inline void PrintTo(const QString& s, std::ostream* os) { *os << '"' << s.toStdString() << '"'; }

namespace telmon {
namespace {

constexpr std::int32_t Error = 4;
constexpr std::int32_t Trace = 8;

class MessageLogModelTest : public ::testing::Test {
 protected:
  MessageLogModelTest() {
    model_.SetDateTimeFormats(
        DateTimeFormats::FromLocale(QLocale(QLocale::English, QLocale::UnitedStates)));
  }

  QStringList Texts() const {
    QStringList out;
    for (int r = 0; r < model_.rowCount(); ++r) out << model_.Row(r).text;
    return out;
  }
  void AddNumbered(int count) {
    for (int i = 0; i < count; ++i) model_.AddMsg(1, QStringLiteral("m%1").arg(i));
  }

  ManualClock clock_;
  MessageTypes types_;
  MessageLogModel model_{clock_, types_};
  QAbstractItemModelTester tester_{&model_, QAbstractItemModelTester::FailureReportingMode::Fatal};
};

TEST_F(MessageLogModelTest, MultiLineMessagesBecomeIndentedRowsWithOneTimestamp) {
  model_.AddMsg(Error, QStringLiteral("A\r\nB\nC"));
  model_.AddEntry(QStringLiteral("t"), QStringLiteral("X\r\n"), 0);
  model_.AddEntry(QStringLiteral("t"), QStringLiteral("Y\n\rZ"), 0);
  EXPECT_EQ(Texts(), QStringList({"A", "    B", "    C", "X", "    ", "Y", "    ", "    Z"}));
  for (int r = 0; r < 3; ++r) {
    EXPECT_EQ(model_.Row(r).column1, QStringLiteral("3/14/24 2:05:09 PM"));
    EXPECT_EQ(model_.Row(r).colour, types_.Colour(Error));
    EXPECT_EQ(model_.data(model_.index(r, 1), Qt::ForegroundRole).value<QColor>(),
              ToQColor(types_.Colour(Error)));
  }
  EXPECT_FALSE(model_.data(model_.index(3, 1), Qt::ForegroundRole).isValid());
  EXPECT_EQ(model_.Row(0).key, QStringLiteral("0K"));
  EXPECT_EQ(model_.Row(7).key, QStringLiteral("7K"));
}

TEST_F(MessageLogModelTest, DividersAreRowsButNotEntries) {
  model_.AddProblemDivider(QStringLiteral("Start"));
  EXPECT_EQ(model_.EntryCount(), 0);
  EXPECT_EQ(model_.rowCount(), 1);
  EXPECT_EQ(model_.Row(0).column1, QStringLiteral("----------"));
  model_.AddMsg(1, QStringLiteral("one"));
  EXPECT_EQ(model_.EntryCount(), 1);
}

TEST_F(MessageLogModelTest, CollectOffDropsEverythingAndTraceNeedsItsOption) {
  model_.SetCollectNewMessages(false);
  model_.AddMsg(1, QStringLiteral("dropped"));
  model_.AddProblemDivider(QStringLiteral("dropped too"));
  EXPECT_EQ(model_.rowCount(), 0);
  model_.SetCollectNewMessages(true);

  model_.AddMsg(Trace, QStringLiteral("trace 1"));
  model_.SetShowTraceMessages(true);
  model_.AddMsg(Trace, QStringLiteral("trace 2"));
  EXPECT_EQ(Texts(), QStringList({"trace 2"}));
  // Nothing dropped earlier comes back, and keys only count rows added.
  EXPECT_EQ(model_.Row(0).key, QStringLiteral("0K"));
}

TEST_F(MessageLogModelTest, TrimsToTheNewestInBurstsAtMostOncePerInterval) {
  AddNumbered(250);
  EXPECT_EQ(model_.rowCount(), 250);
  clock_.Advance(3999);
  model_.AddMsg(1, QStringLiteral("still no trim"));
  EXPECT_EQ(model_.rowCount(), 251);
  clock_.Advance(1);
  model_.AddMsg(1, QStringLiteral("trim now"));
  EXPECT_EQ(model_.rowCount(), 200);
  EXPECT_EQ(model_.Row(0).key, QStringLiteral("52K"));
  EXPECT_EQ(model_.Row(199).text, QStringLiteral("trim now"));
  EXPECT_EQ(model_.Counters().lastTrimTick, 4000);
  clock_.Advance(1000);
  AddNumbered(5);
  EXPECT_EQ(model_.rowCount(), 205);
  // The tick wraps like the system's; the distance is what counts.
  clock_.SetTick(-100000);
  AddNumbered(1);
  EXPECT_EQ(model_.rowCount(), 200);

  model_.SetMaxEntryCount(0);
  clock_.Advance(10000);
  AddNumbered(10);
  EXPECT_EQ(model_.rowCount(), 210);
}

TEST_F(MessageLogModelTest, TrimLimitsAreExactAndASurvivingSelectionStays) {
  // Exactly the maximum is not an excess: no trim, and the trim tick is not moved.
  AddNumbered(199);
  clock_.Advance(4000);
  AddNumbered(1);
  EXPECT_EQ(model_.rowCount(), 200);
  EXPECT_EQ(model_.Counters().lastTrimTick, 0);
  // One past it, with the interval passed, trims back to exactly the maximum.
  model_.SetAutoSelectNewest(false);
  model_.SetSelectedRow(150);
  const std::optional<QString> selected = model_.SelectedKey();
  AddNumbered(1);
  EXPECT_EQ(model_.rowCount(), 200);
  EXPECT_EQ(model_.Counters().lastTrimTick, 4000);
  EXPECT_EQ(model_.Row(0).key, QStringLiteral("1K"));
  // The selected row survived the trim: it is still the selected one, one row higher.
  EXPECT_EQ(model_.SelectedKey(), selected);
  EXPECT_EQ(model_.SelectedRow(), 149);
  // The interval is measured from the trim: 3999 ticks later nothing is trimmed yet.
  clock_.Advance(3999);
  AddNumbered(2);
  EXPECT_EQ(model_.rowCount(), 202);
  clock_.Advance(1);
  AddNumbered(1);
  EXPECT_EQ(model_.rowCount(), 200);
}

TEST_F(MessageLogModelTest, KeysWrapAndClearKeepsTheCounter) {
  auto counters = std::make_shared<MessageLogCounters>();
  counters->entryCounter = 2147483645;
  MessageLogModel model(clock_, types_, counters);
  MessageLogModel other(clock_, types_, counters);
  model.AddMsg(1, QStringLiteral("a"));
  other.AddMsg(1, QStringLiteral("b"));
  model.AddMsg(1, QStringLiteral("c"));
  EXPECT_EQ(model.Row(0).key, QStringLiteral("2147483645K"));
  EXPECT_EQ(other.Row(0).key, QStringLiteral("2147483646K"));
  EXPECT_EQ(model.Row(1).key, QStringLiteral("0K"));
  model.Clear();
  EXPECT_EQ(model.rowCount(), 0);
  model.AddMsg(1, QStringLiteral("d"));
  EXPECT_EQ(model.Row(0).key, QStringLiteral("1K"));
}

TEST_F(MessageLogModelTest, SelectionFollowsNewestOnlyWhenAskedOrWhenNothingIsSelected) {
  QSignalSpy requests(&model_, &MessageLogModel::SelectionRequested);
  AddNumbered(3);
  EXPECT_EQ(model_.SelectedKey(), QStringLiteral("2K"));
  model_.SetAutoSelectNewest(false);
  model_.SetSelectedRow(0);
  requests.clear();
  AddNumbered(2);
  EXPECT_EQ(model_.SelectedKey(), QStringLiteral("0K"));
  EXPECT_EQ(requests.count(), 0);
  model_.SetSelectedRow(-1);
  AddNumbered(1);
  EXPECT_EQ(model_.SelectedKey(), QStringLiteral("5K"));
  ASSERT_EQ(requests.count(), 1);
  EXPECT_EQ(requests[0][0].toInt(), 5);

  // A selected row that is trimmed away leaves nothing selected.
  model_.SetSelectedRow(0);
  AddNumbered(250);
  clock_.Advance(5000);
  AddNumbered(1);
  EXPECT_FALSE(model_.SelectedKey().has_value());
  AddNumbered(1);
  EXPECT_EQ(model_.SelectedKey(), QStringLiteral("257K"));
}

TEST_F(MessageLogModelTest, CopyNumbersRowsToTheWidthOfTheCount) {
  for (int i = 1; i <= 9; ++i) model_.AddEntry(QStringLiteral("t"), QString::number(i), 0);
  EXPECT_TRUE(model_.LogText(true).startsWith(QStringLiteral("1\tt\t1\r\n2\tt\t2")));
  EXPECT_TRUE(model_.LogText(true).endsWith(QStringLiteral("\r\n9\tt\t9")));
  model_.AddProblemDivider(QStringLiteral("ten"));
  const QString text = model_.LogText(true);
  EXPECT_TRUE(text.startsWith(QStringLiteral("01\tt\t1\r\n")));
  EXPECT_TRUE(text.endsWith(QStringLiteral("\r\n10\t----------\tten")));
  EXPECT_TRUE(model_.LogText(false).startsWith(QStringLiteral("t\t1\r\nt\t2")));
}

TEST_F(MessageLogModelTest, PrintoutHasHeaderAndRowsWithoutNumbers) {
  model_.AddMsg(1, QStringLiteral("one"));
  model_.AddProblemEntryArray(clock_.Now(), QStringList({"two", "three"}));
  model_.AddProblemEntryArray(clock_.Now(), QVariant());
  model_.AddProblemEntryArray(clock_.Now(), QVariant(QMetaType::fromType<QString>()));  // null
  model_.AddProblemEntryArray(clock_.Now(), QVariant::fromValue(nullptr));
  model_.AddProblemEntryArray(clock_.Now(), QString());
  model_.AddProblemEntryArray(clock_.Now(), QStringList());
  model_.AddProblemEntryArray(clock_.Now(), QStringLiteral("four"));
  EXPECT_EQ(model_.PrintText(QStringLiteral("Messages"), clock_.Now()),
            QStringLiteral("Messages         Printed 3/14/24 2:05 PM\r\n\r\n\r\n"
                           "3/14/24 2:05:09 PM one\r\n"
                           "3/14/24 2:05:09 PM two\r\n"
                           "3/14/24 2:05:09 PM three\r\n"
                           "3/14/24 2:05:09 PM four\r\n"));
  // Rows handed over as a list or a text take the default colour, as a problem entry does.
  for (int row = 1; row < model_.rowCount(); ++row) {
    EXPECT_EQ(model_.data(model_.index(row, 1), MessageLogModel::ColourTagRole).toLongLong(), 0);
  }
}

TEST_F(MessageLogModelTest, FileLogGetsEveryAddedRowAtOnce) {
  QTemporaryDir dir;
  const QString path = dir.filePath(QStringLiteral("log.txt"));
  MessageFileLog log;
  ASSERT_TRUE(log.Open(path));
  log.Follow(model_);
  model_.AddMsg(Error, QStringLiteral("A\nB"));
  model_.SetCollectNewMessages(false);
  model_.AddMsg(Error, QStringLiteral("not kept"));
  QFile file(path);
  ASSERT_TRUE(file.open(QIODevice::ReadOnly));
  EXPECT_EQ(QString::fromUtf8(file.readAll()),
            QStringLiteral("3/14/24 2:05:09 PM\tA\n3/14/24 2:05:09 PM\t    B\n"));

  MessageFileLog bad;
  EXPECT_FALSE(bad.Open(dir.filePath(QStringLiteral("missing/dir/log.txt"))));
  EXPECT_FALSE(bad.ErrorString().isEmpty());
}

}  // namespace
}  // namespace telmon
