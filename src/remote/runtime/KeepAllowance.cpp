#include "remote/runtime/KeepAllowance.h"

namespace rdx::rpc {

KeepPool& KeepPool::Process() noexcept {
  // Never destroyed: connection threads may still give back while static destructors run.
  static KeepPool* const pool = new KeepPool(kProcessKeepLimit);
  return *pool;
}

bool KeepPool::Take(std::size_t bytes) noexcept {
  std::size_t kept = kept_.load(std::memory_order_relaxed);
  do {
    if (bytes > limit_ - kept) return false;
  } while (!kept_.compare_exchange_weak(kept, kept + bytes, std::memory_order_relaxed));
  return true;
}

void KeepPool::Give(std::size_t bytes) noexcept {
  kept_.fetch_sub(bytes, std::memory_order_relaxed);
}

void KeepAllowance::Settle(std::vector<std::uint8_t>& bytes) noexcept {
  const std::size_t wanted = bytes.capacity() > kFreelyKept ? bytes.capacity() : 0;
  if (wanted <= charged_) {
    pool_.Give(charged_ - wanted);
    charged_ = wanted;
    return;
  }
  if (pool_.Take(wanted - charged_)) {
    charged_ = wanted;
    return;
  }
  Drop(bytes);
}

void KeepAllowance::Drop(std::vector<std::uint8_t>& bytes) noexcept {
  std::vector<std::uint8_t>().swap(bytes);
  pool_.Give(charged_);
  charged_ = 0;
}

}  // namespace rdx::rpc
