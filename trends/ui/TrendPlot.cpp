#include "trends/ui/TrendPlot.h"

#include "trends/TrendExport.h"
#include "util/Value.h"

#include <cmath>
#include <memory>
#include <unordered_set>

namespace telmon {

namespace {

// Colours far apart from one line to the next (golden-ratio steps round the hue circle).
QColor LineColour(int index) {
  constexpr double GoldenStep = 0.618033988749895;
  const double hue = std::fmod(0.6 + index * GoldenStep, 1.0);
  return QColor::fromHsvF(static_cast<float>(hue), 0.85F, index % 2 == 0 ? 0.8F : 0.6F);
}

QCPRange WithMargin(const QCPRange& range) {
  const double margin = range.size() > 0 ? range.size() * 0.05 : 1.0;
  return {range.lower - margin, range.upper + margin};
}

void SetLegendShown(QCPAbstractLegendItem* item, bool shown) {
  item->setTextColor(shown ? Qt::black : Qt::gray);
}

// The lines have a layer and a picture of their own, above the grid and below the scales.
QCPLayer* AddLinesLayer(QCustomPlot& plot) {
  plot.addLayer(QStringLiteral("lines"), plot.layer(QStringLiteral("main")), QCustomPlot::limAbove);
  QCPLayer* lines = plot.layer(QStringLiteral("lines"));
  lines->setMode(QCPLayer::lmBuffered);
  return lines;
}

}  // namespace

TrendPlot::TrendPlot(const TrendRecorder& recorder, QWidget* parent)
    : QCustomPlot(parent),
      recorder_(recorder),
      linesLayer_(AddLinesLayer(*this)),
      cursor_(new QCPItemStraightLine(this)) {
  auto ticker = QSharedPointer<QCPAxisTickerDateTime>::create();
  ticker->setDateTimeFormat(QStringLiteral("hh:mm:ss"));
  xAxis->setTicker(ticker);
  xAxis->setLabel(tr("Time"));
  legend->setVisible(true);
  legend->setSelectableParts(QCPLegend::spItems);
  setInteractions(QCP::iRangeDrag | QCP::iRangeZoom);
  cursor_->setPen(QPen(Qt::darkGray, 1, Qt::DashLine));
  cursor_->setVisible(false);
  // The cursor moves with the mouse: only its own layer is drawn again then.
  cursor_->setLayer(QStringLiteral("overlay"));
  connect(this, &QCustomPlot::legendClick, this, &TrendPlot::OnLegendClick);
  for (QCPAxis* unused : {xAxis2, yAxis2}) {  // hidden, but they would still work out ticks
    unused->setTicks(false);
    unused->setTickLabels(false);
  }
  setNoAntialiasingOnDrag(true);
  setNotAntialiasedElements(QCP::aePlottables);
  SetOwnScales(false);
}

void TrendPlot::Sync() {
  const std::vector<const TrendRecorder::Series*> all = recorder_.AllSeries();
  std::unordered_set<QString> kept;
  std::vector<NewPiece> pieces;
  bool whole = !following_;  // a paused or moved view is drawn whole when asked
  int index = 0;
  for (const TrendRecorder::Series* series : all) {
    whole = whole || lines_.count(series->Key()) == 0;
    Line& line = LineFor(*series, index++);
    if (line.graph->name() != series->Name()) {
      line.graph->setName(series->Name());
      whole = true;
    }
    NewPiece piece;
    whole = !Load(*series, line, piece) || whole;
    if (line.graph->visible() && !piece.points.empty()) {
      pieces.push_back(std::move(piece));
    }
    kept.insert(series->Key());
  }
  std::vector<QString> gone;
  for (const auto& [key, line] : lines_) {
    if (kept.count(key) == 0) {
      gone.push_back(key);
    }
  }
  whole = whole || !gone.empty();
  for (const QString& key : gone) {
    DropLine(key);
  }
  if (following_) {
    whole = FollowLatest(pieces) || whole;
  }
  if (whole || !DrawInPlace(pieces)) {
    ++drawnWhole_;
    replot(QCustomPlot::rpQueuedReplot);
  } else {
    ++drawnInPlace_;
  }
}

TrendPlot::Line& TrendPlot::LineFor(const TrendRecorder::Series& series, int index) {
  Line& line = lines_[series.Key()];
  if (line.graph != nullptr) {
    return line;
  }
  line.axis = axisRect()->addAxis(QCPAxis::atRight);
  // The line's own scale is never drawn (the shared scale's numbers are hidden instead), so
  // it need not work out ticks and their labels at every replot either.
  line.axis->setVisible(false);
  line.axis->setTicks(false);
  line.axis->setTickLabels(false);
  line.graph = addGraph(xAxis, ownScales_ ? line.axis : yAxis);
  line.graph->setLayer(linesLayer_);
  line.graph->setPen(QPen(LineColour(index), 1));  // thin lines take the fast path
  line.graph->setAdaptiveSampling(true);
  line.generation = recorder_.Generation();
  UpdateZoomAxes();
  return line;
}

bool TrendPlot::Load(const TrendRecorder::Series& series, Line& line, NewPiece& piece) {
  const bool anew = line.generation != recorder_.Generation();
  if (anew) {
    line.graph->data()->clear();
    line.nextTick = 0;
    line.generation = recorder_.Generation();
  }
  piece.graph = line.graph;
  const auto data = line.graph->data();
  if (!data->isEmpty()) {
    const QCPGraphData& last = *(data->constEnd() - 1);
    piece.points.push_back({last.key, last.value});
  }
  std::vector<TrendRecorder::Point> points;
  line.nextTick = recorder_.AppendPoints(series, line.nextTick, points);
  QVector<QCPGraphData> added;
  added.reserve(static_cast<qsizetype>(points.size()));
  for (const TrendRecorder::Point& point : points) {
    added.push_back(QCPGraphData(point.time, point.value));
  }
  data->add(added, true);
  if (recorder_.EndTick() > recorder_.FirstTick()) {
    data->removeBefore(recorder_.FirstTime());
  }
  if (points.empty()) {
    piece.points.clear();
  } else {
    piece.points.insert(piece.points.end(), points.begin(), points.end());
  }
  return !anew;
}

void TrendPlot::DropLine(const QString& key) {
  const auto it = lines_.find(key);
  if (it == lines_.end()) {
    return;
  }
  removeGraph(it->second.graph);
  axisRect()->removeAxis(it->second.axis);
  lines_.erase(it);
  UpdateZoomAxes();
}

void TrendPlot::SetFollowing(bool following) {
  following_ = following;
  if (following_) {
    Sync();
  } else {
    followedRange_.reset();
  }
}

void TrendPlot::SetOwnScales(bool own) {
  ownScales_ = own;
  for (auto& [key, line] : lines_) {
    line.graph->setValueAxis(own ? line.axis : yAxis);
  }
  yAxis->setTickLabels(!own);
  yAxis->setLabel(own ? tr("Each channel on its own scale") : QString());
  UpdateZoomAxes();
  FitValues();
  replot();
}

void TrendPlot::UpdateZoomAxes() {
  QList<QCPAxis*> values{yAxis};
  if (ownScales_) {
    for (const auto& [key, line] : lines_) {
      values.push_back(line.axis);
    }
  }
  axisRect()->setRangeZoomAxes({xAxis}, values);
  axisRect()->setRangeDragAxes({xAxis}, values);
}

// The time scale shows the last span of time with a quarter of it to spare on the right, and
// stands still until the newest point comes within a fiftieth of the span of its right end (or
// was put back before the span it shows): it then moves on.
bool TrendPlot::FollowLatest(const std::vector<NewPiece>& pieces) {
  if (recorder_.EndTick() == recorder_.FirstTick()) {
    return false;
  }
  const double latest = recorder_.TimeAt(recorder_.EndTick() - 1);
  const QCPRange shown = xAxis->range();
  const bool standing = followedRange_ && *followedRange_ == shown &&
                        latest >= shown.lower + span_ && latest <= shown.upper - span_ / 50;
  if (!standing) {
    xAxis->setRange(latest - span_, latest + Lead());
    followedRange_ = xAxis->range();
    FitValues();
    return true;
  }
  for (const NewPiece& piece : pieces) {
    const QCPRange values = piece.graph->valueAxis()->range();
    for (const TrendRecorder::Point& point : piece.points) {
      if (!std::isnan(point.value) && !values.contains(point.value)) {
        FitValues();
        return true;
      }
    }
  }
  return false;
}

// QCustomPlot hands out its pictures in layer order: logical layers draw into the picture of
// the layers below them, a buffered layer has one of its own, and a logical layer after a
// buffered one starts the next.
QCPAbstractPaintBuffer* TrendPlot::LinesBuffer() const {
  int index = 0;
  for (int i = 0; i < layerCount(); ++i) {
    const QCPLayer* current = layer(i);
    if (current->mode() != QCPLayer::lmBuffered) {
      continue;
    }
    ++index;
    if (current == linesLayer_) {
      return index < mPaintBuffers.size() ? mPaintBuffers.at(index).data() : nullptr;
    }
    if (i + 1 < layerCount() && layer(i + 1)->mode() == QCPLayer::lmLogical) {
      ++index;
    }
  }
  return nullptr;
}

bool TrendPlot::DrawInPlace(const std::vector<NewPiece>& pieces) {
  QCPAbstractPaintBuffer* buffer =
      mReplotQueued || hasInvalidatedPaintBuffers() ? nullptr : LinesBuffer();
  if (buffer == nullptr || buffer->size() != viewport().size()) {
    return false;
  }
  const std::unique_ptr<QCPPainter> painter(buffer->startPainting());
  if (painter == nullptr || !painter->isActive()) {
    return false;
  }
  const QRect plotArea = axisRect()->rect();
  painter->setClipRect(plotArea);
  painter->setAntialiasing(false);
  QRectF strip;
  QPolygonF run;
  // Drawn as the lines themselves are: a polyline for each run of points between gaps.
  auto drawRun = [&] {
    if (run.size() > 1) {
      painter->drawPolyline(run);
      strip |= run.boundingRect().adjusted(-2, -2, 2, 2);
    }
    run.clear();
  };
  for (const NewPiece& piece : pieces) {
    painter->setPen(piece.graph->pen());
    const QCPAxis* keys = piece.graph->keyAxis();
    const QCPAxis* values = piece.graph->valueAxis();
    for (const TrendRecorder::Point& point : piece.points) {
      if (std::isnan(point.value)) {
        drawRun();
      } else {
        run << QPointF(keys->coordToPixel(point.time), values->coordToPixel(point.value));
      }
    }
    drawRun();
  }
  buffer->donePainting();
  if (!strip.isEmpty()) {
    update(strip.toAlignedRect() & plotArea);
  }
  return true;
}

// Each scale spans the values shown on it with a twentieth of their spread to spare, or one
// either side of a flat line. Hidden lines do not count, and their scales are left as they are.
void TrendPlot::FitValues() {
  QCPRange shared;
  bool sharedFound = false;
  for (const auto& [key, line] : lines_) {
    if (!line.graph->visible() || line.graph->dataCount() == 0) {
      continue;
    }
    bool found = false;
    const QCPRange range = line.graph->getValueRange(found, QCP::sdBoth, xAxis->range());
    if (!found) {
      continue;
    }
    if (ownScales_) {
      line.axis->setRange(WithMargin(range));
    } else if (sharedFound) {
      shared.expand(range);
    } else {
      shared = range;
      sharedFound = true;
    }
  }
  if (sharedFound) {
    yAxis->setRange(WithMargin(shared));
  }
}

void TrendPlot::ShowAll() {
  if (recorder_.EndTick() > recorder_.FirstTick()) {
    const double first = recorder_.FirstTime();
    const double last = recorder_.TimeAt(recorder_.EndTick() - 1);
    xAxis->setRange(first, std::max(last, first + 1.0));
  }
  FitValues();
  replot();
}

std::vector<const TrendRecorder::Series*> TrendPlot::ShownSeries() const {
  std::vector<const TrendRecorder::Series*> shown;
  for (const TrendRecorder::Series* series : recorder_.AllSeries()) {
    const QCPGraph* graph = Graph(series->Key());
    if (graph != nullptr && graph->visible()) {
      shown.push_back(series);
    }
  }
  return shown;
}

QCPGraph* TrendPlot::Graph(const QString& key) const {
  const auto it = lines_.find(key);
  return it == lines_.end() ? nullptr : it->second.graph;
}

QString TrendPlot::ReadingAt(double time) const {
  QString text = TrendTimeText(time);
  for (const TrendRecorder::Series* series : ShownSeries()) {
    const QCPGraph* graph = Graph(series->Key());
    const auto data = graph->data();
    auto it = data->findBegin(time, true);  // the last point before, weighed against the next
    if (it == data->constEnd()) {
      continue;
    }
    const auto next = it + 1;
    if (next != data->constEnd() && std::abs(next->key - time) < std::abs(it->key - time)) {
      it = next;
    }
    const QString value = std::isnan(it->value) ? QStringLiteral("-") : Value(it->value).ToText();
    text += QStringLiteral("   ") + series->Name() + QStringLiteral(" = ") + value;
  }
  return text;
}

void TrendPlot::mouseMoveEvent(QMouseEvent* event) {
  const double time = xAxis->pixelToCoord(event->position().x());
  cursor_->point1->setCoords(time, 0);
  cursor_->point2->setCoords(time, 1);
  cursor_->setVisible(true);
  Q_EMIT Reading(ReadingAt(time));
  QCustomPlot::mouseMoveEvent(event);
  cursor_->layer()->replot();
}

void TrendPlot::mousePressEvent(QMouseEvent* event) {
  if (axisRect()->rect().contains(event->position().toPoint()) &&
      legend->selectTest(event->position(), false) < 0) {
    Q_EMIT ViewMovedByHand();
  }
  QCustomPlot::mousePressEvent(event);
}

void TrendPlot::wheelEvent(QWheelEvent* event) {
  Q_EMIT ViewMovedByHand();
  QCustomPlot::wheelEvent(event);
}

void TrendPlot::OnLegendClick(QCPLegend* /*legend*/, QCPAbstractLegendItem* item,
                              QMouseEvent* /*event*/) {
  auto* entry = qobject_cast<QCPPlottableLegendItem*>(item);
  if (entry == nullptr) {
    return;
  }
  QCPAbstractPlottable* plottable = entry->plottable();
  plottable->setVisible(!plottable->visible());
  SetLegendShown(entry, plottable->visible());
  replot();
}

}  // namespace telmon
