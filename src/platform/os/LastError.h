#pragma once
// The thread's last error, kept in the Win32 code space (2 file not found, 5 access denied,
// 109 broken pipe, 1722 RPC server unavailable, ...) so that code written against those
// numbers reads the same on Linux. Platform calls map errno onto it with SetLastErrorFromErrno.

#include <cstdint>
#include <string>

namespace rdx::os {

// Win32 codes the library produces or tests for.
inline constexpr std::uint32_t kErrorSuccess = 0;
inline constexpr std::uint32_t kErrorFileNotFound = 2;
inline constexpr std::uint32_t kErrorPathNotFound = 3;
inline constexpr std::uint32_t kErrorAccessDenied = 5;
inline constexpr std::uint32_t kErrorInvalidHandle = 6;
inline constexpr std::uint32_t kErrorNotEnoughMemory = 8;
inline constexpr std::uint32_t kErrorOutOfMemory = 14;
inline constexpr std::uint32_t kErrorBadNetPath = 53;
inline constexpr std::uint32_t kErrorFileExists = 80;
inline constexpr std::uint32_t kErrorInvalidParameter = 87;
inline constexpr std::uint32_t kErrorBrokenPipe = 109;
inline constexpr std::uint32_t kErrorDiskFull = 112;
inline constexpr std::uint32_t kErrorPipeBusy = 231;
inline constexpr std::uint32_t kErrorNoData = 232;
inline constexpr std::uint32_t kErrorPipeNotConnected = 233;
inline constexpr std::uint32_t kErrorMoreData = 234;
inline constexpr std::uint32_t kErrorAlreadyExists = 183;
inline constexpr std::uint32_t kErrorTimeout = 1460;
inline constexpr std::uint32_t kRpcServerUnavailable = 1722;

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
