#include "journal/ui/frmOperatorJournal.h"

#include "journal/JournalCsv.h"
#include "journal/OperationJournal.h"
#include "platform/ListExport.h"
#include "platform/Prompter.h"
#include "platform/ui/ChunkProgressDialog.h"

#include <QCheckBox>
#include <QDateEdit>
#include <QFile>
#include <QHBoxLayout>
#include <QHeaderView>
#include <QLabel>
#include <QLineEdit>
#include <QPushButton>
#include <QTableView>
#include <QVBoxLayout>

namespace telmon {

namespace {

QLineEdit* FilterBox(const char* name, const QString& placeholder, QWidget* parent) {
  auto* box = new QLineEdit(parent);
  box->setObjectName(QLatin1String(name));
  box->setPlaceholderText(placeholder);
  box->setClearButtonEnabled(true);
  return box;
}

}  // namespace

frmOperatorJournal::frmOperatorJournal(OperationJournal& journal, Prompter& prompter,
                                       QWidget* parent)
    : QWidget(parent), journal_(journal), prompter_(prompter), model_(this), proxy_(this) {
  setWindowTitle(QStringLiteral("Operator Journal"));
  proxy_.setSourceModel(&model_);
  table_ = new QTableView(this);
  table_->setObjectName(QStringLiteral("tblJournal"));
  table_->setModel(&proxy_);
  table_->setSelectionBehavior(QAbstractItemView::SelectRows);
  table_->setWordWrap(false);
  table_->verticalHeader()->setVisible(false);
  // Fixed row heights and no content-sized columns: 100,000 rows paint as quickly as 10.
  table_->verticalHeader()->setSectionResizeMode(QHeaderView::Fixed);
  table_->horizontalHeader()->setStretchLastSection(true);
  const int widths[] = {140, 80, 100, 45, 170, 200, 90, 120};
  for (int column = 0; column < static_cast<int>(std::size(widths)); ++column) {
    table_->setColumnWidth(column, widths[column]);
  }
  auto* layout = new QVBoxLayout(this);
  layout->addWidget(BuildFilterRow());
  layout->addWidget(table_, 1);
  resize(1200, 520);
  Reload();
}

QWidget* frmOperatorJournal::BuildFilterRow() {
  auto* row = new QWidget(this);
  auto* h = new QHBoxLayout(row);
  h->setContentsMargins(0, 0, 0, 0);
  txtFilter_ = FilterBox("txtFilter", QStringLiteral("Any text"), row);
  txtOperation_ = FilterBox("txtOperation", QStringLiteral("Operation"), row);
  txtAccount_ = FilterBox("txtAccount", QStringLiteral("Account"), row);
  txtComputer_ = FilterBox("txtComputer", QStringLiteral("Computer"), row);
  chkFrom_ = new QCheckBox(QStringLiteral("From"), row);
  dtFrom_ = new QDateEdit(QDate::currentDate(), row);
  chkTo_ = new QCheckBox(QStringLiteral("To"), row);
  dtTo_ = new QDateEdit(QDate::currentDate(), row);
  for (QDateEdit* date : {dtFrom_, dtTo_}) {
    date->setCalendarPopup(true);
    date->setDisplayFormat(QStringLiteral("yyyy-MM-dd"));
    connect(date, &QDateEdit::dateChanged, this, &frmOperatorJournal::ApplyFilter);
  }
  for (QLineEdit* box : {txtFilter_, txtOperation_, txtAccount_, txtComputer_}) {
    connect(box, &QLineEdit::textChanged, this, &frmOperatorJournal::ApplyFilter);
  }
  for (QCheckBox* check : {chkFrom_, chkTo_}) {
    connect(check, &QCheckBox::toggled, this, &frmOperatorJournal::ApplyFilter);
  }
  lblCount_ = new QLabel(row);
  auto* cmdExport = new QPushButton(QStringLiteral("Export CSV..."), row);
  cmdExport->setObjectName(QStringLiteral("cmdExport"));
  connect(cmdExport, &QPushButton::clicked, this, &frmOperatorJournal::ExportCsv);
  h->addWidget(txtFilter_, 2);
  h->addWidget(txtOperation_, 1);
  h->addWidget(txtAccount_, 1);
  h->addWidget(txtComputer_, 1);
  for (QWidget* w :
       std::initializer_list<QWidget*>{chkFrom_, dtFrom_, chkTo_, dtTo_, lblCount_, cmdExport}) {
    h->addWidget(w);
  }
  return row;
}

void frmOperatorJournal::Reload() {
  // A reload asked for while one reads (news from the shared journal) is done after it.
  if (reloading_) {
    reloadAgain_ = true;
    return;
  }
  reloading_ = true;
  do {
    reloadAgain_ = false;
    ChunkProgressDialog progress(this, QStringLiteral("Reading journal entries"));
    bool stopped = false;
    model_.SetEntries(journal_.ReadForWindow(progress.Callback(), &stopped));
    partial_ = stopped;
  } while (reloadAgain_ && !partial_);
  reloading_ = false;
  ApplyFilter();
}

void frmOperatorJournal::Append(const JournalEntry& entry) {
  model_.Append(entry);
  ShowCount();
}

QString frmOperatorJournal::CountText(int shown, int read, bool partial) {
  QString text = QStringLiteral("%1 of %2").arg(shown).arg(read);
  if (partial) {
    text += QStringLiteral(" (reading cancelled: only the oldest %1 entries were read)").arg(read);
  }
  return text;
}

void frmOperatorJournal::ShowCount() {
  lblCount_->setText(CountText(proxy_.rowCount(), model_.rowCount(), partial_));
}

void frmOperatorJournal::ApplyFilter() {
  JournalFilter filter;
  filter.anyText = txtFilter_->text();
  filter.operation = txtOperation_->text();
  filter.account = txtAccount_->text();
  filter.computer = txtComputer_->text();
  filter.from = chkFrom_->isChecked() ? dtFrom_->date() : QDate();
  filter.to = chkTo_->isChecked() ? dtTo_->date() : QDate();
  proxy_.SetFilter(filter);
  ShowCount();
}

bool frmOperatorJournal::ExportCsv() {
  const std::optional<QString> file =
      prompter_.SaveFileName({QStringLiteral("Export Operator Journal"),
                              QStringLiteral("journal.csv"), QStringLiteral(".csv"),
                              QStringLiteral("CSV Files (*.csv)|*.csv|All Files (*.*)|*.*"), true});
  if (!file) {
    return false;
  }
  // A copy: the window goes on appending and reading entries while the file is written.
  std::vector<JournalEntry> entries;
  for (const JournalEntry* e : proxy_.VisibleEntries()) {
    entries.push_back(*e);
  }
  ChunkProgressDialog progress(this, QStringLiteral("Exporting entries"));
  const ChunkedWrite result = WriteJournalCsv(*file, entries, progress.Callback());
  if (result.status == ChunkedWrite::Status::Cancelled) {
    prompter_.Show(ExportCancelledText(result.done, result.total, QStringLiteral("entries"), *file),
                   windowTitle(), PromptIcon::Information);
    return false;
  }
  if (result.status == ChunkedWrite::Status::Failed) {
    prompter_.Show(
        QStringLiteral("The journal could not be exported to '%1': %2").arg(*file, result.error),
        windowTitle(), PromptIcon::Exclamation);
    return false;
  }
  return true;
}

}  // namespace telmon
