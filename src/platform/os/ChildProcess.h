#pragma once
// Runs helper programs: ssh for other machines (RunChild, to completion) and, for tests, peers
// that serve while the caller talks to them (ChildProcess).

#include <chrono>
#include <cstddef>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "platform/os/UniqueFd.h"

namespace rdx::os {

// A program running beside this one, its output read through a pipe while it runs. The
// destructor ends it (standard input closed, then SIGKILL after 10 s), so none is left behind.
class ChildProcess {
 public:
  enum class Streams {
    kConversation,  // standard input a pipe held open until Stop; output and errors joined
    kOutputOnly,    // standard input /dev/null (it never waits on us); errors discarded
  };

  // Starts argv[0] (searched on PATH when it holds no "/") with `extraEnvironment`
  // ("NAME=value") added to ours. Null when it cannot be started.
  static std::unique_ptr<ChildProcess> Start(const std::vector<std::string>& argv,
                                             const std::vector<std::string>& extraEnvironment,
                                             Streams streams = Streams::kConversation);
  ~ChildProcess();
  ChildProcess(const ChildProcess&) = delete;
  ChildProcess& operator=(const ChildProcess&) = delete;

  // The first output line containing `needle`, waiting at most `timeout`; nullopt on time-out
  // or when the child's output ended first.
  std::optional<std::string> WaitForLine(const std::string& needle,
                                         std::chrono::milliseconds timeout);
  // Reads until the child closes its output, keeping at most `maxOutput` bytes in Output();
  // false when `deadline` came first.
  bool ReadToEnd(std::size_t maxOutput, std::chrono::steady_clock::time_point deadline);
  // All output kept so far.
  const std::string& Output() const { return output_; }
  // Closes the child's standard input (a serving script ends then) and waits up to `timeout`
  // for the exit; SIGKILL after that. The exit status, 128 + the signal number when a signal
  // ended it, -1 when it had to be killed.
  int Stop(std::chrono::milliseconds timeout);
  // Sends `signal` to the child (a program that serves until SIGTERM); false once it has
  // been reaped or the signal cannot be sent.
  bool Signal(int signal);
  // True once Stop saw the child end by a signal.
  bool Signalled() const { return signalled_; }

 private:
  enum class Read { kData, kTimedOut, kEnded };
  ChildProcess() = default;
  // Appends what the child writes next, up to `limit` kept bytes; the rest is read and
  // dropped, so the child never blocks on a full pipe.
  Read ReadSome(std::chrono::steady_clock::time_point deadline, std::size_t limit);

  int pid_ = -1;
  UniqueFd inputFd_;
  UniqueFd outputFd_;
  std::optional<int> exitStatus_;
  bool signalled_ = false;
  std::string output_;
  std::size_t searched_ = 0;  // lines before this offset did not hold the needle
};

struct ChildResult {
  bool started = false;   // false when the program could not be run at all
  bool timedOut = false;  // killed at the deadline
  int exitCode = -1;      // its exit status; -1 when it ended by a signal
  std::string output;     // standard output, at most the limit given
};

// Runs `argv` with standard input from /dev/null and standard error discarded, keeping at
// most `maxOutput` bytes of its output; the child is killed when it runs past `timeout`.
// Never leaves a zombie behind.
ChildResult RunChild(const std::vector<std::string>& argv, std::size_t maxOutput,
                     std::chrono::milliseconds timeout);

}  // namespace rdx::os
