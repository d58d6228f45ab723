#include "ChildProcess.h"

#include <cerrno>
#include <csignal>
#include <thread>

#include <fcntl.h>
#include <poll.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

extern char** environ;

namespace rdx::testing {

std::unique_ptr<ChildProcess> ChildProcess::Start(const std::vector<std::string>& argv,
                                                  const std::vector<std::string>& extraEnvironment) {
  int input[2];
  int output[2];
  if (argv.empty() || pipe2(input, O_CLOEXEC) != 0) return nullptr;
  if (pipe2(output, O_CLOEXEC) != 0) {
    close(input[0]);
    close(input[1]);
    return nullptr;
  }
  posix_spawn_file_actions_t actions;
  posix_spawn_file_actions_init(&actions);
  posix_spawn_file_actions_adddup2(&actions, input[0], 0);
  posix_spawn_file_actions_adddup2(&actions, output[1], 1);
  posix_spawn_file_actions_adddup2(&actions, output[1], 2);
  std::vector<char*> args;
  for (const std::string& arg : argv) args.push_back(const_cast<char*>(arg.c_str()));
  args.push_back(nullptr);
  std::vector<std::string> envText(extraEnvironment);
  for (char** e = environ; *e != nullptr; ++e) envText.emplace_back(*e);
  std::vector<char*> env;
  for (std::string& entry : envText) env.push_back(entry.data());
  env.push_back(nullptr);

  pid_t pid = -1;
  const int spawned = posix_spawn(&pid, args[0], &actions, nullptr, args.data(), env.data());
  posix_spawn_file_actions_destroy(&actions);
  close(input[0]);
  close(output[1]);
  if (spawned != 0) {
    close(input[1]);
    close(output[0]);
    return nullptr;
  }
  std::unique_ptr<ChildProcess> child(new ChildProcess);
  child->pid_ = pid;
  child->inputFd_ = input[1];
  child->outputFd_ = output[0];
  return child;
}

ChildProcess::~ChildProcess() {
  Stop(std::chrono::seconds(10));
  close(outputFd_);
}

std::optional<std::string> ChildProcess::WaitForLine(const std::string& needle,
                                                     std::chrono::milliseconds timeout) {
  const auto deadline = std::chrono::steady_clock::now() + timeout;
  for (;;) {
    for (std::size_t end; (end = output_.find('\n', searched_)) != std::string::npos;) {
      std::string line = output_.substr(searched_, end - searched_);
      searched_ = end + 1;
      if (line.find(needle) != std::string::npos) return line;
    }
    const auto left = std::chrono::duration_cast<std::chrono::milliseconds>(
        deadline - std::chrono::steady_clock::now());
    pollfd ready{outputFd_, POLLIN, 0};
    if (left.count() <= 0 || poll(&ready, 1, static_cast<int>(left.count())) <= 0) {
      return std::nullopt;
    }
    char chunk[4096];
    const ssize_t got = read(outputFd_, chunk, sizeof chunk);
    if (got < 0 && errno == EINTR) continue;
    if (got <= 0) return std::nullopt;  // every writer has gone
    output_.append(chunk, static_cast<std::size_t>(got));
  }
}

bool ChildProcess::Signal(int signal) {
  return !exitStatus_ && kill(pid_, signal) == 0;
}

int ChildProcess::Stop(std::chrono::milliseconds timeout) {
  if (inputFd_ >= 0) close(inputFd_);
  inputFd_ = -1;
  if (exitStatus_) return *exitStatus_;
  const auto deadline = std::chrono::steady_clock::now() + timeout;
  int status = 0;
  for (;;) {
    const pid_t done = waitpid(pid_, &status, WNOHANG);
    if (done == pid_) break;
    if (done < 0 && errno != EINTR) return -1;
    if (std::chrono::steady_clock::now() >= deadline) {
      kill(pid_, SIGKILL);
      waitpid(pid_, &status, 0);
      return *(exitStatus_ = -1);
    }
    // No child-exit notification to block on without owning SIGCHLD process-wide: poll.
    std::this_thread::sleep_for(std::chrono::milliseconds(10));
  }
  exitStatus_ = WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
  return *exitStatus_;
}

}  // namespace rdx::testing
