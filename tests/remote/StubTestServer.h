#pragma once
// Serves the three interfaces to one test with the given managers (borrowed; null leaves an
// interface out) and hands out a binding handle that reaches all of them.

#include <vector>

#include <rdx/remote/IServerAutoBindManager.h>
#include <rdx/remote/IServerCoreManager.h>
#include <rdx/remote/IServiceProviderManager.h>

#include "remote/runtime/RpcRuntime.h"

namespace rdx::test {

class StubTestServer {
 public:
  StubTestServer(QUORVAN::Rendix::ServerCore::IServerCoreManager* core,
                 QUORVAN::Rendix::ServiceProvider::IServiceProviderManager* provider,
                 QUORVAN::Rendix::ServerCore::IServerAutoBindManager* autoBind);
  ~StubTestServer();
  StubTestServer(const StubTestServer&) = delete;
  StubTestServer& operator=(const StubTestServer&) = delete;

  void* Binding();
  const std::vector<rpc::ServerInterface*>& Interfaces() const { return interfaces_; }

 private:
  std::vector<rpc::ServerInterface*> interfaces_;
};

}  // namespace rdx::test
