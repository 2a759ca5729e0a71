#pragma once

// The program's one top-level window over one site session (the selected DAHS's settings,
// database interface, plant state, list managers, journal and link to the I/O server): it shows
// the session's pages, adds the watch list, the messages window and the trends, routes menu
// actions and timers, and is the message sink of the session and the window's own parts.

#include "app/CommandLine.h"
#include "ioslink/ICommandSender.h"
#include "util/IRaiseMsg.h"
#include "util/UtilityFunctions.h"
#include "util/Value.h"
#include "views/ChannelUpdateTick.h"

#include <QMainWindow>

#include <memory>

class QLineEdit;
class QSettings;
class QTimer;

namespace telmon {

class AlarmsFeature;
class BlockListviewManager;
class BulkWritesPage;
class ChangeValueDialogs;
class CalHdrFrame;
class ChannelValueWriter;
class DatabaseWorker;
class WriteProgressDialog;
class ChannelConfigInfoManager;
class ChannelListviewManager;
class ChannelsPage;
class DeviceListviewManager;
class DeviceOperations;
class EditModeController;
class frmProblems;
class H5DBIL;
class IClock;
class IOSSelectedDahs;
class IOSSettingsPage;
class JournalFeature;
class IosConnection;
class KeyedListModel;
class MessageFileLog;
class MessageLogModel;
class MessageTypes;
class Prompter;
class QueueListviewManager;
class SiteSession;
class SplashForm;
class StatusPanels;
class TrendRecorder;
class TrendWindow;
class TabFrames;
class QtWatchDialogs;
class WatchOperations;
struct MainMenus;

struct MainServices {
  Prompter& prompter;
  const IClock& clock;
  // Host of the I/O server; the local computer's name when empty.
  QString iosHost;
};

class frmMain : public QMainWindow,
                public IRaiseMsg,
                public ICommandSender,
                public IChannelTickPanels {
  Q_OBJECT

 public:
  static constexpr char ProgramTitle[] = "Telmon";

  frmMain(const CommandLine& commandLine, MainServices services, QWidget* parent = nullptr);
  ~frmMain() override;

  // Runs the named start-up steps; false when start-up failed (the reason is in the messages
  // window, which ShowFailedStartup shows).
  bool Startup(SplashForm* splash);
  void ShowFailedStartup();
  bool Started() const { return started_; }

  void RaiseMsg(std::int32_t msgType, const QString& text) override;
  SendOutcome SendCommand(const QString& command) override;
  // The one way channel values are written: a command record for the I/O server (TELM-0036 on
  // failure). False before the database interface is set up.
  bool WriteChannelValueRecord(const QString& callerCode, std::int32_t channelId,
                               const Value& value);
  bool EditsAllowed() const;
  bool AskWhetherUserWantsToEnableEditing();

  void ConnectToIOS();
  void DisconnectFromIOS();
  void RefreshAllLists();
  // One channel update tick, as the 2-second timer runs it: the read runs on the read worker
  // and the rows follow when it comes back.
  void UpdateChannels();
  // For tests: a tick, waiting (with the event loop running) until its read came back.
  void UpdateChannelsAndWait();

  // For tests and screenshots.
  frmProblems& Problems();
  MessageLogModel& MessageLog() { return *logModel_; }
  StatusPanels& Panels() { return *panels_; }
  TabFrames& Tabs() { return *tabs_; }
  const MainMenus& Menus() const { return *menus_; }
  QLineEdit* txtNotPolling() const { return txtNotPolling_; }
  IosConnection* Link() const;
  SiteSession& Session() const { return *session_; }
  EditModeController* EditMode() const { return edit_; }
  KeyedListModel* DevicesModel() const { return devicesModel_; }
  KeyedListModel* QueuesModel() const { return queuesModel_; }
  KeyedListModel* BlocksModel() const { return blocksModel_; }
  KeyedListModel* ChannelsModel() const { return channelsModel_; }
  ChannelListviewManager* Channels() const { return channels_.get(); }
  ChannelConfigInfoManager& ChannelConfigs();
  ChannelsPage* ChannelsPageWidget() const { return channelsPage_; }
  Prompter& OperatorPrompter() const { return services_.prompter; }
  WatchOperations* Watches() const { return watchOps_.get(); }
  QtWatchDialogs* WatchDialogs() const { return watchDialogs_.get(); }
  IOSSettingsPage* SettingsPage() const { return settingsPage_; }
  CalHdrFrame* CalHdr() const { return calHdr_; }
  ChannelValueWriter* ValueWriter() const;
  ChangeValueDialogs* ValueDialogs() const { return changeValueDialogs_.get(); }
  BulkWritesPage* BulkWrites() const { return bulkWritesPage_; }
  Prompter& Prompts() { return services_.prompter; }
  JournalFeature& Journal() const { return *journal_; }
  // The alarms page, panel and statistics (null before start-up added the pages).
  AlarmsFeature* Alarms() const { return alarms_; }
  // The trend window, made on first use (null before start-up made the watch list).
  TrendWindow* Trends();
  // Closes the window without the exit question, as File > Exit does.
  void CloseByProgram();
  // The question the operator's own close (the title-bar control) asks; true to exit.
  bool ConfirmExit();

  // IChannelTickPanels
  void SetChannelUpdateTime(const QString& text) override;
  void SetAllRefreshTime(const QString& text) override;
  void SetAllRefreshToolTip(const QString& text) override;
  void SetNotPollingVisible(bool visible) override;
  void BeginBusy() override;
  void EndBusy() override;

 protected:
  void closeEvent(QCloseEvent* event) override;

 private:
  void BuildFrame();
  // Where the window's last placement is kept: the per-user registry of the program.
  static QSettings PlacementRegistry();
  void ConnectMenus();
  void ConnectChannelToolbar();
  void ConnectWatchMenus();
  void SetupWatchOperations();
  void CopyDataToClipboard();
  void ExportList();
  void SetupTrends();
  void ShowTrendWindow();
  void StartTimers();
  void OnClockTick();
  void OnEditModeChanged(bool on);
  void ShowMessagesWindow();
  void PrintScreen();
  void NotAvailable(const QString& caption);
  void Teardown();
  bool LoadSettings();
  void SetupDeviceManager();
  void SetupQueueManager();
  void SetupBlockManager();
  void SetupChannelManager();
  void AddRemainingPages();
  // The alarms page and its panel (frmMainAlarms.cpp).
  void SetupAlarms();
  void ShowAlarmsPage();
  KeyedListModel* AlarmsModel() const;
  void Finalize(SplashForm* splash);

  CommandLine commandLine_;
  MainServices services_;
  QString stepName_;
  std::int32_t dahsId_ = 0;
  bool started_ = false;
  bool closingByProgram_ = false;
  bool tornDown_ = false;
  QString lastShownTime_;
  // The system's time formats, read once: the clock panel is redrawn ten times a second.
  DateTimeFormats formats_ = DateTimeFormats::FromLocale(QLocale::system());

  std::unique_ptr<MessageTypes> messageTypes_;
  MessageLogModel* logModel_ = nullptr;
  frmProblems* problems_ = nullptr;
  MessageFileLog* fileLog_ = nullptr;
  SiteSession* session_ = nullptr;  // child
  // The value dialogs the change-value operation opens.
  std::unique_ptr<ChangeValueDialogs> changeValueDialogs_;
  BulkWritesPage* bulkWritesPage_ = nullptr;
  // The session's, once its steps have made them.
  EditModeController* edit_ = nullptr;
  KeyedListModel* devicesModel_ = nullptr;
  KeyedListModel* queuesModel_ = nullptr;
  KeyedListModel* blocksModel_ = nullptr;
  KeyedListModel* channelsModel_ = nullptr;
  std::unique_ptr<ChannelListviewManager> channels_;
  std::unique_ptr<ChannelUpdateTick> tick_;
  // Destroyed before the tick that reports to it.
  std::unique_ptr<TrendRecorder> trends_;
  TrendWindow* trendWindow_ = nullptr;
  ChannelsPage* channelsPage_ = nullptr;
  std::unique_ptr<QtWatchDialogs> watchDialogs_;
  std::unique_ptr<WatchOperations> watchOps_;
  IOSSettingsPage* settingsPage_ = nullptr;
  CalHdrFrame* calHdr_ = nullptr;

  std::unique_ptr<MainMenus> menus_;
  std::unique_ptr<StatusPanels> panels_;
  JournalFeature* journal_ = nullptr;
  AlarmsFeature* alarms_ = nullptr;
  TabFrames* tabs_ = nullptr;
  // The database work that must not hold the window: the grouped record writes and the
  // channel tick's read, each on a thread of its own. Declared after the writer and the tick
  // so that they go first; Teardown stops them.
  std::unique_ptr<WriteProgressDialog> writeProgress_;
  std::unique_ptr<DatabaseWorker> writeWorker_;
  std::unique_ptr<DatabaseWorker> readWorker_;
  QLineEdit* txtNotPolling_ = nullptr;
  QTimer* tmrCurrentTime_ = nullptr;
  QTimer* tmrUpdateChannels_ = nullptr;
  QTimer* tmrRefreshIOAudit_ = nullptr;

 public:
  // For tests: the workers (null before start-up reached the channel page).
  DatabaseWorker* WriteWorker() const { return writeWorker_.get(); }
  DatabaseWorker* ReadWorker() const { return readWorker_.get(); }
  WriteProgressDialog* WriteProgress() const { return writeProgress_.get(); }
};

}  // namespace telmon
