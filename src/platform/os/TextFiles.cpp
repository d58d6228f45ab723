#include "platform/os/TextFiles.h"

#include "platform/os/Eintr.h"
#include "platform/os/LastError.h"
#include "platform/os/UniqueFd.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>
#include <cerrno>

namespace rdx::os {
namespace {

std::uint32_t CodeOf(int errnoValue) { return Win32FromErrno(errnoValue); }

// Folder part of a path ("." for a bare name).
std::string FolderOf(const std::string& path) {
  const std::size_t slash = path.rfind('/');
  if (slash == std::string::npos) return ".";
  return slash == 0 ? "/" : path.substr(0, slash);
}

}  // namespace

std::uint32_t ReadTextFile(const std::string& path, std::size_t maxBytes, std::string& text) {
  const UniqueFd fd(
      RetryOnEintr([&] { return ::open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK); }));
  if (!fd.Valid()) return CodeOf(errno);
  struct stat info {};
  if (::fstat(fd.Get(), &info) != 0 || !S_ISREG(info.st_mode)) {
    return CodeOf(ENOENT);  // a FIFO or device is not a unit file, and must not block us
  }
  text.clear();
  char buffer[4096];
  for (;;) {
    const ssize_t n = RetryOnEintr([&] { return ::read(fd.Get(), buffer, sizeof buffer); });
    if (n < 0) return CodeOf(errno);
    if (n == 0) break;
    text.append(buffer, static_cast<std::size_t>(n));
    if (text.size() > maxBytes) return CodeOf(EFBIG);
  }
  return kErrorSuccess;
}

std::uint32_t ReplaceTextFile(const std::string& path, const std::string& text) {
  const std::string folder = FolderOf(path);
  struct stat info {};
  if (::stat(folder.c_str(), &info) != 0) return CodeOf(errno == ENOENT ? ENOTDIR : errno);
  if (!S_ISDIR(info.st_mode)) return CodeOf(ENOTDIR);
  std::string temporary = path + ".XXXXXX";
  UniqueFd fd(::mkostemp(temporary.data(), O_CLOEXEC));
  if (!fd.Valid()) return CodeOf(errno);
  int failure = 0;
  std::size_t written = 0;
  while (failure == 0 && written < text.size()) {
    const ssize_t n = RetryOnEintr(
        [&] { return ::write(fd.Get(), text.data() + written, text.size() - written); });
    if (n < 0) {
      failure = errno;
    } else {
      written += static_cast<std::size_t>(n);
    }
  }
  // mkostemp makes the file 0600; units are world-readable like every file systemd reads.
  if (failure == 0 && ::fchmod(fd.Get(), 0644) != 0) failure = errno;
  if (failure == 0 && ::fsync(fd.Get()) != 0) failure = errno;
  if (const int closeFailure = fd.Close(); failure == 0) failure = closeFailure;
  if (failure == 0 && ::rename(temporary.c_str(), path.c_str()) != 0) failure = errno;
  if (failure != 0) {
    ::unlink(temporary.c_str());
    return CodeOf(failure);
  }
  return kErrorSuccess;
}

std::uint32_t RemoveFile(const std::string& path) {
  if (::unlink(path.c_str()) != 0) return CodeOf(errno);
  return kErrorSuccess;
}

}  // namespace rdx::os
