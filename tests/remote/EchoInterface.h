#pragma once
// A small interface for exercising the run time without the real interface layer:
// operation 0 echoes its stub, 1 answers n bytes of a pattern, 2 answers a fault status
// taken from the stub, 3 waits until released (calls in flight, a server stopped mid-call).

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <cstring>
#include <mutex>

#include "remote/runtime/RpcRuntime.h"

namespace rdx::rpc::test {

inline SyntaxId EchoSyntax() {
  return SyntaxId{{0x11, 0x22, 0x33, 0x44, 0x55, 0x66, 0x77, 0x88, 0x99, 0xaa, 0xbb, 0xcc, 0xdd,
                   0xee, 0xf0, 0x01},
                  1,
                  0};
}

inline std::uint8_t PatternByte(std::size_t i, std::uint32_t seed) {
  return static_cast<std::uint8_t>((i * 7 + seed) & 0xFF);
}

// The stub of operations 1 and 2: two 32-bit numbers.
inline std::vector<std::uint8_t> EchoArgs(std::uint32_t a, std::uint32_t b) {
  std::vector<std::uint8_t> stub(8);
  std::memcpy(stub.data(), &a, 4);
  std::memcpy(stub.data() + 4, &b, 4);
  return stub;
}

class EchoInterface : public ServerInterface {
 public:
  const SyntaxId& Syntax() const override { return syntax_; }
  std::uint32_t OperationCount() const override { return 4; }
  std::uint32_t Dispatch(std::uint16_t opnum, std::span<const std::uint8_t> request, bool bigEndian,
                         std::vector<std::uint8_t>& response) override {
    lastBigEndian = bigEndian;
    std::uint32_t a = 0;
    std::uint32_t b = 0;
    if (opnum != 0 && request.size() >= 8) {
      std::memcpy(&a, request.data(), 4);
      std::memcpy(&b, request.data() + 4, 4);
    }
    switch (opnum) {
      case 0: response.assign(request.begin(), request.end()); return 0;
      case 1:
        response.resize(a);
        for (std::uint32_t i = 0; i < a; ++i) response[i] = PatternByte(i, b);
        return 0;
      case 2: return a;
      default: {
        std::unique_lock lock(mutex_);
        ++waiting_;
        changed_.notify_all();
        changed_.wait(lock, [&] { return released_; });
        response.assign(1, 0x2a);
        return 0;
      }
    }
  }
  // Waits (bounded) until `count` calls of operation 3 are inside the manager.
  bool WaitForWaiting(int count) {
    std::unique_lock lock(mutex_);
    return changed_.wait_for(lock, std::chrono::seconds(20), [&] { return waiting_ >= count; });
  }
  void Release() {
    std::lock_guard lock(mutex_);
    released_ = true;
    changed_.notify_all();
  }
  std::atomic<bool> lastBigEndian{false};

 private:
  SyntaxId syntax_ = EchoSyntax();
  std::mutex mutex_;
  std::condition_variable changed_;
  int waiting_ = 0;
  bool released_ = false;
};

}  // namespace rdx::rpc::test
