// Framing and routing of what the IOS sends, over a real loopback connection.

#include "ioslink/IosConnection.h"

#include "IosLinkTestPeer.h"

#include <QTimer>

#include <gtest/gtest.h>

#include <map>

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
    ASSERT_TRUE(QTest::qWaitFor(
        [&] {
          return connection_.BytesReceivedTotal() >= target && connection_.EventsWaiting() == 0;
        },
        timeoutMs));
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

// A batch handed over a slice at a time gives the handlers what one call would, in the same order.
TEST(EventBatchTest, ASliceAtATimeGivesWhatOneGoGives) {
  const QByteArray text = R"(<Event eventtype="ChannelConfigFullUpdate"/>)"
                          R"(<Event eventtype="ChannelConfigUpdate" ID="1"/>)"
                          R"(<Event eventtype="odd"/><Event eventtype="QUpdate" QName="Q"/>)";
  RecordingHandlers whole;
  RecordingSink wholeSink;
  DispatchEvents(ParseLatin1Fragment(text), &whole, wholeSink);

  RecordingHandlers sliced;
  RecordingSink slicedSink;
  EventBatch batch(ParseLatin1Fragment(text));
  const auto past = EventBatch::Clock::now() - std::chrono::seconds(1);
  std::vector<std::size_t> remaining;
  // A deadline already gone still lets one event through per call.
  while (!batch.DispatchUntil(&sliced, slicedSink, past)) {
    remaining.push_back(batch.Remaining());
  }
  EXPECT_EQ(remaining, (std::vector<std::size_t>{3, 2, 1}));
  EXPECT_EQ(batch.Remaining(), 0U);
  EXPECT_EQ(sliced.calls, whole.calls);
  EXPECT_EQ(sliced.calls.last(), QStringLiteral("BurstEnd"));
  EXPECT_EQ(slicedSink.Texts(), wholeSink.Texts());
  ASSERT_EQ(slicedSink.messages.size(), 1U);
  // Finished, it stays finished: no second burst end.
  EXPECT_TRUE(batch.DispatchUntil(&sliced, slicedSink, past));
  EXPECT_EQ(sliced.calls.size(), whole.calls.size());

  EventBatch all(ParseLatin1Fragment(text));
  RecordingHandlers inOneGo;
  EXPECT_TRUE(all.DispatchUntil(&inOneGo, slicedSink, EventBatch::Clock::time_point::max()));
  EXPECT_EQ(inOneGo.calls, whole.calls);
}

QByteArray Devices(int from, int to) {
  QByteArray text;
  for (int id = from; id <= to; ++id) {
    text += QStringLiteral(R"(<Event eventtype="DeviceUpdate" DeviceID="%1"/>)").arg(id).toLatin1();
  }
  return text;
}

QStringList DeviceCalls(int from, int to) {
  QStringList calls;
  for (int id = from; id <= to; ++id) calls << QStringLiteral("Device:%1").arg(id);
  return calls;
}

// A large arrival must not hold the window up: the handlers get it in slices with the event loop
// running in between, in order, and an arrival behind it waits its turn.
TEST_F(IosDispatchTest, ALargeArrivalIsHandedOverInSlicesInOrder) {
  handlers_.busyPerDevice = std::chrono::microseconds(100);
  int loopTurns = 0;
  QTimer turns;
  turns.setInterval(0);
  QObject::connect(&turns, &QTimer::timeout, [&] { ++loopTurns; });
  turns.start();
  std::map<int, int> eventsPerTurn;
  handlers_.onDevice = [&] { ++eventsPerTurn[loopTurns]; };

  const int count = 3000;  // at least 0.3 s of the handlers' work
  ios_.Send(Devices(1, count) + Devices(count + 1, count + 10));
  ASSERT_TRUE(QTest::qWaitFor([&] { return handlers_.calls.size() == count + 10; }, 60000));
  EXPECT_EQ(handlers_.calls, DeviceCalls(1, count + 10));
  EXPECT_EQ(connection_.EventsWaiting(), 0U);
  // The window is never held up for more than 50 ms (a slice ends once its time is up), and each
  // event takes at least 100 us.
  const int perSlice = 500;
  int most = 0;
  for (const auto& [turn, events] : eventsPerTurn) most = std::max(most, events);
  EXPECT_LE(most, perSlice);
  EXPECT_GE(eventsPerTurn.size(), static_cast<std::size_t>(count / perSlice));
}

// What arrived before the server closed the link is handed over before the close is reported,
// however much of it was still waiting.
TEST_F(IosDispatchTest, EventsWaitingAtAServerCloseAreHandledBeforeIt) {
  handlers_.busyPerDevice = std::chrono::microseconds(100);
  const int count = 2000;
  int handledAfterClose = 0;
  handlers_.onDevice = [&] {
    if (handlers_.calls.size() == 1) {
      // The first slice is under way: the server closes now.
      ios_.Peer()->disconnectFromHost();
    }
    handledAfterClose += sink_.Count(QStringLiteral("TELM-0028")) > 0 ? 1 : 0;
  };
  ios_.Send(Devices(1, count));
  ASSERT_TRUE(QTest::qWaitFor([&] { return connection_.SocketState() == 0; }, 60000));
  QTest::qWait(50);
  EXPECT_EQ(handlers_.calls, DeviceCalls(1, count));
  EXPECT_EQ(handledAfterClose, 0);
  EXPECT_EQ(sink_.Texts().last(), QStringLiteral("TELM-0028: Connection to IOS is closed."));
  EXPECT_EQ(connection_.EventsWaiting(), 0U);
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
