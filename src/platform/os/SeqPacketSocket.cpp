#include "platform/os/SeqPacketSocket.h"

#include "platform/os/LastError.h"

#include <poll.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/time.h>
#include <sys/uio.h>
#include <sys/un.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <utility>

namespace rdx::os {
namespace {

bool MakeAddress(const std::string& path, sockaddr_un& address) {
  std::memset(&address, 0, sizeof address);
  address.sun_family = AF_UNIX;
  if (path.empty() || path.size() >= sizeof address.sun_path) {
    SetLastError(path.empty() ? kErrorInvalidParameter : kErrorFilenameTooLong);
    return false;
  }
  std::memcpy(address.sun_path, path.data(), path.size());
  return true;
}

int NewSocket() {
  // Close-on-exec: a child process started by the host must not keep our pipes open.
  const int fd = ::socket(AF_UNIX, SOCK_SEQPACKET | SOCK_CLOEXEC, 0);
  if (fd < 0) SetLastErrorFromErrno(errno);
  return fd;
}

int ConnectFd(int fd, const sockaddr_un& address) {
  int rc;
  do {
    rc = ::connect(fd, reinterpret_cast<const sockaddr*>(&address), sizeof address);
  } while (rc != 0 && errno == EINTR);  // a signal during the wait is not a failure
  return rc == 0 ? 0 : errno;
}

}  // namespace

SeqPacketSocket::~SeqPacketSocket() { Close(); }

SeqPacketSocket::SeqPacketSocket(SeqPacketSocket&& other) noexcept
    : fd_(std::exchange(other.fd_, -1)) {}

SeqPacketSocket& SeqPacketSocket::operator=(SeqPacketSocket&& other) noexcept {
  if (this != &other) {
    Close();
    fd_ = std::exchange(other.fd_, -1);
  }
  return *this;
}

void SeqPacketSocket::Close() noexcept {
  // close is not retried on EINTR: on Linux the descriptor is released either way.
  if (fd_ >= 0) ::close(std::exchange(fd_, -1));
}

SeqPacketSocket SeqPacketSocket::Connect(const std::string& path) {
  sockaddr_un address;
  if (!MakeAddress(path, address)) return {};
  SeqPacketSocket socket(NewSocket());
  if (!socket.Valid()) return {};
  const int error = ConnectFd(socket.fd_, address);
  if (error == 0) return socket;
  // No socket file, or a file nobody listens on: both mean there is no such pipe.
  SetLastError(error == ENOENT || error == ECONNREFUSED ? kErrorFileNotFound
                                                         : Win32FromErrno(error));
  return {};
}

SeqPacketSocket SeqPacketSocket::Listen(const std::string& path) {
  sockaddr_un address;
  if (!MakeAddress(path, address)) return {};
  SeqPacketSocket socket(NewSocket());
  if (!socket.Valid()) return {};
  const auto* raw = reinterpret_cast<const sockaddr*>(&address);
  if (::bind(socket.fd_, raw, sizeof address) != 0) {
    if (errno != EADDRINUSE) {
      SetLastErrorFromErrno(errno);
      return {};
    }
    // The file is left over from a listener that ended without removing it, unless someone
    // still answers on it.
    SeqPacketSocket probe(NewSocket());
    if (probe.Valid() && ConnectFd(probe.fd_, address) == 0) {
      SetLastError(kErrorPipeBusy);
      return {};
    }
    ::unlink(path.c_str());
    if (::bind(socket.fd_, raw, sizeof address) != 0) {
      SetLastErrorFromErrno(errno);
      return {};
    }
  }
  // Every local caller may connect, as with a pipe created without an access list.
  (void)::chmod(path.c_str(), 0666);
  if (::listen(socket.fd_, SOMAXCONN) != 0) {
    SetLastErrorFromErrno(errno);
    ::unlink(path.c_str());
    return {};
  }
  return socket;
}

void SeqPacketSocket::RemoveSocketFile(const std::string& path) noexcept {
  if (!path.empty()) (void)::unlink(path.c_str());
}

SeqPacketSocket::Wait SeqPacketSocket::WaitReadable(int timeoutMs) const noexcept {
  if (fd_ < 0) {
    SetLastError(kErrorInvalidHandle);
    return Wait::kFailed;
  }
  pollfd entry{fd_, POLLIN, 0};
  const int rc = ::poll(&entry, 1, timeoutMs);
  if (rc < 0) {
    if (errno == EINTR) return Wait::kTimeout;  // the caller polls again anyway
    SetLastErrorFromErrno(errno);
    return Wait::kFailed;
  }
  if (rc == 0) return Wait::kTimeout;
  if (entry.revents & POLLNVAL) {
    SetLastError(kErrorInvalidHandle);
    return Wait::kFailed;
  }
  // POLLHUP and POLLERR are reported as ready: the following read tells what happened.
  return Wait::kReady;
}

SeqPacketSocket SeqPacketSocket::Accept() const {
  int fd;
  do {
    fd = ::accept4(fd_, nullptr, nullptr, SOCK_CLOEXEC);
  } while (fd < 0 && errno == EINTR);
  if (fd < 0) SetLastErrorFromErrno(errno);
  return SeqPacketSocket(fd);
}

bool SeqPacketSocket::Send(const char* head, std::size_t headSize, const char* data,
                           std::size_t size) const noexcept {
  if (fd_ < 0) {
    SetLastError(kErrorInvalidHandle);
    return false;
  }
  if (headSize + size == 0) return true;
  iovec parts[2] = {{const_cast<char*>(head), headSize}, {const_cast<char*>(data), size}};
  msghdr message{};
  message.msg_iov = parts;
  message.msg_iovlen = 2;
  ssize_t sent;
  do {
    // MSG_NOSIGNAL: a vanished reader is a broken pipe to report, not a signal to die of.
    sent = ::sendmsg(fd_, &message, MSG_NOSIGNAL);
  } while (sent < 0 && errno == EINTR);
  if (sent < 0) {
    if (errno == EMSGSIZE) {
      SetLastError(kErrorMoreData);
    } else {
      SetLastErrorFromErrno(errno);
    }
    return false;
  }
  return true;  // a seqpacket send is all or nothing
}

bool SeqPacketSocket::SetReceiveTimeout(int timeoutMs) const noexcept {
  const timeval timeout{timeoutMs / 1000, (timeoutMs % 1000) * 1000};
  if (::setsockopt(fd_, SOL_SOCKET, SO_RCVTIMEO, &timeout, sizeof timeout) == 0) return true;
  SetLastErrorFromErrno(errno);
  return false;
}

SeqPacketSocket::Receive SeqPacketSocket::ReceiveMessage(char* buffer, std::size_t capacity,
                                                         std::size_t& size) const noexcept {
  size = 0;
  if (fd_ < 0) {
    SetLastError(kErrorInvalidHandle);
    return Receive::kFailed;
  }
  ssize_t length;
  do {
    // MSG_TRUNC makes the result the whole length of the message even when it did not fit, so
    // one call both reads a message and tells an oversized one apart.
    length = ::recv(fd_, buffer, capacity, MSG_TRUNC);
  } while (length < 0 && errno == EINTR);
  if (length < 0) {
    if (errno == EAGAIN || errno == EWOULDBLOCK) return Receive::kNone;
    SetLastErrorFromErrno(errno);
    return Receive::kFailed;
  }
  if (length == 0) {
    // Empty messages are never sent, so zero means the peer hung up.
    SetLastError(kErrorBrokenPipe);
    return Receive::kClosed;
  }
  if (static_cast<std::size_t>(length) > capacity) {
    SetLastError(kErrorMoreData);
    return Receive::kTooLarge;
  }
  size = static_cast<std::size_t>(length);
  return Receive::kMessage;
}

}  // namespace rdx::os
