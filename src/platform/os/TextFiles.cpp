#include "platform/os/TextFiles.h"

#include "platform/os/LastError.h"

#include <cerrno>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace rdx::os {
namespace {

std::uint32_t Fail(int errnoValue) { return SetLastErrorFromErrno(errnoValue); }

// Folder part of a path ("." for a bare name).
std::string FolderOf(const std::string& path) {
  const std::size_t slash = path.rfind('/');
  if (slash == std::string::npos) return ".";
  return slash == 0 ? "/" : path.substr(0, slash);
}

}  // namespace

std::uint32_t ReadTextFile(const std::string& path, std::size_t maxBytes, std::string& text) {
  const int fd = ::open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK);
  if (fd < 0) return Fail(errno);
  struct stat info {};
  if (::fstat(fd, &info) != 0 || !S_ISREG(info.st_mode)) {
    ::close(fd);
    return Fail(ENOENT);  // a FIFO or device is not a unit file, and must not block us
  }
  text.clear();
  char buffer[4096];
  for (;;) {
    const ssize_t n = ::read(fd, buffer, sizeof buffer);
    if (n < 0 && errno == EINTR) continue;
    if (n < 0) {
      const int saved = errno;
      ::close(fd);
      return Fail(saved);
    }
    if (n == 0) break;
    text.append(buffer, static_cast<std::size_t>(n));
    if (text.size() > maxBytes) {
      ::close(fd);
      return Fail(EFBIG);
    }
  }
  ::close(fd);
  return Fail(0);
}

std::uint32_t ReplaceTextFile(const std::string& path, const std::string& text) {
  const std::string folder = FolderOf(path);
  struct stat info {};
  if (::stat(folder.c_str(), &info) != 0) return Fail(errno == ENOENT ? ENOTDIR : errno);
  if (!S_ISDIR(info.st_mode)) return Fail(ENOTDIR);
  std::string temporary = path + ".XXXXXX";
  const int fd = ::mkostemp(temporary.data(), O_CLOEXEC);
  if (fd < 0) return Fail(errno);
  int failure = 0;
  std::size_t written = 0;
  while (failure == 0 && written < text.size()) {
    const ssize_t n = ::write(fd, text.data() + written, text.size() - written);
    if (n < 0 && errno == EINTR) continue;
    if (n < 0) {
      failure = errno;
    } else {
      written += static_cast<std::size_t>(n);
    }
  }
  // mkostemp makes the file 0600; units are world-readable like every file systemd reads.
  if (failure == 0 && ::fchmod(fd, 0644) != 0) failure = errno;
  if (failure == 0 && ::fsync(fd) != 0) failure = errno;
  if (::close(fd) != 0 && failure == 0) failure = errno;
  if (failure == 0 && ::rename(temporary.c_str(), path.c_str()) != 0) failure = errno;
  if (failure != 0) {
    ::unlink(temporary.c_str());
    return Fail(failure);
  }
  return Fail(0);
}

std::uint32_t RemoveFile(const std::string& path) {
  if (::unlink(path.c_str()) != 0) return Fail(errno);
  return Fail(0);
}

}  // namespace rdx::os
