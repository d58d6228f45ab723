#pragma once
// The server stub of one interface: what the run time dispatches calls to. It checks the
// operation number, decodes the request by the operation's shape, hands the arguments to an
// invoker that calls the manager, and encodes the answer.

#include <cstdint>
#include <memory>
#include <span>
#include <vector>

#include "remote/runtime/RpcRuntime.h"
#include "remote/stubs/OperationShape.h"
#include "remote/stubs/ServerCall.h"

namespace rdx::rpc {

// Calls the manager member of `opnum` with the arguments in `call`; returns its result
// (a small widened, 0 for an operation without result). May throw: the dispatcher turns
// an escaping exception into a fault.
using Invoker = std::int32_t (*)(void* manager, std::uint16_t opnum, ServerCall& call);

class StubServerInterface final : public ServerInterface {
 public:
  // `manager` is borrowed and must outlive this object.
  StubServerInterface(const InterfaceShape& shape, void* manager, Invoker invoker) noexcept
      : shape_(shape), manager_(manager), invoker_(invoker) {}

  const SyntaxId& Syntax() const override { return shape_.syntax; }
  std::uint32_t OperationCount() const override {
    return static_cast<std::uint32_t>(shape_.operations.size());
  }
  std::uint32_t Dispatch(std::uint16_t opnum, std::span<const std::uint8_t> request, bool bigEndian,
                         std::vector<std::uint8_t>& response) override;

 private:
  const InterfaceShape& shape_;
  void* manager_;
  Invoker invoker_;
};

// What the exported factories hand a host to register with StartRpcListener: a new stub for
// `manager`, or null without a manager or memory. The host frees it with DeleteInterfaceSpec.
void* NewInterfaceSpec(const InterfaceShape& shape, void* manager, Invoker invoker) noexcept;
void DeleteInterfaceSpec(void* interfaceSpec) noexcept;

}  // namespace rdx::rpc
