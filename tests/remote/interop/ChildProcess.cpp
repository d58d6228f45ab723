#include "ChildProcess.h"

#include <cerrno>
#include <csignal>
#include <cstring>

#include <fcntl.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

extern char** environ;

namespace rdx::testing {

std::unique_ptr<ChildProcess> ChildProcess::Start(const std::vector<std::string>& argv,
                                                  const std::vector<std::string>& extraEnvironment) {
  if (argv.empty()) return nullptr;
  int input[2];
  int output[2];
  if (pipe2(input, O_CLOEXEC) != 0) return nullptr;
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
  std::vector<std::string> envText;
  for (char** e = environ; *e != nullptr; ++e) envText.emplace_back(*e);
  envText.insert(envText.end(), extraEnvironment.begin(), extraEnvironment.end());
  std::vector<char*> env;
  for (std::string& entry : envText) env.push_back(entry.data());
  env.push_back(nullptr);

  pid_t pid = -1;
  const int spawned = posix_spawn(&pid, argv[0].c_str(), &actions, nullptr, args.data(), env.data());
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
  child->reader_ = std::thread([raw = child.get()] { raw->ReadOutput(); });
  return child;
}

ChildProcess::~ChildProcess() {
  if (!exitStatus_) Stop(SIGTERM, std::chrono::seconds(10));
  CloseInput();
  if (reader_.joinable()) reader_.join();
  if (outputFd_ >= 0) close(outputFd_);
}

void ChildProcess::ReadOutput() {
  std::string partial;
  char chunk[4096];
  for (;;) {
    const ssize_t got = read(outputFd_, chunk, sizeof chunk);
    if (got < 0 && errno == EINTR) continue;
    if (got <= 0) break;
    partial.append(chunk, static_cast<std::size_t>(got));
    std::size_t end;
    std::lock_guard lock(linesLock_);
    while ((end = partial.find('\n')) != std::string::npos) {
      lines_.push_back(partial.substr(0, end));
      partial.erase(0, end + 1);
    }
    linesChanged_.notify_all();
  }
  std::lock_guard lock(linesLock_);
  if (!partial.empty()) lines_.push_back(partial);
  outputEnded_ = true;
  linesChanged_.notify_all();
}

std::optional<std::string> ChildProcess::WaitForLine(const std::string& needle,
                                                     std::chrono::milliseconds timeout) {
  std::unique_lock lock(linesLock_);
  std::optional<std::string> found;
  linesChanged_.wait_for(lock, timeout, [&] {
    for (const std::string& line : lines_) {
      if (line.find(needle) != std::string::npos) {
        found = line;
        return true;
      }
    }
    return outputEnded_;
  });
  return found;
}

std::string ChildProcess::Output() const {
  std::lock_guard lock(linesLock_);
  std::string all;
  for (const std::string& line : lines_) all += line + "\n";
  return all;
}

void ChildProcess::CloseInput() {
  if (inputFd_ >= 0) {
    close(inputFd_);
    inputFd_ = -1;
  }
}

int ChildProcess::Stop(int signal, std::chrono::milliseconds timeout) {
  if (exitStatus_) return *exitStatus_;
  kill(pid_, signal);
  const auto deadline = std::chrono::steady_clock::now() + timeout;
  int status = 0;
  for (;;) {
    const pid_t done = waitpid(pid_, &status, WNOHANG);
    if (done == pid_) break;
    if (done < 0 && errno != EINTR) return -1;
    if (std::chrono::steady_clock::now() >= deadline) {
      kill(pid_, SIGKILL);
      waitpid(pid_, &status, 0);
      exitStatus_ = -1;
      return -1;
    }
    // No child-exit notification to block on without owning SIGCHLD process-wide: poll.
    std::this_thread::sleep_for(std::chrono::milliseconds(10));
  }
  exitStatus_ = WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
  return *exitStatus_;
}

void ChildProcess::Kill() {
  if (exitStatus_) return;
  kill(pid_, SIGKILL);
  int status = 0;
  waitpid(pid_, &status, 0);
  exitStatus_ = 128 + SIGKILL;
}

}  // namespace rdx::testing
