#pragma once
#include <rdx/Export.h>
#include <rdx/platform/IBufferAllocator.h>

#include <cstdint>
#include <list>
#include <map>
#include <string>

namespace QUORVAN::Rendix::Global {

/// A pool of large committed blocks handed out by best fit.
///
/// On first use it commits a stock of nine blocks: five of 8 MiB, three of 33 MiB and one of
/// 130 MiB (269 MiB). A request takes the free block with the least slack (first freed wins a
/// tie); when none fits, a new block is committed: 8 MiB for requests up to 8 MiB, else the
/// larger of the request and 33 MiB. Freed blocks stay in the pool unless they are larger than
/// 130 MiB or the pool holds more than 500 MiB, in which case they go back to the system.
/// Every call is timed and counted; ToString prints the lists and figures as XML.
///
/// Not synchronised: one thread at a time.
class RDX_API SimpleBufferPool final : public IBufferAllocator {
 public:
  static constexpr std::uint32_t kSmallClass = 0x800000;       ///< 8 MiB, 5 in the stock
  static constexpr std::uint32_t kMiddleClass = 0x2100000;     ///< 33 MiB, 3 in the stock
  static constexpr std::uint32_t kLargeClass = 0x8200000;      ///< 130 MiB, 1 in the stock
  static constexpr std::uint32_t kRetentionLimit = 524288000;  ///< above it, freed blocks go back

  /// Nothing is committed until the first Alloc or Free.
  SimpleBufferPool();
  ///@{
  /// A copy is a fresh, empty pool: blocks belong to exactly one pool, so none are shared.
  SimpleBufferPool(const SimpleBufferPool& other);
  SimpleBufferPool& operator=(const SimpleBufferPool& other);
  ///@}
  /// Returns every block, free or in use, to the system.
  ~SimpleBufferPool();

  /// Best fit from the free list; a request of 0 never reuses a block (it gets a new 8 MiB
  /// one); requests above 130 MiB get a block of exactly their size. Null when the system
  /// refuses (that null is still entered in the lists) or no memory is left for the records.
  void* Alloc(std::uint32_t size) override;
  /// Back onto the free list, or to the system (see above). Unknown or repeated addresses
  /// change nothing but the call count and the time spent.
  void Free(void* address) override;
  /// "<BufferAllocator>" with the free and alloc lists (address, capacity), the call counts,
  /// the system allocations and releases, and the seconds spent.
  std::string ToString() override;
  /// Commits the nine-block stock; not guarded against a second call (which commits it again).
  /// Returns 1.
  virtual int Init();

  ///@{
  /// Figures, for monitoring.
  std::uint32_t TotalCommitted() const { return totalCommitted_; }
  std::uint32_t ActualAllocs() const { return actualAllocs_; }
  std::uint32_t ActualFrees() const { return actualFrees_; }
  std::uint32_t CallsToAlloc() const { return callsToAlloc_; }
  std::uint32_t CallsToFree() const { return callsToFree_; }
  double TimeSpent() const { return timeSpent_; }
  ///@}
  ///@{
  /// Free blocks in the order they were freed, and blocks in use, oldest first.
  const std::list<void*>& FreeList() const { return freeList_; }
  const std::list<void*>& AllocList() const { return allocList_; }
  ///@}
  /// The committed size of a block of this pool; 0 for an unknown address.
  std::uint32_t Capacity(void* address) const;

  /// Forgets every block without releasing it: they stay committed for the rest of the
  /// process. Used when the process-wide allocator is replaced or destroyed.
  void Abandon();

 private:
  struct Block {
    std::uint32_t capacity;  ///< committed size
    std::uint32_t usedSize;  ///< the request that last took it; the capacity when new
  };

  /// Commits a block of `size` bytes, records it and appends it to `list`.
  void* CommitInto(std::list<void*>& list, std::uint32_t size);
  void ReleaseAll();
  void StopTimer();

  std::list<void*> freeList_;         ///< committed, not in use; newest freed at the end
  std::list<void*> allocList_;        ///< handed out; newest at the end
  std::map<void*, Block> blocks_;     ///< one record per block this pool committed
  std::uint32_t totalCommitted_ = 0;  ///< free and in use together
  std::uint32_t actualAllocs_ = 0;
  std::uint32_t actualFrees_ = 0;
  std::uint32_t callsToAlloc_ = 0;
  std::uint32_t callsToFree_ = 0;
  std::int64_t timerStart_ = 0;
  std::int64_t timerEnd_ = 0;
  std::int64_t frequency_ = 1;
  std::int64_t timerOverhead_ = 0;  ///< ticks between two back-to-back readings
  double timeSpent_ = 0.0;          ///< seconds inside Alloc and Free
  bool initialised_ = false;
};

}  // namespace QUORVAN::Rendix::Global
