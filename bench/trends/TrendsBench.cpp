// The trend window and the list filter against what the program already pays for.
//   BM_ChannelTick50         one channel tick for 50 watched channels (read, rows, recording)
//   BM_TrendReplotAfterTick  one recorded tick and what the trend window then draws, 50 channels
//                            with 7,200 points each, the last ten minutes shown (the live view,
//                            a strip chart: most ticks draw only their new pieces of line, and
//                            the whole plot is drawn when the time scale moves on); "vs_tick"
//                            is its time over the tick's, "whole" the share of ticks drawn whole
//   BM_TrendWholeReplotAfterTick
//                            the same, with the whole plot drawn after every tick (the cost the
//                            strip chart saves); "vs_strip" is its time over the strip chart's
//   BM_TrendReplotScalesWithTicks, BM_TrendReplotFastPolylines
//                            the whole replot with one of the plot's settings undone (see
//                            PlotSetup)
//   BM_ChartsRedrawAfterTick the same lines drawn with Qt Charts instead (the other plotting
//                            library the window could use): one point appended to each of 50
//                            line series of 7,200 points, the oldest dropped, the time axis
//                            moved on, the value axis fitted and the view drawn whole into a
//                            picture the size of the trend plot; "vs_tick" as above
//   BM_ListUpdates           ten row updates (a tenth of a second at 100 updates/s) shown on a
//                            10,000-row block list: the baseline of the next one
//   BM_FilterKeystroke       the same updates, then one keystroke in the filter box;
//                            "vs_updates" is its time over the baseline's
// Run in the order above (the ratios use the earlier results of the same run).

#include "bench/support/BenchProgram.h"
#include "bench/support/WatchedSite.h"
#include "platform/testing/ScriptedPrompter.h"
#include "trends/TrendRecorder.h"
#include "trends/ui/TrendPlot.h"
#include "trends/ui/TrendWindow.h"
#include "views/ChannelListviewManager.h"
#include "views/ui/KeyedListView.h"

#include <QApplication>
#include <QChartView>
#include <QDateTimeAxis>
#include <QElapsedTimer>
#include <QImage>
#include <QLineSeries>
#include <QPainter>
#include <QValueAxis>

#include <benchmark/benchmark.h>

#include <algorithm>
#include <cmath>
#include <limits>

namespace telmon {
namespace {

constexpr int Channels = 50;
double tickSeconds = 0;
double stripSeconds = 0;
double updatesSeconds = 0;
QSize plotSize(1180, 600);  // the trend plot's size in its window, taken from the run

void BM_ChannelTick50(benchmark::State& state) {
  bench::WatchedSite w(Channels, true);
  w.Watch(Channels);
  TrendRecorder recorder(w.model);
  w.tick.SetObserver(&recorder);
  QElapsedTimer timer;
  timer.start();
  for (auto _ : state) {
    w.tick.Run();
    QApplication::processEvents();
  }
  tickSeconds = static_cast<double>(timer.nsecsElapsed()) / 1e9 / state.iterations();
}

double SineValue(int channel, int tick) {
  return channel * 10 + 5 * std::sin(tick / 30.0 + channel);
}

CurrentValues SineValues(int tick) {
  CurrentValues values;
  for (int i = 1; i <= Channels; ++i) {
    const QString ioid = QString::number(i) + QLatin1Char('C');
    values.insert(ioid, CurrentValueItem{ioid, QDateTime(), SineValue(i, tick), QString()});
  }
  return values;
}

struct PaintCounter : QObject {
  int count = 0;
  bool eventFilter(QObject* /*watched*/, QEvent* event) override {
    count += event->type() == QEvent::Paint ? 1 : 0;
    return false;
  }
};

// How the trend plot is set up for a run: as the window sets it up, or with one of its choices
// undone to show what that choice is worth.
enum class PlotSetup {
  AsShipped,
  WholeEachTick,    // the whole plot drawn anew after every tick
  ScalesWithTicks,  // the hidden scales (the lines' own, top, right) work out ticks and labels
  FastPolylines,    // QCustomPlot's line-by-line drawing instead of one polyline per line
};

void ReplotAfterTick(benchmark::State& state, PlotSetup setup) {
  KeyedListModel model;
  ChannelListviewManager channels;
  channels.Setup({}, model, 0);
  channels.AddLsvRowsForChannelIDList(bench::WatchedSite::ChannelIds(Channels));
  TrendRecorder recorder(model);
  const QDateTime start = QDateTime::currentDateTime();
  int tick = 0;
  for (; tick < static_cast<int>(DefaultTrendCapacity); ++tick) {
    const CurrentValues values = SineValues(tick);
    recorder.TickRead(start.addSecs(2LL * tick), &values);
  }
  ScriptedPrompter prompter;
  TrendWindow window(recorder, prompter);
  window.resize(1200, 700);
  window.show();
  TrendPlot* plot = window.Plot();
  for (QCPAxis* axis : plot->axisRect()->axes()) {
    if (!axis->visible() && setup == PlotSetup::ScalesWithTicks) {
      axis->setTicks(true);
      axis->setTickLabels(true);
    }
  }
  if (setup == PlotSetup::FastPolylines) {
    plot->setPlottingHints(plot->plottingHints() | QCP::phFastPolylines);
  }
  QApplication::processEvents();
  plotSize = plot->size();
  // The values a channel read would hand over, made before the clock starts: making them is the
  // tick's cost, measured above, not the window's.
  std::vector<CurrentValues> reads;
  reads.reserve(600);
  for (int i = 0; i < 600; ++i) {
    reads.push_back(SineValues(tick + i));
  }
  const int wholeBefore = plot->TicksDrawnWhole();
  PaintCounter paints;
  plot->installEventFilter(&paints);
  QElapsedTimer timer;
  timer.start();
  for (auto _ : state) {
    const CurrentValues& values = reads[static_cast<std::size_t>(tick) % reads.size()];
    recorder.TickRead(start.addSecs(2LL * tick++), &values);  // the window takes it at once
    if (setup == PlotSetup::AsShipped) {
      QApplication::processEvents();  // the queued replot or the strip's repaint
    } else {
      plot->replot(QCustomPlot::rpImmediateRefresh);
    }
  }
  const double seconds = static_cast<double>(timer.nsecsElapsed()) / 1e9 / state.iterations();
  if (tickSeconds > 0) {
    state.counters["vs_tick"] = seconds / tickSeconds;
  }
  if (setup == PlotSetup::AsShipped) {
    stripSeconds = seconds;
    state.counters["whole"] = static_cast<double>(plot->TicksDrawnWhole() - wholeBefore) /
                              static_cast<double>(state.iterations());
    // Each tick's drawing is in the time measured: one paint of the plot per tick.
    state.counters["paints"] =
        static_cast<double>(paints.count) / static_cast<double>(state.iterations());
  } else if (stripSeconds > 0) {
    state.counters["vs_strip"] = seconds / stripSeconds;
  }
}

void BM_TrendReplotAfterTick(benchmark::State& state) {
  ReplotAfterTick(state, PlotSetup::AsShipped);
}
void BM_TrendWholeReplotAfterTick(benchmark::State& state) {
  ReplotAfterTick(state, PlotSetup::WholeEachTick);
}
void BM_TrendReplotScalesWithTicks(benchmark::State& state) {
  ReplotAfterTick(state, PlotSetup::ScalesWithTicks);
}
void BM_TrendReplotFastPolylines(benchmark::State& state) {
  ReplotAfterTick(state, PlotSetup::FastPolylines);
}

// The trend lines as Qt Charts would hold them. A line series joins every point it holds (it has
// no gap marker), so a gap would end one series and start another in the same colour; the
// values here have no gaps, so each channel is one series, which is the cheapest case.
class ChartsTrend {
 public:
  ChartsTrend() : chart_(view_.chart()) {
    chart_->legend()->setVisible(true);
    chart_->legend()->setAlignment(Qt::AlignRight);
    chart_->addAxis(time_, Qt::AlignBottom);
    chart_->addAxis(values_, Qt::AlignLeft);
    time_->setFormat(QStringLiteral("hh:mm:ss"));
    time_->setTitleText(QStringLiteral("Time"));
    for (int i = 1; i <= Channels; ++i) {
      auto* series = new QLineSeries(chart_);  // owned by the chart
      series->setName(QStringLiteral("Channel %1").arg(i));
      series->setPen(QPen(QColor::fromHsv(i * 37 % 360, 200, 200), 1));
      QList<QPointF> points;
      points.reserve(static_cast<qsizetype>(DefaultTrendCapacity));
      for (int tick = 0; tick < static_cast<int>(DefaultTrendCapacity); ++tick) {
        points.append(QPointF(TimeAt(tick), SineValue(i, tick)));
      }
      series->replace(points);
      points_.push_back(points);
      chart_->addSeries(series);
      series->attachAxis(time_);
      series->attachAxis(values_);
      series_.push_back(series);
    }
    next_ = static_cast<int>(DefaultTrendCapacity);
    view_.resize(plotSize);
    view_.show();
    QApplication::processEvents();
  }

  // One tick: a point on and a point off each line, the last ten minutes shown, values fitted.
  void Tick() {
    double low = std::numeric_limits<double>::max();
    double high = std::numeric_limits<double>::lowest();
    const double shownFrom = TimeAt(next_) - SpanMs;
    for (int i = 0; i < Channels; ++i) {
      QLineSeries* series = series_[static_cast<std::size_t>(i)];
      QList<QPointF>& points = points_[static_cast<std::size_t>(i)];
      points.removeFirst();
      points.append(QPointF(TimeAt(next_), SineValue(i + 1, next_)));
      series->replace(points);  // one change where remove and append would be two
      const auto from = std::lower_bound(points.cbegin(), points.cend(), shownFrom,
                                         [](const QPointF& p, double t) { return p.x() < t; });
      for (auto it = from; it != points.cend(); ++it) {
        low = std::min(low, it->y());
        high = std::max(high, it->y());
      }
    }
    time_->setRange(
        QDateTime::fromMSecsSinceEpoch(static_cast<qint64>(shownFrom)),
        QDateTime::fromMSecsSinceEpoch(static_cast<qint64>(TimeAt(next_) + SpanMs / 50)));
    const double pad = (high - low) * 0.05;
    values_->setRange(low - pad, high + pad);
    ++next_;
  }

  // The whole view drawn, as the window would show it.
  void Draw(QImage& image) {
    QApplication::processEvents();
    QPainter painter(&image);
    view_.render(&painter);
  }

 private:
  static constexpr double SpanMs = 600'000.0;
  double TimeAt(int tick) const { return start_ + 2000.0 * tick; }

  QChartView view_;
  QChart* chart_;
  QDateTimeAxis* time_ = new QDateTimeAxis(chart_);
  QValueAxis* values_ = new QValueAxis(chart_);
  std::vector<QLineSeries*> series_;
  std::vector<QList<QPointF>> points_;  // what each series holds
  double start_ = static_cast<double>(QDateTime::currentMSecsSinceEpoch());
  int next_ = 0;
};

void BM_ChartsRedrawAfterTick(benchmark::State& state) {
  ChartsTrend chart;
  QImage image(plotSize, QImage::Format_ARGB32_Premultiplied);
  QElapsedTimer timer;
  timer.start();
  for (auto _ : state) {
    chart.Tick();
    chart.Draw(image);
  }
  const double seconds = static_cast<double>(timer.nsecsElapsed()) / 1e9 / state.iterations();
  if (tickSeconds > 0) {
    state.counters["vs_tick"] = seconds / tickSeconds;
  }
}

struct BlockList {
  KeyedListModel model;
  KeyedListView view;
  int next = 0;
  BlockList() {
    for (int c = 0; c < 12; ++c) {
      model.AddColumn({QStringLiteral("Column %1").arg(c), 1000, Qt::AlignLeft, QString()});
    }
    model.SetCoalescing(true);
    std::vector<KeyedListModel::NewRow> rows;
    rows.reserve(10000);
    for (int i = 0; i < 10000; ++i) {
      rows.push_back({QString::number(100000 + i), QString::number(100000 + i), {}, -1});
    }
    model.InsertRowsAt(0, std::move(rows));
    for (int i = 0; i < 10000; ++i) {
      for (int c = 1; c < 12; ++c) {
        model.SetSubItem(model.RowAt(i), c, QStringLiteral("U1 Block %1 cell %2").arg(i).arg(c));
      }
    }
    view.SetListModel(&model);
    view.resize(1200, 800);
    view.show();
    QApplication::processEvents();
  }
  void TenUpdates() {
    for (int i = 0; i < 10; ++i, next = (next + 997) % 10000) {
      model.SetSubItem(model.RowAt(next), 9, QString::number(next * 7 % 1000));
    }
    model.Flush();
  }
};

void BM_ListUpdates(benchmark::State& state) {
  BlockList list;
  QElapsedTimer timer;
  timer.start();
  for (auto _ : state) {
    list.TenUpdates();
    QApplication::processEvents();
  }
  updatesSeconds = static_cast<double>(timer.nsecsElapsed()) / 1e9 / state.iterations();
}

void BM_FilterKeystroke(benchmark::State& state) {
  BlockList list;
  const QStringList typed = {"1", "10", "105", "105 ", "105", "10", "1", ""};
  int key = 0;
  QElapsedTimer timer;
  timer.start();
  for (auto _ : state) {
    list.TenUpdates();
    list.view.SetFilterText(typed[key++ % typed.size()]);
    QApplication::processEvents();
  }
  const double seconds = static_cast<double>(timer.nsecsElapsed()) / 1e9 / state.iterations();
  if (updatesSeconds > 0) {
    state.counters["vs_updates"] = seconds / updatesSeconds;
  }
}

BENCHMARK(BM_ChannelTick50)->Unit(benchmark::kMillisecond)->UseRealTime();
BENCHMARK(BM_TrendReplotAfterTick)->Unit(benchmark::kMillisecond)->UseRealTime();
BENCHMARK(BM_TrendWholeReplotAfterTick)->Unit(benchmark::kMillisecond)->UseRealTime();
BENCHMARK(BM_TrendReplotScalesWithTicks)->Unit(benchmark::kMillisecond)->UseRealTime();
BENCHMARK(BM_TrendReplotFastPolylines)->Unit(benchmark::kMillisecond)->UseRealTime();
BENCHMARK(BM_ChartsRedrawAfterTick)->Unit(benchmark::kMillisecond)->UseRealTime();
BENCHMARK(BM_ListUpdates)->Unit(benchmark::kMillisecond)->UseRealTime();
BENCHMARK(BM_FilterKeystroke)->Unit(benchmark::kMillisecond)->UseRealTime();

}  // namespace
}  // namespace telmon

int main(int argc, char** argv) {
  telmon::bench::BenchProgram<QApplication> program(argc, argv);
  program.Run();
  return 0;
}
