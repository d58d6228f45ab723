// ServiceProviderProxy::StreamImageBuffer of 64 MiB against the client stub's
// StreamImageBuffer alone, both over loopback to one in-process provider, measured in the
// same run: as interleaved repetitions of each, and as pairs of calls back to back. The
// pairs' median ratio is what the proxy adds (aim: under 5%); on a loaded machine it is the
// steadier of the two figures.

#include <benchmark/benchmark.h>

#include <chrono>
#include <cstdio>
#include <cstring>
#include <string>
#include <vector>

#include <rdx/platform/PropertyLookUp.h>
#include <rdx/remote/IServiceProviderManager.h>
#include <rdx/remote/RpcHandle.h>
#include <rdx/remote/ServiceProviderProxy.h>

#include "MedianFigures.h"
#include "RatioReporter.h"
#include "remote/proxies/ProxyCall.h"
#include "remote/runtime/RpcServer.h"
#include "remote/stubs/ServiceProviderClient.h"

namespace {

namespace sp = QUORVAN::Rendix::ServiceProvider;
namespace gul = QUORVAN::Rendix::GeneralUtilityLib;

constexpr std::int32_t kImageBytes = 64 * 1024 * 1024;

rdx::bench::MedianFigures gFigures;  // seconds per call, per repetition

// Opens sessions and fills image buffers; everything else keeps the failing default.
class BenchProvider : public sp::IServiceProviderManager {
 public:
  std::int8_t Ping() override { return 1; }
  std::int8_t OpenServiceSession(const char*, const char*, std::string& session,
                                 std::string& error) override {
    session = "S1";
    error.clear();
    return 1;
  }
  std::int8_t StreamImageBuffer(std::string&, std::int32_t& size, std::uint8_t* buffer,
                                std::int32_t a, std::int32_t b, std::string& error) override {
    std::memset(buffer, (a + b) & 0xFF, static_cast<std::size_t>(size));
    error.clear();
    return 1;
  }
};

struct Provider {
  BenchProvider manager;
  void* interfaceSpec = sp::CreateServiceProviderInterfaceSpec(&manager);
  rdx::rpc::RpcServer server;
  std::uint16_t port = 0;
  Provider() {
    server.RegisterInterface(static_cast<rdx::rpc::ServerInterface*>(interfaceSpec));
    (void)server.UseTcpPort(0, port);
    (void)server.Listen();
  }
  ~Provider() {
    server.StopListening();
    sp::DestroyServiceProviderInterfaceSpec(interfaceSpec);
  }
};

Provider* gProvider = nullptr;

// The bare client stub's call, with the same buffers the proxy prepares.
struct StubCaller {
  void* handle = nullptr;
  std::vector<std::uint8_t> buffer = std::vector<std::uint8_t>(kImageBytes);
  char session[100] = "S1";
  StubCaller() {
    std::string host = "127.0.0.1", endpoint = std::to_string(gProvider->port);
    std::string protocol = "ncacn_ip_tcp", ignored;
    handle = gul::GetRpcHandle(reinterpret_cast<unsigned char*>(host.data()),
                               reinterpret_cast<unsigned char*>(endpoint.data()),
                               reinterpret_cast<unsigned char*>(protocol.data()), ignored);
  }
  ~StubCaller() { gul::FreeRpcHandle(handle); }
  StubCaller(const StubCaller&) = delete;
  StubCaller& operator=(const StubCaller&) = delete;
  bool operator()() {
    // The answer shortens the error buffer, so it is made per call, as the proxy does.
    std::vector<char> error = rdx::rpc::CallerBuffer(rdx::rpc::kErrorCapacity);
    std::int32_t size = kImageBytes;
    return rdx::rpc::serviceprovider::StreamImageBuffer(handle, session, &size, buffer.data(), 1, 2,
                                                        error.data()) != 0 &&
           size == kImageBytes;
  }
};

struct ProxyCaller {
  sp::ServiceProviderProxy proxy;
  std::vector<char> buffer = std::vector<char>(kImageBytes);
  bool open = false;
  ProxyCaller() {
    gul::PropertyLookUp where;
    where["HostMachine"] = "127.0.0.1";
    where["Endpoint"] = std::to_string(gProvider->port);
    open = proxy.Init(where) && !proxy.OpenServiceSession("Bench", "").empty();
  }
  bool operator()() {
    std::uint32_t size = kImageBytes;
    return open && proxy.StreamImageBuffer("", buffer.data(), size, 1, 2) && size == kImageBytes;
  }
};

double Seconds(std::chrono::steady_clock::time_point start) {
  return std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
}

// Times the loop and keeps this repetition's seconds per call under `name`.
template <typename Caller>
void Measure(benchmark::State& state, const char* name) {
  Caller call;
  // Connect, bind and touch both ends' buffers outside the timing.
  if (!call()) state.SkipWithError("StreamImageBuffer failed");
  const auto start = std::chrono::steady_clock::now();
  for (auto _ : state) {
    if (!call()) state.SkipWithError("StreamImageBuffer failed");
  }
  if (state.iterations() > 0) gFigures.Record(name, Seconds(start) / double(state.iterations()));
  state.SetBytesProcessed(state.iterations() * kImageBytes);
}

void StubStreamImageBuffer(benchmark::State& state) { Measure<StubCaller>(state, "stub"); }
void ProxyStreamImageBuffer(benchmark::State& state) { Measure<ProxyCaller>(state, "proxy"); }

// Both calls back to back, in turns first: each pair's ratio sees the same machine load.
void PairedStreamImageBuffer(benchmark::State& state) {
  StubCaller stub;
  ProxyCaller proxy;
  if (!stub() || !proxy()) state.SkipWithError("StreamImageBuffer failed");
  bool proxyFirst = false;
  for (auto _ : state) {
    double seconds[2] = {};  // stub, proxy
    for (int turn = 0; turn < 2; ++turn) {
      const bool isProxy = (turn == 0) == proxyFirst;
      const auto start = std::chrono::steady_clock::now();
      if (!(isProxy ? proxy() : stub())) state.SkipWithError("StreamImageBuffer failed");
      seconds[isProxy ? 1 : 0] = Seconds(start);
    }
    gFigures.Record("pair", seconds[1] / seconds[0]);
    proxyFirst = !proxyFirst;
  }
}

// Nine repetitions each, interleaved at random (see main) and compared by their medians.
BENCHMARK(StubStreamImageBuffer)
    ->Unit(benchmark::kMillisecond)
    ->UseRealTime()
    ->Iterations(8)
    ->Repetitions(9)
    ->ReportAggregatesOnly(true);
BENCHMARK(ProxyStreamImageBuffer)
    ->Unit(benchmark::kMillisecond)
    ->UseRealTime()
    ->Iterations(8)
    ->Repetitions(9)
    ->ReportAggregatesOnly(true);
BENCHMARK(PairedStreamImageBuffer)->Unit(benchmark::kMillisecond)->UseRealTime()->Iterations(41);

}  // namespace

int main(int argc, char** argv) {
  Provider provider;
  gProvider = &provider;
  // Interleaving is on unless the command line turns it off (a later flag wins).
  std::vector<char*> args(argv, argv + argc);
  char interleave[] = "--benchmark_enable_random_interleaving=true";
  args.insert(args.begin() + 1, interleave);
  int count = static_cast<int>(args.size());
  return rdx::bench::RunBenchmarksAndPrintRatios(count, args.data(), [](const auto&) {
    const double stub = gFigures.Median("stub");
    const double proxy = gFigures.Median("proxy");
    if (stub > 0 && proxy > 0) {
      std::printf("StreamImageBuffer 64 MiB, medians of the repetitions: stub %.1f ms, "
                  "proxy %.1f ms, proxy/stub %.3f\n",
                  stub * 1e3, proxy * 1e3, proxy / stub);
    }
    const double pair = gFigures.Median("pair");
    if (pair > 0) {
      std::printf("StreamImageBuffer 64 MiB, median of back-to-back pairs: proxy/stub %.3f "
                  "(aim < 1.05)\n",
                  pair);
      std::printf("ratio StreamImageBuffer 64 MiB proxy / stub time (aim < 1.05): %.3f\n", pair);
    }
  });
}
