#include "remote/runtime/CallMemory.h"

namespace rdx::rpc {
namespace {

thread_local CallMemory* tCharged = nullptr;  // the account of the call on this thread

std::size_t Index(CallMemory::Slot slot) { return static_cast<std::size_t>(slot); }

}  // namespace

bool CallMemory::Charge(Slot slot, std::size_t bytes) noexcept {
  std::size_t& held = held_[Index(slot)];
  // Most calls change nothing: the shared counter is not touched then.
  if (budget_ == nullptr || bytes == held) return true;
  if (bytes <= held) {
    budget_->Give(held - bytes);
  } else if (!budget_->Take(bytes - held)) {
    return false;
  }
  held = bytes;
  return true;
}

void CallMemory::Count(Slot slot, std::size_t bytes) noexcept {
  std::size_t& held = held_[Index(slot)];
  if (budget_ == nullptr || bytes == held) return;
  if (bytes <= held) {
    budget_->Give(held - bytes);
  } else {
    budget_->Force(bytes - held);
  }
  held = bytes;
}

void CallMemory::Clear() noexcept {
  for (std::size_t i = 0; i < held_.size(); ++i) Count(static_cast<Slot>(i), 0);
}

std::size_t CallMemory::Held() const noexcept { return held_[0] + held_[1] + held_[2]; }

std::size_t CallMemory::Held(Slot slot) const noexcept { return held_[Index(slot)]; }

CallMemory::Scope::Scope(CallMemory& memory) noexcept : previous_(tCharged) { tCharged = &memory; }

CallMemory::Scope::~Scope() { tCharged = previous_; }

bool ChargeAnswerRoom(std::size_t bytes) noexcept {
  if (tCharged == nullptr) return true;
  tCharged->Count(CallMemory::Slot::kAnswer, 0);  // the old storage is freed already
  return tCharged->Charge(CallMemory::Slot::kAnswer, bytes);
}

bool ChargeCallScratch(std::size_t bytes) noexcept {
  if (tCharged == nullptr) return true;
  // Out-arrays are below 2^31 bytes each and a call has a handful: no overflow.
  return tCharged->Charge(CallMemory::Slot::kScratch,
                          tCharged->Held(CallMemory::Slot::kScratch) + bytes);
}

}  // namespace rdx::rpc
