// The trend recorder's points and gaps, its ring, the clock put back, and the trend CSV.

#include "trends/TrendExport.h"
#include "trends/TrendRecorder.h"
#include "views/ChannelListviewManager.h"

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

// The budget holds the times and one value per channel for each kept tick: more channels keep
// fewer ticks, the oldest going first, the newest exactly as recorded; fewer channels let the
// history grow again (the dropped points do not come back).
TEST(TrendRecorder, PointsStayWithinTheMemoryBudgetDroppingTheOldest) {
  Watched w;  // channels 1 and 2
  // 24 ticks of 3 doubles (the time and two channels).
  TrendRecorder recorder(w.model, 100, nullptr, 24 * 3 * sizeof(double));
  auto tick = [&](int second) {
    CurrentValues values;
    values.insert("1C", Item("1C", second, {}));
    values.insert("2C", Item("2C", -second, {}));
    recorder.TickRead(T0.addSecs(second), &values);
  };
  for (int second = 0; second < 30; ++second) {
    tick(second);
  }
  EXPECT_EQ(recorder.KeptTicks(), 24u);
  EXPECT_EQ(recorder.Points(*recorder.Find("1C")).size(), 24u);
  EXPECT_EQ(Values(recorder, "2C").front(), -6);
  EXPECT_EQ(recorder.ThinnedNote(), QString());  // the ring's own age limit is no thinning

  // Two more channels: 4 doubles a tick more than fit; 14 ticks of 5 doubles.
  const std::uint64_t generation = recorder.Generation();
  w.channels.AddLsvRowsForChannelIDList(QStringLiteral("3;4"));
  tick(30);
  EXPECT_EQ(recorder.KeptTicks(), 14u);
  std::vector<double> expected;
  for (int second = 17; second <= 30; ++second) {
    expected.push_back(second);
  }
  EXPECT_EQ(Values(recorder, "1C"), expected);
  EXPECT_EQ(recorder.Points(*recorder.Find("3C")).size(), 1u);
  EXPECT_NE(recorder.Generation(), generation);
  EXPECT_EQ(recorder.ThinnedNote(),
            "Older points were dropped to keep the trends within 0 MiB: 14 updates are kept for "
            "each of 4 channels.");

  // Back to two channels: the history grows again from what was kept.
  w.model.ClearRows();
  w.channels.AddLsvRowsForChannelIDList(QStringLiteral("1;2"));
  for (int second = 31; second < 60; ++second) {
    tick(second);
  }
  EXPECT_EQ(recorder.KeptTicks(), 24u);
  EXPECT_EQ(Values(recorder, "1C").size(), 24u);
  EXPECT_EQ(Values(recorder, "1C").back(), 59);
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

}  // namespace
}  // namespace telmon
