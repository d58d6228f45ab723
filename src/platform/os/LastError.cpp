#include "platform/os/LastError.h"

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <utility>

namespace rdx::os {
namespace {

thread_local std::uint32_t tLastError = kErrorSuccess;

struct CodeText {
  std::uint32_t code;
  const char* text;
};

// Sorted by code; looked up by binary search.
constexpr CodeText kTexts[] = {
    {0, "The operation completed successfully."},
    {1, "Incorrect function."},
    {2, "The system cannot find the file specified."},
    {3, "The system cannot find the path specified."},
    {4, "The system cannot open the file."},
    {5, "Access is denied."},
    {6, "The handle is invalid."},
    {8, "Not enough memory resources are available to process this command."},
    {14, "Not enough memory resources are available to complete this operation."},
    {31, "A device attached to the system is not functioning."},
    {32, "The process cannot access the file because it is being used by another process."},
    {53, "The network path was not found."},
    {80, "The file exists."},
    {87, "The parameter is incorrect."},
    {109, "The pipe has been ended."},
    {112, "There is not enough space on the disk."},
    {122, "The data area passed to a system call is too small."},
    {123, "The filename, directory name, or volume label syntax is incorrect."},
    {183, "Cannot create a file when that file already exists."},
    {206, "The filename or extension is too long."},
    {231, "All pipe instances are busy."},
    {232, "The pipe is being closed."},
    {233, "No process is on the other end of the pipe."},
    {234, "More data is available."},
    {267, "The directory name is invalid."},
    {535, "There is a process on other end of the pipe."},
    {997, "Overlapped I/O operation is in progress."},
    {1056, "An instance of the service is already running."},
    {1058, "The service cannot be started, either because it is disabled or because it has no "
           "enabled devices associated with it."},
    {1060, "The specified service does not exist as an installed service."},
    {1062, "The service has not been started."},
    {1063, "The service process could not connect to the service controller."},
    {1073, "The specified service already exists."},
    {1130, "Not enough server memory resources are available to process this command."},
    {1460, "This operation returned because the timeout period expired."},
    {1700, "The string binding is invalid."},
    {1702, "The binding handle is invalid."},
    {1703, "The RPC protocol sequence is not supported."},
    {1704, "The RPC protocol sequence is invalid."},
    {1705, "The string universal unique identifier (UUID) is invalid."},
    {1706, "The endpoint format is invalid."},
    {1707, "The network address is invalid."},
    {1708, "No endpoint was found."},
    {1713, "The RPC server is already listening."},
    {1715, "The RPC server is not listening."},
    {1717, "The interface is unknown."},
    {1720, "The endpoint cannot be created."},
    {1721, "Not enough resources are available to complete this operation."},
    {1722, "The RPC server is unavailable."},
    {1723, "The RPC server is too busy to complete this operation."},
    {1725, "There are no remote procedure calls active on this thread."},
    {1726, "The remote procedure call failed."},
    {1727, "The remote procedure call failed and did not execute."},
    {1728, "A remote procedure call (RPC) protocol error occurred."},
    {1730, "The transfer syntax is not supported by the RPC server."},
    {1732, "The universal unique identifier (UUID) type is not supported."},
    {1733, "The tag is invalid."},
    {1734, "The array bounds are invalid."},
    {1740, "The endpoint is a duplicate."},
    {1745, "The procedure number is out of range."},
    {1747, "The authentication service is unknown."},
    {1753, "There are no more endpoints available from the endpoint mapper."},
    {1764, "The requested operation is not supported."},
    {1766, "An internal error occurred in a remote procedure call (RPC)."},
    {1767, "The RPC server attempted an integer division by zero."},
    {1768, "An addressing error occurred in the RPC server."},
    {1769, "A floating-point operation at the RPC server caused a division by zero."},
    {1770, "A floating-point underflow occurred at the RPC server."},
    {1771, "A floating-point overflow occurred at the RPC server."},
    {1780, "A null reference pointer was passed to the stub."},
    {1781, "The enumeration value is out of range."},
    {1783, "The stub received bad data."},
    {1818, "The remote procedure call was cancelled."},
    {1820, "A communications failure occurred during a remote procedure call."},
    {10048, "Only one usage of each socket address (protocol/network address/port) is normally "
            "permitted."},
    {10061, "No connection could be made because the target machine actively refused it."},
};

// errno -> Win32, for the errno values system calls of the library can give.
constexpr std::pair<int, std::uint32_t> kErrnoMap[] = {
    {0, 0},
    {ENOENT, kErrorFileNotFound},
    {ENOTDIR, kErrorPathNotFound},
    {EACCES, kErrorAccessDenied},
    {EPERM, kErrorAccessDenied},
    {EROFS, kErrorAccessDenied},
    {EBADF, kErrorInvalidHandle},
    {ENOMEM, kErrorNotEnoughMemory},
    {EEXIST, kErrorAlreadyExists},
    {EINVAL, kErrorInvalidParameter},
    {ENAMETOOLONG, kErrorFilenameTooLong},
    {EPIPE, kErrorBrokenPipe},
    {ECONNRESET, kErrorBrokenPipe},
    {ENOSPC, kErrorDiskFull},
    {EBUSY, kErrorSharingViolation},
    {ETXTBSY, kErrorSharingViolation},
    {EAGAIN, kErrorPipeBusy},
    {ENOTCONN, kErrorPipeNotConnected},
    {EMSGSIZE, kErrorMoreData},
    {ETIMEDOUT, kErrorTimeout},
    {ECONNREFUSED, kWsaConnectionRefused},
    {EADDRINUSE, kWsaAddressInUse},
    {EHOSTUNREACH, kErrorBadNetPath},
    {ENETUNREACH, kErrorBadNetPath},
};

// Remembers which errno produced a code outside the table so its text can still be given.
thread_local int tLastUnmappedErrno = 0;

}  // namespace

std::uint32_t GetLastError() noexcept { return tLastError; }

void SetLastError(std::uint32_t code) noexcept { tLastError = code; }

std::uint32_t Win32FromErrno(int errnoValue) noexcept {
  for (const auto& [e, code] : kErrnoMap) {
    if (e == errnoValue) return code;
  }
  tLastUnmappedErrno = errnoValue;
  return kErrorDeviceNotFunctioning;
}

std::uint32_t SetLastErrorFromErrno(int errnoValue) noexcept {
  const std::uint32_t code = Win32FromErrno(errnoValue);
  tLastError = code;
  return code;
}

std::string Win32ErrorText(std::uint32_t code) {
  std::size_t lo = 0;
  std::size_t hi = std::size(kTexts);
  while (lo < hi) {
    const std::size_t mid = (lo + hi) / 2;
    if (kTexts[mid].code < code) {
      lo = mid + 1;
    } else {
      hi = mid;
    }
  }
  if (lo < std::size(kTexts) && kTexts[lo].code == code) {
    if (code == kErrorDeviceNotFunctioning && tLastUnmappedErrno != 0) {
      return std::strerror(tLastUnmappedErrno);
    }
    return kTexts[lo].text;
  }
  char buffer[40];
  std::snprintf(buffer, sizeof buffer, "Unknown error %u", code);
  return buffer;
}

}  // namespace rdx::os
