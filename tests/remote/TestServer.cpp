#include "TestServer.h"

#include <stdexcept>

#include <rdx/remote/RpcHandle.h>

#include "remote/runtime/RpcServer.h"

namespace rdx::rpc::test {

using namespace QUORVAN::Rendix;

TestServer::TestServer(std::vector<ServerInterface*> interfaces, std::size_t maxConnections,
                       ByteBudget* budget)
    : interfaces_(std::move(interfaces)), server_(std::make_unique<RpcServer>()) {
  Start(maxConnections, budget);
}

TestServer::TestServer(ServerCore::IServerCoreManager* core,
                       ServiceProvider::IServiceProviderManager* provider,
                       ServerCore::IServerAutoBindManager* autoBind, ByteBudget* budget)
    : server_(std::make_unique<RpcServer>()) {
  for (void* description : {ServerCore::CreateServerCoreInterfaceSpec(core),
                            ServiceProvider::CreateServiceProviderInterfaceSpec(provider),
                            ServerCore::CreateServerAutoBindInterfaceSpec(autoBind)}) {
    if (description == nullptr) continue;
    owned_.push_back(description);
    interfaces_.push_back(static_cast<ServerInterface*>(description));
  }
  Start(0, budget);
}

void TestServer::Start(std::size_t maxConnections, ByteBudget* budget) {
  if (maxConnections != 0) server_->SetLimits(300, maxConnections);
  if (budget != nullptr) server_->SetMemoryBudget(*budget);
  for (ServerInterface* entry : interfaces_) server_->RegisterInterface(entry);
  if (server_->UseTcpPort(0, port_) != 0 || server_->Listen() != 0) {
    for (void* description : owned_) ServerCore::DestroyServerCoreInterfaceSpec(description);
    throw std::runtime_error("test server cannot listen");
  }
}

TestServer::~TestServer() {
  server_->StopListening();
  for (void* description : owned_) ServerCore::DestroyServerCoreInterfaceSpec(description);
}

Binding::Binding(std::string host, std::string endpoint, std::string protocol) {
  std::string ignored;
  auto text = [](std::string& s) { return reinterpret_cast<unsigned char*>(s.data()); };
  h = GeneralUtilityLib::GetRpcHandle(text(host), text(endpoint), text(protocol), ignored);
}

Binding::~Binding() {
  if (h != nullptr) GeneralUtilityLib::FreeRpcHandle(h);
}

std::uint16_t FreeTcpPort() {
  RpcServer probe;
  std::uint16_t port = 0;
  return probe.UseTcpPort(0, port) == 0 ? port : 0;
}

}  // namespace rdx::rpc::test
