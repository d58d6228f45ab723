#pragma once
// Client binding handles. A handle names a server (protocol sequence, address, endpoint) and
// caches one connection with its negotiated contexts; CallRemote (RpcRuntime.h) uses it.

#include <cstdint>
#include <string>

namespace rdx::rpc {

// Turns a string binding into a handle; checks syntax and protocol sequence only (no host
// is contacted). 0 and a handle, or 1700/1703/1704/1705 and null.
std::uint32_t BindingFromStringBinding(const std::string& stringBinding, void*& handle);
// Frees a handle and its connection and sets it to null; 1702 for null or unknown handles.
std::uint32_t FreeBinding(void*& handle);

// The Win32 status a client raises for a fault status received from a server.
std::uint32_t StatusFromFault(std::uint32_t faultStatus);

}  // namespace rdx::rpc
