#pragma once
// A Unix-domain SOCK_SEQPACKET socket: connection-oriented and keeping message boundaries, the
// Linux stand-in for a message-mode named pipe. Failures set the thread's last error in the
// Win32 code space (2 no such pipe, 6 invalid handle, 109 broken pipe, ...).

#include <cstddef>
#include <string>
#include <utility>

#include "platform/os/UniqueFd.h"

namespace rdx::os {

class SeqPacketSocket {
 public:
  enum class Wait { kReady, kTimeout, kFailed };
  enum class Receive { kMessage, kNone, kClosed, kTooLarge, kFailed };

  SeqPacketSocket() = default;

  // Connects to the socket file at path; blocks while the listener's backlog is full (a busy
  // pipe is waited for). Invalid socket with last error 2 when nobody listens there.
  static SeqPacketSocket Connect(const std::string& path);
  // Binds and listens at path, readable and writable by everyone (any local caller may connect).
  // A stale socket file nobody listens on is replaced; a live one fails with last error 231.
  static SeqPacketSocket Listen(const std::string& path);

  // Removes the socket file a listener was bound to; a missing file is fine.
  static void RemoveSocketFile(const std::string& path) noexcept;

  bool Valid() const noexcept { return fd_.Valid(); }
  void Close() noexcept { fd_.Reset(); }

  // Waits up to timeoutMs for a connection (listening) or a message / hang-up (connected).
  Wait WaitReadable(int timeoutMs) const noexcept;
  // Accepts one pending connection; invalid socket when there was none or on failure.
  SeqPacketSocket Accept() const;
  // Sends one message made of head then data, gathered without a copy; false with the last
  // error set (109 when the peer has gone, 6 when this socket is not open, 234 when it is
  // larger than one message may be). An empty message is not sent: a zero-length record
  // reads as hang-up.
  bool Send(const char* head, std::size_t headSize, const char* data,
            std::size_t size) const noexcept;
  // Bounds how long ReceiveMessage waits for a message; false with the last error on failure.
  bool SetReceiveTimeout(int timeoutMs) const noexcept;
  // Takes the next whole message into buffer, waiting at most the receive timeout (forever when
  // none is set); size is its length. kNone when none came in time; kClosed when the peer hung
  // up; kTooLarge when the message exceeded capacity (it is consumed and discarded).
  Receive ReceiveMessage(char* buffer, std::size_t capacity, std::size_t& size) const noexcept;

 private:
  explicit SeqPacketSocket(UniqueFd fd) noexcept : fd_(std::move(fd)) {}
  UniqueFd fd_;
};

}  // namespace rdx::os
