#include "platform/FileAge.h"

#include "platform/os/FileSystem.h"

namespace rdx::platform {

bool IsFileNewerThan(const std::string& path, std::chrono::system_clock::time_point when) {
  const auto written = os::LastWriteTime(path);
  return written.has_value() && *written > when;
}

std::chrono::system_clock::time_point FileClockNow() { return os::FileTimeNow(); }

}  // namespace rdx::platform
