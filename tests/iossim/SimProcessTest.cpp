#include "tests/iossim/SimTestClient.h"

#include <QProcess>

#include <csignal>

namespace telmon::iossim::testing {
namespace {

// The simulator as the end-to-end tests and the demo run it: its own process, ready when it
// prints where it listens, stopped by a signal.
class SimProcessTest : public DemoSiteTest {
 protected:
  void StartProcess(const QStringList& args) {
    process_.setProgram(QStringLiteral(IOSSIM_PATH));
    process_.setArguments(args);
    process_.start();
    ASSERT_TRUE(process_.waitForStarted());
  }
  // The port from "listening on 127.0.0.1:<port>", or 0.
  quint16 WaitForListening() {
    QByteArray out;
    (void)QTest::qWaitFor(
        [&] {
          out += process_.readAllStandardOutput();
          return out.contains('\n') || process_.state() == QProcess::NotRunning;
        },
        10000);
    const QByteArray prefix = "listening on 127.0.0.1:";
    EXPECT_TRUE(out.startsWith(prefix))
        << out.toStdString() << process_.readAllStandardError().toStdString();
    return out.startsWith(prefix) ? out.mid(prefix.size()).trimmed().toUShort() : 0;
  }
  QProcess process_;
};

TEST_F(SimProcessTest, ServesUntilItIsAskedToStop) {
  qputenv("HALVO5_SYSTEM_FOLDER", dir_.path().toLocal8Bit());
  StartProcess({QStringLiteral("--dahs"), QStringLiteral("2"), QStringLiteral("--port"),
                QStringLiteral("0"), QStringLiteral("--pack"), QStringLiteral("--seed"),
                QStringLiteral("5")});
  const quint16 port = WaitForListening();
  ASSERT_NE(port, 0);
  SimTestClient c;
  ASSERT_TRUE(c.Connect(port));
  c.Send("<Command action=\"GetIOSSettings\" />");
  ASSERT_TRUE(c.WaitFor([&] { return c.Count(QStringLiteral("IOSSettingsUpdate")) == 1; }));
  ::kill(static_cast<pid_t>(process_.processId()), SIGTERM);
  ASSERT_TRUE(process_.waitForFinished(5000));
  EXPECT_EQ(process_.exitStatus(), QProcess::NormalExit);
  EXPECT_EQ(process_.exitCode(), 0);
  EXPECT_TRUE(process_.readAllStandardError().contains("stopping on signal 15"));
}

TEST_F(SimProcessTest, RefusesBadOptionsAndMissingSites) {
  StartProcess({QStringLiteral("--port"), QStringLiteral("70000")});
  ASSERT_TRUE(process_.waitForFinished(5000));
  EXPECT_EQ(process_.exitCode(), 2);
  EXPECT_TRUE(process_.readAllStandardError().contains("--port needs a whole number"));
  StartProcess({QStringLiteral("--settings"), Path(QStringLiteral("missing")),
                QStringLiteral("--port"), QStringLiteral("0")});
  ASSERT_TRUE(process_.waitForFinished(5000));
  EXPECT_EQ(process_.exitCode(), 1);
  EXPECT_TRUE(process_.readAllStandardError().contains("does not exist"));
}

}  // namespace
}  // namespace telmon::iossim::testing
