// The device, queue and block pages driven by IOS events parsed from real XML text.

#include "views/BlockListviewManager.h"
#include "views/DeviceListviewManager.h"
#include "views/QueueListviewManager.h"

#include "util/ErrorInfo.h"

#include "tests/views/ViewsTestSupport.h"

#include <QAbstractItemModelTester>

#include <gtest/gtest.h>

namespace telmon {
namespace {

using test::ParsedEvents;

template <typename Manager>
class PageFixture : public ::testing::Test {
 protected:
  void SetUp() override { manager_.Setup(sink_, peer_, model_); }

  void Apply(const QString& fragment) {
    const ParsedEvents events(fragment);
    for (xml::XmlElement event : events.All()) {
      manager_.UpdateOneItemInLsv(event);
    }
  }
  QString Cell(const QString& id, int column) {
    const auto row = model_.FindKey(id + 'K');
    return row == nullptr ? QStringLiteral("<no row>") : model_.SubItem(row, column);
  }
  ColorRef Color(const QString& id) { return model_.RowColor(model_.FindKey(id + 'K')); }
  QStringList Texts() {
    QStringList texts;
    for (int i = 0; i < model_.RowCount(); ++i) {
      texts << model_.Text(model_.RowAt(i));
    }
    return texts;
  }

  KeyedListModel model_;
  QAbstractItemModelTester tester_{&model_, QAbstractItemModelTester::FailureReportingMode::Fatal};
  test::CollectingSink sink_;
  test::LoopbackPeer peer_;
  Manager manager_;
};

QString Device(const QString& attributes) {
  return QStringLiteral("<Event eventtype=\"DeviceUpdate\" ") + attributes + "/>";
}

using DevicePage = PageFixture<DeviceListviewManager>;

TEST_F(DevicePage, PlaceholderGivesWayToTheFirstDeviceAndIdsSortAsText) {
  EXPECT_EQ(Texts(), QStringList{"(no device information)"});
  EXPECT_FALSE(manager_.AnyDevicesAreInRandomMode());
  Apply(Device("DeviceID=\"2\" WatchdogStatusOk=\"true\""));
  EXPECT_EQ(Texts(), QStringList{"2"});
  Apply(Device("DeviceID=\"10\" WatchdogStatusOk=\"true\"") +
        Device("DeviceID=\"2\" WatchdogStatusOk=\"true\""));
  EXPECT_EQ(Texts(), (QStringList{"10", "2"}));
}

TEST_F(DevicePage, PartialEventKeepsCellsExceptTheClock) {
  Apply(
      Device("DeviceID=\"12\" DeviceName=\"Stack A\" DriverName=\"Modbus\" PLCType=\"X\" "
             "Connection=\"10.0.0.5\" PortName=\"502\" WatchdogTimeout=\"30\" "
             "WatchdogStatusStr=\"OK\" GenerateRandomValues=\"false\" FailoverStatus=\"Primary\" "
             "RecentClock=\"2024-03-14 10:00:00\" WatchdogStatusOk=\"true\""));
  EXPECT_EQ(Cell("12", DeviceListviewManager::ColRecentClock), "2024-03-14 10:00:00");
  EXPECT_EQ(Cell("12", DeviceListviewManager::ColRandom), "False");
  Apply(Device("DeviceID=\"12\" WatchdogStatusOk=\"true\" DeviceName=\"\""));
  EXPECT_EQ(Cell("12", DeviceListviewManager::ColName), "Stack A");
  EXPECT_EQ(Cell("12", DeviceListviewManager::ColWatchdogTimeout), "30");
  EXPECT_EQ(Cell("12", DeviceListviewManager::ColFailoverStatus), "Primary");
  EXPECT_EQ(Cell("12", DeviceListviewManager::ColRandom), "False");
  EXPECT_EQ(Cell("12", DeviceListviewManager::ColRecentClock), "n/a");
  EXPECT_EQ(Color("12"), Colors::WindowText);
}

TEST_F(DevicePage, WatchdogDecidesBeforeRandomMode) {
  Apply(Device("DeviceID=\"1\" WatchdogStatusOk=\"false\" GenerateRandomValues=\"true\"") +
        Device("DeviceID=\"2\" WatchdogStatusOk=\"true\" GenerateRandomValues=\"true\"") +
        Device("DeviceID=\"3\" GenerateRandomValues=\"false\"") +
        Device("DeviceID=\"4\" WatchdogStatusOk=\"yes\"") +
        Device("DeviceID=\"5\" WatchdogStatusOk=\"-1\" GenerateRandomValues=\"yes\""));
  EXPECT_EQ(Color("1"), Colors::Red);
  EXPECT_EQ(Color("2"), Colors::Blue);
  EXPECT_EQ(Color("3"), Colors::Red);  // no watchdog state counts as a fault
  EXPECT_EQ(Color("4"), Colors::Red);
  EXPECT_EQ(Color("5"), Colors::WindowText);
  EXPECT_EQ(Cell("5", DeviceListviewManager::ColRandom), "");
  EXPECT_TRUE(manager_.AnyDevicesAreInRandomMode());
  Apply(Device("DeviceID=\"1\" WatchdogStatusOk=\"1\" GenerateRandomValues=\"false\"") +
        Device("DeviceID=\"2\" WatchdogStatusOk=\"1\" GenerateRandomValues=\"0\""));
  EXPECT_FALSE(manager_.AnyDevicesAreInRandomMode());
  EXPECT_EQ(Color("2"), Colors::WindowText);
}

TEST_F(DevicePage, HostileAttributesNeverDuplicateOrCrash) {
  const QString huge(100000, QLatin1Char('x'));
  Apply(Device("WatchdogStatusOk=\"true\"") + Device("DeviceID=\"\" DeviceName=\"" + huge + "\"") +
        Device("DeviceID=\"99999999999\" WatchdogStatusOk=\"true\"") +
        Device("DeviceID=\"&lt;b&gt;\" WatchdogStatusOk=\"true\""));
  EXPECT_EQ(model_.RowCount(), 3);  // the two events without an ID share the row ""
  EXPECT_EQ(Cell("", DeviceListviewManager::ColName), huge);
  EXPECT_EQ(Cell("<b>", DeviceListviewManager::ColID), "<b>");
  model_.Select(model_.FindKey("99999999999K"));
  EXPECT_EQ(manager_.GetSelectedDeviceID(), 0);
  EXPECT_THROW(manager_.SetClockForSelectedDevice(), TelmonError);
}

TEST_F(DevicePage, UpdateLsvSelectsOnlyDeviceEventsAndReportsBadText) {
  manager_.UpdateLsv(QStringLiteral("<Event eventtype=\"QUpdate\" QName=\"q\"/>") +
                     Device("DeviceID=\"7\" WatchdogStatusOk=\"true\""));
  EXPECT_EQ(Texts(), QStringList{"7"});
  manager_.UpdateLsv(QStringLiteral("<Event eventtype=\"DeviceUpdate\" DeviceID=\"8\""));
  EXPECT_EQ(Texts(), QStringList{"7"});
  ASSERT_FALSE(sink_.messages.empty());
  EXPECT_TRUE(sink_.Texts().last().startsWith("TELM-0047: 91, "))
      << sink_.Texts().join('\n').toStdString();
}

TEST_F(DevicePage, CommandsGoOutByteForByte) {
  Apply(Device("DeviceID=\"12\" WatchdogStatusOk=\"true\""));
  manager_.SetRandomModeForSelectedDevice(true);  // nothing selected: nothing sent
  manager_.SetRandomModeForAllDevices(true);
  manager_.SetRandomModeForAllDevices(false);
  model_.Select(model_.FindKey("12K"));
  EXPECT_EQ(manager_.GetSelectedDeviceID(), 12);
  manager_.SetRandomModeForSelectedDevice(false);
  manager_.SetIPAddressForSelectedDevice(QStringLiteral("a&b\"<>'\u00B0"));
  manager_.SetClockForSelectedDevice();
  manager_.EraseHDRForSelectedDevice();
  manager_.FailoverSelectedDevice();
  EXPECT_EQ(peer_.Received(),
            QByteArray("<Command action=\"SetDeviceToRandomMode\" id=\"*\" value=\"1\"/>"
                       "<Command action=\"SetDeviceToRandomMode\" id=\"*\" value=\"0\"/>"
                       "<Command action=\"SetDeviceToRandomMode\" id=\"12\" value=\"0\"/>"
                       "<Command action=\"SetDeviceIPAddress\" id=\"12\" "
                       "value=\"a&amp;b&quot;&lt;&gt;'&#176;\"/>"
                       "<Command action=\"SetDeviceClock\" id=\"12\"/>"
                       "<Command action=\"EraseHDRForDevice\" id=\"12\"/>"
                       "<Command action=\"DoFailover\" id=\"12\"/>"));
}

TEST_F(DevicePage, TenThousandDevicesInOneArrival) {
  QString fragment;
  for (int i = 10000; i > 0; --i) {
    fragment += Device(QStringLiteral("DeviceID=\"%1\" WatchdogStatusOk=\"true\"").arg(i));
  }
  manager_.UpdateLsv(fragment);
  ASSERT_EQ(model_.RowCount(), 10000);
  EXPECT_EQ(model_.Text(model_.RowAt(0)), "1");
  EXPECT_EQ(model_.Text(model_.RowAt(1)), "10");
  EXPECT_EQ(model_.Text(model_.RowAt(9999)), "9999");
  manager_.Teardown();
  Apply(Device("DeviceID=\"1\" WatchdogStatusOk=\"false\""));  // ignored after teardown
  EXPECT_EQ(model_.RowColor(model_.FindKey("1K")), Colors::WindowText);
}

QString Queue(const QString& attributes) {
  return QStringLiteral("<Event eventtype=\"QUpdate\" ") + attributes + "/>";
}

using QueuePage = PageFixture<QueueListviewManager>;

TEST_F(QueuePage, PausedColourResetsWhileStatusTextStays) {
  EXPECT_EQ(Texts(), QStringList{"(no queue information)"});
  Apply(
      Queue("QName=\"COM1\" DriverName=\"Serial\" Size=\"3\" PeakSize=\"9\" "
            "RequestsServiced=\"1,234\" DupWriteCancelCount=\"2\" CommOpenErrors=\"1\" "
            "IsPaused=\"true\""));
  EXPECT_EQ(Color("COM1"), Colors::Red);
  EXPECT_EQ(Cell("COM1", QueueListviewManager::ColStatus), "Paused");
  EXPECT_EQ(Cell("COM1", QueueListviewManager::ColSize), "3");
  EXPECT_EQ(Cell("COM1", QueueListviewManager::ColServiced), "1,234");
  EXPECT_EQ(Cell("COM1", QueueListviewManager::ColRedundantWritesCancelled), "2");
  EXPECT_EQ(Cell("COM1", QueueListviewManager::ColCommOpenErrors), "1");
  Apply(Queue("QName=\"COM1\" Size=\"4\""));
  EXPECT_EQ(Color("COM1"), Colors::WindowText);
  EXPECT_EQ(Cell("COM1", QueueListviewManager::ColStatus), "Paused");
  EXPECT_EQ(Cell("COM1", QueueListviewManager::ColSize), "4");
  Apply(Queue("QName=\"com1\" IsPaused=\"false\"") + Queue("QName=\"COM1\" IsPaused=\"abc\""));
  EXPECT_EQ(Texts(), (QStringList{"COM1", "com1"}));
  EXPECT_EQ(Cell("com1", QueueListviewManager::ColStatus), "Running");
  EXPECT_EQ(Cell("COM1", QueueListviewManager::ColStatus), "Paused");
}

TEST_F(QueuePage, ResetCountersSendsOneCommandAndChangesNothing) {
  Apply(Queue("QName=\"A\" Size=\"5\""));
  manager_.ResetCounters();
  EXPECT_EQ(peer_.Received(), QByteArray("<Command action=\"ResetQCounters\"/>"));
  EXPECT_EQ(Cell("A", QueueListviewManager::ColSize), "5");
  manager_.UpdateLsv(QStringLiteral("<broken"));
  EXPECT_TRUE(sink_.Texts().last().startsWith("TELM-0048: "));
}

QString Block(const QString& attributes) {
  return QStringLiteral("<Event eventtype=\"BlockUpdate\" ") + attributes + "/>";
}

using BlockPage = PageFixture<BlockListviewManager>;

TEST_F(BlockPage, ColourPrecedenceGreyRedBlue) {
  Apply(Block("BlockID=\"1\" Disabled=\"true\" FailCount=\"0\"") +
        Block("BlockID=\"2\" Disabled=\"true\" FailCount=\"3\"") +
        Block("BlockID=\"3\" FailCount=\"abc\" DeviceIsGenRandomValues=\"true\"") +
        Block("BlockID=\"4\" FailCount=\"2\" DeviceIsGenRandomValues=\"true\"") +
        Block("BlockID=\"5\" Disabled=\"true\" DeviceIsGenRandomValues=\"true\""));
  EXPECT_EQ(Color("1"), Colors::LightGrey);
  EXPECT_EQ(Color("2"), Colors::Red);
  EXPECT_EQ(Color("3"), Colors::Blue);
  EXPECT_EQ(Cell("3", BlockListviewManager::ColFailCount), "abc");
  EXPECT_EQ(Color("4"), Colors::Red);
  EXPECT_EQ(Color("5"), Colors::LightGrey);
  EXPECT_EQ(Texts(), (QStringList{"1", "2", "3", "4", "5"}));  // arrival order, not sorted
}

TEST_F(BlockPage, HdrAndDisabledAnswersComeFromTheRow) {
  EXPECT_FALSE(manager_.IsHDRBlock(7));
  Apply(
      Block("BlockID=\"7\" IsHDRBlock=\"true\" Disabled=\"0\" MinResponseTime=\"1\" "
            "MaxResponseTime=\"9\" LastReadTime=\"10:00:00\" DataQty=\"16\""));
  EXPECT_TRUE(manager_.IsHDRBlock(7));
  EXPECT_FALSE(manager_.IsBlockDisabled(7));
  EXPECT_EQ(Cell("7", BlockListviewManager::ColMinResponseTime), "1");
  EXPECT_EQ(Cell("7", BlockListviewManager::ColMaxResponseTime), "9");
  EXPECT_EQ(Cell("7", BlockListviewManager::ColSize), "16");
  Apply(Block("BlockID=\"7\" Disabled=\"TRUE\" IsHDRBlock=\"maybe\""));
  EXPECT_TRUE(manager_.IsHDRBlock(7));
  EXPECT_TRUE(manager_.IsBlockDisabled(7));
  EXPECT_EQ(Cell("7", BlockListviewManager::ColDisabled), "True");
  manager_.UpdateLsv(QStringLiteral("<Event"));
  EXPECT_TRUE(sink_.Texts().last().startsWith("TELM-00046: "));
  manager_.InitializeLsv();
  EXPECT_FALSE(manager_.IsHDRBlock(7));
  EXPECT_EQ(Texts(), QStringList{"(no block information)"});
}

TEST_F(BlockPage, CellsFollowEveryChangeOfText) {
  // Same length, non-ASCII, entities and back: each event's text is what the cell shows.
  for (const char* name :
       {"Boiler", "Boilar", "Boil\u00e9r", "B&amp;iler", "Boiler", "B", "\u00c3\u00a9", "\u00e9"}) {
    Apply(Block(QStringLiteral("BlockID=\"3\" BlockName=\"%1\"").arg(QString::fromUtf8(name))));
    auto doc = xml::ParseXmlFragment(nullptr,
                                     QStringLiteral("<x a=\"%1\"/>").arg(QString::fromUtf8(name)));
    EXPECT_EQ(Cell("3", BlockListviewManager::ColName),
              xml::GetAttributeText(xml::SelectSingleNode(doc, "//x"), "a"));
  }
  // IDs that are not plain ASCII key their rows the same way, once each.
  for (int pass = 0; pass < 2; ++pass) {
    Apply(Block(QStringLiteral("BlockID=\"\u00e9\"")) +
          Block(QStringLiteral("BlockID=\"a&amp;b\"")));
  }
  EXPECT_EQ(Texts(),
            (QStringList{QStringLiteral("3"), QStringLiteral("\u00e9"), QStringLiteral("a&b")}));
}

}  // namespace
}  // namespace telmon
