#pragma once
#include <rdx/Export.h>
#include <rdx/platform/IBufferAllocator.h>

namespace QUORVAN::Rendix::Global {

/// The pass-through allocator: every Alloc is a fresh mapping of exactly the size asked for,
/// every Free returns it to the system at once. Keeps no state.
class RDX_API DummyAllocator final : public IBufferAllocator {
 public:
  /// A new mapping of exactly `size` bytes; null for 0 or when the system refuses.
  void* Alloc(std::uint32_t size) override;
  /// Unmaps a buffer of Alloc; anything else is ignored.
  void Free(void* address) override;
  /// Always "".
  std::string ToString() override;
};

}  // namespace QUORVAN::Rendix::Global
