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
#include <cstring>
#include <utility>
#include <vector>

#include "platform/os/LastError.h"

namespace rdx::os {
namespace {

void SetNoDelay(int fd) {
  int one = 1;
  ::setsockopt(fd, IPPROTO_TCP, TCP_NODELAY, &one, sizeof one);
}

bool FillUnixAddress(const std::string& path, sockaddr_un& address) {
  std::memset(&address, 0, sizeof address);
  address.sun_family = AF_UNIX;
  if (path.empty() || path.size() >= sizeof address.sun_path) return false;
  std::memcpy(address.sun_path, path.c_str(), path.size() + 1);
  return true;
}

}  // namespace

StreamSocket::~StreamSocket() { Close(); }

StreamSocket& StreamSocket::operator=(StreamSocket&& other) noexcept {
  if (this != &other) {
    Close();
    fd_ = other.fd_;
    other.fd_ = -1;
  }
  return *this;
}

void StreamSocket::Close() noexcept {
  if (fd_ >= 0) ::close(fd_);
  fd_ = -1;
}

void StreamSocket::Shutdown() noexcept {
  if (fd_ >= 0) ::shutdown(fd_, SHUT_RDWR);
}

StreamSocket StreamSocket::ConnectTcp(const std::string& host, std::uint16_t port) {
  addrinfo hints{};
  hints.ai_family = AF_UNSPEC;
  hints.ai_socktype = SOCK_STREAM;
  hints.ai_flags = AI_NUMERICSERV;
  const std::string service = std::to_string(port);
  addrinfo* found = nullptr;
  const int rc = ::getaddrinfo(host.empty() ? nullptr : host.c_str(), service.c_str(), &hints,
                               &found);
  if (rc != 0 || found == nullptr) {
    SetLastError(kWsaHostNotFound);
    return StreamSocket();
  }
  int lastErrno = ECONNREFUSED;
  for (addrinfo* a = found; a != nullptr; a = a->ai_next) {
    const int fd = ::socket(a->ai_family, a->ai_socktype | SOCK_CLOEXEC, a->ai_protocol);
    if (fd < 0) {
      lastErrno = errno;
      continue;
    }
    int r;
    do {
      r = ::connect(fd, a->ai_addr, a->ai_addrlen);
    } while (r != 0 && errno == EINTR);
    if (r == 0) {
      ::freeaddrinfo(found);
      SetNoDelay(fd);
      return StreamSocket(fd);
    }
    lastErrno = errno;
    ::close(fd);
  }
  ::freeaddrinfo(found);
  SetLastErrorFromErrno(lastErrno);
  return StreamSocket();
}

StreamSocket StreamSocket::ConnectUnix(const std::string& path) {
  sockaddr_un address;
  if (!FillUnixAddress(path, address)) {
    SetLastError(kErrorFileNotFound);
    return StreamSocket();
  }
  const int fd = ::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
  if (fd < 0) {
    SetLastErrorFromErrno(errno);
    return StreamSocket();
  }
  int r;
  do {
    r = ::connect(fd, reinterpret_cast<const sockaddr*>(&address), sizeof address);
  } while (r != 0 && errno == EINTR);
  if (r != 0) {
    SetLastErrorFromErrno(errno);
    ::close(fd);
    return StreamSocket();
  }
  return StreamSocket(fd);
}

IoResult StreamSocket::SendAll(const void* data, std::size_t size) {
  const ConstBuffer one{data, size};
  return SendAll(std::span<const ConstBuffer>(&one, 1));
}

void StreamSocket::SetSendTimeout(int timeoutMs) noexcept {
  if (fd_ < 0) return;
  timeval limit{};
  if (timeoutMs > 0) {
    limit.tv_sec = timeoutMs / 1000;
    limit.tv_usec = (timeoutMs % 1000) * 1000;
  }
  ::setsockopt(fd_, SOL_SOCKET, SO_SNDTIMEO, &limit, sizeof limit);
}

IoResult StreamSocket::SendAll(std::span<const ConstBuffer> buffers) {
  if (fd_ < 0) return IoResult::kError;
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
    const ssize_t sent = ::sendmsg(fd_, &message, MSG_NOSIGNAL);
    if (sent < 0) {
      if (errno == EINTR) continue;
      if (errno == EAGAIN || errno == EWOULDBLOCK) {  // the send time-out passed untouched
        SetLastErrorFromErrno(ETIMEDOUT);
        return IoResult::kTimeout;
      }
      SetLastErrorFromErrno(errno);
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

IoResult StreamSocket::Receive(void* data, std::size_t size, std::size_t& received,
                               int timeoutMs) {
  const MutableBuffer buffer{data, size};
  return Receive(std::span(&buffer, 1), received, timeoutMs);
}

IoResult StreamSocket::Receive(std::span<const MutableBuffer> buffers, std::size_t& received,
                               int timeoutMs) {
  received = 0;
  if (fd_ < 0) return IoResult::kError;
  iovec vectors[kMaxReceiveBuffers];
  const std::size_t count = std::min(buffers.size(), kMaxReceiveBuffers);
  for (std::size_t i = 0; i < count; ++i) vectors[i] = {buffers[i].data, buffers[i].size};
  msghdr message{};
  message.msg_iov = vectors;
  message.msg_iovlen = count;
  for (;;) {
    if (timeoutMs >= 0) {
      pollfd p{fd_, POLLIN, 0};
      const int ready = ::poll(&p, 1, timeoutMs);
      if (ready < 0 && errno == EINTR) continue;
      if (ready == 0) return IoResult::kTimeout;
      if (ready < 0) {
        SetLastErrorFromErrno(errno);
        return IoResult::kError;
      }
    }
    const ssize_t got = ::recvmsg(fd_, &message, 0);
    if (got > 0) {
      received = static_cast<std::size_t>(got);
      return IoResult::kOk;
    }
    if (got == 0) {
      SetLastError(kErrorBrokenPipe);
      return IoResult::kClosed;
    }
    if (errno == EINTR) continue;
    SetLastErrorFromErrno(errno);
    return errno == ECONNRESET ? IoResult::kClosed : IoResult::kError;
  }
}

StreamListener::~StreamListener() { Release(); }

StreamListener::StreamListener(StreamListener&& other) noexcept { *this = std::move(other); }

StreamListener& StreamListener::operator=(StreamListener&& other) noexcept {
  if (this != &other) {
    Release();
    fd_ = std::exchange(other.fd_, -1);
    wakeRead_ = std::exchange(other.wakeRead_, -1);
    wakeWrite_ = std::exchange(other.wakeWrite_, -1);
    port_ = other.port_;
    unixPath_ = std::move(other.unixPath_);
    other.unixPath_.clear();
  }
  return *this;
}

void StreamListener::Release() noexcept {
  if (fd_ >= 0) ::close(fd_);
  if (wakeRead_ >= 0) ::close(wakeRead_);
  if (wakeWrite_ >= 0) ::close(wakeWrite_);
  if (!unixPath_.empty()) ::unlink(unixPath_.c_str());
  fd_ = wakeRead_ = wakeWrite_ = -1;
  unixPath_.clear();
}

StreamListener StreamListener::ListenTcp(std::uint16_t port) {
  StreamListener listener;
  int fd = ::socket(AF_INET6, SOCK_STREAM | SOCK_CLOEXEC, 0);
  int one = 1;
  int zero = 0;
  if (fd >= 0) {
    ::setsockopt(fd, SOL_SOCKET, SO_REUSEADDR, &one, sizeof one);
    ::setsockopt(fd, IPPROTO_IPV6, IPV6_V6ONLY, &zero, sizeof zero);
    sockaddr_in6 address{};
    address.sin6_family = AF_INET6;
    address.sin6_addr = in6addr_any;
    address.sin6_port = htons(port);
    if (::bind(fd, reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0) {
      const int error = errno;
      ::close(fd);
      fd = -1;
      if (error != EAFNOSUPPORT && error != EADDRNOTAVAIL) {
        SetLastErrorFromErrno(error);
        return listener;
      }
    }
  }
  if (fd < 0) {  // no IPv6 on this machine
    fd = ::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    if (fd < 0) {
      SetLastErrorFromErrno(errno);
      return listener;
    }
    ::setsockopt(fd, SOL_SOCKET, SO_REUSEADDR, &one, sizeof one);
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_ANY);
    address.sin_port = htons(port);
    if (::bind(fd, reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0) {
      SetLastErrorFromErrno(errno);
      ::close(fd);
      return listener;
    }
  }
  if (::listen(fd, SOMAXCONN) != 0) {
    SetLastErrorFromErrno(errno);
    ::close(fd);
    return listener;
  }
  sockaddr_storage bound{};
  socklen_t length = sizeof bound;
  ::getsockname(fd, reinterpret_cast<sockaddr*>(&bound), &length);
  listener.port_ = bound.ss_family == AF_INET6
                       ? ntohs(reinterpret_cast<const sockaddr_in6*>(&bound)->sin6_port)
                       : ntohs(reinterpret_cast<const sockaddr_in*>(&bound)->sin_port);
  int pipeEnds[2];
  if (::pipe2(pipeEnds, O_CLOEXEC | O_NONBLOCK) != 0) {
    SetLastErrorFromErrno(errno);
    ::close(fd);
    return listener;
  }
  listener.fd_ = fd;
  listener.wakeRead_ = pipeEnds[0];
  listener.wakeWrite_ = pipeEnds[1];
  return listener;
}

StreamListener StreamListener::ListenUnix(const std::string& path) {
  StreamListener listener;
  sockaddr_un address;
  if (!FillUnixAddress(path, address)) {
    SetLastError(kErrorInvalidParameter);
    return listener;
  }
  const int fd = ::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
  if (fd < 0) {
    SetLastErrorFromErrno(errno);
    return listener;
  }
  auto bindIt = [&] {
    return ::bind(fd, reinterpret_cast<const sockaddr*>(&address), sizeof address) == 0;
  };
  if (!bindIt()) {
    if (errno != EADDRINUSE) {
      SetLastErrorFromErrno(errno);
      ::close(fd);
      return listener;
    }
    // A file is there: taken when a server answers on it, stale otherwise.
    const bool taken = StreamSocket::ConnectUnix(path).Valid();
    if (taken || ::unlink(path.c_str()) != 0 || !bindIt()) {
      SetLastErrorFromErrno(EADDRINUSE);
      ::close(fd);
      return listener;
    }
  }
  // Every local caller may connect, whatever the umask of the process that listens.
  (void)::chmod(path.c_str(), 0666);
  int pipeEnds[2];
  if (::listen(fd, SOMAXCONN) != 0 || ::pipe2(pipeEnds, O_CLOEXEC | O_NONBLOCK) != 0) {
    SetLastErrorFromErrno(errno);
    ::close(fd);
    ::unlink(path.c_str());
    return listener;
  }
  listener.fd_ = fd;
  listener.wakeRead_ = pipeEnds[0];
  listener.wakeWrite_ = pipeEnds[1];
  listener.unixPath_ = path;
  return listener;
}

StreamSocket StreamListener::Accept() {
  while (fd_ >= 0) {
    pollfd p[2] = {{fd_, POLLIN, 0}, {wakeRead_, POLLIN, 0}};
    const int ready = ::poll(p, 2, -1);
    if (ready < 0) {
      if (errno != EINTR) Backoff();  // out of kernel memory, say: try again shortly
      continue;
    }
    if (p[1].revents != 0) return StreamSocket();
    if (p[0].revents == 0) continue;
    const int client = ::accept4(fd_, nullptr, nullptr, SOCK_CLOEXEC);
    if (client < 0) {
      // Nothing ends the listener but Wake: a client that gave up is skipped, and a
      // shortage of descriptors or memory lasts only until connections end, so wait a
      // little instead of spinning on a connection that cannot be taken yet.
      if (errno == EMFILE || errno == ENFILE || errno == ENOBUFS || errno == ENOMEM) {
        Backoff();
      }
      continue;
    }
    if (unixPath_.empty()) SetNoDelay(client);
    return StreamSocket(client);
  }
  return StreamSocket();
}

void StreamListener::Backoff() noexcept {
  constexpr int kBackoffMs = 10;
  pollfd p{wakeRead_, POLLIN, 0};
  ::poll(&p, 1, kBackoffMs);
}

void StreamListener::Wake() noexcept {
  if (wakeWrite_ >= 0) {
    const char byte = 1;
    [[maybe_unused]] const ssize_t n = ::write(wakeWrite_, &byte, 1);
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
