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
  for (void* spec : {ServerCore::CreateServerCoreInterfaceSpec(core),
                     ServiceProvider::CreateServiceProviderInterfaceSpec(provider),
                     ServerCore::CreateServerAutoBindInterfaceSpec(autoBind)}) {
    if (spec == nullptr) continue;
    interfaces_.push_back(static_cast<rpc::ServerInterface*>(spec));
    server_->RegisterInterface(interfaces_.back());
  }
  if (server_->UseTcpPort(0, port_) != 0 || server_->Listen() != 0) {
    throw std::runtime_error("test server cannot listen");
  }
  binding_ = NewBinding();
}

StubTestServer::~StubTestServer() {
  for (void*& binding : bindings_) GeneralUtilityLib::FreeRpcHandle(binding);
  server_->StopListening();
  server_.reset();
  for (rpc::ServerInterface* spec : interfaces_) ServerCore::DestroyServerCoreInterfaceSpec(spec);
}

void* StubTestServer::NewBinding() {
  std::string host = "127.0.0.1", endpoint = std::to_string(port_), protocol = "ncacn_ip_tcp";
  std::string ignored;
  auto text = [](std::string& s) { return reinterpret_cast<unsigned char*>(s.data()); };
  void* binding = GeneralUtilityLib::GetRpcHandle(text(host), text(endpoint), text(protocol),
                                                  ignored);
  if (binding == nullptr) throw std::runtime_error("no binding handle");
  bindings_.push_back(binding);
  return binding;
}

}  // namespace rdx::test
