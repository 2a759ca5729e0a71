#pragma once

// The "Bulk Writes" page: the warning, the two mode-code frames over BulkModeCodeWrites, and
// room below them for further tool frames.

#include "watches/BulkModeCodeWrites.h"

#include <QWidget>

class QLineEdit;
class QPushButton;
class QVBoxLayout;

namespace telmon {

class BulkWritesPage : public QWidget {
  Q_OBJECT

 public:
  explicit BulkWritesPage(BulkWriteServices services, QWidget* parent = nullptr);

  // Adds a frame below the mode-code frames (the page's further tools).
  void AddFrame(QWidget* frame);

  BulkModeCodeWrites& Writes() { return writes_; }
  QLineEdit* txtWriteToAllMCChannels() const { return txtAll_; }
  QLineEdit* txtWriteToAllCemsInfoMCChannels() const { return txtAnalyzer_; }
  // By object name, e.g. "cmdWriteMC1112ToAllCemsInfoMCChannels".
  QPushButton* Button(const QString& name) const;

 private:
  QWidget* AllChannelsFrame();
  QWidget* AnalyzerFrame();
  QPushButton* AddButton(QWidget* frame, const char* name, const QString& caption,
                         void (BulkModeCodeWrites::*action)());
  void SyncBoxes();

  BulkModeCodeWrites writes_;
  QVBoxLayout* frames_ = nullptr;
  QLineEdit* txtAll_ = nullptr;
  QLineEdit* txtAnalyzer_ = nullptr;
};

}  // namespace telmon
