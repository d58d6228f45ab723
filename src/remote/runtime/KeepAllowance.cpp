#include "remote/runtime/KeepAllowance.h"

#include <algorithm>

namespace rdx::rpc {

KeepPool& ProcessKeepPool() noexcept {
  // Never destroyed: connection threads may still give back while static destructors run.
  static KeepPool* const pool =
      new KeepPool(std::min(kProcessKeepLimit, ProcessCallBudget().Limit() / 2));
  return *pool;
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
