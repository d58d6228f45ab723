// Reporter::Log per-line cost from one and two threads against spdlog's asynchronous logger
// with a null sink, measured in the same run, and the notifier's drain rate to a null sink.
// Each timed batch stays below the queue bound, and the queue is drained untimed between
// batches, so no line is dropped and both loggers do the same work per line.
#include <rdx/reporting/Reporter.h>

#include "MedianFigures.h"

#include <benchmark/benchmark.h>
#include <spdlog/async.h>
#include <spdlog/async_logger.h>
#include <spdlog/sinks/null_sink.h>

#include <atomic>
#include <chrono>
#include <cstdio>
#include <string>
#include <thread>
#include <vector>

namespace {

using QUORVAN::Rendix::Global::IReporterSink;
using QUORVAN::Rendix::Global::Reporter;
using Clock = std::chrono::steady_clock;

constexpr int kBatch = 10000;

// A typical line: one status item in its XML form.
const std::string kLine =
    "<Status>\n\t<Item>\n\t\t<ID>000000</ID>\n\t\t<Source>Server.ImageService</Source>\n\t\t"
    "<Message>Tile 1234 of 5678 served.</Message>\n\t\t<Details></Details>\n\t</Item>\n</Status>";

class NullSink : public IReporterSink {
 public:
  void Log(const char*) override { lines.fetch_add(1, std::memory_order_relaxed); }
  virtual ~NullSink() = default;
  std::atomic<std::uint64_t> lines{0};
};

rdx::bench::MedianFigures gFigures;  // per repetition, for the ratio lines at the end

Reporter& SharedReporter() {
  static NullSink sink;
  static Reporter reporter;
  static const bool attached = reporter.Attach(&sink) == 1;
  (void)attached;
  return reporter;
}

NullSink& DrainSink() {
  static NullSink sink;
  return sink;
}

// Queue large enough for two threads' batches, so the blocking policy never blocks.
std::shared_ptr<spdlog::details::thread_pool>& SpdlogPool() {
  static auto pool = std::make_shared<spdlog::details::thread_pool>(4 * kBatch, 1);
  return pool;
}

spdlog::async_logger& SharedSpdlog() {
  // Owned by a shared pointer: the asynchronous logger hands itself to its worker that way.
  static auto logger = std::make_shared<spdlog::async_logger>(
      "bench", std::make_shared<spdlog::sinks::null_sink_mt>(), SpdlogPool(),
      spdlog::async_overflow_policy::block);
  return *logger;
}

template <typename LogOne, typename Drain>
void RunBatches(benchmark::State& state, const std::string& name, LogOne logOne, Drain drain) {
  double seconds = 0;
  std::uint64_t lines = 0;
  for (auto _ : state) {
    const auto start = Clock::now();
    for (int i = 0; i < kBatch; ++i) logOne();
    const double elapsed = std::chrono::duration<double>(Clock::now() - start).count();
    state.SetIterationTime(elapsed);
    seconds += elapsed;
    lines += kBatch;
    drain();
  }
  state.SetItemsProcessed(static_cast<std::int64_t>(lines));
  if (state.thread_index() == 0 && lines > 0) {
    gFigures.Record(name + "/" + std::to_string(state.threads()),
                    seconds * 1e9 / static_cast<double>(lines));
  }
}

void BM_ReporterLog(benchmark::State& state) {
  Reporter& reporter = SharedReporter();
  RunBatches(
      state, "Reporter", [&] { reporter.Log(kLine.c_str()); },
      [&] { reporter.WaitForNotifications(); });
}

void BM_SpdlogAsyncLog(benchmark::State& state) {
  spdlog::async_logger& logger = SharedSpdlog();
  RunBatches(
      state, "spdlog", [&] { logger.info(std::string_view(kLine)); },
      [] {
        // Untimed: wait until the worker has taken every message.
        while (SpdlogPool()->queue_size() > 0) std::this_thread::yield();
      });
}

void BM_ReporterDrain(benchmark::State& state) {
  static Reporter reporter;
  static const bool attached = reporter.Attach(&DrainSink()) == 1;
  (void)attached;
  constexpr int kLines = 50000;
  std::uint64_t delivered = 0;
  double seconds = 0;
  for (auto _ : state) {
    for (int i = 0; i < kLines; ++i) reporter.Log(kLine.c_str());
    const std::uint64_t before = DrainSink().lines.load();
    const auto start = Clock::now();
    reporter.WaitForNotifications();
    const double elapsed = std::chrono::duration<double>(Clock::now() - start).count();
    state.SetIterationTime(elapsed);
    seconds += elapsed;
    delivered += DrainSink().lines.load() - before;
  }
  state.SetItemsProcessed(static_cast<std::int64_t>(delivered));
  if (seconds > 0) gFigures.Record("drain lines/s", static_cast<double>(delivered) / seconds);
}

BENCHMARK(BM_ReporterLog)
    ->UseManualTime()
    ->Threads(1)
    ->Threads(2)
    ->Repetitions(5)
    ->ReportAggregatesOnly(true);
BENCHMARK(BM_SpdlogAsyncLog)
    ->UseManualTime()
    ->Threads(1)
    ->Threads(2)
    ->Repetitions(5)
    ->ReportAggregatesOnly(true);
BENCHMARK(BM_ReporterDrain)->UseManualTime()->Repetitions(5)->ReportAggregatesOnly(true);

}  // namespace

int main(int argc, char** argv) {
  benchmark::Initialize(&argc, argv);
  benchmark::RunSpecifiedBenchmarks();
  benchmark::Shutdown();
  for (const char* threads : {"1", "2"}) {
    const double ours = gFigures.Median("Reporter/" + std::string(threads));
    const double theirs = gFigures.Median("spdlog/" + std::string(threads));
    if (ours > 0 && theirs > 0) {
      std::printf("Log per line, %s thread(s): Reporter %.1f ns, spdlog async %.1f ns, "
                  "ratio spdlog/Reporter %.2f (above 1: Reporter faster)\n",
                  threads, ours, theirs, theirs / ours);
      std::printf("ratio Log per line spdlog async / Reporter, %s thread(s): %.2f\n", threads,
                  theirs / ours);
    }
  }
  std::printf("Drain to a null sink: %.0f lines/s\n", gFigures.Median("drain lines/s"));
  return 0;
}
