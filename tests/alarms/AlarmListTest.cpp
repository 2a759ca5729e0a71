// The alarm list, the horn and the monitor's own left-changed alarms, on alarm rows as the
// database gives them (no database needed: the rows are the input).

#include "alarms/AlarmHorn.h"
#include "alarms/AlarmListManager.h"
#include "alarms/LeftChangedAlarms.h"
#include "util/Clock.h"

#include <QAbstractItemModelTester>
#include <QSignalSpy>

#include <gtest/gtest.h>

namespace telmon {
namespace {

QDateTime At(int h, int m, int s = 0) { return QDateTime(QDate(2024, 3, 14), QTime(h, m, s)); }

AlarmRow Row(std::int64_t id, AlarmState state, int priority, const QDateTime& raised,
             const QString& condition = QStringLiteral("Watchdog failure")) {
  AlarmRow r;
  r.id = id;
  r.dahs = 1;
  r.sourceKind = AlarmSourceKind::Device;
  r.sourceId = static_cast<std::int32_t>(id);
  r.condition = condition;
  r.priority = priority;
  r.state = state;
  r.stateCode = AlarmStateCode(state);
  r.active = state != AlarmState::ClearedUnack;
  r.raised = raised;
  return r;
}

class AlarmListTest : public ::testing::Test {
 protected:
  AlarmListTest() { manager_.InitializeLsv(); }
  QStringList Cells(int row) {
    QStringList cells;
    for (int c = 0; c < model_.ColumnCount(); ++c) {
      cells << model_.SubItem(model_.RowAt(row), c);
    }
    return cells;
  }
  KeyedListModel model_;
  QAbstractItemModelTester tester_{&model_, QAbstractItemModelTester::FailureReportingMode::Fatal};
  AlarmListManager manager_{model_, DateTimeFormats::FromLocale(QLocale::c())};
};

TEST_F(AlarmListTest, EachStateHasItsTextAndColourAndBadRowsAreShownPlainly) {
  AlarmRow shelved = Row(4, AlarmState::Shelved, 2, At(9, 0));
  shelved.shelvedUntil = At(11, 30);
  shelved.shelvedBy = QStringLiteral("super");
  AlarmRow acked = Row(2, AlarmState::ActiveAck, 1, At(9, 0));
  acked.acknowledgedBy = QStringLiteral("super");
  AlarmRow odd = Row(5, AlarmState::Unknown, 7, QDateTime());
  odd.stateCode = QStringLiteral("BOGUS");
  odd.sourceKind.clear();
  odd.message = QStringLiteral("line one\nline two") + QString(1000, QLatin1Char('y'));
  AlarmRow unack = Row(1, AlarmState::ActiveUnack, 1, At(10, 0));
  unack.sourceName = QStringLiteral("CEMS A");
  unack.message = QStringLiteral("Watchdog of device 1 (CEMS A): Failed");
  manager_.UpdateLsv({unack, acked, Row(3, AlarmState::ClearedUnack, 3, At(8, 0)), shelved, odd});

  EXPECT_EQ(model_.Column(0).title, QStringLiteral("Raised"));
  QStringList titles;
  for (int c = 0; c < model_.ColumnCount(); ++c) {
    titles << model_.Column(c).title;
  }
  EXPECT_EQ(titles, (QStringList{"Raised", "Priority", "State", "Source", "Condition", "Message",
                                 "Acknowledged By"}));
  const QString raised =
      FormatDateTimeStyle(At(10, 0), 11, DateTimeFormats::FromLocale(QLocale::c()));
  EXPECT_EQ(Cells(0),
            (QStringList{raised, "Critical", "Active, unacknowledged", "Device 1 (CEMS A)",
                         "Watchdog failure", "Watchdog of device 1 (CEMS A): Failed", ""}));
  EXPECT_EQ(Cells(1)[2], QStringLiteral("Active, acknowledged"));
  EXPECT_EQ(Cells(1)[6], QStringLiteral("super"));
  EXPECT_EQ(Cells(2)[1], QStringLiteral("Medium"));
  EXPECT_EQ(Cells(2)[2], QStringLiteral("Cleared, unacknowledged"));
  EXPECT_EQ(Cells(3)[2],
            QStringLiteral("Shelved until ") +
                FormatDateTimeStyle(At(11, 30), 11, DateTimeFormats::FromLocale(QLocale::c())));
  EXPECT_EQ(Cells(3)[6], QStringLiteral("(shelved by super)"));
  // Unknown state, no time, no source, a long message over several lines.
  const QStringList bad = Cells(4);
  EXPECT_EQ(bad[0], QStringLiteral("(no time)"));
  EXPECT_EQ(bad[1], QStringLiteral("Priority 7"));
  EXPECT_EQ(bad[2], QStringLiteral("Unknown state 'BOGUS'"));
  EXPECT_EQ(bad[3], QStringLiteral("(no source) 5"));
  EXPECT_EQ(bad[5].size(), AlarmMessageDisplayChars + 3);
  EXPECT_TRUE(bad[5].startsWith(QStringLiteral("line one line two")));
  EXPECT_TRUE(bad[5].endsWith(QStringLiteral("...")));

  const std::vector<ColorRef> colours = {AlarmColors::ActiveUnack, AlarmColors::ActiveAck,
                                         AlarmColors::ClearedUnack, AlarmColors::Shelved,
                                         Colors::WindowText};
  for (int row = 0; row < 5; ++row) {
    EXPECT_EQ(model_.RowColor(model_.RowAt(row)), colours[static_cast<std::size_t>(row)]) << row;
  }
  EXPECT_EQ(manager_.Count(), 5);
  EXPECT_EQ(manager_.UnackCount(), 2);  // the active and the cleared one; not the shelved one
  EXPECT_EQ(AlarmListManager::PanelText(5, 2), QStringLiteral("5 alarms (2 unack.)"));
}

TEST_F(AlarmListTest, ARefreshInTheSameOrderRewritesOnlyTheRowsThatChanged) {
  std::vector<AlarmRow> rows = {Row(1, AlarmState::ActiveUnack, 1, At(10, 0)),
                                Row(2, AlarmState::ActiveUnack, 2, At(10, 0)),
                                Row(3, AlarmState::ActiveUnack, 3, At(10, 0))};
  manager_.UpdateLsv(rows);
  model_.SelectPosition(1);
  KeyedListModel::RowRef second = model_.RowAt(1);
  QSignalSpy changed(&model_, &QAbstractItemModel::dataChanged);
  QSignalSpy reset(&model_, &QAbstractItemModel::modelReset);
  rows[2].acknowledgedBy = QStringLiteral("tech");
  manager_.UpdateLsv(rows);
  ASSERT_EQ(changed.count(), 1);
  EXPECT_EQ(changed[0][0].toModelIndex().row(), 2);
  EXPECT_EQ(changed[0][1].toModelIndex().row(), 2);
  EXPECT_EQ(model_.RowAt(1), second);
  manager_.UpdateLsv(rows);  // nothing changed: nothing announced
  EXPECT_EQ(changed.count(), 1);

  // A new alarm on top changes the order: the list is rebuilt, the selection stays on its alarm.
  rows.insert(rows.begin(), Row(9, AlarmState::ActiveUnack, 1, At(10, 5)));
  manager_.UpdateLsv(rows);
  EXPECT_EQ(model_.RowCount(), 4);
  EXPECT_EQ(model_.Key(model_.RowAt(0)), QStringLiteral("A9"));
  EXPECT_EQ(model_.Key(model_.Selected()), QStringLiteral("A2"));
  ASSERT_NE(manager_.AlarmOfKey(QStringLiteral("A3")), nullptr);
  EXPECT_EQ(manager_.AlarmOfKey(QStringLiteral("A3"))->acknowledgedBy, QStringLiteral("tech"));
  // An alarm moved (acknowledged: its group changed) and one gone: the others stay in place.
  KeyedListModel::RowRef a9 = model_.FindKey(QStringLiteral("A9"));
  AlarmRow moved = rows[1];  // A1
  moved.state = AlarmState::ActiveAck;
  moved.stateCode = AlarmStateCode(AlarmState::ActiveAck);
  manager_.UpdateLsv({rows[0], rows[2], moved});
  QStringList keys;
  for (int row = 0; row < model_.RowCount(); ++row) {
    keys << model_.Key(model_.RowAt(row));
  }
  EXPECT_EQ(keys, (QStringList{"A9", "A2", "A1"}));
  EXPECT_EQ(model_.FindKey(QStringLiteral("A9")), a9);
  EXPECT_EQ(Cells(2)[AlarmListManager::State], QStringLiteral("Active, acknowledged"));
  EXPECT_EQ(manager_.AlarmOfKey(QStringLiteral("A3")), nullptr);
  EXPECT_EQ(manager_.AlarmOfKey(QStringLiteral("A1"))->state, AlarmState::ActiveAck);
  // Many new alarms at once: the list is made afresh, with the same result.
  std::vector<AlarmRow> many;
  for (int i = 0; i < 100; ++i) {
    many.push_back(Row(100 + i, AlarmState::ActiveUnack, 4, At(9, 0).addSecs(-i)));
  }
  manager_.UpdateLsv(many);
  ASSERT_EQ(model_.RowCount(), 100);
  EXPECT_EQ(model_.Key(model_.RowAt(99)), QStringLiteral("A199"));
  manager_.UpdateLsv({});
  EXPECT_EQ(model_.RowCount(), 0);
  EXPECT_EQ(manager_.AlarmOfKey(QStringLiteral("A3")), nullptr);
}

TEST_F(AlarmListTest, TheMonitorsOwnAlarmsTakeTheirPlaceInTheOrderAndAreNotCountedAsUnack) {
  AlarmRow own = Row(0, AlarmState::ActiveAck, 3, At(9, 30), QStringLiteral("Left forced"));
  own.monitorOwn = true;
  own.sourceKind = AlarmSourceKind::Channel;
  own.sourceId = 17;
  manager_.UpdateLsv(
      {Row(1, AlarmState::ActiveUnack, 1, At(10, 0)), Row(2, AlarmState::ActiveAck, 2, At(10, 0)),
       Row(3, AlarmState::ActiveAck, 4, At(10, 0))},
      {own});
  QStringList keys;
  for (int row = 0; row < model_.RowCount(); ++row) {
    keys << model_.Key(model_.RowAt(row));
  }
  EXPECT_EQ(keys, (QStringList{"A1", "A2", "MCHANNEL:17:Left forced", "A3"}));
  EXPECT_EQ(Cells(2)[2], QStringLiteral("Left changed (Telmon)"));
  EXPECT_EQ(manager_.UnackCount(), 1);
  // Each row's key finds its alarm, the monitor's by its key text; other texts find none.
  ASSERT_NE(manager_.AlarmOfKey(keys[2]), nullptr);
  EXPECT_TRUE(manager_.AlarmOfKey(keys[2])->monitorOwn);
  EXPECT_EQ(manager_.AlarmOfKey(keys[3])->priority, 4);
  for (const char* other : {"A", "A3x", "MCHANNEL:18:Left forced", "3", ""}) {
    EXPECT_EQ(manager_.AlarmOfKey(QString::fromLatin1(other)), nullptr) << other;
  }
}

TEST(AlarmHornTest, SoundsForUnacknowledgedCriticalAndHighAlarmsUntilSilencedOrAcknowledged) {
  AlarmHorn horn;
  const AlarmRow p1 = Row(1, AlarmState::ActiveUnack, 1, At(10, 0));
  const AlarmRow p3 = Row(3, AlarmState::ActiveUnack, 3, At(10, 0));
  EXPECT_FALSE(horn.Update({p3}));
  EXPECT_TRUE(horn.Update({p1, p3}));
  EXPECT_TRUE(horn.Update({p1, p3}));  // again at the next refresh
  horn.Silence();
  EXPECT_FALSE(horn.Update({p1, p3}));
  // A new high alarm sounds again, and silencing covers it too.
  const AlarmRow p2 = Row(2, AlarmState::ActiveUnack, 2, At(10, 1));
  EXPECT_TRUE(horn.Update({p1, p2, p3}));
  horn.Silence();
  EXPECT_FALSE(horn.Update({p1, p2}));
  // The same alarm raised again after it cleared is a new activation.
  AlarmRow again = p1;
  again.raised = At(10, 5);
  EXPECT_TRUE(horn.Update({again, p2}));
  // Acknowledged, cleared or shelved alarms do not sound.
  for (const AlarmState quiet : {AlarmState::ActiveAck, AlarmState::ClearedUnack,
                                 AlarmState::Shelved, AlarmState::Unknown}) {
    EXPECT_FALSE(horn.Update({Row(1, quiet, 1, At(10, 6))})) << AlarmStateCode(quiet).toStdString();
  }
}

TEST(LeftChangedAlarmsTest, AChangeLeftLongerThanTheLimitBecomesTheMonitorsAlarm) {
  ManualClock clock;
  clock.SetNow(At(6, 0));
  LeftChangedAlarms left(clock, 8 * 3600);
  using G = SiteStateModel::Group;
  const std::vector<SiteStateModel::Item> items = {
      {G::RandomDevice, 3, QStringLiteral("CEMS A"), QString()},
      {G::WatchdogNotOk, 4, QStringLiteral("NH3"), QString()},
      {G::WrittenChannel, 12, QString(), QString()}};
  left.Update(items);
  clock.SetNow(At(10, 0));
  auto both = items;
  both.push_back({G::ForcedChannel, 17, QStringLiteral("Test NOx Forced"), QString()});
  left.Update(both);
  clock.SetNow(At(13, 59, 59));
  left.Update(both);
  EXPECT_TRUE(left.Alarms().empty());
  clock.SetNow(At(14, 0));
  left.Update(both);
  auto alarms = left.Alarms();
  ASSERT_EQ(alarms.size(), 1U);
  EXPECT_TRUE(alarms[0].monitorOwn);
  EXPECT_EQ(alarms[0].sourceKind, AlarmSourceKind::Device);
  EXPECT_EQ(alarms[0].sourceId, 3);
  EXPECT_EQ(alarms[0].condition, QStringLiteral("Left in random values"));
  EXPECT_EQ(alarms[0].raised, At(14, 0));
  EXPECT_EQ(alarms[0].message,
            QStringLiteral("Random values since 2024-03-14 06:00:00, longer than 8 h"));
  clock.SetNow(At(18, 0));
  left.Update(both);
  ASSERT_EQ(left.Alarms().size(), 2U);
  EXPECT_EQ(left.Alarms()[1].condition, QStringLiteral("Left forced"));
  EXPECT_EQ(left.Alarms()[1].sourceName, QStringLiteral("Test NOx Forced"));
  // Put back, the change is forgotten; changed again, its time starts again.
  left.Update({both[3]});
  left.Update(both);
  ASSERT_EQ(left.Alarms().size(), 1U);
  EXPECT_EQ(left.Alarms()[0].sourceId, 17);

  for (const auto& [text, seconds] :
       std::vector<std::pair<QString, std::int64_t>>{{QString(), 8 * 3600},
                                                     {QStringLiteral("2"), 7200},
                                                     {QStringLiteral(" 0.5 "), 1800},
                                                     {QStringLiteral("0"), 8 * 3600},
                                                     {QStringLiteral("-3"), 8 * 3600},
                                                     {QStringLiteral("eight"), 8 * 3600},
                                                     {QStringLiteral("nan"), 8 * 3600}}) {
    EXPECT_EQ(LeftChangedAlarms::LimitFromLookup(text), seconds) << text.toStdString();
  }
}

}  // namespace
}  // namespace telmon
