#include "platform/FileAge.h"

#include "platform/os/FileSystem.h"

namespace rdx::platform {

std::optional<std::chrono::system_clock::time_point> FileWriteTime(const std::string& path) {
  return os::LastWriteTime(path);
}

std::chrono::system_clock::time_point FileClockNow() { return os::FileTimeNow(); }

}  // namespace rdx::platform
