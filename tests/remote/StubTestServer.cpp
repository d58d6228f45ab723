#include "StubTestServer.h"

#include <stdexcept>
#include <string>

#include <rdx/remote/RpcHandle.h>

namespace rdx::test {

using namespace QUORVAN::Rendix;

StubTestServer::StubTestServer(ServerCore::IServerCoreManager* core,
                               ServiceProvider::IServiceProviderManager* provider,
                               ServerCore::IServerAutoBindManager* autoBind)
    : server_(std::make_unique<rpc::RpcServer>()) {
  for (void* interfaceSpec : {ServerCore::CreateServerCoreInterfaceSpec(core),
                     ServiceProvider::CreateServiceProviderInterfaceSpec(provider),
                     ServerCore::CreateServerAutoBindInterfaceSpec(autoBind)}) {
    if (interfaceSpec == nullptr) continue;
    interfaces_.push_back(static_cast<rpc::ServerInterface*>(interfaceSpec));
    server_->RegisterInterface(interfaces_.back());
  }
  if (server_->UseTcpPort(0, port_) != 0 || server_->Listen() != 0) {
    throw std::runtime_error("test server cannot listen");
  }
  std::string host = "127.0.0.1", endpoint = std::to_string(port_), protocol = "ncacn_ip_tcp";
  std::string ignored;
  auto text = [](std::string& s) { return reinterpret_cast<unsigned char*>(s.data()); };
  binding_ = GeneralUtilityLib::GetRpcHandle(text(host), text(endpoint), text(protocol), ignored);
  if (binding_ == nullptr) throw std::runtime_error("no binding handle");
}

StubTestServer::~StubTestServer() {
  GeneralUtilityLib::FreeRpcHandle(binding_);
  server_->StopListening();
  server_.reset();
  for (rpc::ServerInterface* interfaceSpec : interfaces_) ServerCore::DestroyServerCoreInterfaceSpec(interfaceSpec);
}

}  // namespace rdx::test
