#pragma once

// What every benchmark program's main does around its cases: the Qt application they need (one
// with windows draws offscreen unless QT_QPA_PLATFORM says otherwise), the command line,
// the run with a RunRecorder, whose figures give the ratios against a baseline of the same run,
// and the end.
//
//   int main(int argc, char** argv) {
//     telmon::bench::BenchProgram<QApplication> program(argc, argv);
//     program.Run().PrintRatio("BM_Case", "BM_Baseline");
//   }

#include "bench/support/RunRecorder.h"

#include <QCoreApplication>

#include <benchmark/benchmark.h>

namespace telmon::bench {

template <typename Application = QCoreApplication>
class BenchProgram {
 public:
  BenchProgram(int& argc, char** argv) : app_(Prepared(argc), argv) {
    benchmark::Initialize(&argc, argv);
  }
  ~BenchProgram() { benchmark::Shutdown(); }
  BenchProgram(const BenchProgram&) = delete;
  BenchProgram& operator=(const BenchProgram&) = delete;

  const RunRecorder& Run() {
    benchmark::RunSpecifiedBenchmarks(&recorder_);
    return recorder_;
  }

 private:
  static int& Prepared(int& argc) {
    if (qEnvironmentVariableIsEmpty("QT_QPA_PLATFORM")) {
      qputenv("QT_QPA_PLATFORM", "offscreen");
    }
    return argc;
  }

  Application app_;
  RunRecorder recorder_;
};

}  // namespace telmon::bench
