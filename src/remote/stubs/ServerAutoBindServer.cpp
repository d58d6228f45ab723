// Server stub of the automatic-binding interface: operation numbers to manager members.

#include <new>
#include <stdexcept>

#include <rdx/remote/IServerAutoBindManager.h>

#include "remote/stubs/StubServerInterface.h"

namespace QUORVAN::Rendix::ServerCore {

IServerAutoBindManager::~IServerAutoBindManager() = default;

namespace {

std::int32_t Invoke(void* manager, std::uint16_t opnum, rdx::rpc::ServerCall& c) {
  auto& m = *static_cast<IServerAutoBindManager*>(manager);
  switch (opnum) {
    case 0: return m.Op0(c.InOut(0));
    case 1: return m.Op1(c.In(0), c.InOut(1), c.InOut(2));
    case 2: return m.Op2(c.In(0));
    case 3: return m.Op3(c.In(0), c.Small(1), c.In(2), c.InOut(3));
    case 4: return m.Op4(c.In(0), c.In(1), c.Size(2), c.Text(3), c.InOut(4));
    case 5: return m.Op5(c.In(0), c.In(1), c.Size(2), c.Text(3), c.InOut(4));
    default: throw std::logic_error("operation without a manager member");
  }
}

}  // namespace

void* CreateServerAutoBindInterfaceSpec(IServerAutoBindManager* manager) noexcept {
  if (manager == nullptr) return nullptr;
  rdx::rpc::ServerInterface* spec = new (std::nothrow)
      rdx::rpc::StubServerInterface(rdx::rpc::ServerAutoBindShape(), manager, &Invoke);
  return spec;
}

void DestroyServerAutoBindInterfaceSpec(void* interfaceSpec) noexcept {
  delete static_cast<rdx::rpc::ServerInterface*>(interfaceSpec);
}

}  // namespace QUORVAN::Rendix::ServerCore
