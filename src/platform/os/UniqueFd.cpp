#include "platform/os/UniqueFd.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>

namespace rdx::os {

void UniqueFd::Reset(int fd) noexcept {
  // close is not retried on EINTR: on Linux the descriptor is released either way, and a
  // second close could hit one another thread has just been given.
  if (fd_ >= 0) ::close(fd_);
  fd_ = fd < 0 ? -1 : fd;
}

int UniqueFd::Close() noexcept {
  if (fd_ < 0) return 0;
  const int rc = ::close(Release());
  return rc == 0 ? 0 : errno;
}

int OpenPipe(int flags, UniqueFd& readEnd, UniqueFd& writeEnd) noexcept {
  int ends[2];
  if (::pipe2(ends, flags) != 0) return errno;
  readEnd.Reset(ends[0]);
  writeEnd.Reset(ends[1]);
  return 0;
}

}  // namespace rdx::os
