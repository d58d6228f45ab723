#pragma once
// One call on the client side: the caller's arguments encoded by the operation's shape into
// request stub data, and the response decoded back into the caller's memory. Nothing is
// written to the caller's memory unless the whole response passed every check.

#include <array>
#include <cstdint>
#include <span>
#include <variant>
#include <vector>

#include "remote/ndr/NdrWriter.h"
#include "remote/stubs/OperationShape.h"

namespace rdx::rpc {

// One argument as the typed stub passes it. Which alternative goes with which ParamKind:
// const char* for kInString and kInData; char* for kInOutString, kOutText and kOutSized;
// std::int32_t for kInLong and kInEnum; std::int8_t for kInSmall; double for kInDouble;
// std::int32_t* for kInOutSize; std::uint8_t* for kOutSized; double* for kInOutDouble.
using ClientArg = std::variant<const char*, char*, std::int32_t, std::int8_t, double, std::int32_t*,
                               std::uint8_t*, double*>;

class ClientCall {
 public:
  // `args` is borrowed for the life of the call, one per parameter of `operation`.
  ClientCall(const OperationShape& operation, std::span<const ClientArg> args) noexcept
      : operation_(operation), args_(args) {}

  // 0, or the status to raise before anything is sent: 1780 for a null pointer argument,
  // 1734 for a negative size, 1766 when the arguments do not fit the shape.
  [[nodiscard]] std::uint32_t EncodeRequest(NdrWriter& request);

  // 0 with the answer stored in the caller's memory and `result` set (a small widened, 0 for
  // an operation without result), or 1783 with the caller's memory untouched. `bigEndian` is
  // the integer order the server declared for the answer.
  [[nodiscard]] std::uint32_t DecodeResponse(std::span<const std::uint8_t> response, bool bigEndian,
                                             std::int32_t& result);

 private:
  const OperationShape& operation_;
  std::span<const ClientArg> args_;
  // What went out, for the checks on the way back: the string room (strlen + 1) of in/out
  // strings and the *size of in/out sizes.
  std::array<std::uint32_t, kMaxParams> sent_{};
};

// Encodes, calls `opnum` of `shape` through the run time, decodes. Returns the result;
// throws RpcException on any failure.
std::int32_t CallOperation(void* binding, const InterfaceShape& shape, std::uint16_t opnum,
                           std::span<const ClientArg> args);

// The typed stubs' entry: CallOperation with the arguments as written in the stub.
template <typename... A>
std::int32_t CallWith(void* binding, const InterfaceShape& shape, std::uint16_t opnum, A... args) {
  const std::array<ClientArg, sizeof...(A)> list{ClientArg(args)...};
  return CallOperation(binding, shape, opnum, list);
}

}  // namespace rdx::rpc
