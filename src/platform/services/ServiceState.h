#pragma once
// systemd's unit states read as service control manager states, and the start's polling
// arithmetic.

#include <cstdint>
#include <functional>
#include <string>

namespace rdx::services {

inline constexpr std::uint32_t kStopped = 1;
inline constexpr std::uint32_t kStartPending = 2;
inline constexpr std::uint32_t kStopPending = 3;
inline constexpr std::uint32_t kRunning = 4;
inline constexpr std::uint32_t kNoState = 0xFFFFFFFF;

// active and reloading -> 4 running; activating -> 2 start pending (also while waiting for an
// automatic restart); deactivating -> 3 stop pending; inactive, failed and anything else -> 1,
// except that a stopped unit with a job queued is start pending: systemd queues a start job
// and runs it a moment after StartUnit has answered.
std::uint32_t StateOf(const std::string& activeState, bool jobQueued);

// The time between two queries of a pending start: a tenth of the wait hint, at least 1000 and
// at most 10000 ms.
std::uint32_t PollIntervalMs(std::uint32_t waitHintMs);

// A unit's start time-out (microseconds; UINT64_MAX for none) as a wait hint in ms, capped at
// 0xFFFFFFFF.
std::uint32_t WaitHintMs(std::uint64_t timeoutStartUSec);

// What the pending-start loop needs from the world, so that it can be run without waiting.
struct StartProbe {
  struct Status {
    std::uint32_t state = 0;
    std::uint32_t checkPoint = 0;
    std::uint32_t waitHintMs = 0;
  };
  std::function<bool(Status&)> query;  // false when the query failed
  std::function<void(std::uint32_t)> sleepMs;
  std::function<std::uint32_t()> tickCount;  // milliseconds, wrapping at 2^32
  std::function<void(const std::string&)> log;
};

// While `status` reads start pending: sleep PollIntervalMs of its wait hint and query again;
// a higher check point counts as progress and restarts the wait-hint clock, otherwise the
// loop ends once more than the wait hint has passed without progress, or a query fails.
// `status` holds the last status read.
void WaitWhileStartPending(const StartProbe& probe, StartProbe::Status& status);

}  // namespace rdx::services
