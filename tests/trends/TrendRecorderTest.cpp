// The trend recorder's points and gaps, its ring, the clock put back, and the trend CSV.

#include "trends/TrendExport.h"
#include "trends/TrendRecorder.h"
#include "views/ChannelListviewManager.h"

#include <QFile>
#include <QTemporaryDir>

#include <gtest/gtest.h>

#include <cmath>
#include <optional>

namespace telmon {
namespace {

const QDateTime T0(QDate(2026, 3, 14), QTime(14, 0, 0));

CurrentValueItem Item(const QString& ioid, std::optional<double> number, const QString& text) {
  return CurrentValueItem{ioid, T0, number, text};
}

struct Watched {
  KeyedListModel model;
  ChannelListviewManager channels;
  Watched() {
    channels.Setup({}, model, 0);
    channels.AddLsvRowsForChannelIDList(QStringLiteral("1;2"));
  }
};

std::vector<double> Values(const TrendRecorder& recorder, const QString& key) {
  std::vector<double> values;
  for (const TrendRecorder::Point& p : recorder.Points(*recorder.Find(key))) {
    values.push_back(p.value);
  }
  return values;
}

// NaN compares unequal to itself: gaps are written as -1 for the comparison.
std::vector<double> WithGaps(std::vector<double> values) {
  for (double& v : values) {
    v = std::isnan(v) ? -1 : v;
  }
  return values;
}

TEST(TrendRecorder, NumbersAreKeptAndEverythingElseIsAGap) {
  struct Case {
    const char* what;
    std::optional<double> number;
    QString text;
    bool present;
    double expected;  // -1: gap
  };
  const Case cases[] = {
      {"number", 12.5, "", true, 12.5},        {"zero is a number", 0.0, "", true, 0.0},
      {"text", std::nullopt, "OFF", true, -1}, {"number with text", 3.0, "ppm", true, -1},
      {"null", std::nullopt, "", true, -1},    {"not returned by the read", 1.0, "", false, -1},
      {"infinite", HUGE_VAL, "", true, -1},
  };
  Watched w;
  TrendRecorder recorder(w.model);
  int second = 0;
  for (const Case& c : cases) {
    CurrentValues values;
    if (c.present) {
      values.insert("1C", Item("1C", c.number, c.text));
    }
    recorder.TickRead(T0.addSecs(second++), &values);
    EXPECT_EQ(WithGaps(Values(recorder, "1C")).back(), c.expected) << c.what;
  }
  // A failed read is a gap for every channel.
  recorder.TickRead(T0.addSecs(second), nullptr);
  EXPECT_TRUE(std::isnan(Values(recorder, "2C").back()));
  EXPECT_EQ(Values(recorder, "2C").size(), std::size(cases) + 1);
}

TEST(TrendRecorder, RingKeepsTheNewestAndClockPutBackNeverGoesBackInTime) {
  Watched w;
  TrendRecorder recorder(w.model, 4);
  const auto tick = [&](int second, double value) {
    CurrentValues values;
    values.insert("1C", Item("1C", value, ""));
    recorder.TickRead(T0.addSecs(second), &values);
  };
  for (int i = 0; i < 6; ++i) {
    tick(i * 2, i);
  }
  EXPECT_EQ(Values(recorder, "1C"), (std::vector<double>{2, 3, 4, 5}));
  // A ring asked for less keeps two points: a line needs two.
  TrendRecorder shortest(w.model, 1);
  for (int i = 0; i < 3; ++i) {
    CurrentValues values;
    values.insert("1C", Item("1C", i, ""));
    shortest.TickRead(T0.addSecs(i), &values);
  }
  EXPECT_EQ(Values(shortest, "1C"), (std::vector<double>{1, 2}));
  // Back from 10 s to 7 s: the points at 8 and 10 s go, a gap separates 6 s from 7 s.
  tick(7, 70);
  const std::vector<TrendRecorder::Point> points = recorder.Points(*recorder.Find("1C"));
  ASSERT_EQ(points.size(), 4U);
  EXPECT_EQ(WithGaps(Values(recorder, "1C")), (std::vector<double>{2, 3, -1, 70}));
  for (std::size_t i = 1; i < points.size(); ++i) {
    EXPECT_LT(points[i - 1].time, points[i].time) << i;
  }
  // Back before everything kept: only the new point remains.
  tick(-100, 1);
  EXPECT_EQ(Values(recorder, "1C"), (std::vector<double>{1}));

  // The same in a ring just filled, whose first point is the first ever recorded.
  TrendRecorder full(w.model, 4);
  for (int i = 0; i < 4; ++i) {
    CurrentValues values;
    values.insert("1C", Item("1C", i, ""));
    full.TickRead(T0.addSecs(2LL * i), &values);
  }
  CurrentValues back;
  back.insert("1C", Item("1C", 9, ""));
  full.TickRead(T0.addSecs(-100), &back);
  EXPECT_EQ(Values(full, "1C"), (std::vector<double>{9}));
}

TEST(TrendRecorder, RemovedRowsLeaveAndNewRowsStartEmpty) {
  Watched w;
  TrendRecorder recorder(w.model);
  int removed = 0;
  QObject::connect(&recorder, &TrendRecorder::SeriesRemoved, &recorder, [&] { ++removed; });
  recorder.TickRead(T0, nullptr);
  ASSERT_EQ(recorder.AllSeries().size(), 2U);
  EXPECT_EQ(recorder.AllSeries()[0]->Name(), w.model.Text(w.model.RowAt(0)));
  w.model.RemoveRow(w.model.FindKey("1C"));
  EXPECT_EQ(removed, 1);
  EXPECT_EQ(recorder.Find("1C"), nullptr);
  w.channels.AddLsvRowsForChannelIDList(QStringLiteral("1"));
  recorder.TickRead(T0.addSecs(2), nullptr);
  EXPECT_EQ(recorder.Points(*recorder.Find("1C")).size(), 1U);
  EXPECT_EQ(recorder.Points(*recorder.Find("2C")).size(), 2U);
}

// The budget holds the times and one value per channel for each kept tick. When not all of
// the history fits whole, the newest updates are kept whole in three quarters of it and the
// older ones thinned into the rest (one in 2, 4, 8, ... as they grow) rather than dropped; more
// channels keep fewer ticks, fewer let the history grow again.
TEST(TrendRecorder, PointsStayWithinTheMemoryBudgetThinningTheOldest) {
  Watched w;  // channels 1 and 2
  // 24 ticks of 3 doubles (the time and two channels): 18 whole ticks, 4 thinned ones.
  TrendRecorder recorder(w.model, 100, nullptr, 24 * 3 * sizeof(double));
  auto tick = [&](int second) {
    CurrentValues values;
    values.insert("1C", Item("1C", second, {}));
    values.insert("2C", Item("2C", -second, {}));
    recorder.TickRead(T0.addSecs(second), &values);
  };
  auto seconds = [](std::vector<double> thinned, int from, int to) {
    for (int second = from; second <= to; ++second) {
      thinned.push_back(second);
    }
    return thinned;
  };
  for (int second = 0; second < 30; ++second) {
    tick(second);
  }
  EXPECT_EQ(recorder.KeptTicks(), 18u);
  EXPECT_EQ(recorder.ThinStep(), 4u);
  EXPECT_EQ(Values(recorder, "1C"), seconds({0, 4, 8}, 12, 29));
  EXPECT_EQ(Values(recorder, "2C").front(), -0.0);
  EXPECT_EQ(recorder.FirstTime(), static_cast<double>(T0.toSecsSinceEpoch()));
  EXPECT_EQ(recorder.ThinnedNote(),
            "Older points were thinned to keep the trends within 0 MiB: the last 18 updates are "
            "kept whole for each of 2 channels, those since 2026-03-14 14:00:00 one in 4.");
  // The export has every kept point, thinned or whole.
  const double from = static_cast<double>(T0.toSecsSinceEpoch());
  const QStringList rows =
      QString::fromUtf8(TrendCsv(recorder, recorder.AllSeries(), from, from + 100))
          .split(QStringLiteral("\r\n"), Qt::SkipEmptyParts);
  ASSERT_EQ(rows.size(), 22);
  EXPECT_TRUE(rows[2].startsWith(QStringLiteral("2026-03-14 14:00:04,4,-4")))
      << rows[2].toStdString();

  // Two more channels: 10 whole ticks of 5 doubles, 3 thinned ones.
  const std::uint64_t generation = recorder.Generation();
  w.channels.AddLsvRowsForChannelIDList(QStringLiteral("3;4"));
  tick(30);
  EXPECT_EQ(recorder.KeptTicks(), 10u);
  EXPECT_EQ(Values(recorder, "1C"), seconds({0, 8, 16}, 21, 30));
  EXPECT_EQ(recorder.Points(*recorder.Find("3C")).size(), 1u);
  EXPECT_NE(recorder.Generation(), generation);
  EXPECT_EQ(recorder.ThinnedNote(),
            "Older points were thinned to keep the trends within 0 MiB: the last 10 updates are "
            "kept whole for each of 4 channels, those since 2026-03-14 14:00:00 one in 8.");

  // Back to two channels, watched anew: the history grows again, thinned as it goes.
  w.model.ClearRows();
  w.channels.AddLsvRowsForChannelIDList(QStringLiteral("1;2"));
  for (int second = 31; second < 60; ++second) {
    tick(second);
  }
  EXPECT_EQ(recorder.KeptTicks(), 18u);
  EXPECT_EQ(Values(recorder, "1C"), seconds({32}, 42, 59));

  // Eight channels: 6 whole ticks of 9 doubles leave room for one thinned tick, which would
  // be a lone point far back; the thinned ones go, and the note says so.
  w.channels.AddLsvRowsForChannelIDList(QStringLiteral("3;4;5;6;7;8"));
  tick(60);
  EXPECT_EQ(recorder.KeptTicks(), 6u);
  EXPECT_EQ(recorder.ThinnedTicks(), 0u);
  EXPECT_EQ(Values(recorder, "1C"), seconds({}, 55, 60));
  EXPECT_EQ(recorder.ThinnedNote(),
            "Older points were dropped to keep the trends within 0 MiB: 6 updates are kept for "
            "each of 8 channels.");
}

// Only the age limit drops points outright: with room for everything nothing is thinned, and a
// thinned point older than the capacity goes as a whole one would.
TEST(TrendRecorder, TheAgeLimitDropsThinnedPointsToo) {
  Watched w;
  TrendRecorder roomy(w.model, 10, nullptr, 10 * 3 * sizeof(double));
  TrendRecorder tight(w.model, 40, nullptr, 24 * 3 * sizeof(double));
  CurrentValues values;
  for (int second = 0; second < 200; ++second) {
    values["1C"] = Item("1C", second, {});
    roomy.TickRead(T0.addSecs(second), &values);
    tight.TickRead(T0.addSecs(second), &values);
  }
  EXPECT_EQ(roomy.ThinnedNote(), QString());
  EXPECT_EQ(roomy.ThinnedTicks(), 0u);
  EXPECT_EQ(Values(roomy, "1C").front(), 190);
  EXPECT_EQ(tight.KeptTicks(), 18u);
  ASSERT_GT(tight.ThinnedTicks(), 0u);
  // Within the capacity and an eighth of it, never further back.
  EXPECT_GE(Values(tight, "1C").front(), 200 - 40 - 40 / 8);
}

TEST(TrendCsv, TimeThenOneColumnPerChannelWithEmptyGaps) {
  Watched w;
  TrendRecorder recorder(w.model);
  CurrentValues values;
  values.insert("1C", Item("1C", 1.25, ""));
  values.insert("2C", Item("2C", std::nullopt, "OFF"));
  recorder.TickRead(T0, &values);
  values["2C"] = Item("2C", -3.0, "");
  recorder.TickRead(T0.addSecs(2), &values);
  recorder.TickRead(T0.addSecs(4), &values);
  const double from = static_cast<double>(T0.toSecsSinceEpoch());
  const QByteArray csv = TrendCsv(recorder, recorder.AllSeries(), from, from + 2.5);
  const QString n1 = recorder.AllSeries()[0]->Name();
  const QString n2 = recorder.AllSeries()[1]->Name();
  EXPECT_EQ(csv, QStringLiteral("Time,%1,%2\r\n"
                                "2026-03-14 14:00:00,1.25,\r\n"
                                "2026-03-14 14:00:02,1.25,-3\r\n")
                     .arg(n1, n2)
                     .toUtf8());
}

// Written a chunk of ticks at a time: the same bytes; stopped after a chunk, no file and the
// count of ticks dealt with.
TEST(TrendCsv, ALongExportWritesTheSameBytesOrNothingWhenStopped) {
  Watched w;
  TrendRecorder recorder(w.model);
  CurrentValues values;
  for (int tick = 0; tick < 2500; ++tick) {
    values["1C"] = Item("1C", tick % 7, "");
    values["2C"] = tick % 5 == 0 ? Item("2C", std::nullopt, "OFF") : Item("2C", -tick, "");
    recorder.TickRead(T0.addSecs(qint64{2} * tick), &values);
  }
  const double from = static_cast<double>(T0.toSecsSinceEpoch()) + 100;
  const double to = from + 3000;
  QTemporaryDir dir;
  const QString path = dir.filePath(QStringLiteral("t.csv"));
  std::size_t chunks = 0;
  const auto count = [&chunks](std::size_t /*done*/, std::size_t total) {
    EXPECT_EQ(total, 2500u);
    ++chunks;
    return true;
  };
  const ChunkedWrite whole = WriteTrendCsv(path, recorder, recorder.AllSeries(), from, to, count);
  ASSERT_EQ(whole.status, ChunkedWrite::Status::Written);
  EXPECT_EQ(chunks, 3u);
  QFile file(path);
  ASSERT_TRUE(file.open(QIODevice::ReadOnly));
  EXPECT_EQ(file.readAll(), TrendCsv(recorder, recorder.AllSeries(), from, to));
  file.close();

  const QString other = dir.filePath(QStringLiteral("stopped.csv"));
  const ChunkedWrite stopped = WriteTrendCsv(other, recorder, recorder.AllSeries(), from, to,
                                             [](std::size_t, std::size_t) { return false; });
  EXPECT_EQ(stopped.status, ChunkedWrite::Status::Cancelled);
  EXPECT_EQ(stopped.done, 1000u);
  EXPECT_FALSE(QFile::exists(other));
}

}  // namespace
}  // namespace telmon
