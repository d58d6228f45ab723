#pragma once
// ServerProxyForServerManager: the one implementation of IServerProxyForServerManager. Remote
// members follow the proxy calling pattern (status cleared under the member's source, the
// stub called inside the RPC exception frame, the server's error text behind one summary
// item); process control goes through WinServiceManager.

#include <rdx/foundation/Object.h>
#include <rdx/remote/IServerProxyForServerManager.h>

#include <cstdint>
#include <functional>
#include <string>

namespace QUORVAN::Rendix::ServerCore {

class ServerProxyForServerManager final : public IServerProxyForServerManager,
                                          public Global::Object {
 public:
  ServerProxyForServerManager() = default;
  ~ServerProxyForServerManager() override;
  ServerProxyForServerManager(const ServerProxyForServerManager&) = delete;
  ServerProxyForServerManager& operator=(const ServerProxyForServerManager&) = delete;

  bool Connect(const std::string& host, const std::string& port) override;
  bool StartServer(const std::string& serverString) override;
  bool StopServer(const std::string& serverString) override;
  std::string GetServerInfo() override;
  std::string GetServerConfigXml() override;
  bool UpdateServerConfigXml(const std::string& xml) override;
  bool CreateServiceProvider(const std::string& first, const std::string& second,
                             const std::string& third) override;
  bool DeleteServiceProvider(const std::string& configXml) override;
  std::string GetServiceProviderConfigXml(const std::string& name) override;
  bool UpdateServiceProviderConfigXml(const std::string& name, const std::string& xml) override;
  std::string GetServiceProvidersXml() override;
  bool StartServiceProvider(const std::string& configXml) override;
  bool StopServiceProvider(const std::string& configXml) override;
  std::string GetServicesXml() override;
  bool UpdateServicesXml(const std::string& xml) override;
  bool AddServices(const std::string& first, const std::string& second, const std::string& third,
                   const std::string& fourth) override;
  bool RemoveService(const std::string& first, const std::string& second) override;
  bool StartService(const std::string& name) override;
  bool StopService(const std::string& name) override;
  std::string GetServiceName(const std::string& definitionFile) override;
  bool RefreshService(const std::string& name) override;
  bool RefreshAllServices() override;

  // Where a remote member's items come from and what its summary item says ("%s": the
  // member's first argument).
  struct Member {
    const char* source;
    std::int32_t id;
    const char* message;
  };

 private:
  using BooleanCall = std::function<std::int8_t(char* error)>;
  using TextCall = std::function<std::int32_t(std::int32_t size, char* text, char* error)>;

  bool CallBoolean(const Member& member, const std::string& argument, const BooleanCall& call);
  std::string CallText(const Member& member, const std::string& argument, const TextCall& call);
  void Begin(const char* source);
  // The server's status XML (or, after an RPC fault, the system's text), behind the member's
  // summary item.
  void AppendFailure(const Member& member, const std::string& argument, std::int32_t fault,
                     const std::string& errorXml);
  void DropHandle();
  // "<common files folder of host>BIN/"; "" with an item (64283 or 64279) when it is unknown.
  std::string ProgramFolder(const std::string& host, const char* source);
  // Installs or updates `serviceName` with `commandLine` on `host` and starts it; on failure
  // the item `failureFormat` ("%s": host, then the text) is appended, exit codes read through
  // `exitText`. True when it runs.
  bool RunAsService(const std::string& host, const std::string& serviceName,
                    const std::string& commandLine, const char* source,
                    const std::function<std::string(std::uint32_t)>& exitText,
                    const std::string& failurePrefix);
  // Stops `serviceName` on `host` and sets it to start on demand; `uninstall` removes it.
  bool StopAsService(const std::string& host, const std::string& serviceName, const char* source,
                     bool uninstall);
  bool OpenManagerSession(const std::string& host, const std::string& endpoint);

  std::string operation_;
  void* handle_ = nullptr;
  std::string sessionId_;
  std::string hostName_;  // the server's machine
};

}  // namespace QUORVAN::Rendix::ServerCore
