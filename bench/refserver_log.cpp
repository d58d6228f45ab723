// What rdx-refserver's call log costs: Ping calls per second from 2 and 16 clients against the
// server logging every call (its standard error a pipe this program reads, as a journal or a
// test reads it) and against the same server started with --log false. Aim: logging keeps at
// least 0.9 of the calls per second.

#include <benchmark/benchmark.h>

#include <chrono>
#include <csignal>
#include <cstdio>
#include <memory>
#include <random>
#include <string>
#include <thread>
#include <vector>

#include <rdx/remote/RpcHandle.h>

#include "RatioReporter.h"
#include "platform/os/ChildProcess.h"
#include "remote/stubs/ServiceProviderClient.h"

namespace {

namespace gul = QUORVAN::Rendix::GeneralUtilityLib;

// One rdx-refserver child; its output is read (and dropped) by a thread of ours until it ends.
class Server {
 public:
  explicit Server(bool log) {
    std::mt19937 random(std::random_device{}());
    std::uniform_int_distribution<int> ports(20000, 32000);
    for (int attempt = 0; attempt < 20; ++attempt) {
      port_ = std::to_string(ports(random));
      child_ = rdx::os::ChildProcess::Start(
          {RDX_REFSERVER, "--tcp", port_, "--log", log ? "true" : "false"}, {});
      if (child_ != nullptr && child_->WaitForLine("listening", std::chrono::seconds(20))) break;
      child_.reset();
    }
    if (child_ != nullptr) {
      reader_ = std::thread([this] {
        (void)child_->ReadToEnd(64 * 1024,
                                std::chrono::steady_clock::now() + std::chrono::hours(24));
      });
    }
  }
  ~Server() {
    if (child_ == nullptr) return;
    child_->Signal(SIGTERM);
    reader_.join();
    (void)child_->Stop(std::chrono::seconds(10));
  }
  bool Running() const { return child_ != nullptr; }
  void* Handle() const {
    std::string host = "127.0.0.1", endpoint = port_, protocol = "ncacn_ip_tcp";
    std::string ignored;
    return gul::GetRpcHandle(reinterpret_cast<unsigned char*>(host.data()),
                             reinterpret_cast<unsigned char*>(endpoint.data()),
                             reinterpret_cast<unsigned char*>(protocol.data()), ignored);
  }

 private:
  std::string port_;
  std::unique_ptr<rdx::os::ChildProcess> child_;
  std::thread reader_;
};

Server* gServers[2] = {};  // [0] without the log, [1] with it

void Pings(benchmark::State& state, int log) {
  Server* server = gServers[log];
  if (server == nullptr || !server->Running()) {
    state.SkipWithError("rdx-refserver did not start");
    return;
  }
  void* handle = server->Handle();
  rdx::rpc::serviceprovider::Ping(handle);  // connect and bind outside the timing
  for (auto _ : state) {
    if (rdx::rpc::serviceprovider::Ping(handle) == 0) state.SkipWithError("Ping failed");
  }
  state.counters["calls_per_second"] =
      benchmark::Counter(static_cast<double>(state.iterations()), benchmark::Counter::kIsRate);
  gul::FreeRpcHandle(handle);
}

}  // namespace

int main(int argc, char** argv) {
  benchmark::Initialize(&argc, argv);
  if (benchmark::ReportUnrecognizedArguments(argc, argv)) return 1;
  Server quiet(false), logging(true);
  gServers[0] = &quiet;
  gServers[1] = &logging;
  for (int threads : {2, 16}) {
    // Interleaved, so both see the same share of a busy machine.
    benchmark::RegisterBenchmark("RefServerPing/log:off", Pings, 0)
        ->Threads(threads)
        ->UseRealTime()
        ->MinTime(1.0);
    benchmark::RegisterBenchmark("RefServerPing/log:on", Pings, 1)
        ->Threads(threads)
        ->UseRealTime()
        ->MinTime(1.0);
  }
  rdx::bench::RatioReporter reporter;
  benchmark::RunSpecifiedBenchmarks(&reporter);
  for (int threads : {2, 16}) {
    const std::string suffix = "/min_time:1.000/real_time/threads:" + std::to_string(threads);
    // Time per call without the log over time per call with it: the share of calls kept.
    reporter.PrintRatio("refserver calls/s logging / not logging, " + std::to_string(threads) +
                            " clients (aim >= 0.9)",
                        "RefServerPing/log:on" + suffix, "RefServerPing/log:off" + suffix);
  }
  benchmark::Shutdown();
  return 0;
}
