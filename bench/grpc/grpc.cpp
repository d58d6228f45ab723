// Our RPC against gRPC, each server in a process of its own (this program started again with
// --serve ours|grpc): a Ping round trip against a gRPC unary call (synchronous API), and calls
// per second with 2 and 16 clients, each client with a connection of its own. Aims: our round
// trip at most 0.35 of gRPC's; our calls per second with 16 clients at least 4 times gRPC's.

#include <benchmark/benchmark.h>
#include <grpcpp/grpcpp.h>

#include <cstdio>
#include <iostream>
#include <memory>
#include <string>
#include <vector>

#include <rdx/remote/IServiceProviderManager.h>
#include <rdx/remote/RpcHandle.h>

#include "RatioReporter.h"
#include "bench_ping.grpc.pb.h"
#include "platform/os/ChildProcess.h"
#include "remote/runtime/RpcServer.h"
#include "remote/stubs/ServiceProviderClient.h"

namespace {

namespace sp = QUORVAN::Rendix::ServiceProvider;
namespace gul = QUORVAN::Rendix::GeneralUtilityLib;

class PingManager : public sp::IServiceProviderManager {
 public:
  std::int8_t Ping() override { return 1; }
};

class GrpcPing final : public rdxbench::BenchPing::Service {
  grpc::Status Ping(grpc::ServerContext*, const rdxbench::PingRequest*,
                    rdxbench::PingReply* reply) override {
    reply->set_answer(1);
    return grpc::Status::OK;
  }
};

// Blocks until the parent closes our standard input (its Stop).
void WaitForParent() {
  std::string ignored;
  while (std::getline(std::cin, ignored)) {
  }
}

int ServeOurs() {
  PingManager manager;
  void* description = sp::CreateServiceProviderInterfaceSpec(&manager);
  rdx::rpc::RpcServer server;
  server.RegisterInterface(static_cast<rdx::rpc::ServerInterface*>(description));
  std::uint16_t port = 0;
  if (server.UseTcpPort(0, port) != 0 || server.Listen() != 0) return 1;
  std::printf("PORT %u\n", static_cast<unsigned>(port));
  std::fflush(stdout);
  WaitForParent();
  server.StopListening();
  sp::DestroyServiceProviderInterfaceSpec(description);
  return 0;
}

int ServeGrpc() {
  GrpcPing service;
  int port = 0;
  grpc::ServerBuilder builder;
  builder.AddListeningPort("127.0.0.1:0", grpc::InsecureServerCredentials(), &port);
  builder.RegisterService(&service);
  std::unique_ptr<grpc::Server> server = builder.BuildAndStart();
  if (server == nullptr || port == 0) return 1;
  std::printf("PORT %d\n", port);
  std::fflush(stdout);
  WaitForParent();
  server->Shutdown();
  return 0;
}

// A server child and the port it listens on (empty when it did not start).
struct Child {
  std::unique_ptr<rdx::os::ChildProcess> process;
  std::string port;
  explicit Child(const char* kind) {
    process = rdx::os::ChildProcess::Start({"/proc/self/exe", "--serve", kind}, {});
    if (process == nullptr) return;
    if (const auto line = process->WaitForLine("PORT ", std::chrono::seconds(20))) {
      port = line->substr(line->find("PORT ") + 5);
    }
  }
  ~Child() {
    if (process != nullptr) (void)process->Stop(std::chrono::seconds(10));
  }
};

Child* gOurs = nullptr;
Child* gGrpc = nullptr;

void OurPing(benchmark::State& state) {
  std::string host = "127.0.0.1", endpoint = gOurs->port, protocol = "ncacn_ip_tcp";
  std::string ignored;
  void* handle = gul::GetRpcHandle(reinterpret_cast<unsigned char*>(host.data()),
                                   reinterpret_cast<unsigned char*>(endpoint.data()),
                                   reinterpret_cast<unsigned char*>(protocol.data()), ignored);
  rdx::rpc::serviceprovider::Ping(handle);  // connect and bind outside the timing
  for (auto _ : state) {
    if (rdx::rpc::serviceprovider::Ping(handle) == 0) state.SkipWithError("Ping failed");
  }
  gul::FreeRpcHandle(handle);
}

void GrpcUnary(benchmark::State& state) {
  grpc::ChannelArguments arguments;
  // A connection of its own per client, as each of our handles has.
  arguments.SetInt(GRPC_ARG_USE_LOCAL_SUBCHANNEL_POOL, 1);
  auto channel = grpc::CreateCustomChannel("127.0.0.1:" + gGrpc->port,
                                           grpc::InsecureChannelCredentials(), arguments);
  auto stub = rdxbench::BenchPing::NewStub(channel);
  auto call = [&] {
    grpc::ClientContext context;
    rdxbench::PingRequest request;
    rdxbench::PingReply reply;
    return stub->Ping(&context, request, &reply).ok() && reply.answer() == 1;
  };
  (void)call();  // connect outside the timing
  for (auto _ : state) {
    if (!call()) state.SkipWithError("gRPC Ping failed");
  }
}

}  // namespace

int main(int argc, char** argv) {
  if (argc == 3 && std::string(argv[1]) == "--serve") {
    return std::string(argv[2]) == "grpc" ? ServeGrpc() : ServeOurs();
  }
  benchmark::Initialize(&argc, argv);
  if (benchmark::ReportUnrecognizedArguments(argc, argv)) return 1;
  Child ours("ours"), grpcServer("grpc");
  if (ours.port.empty() || grpcServer.port.empty()) {
    std::fprintf(stderr, "bench_grpc: a server child did not start\n");
    return 1;
  }
  gOurs = &ours;
  gGrpc = &grpcServer;
  benchmark::RegisterBenchmark("Ping/ours", OurPing)->UseRealTime();
  benchmark::RegisterBenchmark("Ping/grpc", GrpcUnary)->UseRealTime();
  for (int threads : {2, 16}) {
    benchmark::RegisterBenchmark("Calls/ours", OurPing)->Threads(threads)->UseRealTime();
    benchmark::RegisterBenchmark("Calls/grpc", GrpcUnary)->Threads(threads)->UseRealTime();
  }
  rdx::bench::RatioReporter reporter;
  benchmark::RunSpecifiedBenchmarks(&reporter);
  reporter.PrintRatio("Ping round trip ours / gRPC (aim <= 0.35)", "Ping/grpc/real_time",
                      "Ping/ours/real_time");
  for (int threads : {2, 16}) {
    const std::string suffix = "/real_time/threads:" + std::to_string(threads);
    reporter.PrintRatio("calls/s ours / gRPC, " + std::to_string(threads) + " clients" +
                            (threads == 16 ? " (aim >= 4)" : ""),
                        "Calls/ours" + suffix, "Calls/grpc" + suffix);
  }
  benchmark::Shutdown();
  return 0;
}
