// The messages window against the simulator: trace messages hidden until the operator asks for
// them, and a message of several lines shown as several rows.

#include "ioslink/IosCommands.h"
#include "messages/MessageLogModel.h"
#include "messages/frmProblems.h"
#include "tests/e2e/E2eSupport.h"

#include <gtest/gtest.h>

using namespace telmon;
using namespace telmon::e2e;

namespace {

class MessagesEndToEnd : public ::testing::Test {
 protected:
  // Starts the simulator with tracing on and `faultyDevice` not answering, then the monitor.
  void StartAll(int* faultyDevice) {
    port_ = FreeLoopbackPort();
    QString error;
    ASSERT_TRUE(site_.Create(port_, &error)) << error.toStdString();
    // A device that answers in the demo site, made faulty by the simulator's option.
    *faultyDevice =
        site_.Scalar("SELECT MIN(deviceid) FROM H5IODEVICE WHERE dahsid = 1 AND faulty = 0")
            .toInt();
    ASSERT_GT(*faultyDevice, 0);
    ASSERT_TRUE(
        sim_.Start(site_, port_, {"--trace", "--faulty-device", QString::number(*faultyDevice)}))
        << sim_.Output().toStdString();
    ASSERT_TRUE(monitor_.Start(site_)) << monitor_.Messages().join('\n').toStdString();
    ASSERT_TRUE(monitor_.WaitForFullRefresh(site_));
  }
  int RowsStartingWith(const QString& prefix) const {
    const QStringList texts = monitor_.Messages();
    return static_cast<int>(std::count_if(texts.begin(), texts.end(),
                                          [&](const QString& t) { return t.startsWith(prefix); }));
  }

  int port_ = 0;
  DemoSite site_;
  SimProcess sim_;
  Monitor monitor_;
};

TEST_F(MessagesEndToEnd, TraceRowsAreHiddenUntilAskedForAndLongMessagesSplitIntoRows) {
  int faulty = 0;
  StartAll(&faulty);
  frmMain& w = *monitor_.window;
  frmProblems& problems = w.Problems();
  const QString trace = QStringLiteral("Trace: command GetFullDeviceInfo received");

  // The full refresh on connect was traced by the server, and the window dropped the traces.
  ASSERT_FALSE(problems.ShowTraceMessages());
  EXPECT_TRUE(monitor_.HasMessage(QStringLiteral("Sent information on ")));
  EXPECT_EQ(RowsStartingWith(QStringLiteral("Trace: ")), 0);

  problems.SetShowTraceMessages(true);
  w.RefreshAllLists();
  ASSERT_TRUE(WaitFor([&] { return RowsStartingWith(trace) == 1; }, 20000))
      << monitor_.Messages().join('\n').toStdString();
  EXPECT_EQ(RowsStartingWith(QStringLiteral("Trace: command GetChannelConfigInfo received")), 1);
  // Trace rows have the trace colour.
  const MessageLogModel& log = w.MessageLog();
  for (int i = 0; i < log.rowCount(); ++i) {
    if (log.Row(i).text == trace) {
      EXPECT_EQ(log.Row(i).colour, MessageTypes().Colour(8));
    }
  }

  // The faulty device's refusal comes as one message of two lines: two rows, the second
  // indented by four spaces, with the same timestamp.
  w.SendCommand(IosCommands::SetDeviceClock(faulty));
  ASSERT_TRUE(
      WaitFor([&] { return RowsStartingWith(QStringLiteral("    Watchdog: ")) == 1; }, 20000))
      << monitor_.Messages().join('\n').toStdString();
  int second = -1;
  for (int i = 0; i < log.rowCount(); ++i) {
    if (log.Row(i).text.startsWith(QStringLiteral("    Watchdog: "))) {
      second = i;
    }
  }
  ASSERT_GT(second, 0);
  const MessageLogRow& first = log.Row(second - 1);
  EXPECT_TRUE(first.text.endsWith(QStringLiteral(" did not respond; its clock was not set")))
      << first.text.toStdString();
  EXPECT_FALSE(first.text.startsWith(QLatin1Char(' ')));
  EXPECT_EQ(first.column1, log.Row(second).column1);
  EXPECT_EQ(first.colour, log.Row(second).colour);
  EXPECT_EQ(log.Row(second - 2).text, QStringLiteral("Trace: command SetDeviceClock received"));
}

}  // namespace
