#pragma once

// Saves a PNG image of every page of the main window and of the messages window into a
// folder, then closes the program: how the pictures in docs/screenshots are made. With
// TELMON_SCREENSHOT_SCREEN set, the whole screen is saved too ("screen.png"), to check where
// the window stands on it.

#include <QObject>
#include <QString>

namespace telmon {

class frmMain;

class ScreenshotTour : public QObject {
  Q_OBJECT

 public:
  // Starts after `settleMs`, so that the I/O server's first events have arrived.
  ScreenshotTour(frmMain& window, QString folder, int settleMs, QObject* parent = nullptr);

 private:
  void Shoot();
  void ShootWatchDialogs();
  void ShootValueDialogs();
  void ShootJournalWindows();
  void ShootListTools();
  void ShootTrends();
  // The alarm statistics window and the alarms panel (ScreenshotTourAlarms.cpp).
  void ShootAlarms();
  bool Save(QWidget* widget, const QString& name);

  frmMain& window_;
  QString folder_;
};

}  // namespace telmon
