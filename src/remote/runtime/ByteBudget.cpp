#include "remote/runtime/ByteBudget.h"

#include <algorithm>
#include <cstdlib>
#include <limits>

#include "platform/os/Memory.h"

namespace rdx::rpc {

bool ByteBudget::Take(std::size_t bytes) noexcept {
  std::size_t used = used_.load(std::memory_order_relaxed);
  do {
    if (used > limit_ || bytes > limit_ - used) return false;
  } while (!used_.compare_exchange_weak(used, used + bytes, std::memory_order_relaxed));
  return true;
}

void ByteBudget::Force(std::size_t bytes) noexcept {
  used_.fetch_add(bytes, std::memory_order_relaxed);
}

void ByteBudget::Give(std::size_t bytes) noexcept {
  used_.fetch_sub(bytes, std::memory_order_relaxed);
}

std::size_t ParseByteCount(std::string_view text) noexcept {
  std::size_t unit = 1;
  if (!text.empty()) {
    switch (text.back()) {
      case 'k':
      case 'K': unit = std::size_t{1} << 10; break;
      case 'm':
      case 'M': unit = std::size_t{1} << 20; break;
      case 'g':
      case 'G': unit = std::size_t{1} << 30; break;
      default: break;
    }
    if (unit != 1) text.remove_suffix(1);
  }
  if (text.empty() || text.size() > 15) return 0;
  std::size_t value = 0;
  for (const char c : text) {
    if (c < '0' || c > '9') return 0;
    value = value * 10 + static_cast<std::size_t>(c - '0');
  }
  if (value > std::numeric_limits<std::size_t>::max() / unit) return 0;
  return value * unit;
}

ByteBudget& ProcessCallBudget() noexcept {
  // Never destroyed: connection threads may still give back while static destructors run.
  static ByteBudget* const budget = [] {
    const char* text = std::getenv(kCallBudgetVariable);
    std::size_t limit = text != nullptr ? ParseByteCount(text) : 0;
    if (limit == 0) {
      limit = kDefaultCallBudget;
      const std::uint64_t memory = os::PhysicalMemoryBytes();
      if (memory != 0) limit = static_cast<std::size_t>(std::min<std::uint64_t>(limit, memory / 2));
    }
    return new ByteBudget(limit);
  }();
  return *budget;
}

}  // namespace rdx::rpc
