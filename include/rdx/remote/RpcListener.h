#pragma once
// Publishing an RPC interface from a server process.

#include <cstdint>
#include <string>

#include <rdx/Export.h>

namespace QUORVAN::Rendix::GeneralUtilityLib {

/// Opens `endpoint` ("3982" over "ncacn_ip_tcp", "\pipe\NAME" over "ncacn_np"), registers
/// `interfaceSpec` (an interface description from the interface layer) and starts serving
/// without blocking. False with `rpcStatus` and its text in `errorText` on failure (1740
/// when the endpoint is taken, 1706 for a malformed endpoint, 1703 for another protocol).
RDX_API bool StartRpcListener(void* interfaceSpec, std::string endpoint,
                              std::string protocolSequence, std::string& errorText,
                              std::int32_t& rpcStatus);

/// Stops serving (every endpoint closes, running calls finish) and unregisters
/// `interfaceSpec`; false when either step fails. `errorText` is never written.
RDX_API bool StopRpcListener(void* interfaceSpec, std::string& errorText);

}  // namespace QUORVAN::Rendix::GeneralUtilityLib
