#pragma once
// Stream sockets for the RPC run time: TCP (IPv4 and IPv6, host names resolved) and
// Unix-domain stream sockets standing in for named pipes. Failures come back as results and
// leave the thread's last error alone; the callers decide which RPC status to raise.

#include <cstddef>
#include <cstdint>
#include <span>
#include <string>
#include <utility>

#include "platform/os/OsResult.h"
#include "platform/os/UniqueFd.h"

namespace rdx::os {

struct ConstBuffer {
  const void* data;
  std::size_t size;
};

struct MutableBuffer {
  void* data;
  std::size_t size;
};

enum class IoResult { kOk, kClosed, kTimeout, kError };

class StreamSocket {
 public:
  StreamSocket() = default;
  explicit StreamSocket(UniqueFd fd) noexcept : fd_(std::move(fd)) {}

  bool Valid() const noexcept { return fd_.Valid(); }
  // For the event poll; stays owned by the socket.
  int Descriptor() const noexcept { return fd_.Get(); }

  // Resolves `host` (empty = this machine) and tries each address in turn; an invalid
  // socket when none accepts. No code: the RPC client reports 1722 whatever the cause.
  [[nodiscard]] static StreamSocket ConnectTcp(const std::string& host, std::uint16_t port);
  [[nodiscard]] static StreamSocket ConnectUnix(const std::string& path);

  // Writes every byte of every buffer (partial writes resumed); never raises SIGPIPE.
  // kTimeout when a send time-out is set and the peer took nothing for that long (what was
  // written stays written).
  [[nodiscard]] IoResult SendAll(std::span<const ConstBuffer> buffers);
  [[nodiscard]] IoResult SendAll(const void* data, std::size_t size);
  // Bounds every later write's wait for the peer to take bytes; `timeoutMs` <= 0 waits
  // without limit. Kept in the kernel, so writes stay single blocking calls.
  void SetSendTimeout(int timeoutMs) noexcept;

  // Reads between 1 and `size` bytes into `data`. `timeoutMs` < 0 waits without limit.
  [[nodiscard]] IoResult Receive(void* data, std::size_t size, std::size_t& received,
                                 int timeoutMs);
  // Reads between 1 byte and all of `buffers`, filling them in order; the first
  // kMaxReceiveBuffers buffers are used.
  [[nodiscard]] IoResult Receive(std::span<const MutableBuffer> buffers, std::size_t& received,
                                 int timeoutMs);
  static constexpr std::size_t kMaxReceiveBuffers = 1024;

  // Ends both directions, so a thread blocked in Receive on this socket returns kClosed.
  void Shutdown() noexcept;
  void Close() noexcept;

 private:
  UniqueFd fd_;
};

class StreamListener {
 public:
  StreamListener() = default;
  ~StreamListener();
  StreamListener(StreamListener&& other) noexcept;
  StreamListener& operator=(StreamListener&& other) noexcept;
  StreamListener(const StreamListener&) = delete;
  StreamListener& operator=(const StreamListener&) = delete;

  // Listens on every local address (IPv6 and IPv4); port 0 picks a free port. Fails with
  // the socket call's code (10048 when the port is taken).
  [[nodiscard]] static OsResult<StreamListener> ListenTcp(std::uint16_t port);
  // Listens on a socket file; a stale file left by a dead server is replaced, a live one
  // fails with 10048, a path no socket address can hold with 87.
  [[nodiscard]] static OsResult<StreamListener> ListenUnix(const std::string& path);

  bool Valid() const noexcept { return fd_.Valid(); }
  std::uint16_t Port() const noexcept { return port_; }

  // Waits for the next connection; invalid only once Wake has been called (or the listener
  // is invalid). Failures of accept itself, descriptor shortage included, are waited out.
  StreamSocket Accept();
  // Makes a present or future Accept return at once; safe from any thread.
  void Wake() noexcept;

 private:
  void Release() noexcept;
  // Sleeps a little after a failed accept; returns early when woken.
  void Backoff() noexcept;
  UniqueFd fd_;
  UniqueFd wakeRead_;
  UniqueFd wakeWrite_;
  std::uint16_t port_ = 0;
  std::string unixPath_;  // removed again when the listener closes
};

// Raises this process's soft limit on open descriptors to its hard limit, so a server
// holding thousands of connections is not stopped by a low default. Best effort.
void RaiseDescriptorLimit() noexcept;

// Longest path a Unix-domain socket can have.
std::size_t MaxSocketPathLength() noexcept;

}  // namespace rdx::os
