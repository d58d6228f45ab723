// RPC over loopback against raw TCP measured in the same run: a Ping round trip against a
// one-byte ping-pong, StreamImageBuffer of 64 KiB, 1 MiB, 16 MiB and 64 MiB against raw
// transfers of the same sizes, and calls per second with 2, 16 and 128 concurrent clients.
// Ratios are printed after the table.

#include <benchmark/benchmark.h>

#include <atomic>
#include <chrono>
#include <cstdio>
#include <cstring>
#include <string>
#include <thread>
#include <vector>

#include <rdx/remote/IServiceProviderManager.h>
#include <rdx/remote/RpcHandle.h>

#include "RatioReporter.h"
#include "platform/os/StreamSocket.h"
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
  RpcFixture() {
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
  rdx::os::StreamListener listener = rdx::os::StreamListener::ListenTcp(0);
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
    s.SendAll(&byte, 1);
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
  s.SendAll(&byte, 1);
  ReceiveAll(s, buffer.data(), buffer.size());
  for (auto _ : state) {
    s.SendAll(&byte, 1);
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
    return rdx::rpc::serviceprovider::StreamImageBuffer(handle, session, &size, buffer.data(),
                                                        1, 2, error) != 0 &&
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

// One server for all thread counts, so each run measures calls, not start-up.
RpcFixture* gShared = nullptr;

void RpcConcurrentPings(benchmark::State& state) {
  void* handle = gShared->Handle();
  rdx::rpc::serviceprovider::Ping(handle);
  for (auto _ : state) {
    if (rdx::rpc::serviceprovider::Ping(handle) == 0) state.SkipWithError("Ping failed");
  }
  state.counters["calls_per_second"] =
      benchmark::Counter(static_cast<double>(state.iterations()), benchmark::Counter::kIsRate);
  gul::FreeRpcHandle(handle);
}

BENCHMARK(RawPingPong)->UseRealTime();
BENCHMARK(RpcPing)->UseRealTime();
BENCHMARK(RpcConcurrentPings)->Threads(2)->Threads(16)->Threads(128)->UseRealTime();

}  // namespace

int main(int argc, char** argv) {
  benchmark::Initialize(&argc, argv);
  if (benchmark::ReportUnrecognizedArguments(argc, argv)) return 1;
  RpcFixture shared;
  gShared = &shared;
  // Each size raw, then by RPC, so both of a pair see about the same load on a shared machine.
  for (const std::int64_t bytes : kSizes) {
    benchmark::RegisterBenchmark("RawTransfer", RawTransfer)->Arg(bytes)
        ->Unit(benchmark::kMicrosecond)->UseRealTime()->MinTime(1.0);
    benchmark::RegisterBenchmark("RpcStreamImageBuffer", RpcStreamImageBuffer)->Arg(bytes)
        ->Unit(benchmark::kMicrosecond)->UseRealTime()->MinTime(1.0);
  }
  rdx::bench::RatioReporter reporter;
  benchmark::RunSpecifiedBenchmarks(&reporter);
  reporter.PrintRatio("Ping round trip / raw TCP ping-pong (aim <= 1.5)", "RawPingPong/real_time",
                      "RpcPing/real_time");
  for (const std::int64_t bytes : kSizes) {
    const std::string suffix = "/" + std::to_string(bytes) + "/min_time:1.000/real_time";
    reporter.PrintRatio("StreamImageBuffer " + SizeName(bytes) +
                            " throughput / raw TCP (aim >= 0.80)",
                        "RpcStreamImageBuffer" + suffix, "RawTransfer" + suffix);
  }
  benchmark::Shutdown();
  return 0;
}
