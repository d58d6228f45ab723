#pragma once
// A console reporter that also remembers each benchmark's time per iteration, so a program can
// print ratios between benchmarks measured in the same run. Every ratio line reads
// "ratio <label>: <wall-time ratio> (cpu <CPU-time ratio>)", the form scripts/bench.sh gathers;
// the CPU time is that of the benchmark's own threads.

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
        cpuNanoseconds_[run.benchmark_name()] = run.GetAdjustedCPUTime();
      }
    }
    ConsoleReporter::ReportRuns(runs);
  }

  // Prints "ratio <a> vs <b> <aim>: <time of b / time of a>" for each pair measured; above 1
  // means the first is faster.
  void PrintRatios(const std::vector<std::pair<std::string, std::string>>& pairs,
                   const std::string& aim = "") const {
    for (const auto& [fast, slow] : pairs) {
      PrintRatio(fast + " vs " + slow + (aim.empty() ? "" : " " + aim), fast, slow);
    }
  }

  // Prints "ratio <label>: <time of b / time of a>" (the speed of a relative to b); nothing
  // when either was not measured.
  void PrintRatio(const std::string& label, const std::string& a, const std::string& b) const {
    const auto fa = nanoseconds_.find(a);
    const auto fb = nanoseconds_.find(b);
    if (fa == nanoseconds_.end() || fb == nanoseconds_.end() || fa->second <= 0) return;
    const double ca = cpuNanoseconds_.at(a), cb = cpuNanoseconds_.at(b);
    if (ca > 0) {
      std::printf("ratio %s: %.2f (cpu %.2f)\n", label.c_str(), fb->second / fa->second, cb / ca);
    } else {
      std::printf("ratio %s: %.2f\n", label.c_str(), fb->second / fa->second);
    }
  }

 private:
  std::map<std::string, double> nanoseconds_;
  std::map<std::string, double> cpuNanoseconds_;
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
