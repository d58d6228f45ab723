#pragma once
// A sink for tests: records what it receives (also into a journal shared by several sinks), can
// be held shut so lines pile up in the reporter's queue, and can throw on a chosen line.

#include <rdx/reporting/IReporterSink.h>

#include <chrono>
#include <condition_variable>
#include <mutex>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

namespace rdx::test {

class CountingSink : public QUORVAN::Rendix::Global::IReporterSink {
 public:
  using Journal = std::vector<std::pair<const void*, std::string>>;
  explicit CountingSink(Journal* journal = nullptr) : journal_(journal) {}
  virtual ~CountingSink() = default;

  void Log(const char* line) override {
    std::unique_lock lock(lock_);
    ++entered_;
    changed_.notify_all();
    changed_.wait(lock, [this] { return open_; });  // held here while shut
    if (throwOn_ == line) throw std::runtime_error("sink failure");
    lines_.emplace_back(line);
    if (journal_) journal_->emplace_back(this, line);  // only the notifier writes it
  }
  void Shut() { std::lock_guard lock(lock_); open_ = false; }
  void Open() {
    std::lock_guard lock(lock_);
    open_ = true;
    changed_.notify_all();
  }
  void ThrowOn(std::string line) { std::lock_guard lock(lock_); throwOn_ = std::move(line); }
  // Waits (bounded) until Log has been entered n times.
  bool WaitEntered(std::size_t n) {
    std::unique_lock lock(lock_);
    return changed_.wait_for(lock, std::chrono::seconds(10), [&] { return entered_ >= n; });
  }
  std::vector<std::string> Lines() { std::lock_guard lock(lock_); return lines_; }

 private:
  Journal* journal_;
  std::mutex lock_;
  std::condition_variable changed_;
  bool open_ = true;
  std::size_t entered_ = 0;
  std::string throwOn_ = "\x01";
  std::vector<std::string> lines_;
};

}  // namespace rdx::test
