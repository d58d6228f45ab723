#pragma once
// Reads a Reporter's inside for tests: the drop counter and queue length prove the bound
// without timing, the stop flag lets a test act exactly while Close is under way.

#include "reporting/ReporterState.h"

namespace QUORVAN::Rendix::Global {

struct ReporterTestPeer {
  static std::uint64_t DroppedLines(Reporter& reporter) {
    std::lock_guard lock(reporter.state_->queueLock);
    return reporter.state_->droppedLines;
  }
  static std::size_t PendingLines(Reporter& reporter) {
    std::lock_guard lock(reporter.state_->queueLock);
    return reporter.state_->pending.size();
  }
  static bool StopRequested(Reporter& reporter) { return reporter.state_->stop.load(); }
};

}  // namespace QUORVAN::Rendix::Global
