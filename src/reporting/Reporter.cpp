#include <rdx/reporting/Reporter.h>

#include "platform/os/ThreadPriority.h"
#include "reporting/ReporterState.h"

#include <rdx/foundation/Status.h>

#include <chrono>
#include <utility>

namespace QUORVAN::Rendix::Global {
namespace {

using namespace std::chrono_literals;

// An idle notifier looks at the queue this often instead of being woken by every Log, which
// keeps Log down to one string copy under a short lock.
constexpr auto kIdlePoll = 50ms;
// While closing, each wait is bounded by this step so a stuck sink cannot hang Close forever.
constexpr auto kCloseStep = 100ms;

}  // namespace

void Reporter::State::NotifySinks() {
  notifierId.store(std::this_thread::get_id());
  rdx::os::LowerCurrentThreadPriority();
  try {
    std::string line;
    std::uint64_t requestsSeen = drainRequested.load();
    while (!stop.load()) {
      bool have = false;
      {
        std::lock_guard lock(queueLock);
        if (!pending.empty()) {
          line = std::move(pending.front());
          pending.pop_front();
          have = true;
        }
      }
      if (!have) {
        std::unique_lock lock(drainLock);
        drainChanged.wait_for(lock, kIdlePoll,
                              [&] { return stop.load() || drainRequested.load() != requestsSeen; });
        requestsSeen = drainRequested.load();
        continue;
      }
      {
        std::lock_guard lock(sinksLock);
        for (IReporterSink* sink : sinks) {
          // A sink that throws loses this line only; the others still get it.
          try {
            sink->Log(line.c_str());
          } catch (...) {
          }
        }
      }
      Retire(1);
    }
  } catch (...) {
    // A lock or wait that fails ends the thread; waiters are released below.
  }
  DiscardPending();
  std::lock_guard lock(drainLock);
  notifierId.store(std::thread::id());
  threadEnded.store(true);
  drainChanged.notify_all();
}

void Reporter::State::Retire(std::uint64_t lines) {
  retiredLines.fetch_add(lines);
  // A waiter registers before it reads retiredLines, so either it sees this count or this
  // sees it waiting; the lock then orders the wake-up after its wait began.
  if (drainWaiters.load() == 0) return;
  std::lock_guard lock(drainLock);
  drainChanged.notify_all();
}

void Reporter::State::JoinNotifier() {
  notifier.join();
  threadHeld.store(false);
  DiscardPending();  // lines that slipped in while the thread was ending
  std::lock_guard lock(sinksLock);
  sinks.clear();
}

void Reporter::State::DiscardPending() {
  // Lines still queued when the notifier stops are never delivered, not even after Init.
  std::uint64_t discarded = 0;
  {
    std::lock_guard lock(queueLock);
    discarded = pending.size();
    pending.clear();
  }
  if (discarded != 0) Retire(discarded);
}

Reporter::Reporter() : state_(std::make_unique<State>()) { Init(); }

Reporter::~Reporter() { Close(); }

int Reporter::Init() {
  if (state_->OnNotifier()) return 1;  // from a sink's Log: running already
  try {
    std::lock_guard lifecycle(state_->lifecycleLock);
    state_->closed.store(false);
    if (state_->threadHeld.load()) {
      if (!state_->threadEnded.load() && !state_->stop.load()) return 1;
      // A sink closed its own reporter: finish that Close first (its notifier ends after the
      // line in hand).
      state_->JoinNotifier();
    }
    {
      std::lock_guard lock(state_->drainLock);
      state_->stop.store(false);
      state_->threadEnded.store(false);
    }
    try {
      state_->notifier = std::thread([state = state_.get()] { state->NotifySinks(); });
    } catch (...) {
      state_->threadEnded.store(true);
      throw;
    }
    state_->threadHeld.store(true);
    return 1;
  } catch (...) {
    return 0;
  }
}

int Reporter::Close() {
  try {
    if (state_->OnNotifier()) {
      // A sink closing its own reporter: the notifier cannot wait for itself, and must not
      // take the lifecycle lock (an outside Close may hold it while waiting for this thread).
      // It ends after this line; the next Close, Init or the destructor joins it.
      std::lock_guard lock(state_->drainLock);
      state_->closed.store(true);
      state_->stop.store(true);
      return 1;
    }
    std::lock_guard lifecycle(state_->lifecycleLock);
    state_->closed.store(true);
    if (!state_->threadHeld.load()) return 1;
    while (!state_->threadEnded.load()) {
      WaitForNotifications();  // bounded to one step because closed is set
      std::unique_lock lock(state_->drainLock);
      state_->stop.store(true);
      state_->drainChanged.notify_all();
      state_->drainChanged.wait_for(lock, kCloseStep,
                                    [this] { return state_->threadEnded.load(); });
    }
    state_->JoinNotifier();
    return 1;
  } catch (...) {
    return 0;
  }
}

int Reporter::Log(const char* line) {
  if (line == nullptr || !state_->threadHeld.load(std::memory_order_relaxed)) return 1;
  try {
    std::string copy(line);  // made before the lock so the lock covers only the push
    std::lock_guard lock(state_->queueLock);
    if (state_->pending.size() < kMaxPendingLines) {
      state_->pending.push_back(std::move(copy));
      ++state_->queuedLines;
    } else {
      ++state_->droppedLines;
    }
    return 1;
  } catch (...) {
    return 0;
  }
}

int Reporter::Log(const char* source, const char* message) {
  try {
    GeneralUtilityLib::Status status;
    status.Append(0, message ? message : "", source ? source : "", "");
    const std::string text = status.ToString(nullptr);
    return Log(text.c_str());
  } catch (...) {
    return 0;
  }
}

int Reporter::Attach(IReporterSink* sink) {
  if (!state_->threadHeld.load() || state_->threadEnded.load()) return 1;
  try {
    // From a sink's Log the notifier holds the sinks lock already, and a set insert leaves
    // the delivery loop's position valid.
    std::unique_lock lock(state_->sinksLock, std::defer_lock);
    if (!state_->OnNotifier()) lock.lock();
    if (sink != nullptr) state_->sinks.insert(sink);
    return 1;
  } catch (...) {
    return 0;
  }
}

int Reporter::Detach(IReporterSink* sink) {
  if (!state_->threadHeld.load() || state_->threadEnded.load()) return 1;
  if (state_->OnNotifier()) return 0;  // from a sink's Log: it would wait for itself
  try {
    WaitForNotifications();
    std::lock_guard lock(state_->sinksLock);
    if (sink != nullptr) state_->sinks.erase(sink);
    return 1;
  } catch (...) {
    return 0;
  }
}

int Reporter::WaitForNotifications() {
  // From a sink's Log the notifier would wait for itself; it has nothing to wait for there.
  if (!state_->threadHeld.load() || state_->OnNotifier()) return 1;
  try {
    std::uint64_t target = 0;  // every line queued before this call
    {
      std::lock_guard lock(state_->queueLock);
      target = state_->queuedLines;
    }
    std::unique_lock lock(state_->drainLock);
    state_->drainWaiters.fetch_add(1);
    struct Leave {
      std::atomic<int>& waiters;
      ~Leave() { waiters.fetch_sub(1); }
    } leave{state_->drainWaiters};
    state_->drainRequested.fetch_add(1);
    state_->drainChanged.notify_all();
    // A notifier that has ended will never drain; waiting for it would be waiting forever.
    auto drained = [&] {
      return state_->retiredLines.load() >= target || state_->threadEnded.load();
    };
    if (state_->closed.load()) {
      state_->drainChanged.wait_for(lock, kCloseStep, drained);
    } else {
      state_->drainChanged.wait(lock, drained);
    }
    return 1;
  } catch (...) {
    return 0;
  }
}

}  // namespace QUORVAN::Rendix::Global
