// The main window offscreen: start-up with its failure paths, the frame's captions and panels,
// the tab rule and the exit question.

#include "app/MainMenus.h"
#include "app/StatusPanels.h"
#include "app/TabFrames.h"
#include "app/WriteProgress.h"
#include "app/frmMain.h"
#include "iossim/DemoSite.h"
#include "messages/MessageLogModel.h"
#include "messages/frmProblems.h"
#include "platform/testing/ScriptedPrompter.h"
#include "tests/support/OnScreen.h"
#include "tests/support/ScreenTexts.h"
#include "util/Clock.h"

#include <QAbstractItemView>
#include <QAccessible>
#include <QAction>
#include <QCloseEvent>
#include <QCoreApplication>
#include <QFile>
#include <QFileInfo>
#include <QGuiApplication>
#include <QLabel>
#include <QLineEdit>
#include <QMenu>
#include <QPrinterInfo>
#include <QProgressDialog>
#include <QPushButton>
#include <QScreen>
#include <QSettings>
#include <QSqlDatabase>
#include <QSqlQuery>
#include <QStatusBar>
#include <QTabBar>
#include <QTcpServer>
#include <QTemporaryDir>
#include <QThread>
#include <QToolBar>
#include <QTreeView>
#include <QUuid>

#include <gtest/gtest.h>

using namespace telmon;

namespace {

class MainWindow : public ::testing::Test {
 protected:
  void SetUp() override {
    qputenv("HALVO5_SYSTEM_FOLDER", dir_.path().toUtf8());
    // The window's placement is kept in the per-user registry: here, in the test's folder.
    for (const auto format : {QSettings::NativeFormat, QSettings::IniFormat}) {
      QSettings::setPath(format, QSettings::UserScope, dir_.filePath("registry"));
    }
  }
  // The demo site, with nothing listening on its monitor port: the monitor starts all the same.
  // The port is one the system just handed out and took back, never the site's usual one,
  // where a simulator or a real server may be listening.
  void WriteDemo() {
    QString error;
    ASSERT_TRUE(iossim::WriteDemoSite(dir_.path(), &error)) << error.toStdString();
    const QString name = QUuid::createUuid().toString();
    {
      QSqlDatabase db = QSqlDatabase::addDatabase(QStringLiteral("QSQLITE"), name);
      db.setDatabaseName(dir_.filePath(QStringLiteral("dahs1.sqlite")));
      ASSERT_TRUE(db.open());
      QSqlQuery q(db);
      ASSERT_TRUE(q.exec(QStringLiteral("UPDATE H5LOOKUP SET lookupvalue = '%1' WHERE lookupkey "
                                        "= 'IOS:TcpListenPortForMonitorConnections'")
                             .arg(ClosedPort())));
      ASSERT_EQ(q.numRowsAffected(), 1);
    }
    QSqlDatabase::removeDatabase(name);
  }
  // A loopback port on which nothing listens.
  static quint16 ClosedPort() {
    QTcpServer probe;
    EXPECT_TRUE(probe.listen(QHostAddress::LocalHost, 0));
    return probe.serverPort();
  }
  void SetIni(const QString& from, const QString& to) {
    QFile ini(dir_.filePath("Halvo5.INI"));
    ASSERT_TRUE(ini.open(QIODevice::ReadOnly));
    QString text = QString::fromUtf8(ini.readAll());
    ini.close();
    text.replace(from, to);
    ASSERT_TRUE(ini.open(QIODevice::WriteOnly | QIODevice::Truncate));
    ini.write(text.toUtf8());
  }
  std::unique_ptr<frmMain> Make(int dahs = 1) {
    CommandLine cl;
    cl.dahsId = dahs;
    return std::make_unique<frmMain>(cl, MainServices{prompter_, clock_, "127.0.0.1"});
  }
  std::unique_ptr<frmMain> Make(const QStringList& arguments) {
    return std::make_unique<frmMain>(CommandLine::Parse(arguments),
                                     MainServices{prompter_, clock_, "127.0.0.1"});
  }
  static QStringList Texts(frmMain& w) {
    QStringList texts;
    for (int i = 0; i < w.MessageLog().rowCount(); ++i) {
      texts << w.MessageLog().Row(i).text;
    }
    return texts;
  }
  static void Pump(int ms) {
    for (int i = 0; i < ms / 10; ++i) {
      QCoreApplication::processEvents();
      QThread::msleep(10);
    }
  }

  QTemporaryDir dir_;
  ScriptedPrompter prompter_;
  ManualClock clock_;
};

// Seen, not merely flagged visible: the status panels, every page's frame and controls, and the
// not-polling indicator beside the tabs.
TEST_F(MainWindow, EveryControlThatIsShownCanBeSeen) {
  WriteDemo();
  auto w = Make();
  ASSERT_TRUE(w->Startup(nullptr));
  w->show();
  Pump(50);
  for (const QString& key : {PanelKey::CurrentTime, PanelKey::ChannelUpdateTime,
                             PanelKey::AllRefreshTime, PanelKey::BytesReceived}) {
    EXPECT_TRUE(SeenOnScreen(w->findChild<QLabel*>(key))) << key.toStdString();
  }
  EXPECT_FALSE(SeenOnScreen(w->txtNotPolling()));
  w->SetNotPollingVisible(true);
  Pump(50);
  EXPECT_TRUE(SeenOnScreen(w->txtNotPolling()));
  EXPECT_TRUE(SeenOnScreen(w->Tabs().tabstripTELM()));

  const std::vector<QStringList> controls = {
      {"lsvDevices", "cmdPoll_1", "cmdPoll_0", "cmdPollOne_1", "cmdPollOne_0", "cmdChangeIPAddress",
       "cmdSetClock", "cmdEraseHDR", "cmdFailover"},
      {"lsvQueues", "cmdResetCounters"},
      {"lsvBlocks"},
      {"toolbarChannels", "lsvChannels"},
  };
  TabFrames& t = w->Tabs();
  for (int page = 0; page < t.tabstripTELM()->count(); ++page) {
    t.SelectTab(page);
    Pump(20);
    QWidget* frame = t.Frame(page);
    EXPECT_TRUE(SeenOnScreen(frame)) << page;
    if (page >= static_cast<int>(controls.size())) {
      continue;
    }
    for (const QString& name : controls[static_cast<std::size_t>(page)]) {
      EXPECT_TRUE(SeenOnScreen(frame->findChild<QWidget*>(name))) << name.toStdString();
    }
    if (auto* toolbar = frame->findChild<QToolBar*>()) {
      for (QAction* a : toolbar->actions()) {
        if (!a->isSeparator()) {
          EXPECT_TRUE(SeenOnScreen(toolbar->widgetForAction(a))) << a->objectName().toStdString();
        }
      }
    }
  }
  EXPECT_TRUE(SeenOnScreen(w->txtNotPolling()));  // on every page
  w->SetNotPollingVisible(false);
  EXPECT_FALSE(SeenOnScreen(w->txtNotPolling()));
}

}  // namespace

TEST_F(MainWindow, MissingSettingsFileFailsWithTelm0005) {
  auto w = Make();
  EXPECT_FALSE(w->Startup(nullptr));
  EXPECT_TRUE(Texts(*w).contains("TELM-0005: can't load settings from Halvo INI file."));
  EXPECT_FALSE(w->Started());
}

TEST_F(MainWindow, SwitchesOfOtherProgramsAreNamedOnceAndStartUpGoesOn) {
  WriteDemo();
  auto w = Make(QStringList{"telmon", "/SITE=4", "/DAHSID=1", "-nosplash"});
  ASSERT_TRUE(w->Startup(nullptr));
  EXPECT_EQ(w->windowTitle(), "Telmon - Unit 1 DAHS (DEMO)");
  const QStringList texts = Texts(*w);
  EXPECT_EQ(texts.count("Command line: ignored \"/SITE=4\", \"-nosplash\" (not used by this "
                        "program)."),
            1)
      << texts.join('\n').toStdString();
  EXPECT_EQ(w->MessageLog().Row(0).colour, 0U);  // a note, not an error
}

TEST_F(MainWindow, ADahsNumberThatIsNotA32BitIntegerEndsStartUpWithTelm0009) {
  WriteDemo();
  for (const auto& [arg, text] :
       {std::pair{"/DAHSID=one",
                  "TELM-0009: 13, Type mismatch; Step=\"getting DAHSID from command line\""},
        std::pair{"/DAHSID=4294967297",
                  "TELM-0009: 6, Overflow; Step=\"getting DAHSID from command line\""}}) {
    auto w = Make(QStringList{"telmon", arg});
    EXPECT_FALSE(w->Startup(nullptr));
    EXPECT_FALSE(w->Started());
    EXPECT_EQ(Texts(*w), QStringList{text});
    EXPECT_EQ(w->windowTitle(), "Telmon");  // the settings were never loaded
  }
}

TEST_F(MainWindow, UnreachableDatabaseFailsWithTelm0007) {
  WriteDemo();
  const quint16 port = ClosedPort();
  SetIni("SqlConnectionString_Realtime = sqlite:dahs1-realtime.sqlite",
         QStringLiteral("SqlConnectionString_Realtime = postgresql://telmon@127.0.0.1:%1/none")
             .arg(port));
  auto w = Make();
  EXPECT_FALSE(w->Startup(nullptr));
  const QStringList texts = Texts(*w);
  EXPECT_TRUE(texts.contains("TELM-0007: can't connect (read-only) to database(s)."))
      << texts.join('\n').toStdString();
  EXPECT_FALSE(texts.contains("TELM-0008: can't connect (read-write) to database(s)."));
}

TEST_F(MainWindow, StartsWithoutAnIosAndReportsTheSocketError) {
  WriteDemo();
  auto w = Make();
  ASSERT_TRUE(w->Startup(nullptr));
  EXPECT_EQ(w->windowTitle(), "Telmon - Unit 1 DAHS (DEMO)");
  Pump(300);
  const QStringList texts = Texts(*w);
  EXPECT_TRUE(std::any_of(texts.begin(), texts.end(), [](const QString& t) {
    return t.startsWith("TELM-0035: Winsock error: ");
  })) << texts.join('\n').toStdString();
}

// The frame's menus, tabs, status panels and indicator as the operator knows them, read from
// the window; each page's own contents are its page's affair.
TEST_F(MainWindow, FrameShowsTheMenusTabsAndPanelsOperatorsKnow) {
  WriteDemo();
  auto w = Make();
  // The status panels as designed, before start-up writes to them.
  const QStringList designed = test::ScreenTexts(w->statusBar());
  ASSERT_TRUE(w->Startup(nullptr));
  TabFrames& tabs = w->Tabs();
  const auto isPage = [&tabs](const QWidget* widget) {
    for (int i = 0; i < tabs.tabstripTELM()->count(); ++i) {
      if (widget == tabs.Frame(i)) {
        return true;
      }
    }
    return false;
  };
  test::ExpectShown(
      designed + test::ScreenTexts(w.get(), isPage),
      {
          R"t(window "Telmon - Unit 1 DAHS (DEMO)")t",
          R"t(menu "&File": "Connect To I/O Server" | "Disconnect From I/O Server" | - | "&Update/Refresh All Info From I/O Server" | "&Read All Data" | - | "&Print Screen" | "Export List..." | - | "E&xit")t",
          R"t(menu "&Edit": "Allow &Edits" [ ] | - | "&Copy Data To Clipboard")t",
          R"t(menu "&Channels/Addresses": "&Add Channel..." | "A&dd PLC Address..." | "&Change Value..." (disabled) | "&Remove Channel" | "Remove All Channels" | - | "Display &1 Decimal Place" [ ] | - | "&Load/Save Channel List...")t",
          R"t(menu "&View": "&Messages" | "Operator Journal" | "Site State" | "&Trends" | "&Refreshes/Updates" | - | "&About..." | "&Techical Support...")t",
          R"t(menu "&View" > "&Refreshes/Updates": "Show Block Refreshes" [ ])t",
          R"t(tab 0 "Devices" key "Devices")t",
          R"t(tab 1 "Queues" key "Queues")t",
          R"t(tab 2 "Blocks" key "Blocks")t",
          R"t(tab 3 "Channels/Addresses" key "Channels")t",
          R"t(tab 4 "Bulk Writes")t",
          R"t(tab 5 "Active Alarms" key "Alarms")t",
          R"t(tab 6 "I/O Audits (IOS5 only)")t",
          R"t(tab 7 "IOS Settings")t",
          R"t(label "(time)" tip "Current Time")t",
          R"t(label "(update)" tip "Last Channel Update Time")t",
          R"t(label "(last all refresh time)" tip "Last All Data Refreshed Time")t",
          R"t(label "(bytes received)" tip "Bytes received from IOS")t",
          R"t((hidden) box "Not Polling Device(s)")t",
      });
}

TEST_F(MainWindow, TabClickShowsExactlyOneFrame) {
  WriteDemo();
  auto w = Make();
  ASSERT_TRUE(w->Startup(nullptr));
  w->show();
  TabFrames& t = w->Tabs();
  EXPECT_TRUE(t.Frame(0)->isVisible());
  t.SelectTab(2);
  EXPECT_EQ(t.CurrentPageIndex(), 2);
  for (int i = 0; i < 8; ++i) {
    EXPECT_EQ(t.Frame(i)->isVisible(), i == 2) << i;
  }
}

TEST_F(MainWindow, ClockPanelChangesOncePerSecond) {
  WriteDemo();
  auto w = Make();
  ASSERT_TRUE(w->Startup(nullptr));
  Pump(250);
  const QString first = w->Panels().Text(PanelKey::CurrentTime);
  EXPECT_NE(first, "(time)");
  clock_.Advance(400);  // same second: the panel stays
  Pump(250);
  EXPECT_EQ(w->Panels().Text(PanelKey::CurrentTime), first);
  clock_.Advance(1000);
  Pump(250);
  EXPECT_NE(w->Panels().Text(PanelKey::CurrentTime), first);
}

TEST_F(MainWindow, ExitFromTheProgramClosesWithoutAQuestion) {
  WriteDemo();
  auto w = Make();
  ASSERT_TRUE(w->Startup(nullptr));
  w->show();
  prompter_.QueueAnswer(PromptAnswer::No);
  w->Menus().mnuFile_Exit->trigger();
  EXPECT_TRUE(prompter_.Questions().empty());
  EXPECT_FALSE(w->isVisible());
}

TEST_F(MainWindow, ExitQuestionDefaultsToNo) {
  WriteDemo();
  auto w = Make();
  ASSERT_TRUE(w->Startup(nullptr));
  EXPECT_FALSE(w->ConfirmExit());  // Enter presses the default button
  const PromptQuestion q = prompter_.Questions().back();
  EXPECT_EQ(q.text, "Are you sure you want to exit?");
  EXPECT_EQ(q.title, "Telmon");
  EXPECT_EQ(q.icon, PromptIcon::Exclamation);
  EXPECT_EQ(q.buttons, PromptButtons::YesNo);
  EXPECT_EQ(q.defaultButton, PromptAnswer::No);
  prompter_.QueueAnswer(PromptAnswer::Yes);
  EXPECT_TRUE(w->ConfirmExit());
}

TEST_F(MainWindow, MessagesWindowIsCreatedInStepTwoWithTheProgramTitleCaption) {
  WriteDemo();
  auto w = Make();
  ASSERT_TRUE(w->Startup(nullptr));
  frmProblems& problems = w->Problems();
  EXPECT_EQ(problems.windowTitle(), "Telmon Messages");
  EXPECT_TRUE(w->MessageLog()
                  .PrintText(problems.windowTitle(), QDateTime(QDate(2024, 3, 14), QTime(14, 5)))
                  .startsWith("Telmon Messages         Printed "));
}

TEST_F(MainWindow, EveryListTextBoxAndStatusPanelHasAnAccessibleName) {
  WriteDemo();
  auto w = Make();
  ASSERT_TRUE(w->Startup(nullptr));
  w->show();
  const auto name = [](QWidget* widget) {
    QAccessibleInterface* a = QAccessible::queryAccessibleInterface(widget);
    return a != nullptr ? a->text(QAccessible::Name) : QString();
  };
  const std::pair<const char*, const char*> known[] = {
      {"lsvDevices", "Devices list"},
      {"lsvQueues", "Queues list"},
      {"lsvBlocks", "Blocks list"},
      {"lsvChannels", "Channels/Addresses list"},
      {"lsvAlarms", "Active Alarms list"},
      {"txtNotPolling", "Not Polling Device(s)"},
      {"CurrentTime", "Current Time"},
      {"ChannelUpdateTime", "Last Channel Update Time"},
      {"AllRefreshTime", "Last All Data Refreshed Time"},
      {"BytesReceived", "Bytes received from IOS"},
  };
  for (const auto& [object, expected] : known) {
    auto* widget = w->findChild<QWidget*>(QLatin1String(object));
    ASSERT_NE(widget, nullptr) << object;
    EXPECT_EQ(name(widget), expected) << object;
  }
  EXPECT_EQ(name(w->Problems().List()), "Messages list");
  // No list or text box anywhere in the window is left without a name.
  for (QWidget* widget : w->findChildren<QWidget*>()) {
    if (qobject_cast<QAbstractItemView*>(widget) != nullptr ||
        qobject_cast<QLineEdit*>(widget) != nullptr) {
      EXPECT_FALSE(name(widget).isEmpty())
          << widget->metaObject()->className() << " " << widget->objectName().toStdString();
    }
  }
}

TEST_F(MainWindow, PrintScreenWithoutAPrinterSaysWhereThePdfWent) {
  if (!QPrinterInfo::defaultPrinter().isNull()) {
    GTEST_SKIP() << "a default printer is installed; not printing on it from a test";
  }
  WriteDemo();
  const QByteArray home = qgetenv("HOME");
  qputenv("HOME", dir_.path().toUtf8());
  auto w = Make();
  ASSERT_TRUE(w->Startup(nullptr));
  w->show();
  w->Menus().mnuFile_PrintScreen->trigger();
  qputenv("HOME", home);
  ASSERT_EQ(prompter_.Questions().size(), 1U);
  const PromptQuestion box = prompter_.Questions()[0];
  const QString prefix = "No printer is installed: the image of the main window was saved to '";
  ASSERT_TRUE(box.text.startsWith(prefix)) << box.text.toStdString();
  ASSERT_TRUE(box.text.endsWith(".pdf'."));
  const QString path = box.text.mid(prefix.size(), box.text.size() - prefix.size() - 2);
  EXPECT_TRUE(QFileInfo(path).isAbsolute());
  EXPECT_TRUE(path.startsWith(dir_.path()));
  EXPECT_GT(QFileInfo(path).size(), 0);
  EXPECT_EQ(box.icon, PromptIcon::Information);
}

TEST_F(MainWindow, ReopensAtThePlaceAndSizeItWasClosedWith) {
  WriteDemo();
  const QRect available = QGuiApplication::primaryScreen()->availableGeometry();
  const QRect closedAt(available.left() + 40, available.top() + 50, 700, 450);
  {
    auto w = Make();
    ASSERT_TRUE(w->Startup(nullptr));
    w->show();
    w->setGeometry(closedAt);
    w->CloseByProgram();
  }
  auto again = Make();
  EXPECT_EQ(again->geometry(), closedAt);
  ASSERT_TRUE(again->Startup(nullptr));
  again->show();
  EXPECT_EQ(again->geometry().size(), closedAt.size());
}

// The write's progress: the count in its label, Cancel reaching the write, gone at the end.
TEST(WriteProgress, CountsAndCancelsAndGoesAtTheEnd) {
  QWidget owner;
  WriteProgressDialog progress(&owner);
  int cancelled = 0;
  progress.Begin(20000, [&] { ++cancelled; });
  QProgressDialog* dialog = progress.Dialog();
  ASSERT_NE(dialog, nullptr);
  EXPECT_EQ(dialog->maximum(), 20000);
  progress.Advance(5000);
  EXPECT_EQ(dialog->value(), 5000);
  EXPECT_EQ(WriteProgressDialog::LabelText(5000, 20000), "Writing records: 5,000 of 20,000");
  QPushButton* cancel = dialog->findChild<QPushButton*>();
  ASSERT_NE(cancel, nullptr);
  EXPECT_EQ(cancel->text(), "&Cancel");
  cancel->click();
  EXPECT_EQ(cancelled, 1);
  progress.End();
  EXPECT_EQ(progress.Dialog(), nullptr);
}
