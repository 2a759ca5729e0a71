// The trend window offscreen: lines are drawn in their colours, a hidden line is not, pausing
// (or minimizing) freezes the view while recording goes on, the mouse reads, drags and zooms,
// and the picture and data can be saved.

#include "platform/testing/ScriptedPrompter.h"
#include "trends/ui/TrendPlot.h"
#include "trends/ui/TrendWindow.h"
#include "views/ChannelListviewManager.h"

#include <QAction>
#include <QApplication>
#include <QFile>
#include <QImage>
#include <QMouseEvent>
#include <QSignalSpy>
#include <QTemporaryDir>
#include <QWheelEvent>

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

// The first two lines' colours, as the operator knows them from one run to the next.
const QColor Blue(0x1f, 0x64, 0xcc);   // channel 1
const QColor Green(0x71, 0x99, 0x17);  // channel 2

void Click(QWidget* widget, const QPointF& at) {
  QMouseEvent press(QEvent::MouseButtonPress, at, widget->mapToGlobal(at), Qt::LeftButton,
                    Qt::LeftButton, Qt::NoModifier);
  QApplication::sendEvent(widget, &press);
  QMouseEvent release(QEvent::MouseButtonRelease, at, widget->mapToGlobal(at), Qt::LeftButton,
                      Qt::NoButton, Qt::NoModifier);
  QApplication::sendEvent(widget, &release);
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
  TrendPlot* plot = s.window.Plot();
  plot->ShowAll();
  const QImage drawn = plot->toPixmap().toImage();
  EXPECT_GT(PixelsOf(drawn, Blue), 200);
  EXPECT_GT(PixelsOf(drawn, Green), 200);

  // A click on a line's legend entry takes the line off the picture at once and greys the
  // entry; a second click brings both back.
  auto* entry =
      qobject_cast<QCPPlottableLegendItem*>(plot->legend->itemWithPlottable(plot->Graph("2C")));
  ASSERT_NE(entry, nullptr);
  Click(plot, entry->outerRect().center());
  EXPECT_FALSE(plot->Graph("2C")->visible());
  EXPECT_EQ(entry->textColor(), QColor(Qt::gray));
  EXPECT_LT(PixelsOf(plot->grab().toImage(), Green), 40);  // the legend's sample
  Click(plot, entry->outerRect().center());
  EXPECT_TRUE(plot->Graph("2C")->visible());
  EXPECT_EQ(entry->textColor(), QColor(Qt::black));
  EXPECT_GT(PixelsOf(plot->grab().toImage(), Green), 200);
  Click(plot, entry->outerRect().center());

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

  // A channel no longer watched leaves the picture at once.
  s.model.RemoveRow(s.model.FindKey("1C"));
  EXPECT_EQ(s.window.Plot()->Graph("1C"), nullptr);
  QApplication::processEvents();
  EXPECT_LT(PixelsOf(plot->grab().toImage(), Blue), 40);

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
    // Whole seconds, so that halfway between two points is exactly halfway.
    const QDateTime t0 = QDateTime::fromSecsSinceEpoch(QDateTime::currentSecsSinceEpoch());
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
    // The reading between two points is the nearer one's; halfway, the earlier one's.
    const auto values = [plot](double time) {
      const QString reading = plot->ReadingAt(time);
      return reading.mid(reading.indexOf(QStringLiteral("   ")));
    };
    EXPECT_EQ(values(newest - 1.1), values(newest - 2));
    EXPECT_EQ(values(newest - 1), values(newest - 2));
    EXPECT_EQ(values(newest - 0.9), values(newest));

    QApplication::processEvents();
    const QSignalSpy replots(plot, &QCustomPlot::afterReplot);
    const QPointF at(plot->xAxis->coordToPixel(newest - 100), plot->height() / 2.0);
    QMouseEvent move(QEvent::MouseMove, at, plot->mapToGlobal(at), Qt::NoButton, Qt::NoButton,
                     Qt::NoModifier);
    QApplication::sendEvent(plot, &move);
    EXPECT_TRUE(plot->item(0)->visible());
    // Only the cursor is drawn again as the mouse moves, never the long lines under it.
    EXPECT_EQ(replots.count(), 0);
    EXPECT_GT(PixelsOf(plot->grab().toImage(), Qt::darkGray), 100);
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
    // The reading can be selected with the mouse, to be copied.
    EXPECT_TRUE(s.window.CursorReading()->textInteractionFlags() & Qt::TextSelectableByMouse);
  }
}

// With each line on a scale of its own, a drag or a turn of the wheel moves every line's scale,
// not only the shared one. "Show All" before anything is recorded leaves the view as it is.
TEST(TrendWindow, OwnScalesAllMoveUnderTheMouse) {
  ShownTrends s;
  TrendPlot* plot = s.window.Plot();
  plot->xAxis->setRange(100, 200);
  s.window.Action("ShowAll")->trigger();
  EXPECT_EQ(plot->xAxis->range(), QCPRange(100, 200));
  s.window.Action("Pause")->setChecked(false);

  const QDateTime t0 = QDateTime::currentDateTime();
  for (int i = 0; i < 40; ++i) {
    CurrentValues values;
    values.insert("1C", CurrentValueItem{"1C", t0, i % 7 * 1.0, ""});
    values.insert("2C", CurrentValueItem{"2C", t0, 100.0 + i % 5, ""});
    s.recorder.TickRead(t0.addSecs(2LL * i), &values);
  }
  s.window.Action("OwnScales")->setChecked(true);
  QApplication::processEvents();
  const auto scales = [plot] {
    return std::pair{plot->Graph("1C")->valueAxis()->range(),
                     plot->Graph("2C")->valueAxis()->range()};
  };
  const auto before = scales();
  const QPointF from = plot->axisRect()->rect().center();
  const QPointF to = from + QPointF(0, 60);
  QMouseEvent press(QEvent::MouseButtonPress, from, plot->mapToGlobal(from), Qt::LeftButton,
                    Qt::LeftButton, Qt::NoModifier);
  QApplication::sendEvent(plot, &press);
  QMouseEvent move(QEvent::MouseMove, to, plot->mapToGlobal(to), Qt::NoButton, Qt::LeftButton,
                   Qt::NoModifier);
  QApplication::sendEvent(plot, &move);
  QMouseEvent release(QEvent::MouseButtonRelease, to, plot->mapToGlobal(to), Qt::LeftButton,
                      Qt::NoButton, Qt::NoModifier);
  QApplication::sendEvent(plot, &release);
  const auto dragged = scales();
  EXPECT_GT(dragged.first.lower, before.first.lower);  // dragged down: the values move up
  EXPECT_GT(dragged.second.lower, before.second.lower);
  EXPECT_TRUE(s.window.Action("Pause")->isChecked());

  QWheelEvent wheel(from, plot->mapToGlobal(from), QPoint(), QPoint(0, 120), Qt::NoButton,
                    Qt::NoModifier, Qt::NoScrollPhase, false);
  QApplication::sendEvent(plot, &wheel);
  const auto zoomed = scales();
  EXPECT_LT(zoomed.first.size(), dragged.first.size());
  EXPECT_LT(zoomed.second.size(), dragged.second.size());
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

  // It stands while the newest point is a fiftieth of the span (12 s) or more from its right
  // end, and moves on as soon as one comes nearer.
  const auto recordAt = [&](double seconds) {
    CurrentValues values;
    values.insert("1C", CurrentValueItem{"1C", t0, 5.0, ""});
    values.insert("2C", CurrentValueItem{"2C", t0, 4.0, ""});
    s.recorder.TickRead(QDateTime::fromMSecsSinceEpoch(std::llround(seconds * 1000)), &values);
    QApplication::processEvents();
  };
  recordAt(newest + 137.9);
  EXPECT_DOUBLE_EQ(plot->xAxis->range().upper, newest + 150);
  recordAt(newest + 138.1);
  EXPECT_NEAR(plot->xAxis->range().upper, newest + 138.1 + 150, 1e-3);
}

}  // namespace
}  // namespace telmon
