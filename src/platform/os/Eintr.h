#pragma once
// RetryOnEintr runs a system call again while a signal handler interrupted it, so a signal
// is never mistaken for a failure. Only for calls that may simply be restarted (read, write,
// open, accept, recv, sendmsg, ...); never close, whose descriptor is gone after EINTR.
//
//   const ssize_t got = RetryOnEintr([&] { return ::read(fd, buffer, size); });

#include <cerrno>

namespace rdx::os {

// Calls `call` until it returns anything but -1 with errno EINTR; returns that result, errno
// left as the last attempt set it.
template <typename Call>
auto RetryOnEintr(Call&& call) noexcept(noexcept(call())) -> decltype(call()) {
  for (;;) {
    auto result = call();
    if (!(result == -1 && errno == EINTR)) return result;
  }
}

}  // namespace rdx::os
