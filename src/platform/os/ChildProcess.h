#pragma once
// Runs a helper program (ssh for other machines) and collects what it prints.

#include <chrono>
#include <string>
#include <vector>

namespace rdx::os {

struct ChildResult {
  bool started = false;  // false when the program could not be run at all
  bool timedOut = false; // killed at the deadline
  int exitCode = -1;     // its exit status; -1 when it ended by a signal
  std::string output;    // standard output, at most the limit given
};

// Runs `argv` (argv[0] searched on PATH) with standard input from /dev/null and standard error
// discarded, keeping at most `maxOutput` bytes of its output; the child is killed when it runs
// past `timeout`. Never leaves a zombie behind.
ChildResult RunChild(const std::vector<std::string>& argv, std::size_t maxOutput,
                     std::chrono::milliseconds timeout);

}  // namespace rdx::os
