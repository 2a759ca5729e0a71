// Forced values, triangle waves and bulk mode-code writes from Telmon's main window (offscreen)
// through the simulator as a real process, seen back in the watch list.

#include "tests/e2e/E2eSupport.h"
#include "views/ChannelListviewManager.h"
#include "views/KeyedListModel.h"
#include "watches/ChangeChanValueModel.h"
#include "watches/ChannelValueWriter.h"
#include "watches/ui/BulkWritesPage.h"

#include <QLineEdit>
#include <QPushButton>
#include <QSet>
#include <QThread>

#include <gtest/gtest.h>

using namespace telmon;
using namespace telmon::e2e;

namespace {

class ForcingEndToEnd : public RunningSite {
 protected:
  void SetUp() override { StartAndRefresh(); }

  int ChannelWith(const QString& where) {
    return site_
        .Scalar(QStringLiteral("SELECT min(channelid) FROM H5IOCHANNEL WHERE dahsid = 1 AND %1")
                    .arg(where))
        .toInt();
  }
  // The watch row's value after a fresh realtime read.
  QString WatchedValue(int channelId) {
    W().UpdateChannelsAndWait();
    KeyedListModel* m = W().ChannelsModel();
    for (int i = 0; i < m->RowCount(); ++i) {
      const QString tag = m->Tag(m->RowAt(i));
      if (tag == QStringLiteral("C%1").arg(channelId) ||
          tag == QStringLiteral("%1C").arg(channelId)) {
        return m->SubItem(m->RowAt(i), 1);
      }
    }
    return {};
  }
  ChangeValueServices Services() {
    return {W().ChannelConfigs(), *W().ValueWriter(), W(), monitor_.prompter,
            QStringLiteral("Telmon")};
  }
};

}  // namespace

TEST_F(ForcingEndToEnd, AForcedValueShowsInTheWatchList) {
  const int id = ChannelWith(QStringLiteral("datasource = 'ForcedValue'"));
  ASSERT_GT(id, 0);
  W().Channels()->AddLsvRowsForChannelIDList(QString::number(id));
  ChangeChanValueModel dialog(Services());
  dialog.SetChannelID(id);
  ASSERT_TRUE(dialog.WaveControlsEnabled());
  dialog.SetNewValueText(QStringLiteral("42.75"));
  ASSERT_TRUE(dialog.Change());
  EXPECT_TRUE(WaitFor(
      [&] {
        QThread::msleep(100);
        return WatchedValue(id) == QStringLiteral("42.75");
      },
      20000))
      << WatchedValue(id).toStdString();
  // The record went to the command table with the dialog's caller code and was acted on.
  EXPECT_TRUE(WaitFor(
      [&] {
        return site_
                   .Scalar(QStringLiteral("SELECT count(*) FROM H5IOCOMMAND WHERE callercode = "
                                          "'TELM-0038' AND processedat IS NOT NULL AND "
                                          "commandtext = '<Command action=\"WriteToChannel\" "
                                          "id=\"%1\" value=\"42.75\" />'")
                               .arg(id))
                   .toInt() == 1;
      },
      20000));
}

TEST_F(ForcingEndToEnd, ATriangleWaveMovesBetweenItsLimits) {
  const int id = ChannelWith(QStringLiteral("datasource = 'ForcedValue'"));
  W().Channels()->AddLsvRowsForChannelIDList(QString::number(id));
  ChangeChanValueModel dialog(Services());
  dialog.SetChannelID(id);
  dialog.SetMinText(QStringLiteral("200"));
  dialog.SetMaxText(QStringLiteral("210"));
  dialog.SetPeriodText(QStringLiteral("2"));
  ASSERT_TRUE(dialog.Change());
  // The configuration update that follows the force names the new data source.
  ASSERT_TRUE(WaitFor(
      [&] {
        const ChannelConfigInfo* info = W().ChannelConfigs().Item(QString::number(id));
        return info != nullptr && info->DataSource == QStringLiteral("TriangleWave");
      },
      20000));
  QSet<QString> seen;
  ASSERT_TRUE(WaitFor(
      [&] {
        QThread::msleep(200);
        const QString value = WatchedValue(id);
        const double v = value.toDouble();
        if (!value.isEmpty() && v >= 200.0 && v <= 210.0) {
          seen.insert(value);
        }
        return seen.size() >= 3;
      },
      30000))
      << seen.size();
}

TEST_F(ForcingEndToEnd, BulkModeCodeWriteReachesTheWatchedMcChannels) {
  const int mc = ChannelWith(QStringLiteral("upper(address) LIKE '%MC60' AND name LIKE '%Flow%'"));
  ASSERT_GT(mc, 0);
  W().Channels()->AddLsvRowsForChannelIDList(QString::number(mc));
  monitor_.prompter.QueueAnswer(PromptAnswer::Yes);
  monitor_.prompter.QueueCredentials(Credentials{"super", "super-demo"});
  BulkWritesPage* page = W().BulkWrites();
  ASSERT_NE(page, nullptr);
  page->txtWriteToAllMCChannels()->setText(QStringLiteral("7"));
  page->Button(QStringLiteral("cmdWriteToAllMCChannels"))->click();
  const int total = site_
                        .Scalar(QStringLiteral("SELECT count(*) FROM H5IOCHANNEL WHERE dahsid = 1 "
                                               "AND upper(substr(address, -4)) IN ('MC60', "
                                               "'MC75')"))
                        .toInt();
  // The write runs on the database worker; its report comes when the last record is written.
  EXPECT_TRUE(WaitFor(
      [&] {
        return monitor_.HasMessage(
            QStringLiteral("Wrote '7' to %1 channels [TELM-0076]").arg(total));
      },
      30000))
      << monitor_.Messages().join('\n').toStdString();
  EXPECT_EQ(
      site_
          .Scalar(QStringLiteral("SELECT count(*) FROM H5IOCOMMAND WHERE callercode = 'TELM-0075'"))
          .toInt(),
      total);
  EXPECT_TRUE(WaitFor(
      [&] {
        QThread::msleep(100);
        return WatchedValue(mc) == QStringLiteral("7");
      },
      20000))
      << WatchedValue(mc).toStdString();
}
