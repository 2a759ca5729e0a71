// The connection against a real IOS stand-in on the loopback interface.

#include "ioslink/IosConnection.h"

#include "IosLinkTestPeer.h"

#include <QLocale>
#include <QSignalSpy>

#include <gtest/gtest.h>

namespace telmon {
namespace {

using testing::FakeIos;
using testing::RecordingHandlers;
using testing::RecordingSink;

const QByteArray FullRefresh =
    R"(<Command action="GetFullDeviceInfo" /><Command action="GetFullQueueInfo" />)"
    R"(<Command action="GetFullBlockInfo" /><Command action="GetIOSSettings" />)"
    R"(<Command action="GetChannelConfigInfo" />)";

class IosConnectionTest : public ::testing::Test {
 protected:
  void SetUp() override {
    QLocale::setDefault(QLocale(QLocale::English, QLocale::UnitedStates));
    connection_.SetEventHandlers(&handlers_);
  }

  IosLinkSettings Settings() {
    IosLinkSettings s;
    s.dahsId = 1;
    s.lookupValue = [this](const QString&, const QString&) { return QString::number(ios_.Port()); };
    s.hostName = [] { return QStringLiteral("127.0.0.1"); };
    return s;
  }

  // Connects and takes the five full-refresh requests off the wire.
  void Connect() {
    connection_.ConnectToIOS();
    ASSERT_TRUE(ios_.WaitForMonitor());
    ASSERT_TRUE(ios_.WaitForReceived(FullRefresh.size()));
    ASSERT_EQ(ios_.Received(), FullRefresh);
    ASSERT_EQ(connection_.BytesReceivedText(), QStringLiteral("Connected"));
    sink_.messages.clear();
  }

  // Sends bytes as one write and waits until the monitor has taken them in.
  void Arrive(const QByteArray& bytes) {
    const auto target = connection_.BytesReceivedTotal() + static_cast<quint64>(bytes.size());
    ios_.Send(bytes);
    ASSERT_TRUE(QTest::qWaitFor(
        [&] {
          return connection_.BytesReceivedTotal() >= target && connection_.EventsWaiting() == 0;
        },
        60000));
  }

  FakeIos ios_;
  RecordingSink sink_;
  RecordingHandlers handlers_;
  IosConnection connection_{sink_, Settings()};
};

TEST_F(IosConnectionTest, ConnectReportsEachStepAndRequestsFullInformation) {
  QSignalSpy panel(&connection_, &IosConnection::BytesReceivedPanelChanged);
  connection_.ConnectToIOS();
  ASSERT_TRUE(ios_.WaitForMonitor());
  ASSERT_TRUE(ios_.WaitForReceived(FullRefresh.size()));
  // Exactly the five requests, in order, with nothing between or after them.
  EXPECT_EQ(ios_.Received(), FullRefresh);
  EXPECT_EQ(
      sink_.Texts(),
      QStringList({QStringLiteral("TELM-0025: Socket is closed"),
                   QStringLiteral("Connecting to IOS (127.0.0.1, TCP port %1)...").arg(ios_.Port()),
                   QStringLiteral("TELM-0030: Connected to IOS.")}));
  EXPECT_EQ(sink_.messages[1].first, MsgType::Progress);
  ASSERT_EQ(panel.count(), 2);
  EXPECT_EQ(panel[0][0].toString(), QStringLiteral("Connecting..."));
  EXPECT_EQ(panel[1][0].toString(), QStringLiteral("Connected"));
}

TEST_F(IosConnectionTest, LocalDisconnectReportsStateAndLeavesPanelAndPendingText) {
  Connect();
  Arrive(R"(<Event eventtype="QUpdate" QName="A"/><Event eventtype="DeviceUpdate" Devi)");
  const QString panel = connection_.BytesReceivedText();
  sink_.messages.clear();
  connection_.DisconnectFromIOS();
  EXPECT_EQ(sink_.Texts(),
            QStringList({QStringLiteral("TELM-0025: Socket state=3; closing socket...")}));
  EXPECT_EQ(connection_.SocketState(), 0);
  QTest::qWait(50);
  EXPECT_EQ(connection_.BytesReceivedText(), panel);
  EXPECT_GT(connection_.PendingBytes(), 0);
  EXPECT_EQ(sink_.Count(QStringLiteral("TELM-0028")), 0);
}

TEST_F(IosConnectionTest, ServerCloseMidEventClearsStateAndShowsClosed) {
  Connect();
  Arrive(R"(<Event eventtype="DeviceUpdate" DeviceID="12")");
  ios_.Peer()->disconnectFromHost();
  ASSERT_TRUE(QTest::qWaitFor([&] { return connection_.SocketState() == 0; }, 5000));
  EXPECT_EQ(sink_.Texts().last(), QStringLiteral("TELM-0028: Connection to IOS is closed."));
  EXPECT_EQ(sink_.Count(QStringLiteral("TELM-0035")), 0);
  EXPECT_EQ(connection_.BytesReceivedText(), QStringLiteral("Closed"));
  EXPECT_EQ(connection_.BytesReceivedTotal(), 0U);
  EXPECT_EQ(connection_.PendingBytes(), 0);
  EXPECT_TRUE(handlers_.calls.isEmpty());
}

TEST_F(IosConnectionTest, RefusedConnectIsAWinsockError) {
  ios_.StopListening();
  connection_.ConnectToIOS();
  ASSERT_TRUE(QTest::qWaitFor([&] { return sink_.Count(QStringLiteral("TELM-0035")) > 0; }));
  EXPECT_EQ(sink_.messages.back(),
            std::make_pair(MsgType::Error,
                           QStringLiteral("TELM-0035: Winsock error: 10061, Connection refused, "
                                          "Scode=-2146818227, Source=Winsock1")));
  EXPECT_EQ(connection_.BytesReceivedText(), QStringLiteral("Connecting..."));
}

TEST_F(IosConnectionTest, SendWhileClosedAndBadPortAreReported) {
  connection_.SendCommand(QStringLiteral("<Command action=\"RefreshAllData\" />"));
  EXPECT_EQ(
      sink_.Texts(),
      QStringList({QStringLiteral("TELM-0027: Error 40006, Wrong protocol or connection state for "
                                  "the requested transaction or request")}));

  RecordingSink sink;
  IosLinkSettings s = Settings();
  s.lookupValue = [](const QString&, const QString&) { return QStringLiteral("70000"); };
  IosConnection link(sink, s);
  link.ConnectToIOS();
  EXPECT_EQ(sink.Texts().last(), QStringLiteral("TELM-0024: Error 380, Invalid TCP port 70000"));
  EXPECT_EQ(link.BytesReceivedText(), QStringLiteral("??"));
}

TEST_F(IosConnectionTest, CommandsGoOutAsLatin1WithoutTerminator) {
  Connect();
  const qsizetype before = ios_.Received().size();
  connection_.SendCommand(QStringLiteral("<Command action=\"X\" Name=\"caf\u00e9\"/>"));
  connection_.RequestFullRefresh();
  ASSERT_TRUE(ios_.WaitForReceived(before + 30 + FullRefresh.size()));
  EXPECT_EQ(ios_.Received().mid(before),
            QByteArray("<Command action=\"X\" Name=\"caf\xe9\"/>") + FullRefresh);
}

TEST(IosPortTest, LookupValueAndDahsNumberGiveThePort) {
  RecordingSink sink;
  const auto port = [&](QString value, std::int32_t dahs) {
    IosLinkSettings s;
    s.dahsId = dahs;
    s.lookupValue = [value](const QString& key, const QString& def) {
      EXPECT_EQ(key, QStringLiteral("IOS:TcpListenPortForMonitorConnections"));
      EXPECT_EQ(def, QString());
      return value;
    };
    return IosConnection(sink, s).GetIOSPort();
  };
  EXPECT_EQ(port(QStringLiteral("x"), 3), 7653);
  EXPECT_EQ(port(QString(), 3), 7653);
  EXPECT_EQ(port(QStringLiteral("7700"), 1), 7700);
  EXPECT_EQ(port(QStringLiteral(" 7700 "), 2), 7701);
  EXPECT_TRUE(sink.messages.empty());

  EXPECT_EQ(port(QStringLiteral("1e12"), 1), 7651);
  IosLinkSettings failing;
  failing.dahsId = 4;
  failing.lookupValue = [](const QString&, const QString&) -> QString {
    throw TelmonError(3704, QStringLiteral("Operation is not allowed when the object is closed"));
  };
  EXPECT_EQ(IosConnection(sink, failing).GetIOSPort(), 7651);
  ASSERT_EQ(sink.messages.size(), 2U);
  EXPECT_EQ(sink.messages[0],
            std::make_pair(MsgType::PortLookup, QStringLiteral("TELM-0056: 6, Overflow")));
  EXPECT_EQ(sink.messages[1].second,
            QStringLiteral("TELM-0056: 3704, Operation is not allowed when the object is closed"));
}

TEST(IosByteCountTest, GroupedWithoutDecimals) {
  QLocale::setDefault(QLocale::c());
  EXPECT_EQ(FormatByteCount(0), QStringLiteral("0"));
  EXPECT_EQ(FormatByteCount(999), QStringLiteral("999"));
  EXPECT_EQ(FormatByteCount(1234567), QStringLiteral("1,234,567"));
  EXPECT_EQ(FormatByteCount(18446744073709551615ULL), QStringLiteral("18,446,744,073,709,551,615"));
}

}  // namespace
}  // namespace telmon
