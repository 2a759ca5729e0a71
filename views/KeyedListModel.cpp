#include "views/KeyedListModel.h"

#include "views/KeyedListModelRow.h"
#include "views/ViewErrors.h"

#include <QBrush>

#include <algorithm>
#include <cmath>
#include <iterator>

namespace telmon {

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

namespace {

// Whether ASCII text equals the string, without converting it; false for any other byte.
bool EqualsAscii(const QString& text, QByteArrayView ascii) {
  if (text.size() != ascii.size()) {
    return false;
  }
  const QChar* chars = text.constData();
  for (qsizetype i = 0; i < ascii.size(); ++i) {
    const auto byte = static_cast<unsigned char>(ascii[i]);
    if (byte >= 0x80 || chars[i].unicode() != byte) {
      return false;
    }
  }
  return true;
}

}  // namespace

void KeyedListModel::SetSubItemUtf8(RowRef row, int column, QByteArrayView utf8) {
  if (column > 0) {
    const Row& r = Checked(row);
    const auto at = static_cast<std::size_t>(column - 1);
    if (at < r.subItems.size() && EqualsAscii(r.subItems[at], utf8)) {
      return;
    }
  }
  SetSubItem(row, column, QString::fromUtf8(utf8));
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
  if (row == selected_) {
    return;
  }
  selected_ = row;
  Q_EMIT SelectionChanged();
}

void KeyedListModel::SelectPosition(int position) { Select(RowAt(position)); }

void KeyedListModel::SelectViewRow(int row) {
  Select(row >= 0 && row < rowCount() ? rows_[static_cast<std::size_t>(row)].get() : nullptr);
}

int KeyedListModel::SelectedPosition() { return PositionOf(selected_); }

void KeyedListModel::SetPalette(const QPalette& palette) {
  palette_ = palette;
  if (!rows_.empty() && ColumnCount() > 0) {
    Q_EMIT dataChanged(index(0, 0), index(rowCount() - 1, ColumnCount() - 1), {Qt::ForegroundRole});
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

}  // namespace telmon
