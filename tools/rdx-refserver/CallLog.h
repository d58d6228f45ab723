#pragma once
// The call log on standard error, written by a thread of its own: a call only appends its line
// to a buffer, and the writer hands everything gathered to standard error in one write a few
// milliseconds later. A line is never split, lost or reordered; memory stays bounded because a
// call waits while kMaxPendingBytes are not yet written.

#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <cstdio>
#include <mutex>
#include <string>
#include <string_view>
#include <thread>

namespace rdx::refserver {

class CallLog {
 public:
  // How long the writer gathers lines before writing them: the longest a line waits.
  static constexpr auto kGatherTime = std::chrono::milliseconds(5);
  static constexpr std::size_t kMaxPendingBytes = 4 * 1024 * 1024;

  // `out` borrowed (standard error in the server); a disabled log drops every line and starts
  // no thread.
  CallLog(std::FILE* out, bool enabled);
  // Writes what is pending, then ends the writer.
  ~CallLog();
  CallLog(const CallLog&) = delete;
  CallLog& operator=(const CallLog&) = delete;

  bool Enabled() const { return writer_.joinable(); }
  // Queues one complete line (its '\n' included); concurrent lines never interleave.
  void Write(std::string_view line);
  // Returns once every line queued before the call is written and flushed.
  void Flush();

 private:
  void Run();

  std::FILE* const out_;
  std::mutex lock_;                  // guards everything below; no I/O while held
  std::condition_variable wake_;     // the writer: a first line, a flush, or stop
  std::condition_variable written_;  // callers waiting for room or for a flush
  std::string pending_;
  std::uint64_t queuedBytes_ = 0;   // ever queued
  std::uint64_t writtenBytes_ = 0;  // ever written and flushed
  bool flushWanted_ = false;
  bool stop_ = false;
  std::thread writer_;
};

}  // namespace rdx::refserver
