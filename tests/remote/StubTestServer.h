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

  void* Binding() { return binding_; }

 private:
  std::vector<rpc::ServerInterface*> interfaces_;
  std::unique_ptr<rpc::RpcServer> server_;
  std::uint16_t port_ = 0;
  void* binding_ = nullptr;
};

}  // namespace rdx::test
