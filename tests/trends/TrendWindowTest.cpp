// The trend window offscreen: lines are drawn, a hidden line is not, pausing (or minimizing)
// freezes the view while recording goes on, and the picture and data can be saved.

#include "platform/testing/ScriptedPrompter.h"
#include "trends/ui/TrendPlot.h"
#include "trends/ui/TrendWindow.h"
#include "views/ChannelListviewManager.h"

#include <QAction>
#include <QApplication>
#include <QFile>
#include <QImage>
#include <QMouseEvent>
#include <QTemporaryDir>

#include <gtest/gtest.h>

namespace telmon {
namespace {

int PixelsOf(const QImage& image, const QColor& colour) {
  int count = 0;
  for (int y = 0; y < image.height(); ++y) {
    for (int x = 0; x < image.width(); ++x) {
      const QColor pixel = image.pixelColor(x, y);
      if (std::abs(pixel.red() - colour.red()) + std::abs(pixel.green() - colour.green()) +
              std::abs(pixel.blue() - colour.blue()) <
          40) {
        ++count;
      }
    }
  }
  return count;
}

// Channels 1 and 2 watched and recorded, with the trend window shown.
struct ShownTrends {
  struct Watched {
    Watched() {
      channels.Setup({}, model, 0);
      channels.AddLsvRowsForChannelIDList(QStringLiteral("1;2"));
    }
    KeyedListModel model;
    ChannelListviewManager channels;
  };
  ShownTrends() {
    window.resize(800, 500);
    window.show();
  }
  Watched watched;
  KeyedListModel& model = watched.model;
  TrendRecorder recorder{watched.model};
  ScriptedPrompter prompter;
  TrendWindow window{recorder, prompter};
};

TEST(TrendWindow, DrawsEachLineAndPausesTheView) {
  ShownTrends s;
  const QDateTime t0 = QDateTime::currentDateTime();
  for (int i = 0; i < 40; ++i) {
    CurrentValues values;
    values.insert("1C", CurrentValueItem{"1C", t0, i % 7 * 1.0, ""});
    values.insert("2C", CurrentValueItem{"2C", t0, 20.0 - i % 5, ""});
    s.recorder.TickRead(t0.addSecs(2LL * i), &values);
  }
  QApplication::processEvents();
  // Each line is named as its channel's row, and "Show All" stops following the newest points.
  EXPECT_EQ(s.window.Plot()->Graph("1C")->name(), s.recorder.Find("1C")->Name());
  EXPECT_FALSE(s.window.Plot()->Graph("1C")->name().isEmpty());
  s.window.Action("ShowAll")->trigger();
  EXPECT_TRUE(s.window.Action("Pause")->isChecked());
  s.window.Action("Pause")->setChecked(false);
  s.window.Plot()->ShowAll();
  const QColor first = s.window.Plot()->Graph("1C")->pen().color();
  const QColor second = s.window.Plot()->Graph("2C")->pen().color();
  const QImage drawn = s.window.Plot()->toPixmap().toImage();
  EXPECT_GT(PixelsOf(drawn, first), 200);
  EXPECT_GT(PixelsOf(drawn, second), 200);

  s.window.Plot()->Graph("2C")->setVisible(false);
  s.window.Plot()->replot();
  EXPECT_LT(PixelsOf(s.window.Plot()->toPixmap().toImage(), second), 40);  // the legend's sample

  s.window.Action("Pause")->setChecked(true);
  const int shown = s.window.Plot()->Graph("1C")->dataCount();
  s.recorder.TickRead(t0.addSecs(200), nullptr);
  EXPECT_EQ(s.window.Plot()->Graph("1C")->dataCount(), shown);
  EXPECT_EQ(s.recorder.Points(*s.recorder.Find("1C")).size(), 41U);
  s.window.Action("Pause")->setChecked(false);
  EXPECT_EQ(s.window.Plot()->Graph("1C")->dataCount(), shown + 1);
  s.window.showMinimized();  // takes nothing until it is shown again, then all it missed
  s.recorder.TickRead(t0.addSecs(202), nullptr);
  s.recorder.TickRead(t0.addSecs(204), nullptr);
  EXPECT_EQ(s.window.Plot()->Graph("1C")->dataCount(), shown + 1);
  s.window.showNormal();
  EXPECT_EQ(s.window.Plot()->Graph("1C")->dataCount(), shown + 3);

  s.model.RemoveRow(s.model.FindKey("1C"));
  EXPECT_EQ(s.window.Plot()->Graph("1C"), nullptr);

  s.window.Plot()->Graph("2C")->setVisible(true);
  QTemporaryDir dir;
  s.prompter.QueueSaveFile(dir.filePath("t.png"));
  s.window.SavePicture();
  EXPECT_FALSE(QImage(dir.filePath("t.png")).isNull());
  s.prompter.QueueSaveFile(dir.filePath("t.csv"));
  s.window.ExportCsv();
  QFile csv(dir.filePath("t.csv"));
  ASSERT_TRUE(csv.open(QIODevice::ReadOnly));
  EXPECT_TRUE(csv.readLine().startsWith("Time,2C\r\n"));
}

// The live view: the last ten minutes up to the newest point and some to spare, the shared scale
// (or each line's own) fitted to the values shown with a twentieth of their spread to spare, a flat
// line's scale steady tick after tick, and the hidden scales working out no ticks. The cursor line
// follows the mouse and reads the values under it.
TEST(TrendWindow, LiveViewFollowsTheNewestPointsAndFitsTheirValues) {
  struct Case {
    double low;
    double high;
  };
  for (const Case& c : {Case{0.0, 20.0}, Case{0.2, 0.4}, Case{-3.0, -3.0}}) {
    SCOPED_TRACE(c.high);
    ShownTrends s;
    const QDateTime t0 = QDateTime::currentDateTime();
    for (int i = 0; i < 400; ++i) {  // 800 s, more than the ten minutes shown
      CurrentValues values;
      values.insert("1C", CurrentValueItem{"1C", t0, i % 2 == 0 ? c.low : c.high, ""});
      values.insert("2C", CurrentValueItem{"2C", t0, c.low, ""});
      s.recorder.TickRead(t0.addSecs(2LL * i), &values);
    }
    TrendPlot* plot = s.window.Plot();
    const double newest = s.recorder.TimeAt(s.recorder.EndTick() - 1);
    // Ten minutes at least, with room to spare on the right.
    EXPECT_LE(plot->xAxis->range().lower, newest - 600);
    EXPECT_GE(plot->xAxis->range().upper, newest + 12);
    EXPECT_DOUBLE_EQ(plot->xAxis->range().size(), 600 + 150);
    const double pad = c.high > c.low ? (c.high - c.low) / 20 : 1.0;  // a flat line: one
    EXPECT_NEAR(plot->yAxis->range().lower, c.low - pad, 1e-9);
    EXPECT_NEAR(plot->yAxis->range().upper, c.high + pad, 1e-9);
    s.window.Action("OwnScales")->setChecked(true);
    EXPECT_NEAR(plot->Graph("1C")->valueAxis()->range().lower, c.low - pad, 1e-9);
    EXPECT_NEAR(plot->Graph("2C")->valueAxis()->range().lower, c.low - 1, 1e-9);  // flat
    EXPECT_NEAR(plot->Graph("2C")->valueAxis()->range().upper, c.low + 1, 1e-9);

    plot->replot();
    for (QCPAxis* axis : plot->axisRect()->axes()) {
      EXPECT_EQ(axis->tickVector().isEmpty(), !axis->visible());
    }
    const QPointF at(plot->xAxis->coordToPixel(newest - 100), plot->height() / 2.0);
    QMouseEvent move(QEvent::MouseMove, at, plot->mapToGlobal(at), Qt::NoButton, Qt::NoButton,
                     Qt::NoModifier);
    QApplication::sendEvent(plot, &move);
    EXPECT_TRUE(plot->item(0)->visible());
    // The cursor line stands at the time under the mouse, top to bottom.
    auto* cursor = qobject_cast<QCPItemStraightLine*>(plot->item(0));
    ASSERT_NE(cursor, nullptr);
    EXPECT_NEAR(cursor->point1->coords().x(), newest - 100, 2);
    EXPECT_NEAR(cursor->point2->coords().x(), newest - 100, 2);
    // A press on the legend (to hide a line) leaves the view following.
    const QPointF onLegend = plot->legend->outerRect().center();
    QMouseEvent press(QEvent::MouseButtonPress, onLegend, plot->mapToGlobal(onLegend),
                      Qt::LeftButton, Qt::LeftButton, Qt::NoModifier);
    QApplication::sendEvent(plot, &press);
    QMouseEvent release(QEvent::MouseButtonRelease, onLegend, plot->mapToGlobal(onLegend),
                        Qt::LeftButton, Qt::NoButton, Qt::NoModifier);
    QApplication::sendEvent(plot, &release);
    EXPECT_FALSE(s.window.Action("Pause")->isChecked());
    EXPECT_TRUE(s.window.CursorReading()->text().contains(QStringLiteral("   2C = ")));
  }
}

// Pixels of the picture that differ between two pictures of the same size.
int PixelsDiffering(const QImage& a, const QImage& b) {
  int count = 0;
  for (int y = 0; y < a.height(); ++y) {
    for (int x = 0; x < a.width(); ++x) {
      count += a.pixel(x, y) != b.pixel(x, y) ? 1 : 0;
    }
  }
  return count;
}

// While following, a tick draws only its new pieces of line, and the picture is the one a whole
// replot gives; the time scale moves on only when the newest point reaches its right end, and
// a value off its scale has the plot drawn whole with the scale fitted to it. Gaps stay gaps.
TEST(TrendWindow, TheLiveViewIsAStripChart) {
  ShownTrends s;
  TrendPlot* plot = s.window.Plot();
  const QDateTime t0 = QDateTime::currentDateTime();
  int tick = 0;
  auto record = [&](double first, double second) {
    CurrentValues values;
    values.insert("1C", CurrentValueItem{"1C", t0, first, ""});
    values.insert("2C", std::isnan(second) ? CurrentValueItem{"2C", t0, 0.0, "off"}  // a gap
                                           : CurrentValueItem{"2C", t0, second, ""});
    s.recorder.TickRead(t0.addSecs(2LL * tick++), &values);
    QApplication::processEvents();  // ticks come two seconds apart
  };
  for (int i = 0; i < 100; ++i) record(i % 10, 2 + i % 3);
  QApplication::processEvents();
  const QCPRange time = plot->xAxis->range();
  const QCPRange value = plot->yAxis->range();
  const int whole = plot->TicksDrawnWhole();
  const int inPlace = plot->TicksDrawnInPlace();

  // Ten ticks inside the scales, one of them a gap on the second line.
  for (int i = 0; i < 10; ++i) record(9 - i, i == 4 ? std::nan("") : 7.0 - i % 3);
  QApplication::processEvents();
  EXPECT_EQ(plot->TicksDrawnInPlace(), inPlace + 10);
  EXPECT_EQ(plot->TicksDrawnWhole(), whole);
  EXPECT_EQ(plot->xAxis->range(), time);
  EXPECT_EQ(plot->yAxis->range(), value);
  const QImage inPlacePicture = plot->grab().toImage();
  plot->replot();
  const QImage wholePicture = plot->grab().toImage();
  ASSERT_EQ(inPlacePicture.size(), wholePicture.size());
  // The new pieces are there, where a whole replot puts them (give or take a pixel's rounding).
  const QColor first = plot->Graph("1C")->pen().color();
  const QColor second = plot->Graph("2C")->pen().color();
  EXPECT_GT(PixelsOf(inPlacePicture, first), 100);
  EXPECT_NEAR(PixelsOf(inPlacePicture, first), PixelsOf(wholePicture, first), 10);
  EXPECT_NEAR(PixelsOf(inPlacePicture, second), PixelsOf(wholePicture, second), 10);
  EXPECT_LT(PixelsDiffering(inPlacePicture, wholePicture), 40);

  // A value above the scale: drawn whole, the scale fitted to it.
  record(50, 4);
  EXPECT_EQ(plot->TicksDrawnWhole(), whole + 1);
  EXPECT_GE(plot->yAxis->range().upper, 50);
  EXPECT_EQ(plot->xAxis->range(), time);

  // On to the right end: the scale moves on once, to the last ten minutes and the room to spare.
  const int wholeBefore = plot->TicksDrawnWhole();
  while (s.recorder.TimeAt(s.recorder.EndTick() - 1) <= time.upper - 12) record(5, 4);
  EXPECT_EQ(plot->TicksDrawnWhole(), wholeBefore + 1);
  const double newest = s.recorder.TimeAt(s.recorder.EndTick() - 1);
  EXPECT_DOUBLE_EQ(plot->xAxis->range().lower, newest - 600);
  EXPECT_DOUBLE_EQ(plot->xAxis->range().upper, newest + 150);
  // Once the view was paused and panned, following again puts the scale back at once.
  s.window.SetPaused(true);
  plot->xAxis->moveRange(-300);
  s.window.SetPaused(false);
  EXPECT_DOUBLE_EQ(plot->xAxis->range().lower, newest - 600);
}

}  // namespace
}  // namespace telmon
