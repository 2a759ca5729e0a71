// Start-up of the main window: the named steps that have the session build the settings, the
// database link, the list managers and the channel-configuration store, add each one's page,
// then connect to the I/O server.

#include "app/AccessibleNames.h"
#include "app/MainMenus.h"
#include "app/SplashForm.h"
#include "app/StatusPanels.h"
#include "app/TabFrames.h"
#include "app/WriteProgress.h"
#include "app/frmMain.h"
#include "ioslink/IosConnection.h"
#include "journal/ui/JournalFeature.h"
#include "messages/frmProblems.h"
#include "platform/DatabaseWorker.h"
#include "platform/H5DBIL.h"
#include "session/EditModeController.h"
#include "session/IOSSelectedDahs.h"
#include "session/SiteSession.h"
#include "session/StartupSequence.h"
#include "tools/ui/CalHdrFrame.h"
#include "tools/ui/IOSSettingsPage.h"
#include "util/Clock.h"
#include "views/BlockListviewManager.h"
#include "views/ChannelConfigInfoManager.h"
#include "views/ChannelListviewManager.h"
#include "views/DeviceListviewManager.h"
#include "views/DeviceOperations.h"
#include "views/KeyedListModel.h"
#include "views/QueueListviewManager.h"
#include "views/ui/BlocksPage.h"
#include "views/ui/ChannelsPage.h"
#include "views/ui/DevicesPage.h"
#include "views/ui/QueuesPage.h"
#include "watches/ChannelValueWriter.h"
#include "watches/ui/BulkWritesPage.h"
#include "watches/ui/ChangeValueDialogs.h"

#include <QApplication>
#include <QEventLoop>
#include <QLabel>
#include <QTimer>
#include <QTreeView>
#include <QVBoxLayout>

namespace telmon {

namespace {

// A page whose content this version does not provide says so plainly.
QWidget* NotePage(const QString& text, const char* listName = nullptr) {
  auto* page = new QWidget;
  auto* layout = new QVBoxLayout(page);
  auto* note = new QLabel(text, page);
  note->setWordWrap(true);
  note->setAlignment(Qt::AlignCenter);
  layout->addWidget(note);
  if (listName != nullptr) {
    auto* list = new QTreeView(page);
    list->setObjectName(QLatin1String(listName));
    layout->addWidget(list, 1);
  }
  return page;
}

}  // namespace

bool frmMain::Startup(SplashForm* splash) {
  struct NoProgress : IStartupProgress {
    void SetProgressText(const QString&) override {}
    void SetProgressValue(int) override {}
  } noProgress;
  IStartupProgress& progress =
      splash != nullptr ? *splash : static_cast<IStartupProgress&>(noProgress);

  const std::vector<StartupStep> steps = {
      {QStringLiteral("Splash form"),
       {},
       -1,
       {},
       [&] {
         if (splash != nullptr) {
           splash->SetProgressRange(0, 100);
           splash->SetProgressVisible(true);
           splash->Setup(QString::fromLatin1(ProgramTitle));
         }
         return true;
       }},
      {QStringLiteral("Problems form"),
       {},
       -1,
       {},
       [&] {
         Problems();
         return true;
       }},
      {QStringLiteral("getting DAHSID from command line"),
       {},
       -1,
       {},
       [&] {
         if (const QString note = commandLine_.IgnoredNote(); !note.isEmpty()) {
           RaiseMsg(MsgType::Progress, note);
         }
         dahsId_ = commandLine_.DahsId();
         session_->Journal().SetDahs(dahsId_);
         return true;
       }},
      {QStringLiteral("load SelectedDAHS settings from Halvo INI file"),
       {},
       25,
       QStringLiteral("TELM-0005: can't load settings from Halvo INI file."),
       [&] {
         if (!LoadSettings()) {
           return false;
         }
         journal_->SetSharedJournal(session_->SharedJournalServer());
         return true;
       }},
      {QStringLiteral("setup DBIL"),
       {},
       -1,
       {},
       [&] {
         session_->SetupDatabase();
         return true;
       }},
      {QStringLiteral("setup DBIL SiteID"),
       {},
       40,
       QStringLiteral("TELM-0006: can't setup SiteID."),
       [&] { return session_->SetupSiteID(); }},
      {QStringLiteral("test read-only DB connections"),
       {},
       55,
       QStringLiteral("TELM-0007: can't connect (read-only) to database(s)."),
       [&] { return session_->TestReadOnlyConnections(); }},
      {QStringLiteral("test read-only DB connections"),
       {},
       70,
       QStringLiteral("TELM-0008: can't connect (read-write) to database(s)."),
       [&] { return session_->TestReadWriteConnections(); }},
      {QStringLiteral("setup intervals"), {}, -1, {}, {}},
      {QStringLiteral("setup address watches collection"), {}, -1, {}, {}},
      {QStringLiteral("setup DeviceListviewManager"),
       QStringLiteral("Preparing device manager..."),
       75,
       {},
       [&] {
         SetupDeviceManager();
         return true;
       }},
      {QStringLiteral("setup QueueListviewManager"),
       QStringLiteral("Preparing queue manager..."),
       80,
       {},
       [&] {
         SetupQueueManager();
         return true;
       }},
      {QStringLiteral("setup BlockListviewManager"),
       QStringLiteral("Preparing block manager..."),
       85,
       {},
       [&] {
         SetupBlockManager();
         return true;
       }},
      {QStringLiteral("setup ChannelListviewManager"),
       QStringLiteral("Preparing channel manager..."),
       90,
       {},
       [&] {
         SetupChannelManager();
         return true;
       }},
      {QStringLiteral("setup ChannelConfigInfoManager"),
       QStringLiteral("Preparing channel info manager..."),
       95,
       {},
       [&] {
         session_->SetupChannelConfigs();
         return true;
       }},
      {QStringLiteral("connect to IOS"),
       QStringLiteral("Connecting to IOS..."),
       100,
       {},
       [&] {
         ConnectToIOS();
         return true;
       }},
      {QStringLiteral("connect to IOS"), {}, -1, {}, {}},
      {QStringLiteral("connect to IOS"),
       {},
       -1,
       {},
       [&] {
         if (splash != nullptr) {
           splash->UnloadWhenReady(2000);
         }
         return true;
       }},
      {QStringLiteral("finalizing"),
       {},
       -1,
       {},
       [&] {
         Finalize(splash);
         return true;
       }},
  };
  StartupSequence sequence;
  started_ = sequence.Run(steps, progress, *this);
  stepName_ = sequence.CurrentStep();
  if (!started_ && splash != nullptr) {
    splash->close();
  }
  return started_;
}

bool frmMain::LoadSettings() {
  if (!session_->LoadSettings(dahsId_)) {
    return false;
  }
  setWindowTitle(QString::fromLatin1(ProgramTitle) + QStringLiteral(" - ") +
                 session_->Settings()->DahsCompleteName());
  return true;
}

void frmMain::SetupDeviceManager() {
  session_->SetupDevices(QString::number(winId()));
  devicesModel_ = session_->DevicesModel();
  devicesModel_->SetCoalescing(true);  // one repaint per socket arrival
  edit_ = session_->EditMode();
  connect(edit_, &EditModeController::EditModeChanged, this, &frmMain::OnEditModeChanged);
  tabs_->AddPage(QStringLiteral("Devices"), QStringLiteral("Devices"),
                 new DevicesPage(*devicesModel_, *session_->DeviceOps()));
}

void frmMain::SetupQueueManager() {
  session_->SetupQueues();
  queuesModel_ = session_->QueuesModel();
  queuesModel_->SetCoalescing(true);  // one repaint per socket arrival
  tabs_->AddPage(QStringLiteral("Queues"), QStringLiteral("Queues"),
                 new QueuesPage(*queuesModel_, session_->Queues()));
}

void frmMain::SetupBlockManager() {
  session_->SetupBlocks();
  blocksModel_ = session_->BlocksModel();
  blocksModel_->SetCoalescing(true);  // one repaint per socket arrival
  tabs_->AddPage(QStringLiteral("Blocks"), QStringLiteral("Blocks"), new BlocksPage(*blocksModel_));
}

void frmMain::SetupChannelManager() {
  channelsModel_ = new KeyedListModel(this);
  channels_ = std::make_unique<ChannelListviewManager>();
  ChannelPageServices services;
  services.sink = this;
  services.prompter = &services_.prompter;
  services.configs = &session_->Configs();
  services.appTitle = QString::fromLatin1(ProgramTitle);
  channels_->Setup(services, *channelsModel_, 0);
  channelsPage_ = new ChannelsPage(*channelsModel_);
  tabs_->AddPage(QStringLiteral("Channels/Addresses"), QStringLiteral("Channels"), channelsPage_);
  ConnectChannelToolbar();
  SetupWatchOperations();
  tick_ = std::make_unique<ChannelUpdateTick>(*session_->Dbil(),
                                              session_->Settings()->SqlConnectionString_Realtime(),
                                              channels_.get(), services_.clock, *this, *this);
  auto raise = [this](std::int32_t type, const QString& text) { RaiseMsg(type, text); };
  const IOSSelectedDahs& settings = *session_->Settings();
  readWorker_ = std::make_unique<DatabaseWorker>(settings.SiteID(), settings.LanguageID(),
                                                 settings.Connections(), raise);
  tick_->SetWorker(readWorker_.get());
  writeWorker_ = std::make_unique<DatabaseWorker>(settings.SiteID(), settings.LanguageID(),
                                                  settings.Connections(), raise);
  writeProgress_ = std::make_unique<WriteProgressDialog>(this);
  session_->ValueWriter()->SetWorker(writeWorker_.get(), writeProgress_.get());
  SetupTrends();
  connect(session_, &SiteSession::LinkPanelChanged, this,
          [this](const QString& text) { panels_->SetText(PanelKey::BytesReceived, text); });
  session_->SetupLink();
}

void frmMain::AddRemainingPages() {
  bulkWritesPage_ =
      new BulkWritesPage({session_->Configs(), *session_->ValueWriter(), *edit_, *this,
                          services_.prompter, QString::fromLatin1(ProgramTitle)});
  calHdr_ = new CalHdrFrame(session_->Configs(),
                            {*edit_, *session_->ValueWriter(), *this, services_.prompter,
                             services_.clock, QString::fromLatin1(ProgramTitle)},
                            bulkWritesPage_);
  bulkWritesPage_->AddFrame(calHdr_);
  tabs_->AddPage(QStringLiteral("Bulk Writes"), QString(), bulkWritesPage_);
  SetupAlarms();
  tabs_->AddPage(QStringLiteral("I/O Audits (IOS5 only)"), QString(),
                 NotePage(QStringLiteral("I/O audits are not available at this site: the audit "
                                         "control is not installed.")));
  settingsPage_ = new IOSSettingsPage(*this, *this);
  settingsPage_->SetJournaledSender(&session_->JournaledOut());
  tabs_->AddPage(QStringLiteral("IOS Settings"), QString(), settingsPage_);
}

void frmMain::Finalize(SplashForm* /*splash*/) {
  AddRemainingPages();
  tabs_->Finalize();
  NameControlsForAccessibility(this);
}

void frmMain::ShowFailedStartup() {
  frmProblems& problems = Problems();
  problems.setWindowModality(Qt::ApplicationModal);
  problems.show();
  problems.raise();
  // Wait until the operator has read why, then end like File > Exit.
  QEventLoop loop;
  connect(&problems, &QObject::destroyed, &loop, &QEventLoop::quit);
  auto* watcher = new QTimer(&loop);
  connect(watcher, &QTimer::timeout, &loop, [&loop, &problems] {
    if (!problems.isVisible()) {
      loop.quit();
    }
  });
  watcher->start(100);
  loop.exec();
  CloseByProgram();
}

}  // namespace telmon
