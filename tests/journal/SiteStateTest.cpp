// The site state followed through a scripted stream of events from a loopback I/O server
// stand-in, with the channel writes the journal reports.

#include "ioslink/IosConnection.h"
#include "journal/OperationJournal.h"
#include "journal/SiteStateModel.h"
#include "tests/ioslink/IosLinkTestPeer.h"
#include "util/Clock.h"
#include "views/ChannelConfigInfoManager.h"
#include "views/PlantState.h"

#include <QTemporaryDir>

#include <gtest/gtest.h>

namespace telmon {
namespace {

// The session's share of the events for the site state: each read once into its record.
struct SiteStateHandlers final : IIosEventHandlers {
  explicit SiteStateHandlers(SiteStateModel& s) : state(s) {}
  void OnDeviceUpdate(xml::XmlElement e) override {
    if (const DeviceRecord* device = plant.Apply(DeviceEvent::Parse(e))) {
      state.OnDeviceUpdate(*device);
    }
  }
  void OnQueueUpdate(xml::XmlElement /*e*/) override {}
  void OnBlockUpdate(xml::XmlElement /*e*/) override {}
  void OnChannelConfigFullUpdate() override {
    configs.ClearAllConfigInfo();
    state.OnChannelConfigFullUpdate();
  }
  void OnChannelConfigUpdate(xml::XmlElement e) override {
    state.OnChannelConfigUpdate(configs.UpdateConfigInfo(e));
  }
  void OnChannelConfigBurstEnd() override {}
  void OnIOSSettingsUpdate(xml::XmlElement /*e*/) override {}
  void OnMessageEvent(std::int32_t /*msgType*/, const QString& /*text*/) override {}
  SiteStateModel& state;
  PlantState plant;
  ChannelConfigInfoManager configs;
};

// "<group>:<id> <name>: <detail>" per item.
QStringList Describe(const SiteStateModel& state) {
  QStringList out;
  for (const SiteStateModel::Item& item : state.Items()) {
    out << QStringLiteral("%1:%2 %3: %4")
               .arg(static_cast<int>(item.group))
               .arg(item.id)
               .arg(item.name, item.detail);
  }
  return out;
}

TEST(SiteStateTest, FollowsTheEventStreamAndTheJournal) {
  testing::FakeIos ios;
  testing::RecordingSink sink;
  IosLinkSettings settings;
  settings.lookupValue = [&ios](const QString&, const QString&) {
    return QString::number(ios.Port());
  };
  settings.hostName = [] { return QStringLiteral("127.0.0.1"); };
  IosConnection connection(sink, settings);
  ManualClock clock;
  SiteStateModel state(clock);
  SiteStateHandlers handlers(state);
  connection.SetEventHandlers(&handlers);
  connection.ConnectToIOS();
  ASSERT_TRUE(ios.WaitForMonitor());
  ASSERT_TRUE(QTest::qWaitFor([&] { return connection.SocketState() == 3; }, 5000));
  sink.messages.clear();

  QTemporaryDir dir;
  OperationJournal journal(dir.filePath(QStringLiteral("j.sqlite")), {}, sink, clock);
  QObject::connect(&journal, &OperationJournal::Recorded, &state,
                   &SiteStateModel::OnJournalRecorded);

  quint64 sent = 0;
  auto arrive = [&](const QByteArray& bytes) {
    sent += static_cast<quint64>(bytes.size());
    ios.Send(bytes);
    ASSERT_TRUE(QTest::qWaitFor(
        [&] { return connection.BytesReceivedTotal() >= sent && connection.EventsWaiting() == 0; },
        10000));
  };
  struct Step {
    const char* name;
    QByteArray events;
    QStringList items;
  };
  const Step steps[] = {
      {"device goes random, another loses its watchdog, a channel is forced",
       R"(<Event eventtype="DeviceUpdate" DeviceID="1" DeviceName="Stack" WatchdogStatusOk="true" GenerateRandomValues="true"/>)"
       R"(<Event eventtype="DeviceUpdate" DeviceID="2" DeviceName="Boiler" WatchdogStatusStr="Timed out" WatchdogStatusOk="false" GenerateRandomValues="false"/>)"
       R"(<Event eventtype="ChannelConfigFullUpdate" Count="2"/>)"
       R"(<Event eventtype="ChannelConfigUpdate" ID="5" DeviceID="1" Name="NOx" DataSource="ForcedValue"/>)"
       R"(<Event eventtype="ChannelConfigUpdate" ID="6" DeviceID="1" Name="SO2" DataSource="TriangleWave" OscillationMin="0" OscillationMax="100" OscillationPeriod="30"/>)",
       {"0:1 Stack: random values", "1:2 Boiler: Timed out", "2:5 NOx: ForcedValue",
        "2:6 SO2: TriangleWave 0 to 100, half period 30 s"}},
      {"events naming what the configuration does not have, partial events",
       R"(<Event eventtype="DeviceUpdate" DeviceID="77" WatchdogStatusOk="true" GenerateRandomValues="true"/>)"
       R"(<Event eventtype="DeviceUpdate" DeviceID="x"/>)"
       R"(<Event eventtype="ChannelConfigUpdate" ID="" DeviceID="1" DataSource="ForcedValue"/>)",
       {"0:1 Stack: random values", "0:77 : random values", "1:2 Boiler: Timed out",
        "2:5 NOx: ForcedValue", "2:6 SO2: TriangleWave 0 to 100, half period 30 s"}},
      {"everything back to normal",
       R"(<Event eventtype="DeviceUpdate" DeviceID="1" WatchdogStatusOk="true" GenerateRandomValues="false"/>)"
       R"(<Event eventtype="DeviceUpdate" DeviceID="77" WatchdogStatusOk="true" GenerateRandomValues="false"/>)"
       R"(<Event eventtype="DeviceUpdate" DeviceID="2" WatchdogStatusStr="OK" WatchdogStatusOk="true"/>)"
       R"(<Event eventtype="ChannelConfigUpdate" ID="5" DeviceID="1" Name="NOx" DataSource="Device"/>)"
       R"(<Event eventtype="ChannelConfigUpdate" ID="6" DeviceID="1" Name="SO2" DataSource="Device"/>)",
       {}},
  };
  for (const Step& step : steps) {
    SCOPED_TRACE(step.name);
    arrive(step.events);
    EXPECT_EQ(Describe(state), step.items);
    EXPECT_EQ(state.LeftChangedCount(), step.items.size());
  }

  // A written channel stays listed for the rest of the run, with its last value.
  journal.Record({QStringLiteral("WriteToChannel"),
                  {},
                  {},
                  {},
                  JournalOutcome::RecordWritten,
                  {},
                  {{5, QStringLiteral("1")}}});
  clock.Advance(60000);
  journal.Record({QStringLiteral("Bulk mode-code write"),
                  {},
                  {},
                  {},
                  {},
                  {},
                  {{5, QStringLiteral("13")}, {40, QStringLiteral("13")}}});
  const QString when = clock.Now().toString(QStringLiteral("yyyy-MM-dd HH:mm:ss"));
  EXPECT_EQ(Describe(state), (QStringList{"3:5 NOx: 13 at " + when, "3:40 : 13 at " + when}));
  EXPECT_EQ(SiteStateModel::PanelText(state.LeftChangedCount()), "2 left changed");

  EXPECT_FALSE(state.EditMode());
  state.SetEditMode(true);
  EXPECT_TRUE(state.EditMode());
  EXPECT_EQ(state.EditModeSince(), clock.Now());
  EXPECT_TRUE(sink.messages.empty()) << sink.Texts().join('\n').toStdString();
}

}  // namespace
}  // namespace telmon
