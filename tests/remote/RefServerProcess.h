#pragma once
// rdx-refserver (RefServerChild) for the proxy tests: its call log ("Interface.Operation(detail)
// -> result" per line) read back between marks.

#include <cstddef>
#include <memory>
#include <string>
#include <vector>

#include "remote/RefServerChild.h"
#include "remote/TestServer.h"

namespace rdx::rpc::test {

class RefServerProcess {
 public:
  // Starts the server with `options` added to --tcp PORT; Started() tells whether it listens.
  explicit RefServerProcess(const std::vector<std::string>& options = {});
  bool Started() const { return binding_ != nullptr; }
  std::string Endpoint() const { return server_ != nullptr ? server_->Endpoint() : ""; }
  // Everything the server logged since the previous call (or the start): a marker call is
  // made and its line awaited, so the lines of every call answered before are in.
  std::string LogSinceLastMark();
  // Ends the server at once (SIGKILL), as a crash would; Endpoint() stays as it was.
  void Kill();

 private:
  std::unique_ptr<RefServerChild> server_;
  std::unique_ptr<Binding> binding_;  // the marker calls' own connection
  std::size_t marks_ = 0;
  std::size_t logged_ = 0;  // log offset just past the previous mark's line
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
