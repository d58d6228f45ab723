#pragma once
// Bytes held by many threads against one fixed limit: what a server's calls may hold in
// request and answer buffers together, and what connections may keep warm between calls.

#include <atomic>
#include <cstddef>
#include <string_view>

namespace rdx::rpc {

class ByteBudget {
 public:
  explicit constexpr ByteBudget(std::size_t limit) noexcept : limit_(limit) {}
  ByteBudget(const ByteBudget&) = delete;
  ByteBudget& operator=(const ByteBudget&) = delete;

  // Takes `bytes`; false, taking nothing, when that would pass the limit.
  [[nodiscard]] bool Take(std::size_t bytes) noexcept;
  // Takes `bytes` whatever the limit: for memory that exists already and must be counted.
  void Force(std::size_t bytes) noexcept;
  void Give(std::size_t bytes) noexcept;
  std::size_t Used() const noexcept { return used_.load(std::memory_order_relaxed); }
  std::size_t Limit() const noexcept { return limit_; }

 private:
  const std::size_t limit_;
  std::atomic<std::size_t> used_{0};  // may pass limit_ only through Force
};

// Default of the process's call budget: 1 GiB, but never more than half the machine's memory.
inline constexpr std::size_t kDefaultCallBudget = 1024u * 1024 * 1024;
// The environment variable that sets the call budget, in bytes with an optional K, M or G.
inline constexpr const char* kCallBudgetVariable = "RDX_RPC_MEMORY_BUDGET";

// What every server connection of this process holds in reassembled requests and answers,
// together; read from the environment the first time it is asked for.
ByteBudget& ProcessCallBudget() noexcept;

// Parses "123", "64K", "512M", "2G" (case-insensitive suffix); 0 for anything else.
std::size_t ParseByteCount(std::string_view text) noexcept;

}  // namespace rdx::rpc
