// Telmon's main window (offscreen) against the I/O server simulator as a real process, over a
// real demo site.

#include "app/MainMenus.h"
#include "app/StatusPanels.h"
#include "app/TabFrames.h"
#include "ioslink/IosConnection.h"
#include "tests/e2e/E2eSupport.h"
#include "tests/support/OnScreen.h"
#include "views/ChannelListviewManager.h"
#include "views/KeyedListModel.h"

#include <QAction>
#include <QImage>
#include <QLineEdit>
#include <QPushButton>
#include <QThread>

#include <gtest/gtest.h>

using namespace telmon;
using namespace telmon::e2e;

namespace {

class EndToEnd : public RunningSite {
 protected:
  QPushButton* Button(const char* name) { return W().findChild<QPushButton*>(QLatin1String(name)); }
  QString DeviceCell(const QString& key, int column) {
    KeyedListModel* m = W().DevicesModel();
    auto* row = m->FindKey(key);
    return row != nullptr ? m->SubItem(row, column) : QString();
  }
  // Static columns of every row, keyed, so that two runs can be compared.
  static QStringList Snapshot(KeyedListModel* m, int columns) {
    QStringList rows;
    for (int i = 0; i < m->RowCount(); ++i) {
      auto* row = m->RowAt(i);
      QStringList cells;
      for (int c = 0; c < columns; ++c) {
        cells << m->SubItem(row, c);
      }
      rows << m->Key(row) + "=" + cells.join('|');
    }
    rows.sort();
    return rows;
  }
  QStringList Tables() {
    return Snapshot(W().DevicesModel(), 6) + Snapshot(W().QueuesModel(), 3) +
           Snapshot(W().BlocksModel(), 12);
  }
  void WatchChannels(const QString& kind, int count) {
    const QString ids =
        site_
            .Scalar(QStringLiteral("SELECT group_concat(channelid, ';') FROM (SELECT channelid "
                                   "FROM H5IOCHANNEL WHERE dahsid = 1 AND kind = '%1' ORDER BY "
                                   "channelid LIMIT %2)")
                        .arg(kind)
                        .arg(count))
            .toString();
    ASSERT_FALSE(ids.isEmpty());
    W().Channels()->AddLsvRowsForChannelIDList(ids);
    ASSERT_EQ(W().ChannelsModel()->RowCount(), count);
  }
  QStringList ChannelValues() {
    QStringList values;
    KeyedListModel* m = W().ChannelsModel();
    for (int i = 0; i < m->RowCount(); ++i) {
      values << m->SubItem(m->RowAt(i), 1) + "@" + m->SubItem(m->RowAt(i), 2);
    }
    return values;
  }
  bool AllDevicesColoured(ColorRef colour) {
    KeyedListModel* m = W().DevicesModel();
    for (int i = 0; i < m->RowCount(); ++i) {
      if (m->RowColor(m->RowAt(i)) != colour) {
        return false;
      }
    }
    return m->RowCount() > 0;
  }
};

}  // namespace

TEST_F(EndToEnd, ConnectsAndFillsEveryPageAsConfigured) {
  StartAll();
  ASSERT_TRUE(monitor_.WaitForFullRefresh(site_));
  EXPECT_TRUE(monitor_.HasMessage("TELM-0030: Connected to IOS."));
  EXPECT_TRUE(monitor_.HasMessage(
      QStringLiteral("Connecting to IOS (127.0.0.1, TCP port %1)...").arg(port_)));
  const QString name =
      site_.Scalar("SELECT name FROM H5IODEVICE WHERE dahsid = 1 AND deviceid = 1").toString();
  EXPECT_EQ(DeviceCell("1K", 1), name);
  EXPECT_EQ(W().Panels().Text(PanelKey::BytesReceived).remove(',').toLongLong() > 0, true);
  EXPECT_EQ(W().Tabs().CurrentPageIndex(), 0);
}

TEST_F(EndToEnd, WatchedChannelsShowTheSimulatorsValuesTickAfterTick) {
  StartAll();
  ASSERT_TRUE(monitor_.WaitForFullRefresh(site_));
  WatchChannels("NOx", 3);
  // Rows added after the configuration arrived carry its name and scaling.
  KeyedListModel* m = W().ChannelsModel();
  EXPECT_TRUE(m->Text(m->RowAt(0)).contains(": "));
  ASSERT_TRUE(WaitFor(
      [&] {
        W().UpdateChannelsAndWait();
        for (int i = 0; i < m->RowCount(); ++i) {
          if (m->SubItem(m->RowAt(i), 1).isEmpty()) {
            return false;
          }
        }
        return true;
      },
      10000));
  const QStringList first = ChannelValues();
  EXPECT_NE(W().Panels().Text(PanelKey::ChannelUpdateTime), "??");
  ASSERT_TRUE(WaitFor(
      [&] {
        QThread::msleep(200);
        W().UpdateChannelsAndWait();
        return ChannelValues() != first;
      },
      10000));
  EXPECT_FALSE(W().txtNotPolling()->isVisible());
}

TEST_F(EndToEnd, RandomModeFromTheDeviceButtonsAndBack) {
  StartAll();
  ASSERT_TRUE(monitor_.WaitForFullRefresh(site_));
  W().show();
  monitor_.prompter.QueueAnswer(PromptAnswer::Yes);  // enable edits now?
  monitor_.prompter.QueueCredentials(Credentials{"super", "super-demo"});
  Button("cmdPoll_1")->click();
  EXPECT_TRUE(W().EditsAllowed());
  ASSERT_TRUE(WaitFor([&] { return AllDevicesColoured(Colors::Blue); }, 15000));
  EXPECT_EQ(DeviceCell("1K", 8), "True");
  ASSERT_TRUE(WaitFor(
      [&] {
        QThread::msleep(100);
        W().UpdateChannelsAndWait();
        return W().txtNotPolling()->isVisible();
      },
      10000));

  Button("cmdPoll_0")->click();
  ASSERT_TRUE(WaitFor([&] { return AllDevicesColoured(Colors::WindowText); }, 15000));
  ASSERT_TRUE(WaitFor(
      [&] {
        QThread::msleep(100);
        W().UpdateChannelsAndWait();
        return !W().txtNotPolling()->isVisible();
      },
      10000));
}

// What a screenshot of the window shows, as the program's screenshot mode takes it: with one
// device giving random values, the indicator's red field with its white text beside the tabs.
TEST_F(EndToEnd, ScreenshotShowsTheNotPollingIndicator) {
  StartAll();
  ASSERT_TRUE(monitor_.WaitForFullRefresh(site_));
  W().show();
  W().DevicesModel()->Select(W().DevicesModel()->FindKey(QStringLiteral("1K")));
  monitor_.prompter.QueueAnswer(PromptAnswer::Yes);
  monitor_.prompter.QueueCredentials(Credentials{"super", "super-demo"});
  Button("cmdPollOne_1")->click();
  ASSERT_TRUE(WaitFor([&] { return DeviceCell("1K", 8) == "True"; }, 15000));
  ASSERT_TRUE(WaitFor(
      [&] {
        QThread::msleep(100);
        W().UpdateChannelsAndWait();
        return W().txtNotPolling()->isVisible();
      },
      10000));
  QLineEdit* indicator = W().txtNotPolling();
  EXPECT_TRUE(SeenOnScreen(indicator));

  const QImage shot = W().grab().toImage();
  const qreal ratio = shot.devicePixelRatio();
  const QRect at(indicator->mapTo(&W(), QPoint(0, 0)) * ratio, indicator->size() * ratio);
  ASSERT_TRUE(shot.rect().contains(at));
  int red = 0;
  int white = 0;
  for (int y = at.top(); y <= at.bottom(); ++y) {
    for (int x = at.left(); x <= at.right(); ++x) {
      const QColor c = shot.pixelColor(x, y);
      red += c.red() > 150 && c.green() < 60 && c.blue() < 60 ? 1 : 0;
      white += c.red() > 200 && c.green() > 200 && c.blue() > 200 ? 1 : 0;
    }
  }
  const int area = at.width() * at.height();
  EXPECT_GT(red, area / 2) << "red " << red << " of " << area;
  EXPECT_GT(white, 20) << "no text drawn";
}

TEST_F(EndToEnd, FailoverSwitchesTheRedundantPair) {
  StartAll();
  ASSERT_TRUE(monitor_.WaitForFullRefresh(site_));
  const int device = site_
                         .Scalar(
                             "SELECT deviceid FROM H5IODEVICE WHERE dahsid = 1 AND "
                             "redundantdeviceid <> 0 ORDER BY deviceid")
                         .toInt();
  ASSERT_GT(device, 0);
  const QString key = QString::number(device) + "K";
  const QString before = DeviceCell(key, 9);
  W().DevicesModel()->Select(W().DevicesModel()->FindKey(key));
  monitor_.prompter.QueueCredentials(Credentials{"super", "super-demo"});
  monitor_.prompter.QueueAnswer(PromptAnswer::Yes);  // "Do a failover?"
  Button("cmdFailover")->click();
  ASSERT_TRUE(WaitFor([&] { return DeviceCell(key, 9) != before; }, 15000)) << before.toStdString();
  EXPECT_EQ(monitor_.prompter.Questions().back().text, "Do a failover?");
}

TEST_F(EndToEnd, WrongAccountLeavesEditModeOff) {
  StartAll();
  ASSERT_TRUE(monitor_.WaitForFullRefresh(site_));
  monitor_.prompter.QueueAnswer(PromptAnswer::Yes);
  monitor_.prompter.QueueCredentials(Credentials{"tech", "tech-demo"});  // level 100 only
  Button("cmdPoll_1")->click();
  EXPECT_FALSE(W().EditsAllowed());
  QThread::msleep(300);
  EXPECT_TRUE(WaitFor([&] { return AllDevicesColoured(Colors::WindowText); }, 2000));
}

TEST_F(EndToEnd, SimulatorKilledShowsClosedAndReconnectRestoresThePages) {
  StartAll();
  ASSERT_TRUE(monitor_.WaitForFullRefresh(site_));
  sim_.Kill();
  ASSERT_TRUE(
      WaitFor([&] { return W().Panels().Text(PanelKey::BytesReceived) == "Closed"; }, 10000))
      << W().Panels().Text(PanelKey::BytesReceived).toStdString() << "\n"
      << monitor_.Messages().join('\n').toStdString();
  EXPECT_TRUE(monitor_.HasMessage("TELM-0028: Connection to IOS is closed."));
  ASSERT_TRUE(sim_.Start(site_, port_));
  W().Menus().mnuFile_ConnectToIOS->trigger();
  ASSERT_TRUE(
      WaitFor([&] { return W().Panels().Text(PanelKey::BytesReceived) != "Closed"; }, 10000));
  W().Menus().mnuFile_RefreshAllLists->trigger();
  ASSERT_TRUE(monitor_.WaitForFullRefresh(site_));
}

class FaultInjection : public EndToEnd, public ::testing::WithParamInterface<const char*> {};

TEST_P(FaultInjection, GivesTheSameTablesAsACleanStream) {
  QStringList clean;
  {
    EndToEnd::StartAll({"--seed", "7"});
    ASSERT_TRUE(monitor_.WaitForFullRefresh(site_));
    clean = Tables();
    monitor_.window.reset();
    sim_.Kill();
  }
  ASSERT_TRUE(sim_.Start(site_, port_, {GetParam(), "--seed", "7"}));
  ASSERT_TRUE(monitor_.Start(site_)) << monitor_.Messages().join('\n').toStdString();
  ASSERT_TRUE(monitor_.WaitForFullRefresh(site_));
  EXPECT_EQ(Tables(), clean);
  EXPECT_FALSE(monitor_.HasMessage("TELM-0034"));
}

INSTANTIATE_TEST_SUITE_P(Streams, FaultInjection, ::testing::Values("--split-events", "--pack"));

TEST_F(EndToEnd, UnknownEventTypesAreReportedAndTheRestDispatched) {
  StartAll({"--send-unknown", "--chaos-ms", "200"});
  ASSERT_TRUE(monitor_.WaitForFullRefresh(site_));
  ASSERT_TRUE(WaitFor(
      [&] { return monitor_.HasMessage("TELM-0033: Unrecognized eventtype from IOS. (XML="); },
      10000));
}

TEST_F(EndToEnd, GarbageIsReportedAsUnparsableText) {
  StartAll({"--send-garbage", "--chaos-ms", "200"});
  ASSERT_TRUE(WaitFor(
      [&] { return monitor_.HasMessage("TELM-0032: Can't parse XML from IOS. (XML="); }, 10000));
  EXPECT_TRUE(W().isEnabled());
}
