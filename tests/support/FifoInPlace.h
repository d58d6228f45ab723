#pragma once
// Puts a FIFO where the library expects a file, for tests that the library never waits on one.

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <chrono>
#include <filesystem>
#include <functional>
#include <future>
#include <string>

namespace rdx::test {

// Replaces path with a FIFO and runs use on another thread. True when use returned by itself;
// otherwise the FIFO is opened from this side until use is released (so the test fails
// instead of hanging) and false is returned.
inline bool ReturnsBesideFifo(const std::string& path, const std::function<void()>& use) {
  std::error_code ignored;
  std::filesystem::remove_all(path, ignored);
  std::filesystem::create_directories(std::filesystem::path(path).parent_path(), ignored);
  if (::mkfifo(path.c_str(), 0666) != 0) return false;
  auto done = std::async(std::launch::async, use);
  // The bound only turns a hang into a failure: a correct read returns at once.
  if (done.wait_for(std::chrono::seconds(5)) == std::future_status::ready) {
    done.get();
    return true;
  }
  // Opened read-write, a FIFO lets a blocked reader or writer through; closed, it reads as end.
  while (done.wait_for(std::chrono::milliseconds(20)) != std::future_status::ready) {
    const int fd = ::open(path.c_str(), O_RDWR | O_NONBLOCK);
    if (fd >= 0) ::close(fd);
  }
  done.get();
  return false;
}

}  // namespace rdx::test
