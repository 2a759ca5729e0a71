// The pages as the operator sees them: captions, tool tips, toolbar keys, and the list view
// keeping the selection in the model.

#include "views/ui/BlocksPage.h"
#include "views/ui/ChannelsPage.h"
#include "views/ui/DevicesPage.h"
#include "views/ui/ListFilterEdit.h"
#include "views/ui/QueuesPage.h"

#include "platform/testing/ScriptedPrompter.h"
#include "tests/views/ViewsTestSupport.h"

#include <QApplication>
#include <QPushButton>
#include <QSignalSpy>

#include <gtest/gtest.h>

namespace telmon {
namespace {

class AlwaysEditing final : public IEditGate {
 public:
  bool EditsAllowed() const override { return true; }
  bool AskWhetherUserWantsToEnableEditing() override { return true; }
};

TEST(DevicesPage, ButtonsCarryTheirTextsAndActOnTheModelSelection) {
  KeyedListModel model;
  test::CollectingSink sink;
  test::LoopbackPeer peer;
  ScriptedPrompter prompter;
  AlwaysEditing edit;
  DeviceListviewManager devices;
  devices.Setup(sink, peer, model);
  DeviceOperations ops(devices, {&edit, nullptr, &prompter, &sink, "Telmon", "S"});
  DevicesPage page(model, ops);
  page.resize(900, 400);
  page.show();

  EXPECT_EQ(page.cmdPoll(1)->text(), "Random Values (all)");
  EXPECT_EQ(page.cmdPoll(1)->toolTip(), "Change all devices to random mode  (password required)");
  EXPECT_EQ(page.cmdPollOne(0)->toolTip(),
            "Change the selected device to polling mode (password required)");
  EXPECT_EQ(page.cmdChangeIPAddress()->toolTip(),
            "Change IP address of the selected device  (password required and IOS restart "
            "required)");
  EXPECT_EQ(page.cmdFailover()->text(), "Failover");
  EXPECT_EQ(page.lsvDevices()->columnWidth(0),
            KeyedListModel::TwipsToPixels(500, page.lsvDevices()->logicalDpiX()));

  const test::ParsedEvents events(QStringLiteral(
      "<Event eventtype=\"DeviceUpdate\" DeviceID=\"4\" WatchdogStatusOk=\"true\"/>"
      "<Event eventtype=\"DeviceUpdate\" DeviceID=\"3\" WatchdogStatusOk=\"true\"/>"));
  for (xml::XmlElement event : events.All()) {
    devices.UpdateOneItemInLsv(event);
  }
  // A click in the view selects in the model; the model's selection shows in the view.
  page.lsvDevices()->setCurrentIndex(page.lsvDevices()->ViewIndex(1));
  EXPECT_EQ(devices.GetSelectedDeviceID(), 4);
  page.cmdPollOne(1)->click();
  page.cmdSetClock()->click();
  model.Select(model.FindKey("3K"));
  EXPECT_EQ(page.lsvDevices()->currentIndex().row(), 0);
  EXPECT_EQ(peer.Received(),
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
  KeyedListModel queues;
  KeyedListModel blocks;
  test::CollectingSink sink;
  test::LoopbackPeer peer;
  QueueListviewManager manager;
  manager.Setup(sink, peer, queues);
  QueuesPage queuesPage(queues, manager);
  BlocksPage blocksPage(blocks);
  EXPECT_EQ(queuesPage.cmdResetCounters()->text(), "Reset Counters");
  EXPECT_EQ(queuesPage.cmdResetCounters()->toolTip(),
            "Reset the queue counters to zero (there is an automatic reset on the first of the "
            "month)");
  queuesPage.cmdResetCounters()->click();
  EXPECT_EQ(peer.Received(), QByteArray("<Command action=\"ResetQCounters\"/>"));
  EXPECT_EQ(queuesPage.lsvQueues()->ListModel(), &queues);
  EXPECT_EQ(blocksPage.lsvBlocks()->ListModel(), &blocks);

  // Each list page's filter box narrows the list it stands above.
  KeyedListModel channels;
  ChannelsPage channelsPage(channels);
  struct Case {
    QWidget* page;
    KeyedListModel* model;
    KeyedListView* view;
  };
  for (const Case& c : {Case{&queuesPage, &queues, queuesPage.lsvQueues()},
                        Case{&blocksPage, &blocks, blocksPage.lsvBlocks()},
                        Case{&channelsPage, &channels, channelsPage.lsvChannels()}}) {
    SCOPED_TRACE(c.page->metaObject()->className());
    if (c.model->ColumnCount() == 0) {
      c.model->AddColumn({QStringLiteral("ID"), 1440, Qt::AlignLeft, {}});
    }
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

TEST(ChannelsPage, ToolbarKeysAnnounceThemselves) {
  KeyedListModel model;
  ChannelsPage page(model);
  for (const char* key : {"1DecPlace", "AddWatch", "AddAddress", "RemoveAllWatches", "ChangeValue",
                          "RefreshBlocks", "Messages", "SaveIOList"}) {
    EXPECT_NE(page.Button(QString::fromLatin1(key)), nullptr) << key;
  }
  EXPECT_EQ(page.Button("RefreshBlocks")->toolTip(), "Refresh all blocks");
  EXPECT_TRUE(page.Button("1DecPlace")->isCheckable());
  EXPECT_FALSE(page.Button("ChangeValue")->isEnabled());
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
