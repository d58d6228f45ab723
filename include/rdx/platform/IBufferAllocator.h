#pragma once
#include <rdx/Export.h>

#include <cstdint>
#include <string>

namespace QUORVAN::Rendix::Global {

/// The process-wide allocator of large image buffers. Buffers are whole committed regions from
/// the system, never heap memory, so very large images do not fragment the heap. Get the
/// process's allocator with GetGlobalBufferAllocator (BufferAllocatorFunctions.h).
///
///   IBufferAllocator* allocator = GetGlobalBufferAllocator();
///   void* pixels = allocator->Alloc(width * height * 4);
///   ...
///   allocator->Free(pixels);
///
/// Not synchronised: use one allocator from one thread at a time.
class RDX_API IBufferAllocator {
 public:
  /// A buffer of at least `size` bytes, zero-filled when newly committed; null when the system
  /// refuses (also for a pass-through request of 0 bytes).
  virtual void* Alloc(std::uint32_t size) = 0;
  /// Gives a buffer back; an address the allocator did not hand out is ignored.
  virtual void Free(void* address) = 0;
  /// A description of the allocator's state for people; may be empty.
  virtual std::string ToString() = 0;

 protected:
  /// Not virtual, and not public: allocators are disposed of by the functions that made them.
  ~IBufferAllocator() = default;
};

}  // namespace QUORVAN::Rendix::Global
