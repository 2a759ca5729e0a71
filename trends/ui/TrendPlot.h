#pragma once

// The trend plot: one line per recorded channel, time along the bottom. New points are added
// to each line as they are recorded (the whole line is loaded again only after the clock was
// put back), so a tick costs in proportion to what it added, not to the history kept.
//
// While it follows the newest points the plot is a strip chart: the time scale stands still
// with room to spare on the right, and a tick draws only its new pieces of line onto the picture
// kept of the lines and shows that strip again. The whole plot is drawn anew only when the
// newest points reach the right end (the scale then moves on by the room to spare), when a new
// value falls outside its scale, or when anything else about the plot changed.
// A click on a legend entry hides or shows its line; the wheel zooms and a drag pans; the
// cursor line reads every shown line's value at the time under the mouse.

#include "trends/TrendRecorder.h"

#include "trends/ui/QCustomPlotHeader.h"

#include <QString>

#include <cstdint>
#include <optional>
#include <unordered_map>
#include <vector>

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
  // While following: the span of time shown at least, and the room to spare after it.
  double Span() const { return span_; }
  double Lead() const { return span_ * LeadFraction; }
  // How many ticks were drawn in place and how many needed the whole plot drawn anew.
  int TicksDrawnInPlace() const { return drawnInPlace_; }
  int TicksDrawnWhole() const { return drawnWhole_; }

  static constexpr double LeadFraction = 0.25;

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
  // The points a tick added to a line, after the last point the line had before them.
  struct NewPiece {
    QCPGraph* graph = nullptr;
    std::vector<TrendRecorder::Point> points;
  };
  Line& LineFor(const TrendRecorder::Series& series, int index);
  // Adds what was recorded since the last call; false when the line had to be loaded anew.
  bool Load(const TrendRecorder::Series& series, Line& line, NewPiece& piece);
  void DropLine(const QString& key);
  void OnLegendClick(QCPLegend* legend, QCPAbstractLegendItem* item, QMouseEvent* event);
  void UpdateZoomAxes();
  // Moves the time scale on when the newest points need it, and fits the value scales when it
  // moved or a new point is off its scale; true when any scale changed.
  bool FollowLatest(const std::vector<NewPiece>& pieces);
  // Draws the new pieces onto the lines' picture and shows the strip they are in again; false
  // when there is no picture to draw onto yet.
  bool DrawInPlace(const std::vector<NewPiece>& pieces);
  QCPAbstractPaintBuffer* LinesBuffer() const;

  const TrendRecorder& recorder_;
  std::unordered_map<QString, Line> lines_;
  QCPLayer* linesLayer_;
  QCPItemStraightLine* cursor_;
  std::optional<QCPRange> followedRange_;  // the time scale as following last set it
  int drawnInPlace_ = 0;
  int drawnWhole_ = 0;
  bool following_ = true;
  bool ownScales_ = false;
  double span_ = 600.0;  // seconds shown while following
};

}  // namespace telmon
