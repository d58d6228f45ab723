#pragma once
/// \file
/// The library's plain exported functions, callable by name from any process that loads it:
/// the application object, and (through the platform headers below) the process-wide buffer
/// allocator and three utilities.
///
///   IRDXApplication* app = GetRDXApplicationObject();
///   std::string message;
///   app->Initialize(&message);
///   ...
///   DestroyRDXApplicationObject();

#include <rdx/Export.h>
/// Kept here too so callers of the allocator and the utilities need this header only.
#include <rdx/platform/BufferAllocatorFunctions.h>
#include <rdx/platform/UtilityFunctions.h>

namespace QUORVAN::Rendix::Global {
class IRDXApplication;
}  // namespace QUORVAN::Rendix::Global

extern "C" {

/// The process's one application object, created on the first call; null when it cannot be
/// created. Concurrent first callers all get the same object.
RDX_API QUORVAN::Rendix::Global::IRDXApplication* GetRDXApplicationObject();
/// Deletes the application object for every caller; the next Get makes a new, empty one.
RDX_API void DestroyRDXApplicationObject();

}  // extern "C"
