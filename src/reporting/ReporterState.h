#pragma once
// The inside of a Reporter: its queue, sink map, locks and notifier thread. Kept out of the
// public header so that header shows no threads or locks; tests reach it through a peer.

#include <rdx/reporting/Reporter.h>

#include <atomic>
#include <condition_variable>
#include <cstdint>
#include <deque>
#include <mutex>
#include <set>
#include <string>
#include <thread>

namespace QUORVAN::Rendix::Global {

struct Reporter::State {
  // Guards pending, droppedLines and queuedLines. Held only to push or pop one line; never
  // while a sink runs, so loggers are not slowed by slow sinks.
  std::mutex queueLock;
  std::deque<std::string> pending;
  std::uint64_t droppedLines = 0;  // lines refused because kMaxPendingLines were pending
  std::uint64_t queuedLines = 0;   // lines ever accepted into pending
  // Lines accepted and since delivered to every sink or discarded. A waiter needs only the
  // lines queued before its call retired, so loggers that keep the queue full cannot hold it.
  std::atomic<std::uint64_t> retiredLines{0};
  std::atomic<int> drainWaiters{0};  // callers inside WaitForNotifications

  // Guards sinks. Held for one line's whole delivery, so Attach and Detach wait for it. The
  // notifier never holds it together with queueLock.
  std::mutex sinksLock;
  std::set<IReporterSink*> sinks;  // ascending pointer order is the delivery order

  // Guards the waits below: drain requests, the stop request and the thread's end. Written
  // under this lock so a waiter on drainChanged cannot miss a change; read lock-free on the
  // notifier's busy path.
  std::mutex drainLock;
  std::condition_variable drainChanged;
  // Bumped by each WaitForNotifications so an idle notifier looks at the queue at once
  // instead of at its next poll.
  std::atomic<std::uint64_t> drainRequested{0};
  std::atomic<bool> stop{false};
  std::atomic<bool> threadEnded{true};

  // Serialises Init and Close, the only writers of notifier and threadHeld.
  std::mutex lifecycleLock;
  std::thread notifier;
  std::atomic<bool> threadHeld{false};  // a notifier has been started and not yet joined
  std::atomic<bool> closed{false};      // set by Close, cleared by Init
  // The running notifier's id, so calls a sink makes from inside Log can be told apart: that
  // thread must never wait for itself or take the sinks lock it already holds.
  std::atomic<std::thread::id> notifierId{};

  bool OnNotifier() const { return std::this_thread::get_id() == notifierId.load(); }

  void NotifySinks();
  // Counts lines as retired and wakes any drain waiter.
  void Retire(std::uint64_t lines);
  // Drops every queued line; used when the notifier stops.
  void DiscardPending();
  // Ends a stopping notifier: joins it, discards what is still queued, forgets the sinks.
  void JoinNotifier();
};

}  // namespace QUORVAN::Rendix::Global
