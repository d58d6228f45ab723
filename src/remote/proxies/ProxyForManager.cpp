#include <rdx/remote/ProxyForManager.h>

#include <rdx/foundation/StringUtility.h>
#include <rdx/platform/SystemInformation.h>
#include <rdx/remote/RpcExceptionFrame.h>
#include <rdx/remote/RpcHandle.h>

#include <functional>
#include <vector>

#include "remote/proxies/ProviderCall.h"
#include "remote/proxies/ProxyCall.h"
#include "remote/stubs/ServiceProviderClient.h"

namespace QUORVAN::Rendix::ServiceProvider {

namespace gul = GeneralUtilityLib;
namespace stub = rdx::rpc::serviceprovider;
using gul::StringUtility::printToString;
using rdx::rpc::CallerBuffer;

namespace {

constexpr const char* kInitSource = "ServiceProvider.ProxyForManager.Init";
constexpr std::int32_t kConnectId = 38145;
constexpr std::int32_t kUnexpectedId = 38399;
constexpr const char* kConfigPath = "//ServiceProvider/Config/*";
constexpr const char* kHandleFailure =
    "failed to get handle to serviceprovider on '%s' at endpoint '%s'; %s";
// Text answers: a first buffer of this size, and only a result of 0 is an answer.
const rdx::rpc::SizedFetch kTextSizes{40000, 40000, true};

// A text operation of the size protocol, its error buffer refilled for each of its calls.
// The text, or "" with the provider's error text in `errorText` or the call's failure in
// `status` under `id`.
std::string FetchText(gul::Status& status, std::int32_t id,
                      const std::function<std::int32_t(std::int32_t, char*, char*)>& call,
                      std::string& errorText) {
  std::vector<char> error;
  std::int32_t last = 0;
  const rdx::rpc::SizedCall sized = [&](std::int32_t n, char* text) {
    error = CallerBuffer(rdx::rpc::kErrorCapacity);
    return last = call(n, text, error.data());
  };
  std::string answer;
  bool fetched = false;
  if (gul::RunInRpcExceptionFrame(
          [&] { fetched = rdx::rpc::FetchSizedText(sized, answer, kTextSizes); }) != 0) {
    rdx::remote::AppendCallFailure(status, id);
    errorText = status.ToString(nullptr);
    return "";
  }
  if (!fetched) {
    errorText = error.data();
    rdx::remote::AppendRefusal(status, id, error.data(), last);
  }
  return fetched ? answer : "";
}

}  // namespace

ProxyForManager::ProxyForManager() = default;

ProxyForManager::~ProxyForManager() { FreeHandle(); }

// A copy binds afresh instead of sharing the handle: each copy frees its own, and copies
// handed to other threads never share a connection.
ProxyForManager::ProxyForManager(const ProxyForManager& other)
    : Object(other),
      config_(other.config_),
      hostMachine_(other.hostMachine_),
      endpoint_(other.endpoint_) {
  if (other.handle_ != nullptr) handle_ = rdx::remote::ProviderHandle(hostMachine_, endpoint_);
}

ProxyForManager& ProxyForManager::operator=(const ProxyForManager& other) {
  if (this == &other) return *this;
  Object::operator=(other);
  config_ = other.config_;
  hostMachine_ = other.hostMachine_;
  endpoint_ = other.endpoint_;
  FreeHandle();
  if (other.handle_ != nullptr) handle_ = rdx::remote::ProviderHandle(hostMachine_, endpoint_);
  return *this;
}

void ProxyForManager::FreeHandle() {
  if (handle_ != nullptr) gul::FreeRpcHandle(handle_);
  handle_ = nullptr;
}

int ProxyForManager::Init(const std::string& configXml) {
  status_.Clear(kInitSource);
  try {
    FreeHandle();
    if (!config_.init(configXml)) return 0;
    const gul::PropertyLookUp config = gul::getNodeSetAsLookUp(config_, kConfigPath);
    hostMachine_ = config.get("HostMachine");
    endpoint_ = config.get("Endpoint");

    handle_ = rdx::remote::ProviderHandle(hostMachine_, endpoint_);
    if (handle_ == nullptr) {
      status_.Append(kConnectId,
                     printToString(kHandleFailure, hostMachine_.c_str(), endpoint_.c_str(),
                                   gul::GetErrorString().c_str()),
                     "", "");
      return 0;
    }
    std::int8_t alive = 0;
    if (gul::RunInRpcExceptionFrame([&] { alive = stub::Ping(handle_); }) != 0) {
      status_.Append(kConnectId,
                     printToString(kHandleFailure, hostMachine_.c_str(), endpoint_.c_str(),
                                   gul::GetErrorString().c_str()),
                     "", "");
      FreeHandle();
      return 0;
    }
    if (alive == 0) {
      status_.Append(
          kConnectId,
          printToString("Access denied on ServiceProvider on '%s'.", hostMachine_.c_str()), "", "");
      FreeHandle();
      return 0;
    }
    return 1;
  } catch (...) {
    rdx::remote::AppendUnknownFailure(status_, kUnexpectedId, "ProxyForManager.Init");
    return 0;
  }
}

int ProxyForManager::Close() {
  status_.Clear("ProxyForManager.Close");
  try {
    FreeHandle();
    return 1;
  } catch (...) {
    rdx::remote::AppendUnknownFailure(status_, kUnexpectedId, "ProxyForManager.Close");
    return 0;
  }
}

std::string ProxyForManager::GetServiceStates(std::string& errorText) {
  status_.Clear("ProxyForManager.GetServiceStates");
  try {
    return FetchText(
        status_, 38146,
        [&](std::int32_t n, char* text, char* error) {
          return stub::GetServiceStates(handle_, n, text, error);
        },
        errorText);
  } catch (...) {
    rdx::remote::AppendUnknownFailure(status_, 38146, "ProxyForManager.GetServiceStates");
    return "";
  }
}

int ProxyForManager::UpdateServiceStates(const std::string& states, std::string& errorText) {
  status_.Clear("ProxyForManager.UpdateServiceStates");
  try {
    std::vector<char> answer = CallerBuffer(rdx::rpc::kErrorCapacity);
    std::int8_t updated = 0;
    if (gul::RunInRpcExceptionFrame([&] {
          updated = stub::UpdateServiceStates(handle_, states.c_str(), answer.data());
        }) != 0) {
      rdx::remote::AppendCallFailure(status_, 38147);
      errorText = status_.ToString(nullptr);
      return 0;
    }
    if (updated == 0) errorText = answer.data();
    return updated != 0 ? 1 : 0;
  } catch (...) {
    rdx::remote::AppendUnknownFailure(status_, 38147, "ProxyForManager.UpdateServiceStates");
    return 0;
  }
}

int ProxyForManager::Synchronize(const std::string& text) {
  status_.Clear("ProxyForManager.Synchronize");
  try {
    std::vector<char> error = CallerBuffer(rdx::rpc::kErrorCapacity);
    std::int8_t synchronized = 0;
    if (gul::RunInRpcExceptionFrame(
            [&] { synchronized = stub::Synchronize(handle_, text.c_str(), error.data()); }) != 0) {
      rdx::remote::AppendCallFailure(status_, 38148);
      return 0;
    }
    if (synchronized == 0) rdx::remote::AppendRefusal(status_, 38148, error.data(), 0);
    return synchronized != 0 ? 1 : 0;
  } catch (...) {
    rdx::remote::AppendUnknownFailure(status_, 38148, "ProxyForManager.Synchronize");
    return 0;
  }
}

std::string ProxyForManager::Information(const char* source, std::int32_t id, const char* kind) {
  status_.Clear(source);
  try {
    std::string ignored;
    return FetchText(
        status_, id,
        [&](std::int32_t n, char* text, char* error) {
          return stub::GetInfo(handle_, kind, n, text, error);
        },
        ignored);
  } catch (...) {
    rdx::remote::AppendUnknownFailure(status_, id, source);
    return "";
  }
}

std::string ProxyForManager::GetInfo() {
  return Information("ProxyForManager.GetInfo", 38149, "Basic");
}

std::string ProxyForManager::GetDetailedInfo() {
  return Information("ProxyForManager.GetDetailedInfo", 38150, "Detailed");
}

// Empty: no connection text was ever defined (the older body faulted on a null one), and
// callers still reference the member.
std::string ProxyForManager::GetConnectionInfo() { return ""; }

int ProxyForManager::StopServiceProvider(const std::string& text) {
  status_.Clear("ProxyForManager.StopServiceProvider");
  try {
    std::int8_t stopping = 0;
    if (gul::RunInRpcExceptionFrame(
            [&] { stopping = stub::StopServiceProvider(handle_, text.c_str()); }) != 0) {
      rdx::remote::AppendCallFailure(status_, 38150);
      return 0;
    }
    return stopping != 0 ? 1 : 0;
  } catch (...) {
    rdx::remote::AppendUnknownFailure(status_, 38150, "ProxyForManager.StopServiceProvider");
    return 0;
  }
}

}  // namespace QUORVAN::Rendix::ServiceProvider
