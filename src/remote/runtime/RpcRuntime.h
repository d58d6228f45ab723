#pragma once
// The seam between the DCE/RPC run time (transports, PDUs, associations, fragmentation) and
// the interface layer (NDR stubs of each interface, managers, proxies). The run time moves
// stub data, the bytes after a request or response header, and knows nothing of NDR types;
// the interface layer encodes and decodes stub data and knows nothing of PDUs.

#include <array>
#include <cstdint>
#include <exception>
#include <functional>
#include <span>
#include <vector>

#include "platform/os/Win32Error.h"

namespace rdx::rpc {

// An abstract syntax: interface UUID (in its NDR wire order, as it travels in a bind) and
// version.
struct SyntaxId {
  std::array<std::uint8_t, 16> uuid{};
  std::uint16_t versionMajor = 0;
  std::uint16_t versionMinor = 0;
};

// DCE fault statuses, as a fault PDU carries them: those an interface answers with instead of a
// response, and those the run time sends of its own.
inline constexpr std::uint32_t kFaultAccessDenied = 0x00000005;
inline constexpr std::uint32_t kFaultBadStubData = 0x000006f7;     // RPC_X_BAD_STUB_DATA
inline constexpr std::uint32_t kFaultUnspecified = 0x1c000012;     // nca_s_fault_unspec
inline constexpr std::uint32_t kFaultRemoteNoMemory = 0x1c00001b;  // nca_s_fault_remote_no_memory
inline constexpr std::uint32_t kFaultOperationRange = 0x1c010002;  // nca_s_op_rng_error
inline constexpr std::uint32_t kNcaUnknownInterface = 0x1c010003;  // nca_s_unk_if
inline constexpr std::uint32_t kNcaProtocolError = 0x1c01000b;     // nca_s_proto_error

// What the server run time needs of a registered interface. The interface layer implements
// it once per interface; StartRpcListener's `void* interfaceSpec` points at one.
class ServerInterface {
 public:
  virtual ~ServerInterface() = default;
  virtual const SyntaxId& Syntax() const = 0;
  virtual std::uint32_t OperationCount() const = 0;
  // Decodes the request stub data of `opnum` (little-endian NDR unless `bigEndian`), runs the
  // manager and encodes the response stub data into `response`, replacing what it holds.
  // `response` arrives empty or holding only zero bytes: a connection passes the same vector
  // every call, so its storage can be reused, and clears it once the previous answer is
  // sent. Returns 0, or the fault status to send instead (0x1c010002 unknown operation,
  // 0x000006f7 bad stub data, ...). Called concurrently from several connections; must not
  // throw.
  virtual std::uint32_t Dispatch(std::uint16_t opnum, std::span<const std::uint8_t> request,
                                 bool bigEndian, std::vector<std::uint8_t>& response) = 0;
};

// A failed remote call as the caller sees it: a Win32 RPC status (1722, 1745, 1783, ...).
// Constructing one also stores the status as the thread's last error.
class RpcException : public std::exception {
 public:
  explicit RpcException(std::uint32_t status);
  std::uint32_t Status() const noexcept { return status_; }
  const char* what() const noexcept override;

 private:
  std::uint32_t status_;
};

// Makes one call on a binding handle from GetRpcHandle: binds on first use (or alters
// context for a further interface), sends `request` as stub data of `opnum`, fragmenting as
// negotiated, and returns the response stub data, in the integer order the server wrote it
// (little-endian from every server this library meets). Throws RpcException on any failure.
std::vector<std::uint8_t> CallRemote(void* bindingHandle, const SyntaxId& syntax,
                                     std::uint16_t opnum, std::span<const std::uint8_t> request);

// Reads the response stub data of a call where it was received; `bigEndian` is the integer
// order its sender declared (NDR lets the receiver make it right).
using ResponseReader = std::function<void(std::span<const std::uint8_t> response, bool bigEndian)>;

// As above, but hands the response stub data to `read` in place, in the binding's receive
// buffer, instead of copying it out: the view is valid only until `read` returns, and the
// binding takes no other call meanwhile. An exception from `read` passes through.
void CallRemote(void* bindingHandle, const SyntaxId& syntax, std::uint16_t opnum,
                std::span<const std::uint8_t> request, const ResponseReader& read);

}  // namespace rdx::rpc
