// The settings page and the cal HDR frame in Telmon's main window (offscreen) against the I/O
// server simulator as a real process over the demo site.

#include "tests/e2e/E2eSupport.h"
#include "tools/ui/CalHdrFrame.h"
#include "tools/ui/IOSSettingsPage.h"

#include <QLineEdit>
#include <QPushButton>

#include <gtest/gtest.h>

using namespace telmon;
using namespace telmon::e2e;

namespace {

class ToolsEndToEnd : public ::testing::Test {
 protected:
  void SetUp() override {
    const int port = FreeLoopbackPort();
    QString error;
    ASSERT_TRUE(site_.Create(port, &error)) << error.toStdString();
    ASSERT_TRUE(sim_.Start(site_, port)) << sim_.Output().toStdString();
    ASSERT_TRUE(monitor_.Start(site_)) << monitor_.Messages().join('\n').toStdString();
    ASSERT_TRUE(monitor_.WaitForFullRefresh(site_));
    monitor_.window->show();
  }
  // The value the write put into the channel at `address`, once the simulator has applied it.
  QString WrittenValue(const QString& address) {
    const int id = site_
                       .Scalar(QStringLiteral("SELECT channelid FROM H5IOCHANNEL WHERE dahsid = 1 "
                                              "AND address = '%1'")
                                   .arg(address))
                       .toInt();
    const QString pattern = QStringLiteral("%id=\"%1\"%").arg(id);
    return site_
        .Scalar(QStringLiteral("SELECT commandtext FROM H5IOCOMMAND WHERE commandtext LIKE '%1' "
                               "AND callercode = 'TELM-0063' AND processedat IS NOT NULL")
                    .arg(pattern))
        .toString();
  }

  DemoSite site_;
  SimProcess sim_;
  Monitor monitor_;
};

TEST_F(ToolsEndToEnd, LoadListThenWriteFillsTheDemoCalHistory) {
  CalHdrFrame* frame = monitor_.window->CalHdr();
  ASSERT_NE(frame, nullptr);
  frame->cmdCalHDRLoadList()->click();
  EXPECT_EQ(frame->PrefixBox(5)->text(), "U1 Stack NOx/L Cal Day");
  EXPECT_EQ(frame->SpanBox(5)->text(), "10");
  monitor_.prompter.QueueAnswer(PromptAnswer::Yes);  // enable edits now?
  monitor_.prompter.QueueCredentials(Credentials{"super", "super-demo"});
  frame->cmdCalHDRWrite()->click();

  const int calChannels =
      site_
          .Scalar(
              "SELECT COUNT(*) FROM H5IOCHANNEL WHERE dahsid = 1 AND (address LIKE "
              "'%CalHistory%' OR address LIKE '%CemsInfoHistoryCal%')")
          .toInt();
  EXPECT_GT(calChannels, 400);
  const QString done =
      QStringLiteral("Wrote data to %1 cal HDR channels [TELM-0064]").arg(calChannels);
  // The write runs on the database worker; its report comes when the last record is written.
  EXPECT_TRUE(WaitFor([&] { return monitor_.HasMessage(done); }, 30000))
      << monitor_.Messages().join('\n').toStdString();
  ASSERT_TRUE(WaitFor(
      [&] {
        return site_.Scalar("SELECT COUNT(*) FROM H5IOCOMMAND WHERE processedat IS NULL").toInt() ==
               0;
      },
      60000));
  EXPECT_TRUE(
      WrittenValue("CemsInfoHistoryCal.U1.NOXL.Days[1].ZEROAVG").endsWith(R"(value="-0.02" />)"));
  EXPECT_TRUE(
      WrittenValue("CemsInfoHistoryCal.U1.NOXL.Days[1.ZEROAVG").endsWith(R"(value="0" />)"));
  EXPECT_TRUE(WrittenValue("CemsInfoHistoryCal.U1.COL.Days[0].ZEROINJECTIONSTARTHHMMSS")
                  .endsWith(R"(value="073000" />)"));
  EXPECT_TRUE(WrittenValue("CalHistory.U1.O2.Days[0].SPANREFGAS").endsWith(R"(value="20.9" />)"));
}

TEST_F(ToolsEndToEnd, SettingsChangesComeBackFromTheServer) {
  IOSSettingsPage* page = monitor_.window->SettingsPage();
  ASSERT_NE(page, nullptr);
  auto* urp = page->findChild<QLineEdit*>("txtUnscheduledRequestPriority");
  auto* rid = page->findChild<QLineEdit*>("txtRequestInitiationDelay");
  ASSERT_TRUE(WaitFor([&] { return urp->text() == "1"; }, 10000));
  page->findChild<QPushButton*>("cmdIncreaseURP")->click();
  ASSERT_TRUE(WaitFor([&] { return urp->text() == "2"; }, 10000));
  EXPECT_TRUE(WaitFor(
      [&] {
        return site_
                   .Scalar(
                       "SELECT lookupvalue FROM H5LOOKUP WHERE lookupkey = "
                       "'IOS:UnscheduledRequestPriority'")
                   .toString() == "2";
      },
      10000));
  rid->setText(QStringLiteral("5"));  // the server raises it to its minimum, and the box follows
  EXPECT_TRUE(WaitFor([&] { return rid->text() == "10"; }, 10000));
}

}  // namespace
