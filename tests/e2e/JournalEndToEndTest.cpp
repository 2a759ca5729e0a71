// The demo as an operator sees it: switching a device to random values and forcing a channel
// from Telmon's main window (offscreen) against the simulator as a real process land in the
// operator journal and the site state; the device leaves the site state when the simulator
// reports it polling again, the channel when the simulator hands it back to the plant.

#include "journal/ui/JournalFeature.h"
#include "session/SiteSession.h"
#include "tests/e2e/E2eSupport.h"
#include "views/KeyedListModel.h"
#include "watches/ChangeChanValueModel.h"
#include "watches/ChannelValueWriter.h"

#include <QLabel>
#include <QPushButton>

#include <gtest/gtest.h>

using namespace telmon;
using namespace telmon::e2e;

namespace {

bool Lists(const SiteStateModel& state, SiteStateModel::Group group, int id) {
  for (const SiteStateModel::Item& item : state.Items()) {
    if (item.group == group && item.id == id) {
      return true;
    }
  }
  return false;
}

TEST(JournalEndToEnd, RandomValuesAndForcingAreJournaledAndFollowedInTheSiteState) {
  const int port = FreeLoopbackPort();
  DemoSite site;
  QString error;
  ASSERT_TRUE(site.Create(port, &error)) << error.toStdString();
  SimProcess sim;
  // Forced channels go back to the plant five seconds after they were last forced.
  ASSERT_TRUE(
      sim.Start(site, port, {QStringLiteral("--release-forced-after"), QStringLiteral("5")}))
      << sim.Output().toStdString();
  QTemporaryDir dir;
  Monitor monitor;
  qputenv("HALVO5_SYSTEM_FOLDER", site.Folder().toUtf8());
  CommandLine cl;
  cl.dahsId = 1;
  cl.journalFile = dir.filePath(QStringLiteral("journal.sqlite"));
  monitor.window = std::make_unique<frmMain>(
      cl, MainServices{monitor.prompter, monitor.clock, QStringLiteral("127.0.0.1")});
  ASSERT_TRUE(monitor.window->Startup(nullptr)) << monitor.Messages().join('\n').toStdString();
  ASSERT_TRUE(monitor.WaitForFullRefresh(site));
  frmMain& w = *monitor.window;
  JournalFeature& journal = w.Journal();
  const SiteStateModel& state = journal.SiteState();

  monitor.prompter.QueueAnswer(PromptAnswer::Yes);  // enable edits now?
  monitor.prompter.QueueCredentials(Credentials{"super", "super-demo"});
  w.DevicesModel()->Select(w.DevicesModel()->FindKey(QStringLiteral("1K")));
  w.findChild<QPushButton*>(QStringLiteral("cmdPollOne_1"))->click();
  ASSERT_TRUE(WaitFor([&] { return Lists(state, SiteStateModel::Group::RandomDevice, 1); }, 15000));

  const int forced = site.Scalar(QStringLiteral("SELECT min(channelid) FROM H5IOCHANNEL WHERE "
                                                "dahsid = 1 AND datasource = 'ForcedValue'"))
                         .toInt();
  // Forced by the configuration, it is released first; a written value forces it again, and
  // the window then forces it as well.
  ASSERT_TRUE(
      WaitFor([&] { return !Lists(state, SiteStateModel::Group::ForcedChannel, forced); }, 30000));
  ChangeChanValueModel dialog(ChangeValueServices{w.ChannelConfigs(), *w.ValueWriter(), w,
                                                  monitor.prompter, QStringLiteral("Telmon"),
                                                  &w.Session().JournaledOut()});
  dialog.SetChannelID(forced);
  dialog.SetNewValueText(QStringLiteral("42.75"));
  ASSERT_TRUE(dialog.Change());
  ASSERT_TRUE(
      WaitFor([&] { return Lists(state, SiteStateModel::Group::ForcedChannel, forced); }, 30000));
  dialog.SetChannelID(forced);
  dialog.SetNewValueText(QStringLiteral("43.5"));
  ASSERT_TRUE(dialog.Change());
  EXPECT_TRUE(Lists(state, SiteStateModel::Group::WrittenChannel, forced));
  journal.RefreshNow();
  EXPECT_EQ(journal.Panel()->text(), SiteStateModel::PanelText(state.LeftChangedCount()));

  w.findChild<QPushButton*>(QStringLiteral("cmdPollOne_0"))->click();
  EXPECT_TRUE(
      WaitFor([&] { return !Lists(state, SiteStateModel::Group::RandomDevice, 1); }, 15000));
  EXPECT_TRUE(
      WaitFor([&] { return !Lists(state, SiteStateModel::Group::ForcedChannel, forced); }, 30000));

  QStringList operations;
  for (const JournalEntry& e : journal.Journal().ReadAll()) {
    EXPECT_EQ(e.account, "super");
    EXPECT_EQ(e.dahs, 1);
    operations << e.operation;
  }
  EXPECT_EQ(operations, (QStringList{"Random values on", "WriteToChannel", "WriteToChannel",
                                     "ForceChannelValue", "Random values off"}));
  EXPECT_FALSE(monitor.HasMessage(QStringLiteral("TELM-9002")));
  EXPECT_TRUE(monitor.Messages().filter(QStringLiteral("cannot be forced")).isEmpty())
      << monitor.Messages().join('\n').toStdString();
}

}  // namespace
