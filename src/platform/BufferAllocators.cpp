// The pass-through allocator and the best-fit pool of large committed blocks.
#include <rdx/platform/DummyAllocator.h>
#include <rdx/platform/SimpleBufferPool.h>

#include "platform/os/LastError.h"
#include "platform/os/Memory.h"

#include <rdx/foundation/StringUtility.h>

#include <algorithm>
#include <thread>

namespace QUORVAN::Rendix::Global {
namespace {

using GeneralUtilityLib::StringUtility::printToString;

std::string ItemLine(void* address, std::uint32_t capacity) {
  return printToString("\n\t\t<Item><Address>%p</Address><Size>%lu</Size></Item>", address,
                       static_cast<unsigned long>(capacity));
}

std::string CountLine(const char* name, std::uint32_t value) {
  return printToString("\n\t<%s>%lu</%s>", name, static_cast<unsigned long>(value), name);
}

// A region for an allocator; a refusal leaves its code as the last error, as VirtualAlloc does.
void* Commit(std::uint32_t size) {
  const rdx::os::OsResult<void*> region = rdx::os::CommitRegion(size);
  if (!region.ok()) rdx::os::SetLastError(region.code);
  return region.value;
}

// Gives a region back; a failure leaves its code as the last error, as VirtualFree does.
void Release(void* address) {
  if (const std::uint32_t code = rdx::os::ReleaseRegion(address); code != 0) {
    rdx::os::SetLastError(code);
  }
}

}  // namespace

void* DummyAllocator::Alloc(std::uint32_t size) { return Commit(size); }

void DummyAllocator::Free(void* address) { Release(address); }

std::string DummyAllocator::ToString() { return ""; }

SimpleBufferPool::SimpleBufferPool() {
  frequency_ = rdx::os::kMonotonicFrequency;
  std::this_thread::yield();
  timerStart_ = rdx::os::MonotonicTicks();
  timerEnd_ = rdx::os::MonotonicTicks();
  timerOverhead_ = timerEnd_ - timerStart_;
}

SimpleBufferPool::SimpleBufferPool(const SimpleBufferPool& /*other*/) : SimpleBufferPool() {}

SimpleBufferPool& SimpleBufferPool::operator=(const SimpleBufferPool& other) {
  if (this != &other) {
    ReleaseAll();
    actualAllocs_ = actualFrees_ = callsToAlloc_ = callsToFree_ = 0;
    timeSpent_ = 0.0;
    initialised_ = false;
  }
  return *this;
}

SimpleBufferPool::~SimpleBufferPool() { ReleaseAll(); }

void SimpleBufferPool::ReleaseAll() {
  for (void* address : freeList_) Release(address);
  for (void* address : allocList_) Release(address);
  Abandon();
}

void SimpleBufferPool::Abandon() {
  freeList_.clear();
  allocList_.clear();
  blocks_.clear();
  totalCommitted_ = 0;
}

std::uint32_t SimpleBufferPool::Capacity(void* address) const {
  const auto found = blocks_.find(address);
  return found == blocks_.end() ? 0 : found->second.capacity;
}

void* SimpleBufferPool::CommitInto(std::list<void*>& list, std::uint32_t size) {
  // The list entry and the record are made around the mapping, so running out of memory for
  // either loses no mapping and leaves no half-entered block.
  list.push_back(nullptr);
  // A refused mapping gives null, which is recorded like any other block.
  void* address = Commit(size);
  try {
    blocks_[address] = Block{size, size};
  } catch (...) {
    Release(address);
    list.pop_back();
    throw;
  }
  list.back() = address;
  totalCommitted_ += size;
  return address;
}

int SimpleBufferPool::Init() {
  struct StockClass {
    std::uint32_t size;
    int count;
  };
  try {
    for (const StockClass& stock :
         {StockClass{kSmallClass, 5}, StockClass{kMiddleClass, 3}, StockClass{kLargeClass, 1}}) {
      for (int i = 0; i < stock.count; ++i) CommitInto(freeList_, stock.size);
    }
  } catch (...) {
    // Out of memory for the bookkeeping: the pool works on with the part of the stock it has.
  }
  initialised_ = true;
  return 1;
}

void SimpleBufferPool::StopTimer() {
  timerEnd_ = rdx::os::MonotonicTicks();
  timeSpent_ += static_cast<double>(timerEnd_ - timerStart_ - timerOverhead_) /
                static_cast<double>(frequency_);
}

void* SimpleBufferPool::Alloc(std::uint32_t size) {
  // Yield before timing, so the time slice's end does not land inside the measured call.
  std::this_thread::yield();
  timerStart_ = rdx::os::MonotonicTicks();
  ++callsToAlloc_;
  if (!initialised_) Init();

  void* address = nullptr;
  auto best = freeList_.end();
  if (size <= kLargeClass) {
    std::uint32_t bestSlack = 0xFFFFFFFF;
    for (auto it = freeList_.begin(); it != freeList_.end(); ++it) {
      const std::uint32_t capacity = Capacity(*it);
      // Single precision on purpose: a request of 0 gives a ratio of 0 and never reuses a block.
      if (capacity < size || !(static_cast<float>(size) / static_cast<float>(capacity) > 0.0f)) {
        continue;
      }
      const std::uint32_t slack = capacity - size;
      if (slack < bestSlack) {  // strict: on equal slack the earlier-freed block stays
        bestSlack = slack;
        best = it;
      }
    }
  }
  if (best != freeList_.end()) {
    address = *best;
    allocList_.splice(allocList_.end(), freeList_, best);  // moves the entry, allocates nothing
    if (const auto record = blocks_.find(address); record != blocks_.end()) {
      record->second.usedSize = size;
    }
  } else {
    const std::uint32_t blockSize =
        size <= kSmallClass ? kSmallClass : std::max(size, kMiddleClass);
    try {
      address = CommitInto(allocList_, blockSize);
      ++actualAllocs_;
    } catch (...) {
      address = nullptr;  // no memory for the bookkeeping: nothing was kept
    }
  }
  StopTimer();
  return address;
}

void SimpleBufferPool::Free(void* address) {
  std::this_thread::yield();
  timerStart_ = rdx::os::MonotonicTicks();
  ++callsToFree_;
  if (!initialised_) Init();

  const auto inUse = std::find(allocList_.begin(), allocList_.end(), address);
  if (inUse != allocList_.end()) {
    const std::uint32_t capacity = Capacity(address);
    if (capacity > kLargeClass || totalCommitted_ > kRetentionLimit) {
      Release(address);
      totalCommitted_ -= capacity;
      ++actualFrees_;
      blocks_.erase(address);
      allocList_.erase(inUse);
    } else {
      freeList_.splice(freeList_.end(), allocList_, inUse);
    }
  }
  StopTimer();
}

std::string SimpleBufferPool::ToString() try {
  std::string text = "<BufferAllocator>";
  text += "\n\t<FreeList>";
  for (void* address : freeList_) text += ItemLine(address, Capacity(address));
  text += "\n\t</FreeList>";
  text += "\n\t<AllocList>";
  for (void* address : allocList_) text += ItemLine(address, Capacity(address));
  text += "\n\t</AllocList>";
  text += CountLine("CallsToAlloc", callsToAlloc_);
  text += CountLine("CallsToFree", callsToFree_);
  text += CountLine("ActualAllocs", actualAllocs_);
  text += CountLine("ActualFrees", actualFrees_);
  text += printToString("\n\t<TimeSpent>%0.6lf</TimeSpent>", timeSpent_);
  text += "\n</BufferAllocator>";
  return text;
} catch (...) {
  return "";
}

}  // namespace QUORVAN::Rendix::Global
