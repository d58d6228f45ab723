#pragma once
// IReporterSink: a destination for report lines (console, log file, pipe). A Reporter hands
// each queued line to every attached sink on its notifier thread, one line at a time.

#include <rdx/Export.h>

namespace QUORVAN::Rendix::Global {

/// The sink contract. There is deliberately no virtual destructor here: a Reporter never owns
/// or deletes a sink, so sinks are destroyed through their own class, which declares one.
class RDX_API IReporterSink {
 public:
  /// Receives one line, normally the XML form of a Status. Called on the notifier thread only,
  /// with the reporter's sinks lock held: it must not call Detach or WaitForNotifications of the
  /// reporter that delivers to it (the notifier would wait for itself).
  virtual void Log(const char* line) = 0;

 protected:
  IReporterSink() = default;
  ///@{
  /// Copyable for the implementations' sake; the interface has no state.
  IReporterSink(const IReporterSink&) = default;
  IReporterSink& operator=(const IReporterSink&) = default;
  ///@}
  ~IReporterSink() = default;
};

}  // namespace QUORVAN::Rendix::Global
