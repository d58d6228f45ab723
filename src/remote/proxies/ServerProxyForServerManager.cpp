#include "remote/proxies/ServerProxyForServerManager.h"

#include <rdx/foundation/NameValueMap.h>
#include <rdx/foundation/StringUtility.h>
#include <rdx/platform/SystemInformation.h>
#include <rdx/platform/WinServiceManager.h>
#include <rdx/remote/IServerProxy.h>
#include <rdx/remote/RpcExceptionFrame.h>
#include <rdx/remote/RpcHandle.h>

#include <pugixml.hpp>

#include <algorithm>
#include <chrono>
#include <new>
#include <thread>
#include <vector>

#include "remote/proxies/ProviderCall.h"
#include "remote/proxies/ProxyCall.h"
#include "remote/stubs/ServerCoreClient.h"
#include "remote/stubs/ServiceProviderClient.h"

namespace QUORVAN::Rendix::ServerCore {
namespace {

namespace gul = GeneralUtilityLib;
namespace su = GeneralUtilityLib::StringUtility;
namespace stub = rdx::rpc::servercore;
using Member = ServerProxyForServerManager::Member;

constexpr const char* kDefaultPort = "3982";
constexpr const char* kDefaultPipe = "\\pipe\\QUORVANRendix";
constexpr const char* kServerService = "Quorvan Rendix";
constexpr const char* kServerProgram = "QUORVANRendix.exe";
constexpr const char* kProviderProgram = "QuorvanImageServiceProvider.exe";
constexpr std::int32_t kTextFirstSize = 40000;
constexpr std::uint32_t kDemandStart = 3;
constexpr std::uint32_t kStopped = 1;
constexpr std::uint32_t kNoState = 0xFFFFFFFF;
constexpr std::int32_t kProviderReady = 2;
// systemd's exit status when it could not run the program at all (203/EXEC).
constexpr std::uint32_t kExecFailed = 203;

// Ids: 0xFB00 plus the member's slot; the folder ones are fixed.
constexpr std::int32_t kIdBase = 64256;
constexpr std::int32_t kNoCommonFolderId = 64283;
constexpr std::int32_t kNoApplicationFolderId = 64279;
constexpr std::int32_t kServiceControlId = kIdBase + 100;

constexpr const char* kConnect = "ServerCore.ServerProxy.Connect";
constexpr const char* kStartServer = "ServerProxyForServerManager.StartServer";
constexpr const char* kStopServerSource = "ServerProxyForServerManager.StopServer";
constexpr const char* kStartProvider = "ServerProxyForServerManager.StartServiceProvider";
constexpr const char* kStopProvider = "ServerProxyForServerManager.StopServiceProvider";
constexpr const char* kDeleteProvider = "ServerProxyForServerManager.DeleteServiceProvider";
constexpr const char* kGetServiceName = "ServerProxyForServerManager.GetServiceName";

constexpr Member kGetServerInfo{"ServerProxyForServerManager.GetServerInfo", kIdBase + 4,
                                "Could not get the server information"};
constexpr Member kGetServerConfigXml{"ServerProxyForServerManager.GetServerConfigXml", kIdBase + 5,
                                     "Could not get the server configuration"};
constexpr Member kUpdateServerConfigXml{"ServerProxyForServerManager.UpdateServerConfigXml",
                                        kIdBase + 6, "Could not update the server configuration"};
constexpr Member kCreateServiceProvider{"ServerProxyForServerManager.CreateServiceProvider",
                                        kIdBase + 7, "Could not create service provider '%s'"};
constexpr Member kDeleteServiceProvider{kDeleteProvider, kIdBase + 8,
                                        "Could not delete service provider '%s'"};
constexpr Member kGetServiceProviderConfigXml{
    "", kIdBase + 9, "Could not get the configuration of service provider '%s'"};
constexpr Member kUpdateServiceProviderConfigXml{
    "ServerProxyForServerManager.UpdateServiceProviderConfigXml", kIdBase + 10,
    "Could not update the configuration of service provider '%s'"};
constexpr Member kGetServiceProvidersXml{"", kIdBase + 11, "Could not get the service providers"};
constexpr Member kStopServiceProvider{kStopProvider, kIdBase + 13,
                                      "Could not stop service provider '%s'"};
// Its source is GetServerInfo's: log filters look for it under that name.
constexpr Member kGetServicesXml{"ServerProxyForServerManager.GetServerInfo", kIdBase + 14,
                                 "Could not get the services"};
constexpr Member kUpdateServicesXml{"ServerProxyForServerManager.UpdateServicesXml", kIdBase + 15,
                                    "Could not update the services"};
constexpr Member kAddServices{"ServerProxyForServerManager.AddServices", kIdBase + 16,
                              "Could not add services '%s'"};
constexpr Member kRemoveService{"ServerProxyForServerManager.RemoveService", kIdBase + 17,
                                "Could not remove service '%s'"};
constexpr Member kStartService{"ServerProxyForServerManager.StartService", kIdBase + 18,
                               "Could not start service '%s'"};
constexpr Member kStopService{"ServerProxyForServerManager.StopService", kIdBase + 19,
                              "Could not stop service '%s'"};
constexpr Member kRefreshService{"ServerProxyForServerManager.RefreshService", kIdBase + 21,
                                 "Could not refresh service '%s'"};
constexpr Member kRefreshAllServices{"ServerProxyForServerManager.RefreshAllServices", kIdBase + 22,
                                     "Could not refresh the services"};

#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wformat-nonliteral"
// The messages hold at most two "%s"; unused arguments are ignored.
std::string Format(const char* format, const std::string& first, const std::string& second = "") {
  return su::printToString(format, first.c_str(), second.c_str());
}
#pragma GCC diagnostic pop

std::string TextOf(const std::vector<char>& buffer) {
  return std::string(buffer.begin(), std::find(buffer.begin(), buffer.end(), '\0'));
}

// Service exit statuses are 8 bits here, so a code also matches its low byte.
bool IsExitCode(std::uint32_t exitCode, std::uint32_t code) {
  return exitCode == code || exitCode == (code & 0xFF);
}

// The item of a server that stopped at once, from its exit code.
std::string ServerExitText(std::uint32_t code, const std::string& folder, const std::string& host) {
  std::string text;
  if (IsExitCode(code, 2) || code == kExecFailed) {
    text = Format("The system could not find thefile:  '%s' on '%s'. Please check if Rendix is "
                  "installed on that machine.",
                  folder + kServerProgram, host);
  } else if (IsExitCode(code, 15622)) {
    text = "Failed to read xml";
  } else if (IsExitCode(code, 15871)) {
    text = "Fatal error";
  } else {
    text = gul::GetLastErrorText(static_cast<std::int32_t>(code));
  }
  return Format("Could not Start the Server on '%s'. %s", host, text);
}

// `text` usable as a printf format that prints it as it is.
std::string Literal(const std::string& text) {
  std::string out;
  for (char c : text) out += c == '%' ? std::string("%%") : std::string(1, c);
  return out;
}

struct ProviderConfig {
  std::string host, endpoint, serverHost, serverPort, name;
  std::string ServiceName() const { return "Quorvan Image ServiceProvider: " + endpoint; }
};

ProviderConfig ReadProviderConfig(const std::string& configXml) {
  Global::NameValueMap values;
  (void)values.LoadXml(configXml, "//Config");
  const Global::NameValueMap& read = values;
  ProviderConfig config{read["HostMachine"], read["Endpoint"], read["ServerHost"],
                        read["ServerPort"], read["Name"]};
  if (config.name.empty()) config.name = config.endpoint;
  return config;
}

}  // namespace

IServerProxyForServerManager* IServerProxyForServerManager::Create() {
  return new (std::nothrow) ServerProxyForServerManager();
}

ServerProxyForServerManager::~ServerProxyForServerManager() {
  try {
    if (handle_ != nullptr && !sessionId_.empty()) {
      (void)gul::RunInRpcExceptionFrame(
          [&] { (void)stub::CloseSession(handle_, sessionId_.c_str()); });
    }
  } catch (...) {
  }
  DropHandle();
}

void ServerProxyForServerManager::Begin(const char* source) {
  status_.Clear(source);
  operation_ = source;
}

void ServerProxyForServerManager::DropHandle() {
  if (handle_ != nullptr) (void)gul::FreeRpcHandle(handle_);
  handle_ = nullptr;
}

// ---- connecting -----------------------------------------------------------------------------

bool ServerProxyForServerManager::Connect(const std::string& host, const std::string& port) {
  try {
    Begin(kConnect);
    DropHandle();
    sessionId_.clear();
    hostName_ = host;
    gul::Status attempts;
    std::string endpoint = port.empty() ? kDefaultPort : port;
    bool connected = IServerProxy::TryConnecting(host, endpoint, handle_, attempts);
    if (!connected) {
      DropHandle();
      endpoint = kDefaultPipe;
      connected = IServerProxy::TryConnecting(host, endpoint, handle_, attempts);
    }
    if (!connected) {
      DropHandle();
      // Nobody answers: run the server there.
      const std::string folder = ProgramFolder(host, kStartServer);
      if (folder.empty()) return false;
      const std::string commandLine =
          su::printToString("\"%sQUORVANRendix.exe\" \"%s;%s\"", folder.c_str(),
                            gul::GetHostName().c_str(), gul::GetIPAddress().c_str());
      const bool started = RunAsService(
          host, kServerService, commandLine, kStartServer,
          [&](std::uint32_t code) { return ServerExitText(code, folder, host); },
          "You cannot create server on '%s'. %sEnsure Rendix is installed.");
      // The server needs a moment before it listens.
      if (started) std::this_thread::sleep_for(std::chrono::milliseconds(2000));
      return started;
    }
    return OpenManagerSession(host, endpoint);
  } catch (...) {
    status_.Append(kIdBase + 1, "Failed to Start Server. Exception caught", kConnect, "");
    return false;
  }
}

bool ServerProxyForServerManager::OpenManagerSession(const std::string& host,
                                                     const std::string& endpoint) {
  const std::string information = su::printToString(
      "<Rendix><SessionInfo><Application>ServerManager</Application><Username>%s</Username>"
      "<MachineName>%s</MachineName><IPAddress>%s</IPAddress><FQDN>%s</FQDN></SessionInfo>"
      "</Rendix>",
      gul::GetTheUserName().c_str(), gul::GetHostName().c_str(), gul::GetIPAddress().c_str(),
      gul::GetFullyQualifiedDomainName().c_str());
  std::vector<char> session = rdx::rpc::CallerBuffer(rdx::rpc::kSessionCapacity);
  std::vector<char> error = rdx::rpc::CallerBuffer(rdx::rpc::kErrorCapacity);
  std::int8_t opened = 0;
  const std::int32_t fault = gul::RunInRpcExceptionFrame([&] {
    opened = stub::OpenManagerSession(handle_, information.c_str(), session.data(), error.data());
  });
  if (fault == 0 && opened != 0) {
    sessionId_ = TextOf(session);
    return true;
  }
  status_.Append(kIdBase + 1,
                 "Failed to connect to Server. The Server could be an incompatible version or "
                 "is not running.",
                 kConnect, host + ":" + endpoint);
  if (fault != 0) {
    status_.Append(kIdBase + 1, gul::GetErrorString(), kConnect, "");
  } else {
    status_.Append(TextOf(error));
  }
  DropHandle();
  return false;
}

// ---- service control ------------------------------------------------------------------------

std::string ServerProxyForServerManager::ProgramFolder(const std::string& host,
                                                       const char* source) {
  std::int32_t code = 0;
  std::string text;
  const std::string common = gul::GetRendixCommonFilesFolder(host, code, text);
  if (common.empty()) {
    if (code == 5) {
      status_.Append(kNoApplicationFolderId,
                     Format("Cannot access application folder on '%s'.Ensure you have "
                            "administrative rights on the machine.",
                            host),
                     source, "");
    } else {
      status_.Append(kNoCommonFolderId,
                     Format("Could not get the Common Files folder on '%s': %s", host, text),
                     source, "");
    }
    return "";
  }
  return common + "BIN/";
}

bool ServerProxyForServerManager::RunAsService(
    const std::string& host, const std::string& serviceName, const std::string& commandLine,
    const char* source, const std::function<std::string(std::uint32_t)>& exitText,
    const std::string& failurePrefix) {
  gul::WinServiceManager manager;
  std::string error;
  if (!manager.Init(host, serviceName, commandLine, error)) {
    status_.Append(kServiceControlId, Format(failurePrefix.c_str(), host, error), source, "");
    return false;
  }
  // An installed service is kept and given this command line.
  if (!manager.InstallService(error) && manager.QueryState() == kNoState) {
    status_.Append(kServiceControlId, Format(failurePrefix.c_str(), host, error), source, "");
    return false;
  }
  manager.SetStartType(kDemandStart);
  if (!manager.ChangeServiceConfiguration(error)) {
    status_.Append(kServiceControlId, Format(failurePrefix.c_str(), host, error), source, "");
    return false;
  }
  std::uint32_t code = 0;
  if (manager.StartTheService(0, nullptr, code, error)) return true;
  if (manager.QueryState() == kStopped) {
    status_.Append(kServiceControlId, exitText(manager.QueryExitCode()), source, "");
  } else {
    status_.Append(kServiceControlId, Format(failurePrefix.c_str(), host, error), source, "");
  }
  return false;
}

bool ServerProxyForServerManager::StopAsService(const std::string& host,
                                                const std::string& serviceName, const char* source,
                                                bool uninstall) {
  gul::WinServiceManager manager;
  std::string error;
  if (!manager.Init(host, serviceName, "", error)) {
    status_.Append(kServiceControlId,
                   Format("Could not stop '%s' on '%s'. %s", serviceName, host) + error, source,
                   "");
    return false;
  }
  const bool stopped = manager.StopTheService(error);
  if (uninstall) {
    if (manager.UninstallService(error)) return true;
    status_.Append(kServiceControlId,
                   Format("Could not remove '%s' on '%s'. ", serviceName, host) + error, source,
                   "");
    return false;
  }
  if (!stopped) {
    status_.Append(kServiceControlId, Format("Could not stop server on '%s'. %s", host, error),
                   source, "");
    return false;
  }
  manager.SetStartType(kDemandStart);
  if (!manager.ChangeServiceConfiguration(error)) {
    status_.Append(kServiceControlId,
                   "Failed to change the startup type for the service to manual.", source, error);
    return false;
  }
  return true;
}

bool ServerProxyForServerManager::StartServer(const std::string& serverString) {
  try {
    Begin(kStartServer);
    const std::vector<std::string> parts = gul::split(serverString, ":");
    const std::string host = parts.empty() ? "" : parts[0];
    const std::string port = parts.size() > 1 ? parts[1] : kDefaultPort;
    const std::string folder = ProgramFolder(host, kStartServer);
    if (folder.empty()) return false;
    // The fourth value is the port the server is to listen on.
    const std::string commandLine =
        su::printToString("\"%sQUORVANRendix.exe\" \"%s;%s\" \"%s\"", folder.c_str(),
                          gul::GetHostName().c_str(), gul::GetIPAddress().c_str(), port.c_str());
    const bool started = RunAsService(
        host, kServerService, commandLine, kStartServer,
        [&](std::uint32_t code) { return ServerExitText(code, folder, host); },
        "Could not start server on '%s'. %s.Ensure you have windows administrative rights on "
        "the machine.");
    // The server needs a moment before it listens.
    if (started) std::this_thread::sleep_for(std::chrono::milliseconds(2000));
    return started;
  } catch (...) {
    status_.Append(kIdBase + 2, "Failed to Start Server. Exception caught", kStartServer, "");
    return false;
  }
}

bool ServerProxyForServerManager::StopServer(const std::string& serverString) {
  try {
    Begin(kStopServerSource);
    const std::vector<std::string> parts = gul::split(serverString, ":");
    const std::string host = parts.empty() ? "" : parts[0];
    if (ProgramFolder(host, kStopServerSource).empty()) return false;
    return StopAsService(host, kServerService, kStopServerSource, false);
  } catch (...) {
    return false;
  }
}

bool ServerProxyForServerManager::StartServiceProvider(const std::string& configXml) {
  try {
    Begin(kStartProvider);
    const ProviderConfig config = ReadProviderConfig(configXml);
    const std::string folder = ProgramFolder(config.host, kStartProvider);
    if (folder.empty()) return false;
    const std::string commandLine = su::printToString(
        "\"%sQuorvanImageServiceProvider.exe\" \"%s\" %s %s", folder.c_str(),
        config.serverHost.c_str(), config.serverPort.c_str(), config.endpoint.c_str());
    const std::string where = su::printToString("Could not Start the ServiceProvider on '%s' at "
                                                "port '%s'; ",
                                                config.host.c_str(), config.endpoint.c_str());
    const bool started = RunAsService(
        config.host, config.ServiceName(), commandLine, kStartProvider,
        [&](std::uint32_t code) {
          static constexpr std::pair<std::uint32_t, const char*> kCodes[] = {
              {15116, "The ServiceProvider could not parse the configuration"},
              {15109, "Failed to create ImageServiceWorkspace"},
              {15110, "Failed to initialize ImageServiceWorkspace"},
              {15111, "Failed to initialize ClientListener"},
              {15113, "Failed to initialize ServiceProviderProxy"},
              {15112, "Failed to register ServiceProvider"},
              {15359, "Fatal error ocurred in ServiceProvider.Init"}};
          if (IsExitCode(code, 2) || code == kExecFailed) {
            return where + "The file " + folder + kProviderProgram + " is not found.";
          }
          for (const auto& [known, text] : kCodes) {
            if (IsExitCode(code, known)) return where + text;
          }
          return where + gul::GetLastErrorText(static_cast<std::int32_t>(code));
        },
        Literal(where) + "%.0s%s");  // the host is in `where` already
    if (!started) return false;

    // Ready when the provider says so; up to five questions, 500 ms apart.
    void* binding = rdx::remote::ProviderHandle(config.host, config.endpoint);
    std::int32_t state = -1;
    for (int attempt = 0; attempt < 5 && binding != nullptr; ++attempt) {
      if (attempt > 0) std::this_thread::sleep_for(std::chrono::milliseconds(500));
      if (gul::RunInRpcExceptionFrame(
              [&] { state = rdx::rpc::serviceprovider::QueryProviderState(binding); }) != 0) {
        state = -1;
      }
      if (state == kProviderReady) break;
    }
    if (binding != nullptr) (void)gul::FreeRpcHandle(binding);
    return state != -1;
  } catch (...) {
    return false;
  }
}

bool ServerProxyForServerManager::StopServiceProvider(const std::string& configXml) {
  try {
    const ProviderConfig config = ReadProviderConfig(configXml);
    if (!CallBoolean(kStopServiceProvider, config.name, [&](char* error) {
          return stub::StopServiceProvider(handle_, sessionId_.c_str(), config.name.c_str(), error);
        })) {
      return false;
    }
    return StopAsService(config.host, config.ServiceName(), kStopProvider, false);
  } catch (...) {
    return false;
  }
}

bool ServerProxyForServerManager::DeleteServiceProvider(const std::string& configXml) {
  try {
    const ProviderConfig config = ReadProviderConfig(configXml);
    if (!CallBoolean(kDeleteServiceProvider, config.name, [&](char* error) {
          return stub::DeleteServiceProvider(handle_, sessionId_.c_str(), config.name.c_str(),
                                             error);
        })) {
      return false;
    }
    return StopAsService(config.host, config.ServiceName(), kDeleteProvider, true);
  } catch (...) {
    return false;
  }
}

std::string ServerProxyForServerManager::GetServiceName(const std::string& definitionFile) {
  try {
    Begin(kGetServiceName);
    pugi::xml_document document;
    const pugi::xml_node name = document.load_file(definitionFile.c_str())
                                    ? document.select_node("//Name").node()
                                    : pugi::xml_node();
    std::string text = name ? name.text().as_string() : "";
    if (text.empty()) {
      status_.Append(kIdBase + 20, "RXCDef file '" + definitionFile + "' could be corrupt.",
                     kGetServiceName, "");
    }
    return text;
  } catch (...) {
    return "";
  }
}

// ---- the calling pattern --------------------------------------------------------------------

void ServerProxyForServerManager::AppendFailure(const Member& member, const std::string& argument,
                                                std::int32_t fault, const std::string& errorXml) {
  if (fault != 0) {
    // The call never got an answer: the system's text says why.
    status_.Append(member.id, gul::GetErrorString(), member.source, "");
  } else {
    status_.Append(errorXml);
  }
  status_.Prepend(member.id, Format(member.message, argument), member.source, "");
}

bool ServerProxyForServerManager::CallBoolean(const Member& member, const std::string& argument,
                                              const BooleanCall& call) {
  try {
    Begin(member.source);
    std::vector<char> error = rdx::rpc::CallerBuffer(rdx::rpc::kErrorCapacity);
    std::int8_t result = 0;
    const std::int32_t fault = gul::RunInRpcExceptionFrame([&] { result = call(error.data()); });
    if (fault == 0 && result != 0) return true;
    AppendFailure(member, argument, fault, TextOf(error));
    return false;
  } catch (...) {
    return false;
  }
}

std::string ServerProxyForServerManager::CallText(const Member& member, const std::string& argument,
                                                  const TextCall& call) {
  try {
    Begin(member.source);
    std::vector<char> error;
    std::string answer;
    bool fetched = false;
    const rdx::rpc::SizedFetch sizes{static_cast<std::size_t>(kTextFirstSize), kTextFirstSize,
                                     true};
    const std::int32_t fault = gul::RunInRpcExceptionFrame([&] {
      fetched = rdx::rpc::FetchSizedText(
          [&](std::int32_t size, char* text) {
            error = rdx::rpc::CallerBuffer(rdx::rpc::kErrorCapacity);
            return call(size, text, error.data());
          },
          answer, sizes);
    });
    if (fault == 0 && fetched) return answer;
    AppendFailure(member, argument, fault, TextOf(error));
    return "";
  } catch (...) {
    return "";
  }
}

// ---- the remote members ---------------------------------------------------------------------

std::string ServerProxyForServerManager::GetServerInfo() {
  return CallText(kGetServerInfo, "", [&](std::int32_t n, char* text, char* error) {
    return stub::GetServerInfo(handle_, sessionId_.c_str(), n, text, error);
  });
}

std::string ServerProxyForServerManager::GetServerConfigXml() {
  return CallText(kGetServerConfigXml, "", [&](std::int32_t n, char* text, char* error) {
    return stub::GetServerConfigXml(handle_, sessionId_.c_str(), n, text, error);
  });
}

bool ServerProxyForServerManager::UpdateServerConfigXml(const std::string& xml) {
  return CallBoolean(kUpdateServerConfigXml, "", [&](char* error) {
    return stub::UpdateServerConfigXml(handle_, sessionId_.c_str(), xml.c_str(), error);
  });
}

bool ServerProxyForServerManager::CreateServiceProvider(const std::string& first,
                                                        const std::string& second,
                                                        const std::string& third) {
  return CallBoolean(kCreateServiceProvider, first, [&](char* error) {
    return stub::CreateServiceProvider(handle_, sessionId_.c_str(), first.c_str(), second.c_str(),
                                       third.c_str(), error);
  });
}

std::string ServerProxyForServerManager::GetServiceProviderConfigXml(const std::string& name) {
  return CallText(kGetServiceProviderConfigXml, name, [&](std::int32_t n, char* text, char* error) {
    return stub::GetServiceProviderConfigXml(handle_, sessionId_.c_str(), name.c_str(), n, text,
                                             error);
  });
}

bool ServerProxyForServerManager::UpdateServiceProviderConfigXml(const std::string& name,
                                                                 const std::string& xml) {
  return CallBoolean(kUpdateServiceProviderConfigXml, name, [&](char* error) {
    return stub::UpdateServiceProviderConfigXml(handle_, sessionId_.c_str(), name.c_str(),
                                                xml.c_str(), error);
  });
}

std::string ServerProxyForServerManager::GetServiceProvidersXml() {
  return CallText(kGetServiceProvidersXml, "", [&](std::int32_t n, char* text, char* error) {
    return stub::GetServiceProvidersXml(handle_, sessionId_.c_str(), n, text, error);
  });
}

std::string ServerProxyForServerManager::GetServicesXml() {
  return CallText(kGetServicesXml, "", [&](std::int32_t n, char* text, char* error) {
    return stub::GetServicesXml(handle_, sessionId_.c_str(), n, text, error);
  });
}

bool ServerProxyForServerManager::UpdateServicesXml(const std::string& xml) {
  return CallBoolean(kUpdateServicesXml, "", [&](char* error) {
    return stub::UpdateServicesXml(handle_, sessionId_.c_str(), xml.c_str(), error);
  });
}

bool ServerProxyForServerManager::AddServices(const std::string& first, const std::string& second,
                                              const std::string& third, const std::string& fourth) {
  return CallBoolean(kAddServices, first, [&](char* error) {
    return stub::AddServicesForManager(handle_, sessionId_.c_str(), first.c_str(), second.c_str(),
                                       third.c_str(), fourth.c_str(), error);
  });
}

bool ServerProxyForServerManager::RemoveService(const std::string& first,
                                                const std::string& second) {
  return CallBoolean(kRemoveService, first, [&](char* error) {
    return stub::RemoveService(handle_, sessionId_.c_str(), first.c_str(), second.c_str(), error);
  });
}

bool ServerProxyForServerManager::StartService(const std::string& name) {
  return CallBoolean(kStartService, name, [&](char* error) {
    return stub::StartService(handle_, sessionId_.c_str(), name.c_str(), error);
  });
}

bool ServerProxyForServerManager::StopService(const std::string& name) {
  return CallBoolean(kStopService, name, [&](char* error) {
    return stub::StopService(handle_, sessionId_.c_str(), name.c_str(), error);
  });
}

bool ServerProxyForServerManager::RefreshService(const std::string& name) {
  return CallBoolean(kRefreshService, name, [&](char* error) {
    return stub::RefreshService(handle_, sessionId_.c_str(), name.c_str(), error);
  });
}

bool ServerProxyForServerManager::RefreshAllServices() {
  return CallBoolean(kRefreshAllServices, "", [&](char* error) {
    return stub::RefreshAllServices(handle_, sessionId_.c_str(), error);
  });
}

}  // namespace QUORVAN::Rendix::ServerCore
