#pragma once
// What the two service-provider proxies share around their calls: the TCP binding to a
// provider, and the status items of a refused or failed call.

#include <rdx/foundation/Status.h>

#include <cstdint>
#include <string>

namespace rdx::remote {

// Providers are always reached over TCP.
inline constexpr const char* kProviderProtocol = "ncacn_ip_tcp";
inline constexpr const char* kUnknownFatalError = "Unknown fatal error occured in '%s'.";

// A binding handle to `endpoint` on `host` (empty = this machine) over TCP; null when the
// binding cannot be made.
void* ProviderHandle(const std::string& host, const std::string& endpoint);

// A refused call: the provider's status XML from `errorText`, or, when that holds no item,
// one item with `id` saying what the call returned.
void AppendRefusal(QUORVAN::Rendix::GeneralUtilityLib::Status& status, std::int32_t id,
                   const char* errorText, std::int32_t result);

// A call that failed on the way: `id` with the text of the thread's last error.
void AppendCallFailure(QUORVAN::Rendix::GeneralUtilityLib::Status& status, std::int32_t id);

// `id` with "Unknown fatal error occured in '<where>'.".
void AppendUnknownFailure(QUORVAN::Rendix::GeneralUtilityLib::Status& status, std::int32_t id,
                          const char* where);

}  // namespace rdx::remote
