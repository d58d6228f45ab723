#include "platform/os/StreamSocket.h"

#include <arpa/inet.h>
#include <fcntl.h>
#include <netdb.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <poll.h>
#include <sys/resource.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/uio.h>
#include <sys/un.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <utility>
#include <vector>

#include "platform/os/Eintr.h"
#include "platform/os/LastError.h"
#include "platform/os/UnixSocketFile.h"

namespace rdx::os {
namespace {

void SetNoDelay(int fd) {
  int one = 1;
  ::setsockopt(fd, IPPROTO_TCP, TCP_NODELAY, &one, sizeof one);
}

// Connects `fd` to `address`: 0 or errno. A connect a signal interrupted goes on in the
// kernel, so asking again may answer EALREADY (still under way: wait until writable, then
// ask again) or EISCONN (it got through meanwhile: connected).
int ConnectTcpAddress(int fd, const addrinfo& address) {
  for (;;) {
    if (::connect(fd, address.ai_addr, address.ai_addrlen) == 0) return 0;
    const int error = errno;
    if (error == EISCONN) return 0;
    if (error == EALREADY) {
      pollfd p{fd, POLLOUT, 0};
      (void)::poll(&p, 1, -1);  // a signal here just means asking again
    } else if (error != EINTR) {
      return error;
    }
  }
}

}  // namespace

void StreamSocket::Close() noexcept { fd_.Reset(); }

void StreamSocket::Shutdown() noexcept {
  if (fd_.Valid()) ::shutdown(fd_.Get(), SHUT_RDWR);
}

StreamSocket StreamSocket::ConnectTcp(const std::string& host, std::uint16_t port) {
  addrinfo hints{};
  hints.ai_family = AF_UNSPEC;
  hints.ai_socktype = SOCK_STREAM;
  hints.ai_flags = AI_NUMERICSERV;
  const std::string service = std::to_string(port);
  addrinfo* found = nullptr;
  const int rc =
      ::getaddrinfo(host.empty() ? nullptr : host.c_str(), service.c_str(), &hints, &found);
  if (rc != 0 || found == nullptr) return StreamSocket();
  for (addrinfo* a = found; a != nullptr; a = a->ai_next) {
    UniqueFd fd(::socket(a->ai_family, a->ai_socktype | SOCK_CLOEXEC, a->ai_protocol));
    if (fd.Valid() && ConnectTcpAddress(fd.Get(), *a) == 0) {
      ::freeaddrinfo(found);
      SetNoDelay(fd.Get());
      return StreamSocket(std::move(fd));
    }
  }
  ::freeaddrinfo(found);
  return StreamSocket();
}

StreamSocket StreamSocket::ConnectUnix(const std::string& path) {
  sockaddr_un address;
  if (!FillUnixAddress(path, address)) return StreamSocket();
  UniqueFd fd(::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0));
  if (!fd.Valid() || ConnectUnixSocket(fd.Get(), address) != 0) return StreamSocket();
  return StreamSocket(std::move(fd));
}

IoResult StreamSocket::SendAll(const void* data, std::size_t size) {
  const ConstBuffer one{data, size};
  return SendAll(std::span<const ConstBuffer>(&one, 1));
}

void StreamSocket::SetSendTimeout(int timeoutMs) noexcept {
  if (!fd_.Valid()) return;
  timeval limit{};
  if (timeoutMs > 0) {
    limit.tv_sec = timeoutMs / 1000;
    limit.tv_usec = (timeoutMs % 1000) * 1000;
  }
  ::setsockopt(fd_.Get(), SOL_SOCKET, SO_SNDTIMEO, &limit, sizeof limit);
}

IoResult StreamSocket::SendAll(std::span<const ConstBuffer> buffers) {
  if (!fd_.Valid()) return IoResult::kError;
  constexpr std::size_t kMaxVectors = 512;
  iovec vectors[kMaxVectors];
  std::size_t index = 0;
  std::size_t skip = 0;  // bytes of buffers[index] already written
  while (index < buffers.size()) {
    std::size_t count = 0;
    for (std::size_t i = index; i < buffers.size() && count < kMaxVectors; ++i) {
      const std::size_t offset = (i == index) ? skip : 0;
      if (buffers[i].size == offset) continue;
      vectors[count].iov_base =
          const_cast<char*>(static_cast<const char*>(buffers[i].data) + offset);
      vectors[count].iov_len = buffers[i].size - offset;
      ++count;
    }
    if (count == 0) break;
    msghdr message{};
    message.msg_iov = vectors;
    message.msg_iovlen = count;
    // MSG_NOSIGNAL: a vanished peer is a closed connection to report, not a signal to die of.
    const ssize_t sent = RetryOnEintr([&] { return ::sendmsg(fd_.Get(), &message, MSG_NOSIGNAL); });
    if (sent < 0) {
      // EAGAIN: the send time-out passed without the peer taking a byte.
      if (errno == EAGAIN || errno == EWOULDBLOCK) return IoResult::kTimeout;
      return (errno == EPIPE || errno == ECONNRESET) ? IoResult::kClosed : IoResult::kError;
    }
    std::size_t left = static_cast<std::size_t>(sent);
    while (index < buffers.size() && left >= buffers[index].size - skip) {
      left -= buffers[index].size - skip;
      skip = 0;
      ++index;
    }
    skip += left;
  }
  return IoResult::kOk;
}

IoResult StreamSocket::Receive(void* data, std::size_t size, std::size_t& received, int timeoutMs) {
  const MutableBuffer buffer{data, size};
  return Receive(std::span(&buffer, 1), received, timeoutMs);
}

IoResult StreamSocket::Receive(std::span<const MutableBuffer> buffers, std::size_t& received,
                               int timeoutMs) {
  received = 0;
  if (!fd_.Valid()) return IoResult::kError;
  iovec vectors[kMaxReceiveBuffers];
  const std::size_t count = std::min(buffers.size(), kMaxReceiveBuffers);
  for (std::size_t i = 0; i < count; ++i) vectors[i] = {buffers[i].data, buffers[i].size};
  msghdr message{};
  message.msg_iov = vectors;
  message.msg_iovlen = count;
  if (timeoutMs >= 0) {
    // A signal restarts the wait with the whole time-out again, as it always has.
    pollfd p{fd_.Get(), POLLIN, 0};
    const int ready = RetryOnEintr([&] { return ::poll(&p, 1, timeoutMs); });
    if (ready == 0) return IoResult::kTimeout;
    if (ready < 0) return IoResult::kError;
  }
  const ssize_t got = RetryOnEintr([&] { return ::recvmsg(fd_.Get(), &message, 0); });
  if (got > 0) {
    received = static_cast<std::size_t>(got);
    return IoResult::kOk;
  }
  if (got == 0) return IoResult::kClosed;
  return errno == ECONNRESET ? IoResult::kClosed : IoResult::kError;
}

StreamListener::~StreamListener() { Release(); }

StreamListener::StreamListener(StreamListener&& other) noexcept { *this = std::move(other); }

StreamListener& StreamListener::operator=(StreamListener&& other) noexcept {
  if (this != &other) {
    Release();
    fd_ = std::move(other.fd_);
    wakeRead_ = std::move(other.wakeRead_);
    wakeWrite_ = std::move(other.wakeWrite_);
    port_ = other.port_;
    unixPath_ = std::move(other.unixPath_);
    other.unixPath_.clear();
  }
  return *this;
}

void StreamListener::Release() noexcept {
  fd_.Reset();
  wakeRead_.Reset();
  wakeWrite_.Reset();
  if (!unixPath_.empty()) ::unlink(unixPath_.c_str());
  unixPath_.clear();
}

OsResult<StreamListener> StreamListener::ListenTcp(std::uint16_t port) {
  StreamListener listener;
  UniqueFd fd(::socket(AF_INET6, SOCK_STREAM | SOCK_CLOEXEC, 0));
  int one = 1;
  int zero = 0;
  if (fd.Valid()) {
    ::setsockopt(fd.Get(), SOL_SOCKET, SO_REUSEADDR, &one, sizeof one);
    ::setsockopt(fd.Get(), IPPROTO_IPV6, IPV6_V6ONLY, &zero, sizeof zero);
    sockaddr_in6 address{};
    address.sin6_family = AF_INET6;
    address.sin6_addr = in6addr_any;
    address.sin6_port = htons(port);
    if (::bind(fd.Get(), reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0) {
      const int error = errno;
      fd.Reset();
      if (error != EAFNOSUPPORT && error != EADDRNOTAVAIL) return {{}, Win32FromErrno(error)};
    }
  }
  if (!fd.Valid()) {  // no IPv6 on this machine
    fd.Reset(::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0));
    if (!fd.Valid()) return {{}, Win32FromErrno(errno)};
    ::setsockopt(fd.Get(), SOL_SOCKET, SO_REUSEADDR, &one, sizeof one);
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_ANY);
    address.sin_port = htons(port);
    if (::bind(fd.Get(), reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0) {
      return {{}, Win32FromErrno(errno)};
    }
  }
  if (::listen(fd.Get(), SOMAXCONN) != 0) return {{}, Win32FromErrno(errno)};
  sockaddr_storage bound{};
  socklen_t length = sizeof bound;
  ::getsockname(fd.Get(), reinterpret_cast<sockaddr*>(&bound), &length);
  listener.port_ = bound.ss_family == AF_INET6
                       ? ntohs(reinterpret_cast<const sockaddr_in6*>(&bound)->sin6_port)
                       : ntohs(reinterpret_cast<const sockaddr_in*>(&bound)->sin_port);
  if (const int error = OpenPipe(O_CLOEXEC | O_NONBLOCK, listener.wakeRead_, listener.wakeWrite_);
      error != 0) {
    return {{}, Win32FromErrno(error)};
  }
  listener.fd_ = std::move(fd);
  return {std::move(listener), kErrorSuccess};
}

OsResult<StreamListener> StreamListener::ListenUnix(const std::string& path) {
  sockaddr_un address;
  if (!FillUnixAddress(path, address)) return {{}, kErrorInvalidParameter};
  UniqueFd fd(::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0));
  if (!fd.Valid()) return {{}, Win32FromErrno(errno)};
  const UnixListenResult listening = ListenOnSocketFile(fd.Get(), SOCK_STREAM, path, address);
  switch (listening.state) {
    case UnixListenResult::State::kListening: break;
    case UnixListenResult::State::kServerLive:
    case UnixListenResult::State::kStaleKept:
      return {{}, Win32FromErrno(EADDRINUSE)};  // the name is taken either way
    case UnixListenResult::State::kFailed: return {{}, Win32FromErrno(listening.error)};
  }
  StreamListener listener;
  if (const int error = OpenPipe(O_CLOEXEC | O_NONBLOCK, listener.wakeRead_, listener.wakeWrite_);
      error != 0) {
    ::unlink(path.c_str());
    return {{}, Win32FromErrno(error)};
  }
  listener.fd_ = std::move(fd);
  listener.unixPath_ = path;
  return {std::move(listener), kErrorSuccess};
}

StreamSocket StreamListener::Accept() {
  while (fd_.Valid()) {
    pollfd p[2] = {{fd_.Get(), POLLIN, 0}, {wakeRead_.Get(), POLLIN, 0}};
    const int ready = RetryOnEintr([&] { return ::poll(p, 2, -1); });
    if (ready < 0) {
      Backoff();  // out of kernel memory, say: try again shortly
      continue;
    }
    if (p[1].revents != 0) return StreamSocket();
    if (p[0].revents == 0) continue;
    UniqueFd client(::accept4(fd_.Get(), nullptr, nullptr, SOCK_CLOEXEC));
    if (!client.Valid()) {
      // Nothing ends the listener but Wake: a client that gave up is skipped, and a
      // shortage of descriptors or memory lasts only until connections end, so wait a
      // little instead of spinning on a connection that cannot be taken yet.
      if (errno == EMFILE || errno == ENFILE || errno == ENOBUFS || errno == ENOMEM) {
        Backoff();
      }
      continue;
    }
    if (unixPath_.empty()) SetNoDelay(client.Get());
    return StreamSocket(std::move(client));
  }
  return StreamSocket();
}

void StreamListener::Backoff() noexcept {
  constexpr int kBackoffMs = 10;
  pollfd p{wakeRead_.Get(), POLLIN, 0};
  ::poll(&p, 1, kBackoffMs);
}

void StreamListener::Wake() noexcept {
  if (wakeWrite_.Valid()) {
    const char byte = 1;
    [[maybe_unused]] const ssize_t n = ::write(wakeWrite_.Get(), &byte, 1);
  }
}

void RaiseDescriptorLimit() noexcept {
  rlimit limit{};
  if (::getrlimit(RLIMIT_NOFILE, &limit) != 0 || limit.rlim_cur >= limit.rlim_max) return;
  limit.rlim_cur = limit.rlim_max;
  ::setrlimit(RLIMIT_NOFILE, &limit);  // refused beyond the kernel's own ceiling: keep ours
}

std::size_t MaxSocketPathLength() noexcept { return sizeof(sockaddr_un{}.sun_path) - 1; }

}  // namespace rdx::os
