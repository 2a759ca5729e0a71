// Where the main window opens: no larger than the screen's available area, and where it was
// last closed when that still fits. The small-screen cases run the program's window in a child
// process with a 1366x768 screen at 125 % and 150 % scaling.

#include "app/WindowPlacement.h"
#include "app/frmMain.h"
#include "iossim/DemoSite.h"
#include "platform/testing/ScriptedPrompter.h"
#include "util/Clock.h"

#include <QCoreApplication>
#include <QFile>
#include <QGuiApplication>
#include <QImage>
#include <QProcess>
#include <QScreen>
#include <QSettings>
#include <QTemporaryDir>
#include <QWidget>
#include <QtTest/QTest>

#include <gtest/gtest.h>

#include <cmath>

using namespace telmon;

namespace {

constexpr FrameAllowance NoFrame{};
constexpr FrameAllowance Frame{4, 30, 4, 4};

TEST(WindowPlacement, FitsTheDefaultSizeIntoTheAvailableArea) {
  struct Case {
    QRect available;
    QRect expected;
  };
  // 1366x768 with a 30-pixel panel, at 100 %, 125 % and 150 %; and a large screen.
  const Case cases[] = {
      {QRect(0, 0, 1366, 738), QRect(133, 30, 1100, 700)},
      {QRect(0, 0, 1093, 590), QRect(4, 30, 1085, 556)},
      {QRect(0, 0, 911, 492), QRect(4, 30, 903, 458)},
      {QRect(1920, 0, 2560, 1400), QRect(2650, 350, 1100, 700)},
  };
  for (const Case& c : cases) {
    const QRect placed = ChoosePlacement(std::nullopt, {{"A", c.available}}, 0, {1100, 700}, Frame);
    EXPECT_EQ(placed, c.expected) << c.available.width() << "x" << c.available.height();
    EXPECT_TRUE(c.available.contains(placed.adjusted(-4, -30, 4, 4)));
  }
  EXPECT_EQ(FitInside(QRect(-50, -50, 200, 100), QRect(0, 0, 800, 600), NoFrame),
            QRect(0, 0, 200, 100));
  EXPECT_EQ(FitInside(QRect(700, 500, 200, 200), QRect(0, 0, 800, 600), NoFrame),
            QRect(600, 400, 200, 200));
}

TEST(WindowPlacement, ReopensWhereItWasClosedWhenThatStillFits) {
  const QList<ScreenArea> screens = {{"Left", QRect(0, 0, 1920, 1050)},
                                     {"Right", QRect(1920, 0, 1366, 738)}};
  const SavedPlacement onRight{"Right", QRect(2000, 100, 900, 500), false};
  EXPECT_EQ(ChoosePlacement(onRight, screens, 0, {1100, 700}, Frame), onRight.geometry);
  // Too large for that screen now (its resolution changed): the default size, fitted.
  const SavedPlacement tooLarge{"Right", QRect(1920, 0, 1800, 1000), false};
  EXPECT_EQ(ChoosePlacement(tooLarge, screens, 0, {1100, 700}, Frame), QRect(410, 175, 1100, 700));
  // The screen is gone: the primary screen.
  const SavedPlacement gone{"Projector", QRect(4000, 100, 800, 500), false};
  EXPECT_EQ(ChoosePlacement(gone, screens, 1, {1100, 700}, Frame),
            FitInside(QRect(QPoint(2053, 19), QSize(1100, 700)), screens[1].available, Frame));

  QTemporaryDir dir;
  QSettings settings(dir.filePath("registry.ini"), QSettings::IniFormat);
  EXPECT_FALSE(LoadPlacement(settings).has_value());
  SavePlacement(settings, {"Right", QRect(2000, 100, 900, 500), true});
  const auto loaded = LoadPlacement(settings);
  ASSERT_TRUE(loaded.has_value());
  EXPECT_EQ(loaded->screen, "Right");
  EXPECT_EQ(loaded->geometry, QRect(2000, 100, 900, 500));
  EXPECT_TRUE(loaded->maximized);
}

// Runs in the child process only: the main window on the demo site, on the screen the
// environment describes. Writes a screenshot to the path in TELMON_PLACEMENT_SHOT.
TEST(WindowPlacementChild, MainWindowFitsTheScreen) {
  const QString shot = qEnvironmentVariable("TELMON_PLACEMENT_SHOT");
  if (shot.isEmpty()) {
    GTEST_SKIP() << "runs inside WindowPlacement.MainWindowFitsSmallScaledScreens";
  }
  QTemporaryDir dir;
  qputenv("HALVO5_SYSTEM_FOLDER", dir.path().toUtf8());
  QSettings::setPath(QSettings::NativeFormat, QSettings::UserScope, dir.filePath("registry"));
  QString error;
  ASSERT_TRUE(iossim::WriteDemoSite(dir.path(), &error)) << error.toStdString();
  ScriptedPrompter prompter;
  ManualClock clock;
  CommandLine cl;
  cl.dahsId = 1;
  frmMain w(cl, MainServices{prompter, clock, "127.0.0.1"});
  ASSERT_TRUE(w.Startup(nullptr));
  w.show();
  ASSERT_TRUE(QTest::qWaitForWindowExposed(&w));
  const QRect available = w.screen()->availableGeometry();
  EXPECT_TRUE(available.contains(w.frameGeometry()))
      << "window " << w.frameGeometry().width() << "x" << w.frameGeometry().height() << " at "
      << w.frameGeometry().x() << "," << w.frameGeometry().y() << "; available "
      << available.width() << "x" << available.height();
  const qreal dpr = w.devicePixelRatio();
  EXPECT_LE(std::lround(w.frameGeometry().width() * dpr), 1366);
  EXPECT_LE(std::lround(w.frameGeometry().height() * dpr), 768);
  EXPECT_TRUE(w.grab().save(shot));
}

TEST(WindowPlacement, MainWindowFitsSmallScaledScreens) {
  QTemporaryDir dir;
  const QString config = dir.filePath("screens.json");
  {
    QFile file(config);
    ASSERT_TRUE(file.open(QIODevice::WriteOnly));
    file.write(R"({"screens": [{"name": "Laptop", "x": 0, "y": 0, "width": 1366, "height": 768,
                   "logicalDpi": 96, "logicalBaseDpi": 96, "dpr": 1}]})");
  }
  for (const char* scale : {"1.25", "1.5"}) {
    const QString shot =
        qEnvironmentVariable("TELMON_PLACEMENT_SHOT_DIR", dir.path()) +
        QStringLiteral("/main-window-1366x768-at-%1.png").arg(QString::fromLatin1(scale));
    QProcess child;
    QProcessEnvironment env = QProcessEnvironment::systemEnvironment();
    env.insert("QT_QPA_PLATFORM", "offscreen:configfile=" + config);
    env.insert("QT_SCALE_FACTOR", scale);
    env.insert("TELMON_PLACEMENT_SHOT", shot);
    child.setProcessEnvironment(env);
    child.setProcessChannelMode(QProcess::MergedChannels);
    child.start(QCoreApplication::applicationFilePath(),
                {"--gtest_filter=WindowPlacementChild.MainWindowFitsTheScreen"});
    ASSERT_TRUE(child.waitForFinished(120000)) << scale;
    EXPECT_EQ(child.exitCode(), 0) << scale << "\n" << child.readAll().toStdString();
    const QImage image(shot);
    ASSERT_FALSE(image.isNull()) << scale;
    EXPECT_LE(image.width(), 1366) << scale;
    EXPECT_LE(image.height(), 768) << scale;
  }
}

}  // namespace
