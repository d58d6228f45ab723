#include "remote/proxies/ServerProxy.h"

#include <rdx/foundation/StringUtility.h>
#include <rdx/platform/SystemInformation.h>
#include <rdx/remote/RpcExceptionFrame.h>
#include <rdx/remote/RpcHandle.h>

#include <algorithm>
#include <new>
#include <vector>

#include "remote/proxies/ProxyCall.h"
#include "remote/stubs/ServerCoreClient.h"

namespace QUORVAN::Rendix::ServerCore {
namespace {

namespace gul = GeneralUtilityLib;
namespace su = GeneralUtilityLib::StringUtility;
namespace stub = rdx::rpc::servercore;
using Member = ServerProxy::Member;

constexpr const char* kCompatibleVersion = "1.0.0.2";
constexpr const char* kDefaultPort = "3982";
constexpr const char* kDefaultPipe = "\\pipe\\QUORVANRendix";
constexpr std::int32_t kServerUnavailable = 1722;  // RPC_S_SERVER_UNAVAILABLE
constexpr std::int32_t kTextFirstSize = 40000;
constexpr std::int32_t kSmallFirstSize = static_cast<std::int32_t>(rdx::rpc::kFirstGuess);

constexpr std::int32_t kNoServerId = 36609;  // 0x8F01
constexpr std::int32_t kNoHandleId = 36610;
constexpr std::int32_t kInitFailedId = 36611;
constexpr std::int32_t kIncompatibleId = 36622;
constexpr std::int32_t kBadServerStringId = 36628;
// Its failure item has no id of its own: the old text says what happened.
constexpr std::int32_t kUnknownId = -1;

constexpr const char* kInit = "ServerCore.ServerProxy.Init";
constexpr const char* kOpenSession = "ServerCore.ServerProxy.OpenSession";
constexpr const char* kClose = "ServerCore.ServerProxy.Close";
constexpr const char* kNoServerMessage =
    "Failed to establish connection with Server on host '%s' at port '%s'.";

// The remote members, each with the item a failure puts in front of the server's text.
constexpr Member kGetInfo{"ServerCore.ServerProxy.GetInfo", 36612,
                          "(%s) : Could not get Server Info", kTextFirstSize};
constexpr Member kAddServiceProvider{"ServerCore.ServerProxy.AddServiceProvider", 36614,
                                     "(%s) : Failed to add service provider '%s'"};
constexpr Member kRemoveServiceProvider{"ServerCore.ServerProxy.RemoveServiceProvider", 36615,
                                        "(%s) : Failed to remove service provider '%s'"};
constexpr Member kUpdateServiceProviderInfo{"ServerCore.ServerProxy.UpdateServiceProviderInfo",
                                            36616, "(%s) : Failed to update service provider '%s'"};
constexpr Member kAddServices{"ServerCore.ServerProxy.AddServices", 36617,
                              "(%s) : Failed to add services to %s"};
constexpr Member kRemoveServices{"ServerCore.ServerProxy.RemoveServices", 36624,
                                 "(%s) : Failed to remove services to %s"};
constexpr Member kGetServiceProviders{
    "ServerCore.ServerProxy.GetServiceProviders", kUnknownId,
    "(%s) : Unknown fatal error occured in 'ServerProxy::GetServiceProviders()'. ",
    kSmallFirstSize};
constexpr Member kGetServiceProvidersWithInfo{"ServerCore.ServerProxy.GetServiceProvidersWithInfo",
                                              36625, "(%s) : Faild to get the service providers",
                                              kTextFirstSize};
constexpr Member kGetServiceProviderFor{"ServerCore.ServerProxy.GetServiceProviderFor", 36618,
                                        "(%s) : Failed to get the service provider for %s",
                                        kTextFirstSize};
constexpr Member kGetServiceProviderInfo{"ServerCore.ServerProxy.GetServiceProviderInfo", 36619,
                                         "(%s) : Failed to get info for service provider '%s'",
                                         kTextFirstSize};
constexpr Member kGetServices{"ServerCore.ServerProxy.GetServices", 36620,
                              "(%s) : Failed to get services for '%s'", kTextFirstSize};
constexpr Member kGetServiceInfos{"ServerCore.ServerProxy.GetServiceInfos", 36629,
                                  "(%s) : Failed to get service infos for '%s'", kTextFirstSize};
constexpr Member kGetServiceInfo{"ServerCore.ServerProxy.GetServiceInfo",
                                 36627,
                                 "(%s) : Failed to get service info for '%s' on '%s'",
                                 kTextFirstSize,
                                 36613,
                                 "(%s) : Invalid buffer size"};
// Its source and wording are what administrators' log filters look for, so they stay.
constexpr Member kStopServer{"ServerCore.ServerProxy.GetServiceInfo", 36621,
                             "Failed to stop serve."};

#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wformat-nonliteral"
// The member messages above hold at most three "%s"; unused arguments are ignored.
std::string Format(const char* format, const std::string& first, const std::string& second,
                   const std::string& third = "") {
  return su::printToString(format, first.c_str(), second.c_str(), third.c_str());
}
#pragma GCC diagnostic pop

// GetRpcHandle takes writable texts.
void* MakeHandle(std::string host, std::string endpoint, std::string protocol) {
  std::string ignored;  // never written
  return gul::GetRpcHandle(reinterpret_cast<unsigned char*>(host.data()),
                           reinterpret_cast<unsigned char*>(endpoint.data()),
                           reinterpret_cast<unsigned char*>(protocol.data()), ignored);
}

bool IsPipe(const std::string& endpoint) {
  return endpoint.find("\\pipe") != std::string::npos ||
         endpoint.find("/pipe") != std::string::npos;
}

// "1.0.0.2" -> 1.002: versions compare as one decimal number.
double VersionNumber(const std::string& text) {
  const std::string trimmed = gul::chopSpaces(text);
  const std::vector<std::string> parts = gul::split(trimmed, ".");
  if (parts.size() <= 2) return su::toDouble(trimmed, 0.0);
  std::string rest;
  for (std::size_t i = 1; i < parts.size(); ++i) rest += parts[i];
  return su::toDouble(su::printToString("%s.%s", parts[0].c_str(), rest.c_str()), 0.0);
}

std::string SessionInformation(const std::string& applicationName) {
  // Values go in as they are: the server reads them back with the same layout.
  return su::printToString(
      "<Rendix><SessionInfo><RDXApplication>%s</RDXApplication><Username>%s</Username>"
      "<MachineName>%s</MachineName><IPAddress>%s</IPAddress><FQDN>%s</FQDN></SessionInfo>"
      "</Rendix>",
      applicationName.c_str(), gul::GetTheUserName().c_str(), gul::GetHostName().c_str(),
      gul::GetIPAddress().c_str(), gul::GetFullyQualifiedDomainName().c_str());
}

// The text a caller buffer holds up to its first NUL.
std::string TextOf(const std::vector<char>& buffer) {
  return std::string(buffer.begin(), std::find(buffer.begin(), buffer.end(), '\0'));
}

}  // namespace

IServerProxy* IServerProxy::Create() { return new (std::nothrow) ServerProxy(); }

bool IServerProxy::TryConnecting(const std::string& hostMachine, const std::string& endpoint,
                                 void*& handle, gul::Status& status) {
  try {
    handle = MakeHandle(hostMachine, endpoint, IsPipe(endpoint) ? "ncacn_np" : "ncacn_ip_tcp");
    if (handle == nullptr) {
      status.Prepend(kNoHandleId, "Could not get RPC server handle", "", "");
      return false;
    }
    std::vector<char> version = rdx::rpc::CallerBuffer(rdx::rpc::kVersionCapacity);
    void* const binding = handle;
    const std::int32_t fault =
        gul::RunInRpcExceptionFrame([&] { (void)stub::GetVersion(binding, version.data()); });
    // Only silence counts: any other fault means a server answered, and the session
    // set-up that follows reports the real error.
    if (fault != kServerUnavailable) return true;
    status.Append(kNoServerId, Format(kNoServerMessage, hostMachine, endpoint), "",
                  gul::GetLastErrorText(kServerUnavailable));
    return false;
  } catch (...) {
    status.Prepend(kNoHandleId, "Could not get RPC server handle", "", "");
    return false;
  }
}

ServerProxy::~ServerProxy() {
  try {
    (void)Close();
  } catch (...) {
  }
  DropHandle();
}

void ServerProxy::Begin(const char* source) {
  status_.Clear(source);
  operation_ = source;
}

void ServerProxy::DropHandle() {
  if (handle_ != nullptr) (void)gul::FreeRpcHandle(handle_);
  handle_ = nullptr;
}

void ServerProxy::Fail(std::int32_t id, const char* message, const char* source,
                       const std::string& argument, const std::string& second,
                       const std::string& errorText) {
  status_.Append(errorText);
  status_.Prepend(id, Format(message, sessionId_, argument, second), source, "");
}

// ---- session ------------------------------------------------------------------------------

int ServerProxy::Init(const std::string& serverString) {
  try {
    status_.Clear(kInit);
    operation_ = kInit;
    (void)Close();
    const std::vector<std::string> parts = gul::split(serverString, ":");
    if (parts.empty()) {
      status_.Prepend(kBadServerStringId,
                      su::printToString("Invalid server string : '%s'", serverString.c_str()),
                      kInit, "");
      return 0;
    }
    gul::PropertyLookUp properties;
    properties["HostMachine"] = parts[0];
    if (parts.size() > 1) properties["Endpoint"] = parts[1];
    return Init(properties);
  } catch (...) {
    status_.Append(kInitFailedId, "Unknown fatal error occured in 'ServerProxy::Init()'.", kInit,
                   "");
    return 0;
  }
}

int ServerProxy::Init(const Global::NameValueMap& properties) {
  try {
    (void)Close();
    return OpenSession(properties["HostMachine"], properties["Endpoint"]) ? 1 : 0;
  } catch (...) {
    status_.Append(kInitFailedId, "Unknown fatal error occured in 'ServerProxy::Init()'.", kInit,
                   "");
    return 0;
  }
}

int ServerProxy::Init(const gul::PropertyLookUp& properties) {
  try {
    (void)Close();
    return OpenSession(properties.get("HostMachine"), properties.get("Endpoint")) ? 1 : 0;
  } catch (...) {
    status_.Append(kInitFailedId, "Unknown fatal error occured in 'ServerProxy::Init()'.", kInit,
                   "");
    return 0;
  }
}

int ServerProxy::Init(const std::string& hostMachine, const std::string& endpoint) {
  try {
    (void)Close();
    return OpenSession(hostMachine, endpoint) ? 1 : 0;
  } catch (...) {
    status_.Append(kInitFailedId, "Unknown fatal error occured in 'ServerProxy::Init()'.", kInit,
                   "");
    return 0;
  }
}

// NOLINTNEXTLINE(performance-unnecessary-value-param): the interface takes them by value
bool ServerProxy::OpenSession(std::string hostMachine, std::string endpoint) {
  Begin(kOpenSession);
  // A connection that never got a session (server silent, or a refused session) is not
  // reused: each attempt binds afresh.
  DropHandle();
  gul::Status attempts;  // shown only when no attempt reaches a server
  attempts.Clear(kOpenSession);
  bool connected = false;
  if (endpoint.empty()) {
    connected = TryConnecting(hostMachine, kDefaultPort, handle_, attempts);
    if (connected) {
      endpoint = kDefaultPort;
    } else {
      DropHandle();
      endpoint = kDefaultPipe;
    }
  }
  if (!connected && !TryConnecting(hostMachine, endpoint, handle_, attempts)) {
    status_.Append(attempts);
    return false;
  }

  const std::string noServer = Format(kNoServerMessage, hostMachine, endpoint);
  const auto failWith = [&](const std::string& detailsXml) {
    status_.Append(kNoServerId, noServer, kOpenSession, "");
    status_.Append(detailsXml);
    DropHandle();
    return false;
  };
  std::vector<char> version = rdx::rpc::CallerBuffer(rdx::rpc::kVersionCapacity);
  if (gul::RunInRpcExceptionFrame([&] { (void)stub::GetVersion(handle_, version.data()); }) != 0) {
    return failWith(gul::GetErrorString());
  }
  const std::string information = SessionInformation(applicationName_);
  std::vector<char> session = rdx::rpc::CallerBuffer(rdx::rpc::kSessionCapacity);
  std::vector<char> error = rdx::rpc::CallerBuffer(rdx::rpc::kSessionCapacity);

  const std::string serverVersion = TextOf(version);
  if (!su::isEqual(gul::chopSpaces(serverVersion), kCompatibleVersion, true)) {
    status_.Append(
        kIncompatibleId,
        su::printToString("Incompatible version of Server: version: %s; Compatible version is: %s",
                          serverVersion.c_str(), kCompatibleVersion),
        kOpenSession, "");
    DropHandle();
    return false;
  }
  serverVersion_ = VersionNumber(serverVersion);

  std::int8_t opened = 0;
  if (gul::RunInRpcExceptionFrame([&] {
        opened = stub::OpenSession(handle_, information.c_str(), session.data(), error.data());
      }) != 0) {
    return failWith(gul::GetErrorString());
  }
  if (opened == 0) return failWith(TextOf(error));
  sessionId_ = TextOf(session);
  return true;
}

bool ServerProxy::Close() {
  try {
    Begin(kClose);
    if (handle_ == nullptr) return true;
    // Kept so: a connection without a session is left for the next Init to replace.
    if (sessionId_.empty()) return false;
    (void)gul::RunInRpcExceptionFrame(
        [&] { (void)stub::CloseSession(handle_, sessionId_.c_str()); });
    DropHandle();
    return true;
  } catch (...) {
    DropHandle();
    return true;
  }
}

double ServerProxy::GetVersion() {
  Begin("ServerCore.ServerProxy.GetVersion");
  return serverVersion_;
}

// ---- the calling pattern --------------------------------------------------------------------

bool ServerProxy::CallBoolean(const Member& member, const std::string& argument,
                              const BooleanCall& call) {
  try {
    Begin(member.source);
    std::vector<char> error = rdx::rpc::CallerBuffer(rdx::rpc::kErrorCapacity);
    std::int8_t result = 0;
    if (gul::RunInRpcExceptionFrame([&] { result = call(error.data()); }) != 0) {
      Fail(member.id, member.message, member.source, argument, "", gul::GetErrorString());
      return false;
    }
    if (result != 0) return true;
    Fail(member.id, member.message, member.source, argument, "", TextOf(error));
    return false;
  } catch (...) {
    return false;
  }
}

std::string ServerProxy::CallText(const Member& member, const std::string& argument,
                                  const std::string& second, const TextCall& call) {
  try {
    Begin(member.source);
    std::vector<char> error;
    std::string answer;
    int calls = 0;
    bool fetched = false;
    // Only 0 means the text fitted: these operations answer 0 when it did.
    const rdx::rpc::SizedFetch sizes{static_cast<std::size_t>(member.firstSize), member.firstSize,
                                     true};
    const std::int32_t fault = gul::RunInRpcExceptionFrame([&] {
      fetched = rdx::rpc::FetchSizedText(
          [&](std::int32_t size, char* text) {
            ++calls;
            // A fresh error buffer for each call: the server may write up to its full length.
            error = rdx::rpc::CallerBuffer(rdx::rpc::kErrorCapacity);
            return call(size, text, error.data());
          },
          answer, sizes);
    });
    if (fault != 0) {
      Fail(member.id, member.message, member.source, argument, second, gul::GetErrorString());
      return "";
    }
    if (fetched) return answer;
    // A first result that was neither 0 nor a size to ask for again.
    if (calls == 1 && member.refusedMessage != nullptr) {
      Fail(member.refusedId, member.refusedMessage, member.source, argument, second, TextOf(error));
    } else {
      Fail(member.id, member.message, member.source, argument, second, TextOf(error));
    }
    return "";
  } catch (...) {
    return "";
  }
}

bool ServerProxy::CallQuery(const char* source, const std::string& request, std::string& answer,
                            std::int32_t (*query)(void*, const char*, std::int32_t, char*)) {
  try {
    Begin(source);
    bool fetched = false;
    std::string text;
    // Up to the offer is an answer here, not only 0: these operations report the length.
    if (gul::RunInRpcExceptionFrame([&] {
          fetched = rdx::rpc::FetchSizedText(
              [&](std::int32_t size, char* buffer) {
                return query(handle_, request.c_str(), size, buffer);
              },
              text);
        }) != 0 ||
        !fetched) {
      return false;
    }
    answer = std::move(text);
    return true;
  } catch (...) {
    return false;
  }
}

// ---- the members ----------------------------------------------------------------------------

bool ServerProxy::QueryText(const std::string& request, std::string& answer) {
  return CallQuery("ServerCore.ServerProxy.QueryText", request, answer, &stub::QueryText);
}

bool ServerProxy::QueryTextAlt(const std::string& request, std::string& answer) {
  return CallQuery("ServerCore.ServerProxy.QueryTextAlt", request, answer, &stub::QueryTextAlt);
}

bool ServerProxy::PostText(const std::string& text) {
  try {
    Begin("ServerCore.ServerProxy.PostText");
    std::int8_t result = 0;
    return gul::RunInRpcExceptionFrame([&] { result = stub::PostText(handle_, text.c_str()); }) ==
               0 &&
           result != 0;
  } catch (...) {
    return false;
  }
}

bool ServerProxy::StopServer(const std::string& text) {
  return CallBoolean(kStopServer, "", [&](char*) {
    return stub::StopServer(handle_, sessionId_.c_str(), text.c_str());
  });
}

std::string ServerProxy::GetInfo(const std::string& kind) {
  return CallText(kGetInfo, "", "", [&](std::int32_t n, char* text, char* error) {
    return stub::GetInfo(handle_, sessionId_.c_str(), kind.c_str(), n, text, error);
  });
}

bool ServerProxy::AddServiceProvider(const std::string& name, const std::string& infoXml) {
  return CallBoolean(kAddServiceProvider, name, [&](char* error) {
    return stub::AddServiceProvider(handle_, sessionId_.c_str(), name.c_str(),
                                    static_cast<std::int32_t>(infoXml.size() + 1), infoXml.c_str(),
                                    error);
  });
}

bool ServerProxy::RemoveServiceProvider(const std::string& name) {
  return CallBoolean(kRemoveServiceProvider, name, [&](char* error) {
    return stub::RemoveServiceProvider(handle_, sessionId_.c_str(), name.c_str(), error);
  });
}

bool ServerProxy::UpdateServiceProviderInfo(const std::string& name, const std::string& infoXml) {
  return CallBoolean(kUpdateServiceProviderInfo, name, [&](char* error) {
    return stub::UpdateServiceProviderInfo(handle_, sessionId_.c_str(), name.c_str(),
                                           static_cast<std::int32_t>(infoXml.size() + 1),
                                           infoXml.c_str(), error);
  });
}

bool ServerProxy::AddServices(const std::string& provider, const std::string& servicesXml) {
  return CallBoolean(kAddServices, provider, [&](char* error) {
    return stub::AddServices(handle_, sessionId_.c_str(), provider.c_str(),
                             static_cast<std::int32_t>(servicesXml.size() + 1), servicesXml.c_str(),
                             error);
  });
}

bool ServerProxy::RemoveServices(const std::string& provider, const std::string& servicesXml) {
  return CallBoolean(kRemoveServices, provider, [&](char* error) {
    return stub::RemoveServices(handle_, sessionId_.c_str(), provider.c_str(),
                                static_cast<std::int32_t>(servicesXml.size() + 1),
                                servicesXml.c_str(), error);
  });
}

std::string ServerProxy::GetServiceProviders() {
  return CallText(kGetServiceProviders, "", "", [&](std::int32_t n, char* text, char* error) {
    return stub::GetServiceProviders(handle_, sessionId_.c_str(), n, text, error);
  });
}

std::string ServerProxy::GetServiceProvidersWithInfo() {
  return CallText(
      kGetServiceProvidersWithInfo, "", "", [&](std::int32_t n, char* text, char* error) {
        return stub::GetServiceProvidersWithInfo(handle_, sessionId_.c_str(), n, text, error);
      });
}

std::string ServerProxy::GetServiceProviderFor(const std::string& service) {
  return CallText(kGetServiceProviderFor, service, "",
                  [&](std::int32_t n, char* text, char* error) {
                    return stub::GetServiceProviderFor(handle_, sessionId_.c_str(), service.c_str(),
                                                       n, text, error);
                  });
}

std::string ServerProxy::GetServiceProviderInfo(const std::string& provider) {
  return CallText(kGetServiceProviderInfo, provider, "",
                  [&](std::int32_t n, char* text, char* error) {
                    return stub::GetServiceProviderInfo(handle_, sessionId_.c_str(),
                                                        provider.c_str(), n, text, error);
                  });
}

std::string ServerProxy::GetServices(const std::string& provider) {
  return CallText(kGetServices, provider, "", [&](std::int32_t n, char* text, char* error) {
    return stub::GetServices(handle_, sessionId_.c_str(), provider.c_str(), n, text, error);
  });
}

std::string ServerProxy::GetServiceInfos(const std::string& provider) {
  return CallText(kGetServiceInfos, provider, "", [&](std::int32_t n, char* text, char* error) {
    return stub::GetServiceInfos(handle_, sessionId_.c_str(), provider.c_str(), n, text, error);
  });
}

std::string ServerProxy::GetServiceInfo(const std::string& service, const std::string& provider) {
  return CallText(kGetServiceInfo, service, provider, [&](std::int32_t n, char* text, char* error) {
    return stub::GetServiceInfo(handle_, sessionId_.c_str(), service.c_str(), provider.c_str(), n,
                                text, error);
  });
}

}  // namespace QUORVAN::Rendix::ServerCore
