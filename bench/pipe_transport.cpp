// Pipe transport throughput (PipeSender to PipeListener, callback per message) against a raw
// SOCK_SEQPACKET socketpair write/read loop measured in the same run, for small report lines
// and for messages of one full read chunk.
#include <rdx/reporting/PipeListener.h>
#include <rdx/reporting/PipeSender.h>

#include "MedianFigures.h"

#include <benchmark/benchmark.h>
#include <sys/socket.h>
#include <unistd.h>

#include <atomic>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <string>
#include <thread>
#include <vector>

namespace {

using QUORVAN::Rendix::Global::PipeListener;
using QUORVAN::Rendix::Global::PipeSender;
using Clock = std::chrono::steady_clock;

constexpr int kBatch = 2000;

rdx::bench::MedianFigures gFigures;  // per repetition, for the ratio lines at the end

std::atomic<std::uint64_t> gReceived{0};

void CountMessage(void*, const std::string& message) {
  benchmark::DoNotOptimize(message.data());
  gReceived.fetch_add(1, std::memory_order_release);
}

void WaitReceived(std::uint64_t target) {
  while (gReceived.load(std::memory_order_acquire) < target) std::this_thread::yield();
}

void BM_PipeTransport(benchmark::State& state) {
  const auto size = static_cast<std::size_t>(state.range(0));
  const std::string message(size, 'r');
  PipeListener listener;
  PipeSender sender;
  if (!listener.ConnectTo("bench", &CountMessage, nullptr, ".") ||
      !sender.ConnectTo("bench", ".")) {
    state.SkipWithError("pipe could not be created");
    return;
  }
  double seconds = 0;
  std::uint64_t sent = 0;
  for (auto _ : state) {
    const std::uint64_t target = gReceived.load() + kBatch;
    const auto start = Clock::now();
    for (int i = 0; i < kBatch; ++i) sender.SendMessageW(message);
    WaitReceived(target);
    const double elapsed = std::chrono::duration<double>(Clock::now() - start).count();
    state.SetIterationTime(elapsed);
    seconds += elapsed;
    sent += kBatch;
  }
  state.SetItemsProcessed(static_cast<std::int64_t>(sent));
  state.SetBytesProcessed(static_cast<std::int64_t>(sent * size));
  gFigures.Record("pipe/" + std::to_string(size), static_cast<double>(sent) / seconds);
}

void BM_RawSocketpair(benchmark::State& state) {
  const auto size = static_cast<std::size_t>(state.range(0));
  const std::string message(size, 'r');
  int ends[2];
  if (::socketpair(AF_UNIX, SOCK_SEQPACKET, 0, ends) != 0) {
    state.SkipWithError("socketpair failed");
    return;
  }
  std::atomic<std::uint64_t> received{0};
  std::thread reader([&] {
    std::vector<char> buffer(size + 1);
    while (::recv(ends[1], buffer.data(), buffer.size(), 0) > 0) {
      received.fetch_add(1, std::memory_order_release);
    }
  });
  double seconds = 0;
  std::uint64_t sent = 0;
  for (auto _ : state) {
    const auto start = Clock::now();
    for (int i = 0; i < kBatch; ++i) (void)::send(ends[0], message.data(), size, MSG_NOSIGNAL);
    while (received.load(std::memory_order_acquire) < sent + kBatch) std::this_thread::yield();
    const double elapsed = std::chrono::duration<double>(Clock::now() - start).count();
    state.SetIterationTime(elapsed);
    seconds += elapsed;
    sent += kBatch;
  }
  ::shutdown(ends[0], SHUT_RDWR);
  reader.join();
  ::close(ends[0]);
  ::close(ends[1]);
  state.SetItemsProcessed(static_cast<std::int64_t>(sent));
  state.SetBytesProcessed(static_cast<std::int64_t>(sent * size));
  gFigures.Record("raw/" + std::to_string(size), static_cast<double>(sent) / seconds);
}

BENCHMARK(BM_PipeTransport)
    ->Arg(200)
    ->Arg(8000)
    ->UseManualTime()
    ->Repetitions(5)
    ->ReportAggregatesOnly(true);
BENCHMARK(BM_RawSocketpair)
    ->Arg(200)
    ->Arg(8000)
    ->UseManualTime()
    ->Repetitions(5)
    ->ReportAggregatesOnly(true);

}  // namespace

int main(int argc, char** argv) {
  // The pipes of this run live in a temporary folder of their own.
  const auto folder =
      std::filesystem::temp_directory_path() / ("rdx-bench-pipes-" + std::to_string(::getpid()));
  setenv("RDX_PIPE_DIR", folder.c_str(), 1);
  benchmark::Initialize(&argc, argv);
  benchmark::RunSpecifiedBenchmarks();
  benchmark::Shutdown();
  for (const char* size : {"200", "8000"}) {
    const double pipe = gFigures.Median(std::string("pipe/") + size);
    const double raw = gFigures.Median(std::string("raw/") + size);
    if (pipe > 0 && raw > 0) {
      std::printf("%s-byte messages: pipe transport %.0f msg/s (%.1f MB/s), raw socketpair %.0f "
                  "msg/s (%.1f MB/s), ratio pipe/raw %.2f\n",
                  size, pipe, pipe * std::atof(size) / 1e6, raw, raw * std::atof(size) / 1e6,
                  pipe / raw);
      std::printf("ratio %s-byte messages pipe / raw socketpair: %.2f\n", size, pipe / raw);
    }
  }
  std::error_code ignored;
  std::filesystem::remove_all(folder, ignored);
  return 0;
}
