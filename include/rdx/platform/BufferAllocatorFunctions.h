#pragma once
/// \file
/// The process-wide buffer allocator, as plain exported functions callable by name from any
/// process that loads the library.
///
///   CreateBufferAllocator(1);  // a SimpleBufferPool, at start-up
///   IBufferAllocator* allocator = GetGlobalBufferAllocator();

#include <rdx/Export.h>

namespace QUORVAN::Rendix::Global {
class IBufferAllocator;
}  // namespace QUORVAN::Rendix::Global

extern "C" {

/// Installs a new process-wide allocator: kind 1 a SimpleBufferPool (nothing committed yet),
/// any other kind a DummyAllocator. The one it replaces is disposed of without releasing its
/// blocks (meant for start-up, before buffers are handed out). Returns 1.
RDX_API int CreateBufferAllocator(int kind);
/// The process-wide allocator; a SimpleBufferPool is made when there is none.
RDX_API QUORVAN::Rendix::Global::IBufferAllocator* GetGlobalBufferAllocator();
/// Disposes of the process-wide allocator (its blocks stay committed) and forgets it.
RDX_API void DestroyGlobalBufferAllocator();

}  // extern "C"
