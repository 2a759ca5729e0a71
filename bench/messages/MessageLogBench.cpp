// One million messages into the log with trimming on: time per message and the peak resident
// memory of the process. The system tick case trims at most every 4 s, so rows pile up
// between trims; the stepped tick case (1 ms per message) trims every 4,000 messages. The
// baseline keeps the same rows in a plain deque, cut to 200 after each append.

#include "bench/support/BenchProgram.h"
#include "messages/MessageLogModel.h"

#include <QCoreApplication>

#include <benchmark/benchmark.h>
#include <sys/resource.h>

#include <deque>

namespace telmon {
namespace {

constexpr int MessageCount = 1000000;

double PeakResidentMiB() {
  rusage usage{};
  getrusage(RUSAGE_SELF, &usage);
  return static_cast<double>(usage.ru_maxrss) / 1024.0;
}

// Advances its tick by 1 ms on every read, as a busy program would see it.
class SteppingClock final : public IClock {
 public:
  QDateTime Now() const override { return now_; }
  std::int32_t TickMs() const override { return ++tick_; }

 private:
  QDateTime now_ = QDateTime::currentDateTime();
  mutable std::int32_t tick_ = 0;
};

void RunModel(benchmark::State& state, const IClock& clock) {
  MessageTypes types;
  for (auto _ : state) {
    MessageLogModel model(clock, types);
    for (int i = 0; i < MessageCount; ++i) {
      model.AddMsg(i % 3 == 0 ? 4 : 1, QStringLiteral("Device 12 did not answer"));
    }
    benchmark::DoNotOptimize(model.rowCount());
    state.counters["rows_left"] = model.rowCount();
  }
  state.SetItemsProcessed(state.iterations() * MessageCount);
  state.counters["peak_rss_MiB"] = PeakResidentMiB();
}

void BM_AddMsgSystemTick(benchmark::State& state) {
  SystemClock clock;
  RunModel(state, clock);
}
BENCHMARK(BM_AddMsgSystemTick)->Unit(benchmark::kMillisecond)->Iterations(1);

void BM_AddMsgSteppedTick(benchmark::State& state) {
  SteppingClock clock;
  RunModel(state, clock);
}
BENCHMARK(BM_AddMsgSteppedTick)->Unit(benchmark::kMillisecond)->Iterations(1);

void BM_BaselinePlainDeque(benchmark::State& state) {
  const QLocale locale;
  for (auto _ : state) {
    std::deque<MessageLogRow> rows;
    for (int i = 0; i < MessageCount; ++i) {
      const QDateTime now = QDateTime::currentDateTime();
      rows.push_back(MessageLogRow{locale.toString(now, QLocale::ShortFormat),
                                   QStringLiteral("Device 12 did not answer"),
                                   QString::number(i) + QLatin1Char('K'), 0});
      if (rows.size() > 200) rows.pop_front();
    }
    benchmark::DoNotOptimize(rows.size());
  }
  state.SetItemsProcessed(state.iterations() * MessageCount);
  state.counters["peak_rss_MiB"] = PeakResidentMiB();
}
BENCHMARK(BM_BaselinePlainDeque)->Unit(benchmark::kMillisecond)->Iterations(1);

}  // namespace
}  // namespace telmon

int main(int argc, char** argv) {
  telmon::bench::BenchProgram<QCoreApplication> program(argc, argv);
  program.Run();
  return 0;
}
