// Entries written by the real operations and read back from a real SQLite journal: the device
// buttons through the scripted operator and real privilege checks, the forcing dialog's
// record and command, and a bulk write as one entry.

#include "ioslink/IosCommands.h"
#include "journal/JournaledSender.h"
#include "journal/OperationJournal.h"
#include "platform/H5DBIL.h"
#include "platform/SecurityPrivilegeGate.h"
#include "platform/testing/ScriptedPrompter.h"
#include "tests/platform/SiteDatabaseFixture.h"
#include "tests/support/JournalAndAccounts.h"
#include "tests/util/QStringPrinter.h"
#include "tests/views/ViewsTestSupport.h"
#include "tools/IOSSettings.h"
#include "util/Clock.h"
#include "views/ChannelConfigInfoManager.h"
#include "views/DeviceOperations.h"
#include "views/QueueListviewManager.h"
#include "watches/ChangeChanValueModel.h"
#include "watches/ChannelValueWriter.h"

#include <QTemporaryDir>

#include <gtest/gtest.h>

namespace telmon {
namespace {

class EditMode final : public IEditGate {
 public:
  bool EditsAllowed() const override { return on; }
  bool AskWhetherUserWantsToEnableEditing() override { return on; }
  bool on = false;
};

class JournalOperationsTest : public ::testing::Test {
 protected:
  void SetUp() override {
    db_.Init();
    test::AddSiteAccounts(db_.ConnectionString(), {{QStringLiteral("tech"), 251}});
  }

  test::ScratchDatabase db_{test::Backend::Sqlite};
  QTemporaryDir dir_;
  ScriptedPrompter prompter_;
  ManualClock clock_;
  test::CollectingSink sink_;
  test::LoopbackPeer peer_;
  OperationJournal journal_{
      dir_.filePath(QStringLiteral("j.sqlite")), {1, QStringLiteral("PC")}, sink_, clock_};
  JournaledSender journaled_{peer_, &journal_};
};

TEST_F(JournalOperationsTest, DeviceButtonsAreJournaledWithWhoAndWhat) {
  KeyedListModel model;
  DeviceListviewManager devices;
  devices.Setup(sink_, journaled_, model);
  const test::ParsedEvents events(
      QStringLiteral(R"(<Event eventtype="DeviceUpdate" DeviceID="12" DeviceName="Stack CEMS"/>)"));
  devices.UpdateOneItemInLsv(events[0]);
  EditMode edit;
  SecurityPrivilegeGate gate{
      prompter_, clock_, sink_,
      SecuritySettings{"S", "EN", db_.ConnectionString(), db_.ConnectionString(), "Telmon", "1"}};
  DeviceOperations ops{devices, {&edit, &gate, &prompter_, &sink_, "Telmon", "S", &journaled_}};

  edit.on = true;
  journal_.SetEditAccount(QStringLiteral("super"));
  ops.PollAll(1);
  model.Select(model.FindKey(QStringLiteral("12K")));
  ops.PollSelected(0);
  ops.SetClock();
  edit.on = false;
  journal_.SetEditAccount(QString());
  prompter_.QueueCredentials(Credentials{QStringLiteral("tech"), QStringLiteral("pw")});
  prompter_.QueueInput(QStringLiteral("10.1.2.3"));
  ops.ChangeIPAddress();
  prompter_.QueueCredentials(Credentials{QStringLiteral("tech"), QStringLiteral("pw")});
  prompter_.QueueAnswer(PromptAnswer::No);
  ops.Failover();  // declined: nothing sent, nothing journaled
  prompter_.QueueCredentials(Credentials{QStringLiteral("tech"), QStringLiteral("pw")});
  prompter_.QueueAnswer(PromptAnswer::Yes);
  ops.EraseHDR();

  EXPECT_EQ(
      test::JournalLines(journal_.ReadAll()),
      (QStringList{
          R"(Random values on (all)|super|all devices||<Command action="SetDeviceToRandomMode" id="*" value="1"/>|sent)",
          R"(Random values off|super|12 Stack CEMS||<Command action="SetDeviceToRandomMode" id="12" value="0"/>|sent)",
          R"(Set clock|-|12 Stack CEMS||<Command action="SetDeviceClock" id="12"/>|sent)",
          R"(Change IP address|tech|12 Stack CEMS|10.1.2.3|<Command action="SetDeviceIPAddress" id="12" value="10.1.2.3"/>|sent)",
          R"(Erase HDR|tech|12 Stack CEMS||<Command action="EraseHDRForDevice" id="12"/>|sent)",
      }));
  EXPECT_EQ(sink_.Texts().filter(QStringLiteral("TELM-9002")), QStringList());
}

TEST_F(JournalOperationsTest, ForcingAndBulkWritesAreJournaledAsRecordsAndCommands) {
  H5DBIL dbil;
  const QString c = db_.ConnectionString();
  ASSERT_TRUE(dbil.SetSiteID(QStringLiteral("PLANT1"), QStringLiteral("EN"), {c, c, c, c, c}));
  ChannelConfigInfoManager configs;
  const test::ParsedEvents events(QStringLiteral(
      R"(<Event eventtype="ChannelConfigUpdate" ID="5" Name="NOx, test" DeviceID="1" BlockID="1" DataSource="ForcedValue"/>
         <Event eventtype="ChannelConfigUpdate" ID="6" Name="O2" DeviceID="1" BlockID="1" DataSource="Device"/>)"));
  for (xml::XmlElement e : events.All()) {
    configs.UpdateConfigInfo(e);
  }
  ChannelValueWriter writer(dbil, sink_);
  writer.SetJournal(&journal_, [&configs](std::int32_t id) {
    const ChannelConfigInfo* info = configs.Item(QString::number(id));
    return info == nullptr ? QString() : info->Name;
  });
  // What the watch list showed: one value for 5 and 6, nothing for 99 (not watched).
  const auto shown = [](std::int32_t id) { return id == 99 ? QString() : QStringLiteral("13"); };
  writer.SetPreviousValues(shown);
  journal_.SetEditAccount(QStringLiteral("super"));
  ChangeChanValueModel model(ChangeValueServices{configs, writer, peer_, prompter_,
                                                 QStringLiteral("Telmon"), &journaled_, shown});
  model.SetChannelID(5);
  model.SelectOption(ChangeChanValueModel::FixedOption);
  model.SetNewValueText(QStringLiteral("42.5"));
  ASSERT_TRUE(model.Change());
  writer.WriteChannelValueRecords(QStringLiteral("TELM-0063"), {{5, Value(1)}, {6, Value(2)}},
                                  QStringLiteral("Cal HDR write"));
  writer.WriteChannelValueRecords(QStringLiteral("TELM-0075"),
                                  {{5, Value(13)}, {6, Value(13)}, {99, Value(13)}},
                                  QStringLiteral("Bulk mode-code write"));
  // A value no record can carry is reported and journaled as not written.
  writer.WriteChannelValueRecord(QStringLiteral("TELM-0037"), 6, Value(QStringLiteral("a\x01")));

  QStringList lines = test::JournalLines(journal_.ReadAll());
  ASSERT_EQ(lines.size(), 5) << lines.join('\n').toStdString();
  QStringList previous;
  for (const JournalEntry& e : journal_.ReadAll()) {
    previous << e.previous;
  }
  EXPECT_EQ(previous, QStringList({"13", "13", "13", "(several values)", "13"}));
  EXPECT_TRUE(lines[2].startsWith("Cal HDR write|super|2 channels: 5, 6|(several values)|"))
      << lines[2].toStdString();
  lines.removeAt(2);
  EXPECT_EQ(
      lines[0],
      R"(WriteToChannel|super|5 NOx, test|42.5|<Command action="WriteToChannel" id="5" value="42.5" />|record written)");
  EXPECT_EQ(
      lines[1],
      R"(ForceChannelValue|super|5 NOx, test|42.5|<Command action="ForceChannelValue" id="5" value="42.5" DataSource="ForcedValue" />|sent)");
  EXPECT_EQ(lines[2],
            "Bulk mode-code write|super|3 channels: 5, 6, 99|13|"
            R"(<Command action="WriteToChannel" id="5" value="13" />)"
            "\n(and 2 more records)|3 records written");
  EXPECT_TRUE(lines[3].startsWith("WriteToChannel|super|6 O2|"));
  EXPECT_TRUE(
      lines[3].endsWith("|TELM-0036: Could not write msg record to change channel value "
                        "(6=a\x01)"))
      << lines[3].toStdString();
  EXPECT_EQ(
      peer_.Received(),
      QByteArray(
          R"(<Command action="ForceChannelValue" id="5" value="42.5" DataSource="ForcedValue" />)"));
}

// The settings page as the operator uses it; a box change runs the handler, as typing does.
class SettingsView final : public IIOSSettingsView {
 public:
  void SetLogLevelText(const QString& /*text*/) override {}
  void SetLogIsActiveText(const QString& /*text*/) override {}
  QString URPText() const override { return urp; }
  void SetURPText(const QString& text) override { urp = text; }
  void SetRIDText(const QString& text) override { logic->OnRIDTextChanged(text); }
  void ShowURPStorageNotice() override {}
  QString urp = QStringLiteral("5");
  IOSSettingsLogic* logic = nullptr;
};

TEST_F(JournalOperationsTest, SettingsChangesAndQueueResetAreJournaledButNotTheServersEcho) {
  SettingsView view;
  IOSSettingsLogic settings(view, peer_, sink_);
  view.logic = &settings;
  settings.SetJournaledSender(&journaled_);
  const test::ParsedEvents before(QStringLiteral(
      R"(<Event eventtype="IOSSettingsUpdate" LogLevel="0" IsLogActive="1" URP="5" RID="100"/>)"));
  settings.OnSettingsEvent(before[0]);
  settings.OnRefreshSettings();  // a question, not a change
  settings.OnSetLogLevelAll();
  settings.OnStartStopRestartLog();
  settings.OnIncreaseURP();
  settings.OnRIDTextChanged(QStringLiteral("250"));
  const test::ParsedEvents events(
      QStringLiteral(R"(<Event eventtype="IOSSettingsUpdate" LogLevel="2" URP="6" RID="250"/>)"));
  settings.OnSettingsEvent(events[0]);
  KeyedListModel model;
  QueueListviewManager queues;
  queues.Setup(sink_, peer_, model);
  queues.SetJournaledSender(&journaled_);
  queues.ResetCounters();

  EXPECT_EQ(
      test::JournalLines(journal_.ReadAll()),
      (QStringList{
          R"(Log level All|-|I/O server||<Command action="SetLogLevel" value="2"/><Command action="GetIOSSettings" />|sent)",
          R"(Log reset|-|I/O server||<Command action="ResetLog" /><Command action="GetIOSSettings" />|sent)",
          "Set URP|-|I/O server|6|" + IOSSettingsCommands::SetURP(6) + "|sent",
          "Set RID|-|I/O server|250|" + IOSSettingsCommands::SetRID(250) + "|sent",
          "Reset queue counters|-|all queues||" + IosCommands::ResetQCounters() + "|sent",
      }));
  // Each change names what it replaced: the server's last report or the page's last change.
  settings.OnRIDTextChanged(QStringLiteral("300"));
  QStringList previous;
  for (const JournalEntry& e : journal_.ReadAll()) {
    previous << e.previous;
  }
  EXPECT_EQ(previous, QStringList({"0 - Normal", "log active: YES", "5", "100", "", "250"}));
}

}  // namespace
}  // namespace telmon
