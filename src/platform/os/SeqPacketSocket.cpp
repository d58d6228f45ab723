#include "platform/os/SeqPacketSocket.h"

#include "platform/os/Eintr.h"
#include "platform/os/LastError.h"
#include "platform/os/UnixSocketFile.h"

#include <poll.h>
#include <sys/socket.h>
#include <sys/time.h>
#include <sys/uio.h>
#include <sys/un.h>
#include <unistd.h>

#include <cerrno>
#include <utility>

namespace rdx::os {
namespace {

// Builds the address, or sets the last error: 87 for no path, 206 for one too long.
bool MakeAddress(const std::string& path, sockaddr_un& address) {
  if (FillUnixAddress(path, address)) return true;
  SetLastError(path.empty() ? kErrorInvalidParameter : kErrorFilenameTooLong);
  return false;
}

UniqueFd NewSocket() {
  // Close-on-exec: a child process started by the host must not keep our pipes open.
  UniqueFd fd(::socket(AF_UNIX, SOCK_SEQPACKET | SOCK_CLOEXEC, 0));
  if (!fd.Valid()) SetLastErrorFromErrno(errno);
  return fd;
}

}  // namespace

SeqPacketSocket SeqPacketSocket::Connect(const std::string& path) {
  sockaddr_un address;
  if (!MakeAddress(path, address)) return {};
  SeqPacketSocket socket(NewSocket());
  if (!socket.Valid()) return {};
  const int error = ConnectUnixSocket(socket.fd_.Get(), address);
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
  const UnixListenResult listening =
      ListenOnSocketFile(socket.fd_.Get(), SOCK_SEQPACKET, path, address);
  switch (listening.state) {
    case UnixListenResult::State::kListening:
      return socket;
    case UnixListenResult::State::kServerLive:
      SetLastError(kErrorPipeBusy);
      return {};
    case UnixListenResult::State::kStaleKept:
    case UnixListenResult::State::kFailed:
      SetLastErrorFromErrno(listening.error);
      return {};
  }
  return {};
}

void SeqPacketSocket::RemoveSocketFile(const std::string& path) noexcept {
  if (!path.empty()) (void)::unlink(path.c_str());
}

SeqPacketSocket::Wait SeqPacketSocket::WaitReadable(int timeoutMs) const noexcept {
  if (!fd_.Valid()) {
    SetLastError(kErrorInvalidHandle);
    return Wait::kFailed;
  }
  pollfd entry{fd_.Get(), POLLIN, 0};
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
  UniqueFd fd(RetryOnEintr([&] { return ::accept4(fd_.Get(), nullptr, nullptr, SOCK_CLOEXEC); }));
  if (!fd.Valid()) SetLastErrorFromErrno(errno);
  return SeqPacketSocket(std::move(fd));
}

bool SeqPacketSocket::Send(const char* head, std::size_t headSize, const char* data,
                           std::size_t size) const noexcept {
  if (!fd_.Valid()) {
    SetLastError(kErrorInvalidHandle);
    return false;
  }
  if (headSize + size == 0) return true;
  iovec parts[2] = {{const_cast<char*>(head), headSize}, {const_cast<char*>(data), size}};
  msghdr message{};
  message.msg_iov = parts;
  message.msg_iovlen = 2;
  // MSG_NOSIGNAL: a vanished reader is a broken pipe to report, not a signal to die of.
  const ssize_t sent =
      RetryOnEintr([&] { return ::sendmsg(fd_.Get(), &message, MSG_NOSIGNAL); });
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
  if (::setsockopt(fd_.Get(), SOL_SOCKET, SO_RCVTIMEO, &timeout, sizeof timeout) == 0) return true;
  SetLastErrorFromErrno(errno);
  return false;
}

SeqPacketSocket::Receive SeqPacketSocket::ReceiveMessage(char* buffer, std::size_t capacity,
                                                         std::size_t& size) const noexcept {
  size = 0;
  if (!fd_.Valid()) {
    SetLastError(kErrorInvalidHandle);
    return Receive::kFailed;
  }
  // MSG_TRUNC makes the result the whole length of the message even when it did not fit, so
  // one call both reads a message and tells an oversized one apart.
  const ssize_t length =
      RetryOnEintr([&] { return ::recv(fd_.Get(), buffer, capacity, MSG_TRUNC); });
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
