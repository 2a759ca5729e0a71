// The statistics over a recorded history with a known flood, a chattering source, a stale
// alarm and activations outside the last 24 hours, on SQLite and PostgreSQL.

#include "alarms/AlarmStatistics.h"
#include "tests/alarms/AlarmTestSupport.h"

#include <gtest/gtest.h>

namespace telmon::test {
namespace {

class AlarmStatisticsTest : public ::testing::TestWithParam<Backend> {
 protected:
  void SetUp() override {
    TELMON_REQUIRE_BACKEND(GetParam());
    site_ = std::make_unique<AlarmDatabase>(GetParam());
  }
  // Raises and at once clears, as a short-lived condition does.
  void Blip(const AlarmCondition& c, const QDateTime& at) {
    site_->Raise(c, at);
    site_->Clear(c, at.addSecs(2));
  }
  std::unique_ptr<AlarmDatabase> site_;
};

TEST_P(AlarmStatisticsTest, FloodChatterStaleTopSourcesAndPrioritiesOfARecordedHistory) {
  const QDateTime now = At(14, 14, 5, 9);
  // Older than 24 hours: not counted, but still standing, so stale.
  site_->Raise(DeviceWatchdog(3), At(13, 12, 0));
  Blip(Condition(AlarmSourceKind::Block, 9, QStringLiteral("Read failure"), 2), At(13, 13, 0));
  // A flood: 15 alarms of 15 channels between 10:00 and 10:09.
  for (int i = 0; i < 15; ++i) {
    Blip(Condition(AlarmSourceKind::Channel, 100 + i, QStringLiteral("Out of range"), 3),
         At(14, 10, i / 2, (i % 2) * 30));
  }
  // Ten in one slot is busy, not yet a flood.
  for (int i = 0; i < 10; ++i) {
    Blip(Condition(AlarmSourceKind::Channel, 200 + i, QStringLiteral("Out of range"), 4),
         At(14, 11, i));
  }
  // Channel 7 chatters: four activations 15 s apart, then once more much later.
  const AlarmCondition chatter = Condition(AlarmSourceKind::Channel, 7, QStringLiteral("High"), 2,
                                           QStringLiteral("Stack NOx"));
  for (int i = 0; i < 4; ++i) {
    Blip(chatter, At(14, 12, 0, i * 15));
  }
  Blip(chatter, At(14, 13, 30));
  // Three activations of channel 8, each more than a minute from the third before it.
  for (int i = 0; i < 3; ++i) {
    Blip(Condition(AlarmSourceKind::Channel, 8, QStringLiteral("High"), 1),
         At(14, 12, 30).addSecs(i * 31));
  }
  // Channel 9: the third activation exactly a minute after the first still chatters.
  for (int i = 0; i < 3; ++i) {
    Blip(Condition(AlarmSourceKind::Channel, 9, QStringLiteral("High"), 1),
         At(14, 12, 40).addSecs(i * 30));
  }

  QString error;
  const auto s = ComputeAlarmStatistics(site_->Store(), now, site_->Current(), &error);
  ASSERT_TRUE(s.has_value()) << error.toStdString();
  EXPECT_EQ(s->from, At(13, 14, 10));
  EXPECT_EQ(s->to, now);
  const int floodSlot = 119;  // 10:00 on the 14th, counted from 14:10 on the 13th
  EXPECT_EQ(s->SlotStart(floodSlot), At(14, 10, 0));
  EXPECT_EQ(s->perSlot[floodSlot], 15);
  EXPECT_EQ(s->perSlot[floodSlot + 6], 10);  // 11:00
  EXPECT_EQ(s->perSlot[floodSlot + 12], 4);  // 12:00: channel 7
  EXPECT_EQ(s->perSlot[floodSlot + 15], 3);  // 12:30: channel 8
  EXPECT_EQ(s->perSlot[floodSlot + 16], 3);  // 12:40: channel 9
  EXPECT_EQ(s->perSlot[floodSlot + 21], 1);  // 13:30
  EXPECT_EQ(s->FloodSlots(), 1);
  EXPECT_TRUE(s->IsFlood(floodSlot));
  EXPECT_FALSE(s->IsFlood(floodSlot + 6));
  EXPECT_EQ(s->total, 15 + 10 + 5 + 3 + 3);
  EXPECT_EQ(s->byPriority[1], 6);
  EXPECT_EQ(s->byPriority[2], 5);
  EXPECT_EQ(s->byPriority[3], 15);
  EXPECT_EQ(s->byPriority[4], 10);
  EXPECT_EQ(s->byPriority[0], 0);

  ASSERT_EQ(s->chattering.size(), 2U);
  EXPECT_EQ(s->chattering[0].sourceId, 7);
  EXPECT_EQ(s->chattering[0].sourceName, QStringLiteral("Stack NOx"));
  EXPECT_EQ(s->chattering[0].condition, QStringLiteral("High"));
  EXPECT_EQ(s->chattering[0].count, 2);  // the third and the fourth activation
  EXPECT_EQ(s->chattering[1].sourceId, 9);
  EXPECT_EQ(s->chattering[1].count, 1);

  ASSERT_EQ(s->topSources.size(), 10U);
  EXPECT_EQ(s->topSources[0].sourceId, 7);
  EXPECT_EQ(s->topSources[0].count, 5);
  EXPECT_EQ(s->topSources[1].sourceId, 8);
  EXPECT_EQ(s->topSources[1].count, 3);
  EXPECT_EQ(s->topSources[2].sourceId, 9);  // equal counts by source
  EXPECT_EQ(s->topSources[2].count, 3);
  EXPECT_EQ(s->topSources[3].sourceId, 100);
  EXPECT_EQ(s->topSources[3].count, 1);

  ASSERT_EQ(s->stale.size(), 1U);
  EXPECT_EQ(s->stale[0].sourceId, 3);
}

TEST_P(AlarmStatisticsTest, AnEmptyHistoryGivesZerosAndAMissingTableAReason) {
  QString error;
  const auto s = ComputeAlarmStatistics(site_->Store(), At(14, 0, 0), {}, &error);
  ASSERT_TRUE(s.has_value()) << error.toStdString();
  EXPECT_EQ(s->total, 0);
  EXPECT_EQ(s->FloodSlots(), 0);
  EXPECT_TRUE(s->topSources.empty());
  EXPECT_TRUE(s->chattering.empty());
  site_->Db().Exec(QStringLiteral("DROP TABLE H5ALARMHISTORY"));
  EXPECT_FALSE(ComputeAlarmStatistics(site_->Store(), At(14, 0, 0), {}, &error));
  EXPECT_FALSE(error.isEmpty());
}

INSTANTIATE_TEST_SUITE_P(Backends, AlarmStatisticsTest,
                         ::testing::Values(Backend::Sqlite, Backend::Postgresql), BackendName);

}  // namespace
}  // namespace telmon::test
