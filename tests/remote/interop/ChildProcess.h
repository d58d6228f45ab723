#pragma once
// A program started by an interoperability test (Impacket's server script), its standard
// output and error in one pipe that the test reads while it waits for a line. The destructor
// ends the child (standard input closed, then SIGKILL), so no test leaves one behind.

#include <chrono>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace rdx::testing {

class ChildProcess {
 public:
  // Starts argv[0] (a path) with `extraEnvironment` ("NAME=value") added to ours. Null when
  // it cannot be started.
  static std::unique_ptr<ChildProcess> Start(const std::vector<std::string>& argv,
                                             const std::vector<std::string>& extraEnvironment);
  ~ChildProcess();
  ChildProcess(const ChildProcess&) = delete;
  ChildProcess& operator=(const ChildProcess&) = delete;

  // The first output line containing `needle`, waiting at most `timeout`; nullopt on time-out
  // or when the child's output ended first.
  std::optional<std::string> WaitForLine(const std::string& needle,
                                         std::chrono::milliseconds timeout);
  // All output read so far.
  const std::string& Output() const { return output_; }
  // Closes the child's standard input (the script serves until it ends) and waits up to
  // `timeout` for the exit; SIGKILL after that. The exit status, 128 + the signal number when
  // a signal ended it, -1 when it had to be killed.
  int Stop(std::chrono::milliseconds timeout);
  // Sends `signal` to the running child (a program that serves until SIGTERM); false once it
  // has been waited for.
  bool Signal(int signal);

 private:
  ChildProcess() = default;

  int pid_ = -1;
  int inputFd_ = -1;
  int outputFd_ = -1;
  std::optional<int> exitStatus_;
  std::string output_;
  std::size_t searched_ = 0;  // lines before this offset did not hold the needle
};

}  // namespace rdx::testing
