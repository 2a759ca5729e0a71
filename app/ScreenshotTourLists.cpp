// The screenshot tour's pictures of the list tools: a filtered list, the export dialog and the
// trend window with a minute of recorded points.

#include "app/MainMenus.h"
#include "app/ScreenshotTour.h"
#include "app/TabFrames.h"
#include "app/frmMain.h"
#include "trends/ui/TrendPlot.h"
#include "trends/ui/TrendWindow.h"
#include "views/ChannelListviewManager.h"
#include "views/KeyedListModel.h"
#include "views/ui/ListFilterEdit.h"

#include <QAction>
#include <QApplication>
#include <QDialog>
#include <QElapsedTimer>
#include <QMouseEvent>
#include <QTabBar>
#include <QThread>
#include <QTimer>

namespace telmon {

namespace {

int TabIndex(TabFrames& tabs, const QString& key) {
  for (int i = 0; i < tabs.tabstripTELM()->count(); ++i) {
    if (tabs.tabstripTELM()->tabData(i).toString() == key) {
      return i;
    }
  }
  return -1;
}

}  // namespace

void ScreenshotTour::ShootListTools() {
  TabFrames& tabs = window_.Tabs();
  const int page = TabIndex(tabs, QStringLiteral("Channels"));
  if (page < 0 || window_.Channels() == nullptr) {
    return;
  }
  if (window_.ChannelsModel()->IsEmpty()) {
    window_.Channels()->AddLsvRowsForChannelIDs({1001, 1002, 1003, 1004, 1008, 1013, 1018, 1028});
  }
  window_.UpdateChannels();
  tabs.SelectTab(page);
  if (auto* filter = tabs.Frame(page)->findChild<ListFilterEdit*>()) {
    filter->setText(QStringLiteral("nox"));
    Save(&window_, QStringLiteral("filtered-list"));
    filter->clear();
  }
  // The save dialog is modal: it is pictured and closed from inside its own event loop.
  QTimer::singleShot(800, this, [this] {
    if (auto* dialog = qobject_cast<QDialog*>(QApplication::activeModalWidget())) {
      Save(dialog, QStringLiteral("export-list"));
      dialog->reject();
    }
  });
  window_.Menus().mnuFile_ExportList->trigger();
  tabs.SelectTab(0);
  ShootTrends();
}

// Thirty channel reads a second apart give the trend window something to draw.
void ScreenshotTour::ShootTrends() {
  TrendWindow* trends = window_.Trends();
  if (trends == nullptr) {
    return;
  }
  trends->show();
  for (int i = 0; i < 30; ++i) {
    window_.UpdateChannels();
    QElapsedTimer wait;
    wait.start();
    while (wait.elapsed() < 1000) {
      QApplication::processEvents(QEventLoop::AllEvents, 50);
      QThread::msleep(20);
    }
  }
  trends->resize(1000, 560);
  trends->Action("OwnScales")->setChecked(true);
  trends->Plot()->ShowAll();
  // The cursor reading as a mouse over the middle of the plot shows it.
  const QPointF middle(trends->Plot()->width() / 2.0, trends->Plot()->height() / 2.0);
  QMouseEvent move(QEvent::MouseMove, middle, trends->Plot()->mapToGlobal(middle), Qt::NoButton,
                   Qt::NoButton, Qt::NoModifier);
  QApplication::sendEvent(trends->Plot(), &move);
  Save(trends, QStringLiteral("trends"));
  trends->hide();
}

}  // namespace telmon
