#pragma once

// The window utilities that need widgets: printing a text file or an image of a window,
// sizing a list column to its contents, and the about and support boxes.
//
// Printing goes to the default printer. A computer without one gets a PDF file instead, in the
// user's documents folder unless the caller names the file; the outcome names where the output
// went, so the caller can tell the operator the file's full path.

#include <QString>

class QTreeView;
class QWidget;

namespace telmon {

struct PrintOutcome {
  bool ok = false;
  QString destination;  // printer name or PDF file path
  bool pdf = false;     // true when there was no printer and the output is the PDF file
  QString error;
};

// The default printer's name; empty when the computer has none.
QString DefaultPrinterName();
// The PDF file a printout named `baseName` goes to when there is no printer: `folder` (empty:
// the documents folder) + baseName + " yyyy-MM-dd HH.mm.ss.pdf", in native separators.
QString PdfFallbackPath(const QString& baseName, const QString& folder = QString());
// What a printout goes to, for texts such as "will be printed to '...'": the default printer's
// name, or the full path of the PDF file `pdfPath` when there is no printer.
QString PrintDestinationName(const QString& pdfPath);

// `pdfPath` is the PDF file used when there is no printer (empty: PdfFallbackPath of the text
// file's name).
PrintOutcome PrintTextFile(const QString& path, QWidget* owner, const QString& pdfPath = QString());
// `pdfFolder` overrides where the PDF goes when there is no printer (empty: documents folder).
PrintOutcome PrintWindowImage(QWidget* window, const QString& pdfFolder = QString());

// Column sizing modes: to the widest cell, or to the wider of the cells and the title.
inline constexpr int AutoSizeToContents = -1;
inline constexpr int AutoSizeUseHeader = -2;
// Any other mode is a width in pixels.
void AutoSizeColumn(QTreeView* view, int column, int mode = AutoSizeToContents);

void ShowAboutBox(QWidget* parent, const QString& programTitle);
void ShowSupportBox(QWidget* parent, const QString& programTitle);

}  // namespace telmon
