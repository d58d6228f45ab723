#pragma once
// String bindings ("[uuid@]protseq:[address][endpoint,options]") and the endpoint forms of
// the two protocol sequences we speak.

#include <cstdint>
#include <string>

namespace rdx::rpc {

inline constexpr const char* kTcpProtocol = "ncacn_ip_tcp";
inline constexpr const char* kPipeProtocol = "ncacn_np";

struct StringBindingParts {
  std::string objectUuid;
  std::string protocolSequence;
  std::string networkAddress;
  std::string endpoint;
  std::string options;
};

// Composes a string binding, escaping \ @ : [ ] inside each part. 1705 for an object UUID
// that is not plain hyphenated hex, else 0.
std::uint32_t ComposeStringBinding(const StringBindingParts& parts, std::string& binding);
// Parses one back, removing one level of escaping and an "endpoint=" prefix. 1700 when
// malformed, 1705 for a bad object UUID, else 0.
std::uint32_t ParseStringBinding(const std::string& binding, StringBindingParts& parts);

// 0 for the two protocol sequences we speak, 1703 for other well-formed names, 1704 for
// names that cannot be a protocol sequence.
std::uint32_t CheckProtocolSequence(const std::string& protocolSequence);

// The protocol sequence a client uses for `endpoint`: "ncacn_np" when it contains "\\pipe" or
// "/pipe" (case as written, so "\\PIPE\\x" still goes over TCP), else "ncacn_ip_tcp".
const char* ProtocolSequenceFor(const std::string& endpoint);

// The port of a TCP endpoint: decimal 1-65535; false otherwise.
bool ParseTcpEndpoint(const std::string& endpoint, std::uint16_t& port);
// The socket file of a pipe endpoint \pipe\NAME (either slash, "pipe" in any case). Pipe
// names compare without regard to ASCII case, so the file name is NAME in lower case.
bool PipeSocketPath(const std::string& endpoint, std::string& path);

}  // namespace rdx::rpc
