// The monitor beside a misbehaving I/O server for minutes on end: every fault the simulator
// has, the operator reconnecting after each close, watched channels ticking and command records
// written all along. Memory stays bounded, the window keeps its timers, no record goes missing.
// TELMON_SOAK_SECONDS sets the length (default 120); the figures are printed for the record.

#include "app/MainMenus.h"
#include "ioslink/IosConnection.h"
#include "platform/H5DBIL.h"
#include "platform/SiteSettingsReader.h"
#include "tests/e2e/E2eSupport.h"
#include "views/ChannelListviewManager.h"

#include <QCoreApplication>
#include <QElapsedTimer>
#include <QEvent>
#include <QFile>
#include <QTimer>

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdio>
#include <ctime>
#include <vector>

using namespace telmon;
using namespace telmon::e2e;

namespace {

// CPU time of the calling thread, in milliseconds.
qint64 ThreadCpuMs() {
  timespec ts{};
  clock_gettime(CLOCK_THREAD_CPUTIME_ID, &ts);
  return static_cast<qint64>(ts.tv_sec) * 1000 + ts.tv_nsec / 1000000;
}

#if defined(__SANITIZE_ADDRESS__)
constexpr bool MemoryIsMeaningful = false;  // the sanitizer keeps freed memory on purpose
#elif defined(__has_feature)
#if __has_feature(address_sanitizer)
constexpr bool MemoryIsMeaningful = false;
#else
constexpr bool MemoryIsMeaningful = true;
#endif
#else
constexpr bool MemoryIsMeaningful = true;
#endif

// The longest piece of work the window's thread did between two events it delivered, with the
// event that started it: what to look at when the window's own work holds a timer up.
class WorkWatch final : public QObject {
 public:
  WorkWatch() {
    last_ = ThreadCpuNs();
    qApp->installEventFilter(this);
  }
  ~WorkWatch() override { qApp->removeEventFilter(this); }
  WorkWatch(const WorkWatch&) = delete;
  WorkWatch& operator=(const WorkWatch&) = delete;

  bool eventFilter(QObject* receiver, QEvent* event) override {
    const qint64 now = ThreadCpuNs();
    if (now - last_ > longestNs_) {
      longestNs_ = now - last_;
      longest_ = current_;
    }
    last_ = now;
    // Only what names the event is kept here; the text is made once, for the report.
    current_ = {static_cast<int>(event->type()), receiver->metaObject()};
    return false;
  }
  qint64 LongestMs() const { return longestNs_ / 1000000; }
  QString Longest() const {
    return QStringLiteral("event %1 to a %2")
        .arg(longest_.type)
        .arg(QString::fromLatin1(longest_.receiver != nullptr ? longest_.receiver->className()
                                                              : "(nothing)"));
  }

 private:
  static qint64 ThreadCpuNs() {
    timespec ts{};
    clock_gettime(CLOCK_THREAD_CPUTIME_ID, &ts);
    return static_cast<qint64>(ts.tv_sec) * 1000000000 + ts.tv_nsec;
  }
  qint64 last_ = 0;
  qint64 longestNs_ = 0;
  struct Delivery {
    int type = 0;
    const QMetaObject* receiver = nullptr;
  };
  Delivery current_;
  Delivery longest_;
};

// How late a 100 ms timer of the window runs. A beat is late by its own work when the window's
// thread used more CPU time than the period in between: a busy machine that does not schedule
// the process makes beats late too, but without that CPU time.
class BeatWatch {
 public:
  static constexpr qint64 PeriodMs = 100;

  void Start(QObject* context) {
    wall_.start();
    cpu_ = ThreadCpuMs();
    QObject::connect(&timer_, &QTimer::timeout, context, [this] { Beat(); });
    timer_.start(PeriodMs);
  }
  void Beat() {
    const qint64 wallLate = wall_.restart() - PeriodMs;
    const qint64 cpuNow = ThreadCpuMs();
    const qint64 busyLate = std::min(wallLate, cpuNow - cpu_ - PeriodMs);
    cpu_ = cpuNow;
    late_.push_back(std::max<qint64>(wallLate, 0));
    worstBusy_ = std::max(worstBusy_, busyLate);
  }
  qint64 Worst() const { return late_.empty() ? 0 : *std::max_element(late_.begin(), late_.end()); }
  qint64 Percentile(double p) {
    if (late_.empty()) {
      return 0;
    }
    std::vector<qint64> sorted = late_;
    std::sort(sorted.begin(), sorted.end());
    return sorted[static_cast<std::size_t>(p * static_cast<double>(sorted.size() - 1))];
  }
  qint64 CountOver(qint64 ms) const {
    return std::count_if(late_.begin(), late_.end(), [ms](qint64 l) { return l > ms; });
  }
  qint64 WorstBusy() const { return worstBusy_; }
  std::size_t Beats() const { return late_.size(); }

 private:
  QTimer timer_;
  QElapsedTimer wall_;
  qint64 cpu_ = 0;
  std::vector<qint64> late_;
  qint64 worstBusy_ = 0;
};

// Command records written through the system's database interface, as the program writes them.
class RecordWriter {
 public:
  bool Open(const DemoSite& site) {
    SiteSettingsReader reader;
    if (!reader.Open(site.Folder()) || !reader.LoadDahs(1)) {
      return false;
    }
    const DahsSettings& s = reader.Settings();
    return dbil_.SetSiteID(s.siteId, s.languageId, s.connections);
  }
  void Write() {
    const QString text =
        QStringLiteral(R"(<Command action="WriteToChannel" ID="1001" Value="%1"/>)")
            .arg(written_ + failed_ + 1);
    if (dbil_.WriteMessageRecord(text, QStringLiteral("soak"), QString(), QStringLiteral("SOAK"))) {
      ++written_;
    } else {
      ++failed_;
    }
  }
  int Written() const { return written_; }
  int Failed() const { return failed_; }

 private:
  H5DBIL dbil_;
  int written_ = 0;
  int failed_ = 0;
};

// What runs beside the monitor for the whole soak: the channel tick as the program runs it, and
// readings of the bytes received and of resident memory.
class Gauges {
 public:
  Gauges(frmMain& window, long baselineKiB) : window_(window), peakKiB_(baselineKiB) {
    QObject::connect(&tick_, &QTimer::timeout, &window, [this] {
      window_.UpdateChannels();
      ++ticks_;
    });
    QObject::connect(&sample_, &QTimer::timeout, &window, [this] { Sample(); });
    tick_.start(2000);
    sample_.start(200);
  }
  int Ticks() const { return ticks_; }
  std::uint64_t Bytes() const { return bytes_; }
  long PeakKiB() const { return peakKiB_; }

 private:
  void Sample() {
    // The counter starts again at each connect; what came after its last reading is not seen.
    const std::uint64_t count = window_.Link()->BytesReceivedTotal();
    bytes_ += count >= lastCount_ ? count - lastCount_ : count;
    lastCount_ = count;
    peakKiB_ = std::max(peakKiB_, ResidentKiB());
  }

  frmMain& window_;
  QTimer tick_;
  QTimer sample_;
  int ticks_ = 0;
  std::uint64_t bytes_ = 0;
  std::uint64_t lastCount_ = 0;
  long peakKiB_;
};

// The first connection is clean, for the full refresh the memory is measured against. Then two
// kinds of misbehaviour take turns, the other one after each close: a flood of whole events,
// and pieces of events with a pause after every write (which paces the server to a piece per
// millisecond). Both send garbage and unknown events now and then, and one device never
// answers.
QStringList SimArguments(int phase) {
  const QStringList common = {"--event-rate", "5000", "--faulty-device", "6"};
  const QStringList chaos = {"--send-garbage", "--send-unknown", "--chaos-ms", "700"};
  if (phase == 0) {
    return common;
  }
  return phase == 1
             ? common + chaos + QStringList{"--close-after", "4000000"}
             : common + chaos +
                   QStringList{"--split-events", "--stall-ms", "1", "--close-after", "300000"};
}

// Until `seconds` have passed: whenever the server has closed the link, the next kind of
// misbehaviour starts and the operator reconnects from the File menu. Returns the number of
// reconnects, or -1 when the simulator would not start.
int ReconnectAfterEachClose(frmMain& window, SimProcess& sim, const DemoSite& site, int port,
                            int seconds) {
  QElapsedTimer run;
  run.start();
  int reconnects = 0;
  for (int phase = 0;;) {
    const qint64 left = std::max<qint64>(0, seconds * 1000 - run.elapsed());
    if (!WaitFor([&] { return window.Link()->SocketState() == 0; }, static_cast<int>(left))) {
      return reconnects;
    }
    phase = phase == 1 ? 2 : 1;
    sim.Kill();
    if (!sim.Start(site, port, SimArguments(phase))) {
      return -1;
    }
    window.Menus().mnuFile_ConnectToIOS->trigger();
    ++reconnects;
  }
}

}  // namespace

TEST(ChaosSoak, EveryFaultOfTheServerForMinutesLeavesTheMonitorBoundedAndAnswering) {
  const int seconds = qEnvironmentVariableIsSet("TELMON_SOAK_SECONDS")
                          ? qEnvironmentVariableIntValue("TELMON_SOAK_SECONDS")
                          : 120;
  const int port = FreeLoopbackPort();
  DemoSite site;
  QString error;
  ASSERT_TRUE(site.Create(port, &error, QString(), {2000, 60})) << error.toStdString();
  SimProcess sim;
  ASSERT_TRUE(sim.Start(site, port, SimArguments(0))) << sim.Output().toStdString();
  Monitor monitor;
  ASSERT_TRUE(monitor.Start(site));
  ASSERT_TRUE(monitor.WaitForFullRefresh(site, 60000));
  const long firstRefreshKiB = ResidentKiB();
  frmMain& window = *monitor.window;
  window.Channels()->AddLsvRowsForChannelIDList(
      QStringLiteral("1001;1002;1003;1004;100001;100002;100003;101000"));
  RecordWriter records;
  ASSERT_TRUE(records.Open(site));
  QTimer recordTimer;
  QObject::connect(&recordTimer, &QTimer::timeout, &window, [&] { records.Write(); });
  recordTimer.start(250);
  Gauges gauges(window, firstRefreshKiB);
  BeatWatch beats;
  beats.Start(&window);
  const WorkWatch work;

  QElapsedTimer run;
  run.start();
  sim.Kill();  // the end of the clean start
  const int reconnects = ReconnectAfterEachClose(window, sim, site, port, seconds);
  recordTimer.stop();
  const double elapsed = static_cast<double>(run.elapsed()) / 1000.0;
  const qint64 inTable =
      site.Scalar(QStringLiteral("SELECT COUNT(*) FROM H5IOCOMMAND WHERE extra1 = 'soak'"))
          .toLongLong();
  std::printf(
      "chaos soak: %.0f s, about %.0f bytes/s received, %d reconnects, %d channel ticks, %d "
      "command records (%d failed, %lld in the table), RSS %ld KiB after the first full "
      "refresh, peak %ld KiB, timer lateness worst %lld ms, 99th percentile %lld ms, %lld of "
      "%zu beats over 100 ms, worst while busy %lld ms; longest piece of work %lld ms, after %s\n",
      elapsed, static_cast<double>(gauges.Bytes()) / elapsed, reconnects, gauges.Ticks(),
      records.Written(), records.Failed(), static_cast<long long>(inTable), firstRefreshKiB,
      gauges.PeakKiB(), static_cast<long long>(beats.Worst()),
      static_cast<long long>(beats.Percentile(0.99)), static_cast<long long>(beats.CountOver(100)),
      beats.Beats(), static_cast<long long>(beats.WorstBusy()),
      static_cast<long long>(work.LongestMs()), qPrintable(work.Longest()));
  std::fflush(stdout);

  EXPECT_TRUE(sim.Running()) << sim.Output().toStdString();
  EXPECT_GT(reconnects, 0) << "the server never closed the link (or the simulator failed)";
  EXPECT_GE(gauges.Ticks(), seconds / 2 - 2);
  EXPECT_EQ(records.Failed(), 0);
  EXPECT_EQ(inTable, records.Written()) << "command records went missing";
  if (MemoryIsMeaningful) {
    EXPECT_LE(gauges.PeakKiB(), 2 * firstRefreshKiB) << "memory more than doubled";
  }
  EXPECT_LE(beats.WorstBusy(), BeatWatch::PeriodMs) << "the window's own work held its timer up";
  EXPECT_LT(beats.Worst(), 2000) << "the window stopped answering";
}
