#pragma once

// "Trends": the live trend of every watched channel. The recorder keeps recording while the
// window is closed or paused; pausing only stops the view from taking new points.

#include "platform/Prompter.h"
#include "trends/TrendRecorder.h"

#include <QMainWindow>

class QAction;
class QLabel;

namespace telmon {

class TrendPlot;

inline constexpr char TrendsCaption[] = "Trends";

class TrendWindow : public QMainWindow {
  Q_OBJECT

 public:
  TrendWindow(TrendRecorder& recorder, Prompter& prompter, QWidget* parent = nullptr);

  TrendPlot* Plot() const { return plot_; }
  QAction* Action(const char* name) const;
  QLabel* CursorReading() const { return reading_; }
  // Says when older points were dropped for the memory budget; hidden until then.
  QLabel* ThinnedNote() const { return thinned_; }

  void SetPaused(bool paused);
  // The shown channels' points inside the shown time range, as a comma-separated file.
  QByteArray VisibleCsv() const;
  void ExportCsv();
  void SavePicture();

 protected:
  void showEvent(QShowEvent* event) override;

 private:
  QAction* AddAction(const char* name, const QString& caption, const QString& toolTip);
  bool Drawn() const { return isVisible() && !isMinimized(); }
  void OnRecorded();
  void OnSeriesRemoved();

  TrendRecorder& recorder_;
  Prompter& prompter_;
  TrendPlot* plot_;
  QLabel* reading_;
  QLabel* thinned_;
  QToolBar* toolbar_;
};

}  // namespace telmon
