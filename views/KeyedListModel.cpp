#include "views/KeyedListModel.h"

#include "views/ViewErrors.h"

#include <QBrush>
#include <QMetaObject>

#include <algorithm>
#include <cmath>
#include <iterator>

namespace telmon {

namespace {
constexpr ColorRef kInheritColor = 0xFFFFFFFFU;
// Beyond this many separate runs of new rows, one reset is cheaper than the inserts.
constexpr std::size_t kMaxInsertRuns = 32;
}  // namespace

struct KeyedListModel::Row {
  QString key;
  QString text;
  QString sortKey;
  QString tag;
  std::vector<QString> subItems;  // column 1 is subItems[0]
  std::vector<ColorRef> cellColors;
  ColorRef color = Colors::WindowText;
  int iconIndex = -1;
  int position = -1;  // -1 while held back by a batch
  bool dirty = false;  // changed in the open batch, columns dirtyLeft..dirtyRight
  int dirtyLeft = 0;
  int dirtyRight = 0;
};

KeyedListModel::KeyedListModel(QObject* parent) : QAbstractTableModel(parent) {}

KeyedListModel::~KeyedListModel() = default;

int KeyedListModel::rowCount(const QModelIndex& parent) const {
  return parent.isValid() ? 0 : static_cast<int>(rows_.size());
}

int KeyedListModel::columnCount(const QModelIndex& parent) const {
  return parent.isValid() ? 0 : ColumnCount();
}

QVariant KeyedListModel::data(const QModelIndex& index, int role) const {
  if (!checkIndex(index, CheckIndexOption::IndexIsValid | CheckIndexOption::ParentIsInvalid)) {
    return {};
  }
  const Row& row = *rows_[static_cast<std::size_t>(index.row())];
  const int column = index.column();
  switch (role) {
    case Qt::DisplayRole:
      return CellText(row, column);
    case Qt::ForegroundRole:
      return QBrush(ToQColor(CellColorOf(row, column), palette_));
    case Qt::TextAlignmentRole:
      return static_cast<int>(columns_[static_cast<std::size_t>(column)].alignment |
                              Qt::AlignVCenter);
    case KeyRole:
      return row.key;
    case TagRole:
      return row.tag;
    case ColorRefRole:
      return static_cast<uint>(CellColorOf(row, column));
    case IconIndexRole:
      return row.iconIndex;
    default:
      return {};
  }
}

QVariant KeyedListModel::headerData(int section, Qt::Orientation orientation, int role) const {
  if (orientation != Qt::Horizontal || section < 0 || section >= ColumnCount()) {
    return {};
  }
  const ListColumn& column = columns_[static_cast<std::size_t>(section)];
  switch (role) {
    case Qt::DisplayRole:
      return column.title;
    case Qt::TextAlignmentRole:
      return static_cast<int>(column.alignment | Qt::AlignVCenter);
    case WidthTwipsRole:
      return column.widthTwips;
    default:
      return {};
  }
}

void KeyedListModel::Clear() {
  beginResetModel();
  pending_.clear();
  pendingFirst_ = nullptr;
  rows_.clear();
  keys_.clear();
  columns_.clear();
  dirtyRows_.clear();
  const bool hadSelection = selected_ != nullptr;
  selected_ = nullptr;
  endResetModel();
  if (hadSelection) {
    Q_EMIT SelectionChanged();
  }
}

void KeyedListModel::AddColumn(const ListColumn& column) {
  Flush();
  const int at = ColumnCount();
  beginInsertColumns(QModelIndex(), at, at);
  columns_.push_back(column);
  endInsertColumns();
}

const ListColumn& KeyedListModel::Column(int column) const {
  CheckColumn(column);
  return columns_[static_cast<std::size_t>(column)];
}

int KeyedListModel::ColumnIndex(const QString& key) const {
  for (std::size_t i = 0; i < columns_.size(); ++i) {
    if (!key.isEmpty() && columns_[i].key == key) {
      return static_cast<int>(i);
    }
  }
  return -1;
}

int KeyedListModel::ColumnWidthPixels(int column, double dpi) const {
  return TwipsToPixels(Column(column).widthTwips, dpi);
}

int KeyedListModel::TwipsToPixels(int twips, double dpi) {
  return static_cast<int>(std::lround(static_cast<double>(twips) * dpi / 1440.0));
}

void KeyedListModel::SetSorted(bool sorted) {
  if (sorted == sorted_) {
    return;
  }
  Flush();
  sorted_ = sorted;
  if (sorted_ && rows_.size() > 1) {
    SortRows();
  }
}

int KeyedListModel::RowCount() const { return static_cast<int>(rows_.size() + pending_.size()); }

void KeyedListModel::ClearRows() {
  pending_.clear();
  pendingFirst_ = nullptr;
  dirtyRows_.clear();
  keys_.clear();
  const bool hadSelection = selected_ != nullptr;
  selected_ = nullptr;
  if (!rows_.empty()) {
    beginRemoveRows(QModelIndex(), 0, static_cast<int>(rows_.size()) - 1);
    rows_.clear();
    endRemoveRows();
  }
  if (hadSelection) {
    Q_EMIT SelectionChanged();
  }
}

KeyedListModel::RowRef KeyedListModel::FindKey(const QString& key) const {
  return keys_.value(key, nullptr);
}

KeyedListModel::RowRef KeyedListModel::AddRow(const QString& key, const QString& text) {
  if (!key.isEmpty() && keys_.contains(key)) {
    throw ListError::KeyNotUniqueError();
  }
  OpenImplicitBatch();
  auto row = std::make_unique<Row>();
  row->key = key;
  row->text = text;
  row->sortKey = text.toCaseFolded();
  RowRef ref = row.get();
  if (!key.isEmpty()) {
    keys_.insert(key, ref);
  }
  if (batchDepth_ > 0) {
    if (pendingFirst_ == nullptr || (sorted_ && RowLess(*ref, *pendingFirst_))) {
      pendingFirst_ = ref;
    }
    pending_.push_back(std::move(row));
    return ref;
  }
  const int at = sorted_ ? UpperBound(ref->sortKey) : static_cast<int>(rows_.size());
  InsertNow(at, std::move(row));
  return ref;
}

KeyedListModel::RowRef KeyedListModel::InsertRowsAt(int position, std::vector<NewRow> rows) {
  Flush();
  if (position < 0 || position > static_cast<int>(rows_.size())) {
    throw ListError::IndexOutOfBoundsError();
  }
  if (sorted_) {
    RowRef last = nullptr;
    for (NewRow& entry : rows) {
      last = AddRow(entry.key, entry.text);
      SetTag(last, entry.tag);
      SetIconIndex(last, entry.iconIndex);
    }
    return last;
  }
  std::vector<RowPtr> accepted;
  QHash<QString, bool> seen;
  bool duplicate = false;
  for (NewRow& entry : rows) {
    if (!entry.key.isEmpty()) {
      if (keys_.contains(entry.key) || seen.contains(entry.key)) {
        duplicate = true;
        break;
      }
      seen.insert(entry.key, true);
    }
    auto row = std::make_unique<Row>();
    row->key = std::move(entry.key);
    row->text = std::move(entry.text);
    row->sortKey = row->text.toCaseFolded();
    row->tag = std::move(entry.tag);
    row->iconIndex = entry.iconIndex;
    accepted.push_back(std::move(row));
  }
  RowRef last = accepted.empty() ? nullptr : accepted.back().get();
  if (!accepted.empty()) {
    const auto count = static_cast<int>(accepted.size());
    beginInsertRows(QModelIndex(), position, position + count - 1);
    for (const RowPtr& row : accepted) {
      if (!row->key.isEmpty()) {
        keys_.insert(row->key, row.get());
      }
    }
    rows_.insert(rows_.begin() + position, std::make_move_iterator(accepted.begin()),
                 std::make_move_iterator(accepted.end()));
    Renumber(position);
    endInsertRows();
  }
  if (duplicate) {
    throw ListError::KeyNotUniqueError();
  }
  return last;
}

void KeyedListModel::RemoveRow(RowRef row) {
  Checked(row);
  Flush();
  const int at = row->position;
  beginRemoveRows(QModelIndex(), at, at);
  if (!row->key.isEmpty()) {
    keys_.remove(row->key);
  }
  const bool wasSelected = selected_ == row;
  if (wasSelected) {
    selected_ = nullptr;
  }
  rows_.erase(rows_.begin() + at);
  Renumber(at);
  endRemoveRows();
  if (wasSelected) {
    Q_EMIT SelectionChanged();
  }
}

KeyedListModel::RowRef KeyedListModel::RowAt(int position) {
  if (!pending_.empty()) {
    Flush();
  }
  if (position < 0 || position >= static_cast<int>(rows_.size())) {
    return nullptr;
  }
  return rows_[static_cast<std::size_t>(position)].get();
}

int KeyedListModel::PositionOf(RowRef row) {
  if (row == nullptr) {
    return -1;
  }
  if (row->position < 0) {
    Flush();
  }
  return row->position;
}

KeyedListModel::RowRef KeyedListModel::FirstRow() const {
  RowRef first = rows_.empty() ? nullptr : rows_.front().get();
  if (pendingFirst_ == nullptr) {
    return first;
  }
  if (first == nullptr || (sorted_ && RowLess(*pendingFirst_, *first))) {
    return pendingFirst_;
  }
  return first;
}

QString KeyedListModel::Key(RowRef row) const { return Checked(row).key; }
QString KeyedListModel::Text(RowRef row) const { return Checked(row).text; }
QString KeyedListModel::Tag(RowRef row) const { return Checked(row).tag; }
ColorRef KeyedListModel::RowColor(RowRef row) const { return Checked(row).color; }
int KeyedListModel::IconIndex(RowRef row) const { return Checked(row).iconIndex; }

QString KeyedListModel::SubItem(RowRef row, int column) const {
  return CellText(Checked(row), column);
}

QString KeyedListModel::CellText(const Row& r, int column) {
  if (column == 0) {
    return r.text;
  }
  const auto at = static_cast<std::size_t>(column - 1);
  return column > 0 && at < r.subItems.size() ? r.subItems[at] : QString();
}

ColorRef KeyedListModel::CellColor(RowRef row, int column) const {
  return CellColorOf(Checked(row), column);
}

ColorRef KeyedListModel::CellColorOf(const Row& r, int column) {
  const auto at = static_cast<std::size_t>(column);
  if (column >= 0 && at < r.cellColors.size() && r.cellColors[at] != kInheritColor) {
    return r.cellColors[at];
  }
  return r.color;
}

void KeyedListModel::SetText(RowRef row, const QString& text) {
  Row& r = Checked(row);
  if (r.text == text) {
    return;
  }
  r.text = text;
  const QString newSortKey = text.toCaseFolded();
  if (!sorted_ || newSortKey == r.sortKey || r.position < 0) {
    r.sortKey = newSortKey;
    Changed(row, 0, 0);
    return;
  }
  MoveForNewText(row);
}

void KeyedListModel::SetSubItem(RowRef row, int column, const QString& text) {
  if (column == 0) {
    SetText(row, text);
    return;
  }
  Row& r = Checked(row);
  CheckColumn(column);
  const auto at = static_cast<std::size_t>(column - 1);
  if (r.subItems.size() <= at) {
    r.subItems.resize(at + 1);
  } else if (r.subItems[at] == text) {
    return;
  }
  r.subItems[at] = text;
  Changed(row, column, column);
}

void KeyedListModel::SetTag(RowRef row, const QString& tag) { Checked(row).tag = tag; }

void KeyedListModel::SetRowColor(RowRef row, ColorRef color) {
  Row& r = Checked(row);
  r.color = color;
  r.cellColors.clear();
  if (ColumnCount() > 0) {
    Changed(row, 0, ColumnCount() - 1);
  }
}

void KeyedListModel::SetCellColor(RowRef row, int column, ColorRef color) {
  Row& r = Checked(row);
  CheckColumn(column);
  const auto at = static_cast<std::size_t>(column);
  if (r.cellColors.size() <= at) {
    r.cellColors.resize(at + 1, kInheritColor);
  }
  r.cellColors[at] = color;
  Changed(row, column, column);
}

void KeyedListModel::SetIconIndex(RowRef row, int iconIndex) {
  Checked(row).iconIndex = iconIndex;
  Changed(row, 0, 0);
}

void KeyedListModel::Select(RowRef row) {
  if (row != nullptr) {
    Checked(row);
  }
  if (row == selected_) {
    return;
  }
  selected_ = row;
  Q_EMIT SelectionChanged();
}

void KeyedListModel::SelectPosition(int position) { Select(RowAt(position)); }

int KeyedListModel::SelectedPosition() { return PositionOf(selected_); }

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

void KeyedListModel::SetPalette(const QPalette& palette) {
  palette_ = palette;
  if (!rows_.empty() && ColumnCount() > 0) {
    Q_EMIT dataChanged(index(0, 0), index(rowCount() - 1, ColumnCount() - 1),
                       {Qt::ForegroundRole});
  }
}

KeyedListModel::Row& KeyedListModel::Checked(RowRef row) const {
  if (row == nullptr) {
    throw ListError::ObjectNotSetError();
  }
  return *row;
}

void KeyedListModel::CheckColumn(int column) const {
  if (column < 0 || column >= ColumnCount()) {
    throw ListError::IndexOutOfBoundsError();
  }
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

void KeyedListModel::OpenImplicitBatch() {
  if (!coalescing_ || implicitBatch_) {
    return;
  }
  implicitBatch_ = true;
  ++batchDepth_;
  QMetaObject::invokeMethod(this, &KeyedListModel::CloseImplicitBatch, Qt::QueuedConnection);
}

void KeyedListModel::CloseImplicitBatch() {
  if (implicitBatch_) {
    implicitBatch_ = false;
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
  EmitDirtyRuns(rows);
}

// Adjacent rows share one signal; scattered rows get one each, in list order, so a view
// repaints just the rows it shows.
void KeyedListModel::EmitDirtyRuns(std::vector<RowRef>& rows) {
  std::sort(rows.begin(), rows.end(),
            [](RowRef a, RowRef b) { return a->position < b->position; });
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
  auto it = std::upper_bound(rows_.begin(), rows_.end(), sortKey,
                             [](const QString& key, const RowPtr& row) {
                               return key < row->sortKey;
                             });
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
