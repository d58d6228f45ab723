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

// The code for a path no socket address can hold: 87 for no path, 206 for one too long.
std::uint32_t AddressCode(const std::string& path, sockaddr_un& address) {
  if (FillUnixAddress(path, address)) return kErrorSuccess;
  return path.empty() ? kErrorInvalidParameter : kErrorFilenameTooLong;
}

OsResult<UniqueFd> NewSocket() {
  // Close-on-exec: a child process started by the host must not keep our pipes open.
  UniqueFd fd(::socket(AF_UNIX, SOCK_SEQPACKET | SOCK_CLOEXEC, 0));
  if (!fd.Valid()) return {UniqueFd(), Win32FromErrno(errno)};
  return {std::move(fd), kErrorSuccess};
}

}  // namespace

OsResult<SeqPacketSocket> SeqPacketSocket::Connect(const std::string& path) {
  sockaddr_un address;
  if (const std::uint32_t code = AddressCode(path, address); code != 0) return {{}, code};
  OsResult<UniqueFd> fd = NewSocket();
  if (!fd.ok()) return {{}, fd.code};
  const int error = ConnectUnixSocket(fd.value.Get(), address);
  if (error == 0) return {SeqPacketSocket(std::move(fd.value)), kErrorSuccess};
  // No socket file, or a file nobody listens on: both mean there is no such pipe.
  return {{},
          error == ENOENT || error == ECONNREFUSED ? kErrorFileNotFound : Win32FromErrno(error)};
}

OsResult<SeqPacketSocket> SeqPacketSocket::Listen(const std::string& path) {
  sockaddr_un address;
  if (const std::uint32_t code = AddressCode(path, address); code != 0) return {{}, code};
  OsResult<UniqueFd> fd = NewSocket();
  if (!fd.ok()) return {{}, fd.code};
  const UnixListenResult listening =
      ListenOnSocketFile(fd.value.Get(), SOCK_SEQPACKET, path, address);
  switch (listening.state) {
    case UnixListenResult::State::kListening:
      return {SeqPacketSocket(std::move(fd.value)), kErrorSuccess};
    case UnixListenResult::State::kServerLive: return {{}, kErrorPipeBusy};
    case UnixListenResult::State::kStaleKept:
    case UnixListenResult::State::kFailed: break;
  }
  return {{}, Win32FromErrno(listening.error)};
}

void SeqPacketSocket::RemoveSocketFile(const std::string& path) noexcept {
  if (!path.empty()) (void)::unlink(path.c_str());
}

SeqPacketSocket::Wait SeqPacketSocket::WaitReadable(int timeoutMs) const noexcept {
  if (!fd_.Valid()) return Wait::kFailed;
  pollfd entry{fd_.Get(), POLLIN, 0};
  const int rc = ::poll(&entry, 1, timeoutMs);
  if (rc < 0) return errno == EINTR ? Wait::kTimeout : Wait::kFailed;  // callers poll again
  if (rc == 0) return Wait::kTimeout;
  if (entry.revents & POLLNVAL) return Wait::kFailed;
  // POLLHUP and POLLERR are reported as ready: the following read tells what happened.
  return Wait::kReady;
}

OsResult<SeqPacketSocket> SeqPacketSocket::Accept() const {
  UniqueFd fd(RetryOnEintr([&] { return ::accept4(fd_.Get(), nullptr, nullptr, SOCK_CLOEXEC); }));
  if (!fd.Valid()) return {{}, Win32FromErrno(errno)};
  return {SeqPacketSocket(std::move(fd)), kErrorSuccess};
}

std::uint32_t SeqPacketSocket::Send(const char* head, std::size_t headSize, const char* data,
                                    std::size_t size) const noexcept {
  if (!fd_.Valid()) return kErrorInvalidHandle;
  if (headSize + size == 0) return kErrorSuccess;
  iovec parts[2] = {{const_cast<char*>(head), headSize}, {const_cast<char*>(data), size}};
  msghdr message{};
  message.msg_iov = parts;
  message.msg_iovlen = 2;
  // MSG_NOSIGNAL: a vanished reader is a broken pipe to report, not a signal to die of.
  const ssize_t sent = RetryOnEintr([&] { return ::sendmsg(fd_.Get(), &message, MSG_NOSIGNAL); });
  if (sent < 0) return errno == EMSGSIZE ? kErrorMoreData : Win32FromErrno(errno);
  return kErrorSuccess;  // a seqpacket send is all or nothing
}

std::uint32_t SeqPacketSocket::SetReceiveTimeout(int timeoutMs) const noexcept {
  const timeval timeout{timeoutMs / 1000, (timeoutMs % 1000) * 1000};
  if (::setsockopt(fd_.Get(), SOL_SOCKET, SO_RCVTIMEO, &timeout, sizeof timeout) == 0) {
    return kErrorSuccess;
  }
  return Win32FromErrno(errno);
}

SeqPacketSocket::Receive SeqPacketSocket::ReceiveMessage(char* buffer, std::size_t capacity,
                                                         std::size_t& size) const noexcept {
  size = 0;
  if (!fd_.Valid()) return Receive::kFailed;
  // MSG_TRUNC makes the result the whole length of the message even when it did not fit, so
  // one call both reads a message and tells an oversized one apart.
  const ssize_t length =
      RetryOnEintr([&] { return ::recv(fd_.Get(), buffer, capacity, MSG_TRUNC); });
  if (length < 0) {
    return errno == EAGAIN || errno == EWOULDBLOCK ? Receive::kNone : Receive::kFailed;
  }
  // Empty messages are never sent, so zero means the peer hung up.
  if (length == 0) return Receive::kClosed;
  if (static_cast<std::size_t>(length) > capacity) return Receive::kTooLarge;
  size = static_cast<std::size_t>(length);
  return Receive::kMessage;
}

}  // namespace rdx::os
