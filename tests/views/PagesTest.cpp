// The pages as the operator sees them: captions, tool tips, toolbar keys, and the list view
// keeping the selection in the model.

#include "tests/support/ScreenTexts.h"
#include "tests/views/PageRig.h"
#include "views/ui/ListFilterEdit.h"

#include <QApplication>
#include <QPushButton>
#include <QSignalSpy>

#include <gtest/gtest.h>

namespace telmon {
namespace {

// Each page's captions, tool tips and columns as the operator knows them, read from the page.
TEST(ListPages, ShowTheCaptionsToolTipsAndColumnsOperatorsKnow) {
  test::PageRig rig;
  test::ExpectShown(
      test::ScreenTexts(&rig.devicesPage),
      {
          R"t(button "Random Values (all)" tip "Change all devices to random mode  (password required)")t",
          R"t(button "Poll Devices (all)" tip "Change all devices to polling mode (password required)")t",
          R"t(button "Random Values (1)" tip "Change the selected device to random mode  (password required)")t",
          R"t(button "Poll Devices (1)" tip "Change the selected device to polling mode (password required)")t",
          R"t(button "Change IP Address" tip "Change IP address of the selected device  (password required and IOS restart required)")t",
          R"t(button "Set Clock" tip "Set the clock of the selected device to the current computer time")t",
          R"t(button "Erase HDR" tip "Erase all historical data in the selected device (password required)")t",
          R"t(button "Failover" tip "Failover to a redundant device (if available)")t",
          R"t(column 0 "ID" 500 L)t",
          R"t(column 1 "Name" 1600 L)t",
          R"t(column 2 "Driver" 1200 L)t",
          R"t(column 3 "PLC Type" 900 L)t",
          R"t(column 4 "Connection" 2500 L)t",
          R"t(column 5 "Port/Target" 1500 L)t",
          R"t(column 6 "Watchdog Timeout" 500 R)t",
          R"t(column 7 "Watchdog Status" 1500 L)t",
          R"t(column 8 "Random" 900 L)t",
          R"t(column 9 "Failover Status" 1300 L)t",
          R"t(column 10 "Recent Clock" 1930 R)t",
      });
  test::ExpectShown(
      test::ScreenTexts(&rig.queuesPage),
      {
          R"t(button "Reset Counters" tip "Reset the queue counters to zero (there is an automatic reset on the first of the month)")t",
          R"t(column 0 "Queue Name" 2300 L)t",
          R"t(column 1 "Driver" 1200 L)t",
          R"t(column 2 "Port/Target" 1500 L)t",
          R"t(column 3 "Size" 600 R)t",
          R"t(column 4 "Peak" 600 R)t",
          R"t(column 5 "Serviced" 1000 R)t",
          R"t(column 6 "I/O Success" 1000 R)t",
          R"t(column 7 "I/O Failure" 1000 R)t",
          R"t(column 8 "Delay Count" 1000 R)t",
          R"t(column 9 "Redundant Writes Cancelled" 1000 R)t",
          R"t(column 10 "Comm Open Errors" 750 R)t",
          R"t(column 11 "Status" 800 R)t",
      });
  test::ExpectShown(test::ScreenTexts(&rig.blocksPage),
                    {
                        R"t(column 0 "ID" 700 L)t",
                        R"t(column 1 "Name" 2200 L)t",
                        R"t(column 2 "Device" 700 R)t",
                        R"t(column 3 "DataType" 1900 L)t",
                        R"t(column 4 "Address" 2000 L)t",
                        R"t(column 5 "Size" 700 R)t",
                        R"t(column 6 "Refresh Interval" 500 R)t",
                        R"t(column 7 "Fast Read Enabled" 500 L)t",
                        R"t(column 8 "Disabled" 600 L)t",
                        R"t(column 9 "Implicit Channel ID" 1000 L)t",
                        R"t(column 10 "HDR" 600 L)t",
                        R"t(column 11 "Contains Watchdog" 700 L)t",
                        R"t(column 12 "Fail Count" 600 R)t",
                        R"t(column 13 "Last Read Time" 1800 R)t",
                        R"t(column 14 "Last Response Time" 650 R)t",
                        R"t(column 15 "Min Response Time" 650 R)t",
                        R"t(column 16 "Max Response Time" 650 R)t",
                        R"t(column 17 "Random" 600 L)t",
                    });
  test::ExpectShown(
      test::ScreenTexts(&rig.channelsPage),
      {
          R"t(tool 1DecPlace [ ] tip "Display 1 decimal place")t",
          R"t(tool AddWatch tip "Add entry for a configured I/O channel")t",
          R"t(tool AddAddress tip "Add entry for PLC address")t",
          R"t(tool RemoveAllWatches tip "Remove all channel watches")t",
          R"t(tool ChangeValue (disabled) tip "Change channel value (password required)")t",
          R"t(tool RefreshBlocks tip "Refresh all blocks")t",
          R"t(tool Messages tip "View messages")t",
          R"t(tool SaveIOList tip "Save I/O channel list to file")t",
          R"t(column 0 "Channel ID / Address" 3000 L)t",
          R"t(column 1 "Value" 950 L)t",
          R"t(column 2 "TStamp" 1200 L)t",
          R"t(column 3 "Scaling" 1000 L)t",
          R"t(column 4 "Device" 800 R)t",
          R"t(column 5 "Channel Info" 2000 L)t",
      });
}

TEST(DevicesPage, ButtonsActOnTheModelSelectionAndKeepTheirWidth) {
  test::PageRig rig;
  DevicesPage& page = rig.devicesPage;
  KeyedListModel& model = rig.devices;
  DeviceListviewManager& devices = rig.deviceList;
  page.resize(900, 400);
  page.show();
  rig.Devices(QStringLiteral(
      "<Event eventtype=\"DeviceUpdate\" DeviceID=\"4\" WatchdogStatusOk=\"true\"/>"
      "<Event eventtype=\"DeviceUpdate\" DeviceID=\"3\" WatchdogStatusOk=\"true\"/>"));
  // A click in the view selects in the model; the model's selection shows in the view.
  page.lsvDevices()->setCurrentIndex(page.lsvDevices()->ViewIndex(1));
  EXPECT_EQ(devices.GetSelectedDeviceID(), 4);
  page.cmdPollOne(1)->click();
  page.cmdSetClock()->click();
  model.Select(model.FindKey("3K"));
  EXPECT_EQ(page.lsvDevices()->currentIndex().row(), 0);
  EXPECT_EQ(rig.peer.Received(),
            QByteArray("<Command action=\"SetDeviceToRandomMode\" id=\"4\" value=\"1\"/>"
                       "<Command action=\"SetDeviceClock\" id=\"4\"/>"));

  // On a page wide enough for one row, the buttons keep their own width and the room left over
  // stays to their right; a narrow page puts them on two rows.
  page.resize(3000, 400);
  QApplication::processEvents();
  const QList<QPushButton*> buttons = {
      page.cmdPoll(0),           page.cmdPoll(1),    page.cmdPollOne(0), page.cmdPollOne(1),
      page.cmdChangeIPAddress(), page.cmdSetClock(), page.cmdEraseHDR(), page.cmdFailover()};
  for (const QPushButton* button : buttons) {
    EXPECT_EQ(button->width(), button->sizeHint().width()) << button->text().toStdString();
    EXPECT_EQ(button->y(), buttons.front()->y());
  }
  page.resize(400, 400);
  QApplication::processEvents();
  EXPECT_GT(page.cmdFailover()->y(), page.cmdPoll(0)->y());
}

TEST(QueuesAndBlocksPages, ResetButtonAndLists) {
  test::PageRig rig;
  rig.queuesPage.cmdResetCounters()->click();
  EXPECT_EQ(rig.peer.Received(), QByteArray("<Command action=\"ResetQCounters\"/>"));
  EXPECT_EQ(rig.queuesPage.lsvQueues()->ListModel(), &rig.queues);
  EXPECT_EQ(rig.blocksPage.lsvBlocks()->ListModel(), &rig.blocks);
  EXPECT_EQ(rig.channelsPage.lsvChannels()->ListModel(), &rig.channels);

  // Each list page's filter box narrows the list it stands above.
  struct Case {
    QWidget* page;
    KeyedListModel* model;
    KeyedListView* view;
  };
  for (const Case& c : {Case{&rig.queuesPage, &rig.queues, rig.queuesPage.lsvQueues()},
                        Case{&rig.blocksPage, &rig.blocks, rig.blocksPage.lsvBlocks()},
                        Case{&rig.channelsPage, &rig.channels, rig.channelsPage.lsvChannels()}}) {
    SCOPED_TRACE(c.page->metaObject()->className());
    c.model->AddRow("1K", "Alpha");
    c.model->AddRow("2K", "Beta");
    const int all = c.view->model()->rowCount();
    ASSERT_GE(all, 2);
    auto* filter = c.page->findChild<ListFilterEdit*>();
    ASSERT_NE(filter, nullptr);
    filter->setText(QStringLiteral("bet"));
    EXPECT_EQ(c.view->model()->rowCount(), 1);
    filter->clear();
    EXPECT_EQ(c.view->model()->rowCount(), all);
  }
}

TEST(ChannelsPage, ToolbarButtonsAnnounceThemselves) {
  KeyedListModel model;
  ChannelsPage page(model);
  QSignalSpy toggled(&page, &ChannelsPage::OneDecPlaceToggled);
  QSignalSpy refresh(&page, &ChannelsPage::RefreshBlocksClicked);
  QSignalSpy save(&page, &ChannelsPage::SaveIOListClicked);
  page.Button("1DecPlace")->trigger();
  page.Button("RefreshBlocks")->trigger();
  page.Button("SaveIOList")->trigger();
  ASSERT_EQ(toggled.count(), 1);
  EXPECT_TRUE(toggled[0][0].toBool());
  EXPECT_EQ(refresh.count(), 1);
  EXPECT_EQ(save.count(), 1);
}

}  // namespace
}  // namespace telmon
