#pragma once

// View > "Operator Journal": the journal newest first, a filter (any text, operation, account,
// dates, computer) applied as the operator types, and export of the rows shown to CSV.

#include "journal/JournalTableModel.h"

#include <QWidget>

class QCheckBox;
class QDateEdit;
class QLabel;
class QLineEdit;
class QTableView;

namespace telmon {

class OperationJournal;
class Prompter;

class frmOperatorJournal final : public QWidget {
  Q_OBJECT

 public:
  frmOperatorJournal(OperationJournal& journal, Prompter& prompter, QWidget* parent = nullptr);

  // Reads the whole journal again; a large one with a progress bar whose Cancel keeps the
  // entries read so far (the label says so).
  void Reload();
  // Asks for a file and writes the rows shown; false when cancelled or not written.
  bool ExportCsv();
  void Append(const JournalEntry& entry);

  JournalTableModel& Model() { return model_; }
  JournalFilterProxy& Proxy() { return proxy_; }
  QLineEdit* txtFilter() const { return txtFilter_; }
  QLabel* lblCount() const { return lblCount_; }

  // "<shown> of <read>", and when reading was cancelled " (reading cancelled: only the oldest
  // <read> entries were read)".
  static QString CountText(int shown, int read, bool partial);

 private:
  void ApplyFilter();
  void ShowCount();
  QWidget* BuildFilterRow();

  OperationJournal& journal_;
  Prompter& prompter_;
  JournalTableModel model_;
  JournalFilterProxy proxy_;
  QLineEdit* txtFilter_ = nullptr;
  QLineEdit* txtOperation_ = nullptr;
  QLineEdit* txtAccount_ = nullptr;
  QLineEdit* txtComputer_ = nullptr;
  QCheckBox* chkFrom_ = nullptr;
  QDateEdit* dtFrom_ = nullptr;
  QCheckBox* chkTo_ = nullptr;
  QDateEdit* dtTo_ = nullptr;
  QTableView* table_ = nullptr;
  QLabel* lblCount_ = nullptr;
  bool partial_ = false;
  bool reloading_ = false;
  bool reloadAgain_ = false;
};

}  // namespace telmon
