// telmon-serve under load, on loopback only.
//
// BM_FanOut/<clients>: in one process, the snapshot hub and the HTTP server with <clients>
// event-stream clients on the big demo site's block page (520 rows); each iteration publishes
// a snapshot with one cell changed and ends when the last client has received it. The time is
// the delay from publishing to the last client; /1 is the baseline of the same run. The /100
// case with a stalled client adds one more client that connects and never reads.
//
// BM_Site/<clients>: telmon-serve itself as a process over the simulator on the big demo site
// (20,000 channels, --event-rate 20000), with <clients> event-stream clients on DAHS 1's blocks
// for 20 seconds (TELMON_BENCH_SERVE_SECONDS): the server's processor use (cores), its resident
// memory after 5 s, half way and at the end, the updates each client got per second and the longest
// wait of any client between two updates. /1 is the baseline.

#include "bench/support/BenchProgram.h"
#include "iossim/DemoSite.h"
#include "serve/HttpServer.h"
#include "serve/ServeCommandLine.h"

#include <httplib.h>

#include <QProcess>
#include <QSqlDatabase>
#include <QSqlQuery>
#include <QTcpServer>
#include <QTemporaryDir>
#include <QThread>

#include <benchmark/benchmark.h>

#include <sys/socket.h>
#include <unistd.h>

#include <arpa/inet.h>
#include <netinet/in.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <condition_variable>
#include <cstdio>
#include <fstream>
#include <mutex>
#include <sstream>
#include <thread>

using namespace telmon;
using namespace telmon::serve;

namespace {

using Clock = std::chrono::steady_clock;

serve::Table BigBlocks(int rows, int marker) {
  serve::Table t;
  t.headers = {"ID",   "Name", "Device", "Type", "Address", "Quantity", "Interval",
               "Fast", "Off",  "Ch",     "HDR",  "WD",      "Fails",    "Last read"};
  for (int r = 0; r < rows; ++r) {
    serve::Row row;
    row.key = std::to_string(100 + r) + "K";
    for (std::size_t c = 0; c < t.headers.size(); ++c) {
      row.cells.push_back({c == 13 && r == 0 ? "mark " + std::to_string(marker)
                                             : "cell " + std::to_string(r * 14 + c),
                           r % 17 == 0 ? "fault" : ""});
    }
    t.rows.push_back(std::move(row));
  }
  return t;
}

SiteSnapshot Site(int marker) {
  SiteSnapshot site;
  DahsSnapshot d;
  d.dahsId = 1;
  d.title = "DAHS 1";
  d.linkUp = true;
  d.linkText = "Connected";
  d.blocks = BigBlocks(520, marker);
  site.dahs.push_back(std::move(d));
  return site;
}

// An event-stream client on a thread of its own, counting what it got.
class Reader {
 public:
  Reader(int port, const std::string& path) {
    thread_ = std::thread([this, port, path] {
      httplib::Client client("127.0.0.1", port);
      client.set_read_timeout(60, 0);
      client.Get(path, [this](const char* data, std::size_t size) {
        const auto now = Clock::now();
        std::string piece(data, size);
        {
          const std::lock_guard lock(mutex_);
          tail_ = tail_.substr(tail_.size() > 64 ? tail_.size() - 64 : 0) + piece;
          std::size_t at = 0;
          while ((at = tail_.find("event: page", at)) != std::string::npos) {
            ++messages_;
            if (last_ != Clock::time_point{}) {
              longestGap_ = std::max(longestGap_, now - last_);
            }
            last_ = now;
            at += 11;
          }
          tail_ = tail_.substr(tail_.size() > 16 ? tail_.size() - 16 : 0);
          const std::size_t mark = piece.rfind("mark ");
          if (mark != std::string::npos) {
            marker_ = std::atoi(piece.c_str() + mark + 5);
          }
        }
        changed_.notify_all();
        return !stop_.load();
      });
    });
  }
  ~Reader() {
    stop_ = true;
    thread_.join();
  }
  bool WaitForMarker(int marker, std::chrono::seconds timeout) {
    std::unique_lock lock(mutex_);
    return changed_.wait_for(lock, timeout, [&] { return marker_ >= marker; });
  }
  int Messages() {
    const std::lock_guard lock(mutex_);
    return messages_;
  }
  double LongestGapSeconds() {
    const std::lock_guard lock(mutex_);
    return std::chrono::duration<double>(longestGap_).count();
  }
  void ResetGap() {
    const std::lock_guard lock(mutex_);
    longestGap_ = {};
  }
  void Stop() { stop_ = true; }

 private:
  std::mutex mutex_;
  std::condition_variable changed_;
  std::string tail_;
  int messages_ = 0;
  int marker_ = -1;
  Clock::time_point last_{};
  Clock::duration longestGap_{};
  std::atomic<bool> stop_{false};
  std::thread thread_;
};

// A client that asks for an event stream and then never reads.
int StalledClient(int port) {
  const int fd = ::socket(AF_INET, SOCK_STREAM, 0);
  int small = 4096;
  ::setsockopt(fd, SOL_SOCKET, SO_RCVBUF, &small, sizeof small);
  sockaddr_in address{};
  address.sin_family = AF_INET;
  address.sin_port = htons(static_cast<std::uint16_t>(port));
  address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  if (::connect(fd, reinterpret_cast<sockaddr*>(&address), sizeof address) != 0) {
    ::close(fd);
    return -1;
  }
  const std::string request =
      "GET /events?page=%2Fdahs%2F1%2Fblocks HTTP/1.1\r\nHost: 127.0.0.1\r\n\r\n";
  if (::write(fd, request.data(), request.size()) < 0) {
    ::close(fd);
    return -1;
  }
  return fd;
}

void BM_FanOut(benchmark::State& state) {
  const int clients = static_cast<int>(state.range(0));
  const bool stalled = state.range(1) != 0;
  SnapshotHub hub;
  WatchRegistry watches;
  ServerOptions options;
  options.port = 0;
  options.maxStreams = clients + 2;
  options.writeTimeout = std::chrono::seconds(2);
  int marker = 0;
  hub.Publish(Site(marker));
  HttpServer server(options, hub, watches, ParseWatchIds);
  std::string error;
  if (!server.Bind(&error)) {
    state.SkipWithError(error.c_str());
    return;
  }
  server.Start();
  const int stalledFd = stalled ? StalledClient(server.Port()) : -1;
  std::vector<std::unique_ptr<Reader>> readers;
  for (int i = 0; i < clients; ++i) {
    readers.push_back(std::make_unique<Reader>(server.Port(), "/events?page=%2Fdahs%2F1%2Fblocks"));
  }
  for (auto& r : readers) {
    r->WaitForMarker(0, std::chrono::seconds(30));
  }
  bool late = false;
  for (auto _ : state) {
    ++marker;
    const auto start = Clock::now();
    hub.Publish(Site(marker));
    for (auto& r : readers) {
      late = !r->WaitForMarker(marker, std::chrono::seconds(10)) || late;
    }
    state.SetIterationTime(std::chrono::duration<double>(Clock::now() - start).count());
  }
  state.counters["clients"] = clients;
  state.counters["late"] = late ? 1 : 0;
  for (auto& r : readers) {
    r->Stop();
  }
  hub.Publish(Site(++marker));
  readers.clear();
  if (stalledFd >= 0) {
    ::close(stalledFd);
  }
  server.Stop();
}
BENCHMARK(BM_FanOut)
    ->Args({1, 0})
    ->Args({100, 0})
    ->Args({100, 1})
    ->UseManualTime()
    ->Unit(benchmark::kMillisecond)
    ->MinTime(3);

// The server's processor seconds and resident kilobytes, from /proc.
std::pair<double, long> ProcessFigures(qint64 pid) {
  std::ifstream stat("/proc/" + std::to_string(pid) + "/stat");
  std::string text((std::istreambuf_iterator<char>(stat)), {});
  const std::size_t close = text.rfind(')');
  std::istringstream rest(text.substr(close + 2));
  std::string field;
  double ticks = 0;
  for (int i = 3; i <= 15 && rest >> field; ++i) {
    if (i == 14 || i == 15) {
      ticks += std::stod(field);
    }
  }
  std::ifstream status("/proc/" + std::to_string(pid) + "/status");
  long rss = 0;
  for (std::string line; std::getline(status, line);) {
    if (line.rfind("VmRSS:", 0) == 0) {
      rss = std::stol(line.substr(6));
    }
  }
  return {ticks / static_cast<double>(sysconf(_SC_CLK_TCK)), rss};
}

int FreePort() {
  QTcpServer probe;
  probe.listen(QHostAddress::LocalHost, 0);
  return probe.serverPort();
}

struct BigSite {
  QTemporaryDir dir;
  QProcess sim;
  QProcess serve;
  int servePort = 0;

  bool Start() {
    QString error;
    if (!iossim::WriteDemoSite(dir.path(), &error, {20000, 520})) {
      std::fprintf(stderr, "%s\n", qPrintable(error));
      return false;
    }
    const int simPort = FreePort();
    {
      QSqlDatabase db = QSqlDatabase::addDatabase(QStringLiteral("QSQLITE"), QStringLiteral("b"));
      db.setDatabaseName(dir.filePath(QStringLiteral("dahs1.sqlite")));
      db.open();
      QSqlQuery(db).exec(QStringLiteral("UPDATE H5LOOKUP SET lookupvalue = '%1' WHERE lookupkey = "
                                        "'IOS:TcpListenPortForMonitorConnections'")
                             .arg(simPort));
    }
    QSqlDatabase::removeDatabase(QStringLiteral("b"));
    sim.setProcessChannelMode(QProcess::MergedChannels);
    sim.start(QStringLiteral(TELMON_IOSSIM_PATH),
              {QStringLiteral("--settings"), dir.path(), QStringLiteral("--port"),
               QString::number(simPort), QStringLiteral("--event-rate"), QStringLiteral("20000")});
    if (!Wait(sim, "listening on")) {
      return false;
    }
    servePort = FreePort();
    QProcessEnvironment env = QProcessEnvironment::systemEnvironment();
    env.insert(QStringLiteral("HALVO5_SYSTEM_FOLDER"), dir.path());
    env.insert(QStringLiteral("XDG_DATA_HOME"), dir.filePath(QStringLiteral("data")));
    serve.setProcessEnvironment(env);
    serve.setProcessChannelMode(QProcess::MergedChannels);
    serve.setStandardOutputFile(dir.filePath(QStringLiteral("serve.log")));
    serve.start(QStringLiteral(TELMON_SERVE_PATH),
                {QStringLiteral("--port"), QString::number(servePort), QStringLiteral("--dahs"),
                 QStringLiteral("1"), QStringLiteral("--ios-host"), QStringLiteral("127.0.0.1"),
                 QStringLiteral("--max-streams"), QStringLiteral("128")});
    // Ready once DAHS 1's blocks are all published.
    httplib::Client client("127.0.0.1", servePort);
    for (int i = 0; i < 600; ++i) {
      auto r = client.Get("/metrics");
      if (r && r->body.find("telmon_link_up{dahs=\"1\"} 1") != std::string::npos &&
          r->body.find("telmon_devices{dahs=\"1\",state=\"all\"} 7") != std::string::npos) {
        QThread::msleep(3000);  // the full information settles
        return true;
      }
      QThread::msleep(100);
    }
    return false;
  }
  static bool Wait(QProcess& p, const char* text) {
    QByteArray log;
    for (int i = 0; i < 300; ++i) {
      p.waitForReadyRead(100);
      log += p.readAll();
      if (log.contains(text)) {
        return true;
      }
    }
    std::fprintf(stderr, "%s\n", log.constData());
    return false;
  }
  ~BigSite() {
    serve.terminate();
    serve.waitForFinished(10000);
    sim.kill();
    sim.waitForFinished(5000);
  }
};

void BM_Site(benchmark::State& state) {
  const int clients = static_cast<int>(state.range(0));
  BigSite site;
  if (!site.Start()) {
    state.SkipWithError("the big demo site did not start");
    return;
  }
  for (auto _ : state) {
    std::vector<std::unique_ptr<Reader>> readers;
    for (int i = 0; i < clients; ++i) {
      readers.push_back(
          std::make_unique<Reader>(site.servePort, "/events?page=%2Fdahs%2F1%2Fblocks"));
    }
    QThread::msleep(5000);
    for (auto& r : readers) {
      r->ResetGap();
    }
    const auto [cpu0, rss0] = ProcessFigures(site.serve.processId());
    int messages0 = 0;
    for (auto& r : readers) {
      messages0 += r->Messages();
    }
    const auto start = Clock::now();
    // TELMON_BENCH_SERVE_SECONDS (default 20) long, its memory also looked at half way: what it
    // holds from the middle to the end is what "flat" means once the streams have settled.
    const int asked = qEnvironmentVariableIntValue("TELMON_BENCH_SERVE_SECONDS");
    const int runMs = 1000 * (asked >= 2 ? asked : 20);
    QThread::msleep(static_cast<unsigned long>(runMs / 2));
    const auto [cpuMid, rssMid] = ProcessFigures(site.serve.processId());
    (void)cpuMid;
    QThread::msleep(static_cast<unsigned long>(runMs - runMs / 2));
    const double seconds = std::chrono::duration<double>(Clock::now() - start).count();
    const auto [cpu1, rss1] = ProcessFigures(site.serve.processId());
    int messages1 = 0;
    double longestGap = 0;
    for (auto& r : readers) {
      messages1 += r->Messages();
      longestGap = std::max(longestGap, r->LongestGapSeconds());
    }
    state.SetIterationTime(seconds);
    state.counters["clients"] = clients;
    state.counters["server_cores"] = (cpu1 - cpu0) / seconds;
    state.counters["rss_mb_at_5s"] = static_cast<double>(rss0) / 1024.0;
    state.counters["rss_mb_half_way"] = static_cast<double>(rssMid) / 1024.0;
    state.counters["rss_mb_at_end"] = static_cast<double>(rss1) / 1024.0;
    state.counters["updates_per_client_s"] =
        static_cast<double>(messages1 - messages0) / clients / seconds;
    state.counters["longest_gap_s"] = longestGap;
    for (auto& r : readers) {
      r->Stop();
    }
    readers.clear();
  }
}
BENCHMARK(BM_Site)->Arg(1)->Arg(100)->Iterations(1)->UseManualTime()->Unit(benchmark::kSecond);

}  // namespace

int main(int argc, char** argv) {
  telmon::bench::BenchProgram<> program(argc, argv);
  const auto& run = program.Run();
  run.PrintRatio("BM_FanOut/100/0/min_time:3.000/manual_time",
                 "BM_FanOut/1/0/min_time:3.000/manual_time");
  run.PrintRatio("BM_FanOut/100/1/min_time:3.000/manual_time",
                 "BM_FanOut/1/0/min_time:3.000/manual_time");
  return 0;
}
