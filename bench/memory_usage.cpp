// GetCurrentMemoryUsage calls per second, against the bare cost of reading the same /proc file.
#include <rdx/application/ExportedFunctions.h>

#include "RatioReporter.h"

#include <cstdio>

namespace {

void BM_GetCurrentMemoryUsage(benchmark::State& state) {
  std::size_t workingSet = 0;
  std::size_t pagefile = 0;
  for (auto _ : state) {
    GetCurrentMemoryUsage(nullptr, &workingSet, &pagefile);
    benchmark::DoNotOptimize(workingSet);
  }
  state.SetItemsProcessed(state.iterations());
}

void BM_ReadProcStatusOnly(benchmark::State& state) {
  char buffer[4096];
  for (auto _ : state) {
    std::FILE* file = std::fopen("/proc/self/status", "r");
    std::size_t got = 0;
    while ((got = std::fread(buffer, 1, sizeof buffer, file)) > 0) benchmark::DoNotOptimize(got);
    std::fclose(file);
  }
  state.SetItemsProcessed(state.iterations());
}

BENCHMARK(BM_GetCurrentMemoryUsage);
BENCHMARK(BM_ReadProcStatusOnly);

}  // namespace

int main(int argc, char** argv) {
  return rdx::bench::RunBenchmarksAndPrintRatios(
      argc, argv, [](const rdx::bench::RatioReporter& reporter) {
        reporter.PrintRatios({{"BM_ReadProcStatusOnly", "BM_GetCurrentMemoryUsage"}});
      });
}
