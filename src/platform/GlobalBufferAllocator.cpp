// The process-wide buffer allocator and the plain process utilities.
#include <rdx/platform/BufferAllocatorFunctions.h>
#include <rdx/platform/DummyAllocator.h>
#include <rdx/platform/SimpleBufferPool.h>
#include <rdx/platform/UtilityFunctions.h>

#include "platform/os/HostInfo.h"

#include <cmath>
#include <cstdint>
#include <new>

using QUORVAN::Rendix::Global::DummyAllocator;
using QUORVAN::Rendix::Global::IBufferAllocator;
using QUORVAN::Rendix::Global::SimpleBufferPool;

namespace {

// Unguarded like the allocators themselves: installed at start-up, before threads use it.
IBufferAllocator* gGlobalAllocator = nullptr;

// A replaced allocator is disposed of without returning its blocks: buffers handed out from it
// may still be in use. Only its own bookkeeping is freed.
void Dispose(IBufferAllocator* allocator) {
  if (auto* pool = dynamic_cast<SimpleBufferPool*>(allocator)) {
    pool->Abandon();
    delete pool;
  } else if (auto* dummy = dynamic_cast<DummyAllocator*>(allocator)) {
    delete dummy;
  }
}

}  // namespace

extern "C" {

int CreateBufferAllocator(int kind) {
  IBufferAllocator* created = nullptr;
  try {
    if (kind == 1) {
      created = new SimpleBufferPool();
    } else {
      created = new DummyAllocator();
    }
  } catch (...) {
    return 1;  // no memory for the object: the previous allocator stays
  }
  if (gGlobalAllocator != nullptr && gGlobalAllocator != created) Dispose(gGlobalAllocator);
  gGlobalAllocator = created;
  return 1;
}

IBufferAllocator* GetGlobalBufferAllocator() {
  if (gGlobalAllocator == nullptr) gGlobalAllocator = new (std::nothrow) SimpleBufferPool();
  return gGlobalAllocator;
}

void DestroyGlobalBufferAllocator() {
  Dispose(gGlobalAllocator);
  gGlobalAllocator = nullptr;
}

double ComputePixelSize(double x0, double y0, double x1, double y1, double x2, double y2, double x3,
                        double y3, int rowCount, int columnCount) {
  const double p0p3 = std::hypot(x3 - x0, y3 - y0);
  const double p1p2 = std::hypot(x2 - x1, y2 - y1);
  const double p0p1 = std::hypot(x1 - x0, y1 - y0);
  const double p3p2 = std::hypot(x2 - x3, y2 - y3);
  return 0.25 * ((p0p3 + p1p2) / static_cast<double>(rowCount) +
                 (p0p1 + p3p2) / static_cast<double>(columnCount));
}

void GetCurrentMemoryUsage(void* process, std::size_t* workingSetBytes,
                           std::size_t* pagefileBytes) {
  try {
    const auto pid = static_cast<std::uint64_t>(reinterpret_cast<std::uintptr_t>(process));
    const auto memory = rdx::os::ReadProcessMemory(pid);
    if (!memory) return;
    if (workingSetBytes != nullptr) *workingSetBytes = memory->workingSetBytes;
    if (pagefileBytes != nullptr) *pagefileBytes = memory->privateBytes;
  } catch (...) {
    // The outputs stay untouched, as for any failure.
  }
}

int GenerateSignature() { return 0; }

}  // extern "C"
