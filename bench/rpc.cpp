// RPC over loopback against raw TCP measured in the same run: a Ping round trip against a
// RPC over loopback against raw TCP measured in the same run: a Ping round trip against a
// one-byte ping-pong, StreamImageBuffer of 64 KiB, 1 MiB, 16 MiB and 64 MiB against raw
// transfers of the same sizes, calls per second with 2, 16 and 128 concurrent clients against a
// raw ping-pong server (a thread per client) with as many, and Ping while the server holds 4000
// idle bound connections, with the process's threads and resident memory as counters. Ratios
// are printed after the table.

#include <benchmark/benchmark.h>

#include <atomic>
#include <chrono>
#include <cstdio>
#include <cstring>
#include <fstream>
#include <list>
#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include <rdx/remote/IServiceProviderManager.h>
#include <rdx/remote/RpcHandle.h>

#include "RatioReporter.h"
#include "platform/os/StreamSocket.h"
#include "remote/runtime/Pdu.h"
#include "remote/runtime/RpcServer.h"
#include "remote/runtime/ServerConnection.h"
#include "remote/stubs/ServiceProviderClient.h"

namespace {

namespace sp = QUORVAN::Rendix::ServiceProvider;
namespace gul = QUORVAN::Rendix::GeneralUtilityLib;

constexpr std::int32_t kImageBytes = 64 * 1024 * 1024;  // the largest size measured
constexpr std::int64_t kSizes[] = {64 * 1024, 1024 * 1024, 16 * 1024 * 1024, kImageBytes};

std::string SizeName(std::int64_t bytes) {
  return bytes >= 1024 * 1024 ? std::to_string(bytes / (1024 * 1024)) + " MiB"
                              : std::to_string(bytes / 1024) + " KiB";
}

// Answers Ping and StreamImageBuffer; every other operation keeps the failing default.
class BenchManager : public sp::IServiceProviderManager {
 public:
  std::int8_t Ping() override { return 1; }
  std::int8_t StreamImageBuffer(std::string&, std::int32_t& size, std::uint8_t* buffer,
                                std::int32_t, std::int32_t, std::string& error) override {
    std::memset(buffer, 0x5a, static_cast<std::size_t>(size));
    error.clear();
    return 1;
  }
};

struct RpcFixture {
  BenchManager manager;
  void* interfaceSpec = sp::CreateServiceProviderInterfaceSpec(&manager);
  rdx::rpc::RpcServer server;
  std::uint16_t port = 0;
  // `extraConnections` beyond the server's limit leave room for the measuring client.
  explicit RpcFixture(std::size_t extraConnections = 0) {
    if (extraConnections != 0) {
      server.SetLimits(rdx::rpc::kPduTimeoutMs, rdx::rpc::kMaxConnections + extraConnections);
    }
    server.RegisterInterface(static_cast<rdx::rpc::ServerInterface*>(interfaceSpec));
    (void)server.UseTcpPort(0, port);
    (void)server.Listen();
  }
  ~RpcFixture() {
    server.StopListening();
    sp::DestroyServiceProviderInterfaceSpec(interfaceSpec);
  }
  void* Handle() const {
    std::string host = "127.0.0.1", endpoint = std::to_string(port), protocol = "ncacn_ip_tcp";
    std::string ignored;
    return gul::GetRpcHandle(reinterpret_cast<unsigned char*>(host.data()),
                             reinterpret_cast<unsigned char*>(endpoint.data()),
                             reinterpret_cast<unsigned char*>(protocol.data()), ignored);
  }
};

// A raw TCP peer: answers each byte it reads with `answerBytes` bytes.
struct RawPeer {
  rdx::os::StreamListener listener = rdx::os::StreamListener::ListenTcp(0).value;
  std::thread thread;
  explicit RawPeer(std::size_t answerBytes) {
    thread = std::thread([this, answerBytes] {
      rdx::os::StreamSocket s = listener.Accept();
      std::vector<std::uint8_t> answer(answerBytes, 0x5a);
      char byte;
      std::size_t got = 0;
      while (s.Receive(&byte, 1, got, -1) == rdx::os::IoResult::kOk) {
        if (s.SendAll(answer.data(), answer.size()) != rdx::os::IoResult::kOk) break;
      }
    });
  }
  ~RawPeer() { thread.join(); }
};

// A raw TCP ping-pong server for many clients: one thread per connection, each answering
// every byte with one byte.
struct RawServer {
  rdx::os::StreamListener listener = rdx::os::StreamListener::ListenTcp(0).value;
  std::mutex mutex;
  std::list<std::thread> peers;
  std::list<rdx::os::StreamSocket> sockets;
  std::thread acceptor;
  RawServer() {
    acceptor = std::thread([this] {
      for (;;) {
        rdx::os::StreamSocket s = listener.Accept();
        if (!s.Valid()) return;
        std::lock_guard lock(mutex);
        rdx::os::StreamSocket& kept = sockets.emplace_back(std::move(s));
        peers.emplace_back([&kept] {
          char byte;
          std::size_t got = 0;
          while (kept.Receive(&byte, 1, got, -1) == rdx::os::IoResult::kOk) {
            if (kept.SendAll(&byte, 1) != rdx::os::IoResult::kOk) break;
          }
        });
      }
    });
  }
  ~RawServer() {
    listener.Wake();
    acceptor.join();
    for (auto& s : sockets) s.Shutdown();
    for (auto& t : peers) t.join();
  }
};

bool ReceiveAll(rdx::os::StreamSocket& s, std::uint8_t* data, std::size_t size) {
  std::size_t done = 0;
  while (done < size) {
    std::size_t got = 0;
    if (s.Receive(data + done, size - done, got, -1) != rdx::os::IoResult::kOk) return false;
    done += got;
  }
  return true;
}

void RawPingPong(benchmark::State& state) {
  RawPeer peer(1);
  rdx::os::StreamSocket s = rdx::os::StreamSocket::ConnectTcp("127.0.0.1", peer.listener.Port());
  std::uint8_t byte = 1;
  for (auto _ : state) {
    (void)s.SendAll(&byte, 1);
    ReceiveAll(s, &byte, 1);
  }
  s.Shutdown();
}

void RpcPing(benchmark::State& state) {
  RpcFixture fixture;
  void* handle = fixture.Handle();
  rdx::rpc::serviceprovider::Ping(handle);  // connect and bind outside the timing
  for (auto _ : state) {
    if (rdx::rpc::serviceprovider::Ping(handle) == 0) state.SkipWithError("Ping failed");
  }
  gul::FreeRpcHandle(handle);
}

void RawTransfer(benchmark::State& state) {
  const std::int64_t bytes = state.range(0);
  RawPeer peer(static_cast<std::size_t>(bytes));
  rdx::os::StreamSocket s = rdx::os::StreamSocket::ConnectTcp("127.0.0.1", peer.listener.Port());
  std::vector<std::uint8_t> buffer(static_cast<std::size_t>(bytes));
  std::uint8_t byte = 1;
  // One transfer outside the timing, as the RPC side makes one: the peer's answer and our
  // buffer are touched, not faulted in during the first timed transfer.
  (void)s.SendAll(&byte, 1);
  ReceiveAll(s, buffer.data(), buffer.size());
  for (auto _ : state) {
    (void)s.SendAll(&byte, 1);
    ReceiveAll(s, buffer.data(), buffer.size());
  }
  state.SetBytesProcessed(state.iterations() * bytes);
  s.Shutdown();
}

void RpcStreamImageBuffer(benchmark::State& state) {
  const auto bytes = static_cast<std::int32_t>(state.range(0));
  RpcFixture fixture;
  void* handle = fixture.Handle();
  std::vector<std::uint8_t> buffer(static_cast<std::size_t>(bytes));
  char session[] = "S1";
  char error[64] = {};
  auto call = [&] {
    std::int32_t size = bytes;
    std::memset(error, 'A', sizeof error - 1);
    return rdx::rpc::serviceprovider::StreamImageBuffer(handle, session, &size, buffer.data(), 1, 2,
                                                        error) != 0 &&
           size == bytes;
  };
  // Connect, bind and touch the buffers of both ends outside the timing, as the raw
  // transfer's buffers are filled before it starts.
  if (!call()) state.SkipWithError("StreamImageBuffer failed");
  for (auto _ : state) {
    if (!call()) state.SkipWithError("StreamImageBuffer failed");
  }
  state.SetBytesProcessed(state.iterations() * bytes);
  gul::FreeRpcHandle(handle);
}

RawServer* gRawShared = nullptr;
std::map<int, double> gRawCallsPerSecond;
std::map<int, double> gRpcCallsPerSecond;
std::map<int, double> gRawCpuPerCall;
std::map<int, double> gRpcCpuPerCall;

double ProcessCpuSeconds() {
  timespec t{};
  clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &t);
  return static_cast<double>(t.tv_sec) + static_cast<double>(t.tv_nsec) * 1e-9;
}

// Process CPU time per call (both ends run in this process), kept for the ratio lines; the
// calls per second of all threads together come from the reported counters.
struct RateProbe {
  double cpu = ProcessCpuSeconds();
  void Finish(benchmark::State& state, std::map<int, double>& cpuPerCall,
              std::atomic<std::int64_t>& calls) {
    calls += state.iterations();
    if (state.thread_index() != 0) return;
    // Every thread runs about as long as thread 0, so its span stands for the run.
    const double total = static_cast<double>(state.iterations()) * state.threads();
    cpuPerCall[state.threads()] = (ProcessCpuSeconds() - cpu) / total;
  }
};
std::atomic<std::int64_t> gCalls{0};

// Keeps the summed calls_per_second counter of each multi-client run.
class CallRateReporter : public rdx::bench::RatioReporter {
 public:
  void ReportRuns(const std::vector<Run>& runs) override {
    for (const Run& run : runs) {
      const auto counter = run.counters.find("calls_per_second");
      if (run.run_type != Run::RT_Iteration || counter == run.counters.end()) continue;
      const std::string name = run.benchmark_name();
      const int clients = static_cast<int>(run.threads);
      if (name.rfind("RawConcurrentPings", 0) == 0) gRawCallsPerSecond[clients] = counter->second;
      if (name.rfind("RpcConcurrentPings", 0) == 0) gRpcCallsPerSecond[clients] = counter->second;
    }
    RatioReporter::ReportRuns(runs);
  }
};

// One server for all thread counts, so each run measures calls, not start-up.
RpcFixture* gShared = nullptr;

void RpcConcurrentPings(benchmark::State& state) {
  void* handle = gShared->Handle();
  rdx::rpc::serviceprovider::Ping(handle);
  RateProbe probe;
  for (auto _ : state) {
    if (rdx::rpc::serviceprovider::Ping(handle) == 0) state.SkipWithError("Ping failed");
  }
  probe.Finish(state, gRpcCpuPerCall, gCalls);
  state.counters["calls_per_second"] =
      benchmark::Counter(static_cast<double>(state.iterations()), benchmark::Counter::kIsRate);
  gul::FreeRpcHandle(handle);
}

void RawConcurrentPings(benchmark::State& state) {
  rdx::os::StreamSocket s =
      rdx::os::StreamSocket::ConnectTcp("127.0.0.1", gRawShared->listener.Port());
  std::uint8_t byte = 1;
  RateProbe probe;
  for (auto _ : state) {
    (void)s.SendAll(&byte, 1);
    ReceiveAll(s, &byte, 1);
  }
  probe.Finish(state, gRawCpuPerCall, gCalls);
  state.counters["calls_per_second"] =
      benchmark::Counter(static_cast<double>(state.iterations()), benchmark::Counter::kIsRate);
  s.Shutdown();
}

std::size_t StatusField(const char* field) {
  std::ifstream status("/proc/self/status");
  std::string line;
  while (std::getline(status, line)) {
    if (line.rfind(field, 0) == 0) return std::stoul(line.substr(std::strlen(field)));
  }
  return 0;
}

// Connections that bound and then say nothing, as clients keep them between calls.
std::vector<rdx::os::StreamSocket> OpenIdle(std::uint16_t port, int count) {
  std::vector<rdx::os::StreamSocket> idle;
  rdx::rpc::BindBody body;
  body.elements = {{0, rdx::rpc::Ndr20Syntax(), {rdx::rpc::Ndr20Syntax()}}};
  const std::vector<std::uint8_t> bind = rdx::rpc::EncodeBind(rdx::rpc::PduType::kBind, 1, body);
  std::vector<std::uint8_t> answer(1024);
  for (int i = 0; i < count; ++i) {
    rdx::os::StreamSocket s = rdx::os::StreamSocket::ConnectTcp("127.0.0.1", port);
    std::size_t got = 0;
    if (!s.Valid() || s.SendAll(bind.data(), bind.size()) != rdx::os::IoResult::kOk ||
        s.Receive(answer.data(), answer.size(), got, 20'000) != rdx::os::IoResult::kOk) {
      break;
    }
    idle.push_back(std::move(s));
  }
  return idle;
}

void RpcPingWithIdleConnections(benchmark::State& state) {
  RpcFixture fixture(1);
  const std::size_t threadsBefore = StatusField("Threads:");
  const std::size_t rssBefore = StatusField("VmRSS:");
  const auto idle = OpenIdle(fixture.port, static_cast<int>(state.range(0)));
  if (idle.size() != static_cast<std::size_t>(state.range(0))) {
    state.SkipWithError("could not open the idle connections");
  }
  // Settled: every idle connection has been served its bind_ack.
  std::this_thread::sleep_for(std::chrono::milliseconds(200));
  state.counters["idle"] = static_cast<double>(idle.size());
  state.counters["threads"] = static_cast<double>(StatusField("Threads:"));
  state.counters["threads_added"] =
      static_cast<double>(StatusField("Threads:")) - static_cast<double>(threadsBefore);
  state.counters["rss_mib"] = static_cast<double>(StatusField("VmRSS:")) / 1024.0;
  state.counters["rss_added_mib"] =
      (static_cast<double>(StatusField("VmRSS:")) - static_cast<double>(rssBefore)) / 1024.0;
  void* handle = fixture.Handle();
  rdx::rpc::serviceprovider::Ping(handle);
  for (auto _ : state) {
    if (rdx::rpc::serviceprovider::Ping(handle) == 0) state.SkipWithError("Ping failed");
  }
  gul::FreeRpcHandle(handle);
}

BENCHMARK(RawPingPong)->UseRealTime();
BENCHMARK(RpcPing)->UseRealTime();
BENCHMARK(RawConcurrentPings)->Threads(2)->Threads(16)->Threads(128)->UseRealTime();
BENCHMARK(RpcConcurrentPings)->Threads(2)->Threads(16)->Threads(128)->UseRealTime();
BENCHMARK(RpcPingWithIdleConnections)->Arg(4000)->UseRealTime();

}  // namespace

int main(int argc, char** argv) {
  benchmark::Initialize(&argc, argv);
  if (benchmark::ReportUnrecognizedArguments(argc, argv)) return 1;
  RpcFixture shared;
  gShared = &shared;
  RawServer raw;
  gRawShared = &raw;
  // Each size raw, then by RPC, so both of a pair see about the same load on a shared machine.
  for (const std::int64_t bytes : kSizes) {
    benchmark::RegisterBenchmark("RawTransfer", RawTransfer)
        ->Arg(bytes)
        ->Unit(benchmark::kMicrosecond)
        ->UseRealTime()
        ->MinTime(1.0);
    benchmark::RegisterBenchmark("RpcStreamImageBuffer", RpcStreamImageBuffer)
        ->Arg(bytes)
        ->Unit(benchmark::kMicrosecond)
        ->UseRealTime()
        ->MinTime(1.0);
  }
  CallRateReporter reporter;
  benchmark::RunSpecifiedBenchmarks(&reporter);
  reporter.PrintRatio("Ping round trip / raw TCP ping-pong (aim <= 1.1)", "RawPingPong/real_time",
                      "RpcPing/real_time");
  reporter.PrintRatio("Ping with 4000 idle connections / Ping (aim <= 1.1)", "RpcPing/real_time",
                      "RpcPingWithIdleConnections/4000/real_time");
  for (const std::int64_t bytes : kSizes) {
    const std::string suffix = "/" + std::to_string(bytes) + "/min_time:1.000/real_time";
    reporter.PrintRatio(
        "StreamImageBuffer " + SizeName(bytes) + " throughput / raw TCP (aim >= 0.80)",
        "RpcStreamImageBuffer" + suffix, "RawTransfer" + suffix);
  }
  for (const int clients : {2, 16, 128}) {
    if (gRpcCallsPerSecond.count(clients) == 0) continue;
    if (gRpcCallsPerSecond.count(2) != 0) {
      std::printf("ratio calls/s with %d clients / with 2 (aim >= 1): %.2f\n", clients,
                  gRpcCallsPerSecond[clients] / gRpcCallsPerSecond[2]);
    }
    // The raw server's own scaling, for reading the line above on a given machine.
    if (gRawCallsPerSecond.count(clients) != 0 && gRawCallsPerSecond.count(2) != 0) {
      std::printf("ratio raw TCP server calls/s with %d clients / with 2: %.2f\n", clients,
                  gRawCallsPerSecond[clients] / gRawCallsPerSecond[2]);
    }
    if (gRawCallsPerSecond.count(clients) != 0) {
      std::printf("ratio calls/s with %d clients / raw TCP server (aim >= 0.9): %.2f (cpu %.2f)\n",
                  clients, gRpcCallsPerSecond[clients] / gRawCallsPerSecond[clients],
                  gRawCpuPerCall[clients] / gRpcCpuPerCall[clients]);
    }
  }
  benchmark::Shutdown();
  return 0;
}
