#pragma once
// Serves the three interfaces to one test over loopback TCP on a free port, with the given
// managers (borrowed; null leaves an interface out), and hands out a binding handle that
// reaches all of them. Stopped, with every call ended, when it goes out of scope.

#include <cstdint>
#include <memory>
#include <vector>

#include <rdx/remote/IServerAutoBindManager.h>
#include <rdx/remote/IServerCoreManager.h>
#include <rdx/remote/IServiceProviderManager.h>

#include "remote/runtime/RpcServer.h"

namespace rdx::test {

class StubTestServer {
 public:
  StubTestServer(QUORVAN::Rendix::ServerCore::IServerCoreManager* core,
                 QUORVAN::Rendix::ServiceProvider::IServiceProviderManager* provider,
                 QUORVAN::Rendix::ServerCore::IServerAutoBindManager* autoBind);
  ~StubTestServer();
  StubTestServer(const StubTestServer&) = delete;
  StubTestServer& operator=(const StubTestServer&) = delete;

  // A fresh handle of its own for each call of NewBinding (owned here, freed at the end);
  // Binding() is one shared handle.
  void* Binding() { return binding_; }
  void* NewBinding();
  std::uint16_t Port() const { return port_; }
  const std::vector<rpc::ServerInterface*>& Interfaces() const { return interfaces_; }

 private:
  std::vector<rpc::ServerInterface*> interfaces_;
  std::unique_ptr<rpc::RpcServer> server_;
  std::uint16_t port_ = 0;
  std::vector<void*> bindings_;
  void* binding_ = nullptr;
};

}  // namespace rdx::test
