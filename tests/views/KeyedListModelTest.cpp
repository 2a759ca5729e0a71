// The keyed list model on its own: ordering, keys, batching and what a view reads from it.

#include "views/KeyedListModel.h"

#include "util/ErrorInfo.h"
#include "views/ViewErrors.h"

#include <QAbstractItemModelTester>
#include <QBrush>
#include <QPalette>
#include <QSignalSpy>
#include <QTest>

#include <gtest/gtest.h>

namespace telmon {
namespace {

class KeyedListModelTest : public ::testing::Test {
 protected:
  void SetUp() override {
    model_.AddColumn({QStringLiteral("ID"), 1440, Qt::AlignLeft, QStringLiteral("ID")});
    model_.AddColumn({QStringLiteral("Value"), 720, Qt::AlignRight, {}});
  }

  QStringList Texts() {
    QStringList texts;
    for (int i = 0; i < model_.RowCount(); ++i) {
      texts << model_.Text(model_.RowAt(i));
    }
    return texts;
  }

  KeyedListModel model_;
  QAbstractItemModelTester tester_{&model_, QAbstractItemModelTester::FailureReportingMode::Fatal};
};

TEST_F(KeyedListModelTest, SortedRowsOrderAsTextIgnoringCase) {
  model_.SetSorted(true);
  for (const char* id : {"2", "10", "b", "A", "1"}) {
    model_.AddRow(QString::fromLatin1(id) + 'K', QString::fromLatin1(id));
  }
  EXPECT_EQ(Texts(), (QStringList{"1", "10", "2", "A", "b"}));
  EXPECT_EQ(model_.data(model_.index(1, 0)).toString(), "10");
  EXPECT_EQ(model_.FindKey("2K"), model_.RowAt(2));
}

TEST_F(KeyedListModelTest, ARowWhoseTextEqualsOthersGoesAfterThem) {
  model_.SetSorted(true);
  for (const char* key : {"x1", "x2", "y", "x3"}) {
    model_.AddRow(QString::fromLatin1(key), QString::fromLatin1(key[0] == 'y' ? "B" : "b"));
  }
  EXPECT_EQ(model_.RowAt(0), model_.FindKey("x1"));
  EXPECT_EQ(model_.RowAt(1), model_.FindKey("x2"));
  EXPECT_EQ(model_.RowAt(2), model_.FindKey("y"));
  EXPECT_EQ(model_.RowAt(3), model_.FindKey("x3"));
}

TEST_F(KeyedListModelTest, TurningSortingOnReordersExistingRowsAndKeepsKeys) {
  for (const char* id : {"b", "C", "a"}) {
    model_.AddRow(QString::fromLatin1(id), QString::fromLatin1(id));
  }
  model_.Select(model_.FindKey("a"));
  model_.SetSorted(true);
  EXPECT_EQ(Texts(), (QStringList{"a", "b", "C"}));
  EXPECT_EQ(model_.SelectedPosition(), 0);
  EXPECT_EQ(model_.PositionOf(model_.FindKey("C")), 2);
}

TEST_F(KeyedListModelTest, DuplicateKeyFailsAndLeavesTheListAlone) {
  model_.AddRow("1K", "1");
  try {
    model_.AddRow("1K", "1");
    FAIL() << "duplicate key accepted";
  } catch (const TelmonError& e) {
    EXPECT_EQ(e.number(), ListError::KeyNotUnique);
  }
  EXPECT_EQ(model_.RowCount(), 1);
  // Rows without a key (placeholders) never clash.
  model_.AddRow({}, "(none)");
  model_.AddRow({}, "(none)");
  EXPECT_EQ(model_.RowCount(), 3);
}

TEST_F(KeyedListModelTest, BatchAnnouncesAdjacentRowsOnceAndMergesNewRows) {
  model_.SetSorted(true);
  for (int i = 0; i < 50; i += 2) {
    model_.AddRow(QString::number(i) + 'K', QString::number(i));
  }
  QStringList changedRows;  // first and last row texts, read while the signal is delivered
  QObject::connect(&model_, &QAbstractItemModel::dataChanged, &model_,
                   [&](const QModelIndex& topLeft, const QModelIndex& bottomRight) {
                     changedRows << model_.data(topLeft.siblingAtColumn(0)).toString()
                                 << model_.data(bottomRight.siblingAtColumn(0)).toString();
                   });
  QSignalSpy inserted(&model_, &QAbstractItemModel::rowsInserted);
  {
    KeyedListModel::Batch batch(model_);
    model_.SetSubItem(model_.FindKey("4K"), 1, "x");
    model_.SetSubItem(model_.FindKey("8K"), 1, "y");
    model_.SetRowColor(model_.FindKey("6K"), Colors::Red);
    const auto added = model_.AddRow("7K", "7");
    model_.SetSubItem(added, 1, "z");  // announced with its insertion, not as a change
    EXPECT_EQ(model_.RowCount(), 26);
    EXPECT_EQ(model_.rowCount(), 25);  // views see it only when the batch ends
    EXPECT_TRUE(changedRows.isEmpty());
  }
  // Text order puts 6 and 8 next to each other, 4 apart from them.
  EXPECT_EQ(changedRows, (QStringList{"4", "4", "6", "8"}));
  changedRows.clear();
  {
    KeyedListModel::Batch batch(model_);
    model_.SetSubItem(model_.FindKey("40K"), 1, "far");
    model_.SetSubItem(model_.FindKey("0K"), 1, "near");
  }
  EXPECT_EQ(changedRows, (QStringList{"0", "0", "40", "40"}));  // scattered rows one by one
  changedRows.clear();
  {
    KeyedListModel::Batch batch(model_);
    for (int i = 0; i < 50; i += 2) {
      model_.SetSubItem(model_.FindKey(QString::number(i) + 'K'), 1, "all");
    }
  }
  EXPECT_EQ(changedRows, (QStringList{"0", "8"}));  // most rows: one signal for the list
  EXPECT_EQ(inserted.count(), 1);
  EXPECT_EQ(model_.SubItem(model_.FindKey("7K"), 1), "z");
  EXPECT_EQ(model_.PositionOf(model_.FindKey("7K")), model_.PositionOf(model_.FindKey("6K")) + 1);
}

// Clearing (the rows, or everything) while a batch holds new rows back drops those rows too:
// they never reach a view. Clearing announces a selection change only when there was one.
TEST_F(KeyedListModelTest, ClearInsideABatchDropsTheRowsItHeldBack) {
  model_.SetSorted(true);
  QSignalSpy selection(&model_, &KeyedListModel::SelectionChanged);
  for (const bool rowsOnly : {true, false}) {
    SCOPED_TRACE(rowsOnly);
    model_.AddRow("1K", "1");
    {
      KeyedListModel::Batch batch(model_);
      model_.AddRow("2K", "2");
      rowsOnly ? model_.ClearRows() : model_.Clear();
      model_.AddRow("3K", "3");
    }
    EXPECT_EQ(model_.RowCount(), 1);
    EXPECT_EQ(model_.rowCount(), 1);
    EXPECT_EQ(Texts(), QStringList({"3"}));
    EXPECT_EQ(model_.FindKey("2K"), nullptr);
    selection.clear();
    model_.Select(model_.FindKey("3K"));
    ASSERT_EQ(selection.count(), 1);
    rowsOnly ? model_.ClearRows() : model_.Clear();
    EXPECT_EQ(selection.count(), 2);
    rowsOnly ? model_.ClearRows() : model_.Clear();
    EXPECT_EQ(selection.count(), 2);
  }
}

// Asking where a row is holds a batch's new rows back as long as that row is one a view
// already has (the first included); asking for a held-back row announces them.
TEST_F(KeyedListModelTest, PositionOfAShownRowDoesNotEndTheHoldingBack) {
  model_.AddRow("1K", "1");
  model_.AddRow("2K", "2");
  KeyedListModel::Batch batch(model_);
  const auto added = model_.AddRow("3K", "3");
  EXPECT_EQ(model_.PositionOf(model_.FindKey("1K")), 0);
  EXPECT_EQ(model_.PositionOf(model_.FindKey("2K")), 1);
  EXPECT_EQ(model_.rowCount(), 2);
  EXPECT_EQ(model_.PositionOf(added), 2);
  EXPECT_EQ(model_.rowCount(), 3);
}

// A list without columns yet (a page before its set-up) takes row colours and announces no
// change, since a view has no cell to repaint.
TEST(KeyedListModelWithoutColumns, ARowColourAnnouncesNothing) {
  KeyedListModel model;
  QAbstractItemModelTester tester(&model, QAbstractItemModelTester::FailureReportingMode::Fatal);
  const auto row = model.AddRow("1K", "1");
  QSignalSpy changed(&model, &QAbstractItemModel::dataChanged);
  model.SetRowColor(row, Colors::Red);
  EXPECT_EQ(changed.count(), 0);
  EXPECT_EQ(model.RowColor(row), Colors::Red);
}

TEST_F(KeyedListModelTest, ManyScatteredNewRowsInOneBatchStayOrdered) {
  model_.SetSorted(true);
  for (int i = 0; i < 200; i += 2) {
    model_.AddRow(QString::number(i), QString::number(i));
  }
  {
    KeyedListModel::Batch batch(model_);
    for (int i = 199; i > 0; i -= 2) {
      model_.AddRow(QString::number(i), QString::number(i));
    }
    model_.AddRow("!", "!");  // a new first row
    // The first row shown is known before the batch ends.
    EXPECT_EQ(model_.Text(model_.FirstRow()), "!");
  }
  const QStringList texts = Texts();
  ASSERT_EQ(texts.size(), 201);
  EXPECT_EQ(texts.front(), "!");
  EXPECT_TRUE(std::is_sorted(texts.begin(), texts.end(),
                             [](const QString& a, const QString& b) { return a < b; }));
  for (int i = 0; i < 201; ++i) {
    EXPECT_EQ(model_.PositionOf(model_.FindKey(texts[i])), i);
  }
}

TEST_F(KeyedListModelTest, InsertAtPositionKeepsSelectionAndRemovalForgetsIt) {
  model_.AddRow("a", "a");
  model_.AddRow("b", "b");
  model_.Select(model_.FindKey("b"));
  QSignalSpy selection(&model_, &KeyedListModel::SelectionChanged);
  const auto last = model_.InsertRowsAt(1, {{"x", "x", "tx"}, {"y", "y", "ty"}});
  EXPECT_EQ(Texts(), (QStringList{"a", "x", "y", "b"}));
  EXPECT_EQ(model_.Tag(last), "ty");
  EXPECT_EQ(model_.SelectedPosition(), 3);
  EXPECT_THROW(model_.InsertRowsAt(9, {{"z", "z", {}}}), TelmonError);
  model_.RemoveRow(model_.FindKey("b"));
  EXPECT_EQ(model_.Selected(), nullptr);
  EXPECT_EQ(selection.count(), 1);
  EXPECT_EQ(model_.FindKey("b"), nullptr);
  EXPECT_EQ(model_.PositionOf(model_.FindKey("y")), 2);
}

TEST_F(KeyedListModelTest, ColoursWidthsAndAlignmentAsAViewReadsThem) {
  const auto row = model_.AddRow("1K", "1");
  QPalette palette;
  palette.setColor(QPalette::Text, QColor(1, 2, 3));
  model_.SetPalette(palette);
  EXPECT_EQ(model_.data(model_.index(0, 1), Qt::ForegroundRole).value<QBrush>().color(),
            QColor(1, 2, 3));
  model_.SetRowColor(row, Colors::Blue);
  model_.SetCellColor(row, 0, Colors::Red);
  EXPECT_EQ(model_.data(model_.index(0, 0), Qt::ForegroundRole).value<QBrush>().color(),
            QColor(255, 0, 0));
  EXPECT_EQ(model_.data(model_.index(0, 1), Qt::ForegroundRole).value<QBrush>().color(),
            QColor(0, 0, 255));
  EXPECT_EQ(model_.RowColor(row), Colors::Blue);
  EXPECT_EQ(KeyedListModel::TwipsToPixels(1440, 96), 96);
  EXPECT_EQ(model_.ColumnWidthPixels(1, 144), 72);
  EXPECT_EQ(model_.ColumnIndex("ID"), 0);
  EXPECT_TRUE(model_.data(model_.index(0, 1), Qt::TextAlignmentRole).toInt() & Qt::AlignRight);
  EXPECT_EQ(model_.headerData(1, Qt::Horizontal).toString(), "Value");
  EXPECT_THROW(model_.SetSubItem(row, 2, "x"), TelmonError);
}

TEST_F(KeyedListModelTest, ChangingTheTextOfASortedRowMovesIt) {
  model_.SetSorted(true);
  for (const char* id : {"a", "c", "e"}) {
    model_.AddRow(QString::fromLatin1(id), QString::fromLatin1(id));
  }
  model_.SetText(model_.FindKey("a"), "f");
  EXPECT_EQ(Texts(), (QStringList{"c", "e", "f"}));
  model_.SetText(model_.FindKey("e"), "b");
  EXPECT_EQ(Texts(), (QStringList{"b", "c", "f"}));
  // Only the text's own cell is announced as changed, at the row's new place.
  QList<QPair<QModelIndex, QModelIndex>> changed;
  QObject::connect(&model_, &QAbstractItemModel::dataChanged, &model_,
                   [&](const QModelIndex& topLeft, const QModelIndex& bottomRight) {
                     changed.append({topLeft, bottomRight});
                   });
  model_.SetText(model_.FindKey("c"), "g");
  ASSERT_EQ(changed.size(), 1);
  EXPECT_EQ(changed[0].first, model_.index(2, 0));
  EXPECT_EQ(changed[0].second, model_.index(2, 0));
}

// A cell given UTF-8 takes its decoded text; bytes that are no ASCII are never taken for the
// characters of the same number.
TEST_F(KeyedListModelTest, Utf8CellsDecodeEveryByteThatIsNotAscii) {
  const auto row = model_.AddRow("1K", "1");
  model_.SetSubItem(row, 1, QStringLiteral("\u0080"));
  model_.SetSubItemUtf8(row, 1, "\x80");
  EXPECT_EQ(model_.SubItem(row, 1), QString::fromUtf8("\x80"));
  model_.SetSubItem(row, 1, QStringLiteral("\u007f"));
  model_.SetSubItemUtf8(row, 1, "\x7f");
  EXPECT_EQ(model_.SubItem(row, 1), QStringLiteral("\u007f"));
}

// A new palette repaints every cell's colour, and announces nothing for an empty list.
TEST(KeyedListModelPalette, ANewPaletteRepaintsEveryCellOnce) {
  KeyedListModel model;
  QAbstractItemModelTester tester(&model, QAbstractItemModelTester::FailureReportingMode::Fatal);
  QSignalSpy changed(&model, &QAbstractItemModel::dataChanged);
  model.SetPalette(QPalette(Qt::blue));
  model.AddColumn({QStringLiteral("ID"), 1440, Qt::AlignLeft, {}});
  model.SetPalette(QPalette(Qt::blue));
  EXPECT_EQ(changed.count(), 0);
  model.AddRow("1K", "1");
  model.AddRow("2K", "2");
  model.SetPalette(QPalette(Qt::red));
  ASSERT_EQ(changed.count(), 1);
  EXPECT_EQ(changed[0][0].toModelIndex(), model.index(0, 0));
  EXPECT_EQ(changed[0][1].toModelIndex(), model.index(1, 0));
}

// Changes after a quiet spell are announced when control returns to the event loop; changes
// that follow are gathered and announced together once the interval has passed.
TEST_F(KeyedListModelTest, CoalescingAnnouncesAtMostOncePerInterval) {
  model_.SetCoalescing(true, 200);
  const auto row = model_.AddRow("1K", "1");
  QSignalSpy changed(&model_, &QAbstractItemModel::dataChanged);
  EXPECT_EQ(model_.rowCount(), 0);
  QCoreApplication::processEvents();
  EXPECT_EQ(model_.rowCount(), 1);
  model_.SetSubItem(row, 1, "a");
  model_.SetSubItem(row, 1, "b");
  QCoreApplication::processEvents();
  EXPECT_EQ(changed.count(), 0);  // too soon after the rows were announced
  EXPECT_EQ(model_.SubItem(row, 1), "b");
  EXPECT_TRUE(QTest::qWaitFor([&] { return changed.count() == 1; }, 5000));
  QTest::qWait(300);
  EXPECT_EQ(changed.count(), 1);
}

// Many scattered changes in one announcement are one signal over their span.
TEST_F(KeyedListModelTest, ManyScatteredChangesAreOneSignal) {
  for (int i = 0; i < 1000; ++i) {
    model_.AddRow(QString::number(i) + 'K', QString::number(i));
  }
  QSignalSpy changed(&model_, &QAbstractItemModel::dataChanged);
  {
    KeyedListModel::Batch batch(model_);
    for (int i = 10; i < 400; i += 3) {
      model_.SetSubItem(model_.FindKey(QString::number(i) + 'K'), 1, "x");
    }
  }
  ASSERT_EQ(changed.count(), 1);
  EXPECT_EQ(changed[0][0].toModelIndex().row(), 10);
  EXPECT_EQ(changed[0][1].toModelIndex().row(), 397);
  EXPECT_EQ(changed[0][0].toModelIndex().column(), 1);
}

}  // namespace
}  // namespace telmon
