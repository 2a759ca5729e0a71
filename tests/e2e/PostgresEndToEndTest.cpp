// The watch page reading the realtime values that the simulator writes to a PostgreSQL server.

#include "app/StatusPanels.h"
#include "messages/MessageLogModel.h"
#include "platform/SiteSchema.h"
#include "tests/e2e/E2eSupport.h"
#include "tests/platform/SiteDatabaseFixture.h"
#include "views/ChannelListviewManager.h"
#include "views/KeyedListModel.h"

#include <QThread>

#include <gtest/gtest.h>

using namespace telmon;
using namespace telmon::e2e;
using namespace telmon::test;

TEST(PostgresEndToEnd, WatchedChannelsReadTheServersRealtimeTable) {
  if (!PostgresqlAvailable()) {
    GTEST_SKIP() << "no PostgreSQL server for the tests (TELMON_TEST_PG unset)";
  }
  ScratchDatabase realtime(Backend::Postgresql);
  QString error;
  ASSERT_TRUE(SiteSchema::InitConnection(realtime.ConnectionString(), &error))
      << error.toStdString();
  const int port = FreeLoopbackPort();
  DemoSite site;
  ASSERT_TRUE(site.Create(port, &error, realtime.ConnectionString())) << error.toStdString();
  SimProcess sim;
  ASSERT_TRUE(sim.Start(site, port)) << sim.Output().toStdString();
  Monitor monitor;
  ASSERT_TRUE(monitor.Start(site)) << monitor.Messages().join('\n').toStdString();
  ASSERT_TRUE(monitor.WaitForFullRefresh(site));

  monitor.window->Channels()->AddLsvRowsForChannelIDList(QStringLiteral("1001;1003"));
  KeyedListModel* m = monitor.window->ChannelsModel();
  ASSERT_EQ(m->RowCount(), 2);
  QString first;
  ASSERT_TRUE(WaitFor(
      [&] {
        QThread::msleep(100);
        monitor.window->UpdateChannelsAndWait();
        first = m->SubItem(m->RowAt(0), 2);
        return !m->SubItem(m->RowAt(0), 1).isEmpty();
      },
      15000))
      << sim.Output().toStdString() << monitor.Messages().join('\n').toStdString();
  ASSERT_TRUE(WaitFor(
      [&] {
        QThread::msleep(200);
        monitor.window->UpdateChannelsAndWait();
        return m->SubItem(m->RowAt(0), 2) != first;
      },
      15000));
  EXPECT_NE(monitor.window->Panels().Text(PanelKey::ChannelUpdateTime), "??");
}

TEST(PostgresEndToEnd, RealtimeDatabaseVanishingAfterStartUpLeavesTheWindowAnswering) {
  if (!PostgresqlAvailable()) {
    GTEST_SKIP() << "no PostgreSQL server for the tests (TELMON_TEST_PG unset)";
  }
  auto realtime = std::make_unique<ScratchDatabase>(Backend::Postgresql);
  QString error;
  ASSERT_TRUE(SiteSchema::InitConnection(realtime->ConnectionString(), &error));
  const int port = FreeLoopbackPort();
  DemoSite site;
  ASSERT_TRUE(site.Create(port, &error, realtime->ConnectionString())) << error.toStdString();
  Monitor monitor;
  ASSERT_TRUE(monitor.Start(site));
  monitor.window->UpdateChannelsAndWait();
  EXPECT_NE(monitor.window->Panels().Text(PanelKey::ChannelUpdateTime), "??");

  realtime.reset();  // drops the database under the running monitor
  const int before = monitor.window->MessageLog().rowCount();
  monitor.window->UpdateChannelsAndWait();
  EXPECT_EQ(monitor.window->Panels().Text(PanelKey::ChannelUpdateTime), "??");
  EXPECT_EQ(monitor.window->Panels().Text(PanelKey::AllRefreshTime), "??");
  EXPECT_GT(monitor.window->MessageLog().rowCount(), before) << "the failure is reported";
  monitor.window->UpdateChannelsAndWait();  // and the next tick tries again without harm
  EXPECT_TRUE(monitor.window->isEnabled());
}
