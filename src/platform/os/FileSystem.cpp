#include "platform/os/FileSystem.h"

#include "platform/os/Eintr.h"
#include "platform/os/LastError.h"
#include "platform/os/UniqueFd.h"

#include <fcntl.h>
#include <pwd.h>
#include <sys/stat.h>
#include <sys/statvfs.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <ctime>
#include <vector>

namespace rdx::os {
namespace {

std::chrono::system_clock::time_point FromTimespec(const timespec& ts) {
  const auto sinceEpoch = std::chrono::seconds(ts.tv_sec) + std::chrono::nanoseconds(ts.tv_nsec);
  return std::chrono::system_clock::time_point(
      std::chrono::duration_cast<std::chrono::system_clock::duration>(sinceEpoch));
}

// Every file the library opens goes through here: opened without blocking (a FIFO would
// otherwise wait for a writer or reader forever), kept only when it is a regular file, then
// switched back to blocking I/O.
OsResult<UniqueFd> OpenRegular(const std::string& path, int flags, mode_t mode = 0) noexcept {
  UniqueFd fd(RetryOnEintr(
      [&] { return open(path.c_str(), flags | O_CLOEXEC | O_NOCTTY | O_NONBLOCK, mode); }));
  if (!fd.Valid()) return {UniqueFd(), Win32FromErrno(errno)};
  struct stat info {};
  if (fstat(fd.Get(), &info) != 0 || !S_ISREG(info.st_mode)) {
    return {UniqueFd(), kErrorFileNotFound};  // not a file: as if there were none
  }
  const int status = fcntl(fd.Get(), F_GETFL);
  if (status < 0 || fcntl(fd.Get(), F_SETFL, status & ~O_NONBLOCK) != 0) {
    return {UniqueFd(), Win32FromErrno(errno)};
  }
  return {std::move(fd), kErrorSuccess};
}

}  // namespace

std::uint32_t ReadRegularFile(const std::string& path, std::size_t maxBytes, std::string& text) {
  text.clear();
  const OsResult<UniqueFd> opened = OpenRegular(path, O_RDONLY);
  if (!opened.ok()) return opened.code;
  const UniqueFd& fd = opened.value;
  char buffer[65536];
  std::uint32_t code = 0;
  for (;;) {
    // A signal is no reason to lose the file.
    const ssize_t got = RetryOnEintr([&] { return read(fd.Get(), buffer, sizeof buffer); });
    if (got < 0) {
      code = Win32FromErrno(errno);
      break;
    }
    if (got == 0) break;
    if (text.size() + static_cast<std::size_t>(got) > maxBytes) {
      code = kErrorNotEnoughMemory;
      break;
    }
    text.append(buffer, static_cast<std::size_t>(got));
  }
  if (code != 0) text.clear();
  return code;
}

OsResult<std::FILE*> OpenRegularFileForAppend(const std::string& path) noexcept {
  OsResult<UniqueFd> opened = OpenRegular(path, O_WRONLY | O_APPEND | O_CREAT, 0666);
  if (!opened.ok()) return {nullptr, opened.code};
  std::FILE* file = fdopen(opened.value.Get(), "ab");
  if (file == nullptr) return {nullptr, Win32FromErrno(errno)};
  (void)opened.value.Release();  // the stream closes it now
  return {file, kErrorSuccess};
}

bool PathExists(const std::string& path) noexcept { return access(path.c_str(), F_OK) == 0; }

std::uint32_t MakeDirectory(const std::string& path) noexcept {
  return mkdir(path.c_str(), 0777) == 0 ? kErrorSuccess : Win32FromErrno(errno);
}

OsResult<std::uint64_t> AvailableBytes(const std::string& path) noexcept {
  struct statvfs info {};
  if (statvfs(path.c_str(), &info) != 0) return {0, Win32FromErrno(errno)};
  return {static_cast<std::uint64_t>(info.f_bavail) * info.f_frsize, kErrorSuccess};
}

OsResult<std::chrono::system_clock::time_point> LastWriteTime(const std::string& path) {
  const OsResult<UniqueFd> opened = OpenRegular(path, O_RDONLY);
  if (!opened.ok()) return {{}, opened.code};
  struct stat info {};
  if (fstat(opened.value.Get(), &info) != 0) return {{}, Win32FromErrno(errno)};
  return {FromTimespec(info.st_mtim), kErrorSuccess};
}

std::chrono::system_clock::time_point FileTimeNow() noexcept {
  timespec ts{};
  clock_gettime(CLOCK_REALTIME_COARSE, &ts);
  return FromTimespec(ts);
}

std::uint32_t SetLastWriteTime(const std::string& path,
                               std::chrono::system_clock::time_point when) noexcept {
  const auto ns =
      std::chrono::duration_cast<std::chrono::nanoseconds>(when.time_since_epoch()).count();
  timespec times[2];
  times[0].tv_sec = 0;
  times[0].tv_nsec = UTIME_OMIT;
  times[1].tv_sec = static_cast<time_t>(ns / 1000000000);
  times[1].tv_nsec = static_cast<long>(ns % 1000000000);
  return utimensat(AT_FDCWD, path.c_str(), times, 0) == 0 ? kErrorSuccess : Win32FromErrno(errno);
}

std::string HomeFolder() {
  const char* home = std::getenv("HOME");
  if (home != nullptr && *home != '\0') return home;
  std::vector<char> buffer(16384);
  passwd entry{};
  passwd* found = nullptr;
  if (getpwuid_r(geteuid(), &entry, buffer.data(), buffer.size(), &found) == 0 &&
      found != nullptr && found->pw_dir != nullptr) {
    return found->pw_dir;
  }
  return "";
}

std::string ExecutablePath() {
  char buffer[4096];
  const ssize_t got = readlink("/proc/self/exe", buffer, sizeof buffer - 1);
  if (got <= 0) return "";
  return std::string(buffer, static_cast<std::size_t>(got));
}

}  // namespace rdx::os
