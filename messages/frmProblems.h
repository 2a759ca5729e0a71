#pragma once

// The messages window: the program's running log in a two-column list, with Print, Save,
// Copy, Clear and four display options. Created once and kept for the program's life;
// closing it by its close box only hides it. Rows are kept (and trimmed) by the log model
// whether the window is shown or not.

#include "messages/MessageLogModel.h"

#include <QMainWindow>

#include <cstdint>
#include <optional>

class QAction;
class QTreeView;

namespace telmon {

class Prompter;

class frmProblems : public QMainWindow {
  Q_OBJECT

 public:
  frmProblems(MessageLogModel& model, Prompter& prompter, const QString& programTitle,
              QWidget* parent = nullptr);

  std::int32_t EntryCount() const { return model_.EntryCount(); }
  void AddEntry(const QString& column1, const QString& text, ColorRef colour) {
    model_.AddEntry(column1, text, colour);
  }
  void AddProblemDivider(const QString& text) { model_.AddProblemDivider(text); }
  void AddMsg(std::int32_t msgType, const QString& text) { model_.AddMsg(msgType, text); }
  void AddProblemEntry(const QDateTime& time, const QString& text, ColorRef colour) {
    model_.AddProblemEntry(time, text, colour);
  }
  void AddProblemEntryArray(const QDateTime& time, const QVariant& value) {
    model_.AddProblemEntryArray(time, value);
  }
  bool UseMonospaceFont() const;
  void SetUseMonospaceFont(bool on);
  bool ShowTraceMessages() const;
  void SetShowTraceMessages(bool on);
  QString Column1Title() const { return model_.Column1Title(); }
  void SetColumn1Title(const QString& title) { model_.SetColumn1Title(title); }
  QString Column2Title() const { return model_.Column2Title(); }
  void SetColumn2Title(const QString& title) { model_.SetColumn2Title(title); }

  // The menu actions, for the main window's tests and shortcuts.
  QAction* Action(const char* name) const;
  QTreeView* List() const { return lsvProblems_; }
  // Until this is called (at program end) closing only hides the window.
  void AllowClose() { closeAllowed_ = true; }
  // The default file name the Save dialog offers.
  QString DefaultSaveFileName() const;
  // Where a printout goes as a PDF file when there is no printer (empty: documents folder).
  void SetPdfFolder(const QString& folder) { pdfFolder_ = folder; }

 protected:
  void closeEvent(QCloseEvent* event) override;
  void showEvent(QShowEvent* event) override;

 private:
  void BuildMenus();
  QAction* AddAction(QMenu* menu, const char* name, const QString& caption);
  QAction* AddOption(QMenu* menu, const char* name, const QString& caption, bool checked);
  void PrintLog();
  void SaveToFile();
  void CopyToClipboard();
  void ApplyFont();
  void SelectRow(int row);
  void ScheduleColumnResize();
  void ResizeColumns();
  // The file the operator chose in the Save As dialog, asked again while a read-only file is
  // chosen; empty when the dialog is cancelled.
  std::optional<QString> AskSaveFileName();

  MessageLogModel& model_;
  Prompter& prompter_;
  QString programTitle_;
  QString pdfFolder_;
  QTreeView* lsvProblems_;
  QAction* monospace_ = nullptr;
  QAction* showTrace_ = nullptr;
  bool resizePending_ = false;
  bool closeAllowed_ = false;
};

}  // namespace telmon
