#include "app/ScreenshotTour.h"

#include "app/SplashForm.h"
#include "app/TabFrames.h"
#include "app/frmMain.h"
#include "journal/ui/JournalFeature.h"
#include "journal/ui/frmOperatorJournal.h"
#include "journal/ui/frmSiteState.h"
#include "messages/frmProblems.h"
#include "platform/ui/CredentialsDialog.h"
#include "tools/ui/CalHdrFrame.h"
#include "tools/ui/IOSSettingsPage.h"
#include "util/Clock.h"
#include "views/ChannelConfigInfoManager.h"
#include "views/KeyedListModel.h"
#include "watches/ChannelValueWriter.h"
#include "watches/WatchListStore.h"
#include "watches/ui/QtWatchDialogs.h"
#include "watches/ui/frmChangeChanValue.h"
#include "watches/ui/frmChangeChanValues.h"
#include "watches/ui/frmWatchLists.h"

#include <QCoreApplication>
#include <QDateTime>
#include <QDir>
#include <QLineEdit>
#include <QListWidget>
#include <QPixmap>
#include <QRegularExpression>
#include <QScreen>
#include <QSettings>
#include <QStatusBar>
#include <QTabBar>
#include <QTemporaryDir>
#include <QTextStream>
#include <QTimer>
#include <QTreeWidget>

#include <array>

namespace telmon {

ScreenshotTour::ScreenshotTour(frmMain& window, QString folder, int settleMs, QObject* parent)
    : QObject(parent), window_(window), folder_(std::move(folder)) {
  QTimer::singleShot(settleMs, this, &ScreenshotTour::Shoot);
}

bool ScreenshotTour::Save(QWidget* widget, const QString& name) {
  QCoreApplication::processEvents();
  const QString path = QDir(folder_).filePath(name + QStringLiteral(".png"));
  const bool ok = widget->grab().save(path);
  QTextStream(stdout) << (ok ? "saved " : "could not save ") << path << "\n";
  return ok;
}

void ScreenshotTour::Shoot() {
  QDir().mkpath(folder_);
  TabFrames& tabs = window_.Tabs();
  window_.UpdateChannels();
  CalHdrFrame* calHdr = window_.CalHdr();
  if (calHdr != nullptr) {
    calHdr->LoadList();  // the cal HDR frame as the operator sees it after "Load List"
  }
  for (int i = 0; i < tabs.tabstripTELM()->count(); ++i) {
    tabs.SelectTab(i);
    QString name = tabs.tabstripTELM()->tabText(i).toLower();
    name.replace(QRegularExpression(QStringLiteral("[^a-z0-9]+")), QStringLiteral("-"));
    Save(&window_, QStringLiteral("%1-%2").arg(i + 1).arg(name));
    if (calHdr != nullptr && calHdr->isVisible()) {
      Save(calHdr, QStringLiteral("cal-hdr-frame"));
    }
    if (window_.SettingsPage() != nullptr && window_.SettingsPage()->isVisible()) {
      Save(window_.SettingsPage(), QStringLiteral("ios-settings-page"));
    }
  }
  tabs.SelectTab(0);
  if (!qEnvironmentVariableIsEmpty("TELMON_SCREENSHOT_SCREEN") && window_.screen() != nullptr) {
    QCoreApplication::processEvents();
    const QString path = QDir(folder_).filePath(QStringLiteral("screen.png"));
    const bool ok = window_.screen()->grabWindow(0).save(path);
    QTextStream(stdout) << (ok ? "saved " : "could not save ") << path << "\n";
  }
  frmProblems& problems = window_.Problems();
  problems.resize(900, 400);
  problems.show();
  Save(&problems, QStringLiteral("messages"));
  problems.hide();

  SplashForm splash;
  splash.Setup(QStringLiteral("Telmon"));
  splash.SetProgressText(QStringLiteral("Preparing block manager..."));
  splash.SetProgressValue(85);
  Save(&splash, QStringLiteral("splash"));
  splash.close();

  CredentialsDialog credentials(QStringLiteral("Privilege level 250 is needed to allow edits."),
                                QStringLiteral("Telmon"), &window_);
  credentials.show();
  Save(&credentials, QStringLiteral("credentials"));
  credentials.close();
  ShootWatchDialogs();
  ShootValueDialogs();
  ShootJournalWindows();
  ShootListTools();
  ShootAlarms();
  window_.CloseByProgram();
}

// The add-channel dialog on its list and typed-ID tabs, and the watch-lists dialog over a
// throw-away store with two saved lists, so that the operator's own store is never touched.
void ScreenshotTour::ShootWatchDialogs() {
  QtWatchDialogs* dialogs = window_.WatchDialogs();
  if (dialogs == nullptr || window_.ChannelsModel() == nullptr) {
    return;
  }
  frmAddChannelWatch& add = dialogs->AddChannelWatch();
  add.FillChannelLists();
  add.FillBlockList();
  add.TabStripAdd()->setCurrentIndex(0);
  for (int i = 0; i < std::min(3, add.lstChannels()->count()); ++i) {
    add.lstChannels()->item(i)->setSelected(true);
  }
  add.show();
  Save(&add, QStringLiteral("add-channel-watch"));
  add.TabStripAdd()->setCurrentIndex(1);
  add.txtChanIDs()->setText(QStringLiteral("1001, 1003-1005, u002"));
  Save(&add, QStringLiteral("add-channel-watch-ids"));
  add.txtChanIDs()->clear();
  add.TabStripAdd()->setCurrentIndex(0);
  add.cmdCancel_Click();

  QTemporaryDir dir;
  QSettings settings(dir.filePath(QStringLiteral("TELM.conf")), QSettings::IniFormat);
  WatchListStore store(settings);
  const QString when = WatchLists::DateText(QDateTime::currentDateTime());
  const std::array<const char*, 2> names = {"Stack 1 gases", "Opacity check"};
  for (int slot = 1; slot <= 2; ++slot) {
    store.Write(WatchListStore::ValueName("List|", slot), QStringLiteral("1001;1002;1003;"));
    store.Write(WatchListStore::ValueName("List|Desc", slot),
                QLatin1String(names.at(static_cast<std::size_t>(slot - 1))));
    store.Write(WatchListStore::ValueName("List|Date", slot), when);
  }
  WatchLists lists(store, window_.OperatorPrompter(), QStringLiteral("Telmon"));
  frmWatchLists watchLists(lists, *window_.ChannelsModel(), &window_);
  watchLists.show();
  watchLists.lsvWatchLists()->setCurrentItem(watchLists.lsvWatchLists()->topLevelItem(0));
  Save(&watchLists, QStringLiteral("watch-lists"));
  watchLists.close();
}

void ScreenshotTour::ShootValueDialogs() {
  if (window_.ValueWriter() == nullptr) {
    return;
  }
  // A wave channel shows every control of the one-channel dialog enabled.
  std::int32_t waveChannel = 0;
  for (const auto& record : window_.ChannelConfigs().NewEnum()) {
    if (record->DataSource == QStringLiteral("TriangleWave")) {
      waveChannel = record->Key.chopped(1).toInt();
      break;
    }
  }
  const ChangeValueServices services{window_.ChannelConfigs(), *window_.ValueWriter(), window_,
                                     window_.Prompts(), QStringLiteral("Telmon")};
  frmChangeChanValue one(services, &window_);
  one.SetChannelID(waveChannel);
  one.show();
  Save(&one, QStringLiteral("change-channel-value"));
  one.close();
  frmChangeChanValues several(services, &window_);
  several.SetChannelIDList(QStringLiteral("\t1001\t1002"));
  several.show();
  Save(&several, QStringLiteral("change-channel-values"));
  several.close();
}

namespace {

// A morning's typical entries on the demo site's own devices and first forced channel.
std::vector<JournalOperation> SampleJournalEntries(frmMain& window) {
  // The demo site's own devices and first forced channel, as the pages show them.
  auto DeviceText = [&window](const QString& id) {
    KeyedListModel* m = window.DevicesModel();
    auto* row = m == nullptr ? nullptr : m->FindKey(id + QLatin1Char('K'));
    return row == nullptr ? id : id + QLatin1Char(' ') + m->SubItem(row, 1);
  };
  QString forcedId = QStringLiteral("0");
  QString forced = forcedId;
  for (const auto& record : window.ChannelConfigs().NewEnum()) {
    if (record->DataSource == QStringLiteral("ForcedValue")) {
      forcedId = record->Key.chopped(1);
      forced = forcedId + QLatin1Char(' ') + record->Name;
      break;
    }
  }
  const QString sent = JournalOutcome::Sent;
  return {
      {QStringLiteral("Random values on"),
       DeviceText(QStringLiteral("1")),
       {},
       QStringLiteral(R"(<Command action="SetDeviceToRandomMode" id="1" value="1"/>)"),
       sent,
       {},
       {}},
      {QStringLiteral("Bulk mode-code write"),
       QStringLiteral("23 channels: 1040, 1041, 1042"),
       QStringLiteral("13"),
       QStringLiteral("<Command action=\"WriteToChannel\" id=\"1040\" value=\"13\" />\n(and 22 "
                      "more records)"),
       QStringLiteral("23 records written"),
       {},
       {}},
      {QStringLiteral("WriteToChannel"),
       forced,
       QStringLiteral("42.5"),
       QStringLiteral(R"(<Command action="WriteToChannel" id="%1" value="42.5" />)").arg(forcedId),
       JournalOutcome::RecordWritten,
       {},
       {}},
      {QStringLiteral("ForceChannelValue"),
       forced,
       QStringLiteral("42.5"),
       QStringLiteral(
           R"(<Command action="ForceChannelValue" id="%1" value="42.5" DataSource="ForcedValue" />)")
           .arg(forcedId),
       sent,
       {},
       {}},
      {QStringLiteral("Set clock"),
       DeviceText(QStringLiteral("2")),
       {},
       QStringLiteral(R"(<Command action="SetDeviceClock" id="2"/>)"),
       sent,
       NoAccount,
       {}},
      {QStringLiteral("Random values off (all)"),
       QStringLiteral("all devices"),
       {},
       QStringLiteral(R"(<Command action="SetDeviceToRandomMode" id="*" value="0"/>)"),
       sent,
       {},
       {}},
  };
}

}  // namespace

// The journal window over a throw-away journal with a morning's typical entries, so that the
// operator's own journal is never touched; the Site State window as the simulator left it.
void ScreenshotTour::ShootJournalWindows() {
  QTemporaryDir dir;
  SystemClock clock;
  OperationJournal journal(dir.filePath(QStringLiteral("journal.sqlite")), {1, {}}, window_, clock);
  journal.SetEditAccount(QStringLiteral("super"));
  for (const JournalOperation& entry : SampleJournalEntries(window_)) {
    journal.Record(entry);
  }
  frmOperatorJournal journalWindow(journal, window_.Prompts(), &window_);
  journalWindow.setWindowFlag(Qt::Window);
  journalWindow.show();
  Save(&journalWindow, QStringLiteral("operator-journal"));
  journalWindow.close();
  JournalFeature& feature = window_.Journal();
  feature.RefreshNow();
  frmSiteState& state = feature.SiteStateWindow();
  state.Refresh();
  state.show();
  Save(&state, QStringLiteral("site-state"));
  state.close();
  Save(window_.statusBar(), QStringLiteral("left-changed-panel"));
}

}  // namespace telmon
