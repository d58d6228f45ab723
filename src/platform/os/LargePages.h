#pragma once
// Large transfer buffers: asking the kernel to back them with huge pages turns thousands of
// page faults per call into a handful.

#include <cstddef>

namespace rdx::os {

// Advises huge pages for the whole pages inside [data, data + size); a hint only, ignored
// where unsupported or for buffers under a few megabytes.
void AdviseLargePages(void* data, std::size_t size) noexcept;

}  // namespace rdx::os
