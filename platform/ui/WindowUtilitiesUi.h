#pragma once

// The window utilities that need widgets: printing a text file or an image of a window,
// sizing a list column to its contents, and the about and support boxes.
//
// Printing goes to the default printer. A computer without one gets a PDF file instead: next to
// the text file for a text printout, in the documents folder for a window image. The outcome
// names where the output went, so the caller can tell the operator.

#include <QString>

class QTreeView;
class QWidget;

namespace telmon {

struct PrintOutcome {
  bool ok = false;
  QString destination;  // printer name or PDF file path
  QString error;
};

// The default printer's name; empty when the computer has none.
QString DefaultPrinterName();
// What the next printout goes to, for texts such as "will be printed to '...'".
QString PrintDestinationName();

PrintOutcome PrintTextFile(const QString& path, QWidget* owner);
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
