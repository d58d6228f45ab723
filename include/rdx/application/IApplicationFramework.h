#pragma once
#include <rdx/Export.h>

namespace QUORVAN::Rendix::Global {

/// The component framework a host process may run beside the library (the GIS framework of the
/// image services). The library does not know it; a host installs an implementation, and the
/// application object starts it from Initialize when the property "Initialize_GF" is true and
/// shuts it down from Shutdown.
class RDX_API IApplicationFramework {
 public:
  virtual ~IApplicationFramework() = default;
  /// Starts the framework; true when it is running and should be shut down later.
  virtual bool Start() = 0;
  /// Stops it; called once per successful Start.
  virtual void Shutdown() = 0;
};

/// Installs the framework the application object starts (borrowed: it must outlive its use;
/// null removes it). Install it before Initialize; a framework already started is kept until
/// Shutdown.
RDX_API void InstallApplicationFramework(IApplicationFramework* framework);

}  // namespace QUORVAN::Rendix::Global
