// The list pages under a burst of IOS events, against the receive path alone (parsing the
// same arrivals); and one channel tick of 5,000 watched rows against the bare realtime read.
// Each event run is 100,000 events in arrivals of 100, as the connection hands them over, and
// reports x_parse: its CPU time over the CPU time of the parsing inside it.

#include "bench/support/BenchProgram.h"
#include "bench/support/StandIns.h"
#include "bench/support/WatchedSite.h"
#include "views/BlockListviewManager.h"
#include "views/DeviceListviewManager.h"
#include "views/ui/KeyedListView.h"

#include <QApplication>

#include <benchmark/benchmark.h>

#include <ctime>
#include <memory>
#include <vector>

namespace telmon {
namespace {

constexpr int kEvents = 100000;

double ThreadCpuSeconds() {
  timespec now{};
  clock_gettime(CLOCK_THREAD_CPUTIME_ID, &now);
  return static_cast<double>(now.tv_sec) + static_cast<double>(now.tv_nsec) / 1e9;
}
constexpr int kPerArrival = 100;

QString BlockEventXml(int id, int n) {
  return QStringLiteral(
             "<Event eventtype=\"BlockUpdate\" BlockID=\"%1\" BlockName=\"Block %1\" "
             "DeviceID=\"3\" "
             "DataTypeName=\"Int16\" DataAddress=\"4%1\" DataQty=\"16\" RefreshInterval=\"1000\" "
             "FastReadEnabled=\"0\" Disabled=\"false\" ImplicitChannelID=\"0\" "
             "IsHDRBlock=\"false\" "
             "ContainsWatchdog=\"false\" FailCount=\"%2\" LastReadTime=\"10:00:%3\" "
             "LastResponseTime=\"%4\" MinResponseTime=\"1\" MaxResponseTime=\"90\" "
             "DeviceIsGenRandomValues=\"false\"/>")
      .arg(id)
      .arg(n % 3)
      .arg(n % 60, 2, 10, QLatin1Char('0'))
      .arg(n % 97);
}

QString DeviceEventXml(int id, int n) {
  return QStringLiteral(
             "<Event eventtype=\"DeviceUpdate\" DeviceID=\"%1\" DeviceName=\"Analyser %1\" "
             "DriverName=\"Modbus\" PLCType=\"TCP\" Connection=\"10.0.0.1\" PortName=\"502\" "
             "WatchdogTimeout=\"30\" WatchdogStatusStr=\"OK\" WatchdogStatusOk=\"%2\" "
             "GenerateRandomValues=\"false\" FailoverStatus=\"Primary\" "
             "RecentClock=\"2024-03-14 10:00:%3\"/>")
      .arg(id)
      .arg(n % 5 == 0 ? QStringLiteral("false") : QStringLiteral("true"))
      .arg(n % 60, 2, 10, QLatin1Char('0'));
}

// Arrivals of scattered updates to `rows` entities.
std::vector<QString> Arrivals(int rows, QString (*event)(int, int)) {
  std::vector<QString> arrivals;
  QString chunk;
  for (int n = 0; n < kEvents; ++n) {
    chunk += event(static_cast<int>((static_cast<long long>(n) * 7919) % rows) + 1, n);
    if ((n + 1) % kPerArrival == 0) {
      arrivals.push_back(chunk);
      chunk.clear();
    }
  }
  return arrivals;
}

struct Page {
  explicit Page(ListviewManagerBase& manager, bool shown) : manager_(manager) {
    manager.Setup(sink, sender, model);
    if (shown) {
      view = std::make_unique<KeyedListView>();
      view->SetListModel(&model);
      view->resize(1200, 800);
      view->show();
    }
  }
  void Fill(int rows, QString (*event)(int, int)) {
    QString all;
    for (int id = 1; id <= rows; ++id) {
      all += event(id, id);
    }
    manager_.UpdateLsv(all);
    QApplication::processEvents();
  }
  // Returns this thread's CPU time spent parsing the arrival and freeing its document, the
  // receive path's share of the work.
  double Apply(const QString& arrival) {
    const double start = ThreadCpuSeconds();
    xml::XmlDocument doc = xml::ParseXmlFragment(nullptr, arrival);
    const std::vector<xml::XmlElement> events = xml::SelectNodes(doc, "//Event");
    double parsing = ThreadCpuSeconds() - start;
    for (xml::XmlElement e : events) {
      manager_.UpdateOneItemInLsv(e);
    }
    const double freeing = ThreadCpuSeconds();
    doc.reset();
    parsing += ThreadCpuSeconds() - freeing;
    if (view) {
      QApplication::processEvents();  // the event loop returns between arrivals
    }
    return parsing;
  }
  ListviewManagerBase& manager_;
  bench::QuietSink sink;
  bench::NullSender sender;
  KeyedListModel model;
  std::unique_ptr<KeyedListView> view;
};

void BM_ReceiveParseOnly(benchmark::State& state) {
  const auto arrivals = Arrivals(10000, BlockEventXml);
  for (auto _ : state) {
    std::size_t events = 0;
    for (const QString& arrival : arrivals) {
      const xml::XmlDocument doc = xml::ParseXmlFragment(nullptr, arrival);
      for (xml::XmlElement e : xml::SelectNodes(doc, "//Event")) {
        events += xml::GetAttributeText(e, "eventtype").size();
      }
    }
    benchmark::DoNotOptimize(events);
  }
  state.SetItemsProcessed(state.iterations() * kEvents);
}

// range(0): rows on the page; range(1): 1 shown in a view; range(2): 1 coalesce per arrival.
template <typename Manager, QString (*Event)(int, int)>
void BM_Apply(benchmark::State& state) {
  const int rows = static_cast<int>(state.range(0));
  Manager manager;
  Page page(manager, state.range(1) != 0);
  page.Fill(rows, Event);
  page.model.SetCoalescing(state.range(2) != 0);
  const auto arrivals = Arrivals(rows, Event);
  double parsing = 0;
  const double start = ThreadCpuSeconds();
  for (auto _ : state) {
    for (const QString& arrival : arrivals) {
      parsing += page.Apply(arrival);
    }
  }
  if (page.model.RowCount() != rows) {
    state.SkipWithError("row count changed");
  }
  // The whole cost as a multiple of parsing alone, both measured in the same iterations, so
  // that other load on the machine moves both alike.
  state.counters["x_parse"] = parsing > 0 ? (ThreadCpuSeconds() - start) / parsing : 0;
  state.SetItemsProcessed(state.iterations() * kEvents);
}

void BlockArgs(benchmark::internal::Benchmark* b) {
  b->ArgNames({"rows", "shown", "coalesce"});
  b->Args({1000, 0, 0})->Args({10000, 0, 0})->Args({1000, 1, 1})->Args({10000, 1, 1});
  b->Args({10000, 1, 0});  // a view without coalescing: one repaint request per event
  b->Unit(benchmark::kMillisecond)->Iterations(2)->UseRealTime();
}

BENCHMARK(BM_ReceiveParseOnly)->Unit(benchmark::kMillisecond)->Iterations(2)->UseRealTime();
BENCHMARK_TEMPLATE(BM_Apply, BlockListviewManager, BlockEventXml)->Apply(BlockArgs);
BENCHMARK_TEMPLATE(BM_Apply, DeviceListviewManager, DeviceEventXml)->Apply(BlockArgs);

constexpr int kWatched = 5000;

void BM_RealtimeReadOnly(benchmark::State& state) {
  bench::WatchedSite w(kWatched);
  w.Watch(kWatched);
  const QString list = w.channels.GetListOfIOIDsInLsv();
  for (auto _ : state) {
    auto values = w.dbil.ReadCurrentValues(w.site.connection, QDateTime(), list);
    if (!values || values->size() != kWatched) {
      state.SkipWithError("read failed");
    }
  }
}

void BM_ChannelTick(benchmark::State& state) {
  bench::WatchedSite w(kWatched, true);
  w.Watch(kWatched);
  for (auto _ : state) {
    w.tick.Run();
    QApplication::processEvents();
  }
}

BENCHMARK(BM_RealtimeReadOnly)->Unit(benchmark::kMillisecond)->UseRealTime();
BENCHMARK(BM_ChannelTick)->Unit(benchmark::kMillisecond)->UseRealTime();

}  // namespace
}  // namespace telmon

int main(int argc, char** argv) {
  telmon::bench::BenchProgram<QApplication> program(argc, argv);
  program.Run();
  return 0;
}
