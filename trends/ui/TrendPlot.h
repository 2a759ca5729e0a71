#pragma once

// The trend plot: one line per recorded channel, time along the bottom. New points are added
// to each line as they are recorded (the whole line is loaded again only after the clock was
// put back), so a tick costs in proportion to what it added, not to the history kept.
// A click on a legend entry hides or shows its line; the wheel zooms and a drag pans; the
// cursor line reads every shown line's value at the time under the mouse.

#include "trends/TrendRecorder.h"

#include "trends/ui/QCustomPlotHeader.h"

#include <QString>

#include <cstdint>
#include <unordered_map>

namespace telmon {

class TrendPlot : public QCustomPlot {
  Q_OBJECT

 public:
  explicit TrendPlot(const TrendRecorder& recorder, QWidget* parent = nullptr);

  // Takes what was recorded since the last call, drops the lines of channels no longer
  // watched and, when following, shows the latest span of time.
  void Sync();
  void SetFollowing(bool following);
  bool Following() const { return following_; }
  // Each line on a value scale of its own, or all on the one scale at the left.
  void SetOwnScales(bool own);
  bool OwnScales() const { return ownScales_; }
  // Fits the time and value scales to everything kept.
  void ShowAll();
  void FitValues();
  // The channels whose lines are shown, in the watch list's order.
  std::vector<const TrendRecorder::Series*> ShownSeries() const;
  QCPGraph* Graph(const QString& key) const;
  // What the cursor reads at a time: the time, then "name: value" for each shown line.
  QString ReadingAt(double time) const;

 Q_SIGNALS:
  void Reading(const QString& text);
  // The operator zoomed or panned: the view no longer follows the latest points.
  void ViewMovedByHand();

 protected:
  void mouseMoveEvent(QMouseEvent* event) override;
  void mousePressEvent(QMouseEvent* event) override;
  void wheelEvent(QWheelEvent* event) override;

 private:
  struct Line {
    QCPGraph* graph = nullptr;
    QCPAxis* axis = nullptr;  // its own value scale
    std::uint64_t nextTick = 0;
    std::uint64_t generation = 0;
  };
  Line& LineFor(const TrendRecorder::Series& series, int index);
  void Load(const TrendRecorder::Series& series, Line& line);
  void DropLine(const QString& key);
  void OnLegendClick(QCPLegend* legend, QCPAbstractLegendItem* item, QMouseEvent* event);
  void UpdateZoomAxes();
  void FollowLatest();

  const TrendRecorder& recorder_;
  std::unordered_map<QString, Line> lines_;
  QCPItemStraightLine* cursor_;
  bool following_ = true;
  bool ownScales_ = false;
  double span_ = 600.0;  // seconds shown while following
};

}  // namespace telmon
