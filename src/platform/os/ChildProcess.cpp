#include "platform/os/ChildProcess.h"

#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <thread>
#include <utility>

#include "platform/os/Eintr.h"

extern char** environ;

namespace rdx::os {

std::unique_ptr<ChildProcess> ChildProcess::Start(const std::vector<std::string>& argv,
                                                  const std::vector<std::string>& extraEnvironment,
                                                  Streams streams) {
  const bool conversation = streams == Streams::kConversation;
  UniqueFd inputRead, inputWrite, outputRead, outputWrite;
  if (argv.empty() || (conversation && OpenPipe(O_CLOEXEC, inputRead, inputWrite) != 0) ||
      OpenPipe(O_CLOEXEC, outputRead, outputWrite) != 0) {
    return nullptr;
  }
  posix_spawn_file_actions_t actions;
  posix_spawn_file_actions_init(&actions);
  if (conversation) {
    posix_spawn_file_actions_adddup2(&actions, inputRead.Get(), 0);
    posix_spawn_file_actions_adddup2(&actions, outputWrite.Get(), 2);
  } else {
    posix_spawn_file_actions_addopen(&actions, 0, "/dev/null", O_RDONLY, 0);
    posix_spawn_file_actions_addopen(&actions, 2, "/dev/null", O_WRONLY, 0);
  }
  posix_spawn_file_actions_adddup2(&actions, outputWrite.Get(), 1);
  std::vector<char*> args;
  for (const std::string& arg : argv) args.push_back(const_cast<char*>(arg.c_str()));
  args.push_back(nullptr);
  std::vector<std::string> envText(extraEnvironment);
  for (char** e = environ; *e != nullptr; ++e) envText.emplace_back(*e);
  std::vector<char*> env;
  for (std::string& entry : envText) env.push_back(entry.data());
  env.push_back(nullptr);

  pid_t pid = -1;
  const int spawned = posix_spawnp(&pid, args[0], &actions, nullptr, args.data(), env.data());
  posix_spawn_file_actions_destroy(&actions);
  // Our copies of the child's ends go at once, so its exit ends our reads.
  inputRead.Reset();
  outputWrite.Reset();
  if (spawned != 0) return nullptr;
  std::unique_ptr<ChildProcess> child(new ChildProcess);
  child->pid_ = pid;
  child->inputFd_ = std::move(inputWrite);
  child->outputFd_ = std::move(outputRead);
  return child;
}

ChildProcess::~ChildProcess() { Stop(std::chrono::seconds(10)); }

ChildProcess::Read ChildProcess::ReadSome(std::chrono::steady_clock::time_point deadline,
                                          std::size_t limit) {
  for (;;) {
    const auto left = std::chrono::duration_cast<std::chrono::milliseconds>(
        deadline - std::chrono::steady_clock::now());
    if (left.count() <= 0) return Read::kTimedOut;
    pollfd ready{outputFd_.Get(), POLLIN, 0};
    const int polled = poll(&ready, 1, static_cast<int>(left.count()));
    if (polled <= 0) continue;  // a signal is no reason to give up early; the deadline decides
    char chunk[4096];
    const ssize_t got = RetryOnEintr([&] { return read(outputFd_.Get(), chunk, sizeof chunk); });
    if (got <= 0) return Read::kEnded;  // every writer has gone
    const std::size_t room = limit - std::min(limit, output_.size());
    output_.append(chunk, std::min(room, static_cast<std::size_t>(got)));
    return Read::kData;
  }
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
    if (ReadSome(deadline, output_.max_size()) != Read::kData) return std::nullopt;
  }
}

bool ChildProcess::ReadToEnd(std::size_t maxOutput,
                             std::chrono::steady_clock::time_point deadline) {
  for (;;) {
    const Read r = ReadSome(deadline, maxOutput);
    if (r != Read::kData) return r == Read::kEnded;
  }
}

bool ChildProcess::Signal(int signal) { return !exitStatus_ && kill(pid_, signal) == 0; }

int ChildProcess::Stop(std::chrono::milliseconds timeout) {
  inputFd_.Reset();
  if (exitStatus_) return *exitStatus_;
  const auto deadline = std::chrono::steady_clock::now() + timeout;
  int status = 0;
  for (;;) {
    const pid_t done = RetryOnEintr([&] { return waitpid(pid_, &status, WNOHANG); });
    if (done == pid_) break;
    if (done < 0) return *(exitStatus_ = -1);
    if (std::chrono::steady_clock::now() >= deadline) {
      kill(pid_, SIGKILL);
      waitpid(pid_, &status, 0);
      return *(exitStatus_ = -1);
    }
    // No child-exit notification to block on without owning SIGCHLD process-wide: poll.
    std::this_thread::sleep_for(std::chrono::milliseconds(10));
  }
  signalled_ = !WIFEXITED(status);
  exitStatus_ = signalled_ ? 128 + WTERMSIG(status) : WEXITSTATUS(status);
  return *exitStatus_;
}

ChildResult RunChild(const std::vector<std::string>& argv, std::size_t maxOutput,
                     std::chrono::milliseconds timeout) {
  ChildResult result;
  const auto deadline = std::chrono::steady_clock::now() + timeout;
  auto child = ChildProcess::Start(argv, {}, ChildProcess::Streams::kOutputOnly);
  if (!child) return result;
  result.started = true;
  result.timedOut = !child->ReadToEnd(maxOutput, deadline);
  // The child may outlive its output; it still gets only what is left of the deadline.
  const auto left =
      std::max(std::chrono::milliseconds(0), std::chrono::duration_cast<std::chrono::milliseconds>(
                                                 deadline - std::chrono::steady_clock::now()));
  const int status = child->Stop(result.timedOut ? std::chrono::milliseconds(0) : left);
  if (status == -1) result.timedOut = true;
  if (!result.timedOut && !child->Signalled()) result.exitCode = status;
  result.output = child->Output();
  return result;
}

}  // namespace rdx::os
