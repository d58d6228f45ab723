#include "remote/stubs/StubServerInterface.h"

#include <new>

namespace rdx::rpc {

std::uint32_t StubServerInterface::Dispatch(std::uint16_t opnum,
                                            std::span<const std::uint8_t> request, bool bigEndian,
                                            std::vector<std::uint8_t>& response) {
  if (opnum >= shape_.operations.size()) return kFaultOperationRange;
  try {
    ServerCall call(shape_.operations[opnum], response);
    if (const std::uint32_t status = call.Decode(request, bigEndian); status != 0) {
      return status;  // the manager is not entered
    }
    const std::int32_t result = invoker_(manager_, opnum, call);
    call.Encode(result);
    return 0;
  } catch (const RpcException& e) {
    // A manager may fail a call with a Win32 status of its own; 0 is no fault status.
    return e.Status() != 0 ? e.Status() : kFaultUnspecified;
  } catch (const std::bad_alloc&) {
    return kFaultRemoteNoMemory;
  } catch (...) {
    return kFaultUnspecified;
  }
}

void* NewInterfaceSpec(const InterfaceShape& shape, void* manager, Invoker invoker) noexcept {
  if (manager == nullptr) return nullptr;
  ServerInterface* interfaceSpec = new (std::nothrow) StubServerInterface(shape, manager, invoker);
  return interfaceSpec;
}

void DeleteInterfaceSpec(void* interfaceSpec) noexcept {
  delete static_cast<ServerInterface*>(interfaceSpec);
}

}  // namespace rdx::rpc
