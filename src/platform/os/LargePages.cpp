#include "platform/os/LargePages.h"

#include <sys/mman.h>

#include <cstdint>

namespace rdx::os {

void AdviseLargePages(void* data, std::size_t size) noexcept {
  constexpr std::size_t kHugePage = 2 * 1024 * 1024;
  if (data == nullptr || size < 2 * kHugePage) return;
  const auto begin = reinterpret_cast<std::uintptr_t>(data);
  const std::uintptr_t first = (begin + kHugePage - 1) & ~(kHugePage - 1);
  const std::uintptr_t last = (begin + size) & ~(kHugePage - 1);
  if (last > first) {
    ::madvise(reinterpret_cast<void*>(first), last - first, MADV_HUGEPAGE);
  }
}

}  // namespace rdx::os
