#include "platform/os/LastError.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <cstring>
#include <thread>

namespace rdx::os {
namespace {

TEST(LastError, IsPerThread) {
  SetLastError(kErrorBrokenPipe);
  std::uint32_t seenByOther = 99;
  std::thread([&] { seenByOther = GetLastError(); }).join();
  EXPECT_EQ(seenByOther, 0u);
  EXPECT_EQ(GetLastError(), kErrorBrokenPipe);
}

TEST(LastError, MapsErrnoOntoWin32Codes) {
  struct Row {
    int errnoValue;
    std::uint32_t code;
  };
  for (const Row& row : {Row{ENOENT, 2}, Row{EACCES, 5}, Row{EPIPE, 109}, Row{EBADF, 6},
                         Row{ECONNREFUSED, 10061}, Row{ENOSPC, 112}}) {
    SCOPED_TRACE(row.errnoValue);
    EXPECT_EQ(SetLastErrorFromErrno(row.errnoValue), row.code);
    EXPECT_EQ(GetLastError(), row.code);
  }
  EXPECT_NE(Win32FromErrno(EDOM), 0u) << "an unmapped failure must never read as success";
}

TEST(LastError, TextsComeFromTheTableThenFallBack) {
  EXPECT_EQ(Win32ErrorText(1722), "The RPC server is unavailable.");
  EXPECT_EQ(Win32ErrorText(109), "The pipe has been ended.");
  EXPECT_EQ(Win32ErrorText(1783), "The stub received bad data.");
  EXPECT_EQ(Win32ErrorText(4000000000u), "Unknown error 4000000000");
  Win32FromErrno(EDOM);
  EXPECT_EQ(Win32ErrorText(31), std::strerror(EDOM));
}

}  // namespace
}  // namespace rdx::os
