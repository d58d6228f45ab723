#pragma once
// The socket file of a Unix-domain socket, as both local transports use it (the stream
// socket standing in for an RPC named pipe and the message socket of the reporting pipe):
// the address built from a path, connecting to it, and listening on it with a stale file
// left by a dead server replaced. Results are errno values; the callers pick the Win32 code.

#include <sys/un.h>

#include <string>

namespace rdx::os {

// Fills `address` for `path`; false when the path is empty or longer than a socket path may be.
[[nodiscard]] bool FillUnixAddress(const std::string& path, sockaddr_un& address) noexcept;

// Connects `fd` to `address`, a signal during the wait not counting as failure: 0 or errno.
[[nodiscard]] int ConnectUnixSocket(int fd, const sockaddr_un& address) noexcept;

struct UnixListenResult {
  enum class State {
    kListening,   // bound, world-connectable and listening
    kServerLive,  // a server answers on the file: it is not ours to take
    kStaleKept,   // no server answers, yet the file could not be replaced (`error` says why)
    kFailed,      // bind or listen failed for another reason (`error`)
  };
  State state;
  int error;  // errno of the failing step; 0 when listening
};

// Binds `fd`, a fresh AF_UNIX socket of `socketType`, to `path` and listens. A file nobody
// answers on (probed with a connection of the same type) is removed and bound again. Every
// local caller may connect, whatever the umask; the file is removed again when listen fails.
[[nodiscard]] UnixListenResult ListenOnSocketFile(int fd, int socketType, const std::string& path,
                                                  const sockaddr_un& address) noexcept;

}  // namespace rdx::os
