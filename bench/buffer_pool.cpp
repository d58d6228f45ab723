// A cycle of Alloc, touching every page, and Free of 8 MiB and 33 MiB image buffers: from the
// pool, from the pass-through allocator (a fresh mapping every time), and from glibc malloc.
#include <rdx/platform/DummyAllocator.h>
#include <rdx/platform/SimpleBufferPool.h>

#include "RatioReporter.h"

#include <cstdlib>

namespace {

using QUORVAN::Rendix::Global::DummyAllocator;
using QUORVAN::Rendix::Global::IBufferAllocator;
using QUORVAN::Rendix::Global::SimpleBufferPool;

constexpr std::size_t kPage = 4096;

void TouchPages(void* buffer, std::size_t size) {
  auto* bytes = static_cast<volatile unsigned char*>(buffer);
  for (std::size_t at = 0; at < size; at += kPage) bytes[at] = 1;
}

// Through the interface, as the image code uses it; one virtual call is nothing next to
// touching megabytes.
void Cycle(benchmark::State& state, IBufferAllocator& allocator) {
  const auto size = static_cast<std::uint32_t>(state.range(0));
  for (auto _ : state) {
    void* buffer = allocator.Alloc(size);
    TouchPages(buffer, size);
    allocator.Free(buffer);
  }
  state.SetBytesProcessed(static_cast<std::int64_t>(state.iterations()) * size);
}

void BM_Pool(benchmark::State& state) {
  SimpleBufferPool pool;
  Cycle(state, pool);
}

void BM_FreshMapping(benchmark::State& state) {
  DummyAllocator allocator;
  Cycle(state, allocator);
}

void BM_Malloc(benchmark::State& state) {
  const auto size = static_cast<std::size_t>(state.range(0));
  for (auto _ : state) {
    void* buffer = std::malloc(size);
    TouchPages(buffer, size);
    std::free(buffer);
  }
  state.SetBytesProcessed(static_cast<std::int64_t>(state.iterations()) * size);
}

constexpr std::int64_t kSmall = 8 << 20;
constexpr std::int64_t kMiddle = 33 << 20;

BENCHMARK(BM_Pool)->Arg(kSmall)->Arg(kMiddle)->Unit(benchmark::kMicrosecond);
BENCHMARK(BM_FreshMapping)->Arg(kSmall)->Arg(kMiddle)->Unit(benchmark::kMicrosecond);
BENCHMARK(BM_Malloc)->Arg(kSmall)->Arg(kMiddle)->Unit(benchmark::kMicrosecond);

}  // namespace

int main(int argc, char** argv) {
  return rdx::bench::RunBenchmarksAndPrintRatios(
      argc, argv, [](const rdx::bench::RatioReporter& reporter) {
        const std::string small = "/" + std::to_string(kSmall);
        const std::string middle = "/" + std::to_string(kMiddle);
        reporter.PrintRatios({{"BM_Pool" + small, "BM_FreshMapping" + small},
                              {"BM_Pool" + middle, "BM_FreshMapping" + middle},
                              {"BM_Pool" + small, "BM_Malloc" + small},
                              {"BM_Pool" + middle, "BM_Malloc" + middle}},
                             "");
      });
}
