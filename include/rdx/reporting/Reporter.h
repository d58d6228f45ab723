#pragma once
#include <rdx/Export.h>
#include <rdx/reporting/IReporter.h>

#include <cstddef>
#include <memory>

namespace QUORVAN::Rendix::Global {

/// Reporter: the process-wide logging hub. Any thread hands it finished lines (or a source and a
/// message); a single notifier thread of its own, running at below-normal priority, hands each
/// line in order to every attached sink. Callers never wait for a sink.
///
///   Reporter reporter;                 // running from construction
///   LogFileHandler file; file.SetLogFile("", "server.log"); file.Init();
///   reporter.Attach(&file);
///   reporter.Log("Server.Start", "Listening.");
///   reporter.WaitForNotifications();   // everything logged so far is in the file
///   reporter.Close();                  // also done by the destructor
///
/// Delivery: one line at a time, to sinks in ascending pointer order (not attachment order),
/// with the sinks lock held for that line's whole delivery, so Attach and Detach wait for it.
/// An idle notifier looks at the queue every 50 ms rather than being woken by each Log, so a
/// line reaches the sinks up to about 50 ms after it was logged.
class RDX_API Reporter : public IReporter {
 public:
  /// Pending lines beyond this many are dropped silently: logging never blocks on a slow sink
  /// and never grows memory without bound.
  static constexpr std::size_t kMaxPendingLines = 100000;

  /// Starts the notifier thread at once (calls Init).
  Reporter();
  /// Closes (drains briefly, stops the thread); the attached sinks are left alone.
  ~Reporter() override;
  /// Not copyable: a copy would share the notifier thread of its source.
  Reporter(const Reporter&) = delete;
  Reporter& operator=(const Reporter&) = delete;

  /// Adds sink to the delivery map; null, or a reporter whose thread has ended, changes nothing.
  /// Returns 1. From inside a sink's Log it works too: a sink of higher address then also gets
  /// the line being delivered.
  int Attach(IReporterSink* sink) override;
  /// Waits until the lines queued before the call are delivered (as WaitForNotifications),
  /// then removes sink; absent or null sinks are
  /// ignored. Does nothing when the thread is not running. Returns 1; 0 when called from inside
  /// a sink's Log (nothing changes). The sink is not deleted.
  int Detach(IReporterSink* sink) override;
  /// Renders a one-item status (id 0, message, source, no details) as XML text and logs that.
  int Log(const char* source, const char* message) override;
  /// Queues a copy of line unless kMaxPendingLines are pending; returns 1 either way (0 only when
  /// memory ran out). After Close the line is dropped. A null line is ignored.
  int Log(const char* line) override;
  /// Returns once every line queued before the call has been delivered, however many lines
  /// other threads queue meanwhile; at once when none is pending. While closing it waits at
  /// most 100 ms; after Close, or from inside a sink's Log, it returns at once.
  int WaitForNotifications() override;
  /// Drains in 100 ms steps until the notifier has ended, then forgets the sinks. Lines still
  /// queued when the thread sees the stop request are discarded, never delivered. Returns 1.
  /// From inside a sink's Log it only asks the notifier to stop; a later Close joins it.
  int Close() override;
  /// Starts the notifier again after Close; 1 on success, 0 when the thread could not be
  /// started.
  int Init() override;

 private:
  friend struct ReporterTestPeer;
  struct State;
  std::unique_ptr<State> state_;  ///< never null; owns the queue, sink map, locks and thread
};

}  // namespace QUORVAN::Rendix::Global
