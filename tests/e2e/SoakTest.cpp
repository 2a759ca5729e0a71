// A few minutes at a high event rate: the monitor's memory stays flat and the window keeps
// answering. The figures are printed for the record; TELMON_SOAK_SECONDS sets the length.

#include "ioslink/IosConnection.h"
#include "tests/e2e/E2eSupport.h"
#include "views/ChannelListviewManager.h"

#include <QElapsedTimer>
#include <QFile>
#include <QTimer>

#include <gtest/gtest.h>

#include <cstdio>

using namespace telmon;
using namespace telmon::e2e;

namespace {}  // namespace

TEST(Soak, MemoryStaysFlatAndTheWindowAnswersAtAHighEventRate) {
  const int seconds = qEnvironmentVariableIsSet("TELMON_SOAK_SECONDS")
                          ? qEnvironmentVariableIntValue("TELMON_SOAK_SECONDS")
                          : 120;
  const int port = FreeLoopbackPort();
  DemoSite site;
  QString error;
  ASSERT_TRUE(site.Create(port, &error)) << error.toStdString();
  SimProcess sim;
  ASSERT_TRUE(sim.Start(site, port, {"--event-rate", "5000"})) << sim.Output().toStdString();
  Monitor monitor;
  ASSERT_TRUE(monitor.Start(site));
  ASSERT_TRUE(monitor.WaitForFullRefresh(site));
  monitor.window->Channels()->AddLsvRowsForChannelIDList(
      QStringLiteral("1001;1002;1003;1004;1005;1006;1007;1008"));

  // The channel tick runs as in the program; a 100 ms timer measures how late the window is.
  QTimer tick;
  QObject::connect(&tick, &QTimer::timeout, monitor.window.get(), &frmMain::UpdateChannels);
  tick.start(2000);
  QElapsedTimer sinceBeat;
  qint64 worstLateness = 0;
  QTimer beat;
  QObject::connect(&beat, &QTimer::timeout, &beat,
                   [&] { worstLateness = std::max(worstLateness, sinceBeat.restart() - 100); });
  WaitFor([] { return false; }, 5000);  // warm up: caches and first bursts
  const long startKiB = ResidentKiB();
  const std::uint64_t startBytes = monitor.window->Link()->BytesReceivedTotal();
  sinceBeat.start();
  beat.start(100);
  QElapsedTimer run;
  run.start();
  WaitFor([] { return false; }, seconds * 1000);
  const double elapsed = run.elapsed() / 1000.0;
  const long endKiB = ResidentKiB();
  const double bytes =
      static_cast<double>(monitor.window->Link()->BytesReceivedTotal() - startBytes);
  std::printf(
      "soak: %.0f s, %.0f bytes/s (about %.0f events/s at ~250 bytes each), "
      "RSS %ld KiB -> %ld KiB, worst timer lateness %lld ms\n",
      elapsed, bytes / elapsed, bytes / elapsed / 250.0, startKiB, endKiB,
      static_cast<long long>(worstLateness));
  EXPECT_GT(bytes, 0);
  EXPECT_LT(endKiB - startKiB, 30 * 1024) << "memory grew during the soak";
  EXPECT_LT(worstLateness, 2000) << "the window stopped answering";
  EXPECT_TRUE(sim.Running());
}
