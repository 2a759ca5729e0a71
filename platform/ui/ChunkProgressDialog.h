#pragma once

// The progress of work the window's thread does a chunk at a time (reading a large journal,
// exporting a large list or trend): a bar with a count and a Cancel button, shown only when the
// work lasts longer than half a second. Between chunks the window runs on: timers, the link and
// painting; the operator's input waits until the bar is shown, then goes only to it.

#include "util/CsvFile.h"

#include <QPointer>
#include <QString>

#include <cstddef>

class QProgressDialog;
class QWidget;

namespace telmon {

class ChunkProgressDialog final {
 public:
  // `what` leads the count: "Exporting rows" makes "Exporting rows: 1,000 of 20,000".
  ChunkProgressDialog(QWidget* owner, QString what);
  ~ChunkProgressDialog();
  ChunkProgressDialog(const ChunkProgressDialog&) = delete;
  ChunkProgressDialog& operator=(const ChunkProgressDialog&) = delete;

  // For the work, valid while this lives: moves the bar and lets the window run; false once
  // Cancel was pressed.
  ProgressFn Callback();
  bool Cancelled() const { return cancelled_; }

  static QString LabelText(const QString& what, std::size_t done, std::size_t total);
  // How long work runs before the bar shows.
  static constexpr int ShowAfterMs = 500;

 private:
  bool Step(std::size_t done, std::size_t total);

  QWidget* owner_;
  QString what_;
  QPointer<QProgressDialog> dialog_;
  bool cancelled_ = false;
};

}  // namespace telmon
