#include "platform/os/EventPoll.h"

#include <sys/epoll.h>
#include <sys/eventfd.h>
#include <sys/socket.h>
#include <sys/time.h>
#include <sys/uio.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>

#include "platform/os/Eintr.h"

namespace rdx::os {
namespace {

std::uint32_t EpollBits(std::uint32_t interest) {
  std::uint32_t bits = EPOLLONESHOT | EPOLLRDHUP;
  if ((interest & EventPoll::kReadable) != 0) bits |= EPOLLIN;
  if ((interest & EventPoll::kWritable) != 0) bits |= EPOLLOUT;
  return bits;
}

}  // namespace

EventPoll::EventPoll() {
  poll_.Reset(::epoll_create1(EPOLL_CLOEXEC));
  wake_.Reset(::eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK));
  if (!Valid()) return;
  // Level-triggered and never disarmed: once woken, every waiter sees it.
  epoll_event e{};
  e.events = EPOLLIN;
  e.data.ptr = nullptr;
  if (::epoll_ctl(poll_.Get(), EPOLL_CTL_ADD, wake_.Get(), &e) != 0) wake_.Reset();
}

bool EventPoll::Add(int fd, std::uint32_t interest, void* key) noexcept {
  epoll_event e{};
  e.events = EpollBits(interest);
  e.data.ptr = key;
  return ::epoll_ctl(poll_.Get(), EPOLL_CTL_ADD, fd, &e) == 0;
}

bool EventPoll::Arm(int fd, std::uint32_t interest, void* key) noexcept {
  epoll_event e{};
  e.events = EpollBits(interest);
  e.data.ptr = key;
  return ::epoll_ctl(poll_.Get(), EPOLL_CTL_MOD, fd, &e) == 0;
}

void EventPoll::Remove(int fd) noexcept {
  epoll_event e{};
  (void)::epoll_ctl(poll_.Get(), EPOLL_CTL_DEL, fd, &e);
}

bool EventPoll::Wait(Event& event, int timeoutMs) noexcept {
  epoll_event e{};
  const int n = ::epoll_wait(poll_.Get(), &e, 1, timeoutMs);
  if (n <= 0) return false;
  event.key = e.data.ptr;
  event.readable = (e.events & (EPOLLIN | EPOLLRDHUP)) != 0;
  event.writable = (e.events & EPOLLOUT) != 0;
  event.hangUp = (e.events & (EPOLLHUP | EPOLLERR)) != 0;
  return true;
}

void EventPoll::Wake() noexcept {
  const std::uint64_t one = 1;
  [[maybe_unused]] const ssize_t n = ::write(wake_.Get(), &one, sizeof one);
}

int PrepareForPoll(StreamSocket& socket, int waitLimitMs) noexcept {
  const int fd = socket.Descriptor();
  if (fd < 0 || waitLimitMs <= 0) return -1;
  const timeval limit{waitLimitMs / 1000, (waitLimitMs % 1000) * 1000};
  if (::setsockopt(fd, SOL_SOCKET, SO_RCVTIMEO, &limit, sizeof limit) != 0) return -1;
  return fd;
}

Transfer ReceiveSome(int fd, void* data, std::size_t size, std::size_t& received,
                     bool wait) noexcept {
  received = 0;
  const int flags = wait ? 0 : MSG_DONTWAIT;
  const ssize_t got = RetryOnEintr([&] { return ::recv(fd, data, size, flags); });
  if (got > 0) {
    received = static_cast<std::size_t>(got);
    return Transfer::kDone;
  }
  if (got == 0) return Transfer::kClosed;
  if (errno == EAGAIN || errno == EWOULDBLOCK) return Transfer::kWouldBlock;
  return errno == ECONNRESET ? Transfer::kClosed : Transfer::kError;
}

Transfer SendSome(int fd, std::span<const ConstBuffer> buffers, std::size_t& sent) noexcept {
  sent = 0;
  constexpr std::size_t kMaxVectors = 1024;
  iovec vectors[kMaxVectors];
  std::size_t count = 0;
  for (const ConstBuffer& b : buffers) {
    if (count == kMaxVectors) break;
    if (b.size == 0) continue;
    vectors[count++] = {const_cast<void*>(b.data), b.size};
  }
  if (count == 0) return Transfer::kDone;
  msghdr message{};
  message.msg_iov = vectors;
  message.msg_iovlen = count;
  const ssize_t n =
      RetryOnEintr([&] { return ::sendmsg(fd, &message, MSG_NOSIGNAL | MSG_DONTWAIT); });
  if (n >= 0) {
    sent = static_cast<std::size_t>(n);
    return Transfer::kDone;
  }
  if (errno == EAGAIN || errno == EWOULDBLOCK) return Transfer::kWouldBlock;
  return (errno == EPIPE || errno == ECONNRESET) ? Transfer::kClosed : Transfer::kError;
}

}  // namespace rdx::os
