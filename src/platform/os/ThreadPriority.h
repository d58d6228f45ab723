#pragma once
// Thread priority for background workers.

namespace rdx::os {

// Makes the calling thread "below normal": raises its own nice value by one (Linux keeps a nice
// value per thread). Failure is ignored; the thread then simply runs at normal priority.
void LowerCurrentThreadPriority() noexcept;

}  // namespace rdx::os
