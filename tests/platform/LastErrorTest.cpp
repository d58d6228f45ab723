#include "platform/os/LastError.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <cstring>
#include <thread>

namespace rdx::os {
namespace {

TEST(LastError, IsPerThreadAndMapsErrnoOntoWin32Codes) {
  SetLastError(kErrorBrokenPipe);
  std::uint32_t seenByOther = 99;
  std::thread([&] { seenByOther = GetLastError(); }).join();
  EXPECT_EQ(seenByOther, 0u);
  EXPECT_EQ(GetLastError(), kErrorBrokenPipe);

  const std::pair<int, std::uint32_t> rows[] = {{ENOENT, 2},    {EACCES, 5},         {EPIPE, 109},
                                                {EBADF, 6},     {ECONNREFUSED, 10061}, {ENOSPC, 112}};
  for (const auto& [errnoValue, code] : rows) {
    SCOPED_TRACE(errnoValue);
    EXPECT_EQ(SetLastErrorFromErrno(errnoValue), code);
    EXPECT_EQ(GetLastError(), code);
  }
  EXPECT_NE(Win32FromErrno(EDOM), 0u) << "an unmapped failure must never read as success";
}

TEST(LastError, TextsComeFromTheTableThenFallBack) {
  EXPECT_EQ(Win32ErrorText(1722), "The RPC server is unavailable.");
  EXPECT_EQ(Win32ErrorText(109), "The pipe has been ended.");
  EXPECT_EQ(Win32ErrorText(4000000000u), "Unknown error 4000000000");
  Win32FromErrno(EDOM);
  EXPECT_EQ(Win32ErrorText(31), std::strerror(EDOM));
}

}  // namespace
}  // namespace rdx::os
