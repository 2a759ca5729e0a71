// The alarms database on SQLite and PostgreSQL: the life cycle of an alarm, its history, the
// order of the current set, shelving and its end, and rows the program did not write.

#include "tests/alarms/AlarmTestSupport.h"
#include "tests/util/QStringPrinter.h"

#include <gtest/gtest.h>

namespace telmon::test {
namespace {

class AlarmStoreTest : public ::testing::TestWithParam<Backend> {
 protected:
  void SetUp() override {
    TELMON_REQUIRE_BACKEND(GetParam());
    site_ = std::make_unique<AlarmDatabase>(GetParam());
  }
  AlarmStore& Store() { return site_->Store(); }
  std::vector<std::int64_t> IdsOf(const QString& condition) {
    std::vector<std::int64_t> ids;
    for (const AlarmRow& r : site_->Current()) {
      if (r.condition == condition) {
        ids.push_back(r.id);
      }
    }
    return ids;
  }
  std::unique_ptr<AlarmDatabase> site_;
};

TEST_P(AlarmStoreTest, AnAlarmGoesThroughItsStatesAndEveryChangeIsInTheHistory) {
  const AlarmCondition watchdog = DeviceWatchdog(3);
  const AlarmCondition block =
      Condition(AlarmSourceKind::Block, 8, QStringLiteral("Read failure"), 2);
  QString error;
  bool changed = false;
  ASSERT_TRUE(Store().Raise(watchdog, At(14, 10, 0), &error, &changed)) << error.toStdString();
  EXPECT_TRUE(changed);
  // A condition that still stands raises nothing more.
  ASSERT_TRUE(Store().Raise(watchdog, At(14, 10, 5), &error, &changed));
  EXPECT_FALSE(changed);
  site_->Raise(block, At(14, 10, 1));
  EXPECT_EQ(Summary(site_->Current()), (QStringList{"3 Watchdog failure ACTIVE_UNACK 1 -",
                                                    "8 Read failure ACTIVE_UNACK 1 -"}));
  const AlarmRow first = site_->Current()[0];
  EXPECT_EQ(first.raised, At(14, 10, 0));
  EXPECT_EQ(first.sourceName, QStringLiteral("CEMS A"));
  EXPECT_FALSE(first.acknowledged.isValid());

  // Acknowledged while active: it stays until the condition clears, then it leaves.
  ASSERT_EQ(Store().Acknowledge(IdsOf(QStringLiteral("Watchdog failure")), QStringLiteral("super"),
                                At(14, 10, 20), &error),
            1)
      << error.toStdString();
  auto rows = site_->Current();
  EXPECT_EQ(Summary(rows), (QStringList{"8 Read failure ACTIVE_UNACK 1 -",
                                        "3 Watchdog failure ACTIVE_ACK 1 super"}));
  EXPECT_EQ(rows[1].acknowledged, At(14, 10, 20));
  site_->Clear(watchdog, At(14, 11, 0));
  // Cleared before anyone acknowledged it: it waits; raised again, it is active again.
  site_->Clear(block, At(14, 11, 0));
  EXPECT_EQ(Summary(site_->Current()), QStringList{"8 Read failure CLEARED_UNACK 0 -"});
  EXPECT_EQ(site_->Current()[0].cleared, At(14, 11, 0));
  site_->Raise(block, At(14, 11, 30));
  EXPECT_EQ(Summary(site_->Current()), QStringList{"8 Read failure ACTIVE_UNACK 1 -"});
  EXPECT_EQ(site_->Current()[0].raised, At(14, 11, 30));
  site_->Clear(block, At(14, 12, 0));
  // Acknowledging an alarm twice, or one that is gone, passes it over.
  const auto ids = IdsOf(QStringLiteral("Read failure"));
  EXPECT_EQ(
      Store().Acknowledge({ids[0], ids[0], 999}, QStringLiteral("tech"), At(14, 12, 1), &error), 1);
  EXPECT_TRUE(site_->Current().empty());

  EXPECT_EQ(site_->History(),
            (QStringList{"3 RAISED ACTIVE_UNACK -", "8 RAISED ACTIVE_UNACK -",
                         "3 ACKNOWLEDGED ACTIVE_ACK super", "3 CLEARED REMOVED -",
                         "8 CLEARED CLEARED_UNACK -", "8 RAISED ACTIVE_UNACK -",
                         "8 CLEARED CLEARED_UNACK -", "8 ACKNOWLEDGED REMOVED tech"}));
}

TEST_P(AlarmStoreTest, ShelvedAlarmsComeBackUnacknowledgedWhenTheirTimeIsUp) {
  const AlarmCondition stays = DeviceWatchdog(3);
  const AlarmCondition goes =
      Condition(AlarmSourceKind::Channel, 17, QStringLiteral("Out of range"), 3);
  site_->Raise(stays, At(14, 9, 0));
  site_->Raise(goes, At(14, 9, 0));
  QString error;
  ASSERT_EQ(Store().Acknowledge(IdsOf(QStringLiteral("Watchdog failure")), QStringLiteral("super"),
                                At(14, 9, 1), &error),
            1);
  std::vector<std::int64_t> both = IdsOf(QStringLiteral("Watchdog failure"));
  both.push_back(IdsOf(QStringLiteral("Out of range"))[0]);
  ASSERT_EQ(Store().Shelve(both, QStringLiteral("super"), At(14, 10, 0), At(14, 9, 2), &error), 2)
      << error.toStdString();
  // A condition that clears or comes back while shelved keeps the alarm shelved.
  site_->Clear(goes, At(14, 9, 30));
  auto rows = site_->Current();
  EXPECT_EQ(Summary(rows),
            (QStringList{"3 Watchdog failure SHELVED 1 super", "17 Out of range SHELVED 0 -"}));
  EXPECT_EQ(rows[0].shelvedUntil, At(14, 10, 0));
  EXPECT_EQ(rows[0].shelvedBy, QStringLiteral("super"));

  EXPECT_EQ(Store().ExpireShelves(At(14, 9, 59, 59), &error), 0);
  EXPECT_EQ(Store().ExpireShelves(At(14, 10, 0), &error), 2) << error.toStdString();
  EXPECT_EQ(Summary(site_->Current()), (QStringList{"3 Watchdog failure ACTIVE_UNACK 1 -",
                                                    "17 Out of range CLEARED_UNACK 0 -"}));
  EXPECT_FALSE(site_->Current()[0].shelvedUntil.isValid());
  EXPECT_TRUE(site_->History().endsWith(QStringLiteral("17 UNSHELVED CLEARED_UNACK -")));
}

TEST_P(AlarmStoreTest, CurrentAlarmsComeInStatePriorityAndNewestOrderWhateverTheRowsHold) {
  site_->Raise(Condition(AlarmSourceKind::Channel, 1, QStringLiteral("p3 old"), 3), At(14, 8, 0));
  site_->Raise(Condition(AlarmSourceKind::Channel, 2, QStringLiteral("p3 new"), 3), At(14, 9, 0));
  site_->Raise(Condition(AlarmSourceKind::Channel, 3, QStringLiteral("p1"), 1), At(14, 7, 0));
  site_->Raise(Condition(AlarmSourceKind::Channel, 4, QStringLiteral("acked p1"), 1), At(14, 9, 0));
  QString error;
  ASSERT_TRUE(Store().Acknowledge(IdsOf(QStringLiteral("acked p1")), QStringLiteral("a"),
                                  At(14, 9, 1), &error));
  // Rows another program wrote: an unknown state, no times at all, a very long message, and
  // another DAHS's alarm, which this DAHS never sees.
  const QString huge(200000, QLatin1Char('x'));
  site_->Db().Exec(QStringLiteral("INSERT INTO H5ALARM (dahsid, sourcekind, sourceid, condition,"
                                  " priority, state, raisedat, message) VALUES (1, 'PUMP', 5,"
                                  " 'odd', 1, 'BOGUS', NULL, ?)"),
                   {huge});
  site_->Db().Exec(
      QStringLiteral("INSERT INTO H5ALARM (dahsid, sourcekind, sourceid, condition,"
                     " priority, state, raisedat) VALUES (1, 'CHANNEL', 6, 'no time',"
                     " 2, 'ACTIVE_UNACK', NULL)"));
  site_->Db().Exec(
      QStringLiteral("INSERT INTO H5ALARM (dahsid, sourcekind, sourceid, condition,"
                     " state) VALUES (2, 'CHANNEL', 7, 'other dahs', 'ACTIVE_UNACK')"));
  const auto rows = site_->Current();
  EXPECT_EQ(Summary(rows), (QStringList{"3 p1 ACTIVE_UNACK 1 -", "6 no time ACTIVE_UNACK 1 -",
                                        "2 p3 new ACTIVE_UNACK 1 -", "1 p3 old ACTIVE_UNACK 1 -",
                                        "4 acked p1 ACTIVE_ACK 1 a", "5 odd BOGUS 1 -"}));
  EXPECT_FALSE(rows[1].raised.isValid());
  EXPECT_EQ(rows[5].state, AlarmState::Unknown);
  EXPECT_EQ(rows[5].message.size(), huge.size());
  // Nothing acts on an alarm of another DAHS or of an unknown state.
  const auto other =
      site_->Db().Rows(QStringLiteral("SELECT alarmid FROM H5ALARM WHERE dahsid = 2"));
  EXPECT_EQ(Store().Acknowledge({other[0][0].toLongLong(), rows[5].id}, QStringLiteral("a"),
                                At(14, 9, 2), &error),
            0);
  EXPECT_EQ(Store().Shelve({rows[5].id}, QStringLiteral("a"), At(14, 10, 0), At(14, 9, 2), &error),
            0);
}

TEST_P(AlarmStoreTest, AFailedChangeLeavesNothingHalfDone) {
  site_->Raise(DeviceWatchdog(3), At(14, 9, 0));
  // The history cannot take rows: the current row must not change either.
  site_->Db().Exec(QStringLiteral("DROP TABLE H5ALARMHISTORY"));
  QString error;
  EXPECT_FALSE(Store().Acknowledge(IdsOf(QStringLiteral("Watchdog failure")), QStringLiteral("a"),
                                   At(14, 9, 1), &error));
  EXPECT_FALSE(error.isEmpty());
  EXPECT_FALSE(Store().Raise(Condition(AlarmSourceKind::Block, 2, QStringLiteral("x")),
                             At(14, 9, 2), &error));
  EXPECT_EQ(Summary(site_->Current()), QStringList{"3 Watchdog failure ACTIVE_UNACK 1 -"});
}

INSTANTIATE_TEST_SUITE_P(Backends, AlarmStoreTest,
                         ::testing::Values(Backend::Sqlite, Backend::Postgresql), BackendName);

}  // namespace
}  // namespace telmon::test
