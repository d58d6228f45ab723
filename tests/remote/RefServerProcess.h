#pragma once
// rdx-refserver as a child process on a free loopback TCP port, for the proxy tests: its
// call log ("Interface.Operation(detail) -> result" per line) read back between marks.

#include <cstddef>
#include <memory>
#include <string>
#include <vector>

#include "remote/TestServer.h"
#include "remote/interop/ChildProcess.h"

namespace rdx::rpc::test {

class RefServerProcess {
 public:
  // Starts the server with `options` added to --tcp PORT; Started() tells whether it listens.
  explicit RefServerProcess(const std::vector<std::string>& options = {});
  ~RefServerProcess() { Kill(); }
  RefServerProcess(const RefServerProcess&) = delete;
  RefServerProcess& operator=(const RefServerProcess&) = delete;
  bool Started() const { return binding_ != nullptr; }
  const std::string& Endpoint() const { return endpoint_; }
  // Everything the server logged since the previous call (or the start): a marker call is
  // made and its line awaited, so the lines of every call answered before are in.
  std::string LogSinceLastMark();
  // Ends the server at once (SIGKILL), as a crash would.
  void Kill();

 private:
  std::unique_ptr<rdx::testing::ChildProcess> child_;
  std::unique_ptr<Binding> binding_;  // the marker calls' own connection
  std::string endpoint_;
  std::size_t marks_ = 0;
  std::size_t logged_ = 0;  // output offset just past the previous mark's line
};

// The server's answer text of `operation` with --text-size `size`.
std::string Answer(const std::string& operation, std::size_t size = 64);

// How often `needle` occurs in `text` (calls of an operation in a log).
std::size_t Count(const std::string& text, const std::string& needle);

// A boolean member's answer as the call tables compare it.
inline std::string Yes(bool done) { return done ? "true" : "false"; }

// An object's status as text, one line per item.
template <typename Object>
std::string Items(Object& object) {
  return object.GetStatus().ToTextString(nullptr);
}

}  // namespace rdx::rpc::test
