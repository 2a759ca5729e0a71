#pragma once

// The operator journal as a table, newest entry first, loaded once and grown as entries are
// recorded; and the filter the journal window puts over it (any text, operation, account, a
// range of local dates, computer). Plain vectors and string tests keep 100,000 entries quick.

#include "journal/IOperationJournal.h"

#include <QAbstractTableModel>
#include <QDate>
#include <QSortFilterProxyModel>

#include <vector>

namespace telmon {

class JournalTableModel final : public QAbstractTableModel {
  Q_OBJECT

 public:
  enum Column {
    ColTime,
    ColAccount,
    ColComputer,
    ColDahs,
    ColOperation,
    ColTargets,
    ColPrevious,
    ColValue,
    ColOutcome,
    ColCommand,
    ColumnCount
  };

  using QAbstractTableModel::QAbstractTableModel;

  // Entries oldest first, as the journal reads them.
  void SetEntries(std::vector<JournalEntry> entries);
  void Append(const JournalEntry& entry);
  const JournalEntry& EntryAt(int row) const;

  int rowCount(const QModelIndex& parent = QModelIndex()) const override;
  int columnCount(const QModelIndex& parent = QModelIndex()) const override;
  QVariant data(const QModelIndex& index, int role = Qt::DisplayRole) const override;
  QVariant headerData(int section, Qt::Orientation orientation,
                      int role = Qt::DisplayRole) const override;

  static QString CellText(const JournalEntry& entry, int column);

 private:
  std::vector<JournalEntry> entries_;  // oldest first; row 0 is the last
};

struct JournalFilter {
  QString anyText;
  QString operation;
  QString account;
  QDate from;  // local dates, inclusive; null for no bound
  QDate to;
  QString computer;
};

class JournalFilterProxy final : public QSortFilterProxyModel {
  Q_OBJECT

 public:
  using QSortFilterProxyModel::QSortFilterProxyModel;

  void SetFilter(const JournalFilter& filter);
  static bool Matches(const JournalEntry& entry, const JournalFilter& filter);
  // The entries shown, top to bottom.
  std::vector<const JournalEntry*> VisibleEntries() const;

 protected:
  bool filterAcceptsRow(int sourceRow, const QModelIndex& sourceParent) const override;

 private:
  JournalFilter filter_;
  QString fromText_;
  QString toText_;
};

}  // namespace telmon
