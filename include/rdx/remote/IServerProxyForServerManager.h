#pragma once
#include <rdx/Export.h>
#include <rdx/foundation/IObject.h>

#include <string>

namespace QUORVAN::Rendix::ServerCore {

/// IServerProxyForServerManager: the administration tool's connection to the server process.
/// It connects as the application "ServerManager", runs the server and the service providers
/// as systemd services on their machines (WinServiceManager), edits the server's and the
/// providers' configuration and manages image services. Failures are reported through
/// GetStatus() and a false or empty result; nothing is thrown.
///
///   IServerProxyForServerManager* manager = IServerProxyForServerManager::Create();
///   if (manager->Connect("imaging-host", "3982")) {
///     std::string config = manager->GetServerConfigXml();
///   }
///   delete manager;
///
/// Programs are found in "\<common files folder of that machine\>BIN/"
/// (GetRendixCommonFilesFolder):
/// the server is "QUORVANRendix.exe", run as the service "Quorvan Rendix"; a provider is
/// "QuorvanImageServiceProvider.exe", run as "Quorvan Image ServiceProvider: \<Endpoint\>" with
/// the command line `"<program>" "<ServerHost>" <ServerPort> <Endpoint>`. Status ids of this proxy
/// are 64256 (0xFB00) to 64511. A proxy is used by one thread at a time.
class RDX_API IServerProxyForServerManager : public virtual Global::IObject {
 public:
  /// Connects to the server on `host` at TCP `port` (3982 when empty), else over its pipe; when
  /// neither answers, starts the server there as a service. Then opens a manager session.
  virtual bool Connect(const std::string& host, const std::string& port) = 0;
  /// Installs (or updates) and starts the server's service on the host of "host[:port]", then
  /// waits 2 s for it to listen. False with the failure's item.
  virtual bool StartServer(const std::string& serverString) = 0;
  /// Stops the server's service on the host of "host[:port]" and sets it to start on demand.
  virtual bool StopServer(const std::string& serverString) = 0;
  ///@{
  /// The server's texts; "" with status items on failure.
  virtual std::string GetServerInfo() = 0;
  virtual std::string GetServerConfigXml() = 0;
  ///@}
  /// Sends the server a new configuration; false with status items when it refuses.
  virtual bool UpdateServerConfigXml(const std::string& xml) = 0;
  /// Asks the server to create a provider; the three texts are sent in order.
  virtual bool CreateServiceProvider(const std::string& first, const std::string& second,
                                     const std::string& third) = 0;
  /// `configXml` is the provider's configuration (values under "//Config"): the server drops
  /// the provider, then its service is stopped and removed on its host.
  virtual bool DeleteServiceProvider(const std::string& configXml) = 0;
  /// The configuration the server holds for provider `name`; "" with status items on failure.
  virtual std::string GetServiceProviderConfigXml(const std::string& name) = 0;
  /// Sends the server a new configuration for provider `name`; false with status items.
  virtual bool UpdateServiceProviderConfigXml(const std::string& name, const std::string& xml) = 0;
  /// The server's list of providers; "" with status items on failure.
  virtual std::string GetServiceProvidersXml() = 0;
  /// Installs (or updates) and starts the provider's service on its "HostMachine", then asks the
  /// provider for its state (up to 5 times, 500 ms apart) until it answers ready (2).
  virtual bool StartServiceProvider(const std::string& configXml) = 0;
  /// Tells the server, then stops the provider's service and sets it to start on demand.
  virtual bool StopServiceProvider(const std::string& configXml) = 0;
  /// The server's list of services; "" with status items on failure.
  virtual std::string GetServicesXml() = 0;
  /// Sends the server a new list of services; false with status items when it refuses.
  virtual bool UpdateServicesXml(const std::string& xml) = 0;
  /// Asks the server to add services; the four texts are sent in order. False with items.
  virtual bool AddServices(const std::string& first, const std::string& second,
                           const std::string& third, const std::string& fourth) = 0;
  /// Asks the server to remove a service; both texts are sent in order. False with items.
  virtual bool RemoveService(const std::string& first, const std::string& second) = 0;
  /// Asks the server to start its service `name`; false with status items when it refuses.
  virtual bool StartService(const std::string& name) = 0;
  /// Asks the server to stop its service `name`; false with status items when it refuses.
  virtual bool StopService(const std::string& name) = 0;
  /// The service name of a compiled service definition: an XML file whose first "Name"
  /// element holds it. "" with an item when the file cannot be read or holds no name.
  virtual std::string GetServiceName(const std::string& definitionFile) = 0;
  /// Asks the server to refresh its service `name`; false with status items when it refuses.
  virtual bool RefreshService(const std::string& name) = 0;
  /// Asks the server to refresh every service; false with status items when it refuses.
  virtual bool RefreshAllServices() = 0;

  /// A new proxy, not connected; the caller deletes it through this interface. Null only
  /// when memory ran out.
  static IServerProxyForServerManager* Create();
};

}  // namespace QUORVAN::Rendix::ServerCore
