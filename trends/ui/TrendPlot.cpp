#include "trends/ui/TrendPlot.h"

#include "trends/TrendExport.h"
#include "util/Value.h"

#include <cmath>
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

}  // namespace

TrendPlot::TrendPlot(const TrendRecorder& recorder, QWidget* parent)
    : QCustomPlot(parent), recorder_(recorder), cursor_(new QCPItemStraightLine(this)) {
  auto ticker = QSharedPointer<QCPAxisTickerDateTime>::create();
  ticker->setDateTimeFormat(QStringLiteral("hh:mm:ss"));
  xAxis->setTicker(ticker);
  xAxis->setLabel(tr("Time"));
  legend->setVisible(true);
  legend->setSelectableParts(QCPLegend::spItems);
  setInteractions(QCP::iRangeDrag | QCP::iRangeZoom);
  cursor_->setPen(QPen(Qt::darkGray, 1, Qt::DashLine));
  cursor_->setVisible(false);
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
  int index = 0;
  for (const TrendRecorder::Series* series : all) {
    Line& line = LineFor(*series, index++);
    line.graph->setName(series->Name());
    Load(*series, line);
    kept.insert(series->Key());
  }
  std::vector<QString> gone;
  for (const auto& [key, line] : lines_) {
    if (kept.count(key) == 0) {
      gone.push_back(key);
    }
  }
  for (const QString& key : gone) {
    DropLine(key);
  }
  if (following_) {
    FollowLatest();
  }
  replot(QCustomPlot::rpQueuedReplot);
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
  line.graph->setPen(QPen(LineColour(index), 1));  // thin lines take the fast path
  line.graph->setAdaptiveSampling(true);
  line.generation = recorder_.Generation();
  UpdateZoomAxes();
  return line;
}

void TrendPlot::Load(const TrendRecorder::Series& series, Line& line) {
  if (line.generation != recorder_.Generation()) {
    line.graph->data()->clear();
    line.nextTick = 0;
    line.generation = recorder_.Generation();
  }
  std::vector<TrendRecorder::Point> points;
  line.nextTick = recorder_.AppendPoints(series, line.nextTick, points);
  QVector<QCPGraphData> data;
  data.reserve(static_cast<qsizetype>(points.size()));
  for (const TrendRecorder::Point& point : points) {
    data.push_back(QCPGraphData(point.time, point.value));
  }
  line.graph->data()->add(data, true);
  if (recorder_.EndTick() > recorder_.FirstTick()) {
    line.graph->data()->removeBefore(recorder_.TimeAt(recorder_.FirstTick()));
  }
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

void TrendPlot::FollowLatest() {
  if (recorder_.EndTick() == recorder_.FirstTick()) {
    return;
  }
  const double latest = recorder_.TimeAt(recorder_.EndTick() - 1);
  xAxis->setRange(latest - span_, latest + span_ / 50);
  FitValues();
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
    const double first = recorder_.TimeAt(recorder_.FirstTick());
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
    auto it = data->findBegin(time, false);
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
  replot(QCustomPlot::rpQueuedReplot);
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
