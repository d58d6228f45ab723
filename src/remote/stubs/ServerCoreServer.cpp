// Server stub of the server interface: operation numbers to manager members.

#include <new>
#include <stdexcept>

#include <rdx/remote/IServerCoreManager.h>

#include "remote/stubs/StubServerInterface.h"

namespace QUORVAN::Rendix::ServerCore {

IServerCoreManager::~IServerCoreManager() = default;

namespace {

std::int32_t Invoke(void* manager, std::uint16_t opnum, rdx::rpc::ServerCall& c) {
  auto& m = *static_cast<IServerCoreManager*>(manager);
  switch (opnum) {
    case 0: return m.GetVersion(c.InOut(0));
    case 1: return m.Op1(c.In(0));
    case 2: return m.Op2(c.In(0), c.Data(1), c.Long(2), c.Bytes(3), c.Size(4));
    case 3: return m.Op3(c.In(0));
    case 4: return m.OpenSession(c.In(0), c.InOut(1), c.InOut(2));
    case 5: return m.QueryText(c.In(0), c.Long(1), c.Text(2));
    case 6: return m.QueryTextAlt(c.In(0), c.Long(1), c.Text(2));
    case 7: return m.PostText(c.In(0));
    case 8: return m.CloseSession(c.In(0));
    case 9: return m.Op9(c.In(0));
    case 10: return m.Op10(c.In(0), c.Small(1), c.In(2), c.InOut(3));
    case 11: return m.AddServiceProvider(c.In(0), c.In(1), c.Long(2), c.Data(3), c.InOut(4));
    case 12: return m.RemoveServiceProvider(c.In(0), c.In(1), c.InOut(2));
    case 13: return m.GetServiceProviderFor(c.In(0), c.In(1), c.Long(2), c.Text(3), c.InOut(4));
    case 14: return m.GetServiceProviderInfo(c.In(0), c.In(1), c.Long(2), c.Text(3), c.InOut(4));
    case 15:
      return m.UpdateServiceProviderInfo(c.In(0), c.In(1), c.Long(2), c.Data(3), c.InOut(4));
    case 16: return m.AddServices(c.In(0), c.In(1), c.Long(2), c.Data(3), c.InOut(4));
    case 17: return m.RemoveServices(c.In(0), c.In(1), c.Long(2), c.Data(3), c.InOut(4));
    case 18: return m.GetInfo(c.In(0), c.In(1), c.Long(2), c.Text(3), c.InOut(4));
    case 19: return m.GetServiceProviders(c.In(0), c.Long(1), c.Text(2), c.InOut(3));
    case 20: return m.GetServiceProvidersWithInfo(c.In(0), c.Long(1), c.Text(2), c.InOut(3));
    case 21: return m.GetServices(c.In(0), c.In(1), c.Long(2), c.Text(3), c.InOut(4));
    case 22: return m.GetServiceInfos(c.In(0), c.In(1), c.Long(2), c.Text(3), c.InOut(4));
    case 23:
      return m.GetServiceInfo(c.In(0), c.In(1), c.In(2), c.Long(3), c.Text(4), c.InOut(5));
    case 24: return m.StopServer(c.In(0), c.In(1));
    case 25: return m.OpenManagerSession(c.In(0), c.InOut(1), c.InOut(2));
    case 26: return m.Op26(c.InOut(0), c.InOut(1));
    case 27: return m.GetServerInfo(c.In(0), c.Long(1), c.Text(2), c.InOut(3));
    case 28: return m.CreateServiceProvider(c.In(0), c.In(1), c.In(2), c.In(3), c.InOut(4));
    case 29: return m.DeleteServiceProvider(c.In(0), c.In(1), c.InOut(2));
    case 30: return m.Op30(c.In(0), c.In(1), c.InOut(2));
    case 31: return m.StopServiceProvider(c.In(0), c.In(1), c.InOut(2));
    case 32: return m.GetServerConfigXml(c.In(0), c.Long(1), c.Text(2), c.InOut(3));
    case 33: return m.UpdateServerConfigXml(c.In(0), c.In(1), c.InOut(2));
    case 34:
      return m.GetServiceProviderConfigXml(c.In(0), c.In(1), c.Long(2), c.Text(3), c.InOut(4));
    case 35: return m.UpdateServiceProviderConfigXml(c.In(0), c.In(1), c.In(2), c.InOut(3));
    case 36: return m.GetServiceProvidersXml(c.In(0), c.Long(1), c.Text(2), c.InOut(3));
    case 37: return m.GetServicesXml(c.In(0), c.Long(1), c.Text(2), c.InOut(3));
    case 38: return m.UpdateServicesXml(c.In(0), c.In(1), c.InOut(2));
    case 39:
      return m.AddServicesForManager(c.In(0), c.In(1), c.In(2), c.In(3), c.In(4), c.InOut(5));
    case 40: return m.RemoveService(c.In(0), c.In(1), c.In(2), c.InOut(3));
    case 41: return m.StartService(c.In(0), c.In(1), c.InOut(2));
    case 42: return m.StopService(c.In(0), c.In(1), c.InOut(2));
    case 43: return m.Op43(c.In(0), c.In(1), c.InOut(2), c.InOut(3));
    case 44: return m.RefreshService(c.In(0), c.In(1), c.InOut(2));
    case 45: return m.RefreshAllServices(c.In(0), c.InOut(1));
    case 46: return m.Op46(c.In(0), c.In(1), c.Long(2), c.Text(3), c.InOut(4));
    case 47: return m.Op47(c.In(0), c.In(1), c.Long(2), c.Text(3), c.InOut(4));
    default: throw std::logic_error("operation without a manager member");
  }
}

}  // namespace

void* CreateServerCoreInterfaceSpec(IServerCoreManager* manager) noexcept {
  if (manager == nullptr) return nullptr;
  rdx::rpc::ServerInterface* spec = new (std::nothrow)
      rdx::rpc::StubServerInterface(rdx::rpc::ServerCoreShape(), manager, &Invoke);
  return spec;
}

void DestroyServerCoreInterfaceSpec(void* interfaceSpec) noexcept {
  delete static_cast<rdx::rpc::ServerInterface*>(interfaceSpec);
}

}  // namespace QUORVAN::Rendix::ServerCore
