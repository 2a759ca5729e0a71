#include "platform/ui/WindowUtilitiesUi.h"

#include "platform/WindowUtilities.h"

#include "TelmonVersion.h"

#include <QApplication>
#include <QClipboard>
#include <QDateTime>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QFontDatabase>
#include <QHeaderView>
#include <QMessageBox>
#include <QPainter>
#include <QPrinter>
#include <QPrinterInfo>
#include <QPushButton>
#include <QStandardPaths>
#include <QSysInfo>
#include <QTextDocument>
#include <QTreeView>

#include <memory>

namespace telmon {

namespace {

// A printer for the default printer, or for a PDF file at `pdfPath` when there is none.
std::unique_ptr<QPrinter> MakePrinter(const QString& pdfPath, PrintOutcome* outcome) {
  const QPrinterInfo info = QPrinterInfo::defaultPrinter();
  if (!info.isNull()) {
    outcome->destination = info.printerName();
    return std::make_unique<QPrinter>(info, QPrinter::HighResolution);
  }
  auto printer = std::make_unique<QPrinter>(QPrinter::HighResolution);
  printer->setOutputFormat(QPrinter::PdfFormat);
  printer->setOutputFileName(pdfPath);
  outcome->destination = pdfPath;
  outcome->pdf = true;
  return printer;
}

QString DocumentsFolder() {
  QString folder = QStandardPaths::writableLocation(QStandardPaths::DocumentsLocation);
  if (folder.isEmpty() || !QDir().mkpath(folder)) {
    return QDir::homePath();
  }
  return folder;
}

}  // namespace

QString DefaultPrinterName() { return QPrinterInfo::defaultPrinter().printerName(); }

QString PdfFallbackPath(const QString& baseName, const QString& folder) {
  const QString name =
      baseName + QLatin1Char(' ') +
      QDateTime::currentDateTime().toString(QStringLiteral("yyyy-MM-dd HH.mm.ss")) +
      QStringLiteral(".pdf");
  return QDir::toNativeSeparators(
      QDir(folder.isEmpty() ? DocumentsFolder() : folder).absoluteFilePath(name));
}

QString PrintDestinationName(const QString& pdfPath) {
  const QString printer = DefaultPrinterName();
  return printer.isEmpty() ? pdfPath : printer;
}

PrintOutcome PrintTextFile(const QString& path, QWidget* /*owner*/, const QString& pdfPath) {
  PrintOutcome outcome;
  QFile file(path);
  if (!file.open(QIODevice::ReadOnly | QIODevice::Text)) {
    outcome.error = QStringLiteral("can't read '%1': %2").arg(path, file.errorString());
    return outcome;
  }
  QTextDocument document;
  document.setDefaultFont(QFontDatabase::systemFont(QFontDatabase::FixedFont));
  document.setPlainText(QString::fromUtf8(file.readAll()));
  const QFileInfo info(path);
  const auto printer =
      MakePrinter(pdfPath.isEmpty() ? PdfFallbackPath(info.completeBaseName()) : pdfPath, &outcome);
  printer->setDocName(info.fileName());
  document.print(printer.get());
  outcome.ok = printer->printerState() != QPrinter::Error;
  if (!outcome.ok) {
    outcome.error = QStringLiteral("printing to '%1' failed").arg(outcome.destination);
  }
  return outcome;
}

PrintOutcome PrintWindowImage(QWidget* window, const QString& pdfFolder) {
  PrintOutcome outcome;
  if (window == nullptr) {
    outcome.error = QStringLiteral("there is no window to print");
    return outcome;
  }
  const QPixmap image = window->grab();
  const auto printer =
      MakePrinter(PdfFallbackPath(QStringLiteral("Print Screen"), pdfFolder), &outcome);
  printer->setPageOrientation(image.width() > image.height() ? QPageLayout::Landscape
                                                             : QPageLayout::Portrait);
  QPainter painter;
  if (!painter.begin(printer.get())) {
    outcome.error = QStringLiteral("can't print to '%1'").arg(outcome.destination);
    return outcome;
  }
  const QRect page = painter.viewport();
  const QSize size = image.size().scaled(page.size(), Qt::KeepAspectRatio);
  painter.drawPixmap(QRect(page.topLeft(), size), image);
  outcome.ok = painter.end();
  return outcome;
}

void AutoSizeColumn(QTreeView* view, int column, int mode) {
  if (view == nullptr || column < 0 || column >= view->header()->count()) {
    return;
  }
  if (mode >= 0) {
    view->setColumnWidth(column, mode);
    return;
  }
  // Public in the base class; the tree view's own version measures the laid-out rows.
  const QAbstractItemView* base = view;
  int width = base->sizeHintForColumn(column);
  if (mode == AutoSizeUseHeader || width <= 0) {
    width = std::max(width, view->header()->sectionSizeHint(column));
  }
  view->setColumnWidth(column, width);
}

void ShowAboutBox(QWidget* parent, const QString& programTitle) {
  QMessageBox::about(parent, QStringLiteral("About ") + programTitle,
                     programTitle + QStringLiteral(" ") + QString::fromLatin1(kVersion) +
                         QStringLiteral("\n\nMonitor of the I/O server of the emissions data "
                                        "acquisition and handling system.\n\nBuilt with Qt ") +
                         QString::fromLatin1(qVersion()) + QLatin1Char('.'));
}

void ShowSupportBox(QWidget* parent, const QString& programTitle) {
  const QString details =
      QStringLiteral("Program: %1 %2\nWindow: %3\nComputer: %4\nSystem: %5\nQt: %6")
          .arg(programTitle, QString::fromLatin1(kVersion),
               parent != nullptr ? parent->windowTitle() : QString(),
               WindowUtilities::LocalComputerName(), QSysInfo::prettyProductName(),
               QString::fromLatin1(qVersion()));
  QMessageBox box(QMessageBox::Information, QStringLiteral("Technical Support"),
                  QStringLiteral("For technical support, call your system administrator and "
                                 "give the details below.\n\n") +
                      details,
                  QMessageBox::Ok, parent);
  QPushButton* copy = box.addButton(QStringLiteral("&Copy Details"), QMessageBox::ActionRole);
  box.exec();
  if (box.clickedButton() == copy) {
    QApplication::clipboard()->setText(details);
  }
}

}  // namespace telmon
