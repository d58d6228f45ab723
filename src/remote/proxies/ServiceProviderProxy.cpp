#include <rdx/remote/ServiceProviderProxy.h>

#include <rdx/foundation/StringUtility.h>
#include <rdx/platform/SystemInformation.h>
#include <rdx/remote/RpcExceptionFrame.h>
#include <rdx/remote/RpcHandle.h>

#include <algorithm>
#include <cstring>
#include <limits>
#include <string>
#include <vector>

#include "remote/proxies/ProviderCall.h"
#include "remote/proxies/ProxyCall.h"
#include "remote/stubs/ServiceProviderClient.h"

namespace rdx::remote {

// A session member: its status source, the id of a communication failure and the id of
// any other failure, and for text members the size named in the first call.
struct ProviderOperation {
  const char* source;
  std::int32_t id;
  std::int32_t unexpectedId;
  std::int32_t firstSize = 40000;
};

}  // namespace rdx::remote

namespace QUORVAN::Rendix::ServiceProvider {

namespace gul = GeneralUtilityLib;
namespace stub = rdx::rpc::serviceprovider;
using rdx::rpc::CallerBuffer;

namespace {

constexpr const char* kInitSource = "ServiceProviderProxy.Init";
constexpr const char* kCloseSource = "ServiceProviderProxy.Close";
constexpr std::int32_t kConnectId = 36354;
constexpr std::int32_t kNotInitializedId = 36355;
constexpr std::int32_t kUnexpectedId = 36607;
// Text answers: a first buffer of this size, and only a result of 0 is an answer.
constexpr std::size_t kTextCapacity = 40000;
constexpr std::size_t kStreamingCapacity = 4000;

using Operation = rdx::remote::ProviderOperation;
const Operation kOpenServiceSession{"ServiceProviderProxy.OpenServiceSession", 36354, 36354};
const Operation kCloseSession{"ServiceProviderProxy.CloseSession", 36356, 36356};
const Operation kGetServiceInfo{"ServiceProviderProxy.GetServiceInfo", 36357, 36357};
// Kept so: the first call names 4000 bytes although the buffer holds 40000, so an answer of
// 4001 to 40000 bytes takes a second call with a buffer of exactly its size.
const Operation kGetServiceMetadata{"ServiceProviderProxy.GetServiceMetadata", 36359, 36359, 4000};
const Operation kGetClientProperties{"ServiceProviderProxy.GetClientProperties", 36364, 36364};
const Operation kGetDefinition{"ServiceProviderProxy.GetDefinition", 36364, 36364};
const Operation kSetClientProperties{"ServiceProviderProxy.SetClientProperties", 36363, 36358};
const Operation kSetAOI{"ServiceProviderProxy.SetAOI", 36358, 36358};
const Operation kExtractAOI{"ServiceProviderProxy.ExtractAOI", 36358, 36358};
const Operation kGetStreamingProperties{"ServiceProviderProxy.GetStreamingProperties", 36360,
                                        36360};
const Operation kStreamImageBuffer{"ServiceProviderProxy.StreamImageBuffer", 36361, 36361};
const Operation kDoneWithImage{"ServiceProviderProxy.DoneWithImage", 36362, 36358};
const Operation kGetImageMetadata{"ServiceProviderProxy.GetImageMetadata", 36365, 36365};

}  // namespace

ServiceProviderProxy::ServiceProviderProxy() = default;

ServiceProviderProxy::~ServiceProviderProxy() { FreeHandle(); }

void ServiceProviderProxy::Begin(const char* source) {
  status_.Clear(source);
  operation_ = source;
}

void ServiceProviderProxy::FreeHandle() {
  if (handle_ != nullptr) gul::FreeRpcHandle(handle_);
  handle_ = nullptr;
}

void ServiceProviderProxy::LoseSession(std::int32_t id) {
  rdx::remote::AppendCallFailure(status_, id);
  std::memset(sessionBuffer_, 0, kSessionBytes);
}

// ---- connecting ------------------------------------------------------------------------

int ServiceProviderProxy::TryConnecting(const std::string& hostMachine,
                                        const std::string& endpoint) {
  try {
    FreeHandle();
    handle_ = rdx::remote::ProviderHandle(hostMachine, endpoint);
    if (handle_ == nullptr) {
      status_.Append(kConnectId,
                     gul::StringUtility::printToString(
                         "failed to get handle to serviceprovider on '%s' at endpoint '%s'; %s",
                         hostMachine.c_str(), endpoint.c_str(), ""),
                     "", "");
      return -1;
    }
    std::int8_t alive = 0;
    if (gul::RunInRpcExceptionFrame([&] { alive = stub::Ping(handle_); }) != 0) {
      status_.Append(kConnectId,
                     gul::StringUtility::printToString(
                         "failed to connect to serviceprovider on '%s' at endpoint '%s'; %s",
                         hostMachine.c_str(), endpoint.c_str(), gul::GetErrorString().c_str()),
                     "", "");
      return -1;
    }
    if (alive == 0) {
      status_.Append(kConnectId,
                     gul::StringUtility::printToString("Access denied on ServiceProvider on '%s'.",
                                                       hostMachine.c_str()),
                     "", "");
      return 1;
    }
    return 0;
  } catch (...) {
    // Kept so: callers count this attempt as connected; the item is its only trace.
    rdx::remote::AppendUnknownFailure(status_, kUnexpectedId, kInitSource);
    return 0;
  }
}

bool ServiceProviderProxy::InitFrom(const std::string& host, const std::string& fqdn,
                                    const std::string& address, const std::string& endpoint) {
  Begin(kInitSource);
  try {
    FreeHandle();
    std::memset(sessionBuffer_, 0, kSessionBytes);
    // An empty host name is this machine; an empty FQDN or address is not tried, as it
    // would reach this machine too and not the provider named.
    const std::string* names[] = {&host, &fqdn, &address};
    for (std::size_t i = 0; i < 3; ++i) {
      if (i > 0 && names[i]->empty()) continue;
      if (TryConnecting(*names[i], endpoint) == 0) return true;
      FreeHandle();
    }
    return false;
  } catch (...) {
    rdx::remote::AppendUnknownFailure(status_, kUnexpectedId, kInitSource);
    return false;
  }
}

bool ServiceProviderProxy::Init(const Global::NameValueMap& properties) {
  return InitFrom(properties["HostMachine"], properties["FQDN"], properties["IPAddress"],
                  properties["Endpoint"]);
}

bool ServiceProviderProxy::Init(const gul::PropertyLookUp& properties) {
  return InitFrom(properties.get("HostMachine"), properties.get("FQDN"),
                  properties.get("IPAddress"), properties.get("Endpoint"));
}

bool ServiceProviderProxy::InitCheck() {
  if (handle_ != nullptr) return true;
  status_.Append(kNotInitializedId, "The ServiceProviderProxy has not been initialized.", "", "");
  return false;
}

bool ServiceProviderProxy::ConnectionAlive() {
  std::int8_t alive = 0;
  return gul::RunInRpcExceptionFrame([&] { alive = stub::Ping(handle_); }) == 0 && alive != 0;
}

bool ServiceProviderProxy::DoesSessionExist() { return sessionBuffer_[0] != '\0'; }

bool ServiceProviderProxy::Close() {
  Begin(kCloseSource);
  try {
    FreeHandle();
    return true;
  } catch (...) {
    rdx::remote::AppendUnknownFailure(status_, kUnexpectedId, kCloseSource);
    return false;
  }
}

// ---- the two shapes of a session call ------------------------------------------------------

bool ServiceProviderProxy::CallBoolean(const Operation& operation, const BooleanCall& call) {
  Begin(operation.source);
  try {
    std::vector<char> error = CallerBuffer(rdx::rpc::kErrorCapacity);
    if (!InitCheck()) return false;
    std::int8_t result = 0;
    if (gul::RunInRpcExceptionFrame(
            [&] { result = call(handle_, sessionBuffer_, error.data()); }) != 0) {
      LoseSession(operation.id);
      return false;
    }
    if (result == 0) rdx::remote::AppendRefusal(status_, operation.id, error.data(), result);
    return result != 0;
  } catch (...) {
    rdx::remote::AppendUnknownFailure(status_, operation.unexpectedId, operation.source);
    return false;
  }
}

std::string ServiceProviderProxy::CallText(const Operation& operation, const TextCall& call) {
  Begin(operation.source);
  try {
    std::vector<char> error = CallerBuffer(rdx::rpc::kErrorCapacity);
    if (!InitCheck()) return "";
    std::int32_t last = 0;
    const rdx::rpc::SizedCall sized = [&](std::int32_t n, char* text) {
      // Refilled per call: the first answer may have shortened it, and an [in, out] string
      // only has room for what went in.
      error = CallerBuffer(rdx::rpc::kErrorCapacity);
      return last = call(handle_, sessionBuffer_, n, text, error.data());
    };
    const rdx::rpc::SizedFetch sizes{kTextCapacity, operation.firstSize, true};
    std::string answer;
    bool fetched = false;
    if (gul::RunInRpcExceptionFrame(
            [&] { fetched = rdx::rpc::FetchSizedText(sized, answer, sizes); }) != 0) {
      LoseSession(operation.id);
      return "";
    }
    if (!fetched) rdx::remote::AppendRefusal(status_, operation.id, error.data(), last);
    return fetched ? answer : "";
  } catch (...) {
    rdx::remote::AppendUnknownFailure(status_, operation.unexpectedId, operation.source);
    return "";
  }
}

// ---- the session members ---------------------------------------------------------------

std::string ServiceProviderProxy::OpenServiceSession(const std::string& service,
                                                     const std::string& clientInfo) {
  const Operation& operation = kOpenServiceSession;
  Begin(operation.source);
  try {
    std::vector<char> error = CallerBuffer(rdx::rpc::kErrorCapacity);
    if (!InitCheck()) return "";
    // All of it is room for the id the provider hands out.
    std::memset(sessionBuffer_, 'A', kSessionBytes - 1);
    sessionBuffer_[kSessionBytes - 1] = '\0';
    std::int8_t opened = 0;
    if (gul::RunInRpcExceptionFrame([&] {
          opened = stub::OpenServiceSession(handle_, service.c_str(), clientInfo.c_str(),
                                            sessionBuffer_, error.data());
        }) != 0) {
      LoseSession(operation.id);
      return "";
    }
    if (opened == 0) {
      status_.Append(
          operation.id,
          gul::StringUtility::printToString("Failed to open service: '%s'.", service.c_str()), "",
          "");
      status_.Append(operation.id, error.data(), "", "");
      std::memset(sessionBuffer_, 0, kSessionBytes);
      return "";
    }
    return sessionBuffer_;
  } catch (...) {
    std::memset(sessionBuffer_, 0, kSessionBytes);
    rdx::remote::AppendUnknownFailure(status_, operation.unexpectedId, operation.source);
    return "";
  }
}

bool ServiceProviderProxy::CloseSession(const std::string&) {
  const std::string closing = sessionBuffer_;
  const bool closed = CallBoolean(kCloseSession, [&](void* handle, char* session, char* error) {
    const std::int8_t result = stub::CloseSession(handle, session, error);
    if (result == 0) {
      status_.Append(
          kCloseSession.id,
          gul::StringUtility::printToString("Failed to close session: '%s'.", closing.c_str()), "",
          "");
    }
    return result;
  });
  std::memset(sessionBuffer_, 0, kSessionBytes);
  return closed;
}

std::string ServiceProviderProxy::GetServiceInfo() {
  return CallText(kGetServiceInfo, stub::GetServiceInfo);
}

std::string ServiceProviderProxy::GetServiceMetadata(const std::string&,
                                                     const std::string& request) {
  return CallText(kGetServiceMetadata, [&](void* h, char* s, std::int32_t n, char* t, char* e) {
    return stub::GetServiceMetadata(h, s, request.c_str(), n, t, e);
  });
}

std::string ServiceProviderProxy::GetDefinition(const std::string&, int level) {
  return CallText(kGetDefinition, [&](void* h, char* s, std::int32_t n, char* t, char* e) {
    return stub::GetDefinition(h, s, level, n, t, e);
  });
}

std::string ServiceProviderProxy::GetClientProperties(const std::string&, const std::string&) {
  return CallText(kGetClientProperties, stub::GetClientProperties);
}

bool ServiceProviderProxy::SetClientProperties(const std::string&, const std::string& properties) {
  return CallBoolean(kSetClientProperties, [&](void* h, char* s, char* e) {
    return stub::SetClientProperties(h, s, properties.c_str(), e);
  });
}

bool ServiceProviderProxy::SetAOI(const std::string&, double xmin, double ymin, double xmax,
                                  double ymax, std::uint32_t width, std::uint32_t height,
                                  const std::string& options) {
  return CallBoolean(kSetAOI, [&](void* h, char* s, char* e) {
    return stub::SetAOI(h, s, xmin, ymin, xmax, ymax, static_cast<std::int32_t>(width),
                        static_cast<std::int32_t>(height), options.c_str(), e);
  });
}

bool ServiceProviderProxy::ExtractAOI(const std::string&) {
  return CallBoolean(kExtractAOI, stub::ExtractAOI);
}

// NOLINTNEXTLINE(performance-unnecessary-value-param): the interface takes it by value
std::string ServiceProviderProxy::GetStreamingProperties(std::string) {
  std::vector<char> properties = CallerBuffer(kStreamingCapacity);
  const bool answered = CallBoolean(kGetStreamingProperties, [&](void* h, char* s, char* e) {
    return stub::GetStreamingProperties(h, s, properties.data(), e);
  });
  return answered ? std::string(properties.data()) : std::string();
}

bool ServiceProviderProxy::StreamImageBuffer(const std::string&, const char* buffer,
                                             std::uint32_t& size, std::uint32_t a,
                                             std::uint32_t b) {
  if (buffer == nullptr && size != 0) {
    Begin(kStreamImageBuffer.source);
    status_.Append(kStreamImageBuffer.id,
                   gul::StringUtility::printToString("No buffer for %u bytes.", size), "", "");
    return false;
  }
  // A capacity beyond what the wire can name is offered as the largest it can: the provider
  // never writes more than it is told.
  std::int32_t capacity = static_cast<std::int32_t>(
      std::min<std::uint32_t>(size, std::numeric_limits<std::int32_t>::max()));
  std::uint8_t none = 0;
  bool answered = false;  // capacity holds the bytes written only once the call returned
  // The caller owns the memory and hands it over for writing; only the declaration is const.
  auto* bytes =
      buffer != nullptr ? reinterpret_cast<std::uint8_t*>(const_cast<char*>(buffer)) : &none;
  const bool streamed = CallBoolean(kStreamImageBuffer, [&](void* h, char* s, char* e) {
    const std::int8_t result = stub::StreamImageBuffer(
        h, s, &capacity, bytes, static_cast<std::int32_t>(a), static_cast<std::int32_t>(b), e);
    answered = true;
    return result;
  });
  size = answered ? static_cast<std::uint32_t>(std::max(capacity, 0)) : 0;
  return streamed;
}

bool ServiceProviderProxy::DoneWithImage(const std::string&) {
  return CallBoolean(kDoneWithImage, stub::DoneWithImage);
}

std::string ServiceProviderProxy::GetImageMetadata(const std::string&, const std::string& request) {
  return CallText(kGetImageMetadata, [&](void* h, char* s, std::int32_t n, char* t, char* e) {
    return stub::GetImageMetadata(h, s, request.c_str(), n, t, e);
  });
}

}  // namespace QUORVAN::Rendix::ServiceProvider
