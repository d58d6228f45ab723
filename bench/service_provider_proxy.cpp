// ServiceProviderProxy::StreamImageBuffer of 64 MiB against the client stub's
// StreamImageBuffer alone, both over loopback to one in-process provider, measured in the
// same run. The ratio printed at the end is what the proxy adds (aim: under 5%).

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

// Times the loop and keeps this repetition's seconds per call under `name`.
template <typename Call>
void Measure(benchmark::State& state, const char* name, Call call) {
  // Connect, bind and touch both ends' buffers outside the timing.
  if (!call()) state.SkipWithError("StreamImageBuffer failed");
  const auto start = std::chrono::steady_clock::now();
  for (auto _ : state) {
    if (!call()) state.SkipWithError("StreamImageBuffer failed");
  }
  const double seconds =
      std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
  if (state.iterations() > 0) gFigures.Record(name, seconds / double(state.iterations()));
  state.SetBytesProcessed(state.iterations() * kImageBytes);
}

void StubStreamImageBuffer(benchmark::State& state) {
  std::string host = "127.0.0.1", endpoint = std::to_string(gProvider->port);
  std::string protocol = "ncacn_ip_tcp", ignored;
  void* handle = gul::GetRpcHandle(reinterpret_cast<unsigned char*>(host.data()),
                                   reinterpret_cast<unsigned char*>(endpoint.data()),
                                   reinterpret_cast<unsigned char*>(protocol.data()), ignored);
  std::vector<std::uint8_t> buffer(kImageBytes);
  char session[100] = "S1";
  Measure(state, "stub", [&] {
    // The same error buffer the proxy prepares: the answer shortens it, so it is made per call.
    std::vector<char> error = rdx::rpc::CallerBuffer(rdx::rpc::kErrorCapacity);
    std::int32_t size = kImageBytes;
    return rdx::rpc::serviceprovider::StreamImageBuffer(handle, session, &size, buffer.data(), 1,
                                                        2, error.data()) != 0 &&
           size == kImageBytes;
  });
  gul::FreeRpcHandle(handle);
}

void ProxyStreamImageBuffer(benchmark::State& state) {
  sp::ServiceProviderProxy proxy;
  gul::PropertyLookUp where;
  where["HostMachine"] = "127.0.0.1";
  where["Endpoint"] = std::to_string(gProvider->port);
  if (!proxy.Init(where) || proxy.OpenServiceSession("Bench", "").empty()) {
    state.SkipWithError("no session");
    return;
  }
  std::vector<char> buffer(kImageBytes);
  Measure(state, "proxy", [&] {
    std::uint32_t size = kImageBytes;
    return proxy.StreamImageBuffer("", buffer.data(), size, 1, 2) && size == kImageBytes;
  });
  proxy.Close();
}

// Seven repetitions each, compared by their medians: steadier than one run on a busy machine.
BENCHMARK(StubStreamImageBuffer)
    ->Unit(benchmark::kMillisecond)
    ->UseRealTime()
    ->Iterations(8)
    ->Repetitions(7)
    ->ReportAggregatesOnly(true);
BENCHMARK(ProxyStreamImageBuffer)
    ->Unit(benchmark::kMillisecond)
    ->UseRealTime()
    ->Iterations(8)
    ->Repetitions(7)
    ->ReportAggregatesOnly(true);

}  // namespace

int main(int argc, char** argv) {
  Provider provider;
  gProvider = &provider;
  return rdx::bench::RunBenchmarksAndPrintRatios(argc, argv, [](const auto&) {
    const double stub = gFigures.Median("stub");
    const double proxy = gFigures.Median("proxy");
    if (stub > 0 && proxy > 0) {
      std::printf("StreamImageBuffer 64 MiB: stub %.1f ms, proxy %.1f ms, proxy/stub %.3f "
                  "(aim < 1.05)\n",
                  stub * 1e3, proxy * 1e3, proxy / stub);
    }
  });
}
