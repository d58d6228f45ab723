// Until the run time lands on this branch: CallRemote dispatches in process, the binding
// handle being the StubTestServer itself, so the stubs can be exercised end to end.

#include <string>

#include "StubTestServer.h"
#include "platform/os/LastError.h"
#include "remote/runtime/RpcRuntime.h"

namespace rdx::rpc {

RpcException::RpcException(std::uint32_t status) : status_(status) {
  rdx::os::SetLastError(status);
}

const char* RpcException::what() const noexcept { return "RPC exception"; }

std::vector<std::uint8_t> CallRemote(void* bindingHandle, const SyntaxId& syntax,
                                     std::uint16_t opnum,
                                     std::span<const std::uint8_t> request) {
  if (bindingHandle == nullptr) throw RpcException(1702);
  ServerInterface* server = nullptr;
  for (ServerInterface* candidate : static_cast<test::StubTestServer*>(bindingHandle)->Interfaces()) {
    if (candidate->Syntax().uuid == syntax.uuid) server = candidate;
  }
  if (server == nullptr) throw RpcException(1717);
  std::vector<std::uint8_t> response;
  const std::uint32_t status = server->Dispatch(opnum, request, false, response);
  if (status == 0x1c010002) throw RpcException(1745);
  if (status == 0x000006f7) throw RpcException(1783);
  if (status != 0) throw RpcException(status);
  return response;
}

}  // namespace rdx::rpc
