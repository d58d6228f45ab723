#include <rdx/platform/SystemInformation.h>

#include "platform/os/LastError.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <cstring>
#include <string>
#include <thread>

namespace rdx::os {
namespace {

TEST(LastError, MapsErrnoToWin32CodesAndTheirTexts) {
  const struct Row {
    int errnoValue;
    std::uint32_t code;
    const char* text;
  } rows[] = {
      {0, 0, "The operation completed successfully."},
      {ENOENT, 2, "The system cannot find the file specified."},
      {ENOTDIR, 3, "The system cannot find the path specified."},
      {EACCES, 5, "Access is denied."},
      {EPERM, 5, "Access is denied."},
      {EROFS, 5, "Access is denied."},
      {EBADF, 6, "The handle is invalid."},
      {ENOMEM, 8, "Not enough memory resources are available to process this command."},
      {EBUSY, 32,
       "The process cannot access the file because it is being used by another process."},
      {ETXTBSY, 32,
       "The process cannot access the file because it is being used by another process."},
      {EINVAL, 87, "The parameter is incorrect."},
      {EPIPE, 109, "The pipe has been ended."},
      {ECONNRESET, 109, "The pipe has been ended."},
      {ENOSPC, 112, "There is not enough space on the disk."},
      {EEXIST, 183, "Cannot create a file when that file already exists."},
      {ENAMETOOLONG, 206, "The filename or extension is too long."},
      {EAGAIN, 231, "All pipe instances are busy."},
      {ENOTCONN, 233, "No process is on the other end of the pipe."},
      {EMSGSIZE, 234, "More data is available."},
      {ETIMEDOUT, 1460, "This operation returned because the timeout period expired."},
      {EADDRINUSE, 10048,
       "Only one usage of each socket address (protocol/network address/port) is normally "
       "permitted."},
      {ECONNREFUSED, 10061,
       "No connection could be made because the target machine actively refused it."},
      {EHOSTUNREACH, 53, "The network path was not found."},
      {ENETUNREACH, 53, "The network path was not found."},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(std::strerror(row.errnoValue));
    EXPECT_EQ(SetLastErrorFromErrno(row.errnoValue), row.code);
    EXPECT_EQ(GetLastError(), row.code);
    EXPECT_EQ(Win32ErrorText(row.code), row.text);
  }
  // An errno without a code of its own must not read as success, and keeps its own text.
  EXPECT_EQ(SetLastErrorFromErrno(EDOM), kErrorDeviceNotFunctioning);
  EXPECT_EQ(Win32ErrorText(kErrorDeviceNotFunctioning), std::strerror(EDOM));
  EXPECT_EQ(Win32ErrorText(4242), "Unknown error 4242");
  EXPECT_EQ(QUORVAN::Rendix::GeneralUtilityLib::GetLastErrorText(-1), "Unknown error 4294967295");
}

TEST(LastError, IsPerThreadAndReadByGetErrorString) {
  SetLastError(kErrorBrokenPipe);
  std::uint32_t seenByOther = 99;
  std::thread([&] { seenByOther = GetLastError(); }).join();
  EXPECT_EQ(seenByOther, 0u);
  EXPECT_EQ(GetLastError(), kErrorBrokenPipe);
  SetLastError(0);
  EXPECT_EQ(QUORVAN::Rendix::GeneralUtilityLib::GetErrorString(), "");
  SetLastError(kRpcServerUnavailable);
  EXPECT_EQ(QUORVAN::Rendix::GeneralUtilityLib::GetErrorString(), "The RPC server is unavailable.");
}

}  // namespace
}  // namespace rdx::os
