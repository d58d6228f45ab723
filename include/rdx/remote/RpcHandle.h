#pragma once
// Client binding handles.

#include <string>

#include <rdx/Export.h>

namespace QUORVAN::Rendix::GeneralUtilityLib {

/// A binding handle for `protocolSequence` to `endpoint` on `networkAddress` (host name,
/// IPv4 or IPv6 address; empty = this machine). No host is contacted: an unreachable one
/// shows at the first call (1722). Null on malformed input. `errorText` is never written.
RDX_API void* GetRpcHandle(unsigned char* networkAddress, unsigned char* endpoint,
                           unsigned char* protocolSequence, std::string& errorText);

/// Frees a handle from GetRpcHandle with its connection and sets it to null. False for null
/// or unknown handles.
RDX_API bool FreeRpcHandle(void*& bindingHandle);

}  // namespace QUORVAN::Rendix::GeneralUtilityLib
