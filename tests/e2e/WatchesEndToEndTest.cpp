// Watches against the simulator: channels added through the add-channel dialog by list, by
// typed range and from a tag file show live values tick after tick, and a saved tag file
// loads back the same rows.

#include "app/MainMenus.h"
#include "app/frmMain.h"
#include "tests/e2e/E2eSupport.h"
#include "views/KeyedListModel.h"
#include "views/ui/ChannelsPage.h"
#include "watches/ui/QtWatchDialogs.h"

#include <QAction>
#include <QCheckBox>
#include <QFile>
#include <QLineEdit>
#include <QListWidget>
#include <QTabBar>
#include <QTemporaryDir>
#include <QThread>
#include <QTimer>

#include <gtest/gtest.h>

using namespace telmon;
using namespace telmon::e2e;

namespace {

class WatchesEndToEnd : public RunningSite {
 protected:
  void SetUp() override { StartAndRefresh(); }
  frmAddChannelWatch& Dialog() { return W().WatchDialogs()->AddChannelWatch(); }
  // Runs Add Channel from the menu, acting in the dialog once it is up.
  void AddThroughDialog(const std::function<void(frmAddChannelWatch&)>& act) {
    frmAddChannelWatch& dialog = Dialog();
    QTimer::singleShot(0, &dialog, [&dialog, act] {
      act(dialog);
      if (dialog.isVisible()) {
        dialog.cmdCancel_Click();
      }
    });
    W().Menus().mnuWatches_Add->trigger();
  }
  QStringList Keys() {
    QStringList keys;
    KeyedListModel* m = W().ChannelsModel();
    for (int i = 0; i < m->RowCount(); ++i) {
      keys << m->Key(m->RowAt(i));
    }
    return keys;
  }
  QStringList Values() {
    QStringList values;
    KeyedListModel* m = W().ChannelsModel();
    for (int i = 0; i < m->RowCount(); ++i) {
      values << m->SubItem(m->RowAt(i), 1) + "@" + m->SubItem(m->RowAt(i), 2);
    }
    return values;
  }
  bool AllRowsHaveValues() {
    KeyedListModel* m = W().ChannelsModel();
    for (int i = 0; i < m->RowCount(); ++i) {
      if (m->SubItem(m->RowAt(i), 1).isEmpty()) {
        return false;
      }
    }
    return m->RowCount() > 0;
  }
  // The highest channel ID whose two successors are configured channels too.
  int RunOfThree() {
    return site_
        .Scalar(QStringLiteral(
            "SELECT a.channelid FROM H5IOCHANNEL a JOIN H5IOCHANNEL b ON b.dahsid = 1 AND "
            "b.channelid = a.channelid + 1 JOIN H5IOCHANNEL c ON c.dahsid = 1 AND c.channelid = "
            "a.channelid + 2 WHERE a.dahsid = 1 ORDER BY a.channelid DESC LIMIT 1"))
        .toInt();
  }
};

TEST_F(WatchesEndToEnd, ListTypedRangeAndTagFileGiveLiveRowsThatReloadTheSame) {
  // By list: the first two channels the dialog offers.
  AddThroughDialog([](frmAddChannelWatch& d) {
    d.TabStripAdd()->setCurrentIndex(0);
    d.chkUseExtendedSelect()->setChecked(false);
    d.lstChannels()->item(0)->setSelected(true);
    d.lstChannels()->item(1)->setSelected(true);
    d.cmdOK_Click();
  });
  ASSERT_EQ(W().ChannelsModel()->RowCount(), 2)
      << monitor_.prompter.Texts().join('\n').toStdString();

  // By typed range, descending: three channels the list did not add.
  const int run = RunOfThree();
  ASSERT_GT(run, 0);
  const QString range = QStringLiteral("%1 - %2").arg(run + 2).arg(run);
  AddThroughDialog([&range](frmAddChannelWatch& d) {
    d.TabStripAdd()->setCurrentIndex(1);
    d.txtChanIDs()->setText(range);
    d.cmdOK_Click();
  });
  ASSERT_EQ(W().ChannelsModel()->RowCount(), 5)
      << monitor_.prompter.Texts().join('\n').toStdString();
  const QString third = QString::number(run) + QLatin1Char('C');
  EXPECT_EQ(Keys().mid(2),
            (QStringList{QString::number(run + 2) + 'C', QString::number(run + 1) + 'C', third}));

  // Live values, changing from tick to tick.
  ASSERT_TRUE(WaitFor(
      [&] {
        W().UpdateChannelsAndWait();
        return AllRowsHaveValues();
      },
      10000));
  const QStringList first = Values();
  ASSERT_TRUE(WaitFor(
      [&] {
        QThread::msleep(200);
        W().UpdateChannelsAndWait();
        return Values() != first;
      },
      10000));

  // Save the tag file from the toolbar, empty the list, load the file back.
  QTemporaryDir dir;
  const QString path = dir.filePath(QStringLiteral("watch.txt"));
  const QStringList before = Keys();
  monitor_.prompter.QueueSaveFile(path);
  W().ChannelsPageWidget()->Button(QStringLiteral("SaveIOList"))->trigger();
  QFile file(path);
  ASSERT_TRUE(file.open(QIODevice::ReadOnly));
  QStringList ids;
  for (const QString& key : before) {
    ids << key.chopped(1);
  }
  EXPECT_EQ(QString::fromLatin1(file.readAll()), ids.join(','));
  W().ChannelsPageWidget()->Button(QStringLiteral("RemoveAllWatches"))->trigger();
  ASSERT_EQ(W().ChannelsModel()->RowCount(), 0);

  monitor_.prompter.QueueOpenFile(path);
  AddThroughDialog([](frmAddChannelWatch& d) {
    d.TabStripAdd()->setCurrentIndex(1);
    d.cmdLoadChannelIDs_Click();
    d.cmdOK_Click();
  });
  EXPECT_EQ(Keys(), before);
  ASSERT_TRUE(WaitFor(
      [&] {
        W().UpdateChannelsAndWait();
        return AllRowsHaveValues();
      },
      10000));
}

}  // namespace
