// Server stub of the service-provider interface: operation numbers to manager members.

#include <new>
#include <stdexcept>

#include <rdx/remote/IServiceProviderManager.h>

#include "remote/stubs/StubServerInterface.h"

namespace QUORVAN::Rendix::ServiceProvider {

IServiceProviderManager::~IServiceProviderManager() = default;

namespace {

std::int32_t Invoke(void* manager, std::uint16_t opnum, rdx::rpc::ServerCall& c) {
  auto& m = *static_cast<IServiceProviderManager*>(manager);
  switch (opnum) {
    case 0: return m.Ping();
    case 1: return m.OpenServiceSession(c.In(0), c.In(1), c.InOut(2), c.InOut(3));
    case 2: return m.CloseSession(c.InOut(0), c.InOut(1));
    case 3: return m.GetServiceInfo(c.InOut(0), c.Long(1), c.Text(2), c.InOut(3));
    case 4: return m.GetServiceMetadata(c.InOut(0), c.In(1), c.Long(2), c.Text(3), c.InOut(4));
    case 5: return m.GetClientProperties(c.InOut(0), c.Long(1), c.Text(2), c.InOut(3));
    case 6: return m.GetDefinition(c.InOut(0), c.Enum(1), c.Long(2), c.Text(3), c.InOut(4));
    case 7: return m.SetClientProperties(c.InOut(0), c.In(1), c.InOut(2));
    case 8:
      return m.SetAOI(c.InOut(0), c.Real(1), c.Real(2), c.Real(3), c.Real(4), c.Long(5),
                      c.Long(6), c.In(7), c.InOut(8));
    case 9: return m.ExtractAOI(c.InOut(0), c.InOut(1));
    case 10: return m.GetStreamingProperties(c.InOut(0), c.InOut(1), c.InOut(2));
    case 11:
      return m.StreamImageBuffer(c.InOut(0), c.Size(1), c.Bytes(2), c.Long(3), c.Long(4),
                                 c.InOut(5));
    case 12: return m.DoneWithImage(c.InOut(0), c.InOut(1));
    case 13: return m.GetImageMetadata(c.InOut(0), c.In(1), c.Long(2), c.Text(3), c.InOut(4));
    case 14: return m.Op14(c.InOut(0), c.Size(1), c.Text(2));
    case 15: return m.GetInfo(c.In(0), c.Long(1), c.Text(2), c.InOut(3));
    case 16: return m.GetServiceStates(c.Long(0), c.Text(1), c.InOut(2));
    case 17: return m.Synchronize(c.In(0), c.InOut(1));
    case 18: return m.UpdateServiceStates(c.In(0), c.InOut(1));
    case 19: m.Op19(c.RealRef(0)); return 0;
    case 20: return m.StopServiceProvider(c.In(0));
    case 21: return m.QueryProviderState();
    case 22: return m.Op22(c.In(0), c.Long(1), c.Text(2));
    case 23: return m.Op23(c.In(0), c.In(1), c.In(2), c.In(3), c.InOut(4));
    case 24: return m.Op24(c.In(0), c.In(1), c.InOut(2));
    case 25: return m.Op25(c.In(0), c.InOut(1));
    case 26: return m.Op26(c.In(0), c.InOut(1));
    default: throw std::logic_error("operation without a manager member");
  }
}

}  // namespace

void* CreateServiceProviderInterfaceSpec(IServiceProviderManager* manager) noexcept {
  if (manager == nullptr) return nullptr;
  rdx::rpc::ServerInterface* spec = new (std::nothrow)
      rdx::rpc::StubServerInterface(rdx::rpc::ServiceProviderShape(), manager, &Invoke);
  return spec;
}

void DestroyServiceProviderInterfaceSpec(void* interfaceSpec) noexcept {
  delete static_cast<rdx::rpc::ServerInterface*>(interfaceSpec);
}

}  // namespace QUORVAN::Rendix::ServiceProvider
