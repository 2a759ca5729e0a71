#pragma once

// Prints the usual table and keeps every case's figures, so that a benchmark program can end
// with ratios against a baseline measured in the same run. Cases are found by their whole name
// ("BM_Write/pg:0/iterations:10/real_time") or by the function's name alone ("BM_Write").

#include <benchmark/benchmark.h>

#include <cstdio>
#include <map>
#include <string>
#include <vector>

namespace telmon::bench {

class RunRecorder final : public benchmark::ConsoleReporter {
 public:
  struct Figures {
    double realTime = 0;  // per iteration, in the case's unit
    double cpuTime = 0;   // this process's own time: less disturbed by other load
    double itemsPerSecond = 0;
  };

  void ReportRuns(const std::vector<Run>& runs) override {
    ConsoleReporter::ReportRuns(runs);
    for (const Run& run : runs) {
      if (run.error_occurred || run.iterations == 0) {
        continue;
      }
      Figures figures{run.GetAdjustedRealTime(), run.GetAdjustedCPUTime(), 0};
      if (const auto rate = run.counters.find("items_per_second"); rate != run.counters.end()) {
        figures.itemsPerSecond = rate->second.value;
      }
      figures_[run.benchmark_name()] = figures;
      figures_[run.run_name.function_name] = figures;
    }
  }

  // The figures of a case, or none (zeros) when it did not run or failed.
  Figures Of(const std::string& name) const {
    const auto it = figures_.find(name);
    return it == figures_.end() ? Figures{} : it->second;
  }

  // Prints "ratio A / B = r" of the real times when both ran.
  void PrintRatio(const std::string& name, const std::string& baseline) const {
    const double a = Of(name).realTime;
    const double b = Of(baseline).realTime;
    if (a > 0 && b > 0) {
      std::printf("ratio %s / %s = %.2f\n", name.c_str(), baseline.c_str(), a / b);
    }
  }

 private:
  std::map<std::string, Figures> figures_;
};

}  // namespace telmon::bench
