#pragma once
// Helpers for stub tests: hex listings, arguments built from their text by an operation's
// shape, and the argument lists of both sides written out as text for comparison.

#include <cstdint>
#include <deque>
#include <string>
#include <vector>

#include "remote/stubs/ClientCall.h"
#include "remote/stubs/ServerCall.h"

namespace rdx::rpc::test {

// "05 00 0b" -> bytes; whitespace is ignored.
std::vector<std::uint8_t> Hex(const std::string& listing);
std::string ToHex(const std::vector<std::uint8_t>& bytes);

// A client argument list for `op` from one text per parameter: strings as written, numbers
// in decimal. Out buffers get the size their size parameter names, filled with '?'.
struct ClientArgs {
  ClientArgs(const rpc::OperationShape& op, const std::vector<std::string>& values);
  // The in/out and out arguments after the call, "|" between them, then the result.
  std::string Describe(std::int32_t result) const;

  const rpc::OperationShape& op;
  std::vector<rpc::ClientArg> args;
  std::deque<std::string> buffers;
  std::vector<std::int32_t> sizes = std::vector<std::int32_t>(rpc::kMaxParams);
  std::vector<double> reals = std::vector<double>(rpc::kMaxParams);
};

// The in and in/out arguments a server call received, "," between them.
std::string DescribeServerCall(const rpc::OperationShape& op, rpc::ServerCall& call);

}  // namespace rdx::rpc::test
