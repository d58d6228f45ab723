// Cost of the stubs on the largest answer the interfaces carry: StreamImageBuffer of 64 MiB,
// decoded, filled by a manager and encoded on the server, then decoded into the caller's
// buffer on the client. The baseline, measured in the same iteration, is the least any
// implementation must do: fill the bytes once and copy them once on each side. The counter
// "ratio" is stub time over baseline time; below 1 because the manager fills the answer
// buffer itself, which saves the server's copy.

#include <benchmark/benchmark.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstring>
#include <vector>

#include "remote/stubs/ClientCall.h"
#include "remote/stubs/StubServerInterface.h"

namespace {

using namespace rdx::rpc;
using Clock = std::chrono::steady_clock;

double gRatio = 0;  // the last run's stub time over baseline time

constexpr std::int32_t kImageBytes = 64 * 1024 * 1024;

void Fill(std::uint8_t* buffer, std::int32_t size, std::int32_t a, std::int32_t b) {
  for (std::int32_t i = 0; i < size; ++i) buffer[i] = std::uint8_t(i + a + b);
}

std::int32_t StreamManager(void*, std::uint16_t, ServerCall& call) {
  Fill(call.Bytes(2), call.Size(1), call.Long(3), call.Long(4));
  call.InOut(5).clear();
  return 1;
}

double Seconds(Clock::duration duration) { return std::chrono::duration<double>(duration).count(); }

void BM_StreamImageBufferStubs(benchmark::State& state) {
  const OperationShape& op = ServiceProviderShape().operations[11];
  StubServerInterface server(ServiceProviderShape(), nullptr, &StreamManager);
  std::vector<std::uint8_t> caller(kImageBytes);
  // Both sides keep their buffers between calls, as a server connection keeps its answer
  // buffer: page faults would otherwise be most of what is measured.
  std::vector<std::uint8_t> response;
  std::vector<std::uint8_t> produced(kImageBytes);
  std::vector<std::uint8_t> sent(kImageBytes);
  double stubTime = 0, baselineTime = 0;
  bool warm = false;  // the first round touches every buffer and is not counted
  for (auto _ : state) {
    const auto start = Clock::now();
    char session[] = "S1";
    char error[] = "AAAAAAAAAAAAAAA";
    std::int32_t size = kImageBytes;
    const ClientArg args[] = {session,         &size,           caller.data(),
                              std::int32_t{1}, std::int32_t{2}, error};
    ClientCall call(op, args);
    NdrWriter request;
    std::int32_t result = 0;
    if (call.EncodeRequest(request) != 0 ||
        server.Dispatch(11, request.Data(), false, response) != 0 ||
        call.DecodeResponse(response, false, result) != 0) {
      state.SkipWithError("call failed");
      break;
    }
    // The connection clears a sent answer for the next call; that is the stubs' cost too.
    std::fill(response.begin(), response.end(), std::uint8_t{0});
    benchmark::DoNotOptimize(caller.data());
    const auto middle = Clock::now();
    Fill(produced.data(), kImageBytes, 1, 2);
    std::memcpy(sent.data(), produced.data(), sent.size());
    std::memcpy(caller.data(), sent.data(), sent.size());
    benchmark::DoNotOptimize(caller.data());
    const auto end = Clock::now();
    if (warm) {
      stubTime += Seconds(middle - start);
      baselineTime += Seconds(end - middle);
    }
    warm = true;
  }
  state.counters["stub_ms"] =
      benchmark::Counter(stubTime * 1e3, benchmark::Counter::kAvgIterations);
  state.counters["baseline_ms"] =
      benchmark::Counter(baselineTime * 1e3, benchmark::Counter::kAvgIterations);
  state.counters["ratio"] = baselineTime > 0 ? stubTime / baselineTime : 0;
  gRatio = baselineTime > 0 ? stubTime / baselineTime : 0;
}
BENCHMARK(BM_StreamImageBufferStubs)->Unit(benchmark::kMillisecond)->Iterations(10);

}  // namespace

int main(int argc, char** argv) {
  benchmark::Initialize(&argc, argv);
  if (benchmark::ReportUnrecognizedArguments(argc, argv)) return 1;
  benchmark::RunSpecifiedBenchmarks();
  benchmark::Shutdown();
  if (gRatio > 0) {
    std::printf("ratio StreamImageBuffer 64 MiB stubs / fill-and-copy: %.2f\n", gRatio);
  }
  return 0;
}
