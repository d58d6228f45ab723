#pragma once
// OsResult: what an OS-layer call yields, the value or the Win32 code of why there is none.
// Calls in this layer hand their codes back and leave the thread's last error alone; the
// exported function that called them sets it where its contract says so, once, so a later
// step cannot silently overwrite the code a caller is meant to see.
//
//   const OsResult<std::uint64_t> free = AvailableBytes(folder);
//   if (!free.ok()) SetLastError(free.code);

#include <cstdint>

#include "platform/os/Win32Error.h"

namespace rdx::os {

template <class T>
struct [[nodiscard]] OsResult {
  T value{};                           // meaningful only when ok()
  std::uint32_t code = kErrorSuccess;  // kErrorSuccess, or the failure's Win32 code

  bool ok() const noexcept { return code == kErrorSuccess; }
};

}  // namespace rdx::os
