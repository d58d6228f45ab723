#include "StubTestServer.h"

namespace rdx::test {

using namespace QUORVAN::Rendix;

StubTestServer::StubTestServer(ServerCore::IServerCoreManager* core,
                               ServiceProvider::IServiceProviderManager* provider,
                               ServerCore::IServerAutoBindManager* autoBind) {
  for (void* spec : {ServerCore::CreateServerCoreInterfaceSpec(core),
                     ServiceProvider::CreateServiceProviderInterfaceSpec(provider),
                     ServerCore::CreateServerAutoBindInterfaceSpec(autoBind)}) {
    if (spec != nullptr) interfaces_.push_back(static_cast<rpc::ServerInterface*>(spec));
  }
}

StubTestServer::~StubTestServer() {
  for (rpc::ServerInterface* spec : interfaces_) ServerCore::DestroyServerCoreInterfaceSpec(spec);
}

void* StubTestServer::Binding() { return this; }

}  // namespace rdx::test
