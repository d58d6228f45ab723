// Server stub of the server interface: operation n calls the n-th manager member, its
// signature checked against the table row when this file is compiled.

#include <rdx/remote/IServerCoreManager.h>

#include "remote/stubs/InterfaceTables.h"
#include "remote/stubs/StubServerInterface.h"
#include "remote/stubs/TypedStubs.h"

namespace QUORVAN::Rendix::ServerCore {

IServerCoreManager::~IServerCoreManager() = default;

// A member a host does not override fails the call the way the size protocol and the
// boolean results say: small 0, long -1.
std::int8_t IServerCoreManager::GetVersion(std::string&) { return 0; }
std::int8_t IServerCoreManager::Op1(const char*) { return 0; }
std::int8_t IServerCoreManager::Op2(const char*, const char*, std::int32_t, std::uint8_t*,
                                    std::int32_t&) {
  return 0;
}
std::int8_t IServerCoreManager::Op3(const char*) { return 0; }
std::int8_t IServerCoreManager::OpenSession(const char*, std::string&, std::string&) { return 0; }
std::int32_t IServerCoreManager::QueryText(const char*, std::int32_t, char*) { return -1; }
std::int32_t IServerCoreManager::QueryTextAlt(const char*, std::int32_t, char*) { return -1; }
std::int8_t IServerCoreManager::PostText(const char*) { return 0; }
std::int8_t IServerCoreManager::CloseSession(const char*) { return 0; }
std::int8_t IServerCoreManager::Op9(const char*) { return 0; }
std::int8_t IServerCoreManager::Op10(const char*, std::int8_t, const char*, std::string&) {
  return 0;
}
std::int8_t IServerCoreManager::AddServiceProvider(const char*, const char*, std::int32_t,
                                                   const char*, std::string&) {
  return 0;
}
std::int8_t IServerCoreManager::RemoveServiceProvider(const char*, const char*, std::string&) {
  return 0;
}
std::int32_t IServerCoreManager::GetServiceProviderFor(const char*, const char*, std::int32_t,
                                                       char*, std::string&) {
  return -1;
}
std::int32_t IServerCoreManager::GetServiceProviderInfo(const char*, const char*, std::int32_t,
                                                        char*, std::string&) {
  return -1;
}
std::int8_t IServerCoreManager::UpdateServiceProviderInfo(const char*, const char*, std::int32_t,
                                                          const char*, std::string&) {
  return 0;
}
std::int8_t IServerCoreManager::AddServices(const char*, const char*, std::int32_t, const char*,
                                            std::string&) {
  return 0;
}
std::int8_t IServerCoreManager::RemoveServices(const char*, const char*, std::int32_t, const char*,
                                               std::string&) {
  return 0;
}
std::int32_t IServerCoreManager::GetInfo(const char*, const char*, std::int32_t, char*,
                                         std::string&) {
  return -1;
}
std::int32_t IServerCoreManager::GetServiceProviders(const char*, std::int32_t, char*,
                                                     std::string&) {
  return -1;
}
std::int32_t IServerCoreManager::GetServiceProvidersWithInfo(const char*, std::int32_t, char*,
                                                             std::string&) {
  return -1;
}
std::int32_t IServerCoreManager::GetServices(const char*, const char*, std::int32_t, char*,
                                             std::string&) {
  return -1;
}
std::int32_t IServerCoreManager::GetServiceInfos(const char*, const char*, std::int32_t, char*,
                                                 std::string&) {
  return -1;
}
std::int32_t IServerCoreManager::GetServiceInfo(const char*, const char*, const char*, std::int32_t,
                                                char*, std::string&) {
  return -1;
}
std::int8_t IServerCoreManager::StopServer(const char*, const char*) { return 0; }
std::int8_t IServerCoreManager::OpenManagerSession(const char*, std::string&, std::string&) {
  return 0;
}
std::int8_t IServerCoreManager::Op26(std::string&, std::string&) { return 0; }
std::int32_t IServerCoreManager::GetServerInfo(const char*, std::int32_t, char*, std::string&) {
  return -1;
}
std::int8_t IServerCoreManager::CreateServiceProvider(const char*, const char*, const char*,
                                                      const char*, std::string&) {
  return 0;
}
std::int8_t IServerCoreManager::DeleteServiceProvider(const char*, const char*, std::string&) {
  return 0;
}
std::int8_t IServerCoreManager::Op30(const char*, const char*, std::string&) { return 0; }
std::int8_t IServerCoreManager::StopServiceProvider(const char*, const char*, std::string&) {
  return 0;
}
std::int32_t IServerCoreManager::GetServerConfigXml(const char*, std::int32_t, char*,
                                                    std::string&) {
  return -1;
}
std::int8_t IServerCoreManager::UpdateServerConfigXml(const char*, const char*, std::string&) {
  return 0;
}
std::int32_t IServerCoreManager::GetServiceProviderConfigXml(const char*, const char*, std::int32_t,
                                                             char*, std::string&) {
  return -1;
}
std::int8_t IServerCoreManager::UpdateServiceProviderConfigXml(const char*, const char*,
                                                               const char*, std::string&) {
  return 0;
}
std::int32_t IServerCoreManager::GetServiceProvidersXml(const char*, std::int32_t, char*,
                                                        std::string&) {
  return -1;
}
std::int32_t IServerCoreManager::GetServicesXml(const char*, std::int32_t, char*, std::string&) {
  return -1;
}
std::int8_t IServerCoreManager::UpdateServicesXml(const char*, const char*, std::string&) {
  return 0;
}
std::int8_t IServerCoreManager::AddServicesForManager(const char*, const char*, const char*,
                                                      const char*, const char*, std::string&) {
  return 0;
}
std::int8_t IServerCoreManager::RemoveService(const char*, const char*, const char*, std::string&) {
  return 0;
}
std::int8_t IServerCoreManager::StartService(const char*, const char*, std::string&) { return 0; }
std::int8_t IServerCoreManager::StopService(const char*, const char*, std::string&) { return 0; }
std::int8_t IServerCoreManager::Op43(const char*, const char*, std::string&, std::string&) {
  return 0;
}
std::int8_t IServerCoreManager::RefreshService(const char*, const char*, std::string&) { return 0; }
std::int8_t IServerCoreManager::RefreshAllServices(const char*, std::string&) { return 0; }
std::int32_t IServerCoreManager::Op46(const char*, const char*, std::int32_t, char*, std::string&) {
  return -1;
}
std::int32_t IServerCoreManager::Op47(const char*, const char*, std::int32_t, char*, std::string&) {
  return -1;
}

namespace {

using Dispatch = rdx::rpc::ManagerDispatch<
    rdx::rpc::tables::kServerCore, &IServerCoreManager::GetVersion, &IServerCoreManager::Op1,
    &IServerCoreManager::Op2, &IServerCoreManager::Op3, &IServerCoreManager::OpenSession,
    &IServerCoreManager::QueryText, &IServerCoreManager::QueryTextAlt,
    &IServerCoreManager::PostText, &IServerCoreManager::CloseSession, &IServerCoreManager::Op9,
    &IServerCoreManager::Op10, &IServerCoreManager::AddServiceProvider,
    &IServerCoreManager::RemoveServiceProvider, &IServerCoreManager::GetServiceProviderFor,
    &IServerCoreManager::GetServiceProviderInfo, &IServerCoreManager::UpdateServiceProviderInfo,
    &IServerCoreManager::AddServices, &IServerCoreManager::RemoveServices,
    &IServerCoreManager::GetInfo, &IServerCoreManager::GetServiceProviders,
    &IServerCoreManager::GetServiceProvidersWithInfo, &IServerCoreManager::GetServices,
    &IServerCoreManager::GetServiceInfos, &IServerCoreManager::GetServiceInfo,
    &IServerCoreManager::StopServer, &IServerCoreManager::OpenManagerSession,
    &IServerCoreManager::Op26, &IServerCoreManager::GetServerInfo,
    &IServerCoreManager::CreateServiceProvider, &IServerCoreManager::DeleteServiceProvider,
    &IServerCoreManager::Op30, &IServerCoreManager::StopServiceProvider,
    &IServerCoreManager::GetServerConfigXml, &IServerCoreManager::UpdateServerConfigXml,
    &IServerCoreManager::GetServiceProviderConfigXml,
    &IServerCoreManager::UpdateServiceProviderConfigXml,
    &IServerCoreManager::GetServiceProvidersXml, &IServerCoreManager::GetServicesXml,
    &IServerCoreManager::UpdateServicesXml, &IServerCoreManager::AddServicesForManager,
    &IServerCoreManager::RemoveService, &IServerCoreManager::StartService,
    &IServerCoreManager::StopService, &IServerCoreManager::Op43,
    &IServerCoreManager::RefreshService, &IServerCoreManager::RefreshAllServices,
    &IServerCoreManager::Op46, &IServerCoreManager::Op47>;

}  // namespace

void* CreateServerCoreInterfaceSpec(IServerCoreManager* manager) noexcept {
  return rdx::rpc::NewInterfaceSpec(rdx::rpc::ServerCoreShape(), manager, &Dispatch::Invoke);
}

void DestroyServerCoreInterfaceSpec(void* interfaceSpec) noexcept {
  rdx::rpc::DeleteInterfaceSpec(interfaceSpec);
}

}  // namespace QUORVAN::Rendix::ServerCore
