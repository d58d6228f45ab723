// Server stub of the automatic-binding interface: operation n calls the n-th manager member, its
// signature checked against the table row when this file is compiled.

#include <rdx/remote/IServerAutoBindManager.h>

#include "remote/stubs/InterfaceTables.h"
#include "remote/stubs/StubServerInterface.h"
#include "remote/stubs/TypedStubs.h"

namespace QUORVAN::Rendix::ServerCore {

IServerAutoBindManager::~IServerAutoBindManager() = default;

// A member a host does not override fails the call the way the size protocol and the
// boolean results say: small 0, long -1.
std::int8_t IServerAutoBindManager::Op0(std::string&) { return 0; }
std::int8_t IServerAutoBindManager::Op1(const char*, std::string&, std::string&) { return 0; }
std::int8_t IServerAutoBindManager::Op2(const char*) { return 0; }
std::int8_t IServerAutoBindManager::Op3(const char*, std::int8_t, const char*, std::string&) {
  return 0;
}
std::int8_t IServerAutoBindManager::Op4(const char*, const char*, std::int32_t&, char*,
                                        std::string&) {
  return 0;
}
std::int8_t IServerAutoBindManager::Op5(const char*, const char*, std::int32_t&, char*,
                                        std::string&) {
  return 0;
}

namespace {

using Dispatch =
    rdx::rpc::ManagerDispatch<rdx::rpc::tables::kServerAutoBind, &IServerAutoBindManager::Op0,
                              &IServerAutoBindManager::Op1, &IServerAutoBindManager::Op2,
                              &IServerAutoBindManager::Op3, &IServerAutoBindManager::Op4,
                              &IServerAutoBindManager::Op5>;

}  // namespace

void* CreateServerAutoBindInterfaceSpec(IServerAutoBindManager* manager) noexcept {
  return rdx::rpc::NewInterfaceSpec(rdx::rpc::ServerAutoBindShape(), manager, &Dispatch::Invoke);
}

void DestroyServerAutoBindInterfaceSpec(void* interfaceSpec) noexcept {
  rdx::rpc::DeleteInterfaceSpec(interfaceSpec);
}

}  // namespace QUORVAN::Rendix::ServerCore
