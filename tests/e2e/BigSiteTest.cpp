// The monitor on a big site: time from connecting to every channel's configuration dispatched,
// then CPU and memory while the server sends a high rate of update events. The figures are
// printed for the record; TELMON_BIG_SITE_CHANNELS, TELMON_BIG_SITE_BLOCKS and
// TELMON_BIG_SITE_RATE change the site, TELMON_SOAK_SECONDS the load phase (at most 30 s).

#include "ioslink/IosConnection.h"
#include "tests/e2e/E2eSupport.h"
#include "views/ChannelConfigInfoManager.h"

#include <QElapsedTimer>
#include <QFile>

#include <gtest/gtest.h>

#include <cstdio>
#include <ctime>

using namespace telmon;
using namespace telmon::e2e;

namespace {

int Setting(const char* name, int fallback) {
  return qEnvironmentVariableIsSet(name) ? qEnvironmentVariableIntValue(name) : fallback;
}

double ProcessCpuSeconds() {
  timespec ts{};
  clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &ts);
  return static_cast<double>(ts.tv_sec) + static_cast<double>(ts.tv_nsec) / 1e9;
}

}  // namespace

TEST(BigSite, ConfigurationDispatchAndLoadAtAHighEventRate) {
  const int channels = Setting("TELMON_BIG_SITE_CHANNELS", 20000);
  const int blocks = Setting("TELMON_BIG_SITE_BLOCKS", 512);
  const int rate = Setting("TELMON_BIG_SITE_RATE", 20000);
  const int seconds = std::min(Setting("TELMON_SOAK_SECONDS", 30), 30);
  const int port = FreeLoopbackPort();
  DemoSite site;
  QString error;
  ASSERT_TRUE(site.Create(port, &error, QString(), {channels, blocks})) << error.toStdString();
  SimProcess sim;
  ASSERT_TRUE(sim.Start(site, port)) << sim.Output().toStdString();
  Monitor monitor;
  ASSERT_TRUE(monitor.Start(site));
  // Start-up has begun the connect; the clock starts when the connection is made.
  QElapsedTimer sinceConnect;
  QObject::connect(monitor.window->Link(), &IosConnection::BytesReceivedPanelChanged,
                   monitor.window.get(), [&sinceConnect](const QString& text) {
                     if (text == QLatin1String("Connected")) {
                       sinceConnect.start();
                     }
                   });
  ASSERT_TRUE(monitor.WaitForFullRefresh(site, 120000));
  ASSERT_TRUE(sinceConnect.isValid());
  const qint64 refreshMs = sinceConnect.elapsed();
  const long refreshedKiB = ResidentKiB();
  sim.Kill();

  // The same site again, now with the update stream running.
  SimProcess loaded;
  ASSERT_TRUE(loaded.Start(site, port, {"--event-rate", QString::number(rate)}))
      << loaded.Output().toStdString();
  monitor.window->ConnectToIOS();
  ASSERT_TRUE(WaitFor([&] { return monitor.window->Link()->BytesReceivedTotal() > 0; }, 20000));
  WaitFor([] { return false; }, 5000);  // the full refresh and the first bursts
  const double cpuStart = ProcessCpuSeconds();
  const std::uint64_t bytesStart = monitor.window->Link()->BytesReceivedTotal();
  long peakKiB = ResidentKiB();
  QElapsedTimer run;
  run.start();
  WaitFor(
      [&] {
        peakKiB = std::max(peakKiB, ResidentKiB());
        return run.elapsed() >= seconds * 1000;
      },
      seconds * 1000 + 1000);
  const double elapsed = static_cast<double>(run.elapsed()) / 1000.0;
  const double cpu = (ProcessCpuSeconds() - cpuStart) / elapsed * 100.0;
  const double bytesPerSecond =
      static_cast<double>(monitor.window->Link()->BytesReceivedTotal() - bytesStart) / elapsed;
  std::printf(
      "big site: %d channels, %d blocks; connect to all configuration dispatched %lld ms, RSS "
      "%ld KiB; at --event-rate %d for %.0f s: %.0f bytes/s received, CPU %.0f %% of one core "
      "(whole test process), RSS peak %ld KiB\n",
      channels, blocks, static_cast<long long>(refreshMs), refreshedKiB, rate, elapsed,
      bytesPerSecond, cpu, peakKiB);
  std::fflush(stdout);
  EXPECT_EQ(static_cast<int>(monitor.window->ChannelConfigs().Count()), channels);
  EXPECT_GT(bytesPerSecond, 0);
  EXPECT_TRUE(loaded.Running());
}
