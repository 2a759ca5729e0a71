// The settings page against an I/O server stand-in on the loopback interface: every button and
// box sends its exact bytes, and settings events fill the page (and echo the RID).

#include "ioslink/IosConnection.h"
#include "tests/ioslink/IosLinkTestPeer.h"
#include "tests/support/Accessibly.h"
#include "tests/support/ScreenTexts.h"
#include "tools/ui/IOSSettingsPage.h"

#include <QLabel>
#include <QLineEdit>
#include <QPushButton>
#include <QtTest/QTest>

#include <gtest/gtest.h>

namespace telmon {
namespace {

using testing::FakeIos;
using testing::RecordingSink;

// Routes settings events to the page, as the main window does.
struct PageHandlers final : IIosEventHandlers {
  IOSSettingsPage* page = nullptr;
  void OnDeviceUpdate(xml::XmlElement) override {}
  void OnQueueUpdate(xml::XmlElement) override {}
  void OnBlockUpdate(xml::XmlElement) override {}
  void OnChannelConfigFullUpdate() override {}
  void OnChannelConfigUpdate(xml::XmlElement) override {}
  void OnChannelConfigBurstEnd() override {}
  void OnIOSSettingsUpdate(xml::XmlElement e) override { page->OnIOSSettingsUpdate(e); }
  void OnMessageEvent(std::int32_t, const QString&) override {}
};

class IOSSettingsPageTest : public ::testing::Test {
 protected:
  void SetUp() override {
    IosLinkSettings s;
    s.lookupValue = [this](const QString&, const QString&) { return QString::number(ios_.Port()); };
    s.hostName = [] { return QStringLiteral("127.0.0.1"); };
    link_ = std::make_unique<IosConnection>(sink_, s);
    page_ = std::make_unique<IOSSettingsPage>(*link_, sink_);
    handlers_.page = page_.get();
    link_->SetEventHandlers(&handlers_);
    link_->ConnectToIOS();
    ASSERT_TRUE(ios_.WaitForMonitor());
    ASSERT_TRUE(QTest::qWaitFor([&] { return !ios_.Received().isEmpty(); }, 10000));
    taken_ = ios_.Received().size();  // the full refresh the link asks for on connect
    ASSERT_TRUE(QTest::qWaitFor([&] { return sink_.Count("TELM-0030") == 1; }, 10000));
    sink_.messages.clear();  // the link's own notes
  }

  template <typename T>
  T* Child(const char* name) {
    T* child = page_->findChild<T*>(QLatin1String(name));
    EXPECT_NE(child, nullptr) << name;
    return child;
  }
  void Click(const char* button) { Child<QPushButton>(button)->click(); }
  QString Text(const char* label) { return Child<QLabel>(label)->text(); }
  QLineEdit* Box(const char* name) { return Child<QLineEdit>(name); }

  // What the page has sent since the last call, once `expected` bytes are in.
  QByteArray Sent(const QByteArray& expected) {
    EXPECT_TRUE(ios_.WaitForReceived(taken_ + expected.size()));
    QByteArray sent = ios_.Received().mid(taken_);
    taken_ += sent.size();
    return sent;
  }
  // Nothing more arrives within a short while.
  QByteArray SentNothing() {
    QTest::qWait(200);
    QByteArray sent = ios_.Received().mid(taken_);
    taken_ += sent.size();
    return sent;
  }
  void Event(const QByteArray& attributes) {
    const auto target = link_->BytesReceivedTotal();
    const QByteArray event = R"(<Event eventtype="IOSSettingsUpdate")" + attributes + "/>";
    ios_.Send(event);
    ASSERT_TRUE(QTest::qWaitFor(
        [&] {
          return link_->BytesReceivedTotal() >= target + quint64(event.size()) &&
                 link_->EventsWaiting() == 0;
        },
        30000));
  }

  FakeIos ios_;
  RecordingSink sink_;
  PageHandlers handlers_;
  std::unique_ptr<IosConnection> link_;
  std::unique_ptr<IOSSettingsPage> page_;
  qsizetype taken_ = 0;
};

TEST_F(IOSSettingsPageTest, ButtonsSendTheirExactCommandPairs) {
  const std::pair<const char*, QByteArray> cases[] = {
      {"cmdUpdateSettings", R"(<Command action="GetIOSSettings" />)"},
      {"cmdSetLogLevelNone",
       R"(<Command action="SetLogLevel" value="-1"/><Command action="GetIOSSettings" />)"},
      {"cmdSetLogLevelNormal",
       R"(<Command action="SetLogLevel" value="0"/><Command action="GetIOSSettings" />)"},
      {"cmdSetLogLevelAll",
       R"(<Command action="SetLogLevel" value="2"/><Command action="GetIOSSettings" />)"},
      {"cmdStartStopRestartLog",
       R"(<Command action="ResetLog" /><Command action="GetIOSSettings" />)"},
  };
  for (const auto& [button, bytes] : cases) {
    Click(button);
    EXPECT_EQ(Sent(bytes), bytes) << button;
  }
  EXPECT_TRUE(sink_.messages.empty());
}

TEST_F(IOSSettingsPageTest, UrpButtonsMoveTheShownValueByOneButNeverBelowOne) {
  struct Case {
    const char* box;
    const char* increase;
    const char* decrease;
  };
  const Case cases[] = {{"5", "6", "4"},    {"1", "2", "1"},   {"0", "0", "0"},
                        {"-3", "-3", "-3"}, {"", "1", "1"},    {"abc", "1", "1"},
                        {"2.5", "3", "1"},  {" 7 ", "8", "6"}, {"&H10", "17", "15"}};
  EXPECT_TRUE(Child<QLabel>("lblURPStorageNotice")->isHidden());
  for (const Case& c : cases) {
    Box("txtUnscheduledRequestPriority")->setText(QLatin1String(c.box));
    Click("cmdIncreaseURP");
    Click("cmdDecreaseURP");
    const QByteArray expected = QByteArray(R"(<Command action="SetURP" value=")") + c.increase +
                                R"("/><Command action="SetURP" value=")" + c.decrease + R"("/>)";
    EXPECT_EQ(Sent(expected), expected) << c.box;
    EXPECT_EQ(Box("txtUnscheduledRequestPriority")->text(), QLatin1String(c.box));
  }
  EXPECT_FALSE(Child<QLabel>("lblURPStorageNotice")->isHidden());
  EXPECT_FALSE(Child<QLabel>("lblRIDStorageNotice")->isHidden());
}

TEST_F(IOSSettingsPageTest, UrpBeyondAnIntegerIsReportedAndNothingSent) {
  Box("txtUnscheduledRequestPriority")->setText(QStringLiteral("2147483647"));
  Click("cmdIncreaseURP");
  Box("txtUnscheduledRequestPriority")->setText(QStringLiteral("99999999999"));
  Click("cmdDecreaseURP");
  EXPECT_EQ(SentNothing(), QByteArray());
  EXPECT_EQ(sink_.Texts(),
            QStringList({"TELM-0020: Error 6, Overflow", "TELM-0021: Error 6, Overflow"}));
  EXPECT_TRUE(Child<QLabel>("lblURPStorageNotice")->isHidden());
}

TEST_F(IOSSettingsPageTest, EveryKeystrokeInTheRidBoxSendsANumericValue) {
  QLineEdit* rid = Box("txtRequestInitiationDelay");
  rid->setFocus();
  QTest::keyClicks(rid, QStringLiteral("250"));
  QByteArray expected =
      R"(<Command action="SetRID" value="2"/><Command action="SetRID" value="25"/>)"
      R"(<Command action="SetRID" value="250"/>)";
  EXPECT_EQ(Sent(expected), expected);
  rid->clear();
  QTest::keyClicks(rid, QStringLiteral("5x"));
  expected = R"(<Command action="SetRID" value="5"/>)";  // below the minimum, sent as typed
  EXPECT_EQ(Sent(expected), expected);
  EXPECT_EQ(SentNothing(), QByteArray());
  rid->setText(QStringLiteral("99999999999"));
  EXPECT_EQ(sink_.Texts(), QStringList{"TELM-0023: Error 6, Overflow"});
}

TEST_F(IOSSettingsPageTest, SettingsEventsFillThePageAndTheRidIsEchoed) {
  Event(R"( LogLevel="2" IsLogActive="True" URP="3" RID="40")");
  QByteArray echo = R"(<Command action="SetRID" value="40"/>)";
  EXPECT_EQ(Sent(echo), echo);
  EXPECT_EQ(Text("lblLogLevel"), "2 - All");
  EXPECT_EQ(Text("lblLogIsActive"), "YES");
  EXPECT_EQ(Box("txtUnscheduledRequestPriority")->text(), "3");
  EXPECT_EQ(Box("txtRequestInitiationDelay")->text(), "40");

  struct Case {
    const char* attributes;
    const char* level;
    const char* active;
  };
  const Case cases[] = {
      {R"( LogLevel="1")", "1 - All (UserDB)", "YES"},
      {R"( LogLevel="7" IsLogActive="0")", "7", "NO"},
      {R"( LogLevel="-1" IsLogActive="-1")", "-1 - None", "YES"},
      {R"( LogLevel="0" IsLogActive="false")", "0 - Normal", "NO"},
      {R"( IsLogActive="1")", "", "YES"},
  };
  for (const Case& c : cases) {
    Event(c.attributes);
    EXPECT_EQ(Text("lblLogLevel"), QLatin1String(c.level)) << c.attributes;
    EXPECT_EQ(Text("lblLogIsActive"), QLatin1String(c.active)) << c.attributes;
  }
  EXPECT_EQ(Box("txtUnscheduledRequestPriority")->text(), "3");
  EXPECT_EQ(Box("txtRequestInitiationDelay")->text(), "40");
  EXPECT_EQ(SentNothing(), QByteArray());  // an unchanged box sends nothing

  Event(R"( URP="" RID="15")");
  echo = R"(<Command action="SetRID" value="15"/>)";
  EXPECT_EQ(Sent(echo), echo);
  EXPECT_EQ(Box("txtUnscheduledRequestPriority")->text(), "3");
  EXPECT_TRUE(sink_.messages.empty());
}

// An "IsLogActive" that is empty or no Boolean is read as the shared attribute reader reads it:
// the label stays as it was, nothing is reported, and the event's URP and RID still apply.
TEST_F(IOSSettingsPageTest, ALogFlagThatIsNoBooleanLeavesTheLabelAndTheRestApplies) {
  Event(R"( LogLevel="0" IsLogActive="True" URP="2")");
  const std::pair<QByteArray, QByteArray> cases[] = {{"maybe", "31"}, {"", "32"}, {" ", "33"}};
  for (const auto& [flag, rid] : cases) {
    Event(R"( LogLevel="2" IsLogActive=")" + flag + R"(" URP="9)" + rid + R"(" RID=")" + rid +
          R"(")");
    const QByteArray echo = R"(<Command action="SetRID" value=")" + rid + R"("/>)";
    EXPECT_EQ(Sent(echo), echo) << flag.constData();
    EXPECT_EQ(Text("lblLogLevel"), "2 - All");
    EXPECT_EQ(Text("lblLogIsActive"), "YES");
    EXPECT_EQ(Box("txtUnscheduledRequestPriority")->text(), "9" + QString::fromLatin1(rid));
  }
  EXPECT_TRUE(sink_.messages.empty()) << sink_.Texts().join('\n').toStdString();
}

// The boxes follow text set through the accessibility interface as they follow typing.
TEST_F(IOSSettingsPageTest, BoxesSetThroughAccessibilityActAsTyped) {
  for (const AccessPath path : {AccessPath::Value, AccessPath::Replace, AccessPath::Insert}) {
    SCOPED_TRACE(AccessPathName(path));
    SetTextAccessibly(Box("txtRequestInitiationDelay"), QStringLiteral("125"), path);
    QByteArray expected = R"(<Command action="SetRID" value="125"/>)";
    EXPECT_EQ(Sent(expected), expected);
    SetTextAccessibly(Box("txtUnscheduledRequestPriority"), QStringLiteral("6"), path);
    Click("cmdIncreaseURP");
    expected = R"(<Command action="SetURP" value="7"/>)";
    EXPECT_EQ(Sent(expected), expected);
    Box("txtRequestInitiationDelay")->clear();
  }
  EXPECT_EQ(SentNothing(), QByteArray());
}

// The page's frames, captions and help texts as the operator knows them, read from the page.
TEST_F(IOSSettingsPageTest, ShowsTheFramesAndCaptionsOperatorsKnow) {
  test::ExpectShown(
      test::ScreenTexts(page_.get()),
      {
          R"t(frame " IOS Logging ")t",
          R"t(label "Log level:")t",
          R"t(label "Log file active:")t",
          R"t(button "Set LogLevel=None")t",
          R"t(button "Set LogLevel=Normal")t",
          R"t(button "Set LogLevel=All")t",
          R"t(button "Start/Restart/Stop Log")t",
          R"t(frame " Unscheduled Request Priority ")t",
          R"t(label "Unscheduled Request Priority:")t",
          R"t(button "Increase")t",
          R"t(button "Decrease")t",
          R"t(label "This setting indicates how many "scheduled" I/O requests are serviced for every "unscheduled" request, when both kinds of requests are pending. Affects communications during HDR. Default=1.")t",
          R"t((hidden) label "This setting is stored in the ConfigDB.")t",
          R"t(frame " Request Initiation Delay ")t",
          R"t(label "Request Initiation Delay (msec):")t",
          R"t(label "Delay before each I/O request is serviced. Min=10 msec. Default=0.")t",
          R"t(label "This setting is in-memory only.")t",
          R"t(button "Refresh Settings")t",
      });
}

}  // namespace
}  // namespace telmon
