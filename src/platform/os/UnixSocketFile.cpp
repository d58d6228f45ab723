#include "platform/os/UnixSocketFile.h"

#include <sys/socket.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>

#include "platform/os/Eintr.h"
#include "platform/os/UniqueFd.h"

namespace rdx::os {
namespace {

int Bind(int fd, const sockaddr_un& address) noexcept {
  return ::bind(fd, reinterpret_cast<const sockaddr*>(&address), sizeof address) == 0 ? 0 : errno;
}

bool ServerAnswers(int socketType, const sockaddr_un& address) noexcept {
  const UniqueFd probe(::socket(AF_UNIX, socketType | SOCK_CLOEXEC, 0));
  return probe.Valid() && ConnectUnixSocket(probe.Get(), address) == 0;
}

}  // namespace

bool FillUnixAddress(const std::string& path, sockaddr_un& address) noexcept {
  std::memset(&address, 0, sizeof address);
  address.sun_family = AF_UNIX;
  if (path.empty() || path.size() >= sizeof address.sun_path) return false;
  std::memcpy(address.sun_path, path.c_str(), path.size() + 1);
  return true;
}

int ConnectUnixSocket(int fd, const sockaddr_un& address) noexcept {
  const int rc = RetryOnEintr(
      [&] { return ::connect(fd, reinterpret_cast<const sockaddr*>(&address), sizeof address); });
  return rc == 0 ? 0 : errno;
}

UnixListenResult ListenOnSocketFile(int fd, int socketType, const std::string& path,
                                    const sockaddr_un& address) noexcept {
  using State = UnixListenResult::State;
  int error = Bind(fd, address);
  if (error == EADDRINUSE) {
    // The file is left over from a listener that ended without removing it, unless someone
    // still answers on it.
    if (ServerAnswers(socketType, address)) return {State::kServerLive, EADDRINUSE};
    (void)::unlink(path.c_str());  // a failure shows in the second bind
    error = Bind(fd, address);
    if (error != 0) return {State::kStaleKept, error};
  }
  if (error != 0) return {State::kFailed, error};
  // Every local caller may connect, as with a pipe created without an access list.
  (void)::chmod(path.c_str(), 0666);
  if (::listen(fd, SOMAXCONN) != 0) {
    error = errno;
    (void)::unlink(path.c_str());
    return {State::kFailed, error};
  }
  return {State::kListening, 0};
}

}  // namespace rdx::os
