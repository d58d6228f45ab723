#include "platform/os/ThreadPriority.h"

#include <sys/resource.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <cerrno>

namespace rdx::os {

void LowerCurrentThreadPriority() noexcept {
  const auto tid = static_cast<id_t>(::syscall(SYS_gettid));
  // getpriority may legitimately answer -1, so errno tells failure apart.
  errno = 0;
  const int current = ::getpriority(PRIO_PROCESS, tid);
  if (current == -1 && errno != 0) return;
  (void)::setpriority(PRIO_PROCESS, tid, current + 1);
}

}  // namespace rdx::os
