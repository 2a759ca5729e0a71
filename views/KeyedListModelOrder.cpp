// Batches, row placement and ordering of KeyedListModel.

#include "views/KeyedListModelRow.h"

#include <QMetaObject>
#include <QTimer>

#include <algorithm>
#include <iterator>

namespace telmon {

namespace {
// Beyond this many separate runs of new rows, one reset is cheaper than the inserts.
constexpr std::size_t kMaxInsertRuns = 32;
// Beyond this many changed rows, one signal over their span is cheaper than one per run.
constexpr std::size_t kMaxChangeSignals = 64;
}  // namespace

void KeyedListModel::BeginBatch() { ++batchDepth_; }

void KeyedListModel::EndBatch() {
  if (batchDepth_ == 0) {
    return;
  }
  if (--batchDepth_ == 0) {
    Flush();
  }
}

void KeyedListModel::Flush() {
  EmitDirty();
  CommitPending();
}

void KeyedListModel::Changed(RowRef row, int firstColumn, int lastColumn) {
  if (row->position < 0) {
    return;  // announced with its insertion
  }
  OpenImplicitBatch();
  if (batchDepth_ == 0) {
    Q_EMIT dataChanged(index(row->position, firstColumn), index(row->position, lastColumn));
    return;
  }
  if (!row->dirty) {
    row->dirty = true;
    row->dirtyLeft = firstColumn;
    row->dirtyRight = lastColumn;
    dirtyRows_.push_back(row);
    return;
  }
  row->dirtyLeft = std::min(row->dirtyLeft, firstColumn);
  row->dirtyRight = std::max(row->dirtyRight, lastColumn);
}

void KeyedListModel::SetCoalescing(bool on, int intervalMs) {
  coalescing_ = on;
  coalescingMs_ = std::max(intervalMs, 0);
}

void KeyedListModel::OpenImplicitBatch() {
  if (!coalescing_ || implicitBatch_) {
    return;
  }
  implicitBatch_ = true;
  ++batchDepth_;
  const qint64 since = lastImplicitEnd_.isValid() ? lastImplicitEnd_.elapsed() : coalescingMs_;
  const auto wait = static_cast<int>(std::clamp<qint64>(coalescingMs_ - since, 0, coalescingMs_));
  if (wait == 0) {
    QMetaObject::invokeMethod(this, &KeyedListModel::CloseImplicitBatch, Qt::QueuedConnection);
  } else {
    QTimer::singleShot(wait, this, &KeyedListModel::CloseImplicitBatch);
  }
}

void KeyedListModel::CloseImplicitBatch() {
  if (implicitBatch_) {
    implicitBatch_ = false;
    lastImplicitEnd_.start();
    EndBatch();
  }
}

void KeyedListModel::EmitDirty() {
  if (dirtyRows_.empty()) {
    return;
  }
  std::vector<RowRef> rows = std::move(dirtyRows_);
  dirtyRows_.clear();
  int left = ColumnCount();
  int right = -1;
  for (RowRef row : rows) {
    row->dirty = false;
    left = std::min(left, row->dirtyLeft);
    right = std::max(right, std::min(row->dirtyRight, ColumnCount() - 1));
  }
  if (left > right) {
    return;
  }
  if (rows.size() * 2 >= rows_.size()) {
    Q_EMIT dataChanged(index(0, left), index(rowCount() - 1, right));
    return;
  }
  if (rows.size() > kMaxChangeSignals) {
    // One signal over the changed span: a view looks each signal's rows up one by one, and
    // repaints only the part of the span it shows anyway.
    const auto [first, last] = std::minmax_element(
        rows.begin(), rows.end(), [](RowRef a, RowRef b) { return a->position < b->position; });
    Q_EMIT dataChanged(index((*first)->position, left), index((*last)->position, right));
    return;
  }
  EmitDirtyRuns(rows);
}

// Adjacent rows share one signal; scattered rows get one each, in list order, so a view
// repaints just the rows it shows.
void KeyedListModel::EmitDirtyRuns(std::vector<RowRef>& rows) {
  std::sort(rows.begin(), rows.end(), [](RowRef a, RowRef b) { return a->position < b->position; });
  const int lastColumn = ColumnCount() - 1;
  std::size_t i = 0;
  while (i < rows.size()) {
    std::size_t j = i;
    int left = rows[i]->dirtyLeft;
    int right = rows[i]->dirtyRight;
    while (j + 1 < rows.size() && rows[j + 1]->position == rows[j]->position + 1) {
      ++j;
      left = std::min(left, rows[j]->dirtyLeft);
      right = std::max(right, rows[j]->dirtyRight);
    }
    right = std::min(right, lastColumn);
    if (left <= right) {
      Q_EMIT dataChanged(index(rows[i]->position, left), index(rows[j]->position, right));
    }
    i = j + 1;
  }
}

void KeyedListModel::CommitPending() {
  if (pending_.empty()) {
    return;
  }
  std::vector<RowPtr> pending = std::move(pending_);
  pending_.clear();
  pendingFirst_ = nullptr;
  if (sorted_) {
    std::stable_sort(pending.begin(), pending.end(),
                     [this](const RowPtr& a, const RowPtr& b) { return RowLess(*a, *b); });
    CommitRuns(pending);
    return;
  }
  const int at = static_cast<int>(rows_.size());
  beginInsertRows(QModelIndex(), at, at + static_cast<int>(pending.size()) - 1);
  rows_.insert(rows_.end(), std::make_move_iterator(pending.begin()),
               std::make_move_iterator(pending.end()));
  Renumber(at);
  endInsertRows();
}

// Merges sorted new rows into the sorted list. Each run of new rows that lands between the
// same two old rows is one insertion; equal texts keep the old rows first.
void KeyedListModel::CommitRuns(std::vector<RowPtr>& sortedPending) {
  struct Run {
    int at;  // final position of the run's first row
    std::size_t first;
    std::size_t count;
  };
  std::vector<Run> runs;
  std::size_t old = 0;
  for (std::size_t i = 0; i < sortedPending.size(); ++i) {
    while (old < rows_.size() && !RowLess(*sortedPending[i], *rows_[old])) {
      ++old;
    }
    const int at = static_cast<int>(old + i);
    if (!runs.empty() && runs.back().at + static_cast<int>(runs.back().count) == at) {
      ++runs.back().count;
    } else {
      runs.push_back(Run{at, i, 1});
    }
  }
  if (runs.size() > kMaxInsertRuns) {
    beginResetModel();
    std::vector<RowPtr> merged;
    merged.reserve(rows_.size() + sortedPending.size());
    std::merge(std::make_move_iterator(rows_.begin()), std::make_move_iterator(rows_.end()),
               std::make_move_iterator(sortedPending.begin()),
               std::make_move_iterator(sortedPending.end()), std::back_inserter(merged),
               [this](const RowPtr& a, const RowPtr& b) { return RowLess(*a, *b); });
    rows_ = std::move(merged);
    Renumber(0);
    endResetModel();
    return;
  }
  for (const Run& run : runs) {
    beginInsertRows(QModelIndex(), run.at, run.at + static_cast<int>(run.count) - 1);
    auto from = sortedPending.begin() + static_cast<std::ptrdiff_t>(run.first);
    rows_.insert(rows_.begin() + run.at, std::make_move_iterator(from),
                 std::make_move_iterator(from + static_cast<std::ptrdiff_t>(run.count)));
    Renumber(run.at);
    endInsertRows();
  }
}

void KeyedListModel::Renumber(int from) {
  for (auto i = static_cast<std::size_t>(std::max(from, 0)); i < rows_.size(); ++i) {
    rows_[i]->position = static_cast<int>(i);
  }
}

int KeyedListModel::UpperBound(const QString& sortKey) const {
  auto it =
      std::upper_bound(rows_.begin(), rows_.end(), sortKey,
                       [](const QString& key, const RowPtr& row) { return key < row->sortKey; });
  return static_cast<int>(it - rows_.begin());
}

void KeyedListModel::InsertNow(int position, RowPtr row) {
  beginInsertRows(QModelIndex(), position, position);
  rows_.insert(rows_.begin() + position, std::move(row));
  Renumber(position);
  endInsertRows();
}

void KeyedListModel::MoveForNewText(RowRef row) {
  Flush();
  const int from = row->position;
  const QString newSortKey = row->text.toCaseFolded();
  const int bound = UpperBound(newSortKey);
  const int to = from < bound ? bound - 1 : bound;
  if (to == from) {
    row->sortKey = newSortKey;
    Changed(row, 0, 0);
    return;
  }
  beginMoveRows(QModelIndex(), from, from, QModelIndex(), to > from ? to + 1 : to);
  RowPtr moving = std::move(rows_[static_cast<std::size_t>(from)]);
  rows_.erase(rows_.begin() + from);
  moving->sortKey = newSortKey;
  rows_.insert(rows_.begin() + to, std::move(moving));
  Renumber(std::min(from, to));
  endMoveRows();
  Changed(row, 0, 0);
}

void KeyedListModel::SortRows() {
  Q_EMIT layoutAboutToBeChanged({}, QAbstractItemModel::VerticalSortHint);
  const QModelIndexList before = persistentIndexList();
  std::vector<RowRef> owners;
  owners.reserve(static_cast<std::size_t>(before.size()));
  for (const QModelIndex& idx : before) {
    owners.push_back(rows_[static_cast<std::size_t>(idx.row())].get());
  }
  std::stable_sort(rows_.begin(), rows_.end(),
                   [this](const RowPtr& a, const RowPtr& b) { return RowLess(*a, *b); });
  Renumber(0);
  QModelIndexList after;
  after.reserve(before.size());
  for (qsizetype i = 0; i < before.size(); ++i) {
    after.push_back(index(owners[static_cast<std::size_t>(i)]->position, before[i].column()));
  }
  changePersistentIndexList(before, after);
  Q_EMIT layoutChanged({}, QAbstractItemModel::VerticalSortHint);
}

bool KeyedListModel::RowLess(const Row& a, const Row& b) const { return a.sortKey < b.sortKey; }

}  // namespace telmon
