// Server stub of the service-provider interface: operation n calls the n-th manager member, its
// signature checked against the table row when this file is compiled.

#include <rdx/remote/IServiceProviderManager.h>

#include "remote/stubs/InterfaceTables.h"
#include "remote/stubs/StubServerInterface.h"
#include "remote/stubs/TypedStubs.h"

namespace QUORVAN::Rendix::ServiceProvider {

IServiceProviderManager::~IServiceProviderManager() = default;

// A member a host does not override fails the call the way the size protocol and the
// boolean results say: small 0, long -1.
std::int8_t IServiceProviderManager::Ping() { return 0; }
std::int8_t IServiceProviderManager::OpenServiceSession(const char*, const char*, std::string&,
                                                        std::string&) {
  return 0;
}
std::int8_t IServiceProviderManager::CloseSession(std::string&, std::string&) { return 0; }
std::int32_t IServiceProviderManager::GetServiceInfo(std::string&, std::int32_t, char*,
                                                     std::string&) {
  return -1;
}
std::int32_t IServiceProviderManager::GetServiceMetadata(std::string&, const char*, std::int32_t,
                                                         char*, std::string&) {
  return -1;
}
std::int32_t IServiceProviderManager::GetClientProperties(std::string&, std::int32_t, char*,
                                                          std::string&) {
  return -1;
}
std::int32_t IServiceProviderManager::GetDefinition(std::string&, std::int32_t, std::int32_t, char*,
                                                    std::string&) {
  return -1;
}
std::int8_t IServiceProviderManager::SetClientProperties(std::string&, const char*, std::string&) {
  return 0;
}
std::int8_t IServiceProviderManager::SetAOI(std::string&, double, double, double, double,
                                            std::int32_t, std::int32_t, const char*, std::string&) {
  return 0;
}
std::int8_t IServiceProviderManager::ExtractAOI(std::string&, std::string&) { return 0; }
std::int8_t IServiceProviderManager::GetStreamingProperties(std::string&, std::string&,
                                                            std::string&) {
  return 0;
}
std::int8_t IServiceProviderManager::StreamImageBuffer(std::string&, std::int32_t&, std::uint8_t*,
                                                       std::int32_t, std::int32_t, std::string&) {
  return 0;
}
std::int8_t IServiceProviderManager::DoneWithImage(std::string&, std::string&) { return 0; }
std::int32_t IServiceProviderManager::GetImageMetadata(std::string&, const char*, std::int32_t,
                                                       char*, std::string&) {
  return -1;
}
std::int8_t IServiceProviderManager::Op14(std::string&, std::int32_t&, char*) { return 0; }
std::int32_t IServiceProviderManager::GetInfo(const char*, std::int32_t, char*, std::string&) {
  return -1;
}
std::int32_t IServiceProviderManager::GetServiceStates(std::int32_t, char*, std::string&) {
  return -1;
}
std::int8_t IServiceProviderManager::Synchronize(const char*, std::string&) { return 0; }
std::int8_t IServiceProviderManager::UpdateServiceStates(const char*, std::string&) { return 0; }
void IServiceProviderManager::Op19(double&) {}
std::int8_t IServiceProviderManager::StopServiceProvider(const char*) { return 0; }
std::int32_t IServiceProviderManager::QueryProviderState() { return -1; }
std::int8_t IServiceProviderManager::Op22(const char*, std::int32_t, char*) { return 0; }
std::int8_t IServiceProviderManager::Op23(const char*, const char*, const char*, const char*,
                                          std::string&) {
  return 0;
}
std::int8_t IServiceProviderManager::Op24(const char*, const char*, std::string&) { return 0; }
std::int8_t IServiceProviderManager::Op25(const char*, std::string&) { return 0; }
std::int8_t IServiceProviderManager::Op26(const char*, std::string&) { return 0; }

namespace {

using Dispatch = rdx::rpc::ManagerDispatch<
    rdx::rpc::tables::kServiceProvider, &IServiceProviderManager::Ping,
    &IServiceProviderManager::OpenServiceSession, &IServiceProviderManager::CloseSession,
    &IServiceProviderManager::GetServiceInfo, &IServiceProviderManager::GetServiceMetadata,
    &IServiceProviderManager::GetClientProperties, &IServiceProviderManager::GetDefinition,
    &IServiceProviderManager::SetClientProperties, &IServiceProviderManager::SetAOI,
    &IServiceProviderManager::ExtractAOI, &IServiceProviderManager::GetStreamingProperties,
    &IServiceProviderManager::StreamImageBuffer, &IServiceProviderManager::DoneWithImage,
    &IServiceProviderManager::GetImageMetadata, &IServiceProviderManager::Op14,
    &IServiceProviderManager::GetInfo, &IServiceProviderManager::GetServiceStates,
    &IServiceProviderManager::Synchronize, &IServiceProviderManager::UpdateServiceStates,
    &IServiceProviderManager::Op19, &IServiceProviderManager::StopServiceProvider,
    &IServiceProviderManager::QueryProviderState, &IServiceProviderManager::Op22,
    &IServiceProviderManager::Op23, &IServiceProviderManager::Op24, &IServiceProviderManager::Op25,
    &IServiceProviderManager::Op26>;

}  // namespace

void* CreateServiceProviderInterfaceSpec(IServiceProviderManager* manager) noexcept {
  return rdx::rpc::NewInterfaceSpec(rdx::rpc::ServiceProviderShape(), manager, &Dispatch::Invoke);
}

void DestroyServiceProviderInterfaceSpec(void* interfaceSpec) noexcept {
  rdx::rpc::DeleteInterfaceSpec(interfaceSpec);
}

}  // namespace QUORVAN::Rendix::ServiceProvider
