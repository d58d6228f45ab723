#pragma once
// Readiness of many sockets waited for by a few threads (epoll), and the non-blocking reads
// and writes that go with it. Each watched descriptor reports one event and then stays quiet
// until it is armed again, so exactly one thread serves a ready socket at a time. Failures
// come back as results; the thread's last error is left alone.

#include <cstddef>
#include <cstdint>
#include <span>

#include "platform/os/StreamSocket.h"
#include "platform/os/UniqueFd.h"

namespace rdx::os {

class EventPoll {
 public:
  enum Interest : std::uint32_t { kReadable = 1, kWritable = 2 };
  struct Event {
    void* key = nullptr;  // as given to Add/Arm; null for a Wake
    bool readable = false;
    bool writable = false;
    bool hangUp = false;  // the peer closed or the socket failed
  };

  // Invalid (every call failing) when the system refuses a poll or a wake descriptor.
  EventPoll();
  EventPoll(const EventPoll&) = delete;
  EventPoll& operator=(const EventPoll&) = delete;

  bool Valid() const noexcept { return poll_.Valid() && wake_.Valid(); }

  // Watches `fd` for one event of `interest` (Interest bits), reported with `key`.
  [[nodiscard]] bool Add(int fd, std::uint32_t interest, void* key) noexcept;
  // Watches `fd` again after its event was reported.
  [[nodiscard]] bool Arm(int fd, std::uint32_t interest, void* key) noexcept;
  // Stops watching `fd`; call before closing it.
  void Remove(int fd) noexcept;
  // Waits at most `timeoutMs` (< 0: no limit) for one event; false on time-out or signal.
  bool Wait(Event& event, int timeoutMs) noexcept;
  // From now on every Wait returns at once with a null key.
  void Wake() noexcept;

 private:
  UniqueFd poll_;
  UniqueFd wake_;
};

// The descriptor of `socket`, ready for the transfers below: it stays in blocking mode so a
// read may wait, for at most `waitLimitMs` (> 0); -1 when the socket is invalid.
[[nodiscard]] int PrepareForPoll(StreamSocket& socket, int waitLimitMs) noexcept;

enum class Transfer { kDone, kWouldBlock, kClosed, kError };

// One read of up to `size` bytes; kDone with `received` > 0. Without `wait` it never blocks;
// with it, it waits up to the limit set by PrepareForPoll, then gives kWouldBlock.
[[nodiscard]] Transfer ReceiveSome(int fd, void* data, std::size_t size, std::size_t& received,
                                   bool wait = false) noexcept;
// One gathered write (never SIGPIPE) of the first buffers; kDone with `sent` > 0.
[[nodiscard]] Transfer SendSome(int fd, std::span<const ConstBuffer> buffers,
                                std::size_t& sent) noexcept;

}  // namespace rdx::os
