#pragma once
// A sink for tests: records what it receives, can be held shut so lines pile up in the
// reporter's queue, can throw on a chosen line, and lets a test wait for a count instead of
// sleeping.

#include <rdx/reporting/IReporterSink.h>

#include <chrono>
#include <condition_variable>
#include <cstddef>
#include <mutex>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

namespace rdx::test {

// Shared record of deliveries across sinks: (sink, line) in delivery order.
struct DeliveryJournal {
  std::mutex lock;
  std::vector<std::pair<const void*, std::string>> entries;
};

class CountingSink : public QUORVAN::Rendix::Global::IReporterSink {
 public:
  explicit CountingSink(DeliveryJournal* journal = nullptr) : journal_(journal) {}
  virtual ~CountingSink() = default;

  void Log(const char* line) override {
    std::unique_lock lock(lock_);
    ++entered_;
    changed_.notify_all();
    changed_.wait(lock, [this] { return open_; });
    if (throwOn_ == line) throw std::runtime_error("sink failure");
    lines_.emplace_back(line);
    if (journal_) {
      std::lock_guard journalLock(journal_->lock);
      journal_->entries.emplace_back(this, line);
    }
    changed_.notify_all();
  }

  // While shut, Log blocks after counting the call, so the reporter's notifier is held.
  void Shut() { std::lock_guard lock(lock_); open_ = false; }
  void Open() {
    std::lock_guard lock(lock_);
    open_ = true;
    changed_.notify_all();
  }
  void ThrowOn(std::string line) { std::lock_guard lock(lock_); throwOn_ = std::move(line); }

  // Waits (bounded) until Log has been entered at least n times.
  bool WaitEntered(std::size_t n, std::chrono::seconds limit = std::chrono::seconds(10)) {
    std::unique_lock lock(lock_);
    return changed_.wait_for(lock, limit, [&] { return entered_ >= n; });
  }
  std::vector<std::string> Lines() {
    std::lock_guard lock(lock_);
    return lines_;
  }

 private:
  DeliveryJournal* journal_;
  std::mutex lock_;
  std::condition_variable changed_;
  bool open_ = true;
  std::size_t entered_ = 0;
  std::string throwOn_ = "\x01never";
  std::vector<std::string> lines_;
};

}  // namespace rdx::test
