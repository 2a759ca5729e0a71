#include "messages/frmProblems.h"

#include "platform/ListExport.h"
#include "platform/Prompter.h"
#include "platform/WindowUtilities.h"
#include "platform/ui/ChunkProgressDialog.h"
#include "platform/ui/WindowUtilitiesUi.h"
#include "util/ErrorInfo.h"

#include <QAction>
#include <QApplication>
#include <QClipboard>
#include <QCloseEvent>
#include <QCoreApplication>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QGuiApplication>
#include <QHeaderView>
#include <QItemSelectionModel>
#include <QMenuBar>
#include <QTimer>
#include <QTreeView>

namespace telmon {

namespace {

constexpr long PrinterErrorNumber = 482;
constexpr long FileErrorNumber = 75;

// The hourglass for the duration of a scope.
class WaitCursor {
 public:
  WaitCursor() { QGuiApplication::setOverrideCursor(Qt::WaitCursor); }
  ~WaitCursor() { QGuiApplication::restoreOverrideCursor(); }
  WaitCursor(const WaitCursor&) = delete;
  WaitCursor& operator=(const WaitCursor&) = delete;
};

void WriteFile(const QString& path, const QString& text) {
  QFile file(path);
  if (!file.open(QIODevice::WriteOnly | QIODevice::Truncate) || file.write(text.toUtf8()) < 0 ||
      !file.flush()) {
    throw TelmonError(FileErrorNumber, QStringLiteral("Path/File access error (%1: %2)")
                                           .arg(QDir::toNativeSeparators(path))
                                           .arg(file.errorString()));
  }
}

// An existing file that nobody may write (no write permission bit is set, which counts even
// for an account that could override it), or that this user may not write.
bool IsReadOnlyFile(const QString& path) {
  const QFileInfo info(path);
  if (!info.exists() || info.isDir()) {
    return false;
  }
  constexpr QFile::Permissions anyWrite = QFile::WriteOwner | QFile::WriteGroup | QFile::WriteOther;
  return (info.permissions() & anyWrite) == 0 || !info.isWritable();
}

}  // namespace

frmProblems::frmProblems(MessageLogModel& model, Prompter& prompter, const QString& programTitle,
                         QWidget* parent)
    : QMainWindow(parent),
      model_(model),
      prompter_(prompter),
      programTitle_(programTitle),
      lsvProblems_(new QTreeView(this)) {
  setObjectName(QStringLiteral("frmProblems"));
  setWindowTitle(QStringLiteral("Messages"));
  // Hiding the log never ends the program.
  setAttribute(Qt::WA_QuitOnClose, false);
  lsvProblems_->setObjectName(QStringLiteral("lsvProblems"));
  lsvProblems_->setAccessibleName(QStringLiteral("Messages list"));
  lsvProblems_->setRootIsDecorated(false);
  lsvProblems_->setUniformRowHeights(true);
  lsvProblems_->setAllColumnsShowFocus(true);
  lsvProblems_->setSelectionMode(QAbstractItemView::SingleSelection);
  lsvProblems_->setSelectionBehavior(QAbstractItemView::SelectRows);
  lsvProblems_->setModel(&model_);
  setCentralWidget(lsvProblems_);
  BuildMenus();
  ApplyFont();

  connect(lsvProblems_->selectionModel(), &QItemSelectionModel::currentRowChanged, this,
          [this](const QModelIndex& current) {
            model_.SetSelectedRow(current.isValid() ? current.row() : -1);
          });
  connect(&model_, &MessageLogModel::SelectionRequested, this, &frmProblems::SelectRow);
  connect(&model_, &QAbstractItemModel::rowsInserted, this, &frmProblems::ScheduleColumnResize);
  resize(640, 300);
}

QAction* frmProblems::AddAction(QMenu* menu, const char* name, const QString& caption) {
  QAction* action = menu->addAction(caption);
  action->setObjectName(QLatin1String(name));
  return action;
}

QAction* frmProblems::AddOption(QMenu* menu, const char* name, const QString& caption,
                                bool checked) {
  QAction* action = AddAction(menu, name, caption);
  action->setCheckable(true);
  action->setChecked(checked);
  return action;
}

void frmProblems::BuildMenus() {
  QMenu* file = menuBar()->addMenu(QStringLiteral("File"));
  file->setObjectName(QStringLiteral("mnuFile"));
  connect(AddAction(file, "mnuFile_Print", QStringLiteral("Print")), &QAction::triggered, this,
          &frmProblems::PrintLog);
  connect(AddAction(file, "mnuFile_SaveToFile", QStringLiteral("Save")), &QAction::triggered, this,
          &frmProblems::SaveToFile);
  connect(AddAction(file, "mnuFile_ExportList", QString::fromLatin1(ExportListCaption)),
          &QAction::triggered, this, [this] {
            ChunkProgressDialog progress(this, QStringLiteral("Exporting rows"));
            ExportListToCsv(model_, prompter_, QStringLiteral("Messages.csv"), progress.Callback());
          });
  file->addSeparator()->setObjectName(QStringLiteral("mnuFile_Line1"));
  connect(AddAction(file, "mnuFile_Close", QStringLiteral("Close")), &QAction::triggered, this,
          &QWidget::hide);

  QMenu* edit = menuBar()->addMenu(QStringLiteral("Edit"));
  edit->setObjectName(QStringLiteral("mnuView"));
  connect(AddAction(edit, "mnuView_Copy", QStringLiteral("Copy")), &QAction::triggered, this,
          &frmProblems::CopyToClipboard);
  connect(AddAction(edit, "mnuView_Clear", QStringLiteral("Clear")), &QAction::triggered, &model_,
          &MessageLogModel::Clear);

  QMenu* options = menuBar()->addMenu(QStringLiteral("Options"));
  options->setObjectName(QStringLiteral("mnuOptions"));
  connect(AddOption(options, "mnuOptions_AutoSelNewest",
                    QStringLiteral("Auto Select Newest Message"), model_.AutoSelectNewest()),
          &QAction::toggled, &model_, &MessageLogModel::SetAutoSelectNewest);
  connect(AddOption(options, "mnuOptions_CollectNewMsgs",
                    QStringLiteral("Collect and Show New Messages"), model_.CollectNewMessages()),
          &QAction::toggled, &model_, &MessageLogModel::SetCollectNewMessages);
  options->addSeparator()->setObjectName(QStringLiteral("mnuOptions_Line1"));
  showTrace_ =
      AddOption(options, "mnuOptions_ShowTraceMsgs",
                QStringLiteral("Collect and Display Trace Messages"), model_.ShowTraceMessages());
  connect(showTrace_, &QAction::toggled, &model_, &MessageLogModel::SetShowTraceMessages);
  options->addSeparator()->setObjectName(QStringLiteral("mnuOptions_Line2"));
  monospace_ = AddOption(options, "mnuOptions_UseMonospaceFont",
                         QStringLiteral("Use &Monospace Font"), model_.UseMonospaceFont());
  // The click handler is the one place that applies fonts; the property goes through it too.
  connect(monospace_, &QAction::triggered, this, &frmProblems::ApplyFont);
}

QAction* frmProblems::Action(const char* name) const {
  return findChild<QAction*>(QLatin1String(name));
}

bool frmProblems::UseMonospaceFont() const { return monospace_->isChecked(); }

void frmProblems::SetUseMonospaceFont(bool on) {
  monospace_->setChecked(!on);
  monospace_->trigger();
}

bool frmProblems::ShowTraceMessages() const { return showTrace_->isChecked(); }

void frmProblems::SetShowTraceMessages(bool on) { showTrace_->setChecked(on); }

void frmProblems::ApplyFont() {
  const bool monospace = monospace_->isChecked();
  model_.SetUseMonospaceFont(monospace);
  QFont font(monospace ? QStringLiteral("Courier New") : QStringLiteral("MS Sans Serif"),
             monospace ? 9 : 8);
  // Where the named face is missing, stay in the same family of faces.
  font.setStyleHint(monospace ? QFont::TypeWriter : QFont::SansSerif);
  lsvProblems_->setFont(font);
}

void frmProblems::SelectRow(int row) {
  const QModelIndex index = model_.index(row, 0);
  if (!index.isValid()) {
    return;
  }
  lsvProblems_->selectionModel()->setCurrentIndex(
      index, QItemSelectionModel::ClearAndSelect | QItemSelectionModel::Rows);
  lsvProblems_->scrollTo(index);
}

void frmProblems::ScheduleColumnResize() {
  // One resize per burst of rows, after the burst.
  if (resizePending_) {
    return;
  }
  resizePending_ = true;
  QTimer::singleShot(0, this, [this] {
    resizePending_ = false;
    ResizeColumns();
  });
}

void frmProblems::ResizeColumns() {
  if (model_.rowCount() == 0) {
    return;
  }
  // The timestamp column fits its text once rows exist (never narrower than its title); the
  // message column follows its widest line.
  AutoSizeColumn(lsvProblems_, 0, AutoSizeUseHeader);
  AutoSizeColumn(lsvProblems_, 1, AutoSizeToContents);
}

void frmProblems::showEvent(QShowEvent* event) {
  QMainWindow::showEvent(event);
  // Rows collected while the window was hidden: on opening, the selected row (the newest one
  // while "Auto Select Newest Message" is checked) is selected and in view.
  QTimer::singleShot(0, this, [this] {
    ResizeColumns();
    int row = model_.SelectedRow();
    if (row < 0 && model_.rowCount() > 0) {
      row = model_.rowCount() - 1;
    }
    SelectRow(row);
  });
}

void frmProblems::closeEvent(QCloseEvent* event) {
  // The close box only hides the window; the log goes on. Closes at program end proceed.
  if (!closeAllowed_) {
    event->ignore();
    hide();
    return;
  }
  QMainWindow::closeEvent(event);
}

void frmProblems::CopyToClipboard() {
  QClipboard* clipboard = QGuiApplication::clipboard();
  clipboard->clear();
  clipboard->setText(model_.LogText(true));
}

QString frmProblems::DefaultSaveFileName() const {
  return QDir::toNativeSeparators(
      QCoreApplication::applicationDirPath() + QStringLiteral("/MessageLog ") +
      QDateTime::currentDateTime().toString(QStringLiteral("yyyy-MM-dd HH.mm")) +
      QStringLiteral(".txt"));
}

void frmProblems::SaveToFile() {
  try {
    const QString text = model_.LogText(true);
    const std::optional<QString> path = AskSaveFileName();
    if (!path) {
      return;
    }
    WaitCursor wait;
    WriteFile(*path, text + QStringLiteral("\r\n"));
  } catch (...) {
    const ErrorInfo info = CurrentErrorInfo();
    prompter_.Show(QStringLiteral("Error %1, %2").arg(info.number).arg(info.description),
                   programTitle_, PromptIcon::Exclamation);
  }
}

std::optional<QString> frmProblems::AskSaveFileName() {
  FileDialogRequest request;
  request.title = QStringLiteral("Save As");
  request.initialFileName = DefaultSaveFileName();
  request.defaultExtension = QStringLiteral(".txt");
  request.filter = QStringLiteral("Text Files (*.txt)|*.txt|All Files (*.*)|*.*");
  request.promptOverwrite = true;
  for (;;) {
    std::optional<QString> path = prompter_.SaveFileName(request);
    if (!path || !IsReadOnlyFile(*path)) {
      return path;
    }
    // A read-only file is refused and left as it is; the dialog opens again on its name.
    prompter_.Show(QStringLiteral("The file '%1' is read-only and was left as it is. Choose "
                                  "another file name.")
                       .arg(QDir::toNativeSeparators(*path)),
                   QStringLiteral("Save As"), PromptIcon::Exclamation);
    request.initialFileName = *path;
  }
}

void frmProblems::PrintLog() {
  QString tempPath;
  try {
    // Without a printer the printout is a PDF file, named in full so that it can be found.
    const QString pdfPath = PdfFallbackPath(QStringLiteral("Messages"), pdfFolder_);
    QString text = QStringLiteral("Messages will be printed to '$printername$'.");
    text.replace(QStringLiteral("$printername$"), PrintDestinationName(pdfPath));
    if (prompter_.Ask(PromptQuestion{text, programTitle_, PromptIcon::Information,
                                     PromptButtons::OkCancel, std::nullopt}) != PromptAnswer::Ok) {
      return;
    }
    QString error;
    tempPath =
        WindowUtilities::TemporaryFileName(QStringLiteral("mp"), QStringLiteral("txt"), &error);
    if (tempPath.isEmpty()) {
      throw TelmonError(FileErrorNumber, error);
    }
    WriteFile(tempPath, model_.PrintText(windowTitle(), QDateTime::currentDateTime()));
    const PrintOutcome outcome = PrintTextFile(tempPath, this, pdfPath);
    QFile::remove(tempPath);
    if (!outcome.ok) {
      throw TelmonError(PrinterErrorNumber, outcome.error);
    }
  } catch (...) {
    if (!tempPath.isEmpty()) {
      QFile::remove(tempPath);
    }
    const ErrorInfo info = CurrentErrorInfo();
    prompter_.Show(QStringLiteral("%1: %2").arg(info.number).arg(info.description), programTitle_,
                   PromptIcon::Exclamation);
  }
}

}  // namespace telmon
