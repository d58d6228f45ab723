#include <rdx/application/ExportedFunctions.h>
#include <rdx/platform/DummyAllocator.h>
#include <rdx/platform/SimpleBufferPool.h>

#include "platform/os/LastError.h"

#include <gtest/gtest.h>

#include <cstring>
#include <iterator>
#include <regex>
#include <vector>

namespace QUORVAN::Rendix::Global {
namespace {

constexpr std::uint32_t kMiB = 1024 * 1024;
constexpr std::uint32_t kStock = 5 * 8 * kMiB + 3 * 33 * kMiB + 130 * kMiB;

TEST(SimpleBufferPool, FirstUseCommitsTheStockAndRequestsTakeTheBestFit) {
  struct Row {
    std::uint32_t request;
    std::uint32_t capacity;      // of the block handed out
    std::uint32_t actualAllocs;  // new blocks committed by this request
  };
  const Row rows[] = {
      {8388608, 8 * kMiB, 0},      // exactly the small class
      {8388609, 33 * kMiB, 0},     // one byte more takes a middle block
      {0, 8 * kMiB, 1},            // never reuses a block, even with small ones free
      {136314880, 130 * kMiB, 0},  // the largest request served from the stock
      {136314881, 136314881, 1},   // above it: exactly the request
      {40 * kMiB, 40 * kMiB, 1},   // nothing free fits: the request itself (over 33 MiB)
      {9 * kMiB, 33 * kMiB, 0},   {9 * kMiB, 33 * kMiB, 0},
      {9 * kMiB, 33 * kMiB, 1},  // middle stock used up: a new 33 MiB block
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.request);
    SimpleBufferPool pool;
    // Earlier rows' requests are replayed so each row sees the stock as the previous left it.
    for (const Row& earlier : rows) {
      if (&earlier == &row) break;
      ASSERT_NE(pool.Alloc(earlier.request), nullptr);
    }
    const std::uint32_t allocsBefore = pool.ActualAllocs();
    void* address = pool.Alloc(row.request);
    ASSERT_NE(address, nullptr);
    EXPECT_EQ(pool.Capacity(address), row.capacity);
    EXPECT_EQ(pool.ActualAllocs() - allocsBefore, row.actualAllocs);
    EXPECT_EQ(pool.AllocList().back(), address);
  }
}

TEST(SimpleBufferPool, FreeKeepsBlocksUntilTheRetentionLimitAndEqualSlackGoesToTheFirstFreed) {
  SimpleBufferPool pool;
  void* small = pool.Alloc(100);
  EXPECT_EQ(pool.TotalCommitted(), kStock);
  EXPECT_EQ(pool.FreeList().size(), 8u);
  std::memset(small, 0xAB, 8 * kMiB);  // the whole block is usable

  // Above the large class: released at once.
  void* huge = pool.Alloc(136314881);
  EXPECT_EQ(pool.TotalCommitted(), kStock + 136314881);
  pool.Free(huge);
  EXPECT_EQ(pool.ActualFrees(), 1u);
  EXPECT_EQ(pool.TotalCommitted(), kStock);
  EXPECT_EQ(pool.Capacity(huge), 0u);

  // Unknown and repeated addresses change only the call count.
  pool.Free(small);
  pool.Free(small);
  int local = 0;
  pool.Free(&local);
  EXPECT_EQ(pool.CallsToFree(), 4u);
  EXPECT_EQ(pool.ActualFrees(), 1u);
  EXPECT_EQ(pool.FreeList().back(), small);
  EXPECT_EQ(pool.FreeList().size(), 9u);

  void* a = pool.Alloc(33 * kMiB);
  void* b = pool.Alloc(33 * kMiB);
  void* c = pool.Alloc(33 * kMiB);
  pool.Free(c);  // c then a on the free list: c was freed first
  pool.Free(a);
  EXPECT_EQ(pool.Alloc(20 * kMiB), c);
  EXPECT_EQ(pool.Alloc(20 * kMiB), a);
  pool.Free(b);
}

TEST(SimpleBufferPool, EveryFreeReleasesWhileThePoolHoldsMoreThan500MiB) {
  SimpleBufferPool pool;
  std::vector<void*> small;
  for (int i = 0; i < 5; ++i) small.push_back(pool.Alloc(8 * kMiB));
  for (int i = 0; i < 3; ++i) pool.Alloc(130 * kMiB);         // the stock block, then two new ones
  ASSERT_EQ(pool.TotalCommitted(), kStock + 2 * 130 * kMiB);  // 554696704
  // 529530880 is still above the limit when the fourth Free looks; 521142272 is not.
  const std::uint32_t expectedFrees[] = {1, 2, 3, 4, 4};
  for (std::size_t i = 0; i < small.size(); ++i) {
    SCOPED_TRACE(i);
    pool.Free(small[i]);
    EXPECT_EQ(pool.ActualFrees(), expectedFrees[i]);
    EXPECT_EQ(pool.TotalCommitted(), kStock + 2 * 130 * kMiB - expectedFrees[i] * 8 * kMiB);
  }
  EXPECT_EQ(pool.FreeList().back(), small.back());
}

TEST(SimpleBufferPool, ToStringListsBlocksAndCountsAndCopiesOwnNothing) {
  SimpleBufferPool pool;
  const std::string counts = "\n\t<CallsToAlloc>0</CallsToAlloc>\n\t<CallsToFree>0</CallsToFree>"
                             "\n\t<ActualAllocs>0</ActualAllocs>\n\t<ActualFrees>0</ActualFrees>";
  EXPECT_EQ(pool.ToString(), "<BufferAllocator>\n\t<FreeList>\n\t</FreeList>\n\t<AllocList>\n\t"
                             "</AllocList>" +
                                 counts +
                                 "\n\t<TimeSpent>0.000000</TimeSpent>\n"
                                 "</BufferAllocator>");
  void* taken = pool.Alloc(8388609);
  const std::string text = pool.ToString();
  const std::regex item("<Item><Address>([^<]+)</Address><Size>([0-9]+)</Size></Item>");
  std::string sizes;
  for (auto it = std::sregex_iterator(text.begin(), text.end(), item); it != std::sregex_iterator();
       ++it) {
    sizes += (*it)[2].str() + " ";
  }
  // Five small, two middle and the large block free; the taken middle block in the alloc list.
  EXPECT_EQ(sizes, "8388608 8388608 8388608 8388608 8388608 34603008 34603008 136314880 34603008 ");
  char address[32];
  std::snprintf(address, sizeof address, "%p", taken);
  EXPECT_NE(text.find("<AllocList>\n\t\t<Item><Address>" + std::string(address) + "</Address>"),
            std::string::npos);
  EXPECT_NE(text.find("<CallsToAlloc>1</CallsToAlloc>\n\t<CallsToFree>0</CallsToFree>"),
            std::string::npos);
  EXPECT_TRUE(std::regex_search(text, std::regex("\n\t<TimeSpent>[0-9]+\\.[0-9]{6}</TimeSpent>")));

  SimpleBufferPool copy(pool);  // starts empty: freeing the original's block there is ignored
  EXPECT_EQ(copy.TotalCommitted(), 0u);
  copy.Free(taken);
  EXPECT_EQ(pool.Capacity(taken), 33 * kMiB);
}

TEST(GlobalBufferAllocator, KindsAndReplacement) {
  IBufferAllocator* made = GetGlobalBufferAllocator();
  ASSERT_NE(dynamic_cast<SimpleBufferPool*>(made), nullptr);
  EXPECT_EQ(GetGlobalBufferAllocator(), made);

  EXPECT_EQ(CreateBufferAllocator(0), 1);
  IBufferAllocator* dummy = GetGlobalBufferAllocator();
  ASSERT_NE(dynamic_cast<DummyAllocator*>(dummy), nullptr);
  auto* bytes = static_cast<unsigned char*>(dummy->Alloc(4096 * 3 + 1));
  ASSERT_NE(bytes, nullptr);
  EXPECT_EQ(bytes[4096 * 3], 0);  // a fresh mapping, zero-filled up to the last byte asked for
  dummy->Free(bytes);
  EXPECT_EQ(dummy->Alloc(0), nullptr);
  EXPECT_EQ(rdx::os::GetLastError(), 87u);

  EXPECT_EQ(CreateBufferAllocator(1), 1);
  auto* pool = dynamic_cast<SimpleBufferPool*>(GetGlobalBufferAllocator());
  ASSERT_NE(pool, nullptr);
  EXPECT_EQ(pool->TotalCommitted(), 0u);  // not initialised until first use
  DestroyGlobalBufferAllocator();
}

}  // namespace
}  // namespace QUORVAN::Rendix::Global
