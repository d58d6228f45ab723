#include "platform/os/ChildProcess.h"

#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>

extern char** environ;

namespace rdx::os {

ChildResult RunChild(const std::vector<std::string>& argv, std::size_t maxOutput,
                     std::chrono::milliseconds timeout) {
  ChildResult result;
  if (argv.empty()) return result;
  int pipeEnds[2];
  if (pipe2(pipeEnds, O_CLOEXEC) != 0) return result;

  posix_spawn_file_actions_t actions;
  posix_spawn_file_actions_init(&actions);
  posix_spawn_file_actions_addopen(&actions, 0, "/dev/null", O_RDONLY, 0);
  posix_spawn_file_actions_adddup2(&actions, pipeEnds[1], 1);
  posix_spawn_file_actions_addopen(&actions, 2, "/dev/null", O_WRONLY, 0);
  std::vector<char*> args;
  for (const std::string& arg : argv) args.push_back(const_cast<char*>(arg.c_str()));
  args.push_back(nullptr);
  pid_t pid = -1;
  const int spawnError = posix_spawnp(&pid, args[0], &actions, nullptr, args.data(), environ);
  posix_spawn_file_actions_destroy(&actions);
  close(pipeEnds[1]);
  if (spawnError != 0) {
    close(pipeEnds[0]);
    return result;
  }
  result.started = true;

  const auto deadline = std::chrono::steady_clock::now() + timeout;
  char buffer[4096];
  for (;;) {
    const auto left = std::chrono::duration_cast<std::chrono::milliseconds>(
        deadline - std::chrono::steady_clock::now());
    if (left.count() <= 0) {
      result.timedOut = true;
      kill(pid, SIGKILL);
      break;
    }
    pollfd waitFor {pipeEnds[0], POLLIN, 0};
    const int ready = poll(&waitFor, 1, static_cast<int>(left.count()));
    if (ready < 0 && errno == EINTR) continue;  // a signal is no reason to give up early
    if (ready <= 0) continue;                   // the deadline is checked at the loop head
    const ssize_t got = read(pipeEnds[0], buffer, sizeof buffer);
    if (got < 0 && errno == EINTR) continue;
    if (got <= 0) break;  // end of output: the child closed its side
    const std::size_t room = maxOutput - result.output.size();
    result.output.append(buffer, std::min(room, static_cast<std::size_t>(got)));
    // Output past the limit is read and dropped so the child never blocks on a full pipe.
  }
  close(pipeEnds[0]);
  // The child may outlive its output; it still gets only what is left of the deadline.
  int status = 0;
  for (;;) {
    const pid_t done = waitpid(pid, &status, WNOHANG);
    if (done == pid || (done < 0 && errno != EINTR)) break;
    if (done == 0 && std::chrono::steady_clock::now() >= deadline && !result.timedOut) {
      result.timedOut = true;
      kill(pid, SIGKILL);
    }
    if (done == 0) usleep(result.timedOut ? 1000 : 10000);
  }
  if (!result.timedOut && WIFEXITED(status)) result.exitCode = WEXITSTATUS(status);
  return result;
}

}  // namespace rdx::os
