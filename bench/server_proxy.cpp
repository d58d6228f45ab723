// ServerProxy::GetServiceInfo calls per second against the raw client-stub call of the same
// operation with buffers prepared once, both on one loopback connection to an in-process
// server that answers as rdx-refserver does (a 64-byte text). The ratio is the price of the
// proxy: fresh caller buffers, the exception frame and the status kept per call.

#include <benchmark/benchmark.h>

#include <chrono>
#include <cstdio>
#include <cstring>
#include <memory>
#include <string>
#include <vector>

#include <rdx/remote/IServerCoreManager.h>
#include <rdx/remote/IServerProxy.h>
#include <rdx/remote/RpcHandle.h>

#include "MedianFigures.h"
#include "remote/runtime/RpcServer.h"
#include "remote/stubs/ServerCoreClient.h"

namespace {

namespace core = QUORVAN::Rendix::ServerCore;
namespace gul = QUORVAN::Rendix::GeneralUtilityLib;
using Clock = std::chrono::steady_clock;

constexpr int kBatch = 200;
constexpr std::int32_t kFirstSize = 40000;

class BenchManager : public core::IServerCoreManager {
 public:
  std::int8_t GetVersion(std::string& version) override {
    version = "1.0.0.2";
    return 1;
  }
  std::int8_t OpenSession(const char*, std::string& sessionId, std::string& error) override {
    sessionId = "S1";
    error.clear();
    return 1;
  }
  std::int8_t CloseSession(const char*) override { return 1; }
  std::int32_t GetServiceInfo(const char*, const char*, const char*, std::int32_t n, char* text,
                              std::string& error) override {
    static const std::string answer = std::string("GetServiceInfo") + std::string(50, '.');
    error.clear();
    if (n < static_cast<std::int32_t>(answer.size()))
      return static_cast<std::int32_t>(answer.size());
    std::memcpy(text, answer.data(), answer.size());
    return 0;
  }
};

struct Server {
  BenchManager manager;
  void* interfaceSpec = core::CreateServerCoreInterfaceSpec(&manager);
  rdx::rpc::RpcServer server;
  std::uint16_t port = 0;
  Server() {
    server.RegisterInterface(static_cast<rdx::rpc::ServerInterface*>(interfaceSpec));
    (void)server.UseTcpPort(0, port);
    (void)server.Listen();
  }
  ~Server() {
    server.StopListening();
    core::DestroyServerCoreInterfaceSpec(interfaceSpec);
  }
};

Server* gServer = nullptr;
rdx::bench::MedianFigures gFigures;  // calls per second per repetition, for the ratio line

// Runs `call` in batches, recording calls per second.
template <typename Call>
void Measure(benchmark::State& state, const char* name, Call call) {
  double seconds = 0;
  std::int64_t calls = 0;
  for (auto _ : state) {
    const auto start = Clock::now();
    for (int i = 0; i < kBatch; ++i) {
      if (!call()) {
        state.SkipWithError("call failed");
        return;
      }
    }
    const double elapsed = std::chrono::duration<double>(Clock::now() - start).count();
    state.SetIterationTime(elapsed);
    seconds += elapsed;
    calls += kBatch;
  }
  state.SetItemsProcessed(calls);
  if (seconds > 0) gFigures.Record(name, static_cast<double>(calls) / seconds);
}

void BM_RawStubGetServiceInfo(benchmark::State& state) {
  std::string host = "127.0.0.1", endpoint = std::to_string(gServer->port),
              protocol = "ncacn_ip_tcp", ignored;
  void* handle = gul::GetRpcHandle(reinterpret_cast<unsigned char*>(host.data()),
                                   reinterpret_cast<unsigned char*>(endpoint.data()),
                                   reinterpret_cast<unsigned char*>(protocol.data()), ignored);
  std::vector<char> text(kFirstSize);
  std::vector<char> error(4000, 'A');
  error.back() = '\0';
  Measure(state, "raw", [&] {
    // The server empties the error text of a success: refilled so each call sends the same.
    std::memset(error.data(), 'A', error.size() - 1);
    return rdx::rpc::servercore::GetServiceInfo(handle, "S1", "Ortho", "Imagery", kFirstSize,
                                                text.data(), error.data()) == 0;
  });
  gul::FreeRpcHandle(handle);
}

void BM_ServerProxyGetServiceInfo(benchmark::State& state) {
  std::unique_ptr<core::IServerProxy> proxy(core::IServerProxy::Create());
  if (!proxy->Init("127.0.0.1", std::to_string(gServer->port))) {
    state.SkipWithError("no session");
    return;
  }
  Measure(state, "proxy", [&] { return !proxy->GetServiceInfo("Ortho", "Imagery").empty(); });
}

BENCHMARK(BM_RawStubGetServiceInfo)->UseManualTime()->Repetitions(5)->ReportAggregatesOnly(true);
BENCHMARK(BM_ServerProxyGetServiceInfo)
    ->UseManualTime()
    ->Repetitions(5)
    ->ReportAggregatesOnly(true);

}  // namespace

int main(int argc, char** argv) {
  benchmark::Initialize(&argc, argv);
  if (benchmark::ReportUnrecognizedArguments(argc, argv)) return 1;
  Server server;
  gServer = &server;
  benchmark::RunSpecifiedBenchmarks();
  benchmark::Shutdown();
  const double proxy = gFigures.Median("proxy");
  const double raw = gFigures.Median("raw");
  if (proxy > 0 && raw > 0) {
    std::printf("GetServiceInfo: ServerProxy %.0f calls/s, raw client stub %.0f calls/s, ratio "
                "proxy/raw %.2f\n",
                proxy, raw, proxy / raw);
    std::printf("ratio GetServiceInfo calls/s ServerProxy / raw client stub: %.2f\n", proxy / raw);
  }
  return 0;
}
