#include "journal/JournalTableModel.h"

#include <array>

namespace telmon {

namespace {

const std::array<QString, JournalTableModel::ColumnCount> kTitles = {
    QStringLiteral("Time"),     QStringLiteral("Account"),   QStringLiteral("Computer"),
    QStringLiteral("DAHS"),     QStringLiteral("Operation"), QStringLiteral("Targets"),
    QStringLiteral("Previous"), QStringLiteral("Value"),     QStringLiteral("Outcome"),
    QStringLiteral("Command")};

bool Has(const QString& text, const QString& part) {
  return text.contains(part, Qt::CaseInsensitive);
}

}  // namespace

void JournalTableModel::SetEntries(std::vector<JournalEntry> entries) {
  beginResetModel();
  entries_ = std::move(entries);
  endResetModel();
}

void JournalTableModel::Append(const JournalEntry& entry) {
  beginInsertRows(QModelIndex(), 0, 0);
  entries_.push_back(entry);
  endInsertRows();
}

const JournalEntry& JournalTableModel::EntryAt(int row) const {
  return entries_[entries_.size() - 1 - static_cast<std::size_t>(row)];
}

int JournalTableModel::rowCount(const QModelIndex& parent) const {
  return parent.isValid() ? 0 : static_cast<int>(entries_.size());
}

int JournalTableModel::columnCount(const QModelIndex& parent) const {
  return parent.isValid() ? 0 : ColumnCount;
}

QString JournalTableModel::CellText(const JournalEntry& entry, int column) {
  switch (column) {
    case ColTime:
      return entry.timeLocal;
    case ColAccount:
      return entry.account;
    case ColComputer:
      return entry.computer;
    case ColDahs:
      return QString::number(entry.dahs);
    case ColOperation:
      return entry.operation;
    case ColTargets:
      return entry.targets;
    case ColPrevious:
      return entry.previous;
    case ColValue:
      return entry.value;
    case ColOutcome:
      return entry.outcome;
    case ColCommand:
      return entry.command;
    default:
      return {};
  }
}

QVariant JournalTableModel::data(const QModelIndex& index, int role) const {
  if (!index.isValid() || index.row() >= rowCount()) {
    return {};
  }
  const JournalEntry& entry = EntryAt(index.row());
  if (role == Qt::DisplayRole) {
    // One line per cell; the whole text is in the tool tip and the export.
    QString text = CellText(entry, index.column());
    return text.replace(QLatin1Char('\n'), QLatin1Char(' '));
  }
  if (role == Qt::ToolTipRole) {
    if (index.column() == ColTime) {
      return entry.timeUtc.toString(Qt::ISODateWithMs);
    }
    return CellText(entry, index.column());
  }
  return {};
}

QVariant JournalTableModel::headerData(int section, Qt::Orientation orientation, int role) const {
  if (orientation == Qt::Horizontal && role == Qt::DisplayRole && section >= 0 &&
      section < ColumnCount) {
    return kTitles[static_cast<std::size_t>(section)];
  }
  return QAbstractTableModel::headerData(section, orientation, role);
}

void JournalFilterProxy::SetFilter(const JournalFilter& filter) {
  filter_ = filter;
  invalidateRowsFilter();
}

bool JournalFilterProxy::Matches(const JournalEntry& e, const JournalFilter& f) {
  // The local time text begins with the ISO date, so dates compare as text.
  const QStringView date = QStringView(e.timeLocal).left(10);
  if ((f.from.isValid() && date < f.from.toString(Qt::ISODate)) ||
      (f.to.isValid() && date > f.to.toString(Qt::ISODate))) {
    return false;
  }
  if ((!f.operation.isEmpty() && !Has(e.operation, f.operation)) ||
      (!f.account.isEmpty() && !Has(e.account, f.account)) ||
      (!f.computer.isEmpty() && !Has(e.computer, f.computer))) {
    return false;
  }
  if (f.anyText.isEmpty()) {
    return true;
  }
  for (int column = 0; column < JournalTableModel::ColumnCount; ++column) {
    if (Has(JournalTableModel::CellText(e, column), f.anyText)) {
      return true;
    }
  }
  return false;
}

bool JournalFilterProxy::filterAcceptsRow(int sourceRow,
                                          const QModelIndex& /*sourceParent*/) const {
  const auto* model = static_cast<const JournalTableModel*>(sourceModel());
  return Matches(model->EntryAt(sourceRow), filter_);
}

std::vector<const JournalEntry*> JournalFilterProxy::VisibleEntries() const {
  const auto* model = static_cast<const JournalTableModel*>(sourceModel());
  std::vector<const JournalEntry*> entries;
  entries.reserve(static_cast<std::size_t>(rowCount()));
  for (int row = 0; row < rowCount(); ++row) {
    entries.push_back(&model->EntryAt(mapToSource(index(row, 0)).row()));
  }
  return entries;
}

}  // namespace telmon
