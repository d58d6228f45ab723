#pragma once
// One call on the server side: the request stub data decoded by an operation's shape into
// the arguments a manager member takes, and the answer encoded from what the member left in
// them. The per-interface invokers read the arguments through the typed accessors below.

#include <array>
#include <cstddef>
#include <cstdint>
#include <span>
#include <string>
#include <vector>

#include "remote/ndr/NdrWriter.h"
#include "remote/runtime/RpcRuntime.h"
#include "remote/stubs/OperationShape.h"

namespace rdx::rpc {

class NdrReader;

class ServerCall {
 public:
  // `answer` is borrowed: the answer is built in it, and a large storage it already has (the
  // connection's answer to its previous call) is used again rather than allocated anew.
  ServerCall(const OperationShape& operation, std::vector<std::uint8_t>& answer) noexcept
      : operation_(&operation), answer_(answer) {}

  // Decodes `request` with every robust check; 0, kFaultBadStubData, or kFaultRemoteNoMemory
  // when an out-buffer cannot be had. `request` must outlive the call: in-strings are handed
  // to the manager in place.
  [[nodiscard]] std::uint32_t Decode(std::span<const std::uint8_t> request, bool bigEndian);

  // Writes the response into the borrowed answer: the out and in/out arguments in declaration
  // order, then `result`. In/out strings longer than what came in are cut, sizes are held to
  // what came in, so the caller's memory can always take the answer. Call once, last.
  void Encode(std::int32_t result);

  // Typed access by parameter index; a kind that does not match the shape throws
  // std::logic_error (the dispatcher answers it with a fault).
  const char* In(std::size_t index) const;     // kInString
  std::string& InOut(std::size_t index);       // kInOutString
  std::int32_t Long(std::size_t index) const;  // kInLong
  std::int8_t Small(std::size_t index) const;  // kInSmall
  double Real(std::size_t index) const;        // kInDouble
  std::int32_t Enum(std::size_t index) const;  // kInEnum
  const char* Data(std::size_t index) const;   // kInData
  char* Text(std::size_t index);               // kOutText, or kOutSized as characters
  std::uint8_t* Bytes(std::size_t index);      // kOutSized
  std::int32_t& Size(std::size_t index);       // kInOutSize
  double& RealRef(std::size_t index);          // kInOutDouble

 private:
  struct Arg {
    const char* view = nullptr;  // in-string (inside the request) or in-data (in text)
    std::string text;            // in/out string as the manager sees it; in-data bytes
    std::size_t capacity = 0;    // in/out string: bytes that came in, NUL included
    std::int32_t value = 0;      // long, small, enum, in/out size
    std::int32_t received = 0;   // in/out size as it came in
    double real = 0;
    std::vector<std::uint8_t> buffer;  // a second out-array's bytes, zero-filled
  };

  std::size_t LargestPrefix(std::size_t index) const;
  std::span<std::uint8_t> OutArray(std::size_t index);
  void EncodeParam(std::size_t index, NdrWriter& writer) const;
  std::int32_t OutgoingSize(std::size_t index) const;
  std::size_t OutgoingCount(std::size_t index) const;
  Arg& Checked(std::size_t index, ParamKind kind);
  const Arg& Checked(std::size_t index, ParamKind kind) const;
  [[nodiscard]] std::uint32_t DecodeOne(std::size_t index, NdrReader& reader);
  [[nodiscard]] std::uint32_t CheckCorrelations();

  const OperationShape* operation_;
  std::array<Arg, kMaxParams> args_;
  // The answer under construction: room up to answerOffset_, then the bytes of the first
  // out-array (parameter answerParam_, kMaxParams when there is none), which the manager
  // fills in place. The real head is written in front of them once its size is known.
  std::vector<std::uint8_t>& answer_;
  std::size_t requestSize_ = 0;
  std::size_t answerParam_ = kMaxParams;
  std::size_t answerOffset_ = 0;
};

}  // namespace rdx::rpc
