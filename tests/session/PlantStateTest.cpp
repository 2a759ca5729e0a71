// The plant state read from events as the simulator sends them, then with one attribute of each
// kind (text, Boolean, number, time) left out, sent empty or garbled; and the one rule for a
// device whose event does not say its watchdog is OK, on the page and in the site state alike.

#include "journal/SiteStateModel.h"
#include "tests/util/QStringPrinter.h"
#include "util/Clock.h"
#include "views/BlockListviewManager.h"
#include "views/DeviceListviewManager.h"
#include "views/KeyedListModel.h"
#include "views/PlantState.h"
#include "views/QueueListviewManager.h"

#include <gtest/gtest.h>

#include <functional>

namespace telmon {
namespace {

const QString kDevice = QStringLiteral(
    R"(<Event eventtype="DeviceUpdate" DeviceID="3" DeviceName="NH3 analyzer" DriverName="Modbus" PLCType="NH3" Connection="10.10.1.13" PortName="502" WatchdogTimeout="30" WatchdogStatusStr="OK" WatchdogStatusOk="true" GenerateRandomValues="false" FailoverStatus="Not redundant" RecentClock="2026-11-25 18:00:05"/>)");
const QString kQueue = QStringLiteral(
    R"(<Event eventtype="QUpdate" QName="Q1" DriverName="Modbus" PortName="502" Size="4" PeakSize="9" RequestsServiced="120" IOSuccessCount="118" IOFailureCount="2" DelayCount="0" CommOpenErrors="1" DupWriteCancelCount="3" IsPaused="false"/>)");
const QString kBlock = QStringLiteral(
    R"(<Event eventtype="BlockUpdate" BlockID="105" BlockName="Analog" DeviceID="3" DataTypeName="Float" DataAddress="40001" DataQty="16" RefreshInterval="1000" FastReadEnabled="false" Disabled="false" ImplicitChannelID="0" IsHDRBlock="true" ContainsWatchdog="true" FailCount="0" DeviceIsGenRandomValues="false"/>)");

struct Quiet final : IRaiseMsg, ICommandSender {
  void RaiseMsg(std::int32_t /*msgType*/, const QString& /*text*/) override {}
  SendOutcome SendCommand(const QString& /*command*/) override { return {}; }
};

// The first event, then `second` with one attribute replaced (`from` by `to`).
struct Change {
  const char* name;
  const char* from;
  const char* to;
};

class Events {
 public:
  explicit Events(const QString& fragment) : doc_(xml::ParseXmlFragment(nullptr, fragment)) {}
  xml::XmlElement operator[](std::size_t i) const {
    return xml::SelectNodes(doc_, "//Event").at(i);
  }

 private:
  xml::XmlDocument doc_;
};

QString Changed(const QString& event, const Change& c) {
  QString second = event;
  second.replace(QString::fromUtf8(c.from), QString::fromUtf8(c.to));
  return event + second;
}

TEST(PlantStateTest, DeviceFieldsAreTypedAndPartialEventsKeepWhatWasSaid) {
  struct Case {
    Change change;
    std::function<void(const DeviceRecord&)> check;
  };
  const QDateTime clock(QDate(2026, 11, 25), QTime(18, 0, 5));
  const Case cases[] = {
      {{"as sent", "", ""},
       [&](const DeviceRecord& d) {
         EXPECT_EQ(d.id, 3);
         EXPECT_EQ(d.name, "NH3 analyzer");
         EXPECT_EQ(d.watchdogTimeout, 30);
         EXPECT_TRUE(d.watchdogOk);
         EXPECT_EQ(d.random, std::optional<bool>(false));
         EXPECT_EQ(d.RecentClockTime(), clock);
         EXPECT_EQ(d.recentClock, "2026-11-25 18:00:05");
       }},
      {{"text missing", R"( DeviceName="NH3 analyzer")", ""},
       [](const DeviceRecord& d) { EXPECT_EQ(d.name, "NH3 analyzer"); }},
      {{"text empty", R"(DeviceName="NH3 analyzer")", R"(DeviceName="")"},
       [](const DeviceRecord& d) { EXPECT_EQ(d.name, "NH3 analyzer"); }},
      {{"Boolean missing", R"( GenerateRandomValues="false")", ""},
       [](const DeviceRecord& d) { EXPECT_EQ(d.random, std::optional<bool>(false)); }},
      {{"Boolean empty", R"(GenerateRandomValues="false")", R"(GenerateRandomValues="")"},
       [](const DeviceRecord& d) { EXPECT_EQ(d.random, std::optional<bool>(false)); }},
      {{"Boolean garbled", R"(GenerateRandomValues="false")", R"(GenerateRandomValues="yes")"},
       [](const DeviceRecord& d) { EXPECT_EQ(d.random, std::optional<bool>(false)); }},
      {{"Boolean in another spelling", R"(GenerateRandomValues="false")",
        R"(GenerateRandomValues="-1")"},
       [](const DeviceRecord& d) { EXPECT_EQ(d.random, std::optional<bool>(true)); }},
      {{"number missing", R"( WatchdogTimeout="30")", ""},
       [](const DeviceRecord& d) { EXPECT_EQ(d.watchdogTimeout, 30); }},
      {{"number empty", R"(WatchdogTimeout="30")", R"(WatchdogTimeout="")"},
       [](const DeviceRecord& d) { EXPECT_EQ(d.watchdogTimeout, 30); }},
      {{"number garbled", R"(WatchdogTimeout="30")", R"(WatchdogTimeout="3x")"},
       [](const DeviceRecord& d) { EXPECT_EQ(d.watchdogTimeout, std::nullopt); }},
      // The clock is the latest event's only, as the page blanks it to "n/a".
      {{"time missing", R"( RecentClock="2026-11-25 18:00:05")", ""},
       [](const DeviceRecord& d) {
         EXPECT_TRUE(d.recentClock.isEmpty());
         EXPECT_FALSE(d.RecentClockTime().isValid());
       }},
      {{"time empty", R"(RecentClock="2026-11-25 18:00:05")", R"(RecentClock="")"},
       [](const DeviceRecord& d) { EXPECT_FALSE(d.RecentClockTime().isValid()); }},
      {{"time garbled", R"(RecentClock="2026-11-25 18:00:05")", R"(RecentClock="25/11 6pm")"},
       [](const DeviceRecord& d) {
         EXPECT_EQ(d.recentClock, "25/11 6pm");
         EXPECT_FALSE(d.RecentClockTime().isValid());
       }},
      // Only a true "WatchdogStatusOk" says the device is OK; each event says it anew.
      {{"watchdog word missing", R"( WatchdogStatusOk="true")", ""},
       [](const DeviceRecord& d) { EXPECT_FALSE(d.watchdogOk); }},
      {{"watchdog word empty", R"(WatchdogStatusOk="true")", R"(WatchdogStatusOk="")"},
       [](const DeviceRecord& d) { EXPECT_FALSE(d.watchdogOk); }},
      {{"watchdog word garbled", R"(WatchdogStatusOk="true")", R"(WatchdogStatusOk="ok")"},
       [](const DeviceRecord& d) { EXPECT_FALSE(d.watchdogOk); }},
      {{"ID garbled", R"(DeviceID="3")", R"(DeviceID="3a")"},
       [](const DeviceRecord& d) { EXPECT_TRUE(d.watchdogOk); }},  // the first event's record
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.change.name);
    const Events events(Changed(kDevice, c.change));
    PlantState plant;
    plant.Apply(DeviceEvent::Parse(events[0]));
    plant.Apply(DeviceEvent::Parse(events[1]));
    ASSERT_EQ(plant.Devices().size(), 1);
    c.check(*plant.Device(3));
  }
}

TEST(PlantStateTest, QueueAndBlockFieldsAreTypedAndPartialEventsKeepWhatWasSaid) {
  struct QueueCase {
    Change change;
    std::optional<std::int64_t> size;
    std::optional<bool> paused;
  };
  const QueueCase queues[] = {
      {{"as sent", "", ""}, 4, false},
      {{"number missing", R"( Size="4")", ""}, 4, false},
      {{"number empty", R"(Size="4")", R"(Size="")"}, 4, false},
      {{"number garbled", R"(Size="4")", R"(Size="four")"}, std::nullopt, false},
      {{"Boolean missing", R"( IsPaused="false")", ""}, 4, false},
      {{"Boolean empty", R"(IsPaused="false")", R"(IsPaused="")"}, 4, false},
      {{"Boolean garbled", R"(IsPaused="false")", R"(IsPaused="maybe")"}, 4, false},
      {{"Boolean changed", R"(IsPaused="false")", R"(IsPaused="True")"}, 4, true},
  };
  for (const QueueCase& c : queues) {
    SCOPED_TRACE(c.change.name);
    const Events events(Changed(kQueue, c.change));
    PlantState plant;
    plant.Apply(QueueEvent::Parse(events[0]));
    const QueueRecord* q = plant.Apply(QueueEvent::Parse(events[1]));
    EXPECT_EQ(q->counters[QueueEvent::Size], c.size);
    EXPECT_EQ(q->counters[QueueEvent::DupWriteCancelCount], 3);
    EXPECT_EQ(q->paused, c.paused);
  }

  struct BlockCase {
    Change change;
    std::optional<bool> hdr;
    double failCount;
    std::optional<std::int32_t> deviceId;
  };
  const BlockCase blocks[] = {
      {{"as sent", "", ""}, true, 0, 3},
      {{"Boolean missing", R"( IsHDRBlock="true")", ""}, true, 0, 3},
      {{"Boolean empty", R"(IsHDRBlock="true")", R"(IsHDRBlock="")"}, true, 0, 3},
      {{"Boolean garbled", R"(IsHDRBlock="true")", R"(IsHDRBlock="maybe")"}, true, 0, 3},
      {{"Boolean changed", R"(IsHDRBlock="true")", R"(IsHDRBlock="0")"}, false, 0, 3},
      {{"number changed", R"(FailCount="0")", R"(FailCount="2")"}, true, 2, 3},
      {{"number missing", R"( FailCount="0")", ""}, true, 0, 3},
      {{"number garbled", R"(FailCount="0")", R"(FailCount="abc")"}, true, 0, 3},
      {{"ID number garbled", R"(DeviceID="3")", R"(DeviceID="x")"}, true, 0, std::nullopt},
  };
  for (const BlockCase& c : blocks) {
    SCOPED_TRACE(c.change.name);
    const Events events(Changed(kBlock, c.change));
    PlantState plant;
    plant.Apply(BlockEvent::Parse(events[0]));
    const BlockRecord* b = plant.Apply(BlockEvent::Parse(events[1]));
    ASSERT_NE(b, nullptr);
    EXPECT_EQ(b->id, 105);
    EXPECT_EQ(b->hdr, c.hdr);
    EXPECT_EQ(b->failCount, c.failCount);
    EXPECT_EQ(b->deviceId, c.deviceId);
    EXPECT_EQ(b->containsWatchdog, std::optional<bool>(true));
  }
}

TEST(PlantStateTest, ADeviceWhoseEventLeavesOutItsWatchdogIsNotOkEverywhere) {
  PlantState plant;
  KeyedListModel model;
  DeviceListviewManager page;
  page.SetPlantState(plant);
  Quiet quiet;
  page.Setup(quiet, quiet, model);
  ManualClock clock;
  SiteStateModel state(clock);
  const Events events(QStringLiteral(
      R"(<Event eventtype="DeviceUpdate" DeviceID="7" DeviceName="Logger" WatchdogStatusOk="true"/>
                        <Event eventtype="DeviceUpdate" DeviceID="7" WatchdogStatusStr="late"/>)"));
  for (std::size_t i : {0U, 1U}) {
    const DeviceRecord* device = page.Apply(DeviceEvent::Parse(events[i]));
    ASSERT_NE(device, nullptr);
    state.OnDeviceUpdate(*device);
  }
  EXPECT_FALSE(plant.Device(7)->watchdogOk);
  EXPECT_EQ(model.RowColor(model.FindKey(QStringLiteral("7K"))), Colors::Red);
  ASSERT_EQ(state.Items().size(), 1U);
  EXPECT_EQ(state.Items()[0].group, SiteStateModel::Group::WatchdogNotOk);
  EXPECT_EQ(state.Items()[0].name, "Logger");
  EXPECT_EQ(state.Items()[0].detail, "late");
}

}  // namespace
}  // namespace telmon
