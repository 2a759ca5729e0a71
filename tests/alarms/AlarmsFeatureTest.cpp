// The alarms page, its panel, the horn and the statistics window over a real alarms database,
// and the simulator's alarms reaching the page.

#include "alarms/ui/AlarmsFeature.h"
#include "alarms/ui/AlarmsPage.h"
#include "alarms/ui/frmAlarmStatistics.h"
#include "iossim/SimAlarms.h"
#include "journal/OperationJournal.h"
#include "platform/testing/ScriptedPrompter.h"
#include "tests/alarms/AlarmTestSupport.h"
#include "tests/iossim/SimTestClient.h"
#include "tests/views/ViewsTestSupport.h"
#include "views/PlantState.h"

#include <QComboBox>
#include <QItemSelectionModel>
#include <QLabel>
#include <QPushButton>
#include <QStatusBar>
#include <QTemporaryDir>

#include <gtest/gtest.h>

namespace telmon::test {
namespace {

class EditOn final : public IEditGate {
 public:
  bool EditsAllowed() const override { return true; }
  bool AskWhetherUserWantsToEnableEditing() override { return true; }
};

// One feature on the page of a status bar, over `connection`.
struct FeatureRig {
  explicit FeatureRig(const QString& connection) {
    clock.SetNow(At(14, 10, 0));
    feature = std::make_unique<AlarmsFeature>(
        AlarmsFeature::Settings{connection, 1, 8 * 3600},
        AlarmsFeature::Services{sink, clock, prompter, edit, journal, siteState,
                                [] { return QStringLiteral("super"); }},
        &bar, nullptr);
  }
  ~FeatureRig() { delete feature->Page(); }
  QStringList Column(int column) {
    QStringList cells;
    KeyedListModel& m = *feature->Model();
    for (int row = 0; row < m.RowCount(); ++row) {
      cells << m.SubItem(m.RowAt(row), column);
    }
    return cells;
  }
  void Click(const char* button) { feature->Page()->Button(QLatin1String(button))->click(); }
  void SelectRow(int row) {
    QTreeView* view = feature->Page()->lsvAlarms();
    view->selectionModel()->select(view->model()->index(row, 0),
                                   QItemSelectionModel::Select | QItemSelectionModel::Rows);
  }

  QTemporaryDir dir;
  ManualClock clock;
  CollectingSink sink;
  ScriptedPrompter prompter;
  EditOn edit;
  OperationJournal journal{
      dir.filePath(QStringLiteral("j.sqlite")), {1, QStringLiteral("PC")}, sink, clock};
  SiteStateModel siteState{clock};
  QStatusBar bar;
  std::unique_ptr<AlarmsFeature> feature;
};

TEST(AlarmsFeatureTest, ThePageAcknowledgesShelvesAndTheShelfEndsUnacknowledged) {
  AlarmDatabase site(Backend::Sqlite);
  site.Raise(DeviceWatchdog(3), At(14, 9, 0));
  site.Raise(Condition(AlarmSourceKind::Channel, 17, QStringLiteral("Out of range"), 3),
             At(14, 9, 1));
  site.Raise(Condition(AlarmSourceKind::Channel, 18, QStringLiteral("Out of range"), 3),
             At(14, 9, 2));
  FeatureRig rig(site.Connection());
  rig.feature->Refresh();
  QLabel* panel = rig.feature->Panel();
  EXPECT_EQ(panel->text(), QStringLiteral("3 alarms (3 unack.)"));
  EXPECT_TRUE(panel->styleSheet().contains(QStringLiteral("#c00000")));
  EXPECT_EQ(rig.prompter.BeepCount(), 1);  // the critical watchdog alarm
  rig.feature->Refresh();
  EXPECT_EQ(rig.prompter.BeepCount(), 2);  // again at every refresh ...
  rig.Click("cmdSilence");
  rig.feature->Refresh();
  EXPECT_EQ(rig.prompter.BeepCount(), 2);  // ... until silenced

  rig.SelectRow(0);
  rig.Click("cmdAcknowledge");
  EXPECT_EQ(
      rig.Column(AlarmListManager::State),
      (QStringList{"Active, unacknowledged", "Active, unacknowledged", "Active, acknowledged"}));
  EXPECT_EQ(panel->text(), QStringLiteral("3 alarms (2 unack.)"));
  // "All shown" takes what the filter shows, not the whole list.
  rig.feature->Page()->lsvAlarms()->SetFilterText(QStringLiteral("Channel 18"));
  rig.Click("cmdAcknowledgeShown");
  rig.feature->Page()->lsvAlarms()->SetFilterText(QString());
  EXPECT_EQ(Summary(site.Current()), (QStringList{"17 Out of range ACTIVE_UNACK 1 -",
                                                  "3 Watchdog failure ACTIVE_ACK 1 super",
                                                  "18 Out of range ACTIVE_ACK 1 super"}));
  rig.SelectRow(0);
  rig.feature->Page()->ShelveTime()->setCurrentIndex(0);  // 15 min
  rig.Click("cmdShelve");
  EXPECT_EQ(rig.Column(AlarmListManager::State).last(),
            QStringLiteral("Shelved until ") + FormatDateTimeStyle(At(14, 10, 15), 11));
  EXPECT_EQ(panel->text(), QStringLiteral("3 alarms (0 unack.)"));
  EXPECT_TRUE(panel->styleSheet().isEmpty());
  QStringList journaled;
  for (const JournalEntry& e : rig.journal.ReadAll()) {
    journaled << e.operation + QStringLiteral("|") + e.value;
  }
  EXPECT_EQ(journaled,
            (QStringList{"Acknowledge alarms|", "Acknowledge alarms|", "Shelve alarms|15 min"}));

  rig.clock.SetNow(At(14, 10, 14, 59));
  rig.feature->Refresh();
  EXPECT_EQ(Summary(site.Current())[2], QStringLiteral("17 Out of range SHELVED 1 -"));
  rig.clock.SetNow(At(14, 10, 15));
  rig.feature->Refresh();
  EXPECT_EQ(Summary(site.Current())[0], QStringLiteral("17 Out of range ACTIVE_UNACK 1 -"));
  EXPECT_EQ(rig.Column(AlarmListManager::State)[0], QStringLiteral("Active, unacknowledged"));
  EXPECT_EQ(panel->text(), QStringLiteral("3 alarms (1 unack.)"));
}

TEST(AlarmsFeatureTest, AnUnreadableAlarmsDatabaseIsReportedOnceAndShownOnThePage) {
  ScratchDatabase db(Backend::Sqlite);
  db.Init(3);  // a site database from before the alarm tables
  FeatureRig rig(db.ConnectionString());
  rig.feature->Refresh();
  rig.feature->Refresh();
  ASSERT_EQ(rig.sink.messages.size(), 1U);
  EXPECT_TRUE(rig.sink.messages[0].second.startsWith(
      QStringLiteral("TELM-9022: Can't read the alarms database: ")))
      << rig.sink.messages[0].second.toStdString();
  EXPECT_EQ(rig.sink.messages[0].first, MsgType::Error);
  QLabel* note = rig.feature->Page()->findChild<QLabel*>(QStringLiteral("lblAlarmsNote"));
  ASSERT_NE(note, nullptr);
  EXPECT_EQ(note->text(), rig.sink.messages[0].second);
  EXPECT_EQ(rig.feature->Panel()->text(), QStringLiteral("0 alarms (0 unack.)"));
  db.Init();  // upgraded: the page works again
  rig.feature->Refresh();
  EXPECT_TRUE(note->text().isEmpty());
  EXPECT_EQ(rig.sink.messages.size(), 1U);
}

TEST(AlarmsFeatureTest, TheStatisticsWindowSummarisesTheHistory) {
  AlarmDatabase site(Backend::Sqlite);
  for (int i = 0; i < 12; ++i) {
    site.Raise(Condition(AlarmSourceKind::Channel, 100 + i, QStringLiteral("Out of range"), 3),
               At(14, 9, 40, i));
  }
  FeatureRig rig(site.Connection());
  rig.feature->Refresh();
  rig.Click("cmdStatistics");
  frmAlarmStatistics& w = rig.feature->StatisticsWindow();
  EXPECT_TRUE(w.isVisible());
  EXPECT_EQ(w.Summary(),
            QStringLiteral("12 alarms in the last 24 hours. Floods (more than 10 alarms in 10 "
                           "minutes): 1. Chattering: 0. Stale (active more than 24 hours): 0."));
  EXPECT_TRUE(w.ReportHtml().contains(QStringLiteral("2024-03-14 09:40")));
  w.close();
}

TEST(AlarmsFeatureTest, ADeviceLeftInRandomValuesBecomesTheMonitorsOwnAlarmAfterTheLimit) {
  AlarmDatabase site(Backend::Sqlite);
  FeatureRig rig(site.Connection());
  const ParsedEvents events(QStringLiteral(
      R"(<Event eventtype="DeviceUpdate" DeviceID="4" DeviceName="Boiler" WatchdogStatusOk="true")"
      R"( GenerateRandomValues="true"/>)"));
  PlantState plant;
  rig.siteState.OnDeviceUpdate(*plant.Apply(DeviceEvent::Parse(events[0])));
  rig.feature->Refresh();
  EXPECT_EQ(rig.feature->Model()->RowCount(), 0);
  rig.clock.SetNow(At(14, 17, 59, 59));
  rig.feature->Refresh();
  EXPECT_EQ(rig.feature->Model()->RowCount(), 0);
  rig.clock.SetNow(At(14, 18, 0));
  rig.feature->Refresh();
  EXPECT_EQ(rig.Column(AlarmListManager::State), QStringList{"Left changed (Telmon)"});
  EXPECT_EQ(rig.Column(AlarmListManager::Source), QStringList{"Device 4 (Boiler)"});
  EXPECT_EQ(rig.Column(AlarmListManager::Condition), QStringList{"Left in random values"});
  // Counted as an alarm, not as one waiting for an acknowledgement, and never in the database.
  EXPECT_EQ(rig.feature->Panel()->text(), QStringLiteral("1 alarms (0 unack.)"));
  EXPECT_TRUE(site.Current().empty());
  EXPECT_EQ(rig.prompter.BeepCount(), 0);
  // Polling again ends it.
  const ParsedEvents polled(QStringLiteral(
      R"(<Event eventtype="DeviceUpdate" DeviceID="4" DeviceName="Boiler" WatchdogStatusOk="true")"
      R"( GenerateRandomValues="false"/>)"));
  rig.siteState.OnDeviceUpdate(*plant.Apply(DeviceEvent::Parse(polled[0])));
  rig.feature->Refresh();
  EXPECT_EQ(rig.feature->Model()->RowCount(), 0);
}

class SimulatorAlarmsTest : public iossim::testing::DemoSiteTest {};

TEST_F(SimulatorAlarmsTest, TheSimulatorsAlarmsAreOnThePageAtTheFirstRefresh) {
  iossim::SimOptions options = Options(1);
  options.alarmFlood = 12;
  options.alarmChatterChannel = 1216;
  Start(options);
  FeatureRig rig(QStringLiteral("sqlite:") + Path(QStringLiteral("dahs1.sqlite")));
  rig.feature->Refresh();
  const QStringList conditions = rig.Column(AlarmListManager::Condition);
  EXPECT_EQ(conditions.filter(QStringLiteral("Flood test")).size(), 12);
  EXPECT_EQ(conditions.filter(QStringLiteral("Chatter test")).size(), 1);
  EXPECT_EQ(rig.feature->Panel()->text(),
            AlarmListManager::PanelText(static_cast<int>(conditions.size()),
                                        static_cast<int>(conditions.size())));
}

TEST(SimAlarmsTest, ConditionsRaiseAndClearTheirAlarmsAndTheTestAlarmsComeAndGo) {
  AlarmDatabase site(Backend::Sqlite);
  // An alarm still active from an earlier run whose condition is gone is cleared at once.
  site.Raise(Condition(AlarmSourceKind::Block, 5, QStringLiteral("Read failure"), 2), At(13, 9, 0));
  iossim::SimAlarms sim(site.Connection(), 1);
  sim.SetFlood(2);
  sim.SetChatter(7);
  QString error;
  const AlarmCondition watchdog = DeviceWatchdog(3);
  ASSERT_TRUE(sim.Sync({watchdog}, At(14, 10, 0), 0.0, &error)) << error.toStdString();
  QStringList first = Summary(site.Current());
  first.sort();
  EXPECT_EQ(first,
            (QStringList{"3 Watchdog failure ACTIVE_UNACK 1 -", "5 Read failure CLEARED_UNACK 0 -",
                         "7 Chatter test ACTIVE_UNACK 1 -", "900001 Flood test ACTIVE_UNACK 1 -",
                         "900002 Flood test ACTIVE_UNACK 1 -"}));
  ASSERT_TRUE(sim.Sync({watchdog}, At(14, 10, 10), 10.0, &error));  // the chatter pauses
  ASSERT_TRUE(sim.Sync({}, At(14, 10, 20), 20.0, &error));          // and comes back
  ASSERT_TRUE(sim.Sync({}, At(14, 12, 10), 130.0, &error));         // the burst is over
  QStringList states;
  for (const AlarmRow& r : site.Current()) {
    states << QStringLiteral("%1 %2").arg(r.sourceId).arg(r.stateCode);
  }
  states.sort();
  EXPECT_EQ(states, (QStringList{"3 CLEARED_UNACK", "5 CLEARED_UNACK", "7 CLEARED_UNACK",
                                 "900001 CLEARED_UNACK", "900002 CLEARED_UNACK"}));
  const QStringList history = site.History();
  EXPECT_EQ(history.filter(QStringLiteral("7 RAISED")).size(), 2);
  EXPECT_EQ(history.filter(QStringLiteral("7 CLEARED")).size(), 2);
}

}  // namespace
}  // namespace telmon::test
