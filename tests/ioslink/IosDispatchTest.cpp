// Framing and routing of what the IOS sends, over a real loopback connection.

#include "ioslink/IosConnection.h"

#include "IosLinkTestPeer.h"

#include <gtest/gtest.h>

namespace telmon {
namespace {

using testing::FakeIos;
using testing::RecordingHandlers;
using testing::RecordingSink;

class IosDispatchTest : public ::testing::Test {
 protected:
  void SetUp() override {
    connection_.SetEventHandlers(&handlers_);
    connection_.ConnectToIOS();
    ASSERT_TRUE(ios_.WaitForMonitor());
    ASSERT_TRUE(QTest::qWaitFor([&] { return connection_.SocketState() == 3; }, 5000));
    sink_.messages.clear();
  }

  IosLinkSettings Settings() {
    IosLinkSettings s;
    s.lookupValue = [this](const QString&, const QString&) { return QString::number(ios_.Port()); };
    s.hostName = [] { return QStringLiteral("127.0.0.1"); };
    // Above the biggest event sent here (20 MB), so that only the framing is at work.
    s.receiveBufferCap = qsizetype{32} * 1024 * 1024;
    return s;
  }

  // Sends bytes as one write and waits until the monitor has handled all of them, so that
  // every call is one arrival.
  void Arrive(const QByteArray& bytes, int timeoutMs = 5000) {
    const auto target = received_ + static_cast<quint64>(bytes.size());
    ios_.Send(bytes);
    ASSERT_TRUE(
        QTest::qWaitFor([&] { return connection_.BytesReceivedTotal() >= target; }, timeoutMs));
    received_ = target;
  }

  FakeIos ios_;
  RecordingSink sink_;
  RecordingHandlers handlers_;
  IosConnection connection_{sink_, Settings()};
  quint64 received_ = 0;
};

TEST_F(IosDispatchTest, TwoEventsInOneArrivalInDocumentOrder) {
  Arrive(
      R"(<Event eventtype="DeviceUpdate" DeviceID="12"/><Event eventtype="QUpdate" QName="Q1"/>)");
  EXPECT_EQ(handlers_.calls, QStringList({"Device:12", "Queue:Q1"}));
  EXPECT_TRUE(sink_.messages.empty());
  EXPECT_EQ(connection_.PendingBytes(), 0);
}

TEST_F(IosDispatchTest, CompleteEventWithHalfOfTheNextIsDispatchedWithoutComplaint) {
  Arrive(R"(<Event eventtype="QUpdate" QName="Q1"/><Event eventtype="Device)");
  EXPECT_EQ(handlers_.calls, QStringList({"Queue:Q1"}));
  EXPECT_TRUE(sink_.messages.empty());
  Arrive(R"(Update" DeviceID="7"/>)");
  EXPECT_EQ(handlers_.calls, QStringList({"Queue:Q1", "Device:7"}));
  EXPECT_TRUE(sink_.messages.empty());
}

TEST_F(IosDispatchTest, EventWithChildrenSplitIsReportedThenDispatchedWhole) {
  const QByteArray first =
      R"(<Event eventtype="ChannelConfigUpdate" ID="17"><Chan Name="Stack NOx" Units="ppm"/>)";
  Arrive(first);
  EXPECT_TRUE(handlers_.calls.isEmpty());
  EXPECT_EQ(sink_.messages,
            (std::vector<std::pair<std::int32_t, QString>>{
                {MsgType::Error, QStringLiteral("TELM-0032: Can't parse XML from IOS. "
                                                "(XML=<Event eventtype=\"ChannelConfigUpdate\" "
                                                "ID=\"17\"><Ch...)")}}));
  Arrive(R"(<Scale Lo="0" Hi="500"/></Event>)");
  EXPECT_EQ(handlers_.calls, QStringList({"Channel:17", "BurstEnd"}));
  EXPECT_EQ(sink_.messages.size(), 1U);
}

TEST_F(IosDispatchTest, ABurstOfConfigurationUpdatesEndsOnce) {
  QByteArray burst = R"(<Event eventtype="ChannelConfigFullUpdate"><Ignored/></Event>)";
  for (int id = 1; id <= 10; ++id) {
    burst +=
        QStringLiteral(R"(<Event eventtype="ChannelConfigUpdate" ID="%1"/>)").arg(id).toLatin1();
  }
  burst += R"(<Event eventtype="IOSSettingsUpdate" LogLevel="3"/>)";
  Arrive(burst);
  QStringList expected{"ChannelFull"};
  for (int id = 1; id <= 10; ++id) expected << QStringLiteral("Channel:%1").arg(id);
  expected << "Settings:3"
           << "BurstEnd";
  EXPECT_EQ(handlers_.calls, expected);
}

TEST_F(IosDispatchTest, UnknownTypesAreReportedAndSkipped) {
  Arrive(R"(<Event eventtype="message" Desc="lower-case types are not the same type at all"/>)"
         R"(<Event Desc="no type"/><Event eventtype="BlockUpdate" BlockID="5"/>)");
  EXPECT_EQ(handlers_.calls, QStringList({"Block:5"}));
  ASSERT_EQ(sink_.messages.size(), 2U);
  EXPECT_EQ(sink_.messages[0].first, MsgType::UnknownEvent);
  EXPECT_EQ(sink_.messages[0].second,
            QStringLiteral("TELM-0033: Unrecognized eventtype from IOS. (XML=<Event "
                           "eventtype=\"message\" Desc=\"lower-case types ...)"));
  EXPECT_EQ(sink_.messages[1].second,
            QStringLiteral("TELM-0033: Unrecognized eventtype from IOS. (XML=<Event Desc=\"no "
                           "type\"/>)"));
}

TEST_F(IosDispatchTest, MessageEventsPassTheirTypeAndSkipEmptyText) {
  Arrive(
      "<Event eventtype=\"Message\" MsgType=\"8194\" Desc=\"Queue Q1 late\"/>"
      "<Event eventtype=\"Message\" MsgType=\"1\" Desc=\"\"/>"
      "<Event eventtype=\"Message\" MsgType=\"1\"/>"
      "<Event eventtype=\"Message\" Desc=\"no type\"/>"
      "<Event eventtype=\"Message\" MsgType=\"abc\" Desc=\"bad type\"/>"
      "<Event eventtype=\"Message\" MsgType=\"99999999999\" Desc=\"too big\"/>"
      "<Event eventtype=\"Message\" MsgType=\"1\" Desc=\"Temp 20\xb0"
      "C\"/>");
  EXPECT_EQ(handlers_.calls,
            QStringList({"Msg:8194:Queue Q1 late", "Msg:4:no type", "Msg:4:bad type",
                         "Msg:4:too big", QStringLiteral("Msg:1:Temp 20\u00b0C")}));
  EXPECT_TRUE(sink_.messages.empty());
}

TEST_F(IosDispatchTest, HandlerFailureDropsTheRestOfThatArrivalOnly) {
  handlers_.throwOnId = QStringLiteral("2");
  Arrive(
      R"(<Event eventtype="DeviceUpdate" DeviceID="1"/><Event eventtype="DeviceUpdate" DeviceID="2"/>)"
      R"(<Event eventtype="ChannelConfigUpdate" ID="3"/>)");
  EXPECT_EQ(handlers_.calls, QStringList({"Device:1"}));
  EXPECT_EQ(sink_.Texts(), QStringList({"TELM-0034: Error 91, Object variable not set"}));
  Arrive(R"(<Event eventtype="DeviceUpdate" DeviceID="4"/>)");
  EXPECT_EQ(handlers_.calls, QStringList({"Device:1", "Device:4"}));
}

TEST_F(IosDispatchTest, GarbageBlocksEveryArrivalUntilReconnect) {
  Arrive("<<not xml");
  Arrive(R"(<Event eventtype="DeviceUpdate" DeviceID="1"/>)");
  EXPECT_TRUE(handlers_.calls.isEmpty());
  EXPECT_EQ(sink_.Texts(), QStringList({"TELM-0032: Can't parse XML from IOS. (XML=<<not xml)",
                                        "TELM-0032: Can't parse XML from IOS. (XML=<Event "
                                        "eventtype=\"DeviceUpdate\" DeviceID=\"1\"/>)"}));
  EXPECT_EQ(connection_.BytesReceivedText(), QStringLiteral("55"));

  connection_.ConnectToIOS();
  ASSERT_TRUE(ios_.WaitForMonitor());
  ASSERT_TRUE(QTest::qWaitFor([&] { return connection_.SocketState() == 3; }, 5000));
  received_ = 0;
  Arrive(R"(<Event eventtype="DeviceUpdate" DeviceID="1"/>)");
  EXPECT_EQ(handlers_.calls, QStringList({"Device:1"}));
}

// Every way of cutting a stream in two gives the same events in the same order.
TEST_F(IosDispatchTest, EverySplitPositionGivesTheSameDispatch) {
  const QByteArray stream =
      "<Event eventtype=\"QUpdate\" QName=\"Q/>1\"/>\r\n"
      "<Event eventtype=\"ChannelConfigUpdate\" ID=\"9\"><A x=\"1\"/><!-- c --></Event>\r\n"
      "<Event eventtype=\"Message\" MsgType=\"1\" Desc=\"caf\xe9 &amp; more\"/>"
      "<Event eventtype=\"DeviceUpdate\" DeviceID=\"3\"><![CDATA[</x>]]></Event>"
      "<Event eventtype=\"BlockUpdate\" BlockID=\"4\" />";
  // The end of a configuration burst follows the arrival that held the update, so where it
  // falls depends on the cut; everything else must not.
  const QStringList expected{"Queue:Q/>1", "Channel:9", QStringLiteral("Msg:1:caf\u00e9 & more"),
                             "Device:3", "Block:4"};
  const auto withoutBurstEnd = [&] {
    QStringList calls = handlers_.calls;
    EXPECT_EQ(calls.removeAll(QStringLiteral("BurstEnd")), 1);
    return calls;
  };
  Arrive(stream);
  ASSERT_EQ(handlers_.calls.last(), QStringLiteral("BurstEnd"));
  ASSERT_EQ(withoutBurstEnd(), expected);
  for (qsizetype cut = 1; cut < stream.size(); ++cut) {
    handlers_.calls.clear();
    Arrive(stream.left(cut));
    Arrive(stream.mid(cut));
    ASSERT_EQ(withoutBurstEnd(), expected) << "cut at " << cut;
    ASSERT_EQ(connection_.PendingBytes(), 0) << "cut at " << cut;
  }
}

TEST_F(IosDispatchTest, TwentyMegabyteEventIsDispatchedOnce) {
  QByteArray big = R"(<Event eventtype="ChannelConfigUpdate" ID="1">)";
  const QByteArray child = R"(<Chan ID="123456" Name="Stack 1 NOx corrected" Units="lb/hr"/>)";
  big.reserve(20 * 1024 * 1024 + 1000);
  while (big.size() < 20 * 1024 * 1024) big += child;
  big += R"(</Event><Event eventtype="QUpdate" QName="after"/>)";
  Arrive(big, 120000);
  EXPECT_EQ(handlers_.calls, QStringList({"Channel:1", "Queue:after", "BurstEnd"}));
  EXPECT_EQ(connection_.PendingBytes(), 0);
  // Every arrival but the last reported the unfinished text.
  EXPECT_EQ(sink_.Count(QStringLiteral("TELM-0032")), static_cast<int>(sink_.messages.size()));
}

}  // namespace
}  // namespace telmon
