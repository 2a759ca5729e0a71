// Test entry point: a Qt application object exists for the whole run, so sockets, timers,
// SQL drivers and (in widget tests) windows work as they do in the program.
#ifdef TELMON_TEST_GUI
#include <QApplication>
using TestApplication = QApplication;
#else
#include <QCoreApplication>
using TestApplication = QCoreApplication;
#endif

#include <QStandardPaths>

#include <gtest/gtest.h>

int main(int argc, char** argv) {
  ::testing::InitGoogleTest(&argc, argv);
  // Widget tests never need a display; test discovery runs the binary without the environment.
  if (qEnvironmentVariableIsEmpty("QT_QPA_PLATFORM")) {
    qputenv("QT_QPA_PLATFORM", "offscreen");
  }
  TestApplication app(argc, argv);
  // The user's own data (the operator journal) is never touched by a test run.
  QStandardPaths::setTestModeEnabled(true);
  return RUN_ALL_TESTS();
}
