#pragma once
// A program started by an interoperability test (Impacket's server script). Its standard
// output and error are collected line by line on a reader thread, so the child never blocks
// on a full pipe and the test can wait for a line.
// The destructor stops the child (SIGTERM, then SIGKILL), so no test leaves one behind.

#include <chrono>
#include <condition_variable>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <thread>
#include <vector>

namespace rdx::testing {

class ChildProcess {
 public:
  // Starts argv[0] (a path) with `extraEnvironment` ("NAME=value") added to ours. Null when
  // it cannot be started.
  static std::unique_ptr<ChildProcess> Start(const std::vector<std::string>& argv,
                                             const std::vector<std::string>& extraEnvironment = {});
  ~ChildProcess();
  ChildProcess(const ChildProcess&) = delete;
  ChildProcess& operator=(const ChildProcess&) = delete;

  // The first output line containing `needle`, waiting at most `timeout`; nullopt on time-out
  // or when the child's output ended first.
  std::optional<std::string> WaitForLine(const std::string& needle,
                                         std::chrono::milliseconds timeout);
  // All output so far, one line each.
  std::string Output() const;
  // Closes the child's standard input (a child that serves until stdin ends then exits).
  void CloseInput();
  // Sends `signal` and waits up to `timeout` for the exit; SIGKILL after that. Returns the
  // exit status (signal number + 128 when killed by one), or -1 when it had to be killed.
  int Stop(int signal, std::chrono::milliseconds timeout);
  // Kills at once with SIGKILL (a crashed peer).
  void Kill();

 private:
  ChildProcess() = default;
  void ReadOutput();

  int pid_ = -1;
  int inputFd_ = -1;
  int outputFd_ = -1;
  std::optional<int> exitStatus_;
  mutable std::mutex linesLock_;  // guards lines_ and outputEnded_; no waiting while held
  std::condition_variable linesChanged_;
  std::vector<std::string> lines_;
  bool outputEnded_ = false;
  std::thread reader_;
};

}  // namespace rdx::testing
