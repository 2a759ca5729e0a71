// The main window's part of the watch list: the Channels/Addresses menu, Edit > Copy and
// File > Read All Data and Export List routed to the watch operations, which exist once the channel
// page does.

#include "app/MainMenus.h"
#include "app/TabFrames.h"
#include "app/frmMain.h"
#include "journal/ui/JournalFeature.h"
#include "platform/ListExport.h"
#include "platform/ui/ChunkProgressDialog.h"
#include "session/EditModeController.h"
#include "session/SiteSession.h"
#include "trends/TrendRecorder.h"
#include "trends/ui/TrendWindow.h"
#include "views/ChannelListviewManager.h"
#include "views/ui/ChannelsPage.h"
#include "watches/ChannelValueWriter.h"
#include "watches/WatchOperations.h"
#include "watches/ui/ChangeValueDialogs.h"
#include "watches/ui/QtWatchDialogs.h"

#include <QAction>
#include <QHash>
#include <QTabBar>

namespace telmon {

void frmMain::ConnectWatchMenus() {
  const MainMenus& m = *menus_;
  const auto route = [this](QAction* action, void (WatchOperations::*operation)()) {
    connect(action, &QAction::triggered, this, [this, operation] {
      if (watchOps_) {
        (watchOps_.get()->*operation)();
      }
    });
  };
  route(m.mnuWatches_Add, &WatchOperations::AddChannel);
  route(m.mnuWatches_AddAddr, &WatchOperations::AddPlcAddress);
  route(m.mnuWatches_Remove, &WatchOperations::Remove);
  route(m.mnuWatches_RemoveAll, &WatchOperations::RemoveAll);
  route(m.mnuFile_List, &WatchOperations::LoadSaveChannelList);
  route(m.mnuFile_ReadAllData, &WatchOperations::ReadAllData);
  connect(m.mnuWatches_Change, &QAction::triggered, this, [this] {
    if (watchOps_ && channelsPage_ != nullptr) {
      watchOps_->ChangeValue(
          WatchSelection{channelsPage_->MultiSelect(), channelsPage_->SelectedTags()});
    }
  });
  connect(m.mnuWatches_CopyWatchInfo, &QAction::triggered, this, &frmMain::CopyDataToClipboard);
  connect(m.mnuFile_ExportList, &QAction::triggered, this, &frmMain::ExportList);
  connect(m.mnuView_Trends, &QAction::triggered, this, &frmMain::ShowTrendWindow);
}

void frmMain::SetupWatchOperations() {
  const QString title = QString::fromLatin1(ProgramTitle);
  // What a watched channel showed at the last update: journaled as its value before a change.
  const auto shown = [this](std::int32_t channelId) {
    const KeyedListModel::RowRef row = channelsModel_->FindKey(QString::number(channelId) + 'C');
    const QString text =
        row == nullptr ? QString() : channelsModel_->SubItem(row, ChannelListviewManager::ColValue);
    return text == QLatin1String("?") ? QString() : text;
  };
  session_->ValueWriter()->SetPreviousValues(shown);
  changeValueDialogs_ = std::make_unique<ChangeValueDialogs>(
      ChangeValueServices{session_->Configs(), *session_->ValueWriter(), *this, services_.prompter,
                          title, &session_->JournaledOut(), shown},
      this);
  AddChannelWatchSources sources;
  sources.configs = &session_->Configs();
  sources.blocks = &session_->Blocks();
  sources.blocksModel = blocksModel_;
  sources.prompter = &services_.prompter;
  sources.appTitle = title;
  watchDialogs_ = std::make_unique<QtWatchDialogs>(*this, sources, *channelsModel_);
  watchOps_ = std::make_unique<WatchOperations>(
      WatchServices{services_.prompter, *this, *edit_, *changeValueDialogs_, *watchDialogs_, title},
      *channels_);
}

void frmMain::CopyDataToClipboard() {
  const QTabBar* strip = tabs_->tabstripTELM();
  const QString key = strip->tabData(strip->currentIndex()).toString();
  WatchOperations::CopyDataToClipboard(
      key, CopyableLists{devicesModel_, queuesModel_, blocksModel_, channelsModel_});
}

void frmMain::SetupTrends() {
  trends_ = std::make_unique<TrendRecorder>(*channelsModel_, DefaultTrendCapacity, nullptr,
                                            static_cast<std::size_t>(commandLine_.trendMemory));
  tick_->SetObserver(trends_.get());
}

TrendWindow* frmMain::Trends() {
  if (trendWindow_ == nullptr && trends_) {
    trendWindow_ = new TrendWindow(*trends_, services_.prompter, this);
    trendWindow_->setWindowFlag(Qt::Window);
  }
  return trendWindow_;
}

void frmMain::ShowTrendWindow() {
  if (TrendWindow* window = Trends()) {
    window->show();
    window->raise();
    window->activateWindow();
  }
}

void frmMain::ExportList() {
  const QTabBar* strip = tabs_->tabstripTELM();
  const QString key = strip->tabData(strip->currentIndex()).toString();
  const QHash<QString, KeyedListModel*> lists = {{QStringLiteral("Devices"), devicesModel_},
                                                 {QStringLiteral("Queues"), queuesModel_},
                                                 {QStringLiteral("Blocks"), blocksModel_},
                                                 {QStringLiteral("Channels"), channelsModel_},
                                                 {QStringLiteral("Alarms"), AlarmsModel()}};
  const KeyedListModel* list = lists.value(key);
  if (list == nullptr) {
    services_.prompter.Show(QStringLiteral("This page has no list to export."),
                            QLatin1String(ExportListTitle), PromptIcon::Information);
    return;
  }
  ChunkProgressDialog progress(this, QStringLiteral("Exporting rows"));
  ExportListToCsv(*list, services_.prompter, key + QStringLiteral(".csv"), progress.Callback());
}

}  // namespace telmon
