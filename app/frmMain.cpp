#include "app/frmMain.h"

#include "alarms/ui/AlarmsFeature.h"

#include "app/AccessibleNames.h"
#include "app/MainMenus.h"
#include "app/StatusPanels.h"
#include "app/TabFrames.h"
#include "app/WindowPlacement.h"
#include "app/WriteProgress.h"
#include "ioslink/IosCommands.h"
#include "ioslink/IosConnection.h"
#include "journal/ui/JournalFeature.h"
#include "messages/MessageFileLog.h"
#include "messages/MessageLogModel.h"
#include "messages/frmProblems.h"
#include "platform/DatabaseWorker.h"
#include "platform/H5DBIL.h"
#include "platform/MessageTypes.h"
#include "platform/Prompter.h"
#include "platform/ui/WindowUtilitiesUi.h"
#include "session/EditModeController.h"
#include "session/IOSSelectedDahs.h"
#include "session/SiteSession.h"
#include "tools/ui/IOSSettingsPage.h"
#include "trends/TrendRecorder.h"
#include "util/Clock.h"
#include "views/BlockListviewManager.h"
#include "views/ChannelConfigInfoManager.h"
#include "views/ChannelListviewManager.h"
#include "views/DeviceListviewManager.h"
#include "views/DeviceOperations.h"
#include "views/KeyedListModel.h"
#include "views/QueueListviewManager.h"
#include "views/ui/ChannelsPage.h"
#include "watches/ChannelValueWriter.h"
#include "watches/WatchOperations.h"
#include "watches/ui/ChangeValueDialogs.h"
#include "watches/ui/QtWatchDialogs.h"

#include <QAction>
#include <QApplication>
#include <QCloseEvent>
#include <QCoreApplication>
#include <QDeadlineTimer>
#include <QLineEdit>
#include <QMenuBar>
#include <QSettings>
#include <QStatusBar>
#include <QTimer>

namespace telmon {

frmMain::frmMain(const CommandLine& commandLine, MainServices services, QWidget* parent)
    : QMainWindow(parent),
      commandLine_(commandLine),
      services_(std::move(services)),
      messageTypes_(std::make_unique<MessageTypes>()) {
  setObjectName(QStringLiteral("frmMain"));
  setWindowTitle(QString::fromLatin1(ProgramTitle));
  logModel_ = new MessageLogModel(services_.clock, *messageTypes_, nullptr, this);
  session_ = new SiteSession(
      {*this, services_.prompter, services_.clock, QString::fromLatin1(ProgramTitle),
       commandLine_.journalFile, services_.iosHost, commandLine_.receiveBufferCap},
      this);
  session_->SetFaceHooks({[this] {
                            if (channels_) {
                              channels_->UpdateLsvWithChannelConfigInfo();
                            }
                          },
                          [this](xml::XmlElement event) {
                            if (settingsPage_ != nullptr) {
                              settingsPage_->OnIOSSettingsUpdate(event);
                            }
                          },
                          {}});
  if (!commandLine_.messageLogFile.isEmpty()) {
    fileLog_ = new MessageFileLog(this);
    fileLog_->SetRotation(
        MessageFileLog::ParseRotation(qEnvironmentVariable("TELMON_MESSAGE_LOG_ROTATE")));
    if (fileLog_->Open(commandLine_.messageLogFile)) {
      fileLog_->Follow(*logModel_);
    } else {
      logModel_->AddMsg(MsgType::Error,
                        QStringLiteral("Cannot write the message log '%1': %2")
                            .arg(commandLine_.messageLogFile, fileLog_->ErrorString()));
    }
  }
  BuildFrame();
  ConnectMenus();
  StartTimers();
}

frmMain::~frmMain() { Teardown(); }

void frmMain::BuildFrame() {
  menus_ = std::make_unique<MainMenus>(MainMenus::Build(menuBar(), this));
  panels_ = std::make_unique<StatusPanels>(statusBar());
  journal_ = new JournalFeature(session_->Journal(), session_->SiteState(),
                                {*this, services_.clock, services_.prompter}, statusBar(), this);
  statusBar()->setObjectName(QStringLiteral("StatusBar1"));
  tabs_ = new TabFrames(this);
  setCentralWidget(tabs_);
  txtNotPolling_ = new QLineEdit(QStringLiteral("Not Polling Device(s)"), tabs_->Beside());
  txtNotPolling_->setObjectName(QStringLiteral("txtNotPolling"));
  txtNotPolling_->setReadOnly(true);
  txtNotPolling_->setStyleSheet(QStringLiteral("color: white; background: #c00000;"));
  txtNotPolling_->setFixedWidth(
      txtNotPolling_->fontMetrics().horizontalAdvance(txtNotPolling_->text()) + 16);
  txtNotPolling_->setVisible(false);
  tabs_->AddBeside(txtNotPolling_);
  menus_->mnuWatches_Change->setEnabled(false);
  NameControlsForAccessibility(this);
  QSettings registry = PlacementRegistry();
  RestoreWindowPlacement(this, registry, QSize(1100, 700));
}

QSettings frmMain::PlacementRegistry() {
  return QSettings(QSettings::UserScope, QStringLiteral("Quarn"), QStringLiteral("TELM"));
}

void frmMain::ConnectMenus() {
  const MainMenus& m = *menus_;
  connect(m.mnuFile_ConnectToIOS, &QAction::triggered, this, &frmMain::ConnectToIOS);
  connect(m.mnuFile_DisconnectFromIOS, &QAction::triggered, this, &frmMain::DisconnectFromIOS);
  connect(m.mnuFile_RefreshAllLists, &QAction::triggered, this, &frmMain::RefreshAllLists);
  connect(m.mnuFile_PrintScreen, &QAction::triggered, this, &frmMain::PrintScreen);
  connect(m.mnuFile_Exit, &QAction::triggered, this, &frmMain::CloseByProgram);
  connect(m.mnuEdit_AllowEdits, &QAction::triggered, this, [this] {
    // The check mark follows edit mode, not the click.
    menus_->mnuEdit_AllowEdits->setChecked(EditsAllowed());
    if (edit_ != nullptr) {
      edit_->Toggle();
    }
  });
  ConnectWatchMenus();
  connect(m.mnuView_Messages, &QAction::triggered, this, &frmMain::ShowMessagesWindow);
  connect(m.mnuView_Journal, &QAction::triggered, journal_, &JournalFeature::ShowJournalWindow);
  connect(m.mnuView_SiteState, &QAction::triggered, journal_, &JournalFeature::ShowSiteStateWindow);
  connect(m.mnuView_About, &QAction::triggered, this,
          [this] { ShowAboutBox(this, QString::fromLatin1(ProgramTitle)); });
  connect(m.mnuView_Support, &QAction::triggered, this,
          [this] { ShowSupportBox(this, QString::fromLatin1(ProgramTitle)); });
}

void frmMain::ConnectChannelToolbar() {
  ChannelsPage* page = channelsPage_;
  const MainMenus& m = *menus_;
  connect(page, &ChannelsPage::OneDecPlaceToggled, m.mnuWatches_1DecPlace, &QAction::setChecked);
  connect(m.mnuWatches_1DecPlace, &QAction::toggled, page->Button(QStringLiteral("1DecPlace")),
          &QAction::setChecked);
  connect(page, &ChannelsPage::AddWatchClicked, m.mnuWatches_Add, &QAction::trigger);
  connect(page, &ChannelsPage::AddAddressClicked, m.mnuWatches_AddAddr, &QAction::trigger);
  connect(page, &ChannelsPage::RemoveAllWatchesClicked, m.mnuWatches_RemoveAll, &QAction::trigger);
  connect(page, &ChannelsPage::ChangeValueClicked, m.mnuWatches_Change, &QAction::trigger);
  connect(page, &ChannelsPage::RefreshBlocksClicked, m.mnuFile_ReadAllData, &QAction::trigger);
  connect(page, &ChannelsPage::MessagesClicked, m.mnuView_Messages, &QAction::trigger);
  connect(page, &ChannelsPage::TrendsClicked, m.mnuView_Trends, &QAction::trigger);
  connect(page, &ChannelsPage::SaveIOListClicked, this, [this] {
    if (watchOps_) {
      watchOps_->SaveChannelTagsToFile();
    }
  });
  OnEditModeChanged(EditsAllowed());
}

void frmMain::StartTimers() {
  tmrCurrentTime_ = new QTimer(this);
  tmrCurrentTime_->setObjectName(QStringLiteral("tmrCurrentTime"));
  tmrCurrentTime_->setInterval(100);
  connect(tmrCurrentTime_, &QTimer::timeout, this, &frmMain::OnClockTick);
  tmrUpdateChannels_ = new QTimer(this);
  tmrUpdateChannels_->setObjectName(QStringLiteral("tmrUpdateChannels"));
  tmrUpdateChannels_->setInterval(2000);
  connect(tmrUpdateChannels_, &QTimer::timeout, this, &frmMain::UpdateChannels);
  // The I/O audit control belongs to a library this site does not have; its timer still runs
  // so that the page can refresh once the control exists.
  tmrRefreshIOAudit_ = new QTimer(this);
  tmrRefreshIOAudit_->setObjectName(QStringLiteral("tmrRefreshIOAudit"));
  tmrRefreshIOAudit_->setInterval(10000);
  tmrCurrentTime_->start();
  tmrUpdateChannels_->start();
  tmrRefreshIOAudit_->start();
}

void frmMain::OnClockTick() {
  const QString shown = FormatDateTimeStyle(services_.clock.Now(), 1, formats_);
  if (shown != lastShownTime_) {
    panels_->SetText(PanelKey::CurrentTime, shown);
    lastShownTime_ = shown;
  }
}

void frmMain::UpdateChannels() {
  if (tick_) {
    tick_->Run();
  }
  if (alarms_ != nullptr) {
    alarms_->Refresh();
  }
}

void frmMain::UpdateChannelsAndWait() {
  UpdateChannels();
  QDeadlineTimer deadline(60000);
  while (tick_ && tick_->Reading() && !deadline.hasExpired()) {
    QCoreApplication::processEvents(QEventLoop::AllEvents, 20);
  }
}

void frmMain::RaiseMsg(std::int32_t msgType, const QString& text) {
  logModel_->AddMsg(msgType, text);
}

frmProblems& frmMain::Problems() {
  if (problems_ == nullptr) {
    problems_ =
        new frmProblems(*logModel_, services_.prompter, QString::fromLatin1(ProgramTitle), this);
    problems_->setWindowFlag(Qt::Window);
    problems_->setWindowTitle(QString::fromLatin1(ProgramTitle) + QStringLiteral(" Messages"));
  }
  return *problems_;
}

void frmMain::ShowMessagesWindow() {
  frmProblems& p = Problems();
  if (p.isMinimized()) {
    p.showNormal();
  } else {
    p.show();
  }
  p.raise();
  p.activateWindow();
}

SendOutcome frmMain::SendCommand(const QString& command) { return session_->SendCommand(command); }

bool frmMain::WriteChannelValueRecord(const QString& callerCode, std::int32_t channelId,
                                      const Value& value) {
  return session_->ValueWriter() != nullptr &&
         session_->ValueWriter()->WriteChannelValueRecord(callerCode, channelId, value);
}

IosConnection* frmMain::Link() const { return session_->Link(); }

ChannelConfigInfoManager& frmMain::ChannelConfigs() { return session_->Configs(); }

ChannelValueWriter* frmMain::ValueWriter() const { return session_->ValueWriter(); }

bool frmMain::EditsAllowed() const { return edit_ != nullptr && edit_->EditsAllowed(); }

bool frmMain::AskWhetherUserWantsToEnableEditing() {
  return edit_ != nullptr && edit_->AskWhetherUserWantsToEnableEditing();
}

void frmMain::OnEditModeChanged(bool on) {
  journal_->Journal().SetEditAccount(on && edit_ != nullptr ? edit_->EditAccount() : QString());
  journal_->SiteState().SetEditMode(on);
  menus_->mnuEdit_AllowEdits->setChecked(on);
  menus_->mnuWatches_Change->setEnabled(on);
  if (channelsPage_ != nullptr) {
    if (QAction* change = channelsPage_->Button(QStringLiteral("ChangeValue"))) {
      change->setEnabled(on);
    }
  }
}

void frmMain::ConnectToIOS() { session_->ConnectToIOS(); }

void frmMain::DisconnectFromIOS() { session_->DisconnectFromIOS(); }

void frmMain::RefreshAllLists() { session_->RefreshAllLists(); }

void frmMain::PrintScreen() {
  const PrintOutcome outcome = PrintWindowImage(this);
  if (!outcome.ok) {
    services_.prompter.Show(outcome.error, QString::fromLatin1(ProgramTitle),
                            PromptIcon::Exclamation);
  } else {
    RaiseMsg(MsgType::Progress,
             QStringLiteral("Printed the main window to %1.").arg(outcome.destination));
    if (outcome.pdf) {
      services_.prompter.Show(QStringLiteral("No printer is installed: the image of the main "
                                             "window was saved to '%1'.")
                                  .arg(outcome.destination),
                              QString::fromLatin1(ProgramTitle), PromptIcon::Information);
    }
  }
}

void frmMain::NotAvailable(const QString& caption) {
  QString name = caption;
  name.remove(QLatin1Char('&'));
  services_.prompter.Show(QStringLiteral("%1 is not available in this version of %2.")
                              .arg(name, QString::fromLatin1(ProgramTitle)),
                          QString::fromLatin1(ProgramTitle), PromptIcon::Information);
}

// --- channel tick panels --------------------------------------------------------------------

void frmMain::SetChannelUpdateTime(const QString& text) {
  panels_->SetText(PanelKey::ChannelUpdateTime, text);
}
void frmMain::SetAllRefreshTime(const QString& text) {
  panels_->SetText(PanelKey::AllRefreshTime, text);
}
void frmMain::SetAllRefreshToolTip(const QString& text) {
  panels_->SetToolTip(PanelKey::AllRefreshTime, text);
}
void frmMain::SetNotPollingVisible(bool visible) { txtNotPolling_->setVisible(visible); }
void frmMain::BeginBusy() { QApplication::setOverrideCursor(Qt::WaitCursor); }
void frmMain::EndBusy() { QApplication::restoreOverrideCursor(); }

// --- closing --------------------------------------------------------------------------------

void frmMain::CloseByProgram() {
  closingByProgram_ = true;
  close();
}

bool frmMain::ConfirmExit() {
  return services_.prompter.Ask({QStringLiteral("Are you sure you want to exit?"),
                                 QString::fromLatin1(ProgramTitle), PromptIcon::Exclamation,
                                 PromptButtons::YesNo, PromptAnswer::No}) == PromptAnswer::Yes;
}

void frmMain::closeEvent(QCloseEvent* event) {
  // Only the operator's own close (the title-bar control) asks; the program, the menu and the
  // system close without a question.
  if (event->spontaneous() && !closingByProgram_ && started_ && !ConfirmExit()) {
    event->ignore();
    return;
  }
  Teardown();
  if (started_) {
    QSettings registry = PlacementRegistry();
    RememberWindowPlacement(this, registry);
  }
  if (problems_ != nullptr) {
    problems_->AllowClose();
    problems_->close();
  }
  event->accept();
}

void frmMain::Teardown() {
  if (tornDown_) {
    return;
  }
  tornDown_ = true;
  tmrCurrentTime_->stop();
  tmrUpdateChannels_->stop();
  tmrRefreshIOAudit_->stop();
  // The workers finish what runs and drop what waits before the parts they report to go.
  if (session_->ValueWriter() != nullptr) {
    session_->ValueWriter()->SetWorker(nullptr, nullptr);
  }
  if (tick_) {
    tick_->SetWorker(nullptr);
  }
  writeWorker_.reset();
  readWorker_.reset();
  session_->Teardown();
  tick_.reset();
  if (channels_) {
    channels_->Teardown();
  }
}

}  // namespace telmon
