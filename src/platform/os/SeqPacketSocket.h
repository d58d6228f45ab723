#pragma once
// A Unix-domain SOCK_SEQPACKET socket: connection-oriented and keeping message boundaries, the
// Linux stand-in for a message-mode named pipe. Failures come back as Win32 codes (2 no such
// pipe, 6 invalid handle, 109 broken pipe, ...); the thread's last error is left to the caller.

#include <cstddef>
#include <cstdint>
#include <string>
#include <utility>

#include "platform/os/OsResult.h"
#include "platform/os/UniqueFd.h"

namespace rdx::os {

class SeqPacketSocket {
 public:
  enum class Wait { kReady, kTimeout, kFailed };
  enum class Receive { kMessage, kNone, kClosed, kTooLarge, kFailed };

  SeqPacketSocket() = default;

  // Connects to the socket file at path; blocks while the listener's backlog is full (a busy
  // pipe is waited for). Fails with 2 when nobody listens there, 87 for an empty path and 206
  // for one too long.
  static OsResult<SeqPacketSocket> Connect(const std::string& path);
  // Binds and listens at path, readable and writable by everyone (any local caller may connect).
  // A stale socket file nobody listens on is replaced; a live one fails with 231.
  static OsResult<SeqPacketSocket> Listen(const std::string& path);

  // Removes the socket file a listener was bound to; a missing file is fine.
  static void RemoveSocketFile(const std::string& path) noexcept;

  bool Valid() const noexcept { return fd_.Valid(); }
  void Close() noexcept { fd_.Reset(); }

  // Waits up to timeoutMs for a connection (listening) or a message / hang-up (connected).
  // kFailed when the socket is not open or the wait itself failed.
  [[nodiscard]] Wait WaitReadable(int timeoutMs) const noexcept;
  // Accepts one pending connection; fails when there was none or accept failed.
  OsResult<SeqPacketSocket> Accept() const;
  // Sends one message made of head then data, gathered without a copy: 0, or 109 when the
  // peer has gone, 6 when this socket is not open, 234 when it is larger than one message may
  // be. An empty message is not sent (a zero-length record reads as hang-up), but an unopened
  // socket still gives 6.
  [[nodiscard]] std::uint32_t Send(const char* head, std::size_t headSize, const char* data,
                                   std::size_t size) const noexcept;
  // Bounds how long ReceiveMessage waits for a message: 0 or the failure's code.
  [[nodiscard]] std::uint32_t SetReceiveTimeout(int timeoutMs) const noexcept;
  // Takes the next whole message into buffer, waiting at most the receive timeout (forever when
  // none is set); size is its length. kNone when none came in time; kClosed when the peer hung
  // up; kTooLarge when the message exceeded capacity (it is consumed and discarded); kFailed
  // when the socket is not open or the read failed.
  [[nodiscard]] Receive ReceiveMessage(char* buffer, std::size_t capacity,
                                       std::size_t& size) const noexcept;

 private:
  explicit SeqPacketSocket(UniqueFd fd) noexcept : fd_(std::move(fd)) {}
  UniqueFd fd_;
};

}  // namespace rdx::os
