#pragma once
// rdx-refserver as a child process for tests that watch the whole process: its descriptors and
// resident memory read from /proc, a descriptor limit of its own, its log in a file (so a
// busy server never blocks on a full pipe). The destructor stops it (SIGTERM, then SIGKILL).

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "support/WaitFor.h"

namespace rdx::rpc::test {

// AddressSanitizer keeps freed memory in quarantine, so resident sizes say nothing there.
#if defined(__SANITIZE_ADDRESS__)
inline constexpr bool kResidentSizeMeaningful = false;
#elif defined(__has_feature)
#if __has_feature(address_sanitizer)
inline constexpr bool kResidentSizeMeaningful = false;
#else
inline constexpr bool kResidentSizeMeaningful = true;
#endif
#else
inline constexpr bool kResidentSizeMeaningful = true;
#endif

class RefServerChild {
 public:
  struct Options {
    std::vector<std::string> arguments;     // after --tcp PORT
    std::vector<std::string> environment;   // "NAME=value", added to ours
    unsigned long descriptorLimit = 0;      // hard (and soft) limit in the child; 0 keeps ours
    unsigned long softDescriptorLimit = 0;  // a lower soft limit; 0: the hard one
  };
  // Starts the server on a free loopback port and waits until it listens; null on failure.
  static std::unique_ptr<RefServerChild> Start(const Options& options);
  ~RefServerChild();
  RefServerChild(const RefServerChild&) = delete;
  RefServerChild& operator=(const RefServerChild&) = delete;

  int Pid() const { return pid_; }
  std::uint16_t Port() const { return port_; }
  std::string Endpoint() const { return std::to_string(port_); }
  // Descriptors the server holds open now; 0 when it cannot be read.
  std::size_t OpenDescriptors() const;
  // Its resident set (VmRSS) in bytes; 0 when it cannot be read.
  std::uint64_t ResidentBytes() const;
  // Whether it still runs.
  bool Running();
  // SIGTERM, then the exit status (-1 when it had to be killed).
  int Stop();
  std::string Log() const;

 private:
  RefServerChild() = default;
  int pid_ = -1;
  std::uint16_t port_ = 0;
  std::string logPath_;
  bool exited_ = false;
  int exitStatus_ = -1;
};

using rdx::test::WaitFor;

}  // namespace rdx::rpc::test
