#pragma once
// The one bounded wait of the tests: a negative result is a failure, never a hang.

#include <chrono>
#include <thread>

namespace rdx::test {

// Polls `condition` every 20 ms until it holds or `bound` has passed; its last answer.
template <typename Condition>
bool WaitFor(Condition condition, std::chrono::milliseconds bound = std::chrono::seconds(30)) {
  const auto deadline = std::chrono::steady_clock::now() + bound;
  while (!condition()) {
    if (std::chrono::steady_clock::now() >= deadline) return condition();
    std::this_thread::sleep_for(std::chrono::milliseconds(20));
  }
  return true;
}

}  // namespace rdx::test
