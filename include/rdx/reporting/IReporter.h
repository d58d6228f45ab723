#pragma once
#include <rdx/Export.h>
#include <rdx/reporting/IReporterSink.h>

namespace QUORVAN::Rendix::Global {

/// IReporter: the logging contract that objects are given (see Object::SetStatusReporter).
/// Every operation answers 1 when done and 0 only when an internal failure was caught.
class RDX_API IReporter {
 public:
  /// Adds a sink (borrowed, never deleted); a sink attached twice is held once.
  virtual int Attach(IReporterSink* sink) = 0;
  /// Removes a sink after every line logged before the call has reached it.
  virtual int Detach(IReporterSink* sink) = 0;
  /// Logs one informational item (id 0) built from source and message; null reads as "".
  virtual int Log(const char* source, const char* message) = 0;
  /// Queues a copy of an already rendered line; never blocks on a sink.
  virtual int Log(const char* line) = 0;
  /// Returns once every line queued before the call has been handed to the sinks.
  virtual int WaitForNotifications() = 0;
  /// Drains briefly, stops the notifier thread and forgets the sinks.
  virtual int Close() = 0;
  /// Starts (again) after Close; a second Init while running does nothing.
  virtual int Init() = 0;
  virtual ~IReporter() = default;

 protected:
  IReporter() = default;
  ///@{
  /// Copyable for the implementations' sake; the interface has no state.
  IReporter(const IReporter&) = default;
  IReporter& operator=(const IReporter&) = default;
  ///@}
};

}  // namespace QUORVAN::Rendix::Global
