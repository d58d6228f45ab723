#pragma once
// The in-process server of the remote tests: the interfaces it is given on a free loopback
// port, stopped with every call ended when it goes out of scope; and binding handles that
// free themselves.

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include <rdx/remote/IServerAutoBindManager.h>
#include <rdx/remote/IServerCoreManager.h>
#include <rdx/remote/IServiceProviderManager.h>

#include "remote/runtime/RpcRuntime.h"
#include "remote/runtime/RpcServer.h"

namespace rdx::rpc::test {

class TestServer {
 public:
  // `interfaces` are borrowed; `maxConnections` 0 keeps the server's own limit (otherwise
  // PDUs time out after 300 ms). `budget` (borrowed) replaces the process's call budget.
  explicit TestServer(std::vector<ServerInterface*> interfaces, std::size_t maxConnections = 0,
                      ByteBudget* budget = nullptr);
  // The three real interfaces with these managers (borrowed; null leaves one out).
  TestServer(QUORVAN::Rendix::ServerCore::IServerCoreManager* core,
             QUORVAN::Rendix::ServiceProvider::IServiceProviderManager* provider,
             QUORVAN::Rendix::ServerCore::IServerAutoBindManager* autoBind,
             ByteBudget* budget = nullptr);
  ~TestServer();
  TestServer(const TestServer&) = delete;
  TestServer& operator=(const TestServer&) = delete;

  RpcServer& Server() { return *server_; }
  std::uint16_t Port() const { return port_; }
  std::string Endpoint() const { return std::to_string(port_); }

 private:
  void Start(std::size_t maxConnections, ByteBudget* budget);

  std::vector<ServerInterface*> interfaces_;
  std::vector<void*> owned_;  // interface descriptions made for the managers
  std::unique_ptr<RpcServer> server_;
  std::uint16_t port_ = 0;
};

// A loopback TCP port that was free a moment ago: bound and released again, so nobody listens.
std::uint16_t FreeTcpPort();

// GetRpcHandle/FreeRpcHandle as one object; `h` is null when the binding was refused.
struct Binding {
  Binding(std::string host, std::string endpoint, std::string protocol = "ncacn_ip_tcp");
  explicit Binding(const TestServer& server) : Binding("127.0.0.1", server.Endpoint()) {}
  ~Binding();
  Binding(const Binding&) = delete;
  Binding& operator=(const Binding&) = delete;
  void* h = nullptr;
};

}  // namespace rdx::rpc::test
