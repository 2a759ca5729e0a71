#pragma once

// The one table model behind every list page. Rows are found by key through a hash and keep a
// stable handle (RowRef) for their whole life, so the managers never look rows up by position.
// A sorted model keeps its rows in case-insensitive text order ("10" before "2"), placing each
// new row by binary search.
//
// Batches: between BeginBatch and EndBatch, cell changes are collected per row and announced
// at the end, one dataChanged per run of adjacent changed rows (one for the whole list when
// most rows changed), so a view repaints only what it shows; new rows are held back and
// merged in one pass at the end. This keeps a burst of IOS events linear in the number of rows even
// with a view attached. Anything that needs row positions while a batch is open announces what is
// pending first, so callers always see a consistent list.

#include "util/ColorRef.h"

#include <QAbstractTableModel>
#include <QByteArrayView>
#include <QElapsedTimer>
#include <QHash>
#include <QPalette>
#include <QString>

#include <memory>
#include <vector>

namespace telmon {

struct ListColumn {
  QString title;
  int widthTwips = 0;
  Qt::Alignment alignment = Qt::AlignLeft;
  QString key;
};

class KeyedListModel : public QAbstractTableModel {
  Q_OBJECT

 public:
  struct Row;
  using RowRef = Row*;  // valid until the row is removed or the rows are cleared

  struct NewRow {
    QString key;
    QString text;
    QString tag;
    int iconIndex = -1;
  };

  enum Role {
    KeyRole = Qt::UserRole + 1,
    TagRole,
    ColorRefRole,
    IconIndexRole,
    WidthTwipsRole,
  };

  explicit KeyedListModel(QObject* parent = nullptr);
  ~KeyedListModel() override;

  int rowCount(const QModelIndex& parent = QModelIndex()) const override;
  int columnCount(const QModelIndex& parent = QModelIndex()) const override;
  QVariant data(const QModelIndex& index, int role = Qt::DisplayRole) const override;
  QVariant headerData(int section, Qt::Orientation orientation,
                      int role = Qt::DisplayRole) const override;

  // Columns. Clear drops rows and columns together.
  void Clear();
  void AddColumn(const ListColumn& column);
  int ColumnCount() const { return static_cast<int>(columns_.size()); }
  const ListColumn& Column(int column) const;
  int ColumnIndex(const QString& key) const;  // -1 when no column has the key
  int ColumnWidthPixels(int column, double dpi) const;
  static int TwipsToPixels(int twips, double dpi);

  void SetSorted(bool sorted);
  bool IsSorted() const { return sorted_; }

  // Rows, counting those held back by an open batch.
  int RowCount() const;
  bool IsEmpty() const { return RowCount() == 0; }
  void ClearRows();
  RowRef FindKey(const QString& key) const;
  // Adds a row: a sorted model places it by its text, an unsorted one appends it. An empty
  // key gives a row that cannot be found by key (the placeholder). Throws TelmonError
  // (key not unique) when the key is already on the list.
  RowRef AddRow(const QString& key, const QString& text);
  // Inserts rows at a position of an unsorted model in one step; returns the last one added.
  // Rows up to a duplicate key are inserted before the duplicate's TelmonError is thrown.
  RowRef InsertRowsAt(int position, std::vector<NewRow> rows);
  void RemoveRow(RowRef row);
  RowRef RowAt(int position);
  int PositionOf(RowRef row);  // -1 for none
  // The row shown first, including rows held back by an open batch.
  RowRef FirstRow() const;

  QString Key(RowRef row) const;
  QString Text(RowRef row) const;
  QString Tag(RowRef row) const;
  QString SubItem(RowRef row, int column) const;  // column 0 is the row text
  ColorRef RowColor(RowRef row) const;
  ColorRef CellColor(RowRef row, int column) const;
  int IconIndex(RowRef row) const;

  void SetText(RowRef row, const QString& text);
  void SetSubItem(RowRef row, int column, const QString& text);
  // The same from UTF-8 text; a value equal to the cell's is recognised without a copy.
  void SetSubItemUtf8(RowRef row, int column, QByteArrayView utf8);
  void SetTag(RowRef row, const QString& tag);
  // The row colour applies to every cell, replacing any cell colour.
  void SetRowColor(RowRef row, ColorRef color);
  void SetCellColor(RowRef row, int column, ColorRef color);
  void SetIconIndex(RowRef row, int iconIndex);

  RowRef Selected() const { return selected_; }
  void Select(RowRef row);
  void SelectPosition(int position);
  // Selects by a row number as a view sees the list, which leaves out rows an open batch holds
  // back; -1 clears the selection.
  void SelectViewRow(int row);
  int SelectedPosition();

  void BeginBatch();
  void EndBatch();
  class Batch {
   public:
    explicit Batch(KeyedListModel& model) : model_(model) { model_.BeginBatch(); }
    ~Batch() { model_.EndBatch(); }
    Batch(const Batch&) = delete;
    Batch& operator=(const Batch&) = delete;

   private:
    KeyedListModel& model_;
  };
  // With coalescing on, changes made outside a batch are gathered and announced together:
  // when control returns to the event loop after a quiet spell, and then at most once every
  // `intervalMs`. A shown list then repaints a few times a second however fast the IOS sends,
  // instead of once per socket arrival; the rows themselves always hold the latest values.
  static constexpr int DefaultCoalescingMs = 100;
  void SetCoalescing(bool on, int intervalMs = DefaultCoalescingMs);
  // Announces everything a batch holds back, leaving the batch open.
  void Flush();

  // Resolves the window-text colour reference when a view asks for colours.
  void SetPalette(const QPalette& palette);

 Q_SIGNALS:
  void SelectionChanged();

 private:
  using RowPtr = std::unique_ptr<Row>;

  Row& Checked(RowRef row) const;
  static QString CellText(const Row& row, int column);
  static ColorRef CellColorOf(const Row& row, int column);
  void CheckColumn(int column) const;
  void Changed(RowRef row, int firstColumn, int lastColumn);
  void OpenImplicitBatch();
  void CloseImplicitBatch();
  void EmitDirty();
  void EmitDirtyRuns(std::vector<RowRef>& rows);
  void CommitPending();
  void CommitRuns(std::vector<RowPtr>& sortedPending);
  void Renumber(int from);
  int UpperBound(const QString& sortKey) const;
  void InsertNow(int position, RowPtr row);
  void MoveForNewText(RowRef row);
  void SortRows();
  bool RowLess(const Row& a, const Row& b) const;

  std::vector<ListColumn> columns_;
  std::vector<RowPtr> rows_;
  std::vector<RowPtr> pending_;
  RowRef pendingFirst_ = nullptr;
  QHash<QString, RowRef> keys_;
  RowRef selected_ = nullptr;
  bool sorted_ = false;
  bool coalescing_ = false;
  int coalescingMs_ = 0;
  QElapsedTimer lastImplicitEnd_;
  bool implicitBatch_ = false;
  int batchDepth_ = 0;
  std::vector<RowRef> dirtyRows_;
  QPalette palette_;
};

}  // namespace telmon
