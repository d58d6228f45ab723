#pragma once
// What one server connection holds against the process's call budget: the request being
// reassembled, the answer buffer (kept from call to call) and, while a call runs, any further
// out-array of it. The stubs charge out-arrays before allocating them through the free
// functions below, which reach the connection whose call runs on this thread.

#include <array>
#include <cstddef>

#include "remote/runtime/ByteBudget.h"

namespace rdx::rpc {

class CallMemory {
 public:
  enum class Slot { kRequest, kAnswer, kScratch };

  // `budget` is borrowed; null charges nothing and refuses nothing.
  explicit CallMemory(ByteBudget* budget) noexcept : budget_(budget) {}
  ~CallMemory() { Clear(); }
  CallMemory(const CallMemory&) = delete;
  CallMemory& operator=(const CallMemory&) = delete;

  // Counts `bytes` for `slot` from now on; false, changing nothing, when the budget has no
  // room for the growth. Shrinking always succeeds.
  [[nodiscard]] bool Charge(Slot slot, std::size_t bytes) noexcept;
  // As Charge, but for memory that exists already: counted even past the limit.
  void Count(Slot slot, std::size_t bytes) noexcept;
  void Clear() noexcept;
  std::size_t Held() const noexcept;
  std::size_t Held(Slot slot) const noexcept;

  // Makes this account the one the stubs charge on the current thread while it lives.
  class Scope {
   public:
    explicit Scope(CallMemory& memory) noexcept;
    ~Scope();
    Scope(const Scope&) = delete;
    Scope& operator=(const Scope&) = delete;

   private:
    CallMemory* previous_;
  };

 private:
  ByteBudget* budget_;
  std::array<std::size_t, 3> held_{};  // by Slot
};

// For the stubs, on the thread of a running call. The answer buffer's old storage is gone
// and `bytes` are about to be reserved: false when the budget cannot take them. True when no
// connection is charged on this thread (a stub driven directly).
[[nodiscard]] bool ChargeAnswerRoom(std::size_t bytes) noexcept;
// Another out-array of `bytes` for the running call, given back when the call ends.
[[nodiscard]] bool ChargeCallScratch(std::size_t bytes) noexcept;

}  // namespace rdx::rpc
