#pragma once
// The thread's last error, kept in the Win32 code space (2 file not found, 5 access denied,
// 109 broken pipe, 1722 RPC server unavailable, ...) so that code written against those
// numbers reads the same on Linux. Platform calls map errno onto it with SetLastErrorFromErrno.

#include <cstdint>
#include <string>

#include "platform/os/Win32Error.h"

namespace rdx::os {

// The calling thread's last error; 0 until something sets it.
std::uint32_t GetLastError() noexcept;
void SetLastError(std::uint32_t code) noexcept;

// The Win32 code that stands for an errno value; unknown values map to 31 (a device error),
// so no failure ever reads as success.
std::uint32_t Win32FromErrno(int errnoValue) noexcept;

// Stores Win32FromErrno(errnoValue) as the thread's last error and returns it.
std::uint32_t SetLastErrorFromErrno(int errnoValue) noexcept;

// The standard English text of a Win32 code, without a line end. Codes outside the table fall
// back to strerror of the errno they came from, else "Unknown error N".
std::string Win32ErrorText(std::uint32_t code);

}  // namespace rdx::os
