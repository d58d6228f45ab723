#pragma once
// Answer and receive buffers kept between calls, so a large transfer reuses warm memory
// instead of paying for fresh pages (which the kernel zeroes) on every call. Whatever a
// connection or binding keeps above a small size is charged to a shared pool with a fixed
// limit; a buffer the pool has no room for is freed after its call, as before.

#include <cstddef>
#include <cstdint>
#include <vector>

#include "remote/runtime/ByteBudget.h"

namespace rdx::rpc {

// Buffers up to this capacity are always kept and never charged: idle connections hold
// about this much anyway.
inline constexpr std::size_t kFreelyKept = 1024 * 1024;
// What all connections and bindings of a process may keep beyond that, together; never more
// than half the call budget, so warm buffers of idle connections cannot starve live calls.
inline constexpr std::size_t kProcessKeepLimit = 512u * 1024 * 1024;

using KeepPool = ByteBudget;

// The pool every server connection and client binding of this process draws on.
KeepPool& ProcessKeepPool() noexcept;

// The charge one holder (a connection, a binding) has against a pool for one buffer.
class KeepAllowance {
 public:
  explicit KeepAllowance(KeepPool& pool = ProcessKeepPool()) noexcept : pool_(pool) {}
  ~KeepAllowance() { pool_.Give(charged_); }
  KeepAllowance(const KeepAllowance&) = delete;
  KeepAllowance& operator=(const KeepAllowance&) = delete;

  // After a call: keeps `bytes`' storage (its contents are not needed any more) when it is
  // small or the pool has room for it, frees it otherwise.
  void Settle(std::vector<std::uint8_t>& bytes) noexcept;
  // Frees `bytes`' storage now and returns its charge: an idle holder's buffer, say.
  void Drop(std::vector<std::uint8_t>& bytes) noexcept;
  bool Charged() const noexcept { return charged_ != 0; }

 private:
  KeepPool& pool_;
  std::size_t charged_ = 0;  // always what this holder's buffer counts against pool_
};

}  // namespace rdx::rpc
