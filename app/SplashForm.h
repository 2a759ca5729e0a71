#pragma once

// The small start-up form: program name, progress text, progress bar and a Cancel button.

#include "session/StartupSequence.h"

#include <QElapsedTimer>
#include <QWidget>

class QLabel;
class QProgressBar;
class QPushButton;

namespace telmon {

class SplashForm : public QWidget, public IStartupProgress {
  Q_OBJECT

 public:
  explicit SplashForm(QWidget* parent = nullptr);

  void Setup(const QString& programName);
  void SetProgressText(const QString& text) override;
  void SetProgressValue(int value) override;
  void SetProgressRange(int min, int max);
  void SetProgressVisible(bool visible);
  void SetAllowCancel(bool allow);
  bool Cancelled() const { return cancelled_; }
  // Closes the form once it has been visible for at least `minimumMs`.
  void UnloadWhenReady(int minimumMs = 2000);
  QString ProgressText() const;
  int ProgressValue() const;

 private:
  void Repaint();

  QLabel* programName_;
  QLabel* progressText_;
  QProgressBar* progress_;
  QPushButton* cancel_;
  QElapsedTimer shown_;
  bool cancelled_ = false;
};

}  // namespace telmon
