#include "CallLog.h"

namespace rdx::refserver {

CallLog::CallLog(std::FILE* out, bool enabled) : out_(out) {
  if (enabled) writer_ = std::thread([this] { Run(); });
}

CallLog::~CallLog() {
  if (!writer_.joinable()) return;
  {
    std::lock_guard lock(lock_);
    stop_ = true;
  }
  wake_.notify_one();
  writer_.join();
}

void CallLog::Write(std::string_view line) {
  if (!writer_.joinable()) return;
  std::unique_lock lock(lock_);
  // Kept so: a reader that stops reading our standard error slows calls down, as a direct
  // write would, instead of growing the buffer without bound.
  written_.wait(lock, [&] { return pending_.size() < kMaxPendingBytes || stop_; });
  const bool first = pending_.empty();
  pending_.append(line);
  queuedBytes_ += line.size();
  lock.unlock();
  if (first) wake_.notify_one();
}

void CallLog::Flush() {
  if (!writer_.joinable()) return;
  std::unique_lock lock(lock_);
  const std::uint64_t target = queuedBytes_;
  flushWanted_ = true;
  wake_.notify_one();
  written_.wait(lock, [&] { return writtenBytes_ >= target; });
}

void CallLog::Run() {
  std::string batch;
  std::unique_lock lock(lock_);
  for (;;) {
    wake_.wait(lock, [&] { return !pending_.empty() || stop_; });
    if (pending_.empty() && stop_) break;
    // Gather the lines of the next few milliseconds, so a busy server writes once per batch
    // rather than once per call.
    wake_.wait_for(lock, kGatherTime, [&] { return flushWanted_ || stop_; });
    flushWanted_ = false;
    batch.clear();
    batch.swap(pending_);
    written_.notify_all();  // room again for callers held at the limit
    lock.unlock();
    std::fwrite(batch.data(), 1, batch.size(), out_);
    std::fflush(out_);
    lock.lock();
    writtenBytes_ += batch.size();
    written_.notify_all();
  }
}

}  // namespace rdx::refserver
