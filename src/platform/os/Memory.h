#pragma once
// Committed memory regions straight from the system, and the high-resolution counter.
// Failures come back as Win32 codes; the thread's last error is left to the caller.

#include <cstddef>
#include <cstdint>

#include "platform/os/OsResult.h"

namespace rdx::os {

// A private, anonymous, read-write mapping of `size` bytes; null on failure: 87 for 0, 8 when
// the system refuses. The region's size is remembered so that ReleaseRegion needs only the
// address.
[[nodiscard]] OsResult<void*> CommitRegion(std::size_t size) noexcept;

// Unmaps a region CommitRegion gave: 0, or 87 for null or an address it never gave.
[[nodiscard]] std::uint32_t ReleaseRegion(void* address) noexcept;

// Hands memory the allocator holds but no longer uses back to the system, so a server's
// resident size falls again after large transfers end. Costs a walk over the free lists.
void ReturnFreeMemory() noexcept;

// Has the allocator map every block of `bytes` or more on its own, so freeing one gives it
// back to the system at once instead of leaving it in a thread's heap (where glibc never
// trims it). Fixes the threshold that glibc otherwise raises after each large free.
void MapLargeBlocksApart(std::size_t bytes) noexcept;

// Physical memory of this machine in bytes; 0 when unknown.
std::uint64_t PhysicalMemoryBytes() noexcept;

// CLOCK_MONOTONIC in nanoseconds, and its frequency in ticks per second.
std::int64_t MonotonicTicks() noexcept;
inline constexpr std::int64_t kMonotonicFrequency = 1000000000;

}  // namespace rdx::os
