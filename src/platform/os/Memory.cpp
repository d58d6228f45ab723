#include "platform/os/Memory.h"

#include "platform/os/LastError.h"

#include <malloc.h>
#include <sys/mman.h>
#include <unistd.h>

#include <cerrno>
#include <ctime>
#include <mutex>
#include <new>
#include <unordered_map>

// A sanitizer's run time replaces malloc; glibc's allocator then stays uninitialised, and its
// lazy set-up races when two threads first reach it through malloc_trim.
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
#define RDX_MALLOC_IS_REPLACED 1
#elif defined(__has_feature)
#if __has_feature(address_sanitizer) || __has_feature(thread_sanitizer) || \
    __has_feature(memory_sanitizer)
#define RDX_MALLOC_IS_REPLACED 1
#endif
#endif

namespace rdx::os {
namespace {

// munmap needs the length the mapping was made with; the system remembers it for a region
// released by address only, so this table stands in for that memory.
struct RegionTable {
  std::mutex lock;  // guards sizes; never held across a system call that can block for long
  std::unordered_map<void*, std::size_t> sizes;
};

RegionTable& Regions() {
  // Never destroyed: regions may still be released from other objects' destructors at exit.
  static RegionTable* table = new RegionTable;
  return *table;
}

}  // namespace

OsResult<void*> CommitRegion(std::size_t size) noexcept {
  if (size == 0) return {nullptr, kErrorInvalidParameter};
  void* address = mmap(nullptr, size, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
  if (address == MAP_FAILED) return {nullptr, Win32FromErrno(errno)};
  try {
    RegionTable& table = Regions();
    std::lock_guard<std::mutex> guard(table.lock);
    table.sizes[address] = size;
  } catch (const std::bad_alloc&) {
    munmap(address, size);
    return {nullptr, kErrorNotEnoughMemory};
  }
  return {address, kErrorSuccess};
}

std::uint32_t ReleaseRegion(void* address) noexcept {
  if (address == nullptr) return kErrorInvalidParameter;
  std::size_t size = 0;
  {
    RegionTable& table = Regions();
    std::lock_guard<std::mutex> guard(table.lock);
    const auto found = table.sizes.find(address);
    if (found == table.sizes.end()) return kErrorInvalidParameter;
    size = found->second;
    table.sizes.erase(found);
  }
  if (munmap(address, size) != 0) return Win32FromErrno(errno);
  return kErrorSuccess;
}

std::int64_t MonotonicTicks() noexcept {
  timespec ts{};
  clock_gettime(CLOCK_MONOTONIC, &ts);
  return static_cast<std::int64_t>(ts.tv_sec) * kMonotonicFrequency + ts.tv_nsec;
}

void ReturnFreeMemory() noexcept {
#ifndef RDX_MALLOC_IS_REPLACED
  ::malloc_trim(0);
#endif
}

void MapLargeBlocksApart(std::size_t bytes) noexcept {
#ifndef RDX_MALLOC_IS_REPLACED
  ::mallopt(M_MMAP_THRESHOLD, static_cast<int>(bytes));
#else
  static_cast<void>(bytes);
#endif
}

std::uint64_t PhysicalMemoryBytes() noexcept {
  const long pages = ::sysconf(_SC_PHYS_PAGES);
  const long pageSize = ::sysconf(_SC_PAGESIZE);
  if (pages <= 0 || pageSize <= 0) return 0;
  return static_cast<std::uint64_t>(pages) * static_cast<std::uint64_t>(pageSize);
}

}  // namespace rdx::os
