#pragma once
// The frame every remote call runs in: a failed call raises an exception carrying a Win32
// RPC status, and the frame turns it into that status (also left as the thread's last
// error), so nothing escapes to the caller.

#include <cstdint>
#include <functional>

#include <rdx/Export.h>

namespace QUORVAN::Rendix::GeneralUtilityLib {

/// Runs `call`; 0 when it completed, else the RPC status it failed with (1722 server
/// unavailable, 1745 unknown operation, ...; 14 when memory ran out, 1726 for any other
/// exception). The thread's last error holds the same status after a failure.
RDX_API std::int32_t RunInRpcExceptionFrame(const std::function<void()>& call) noexcept;

/// Raises the RPC exception for `status` (sets the thread's last error first); for code that
/// reports its own failures through the same frame.
[[noreturn]] RDX_API void RaiseRpcException(std::int32_t status);

}  // namespace QUORVAN::Rendix::GeneralUtilityLib
