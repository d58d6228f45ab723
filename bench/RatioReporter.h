#pragma once
// A console reporter that also remembers each benchmark's time per iteration, so a program can
// print ratios between benchmarks measured in the same run.

#include <benchmark/benchmark.h>

#include <cstdio>
#include <map>
#include <string>
#include <utility>
#include <vector>

namespace rdx::bench {

class RatioReporter : public benchmark::ConsoleReporter {
 public:
  void ReportRuns(const std::vector<Run>& runs) override {
    for (const Run& run : runs) {
      if (run.run_type == Run::RT_Iteration && run.iterations > 0) {
        nanoseconds_[run.benchmark_name()] = run.GetAdjustedRealTime();
      }
    }
    ConsoleReporter::ReportRuns(runs);
  }

  // Prints "<label> <a> vs <b>: <time of b / time of a>x" for each pair measured; above 1 means
  // the first is faster.
  void PrintRatios(const std::vector<std::pair<std::string, std::string>>& pairs,
                   const char* label) const {
    for (const auto& [fast, slow] : pairs) {
      const auto f = nanoseconds_.find(fast);
      const auto s = nanoseconds_.find(slow);
      if (f == nanoseconds_.end() || s == nanoseconds_.end() || f->second <= 0) continue;
      std::printf("%s %s vs %s: %.2fx\n", label, fast.c_str(), slow.c_str(),
                  s->second / f->second);
    }
  }

  // Prints "ratio <label>: <time of b / time of a>" (the speed of a relative to b), the form
  // scripts/bench.sh gathers; nothing when either was not measured.
  void PrintRatio(const std::string& label, const std::string& a, const std::string& b) const {
    const auto fa = nanoseconds_.find(a);
    const auto fb = nanoseconds_.find(b);
    if (fa == nanoseconds_.end() || fb == nanoseconds_.end() || fa->second <= 0) return;
    std::printf("ratio %s: %.2f\n", label.c_str(), fb->second / fa->second);
  }

 private:
  std::map<std::string, double> nanoseconds_;
};

// The whole main() of a ratio-printing benchmark program: runs what the command line selects,
// then hands the reporter to `printRatios` for the lines that compare the figures.
template <typename PrintRatios>
int RunBenchmarksAndPrintRatios(int argc, char** argv, PrintRatios printRatios) {
  benchmark::Initialize(&argc, argv);
  if (benchmark::ReportUnrecognizedArguments(argc, argv)) return 1;
  RatioReporter reporter;
  benchmark::RunSpecifiedBenchmarks(&reporter);
  printRatios(std::as_const(reporter));
  benchmark::Shutdown();
  return 0;
}

}  // namespace rdx::bench
