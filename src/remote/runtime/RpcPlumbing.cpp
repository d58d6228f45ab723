// The exported RPC plumbing: listener, binding handles, exception frame, status texts.

#include <new>

#include <rdx/platform/SystemInformation.h>
#include <rdx/remote/RpcExceptionFrame.h>
#include <rdx/remote/RpcHandle.h>
#include <rdx/remote/RpcListener.h>
#include <rdx/remote/RpcStatus.h>

#include "platform/os/LastError.h"
#include "remote/runtime/RpcClient.h"
#include "remote/runtime/RpcRuntime.h"
#include "remote/runtime/RpcServer.h"
#include "remote/runtime/StringBinding.h"

namespace QUORVAN::Rendix::GeneralUtilityLib {
namespace {

// The exported names are a second spelling of the codes the run time uses; they must agree.
constexpr bool Same(std::int32_t exported, std::uint32_t internal) {
  return static_cast<std::uint32_t>(exported) == internal;
}
static_assert(Same(RPC_S_INVALID_STRING_BINDING, rdx::os::kRpcInvalidStringBinding) &&
              Same(RPC_S_INVALID_BINDING, rdx::os::kRpcInvalidBinding) &&
              Same(RPC_S_PROTSEQ_NOT_SUPPORTED, rdx::os::kRpcProtocolNotSupported) &&
              Same(RPC_S_INVALID_RPC_PROTSEQ, rdx::os::kRpcInvalidProtocol) &&
              Same(RPC_S_INVALID_STRING_UUID, rdx::os::kRpcInvalidUuid) &&
              Same(RPC_S_INVALID_ENDPOINT_FORMAT, rdx::os::kRpcInvalidEndpointFormat) &&
              Same(RPC_S_ALREADY_LISTENING, rdx::os::kRpcAlreadyListening) &&
              Same(RPC_S_NOT_LISTENING, rdx::os::kRpcNotListening) &&
              Same(RPC_S_UNKNOWN_IF, rdx::os::kRpcUnknownInterface) &&
              Same(RPC_S_CANT_CREATE_ENDPOINT, rdx::os::kRpcCantCreateEndpoint) &&
              Same(RPC_S_SERVER_UNAVAILABLE, rdx::os::kRpcServerUnavailable) &&
              Same(RPC_S_SERVER_TOO_BUSY, rdx::os::kRpcServerTooBusy) &&
              Same(RPC_S_CALL_FAILED, rdx::os::kRpcCallFailed) &&
              Same(RPC_S_CALL_FAILED_DNE, rdx::os::kRpcCallFailedDidNotExecute) &&
              Same(RPC_S_PROTOCOL_ERROR, rdx::os::kRpcProtocolError) &&
              Same(RPC_S_UNSUPPORTED_TRANS_SYN, rdx::os::kRpcUnsupportedTransferSyntax) &&
              Same(RPC_S_INVALID_BOUND, rdx::os::kRpcInvalidBound) &&
              Same(RPC_S_DUPLICATE_ENDPOINT, rdx::os::kRpcDuplicateEndpoint) &&
              Same(RPC_S_PROCNUM_OUT_OF_RANGE, rdx::os::kRpcProcedureOutOfRange) &&
              Same(EPT_S_NOT_REGISTERED, rdx::os::kRpcNoEndpointMapper) &&
              Same(RPC_X_NULL_REF_POINTER, rdx::os::kRpcNullRefPointer) &&
              Same(RPC_X_ENUM_VALUE_OUT_OF_RANGE, rdx::os::kRpcEnumValueOutOfRange) &&
              Same(RPC_X_BAD_STUB_DATA, rdx::os::kRpcBadStubData) &&
              Same(RPC_S_ACCESS_DENIED, rdx::os::kErrorAccessDenied) &&
              Same(RPC_S_OUT_OF_MEMORY, rdx::os::kErrorOutOfMemory));

// Also used after a throw, so it throws nothing itself: the status is kept even when its text
// cannot be.
bool Failed(std::uint32_t status, std::string& errorText, std::int32_t& rpcStatus) noexcept {
  rpcStatus = static_cast<std::int32_t>(status);
  try {
    errorText = GetLastErrorText(static_cast<std::int32_t>(status));
  } catch (...) {
    errorText.clear();
  }
  return false;
}

std::string Text(const unsigned char* text) {
  return text == nullptr ? std::string() : std::string(reinterpret_cast<const char*>(text));
}

}  // namespace

// NOLINTNEXTLINE(performance-unnecessary-value-param): exported signature
bool StartRpcListener(void* interfaceSpec, std::string endpoint, std::string protocolSequence,
                      std::string& errorText, std::int32_t& rpcStatus) {
  try {
    auto& server = rdx::rpc::RpcServer::Process();
    std::uint32_t socketCode = 0;
    if (const auto status = server.UseEndpoint(protocolSequence, endpoint, &socketCode);
        status != 0) {
      // Why the socket could not listen (10048 when the endpoint is taken) stays readable.
      if (socketCode != 0) rdx::os::SetLastError(socketCode);
      return Failed(status, errorText, rpcStatus);
    }
    if (interfaceSpec == nullptr) return Failed(RPC_S_UNKNOWN_IF, errorText, rpcStatus);
    server.RegisterInterface(static_cast<rdx::rpc::ServerInterface*>(interfaceSpec));
    if (const auto status = server.Listen(); status != 0) {
      return Failed(status, errorText, rpcStatus);
    }
    return true;
  } catch (...) {
    // What can throw here is an allocation or the start of a listening thread: both a want
    // of resources, which the caller still gets as a status and its text.
    return Failed(RPC_S_OUT_OF_MEMORY, errorText, rpcStatus);
  }
}

bool StopRpcListener(void* interfaceSpec, std::string& /*errorText*/) {
  try {
    auto& server = rdx::rpc::RpcServer::Process();
    if (server.StopListening() != 0) return false;
    return server.UnregisterInterface(static_cast<rdx::rpc::ServerInterface*>(interfaceSpec)) == 0;
  } catch (...) {
    return false;
  }
}

void* GetRpcHandle(unsigned char* networkAddress, unsigned char* endpoint,
                   unsigned char* protocolSequence, std::string& /*errorText*/) {
  try {
    rdx::rpc::StringBindingParts parts;
    parts.protocolSequence = Text(protocolSequence);
    parts.networkAddress = Text(networkAddress);
    parts.endpoint = Text(endpoint);
    std::string binding;
    if (rdx::rpc::ComposeStringBinding(parts, binding) != 0) return nullptr;
    void* handle = nullptr;
    if (rdx::rpc::BindingFromStringBinding(binding, handle) != 0) {
      if (handle != nullptr) rdx::rpc::FreeBinding(handle);
      return nullptr;
    }
    return handle;
  } catch (...) {
    return nullptr;
  }
}

bool FreeRpcHandle(void*& bindingHandle) {
  try {
    return rdx::rpc::FreeBinding(bindingHandle) == 0;
  } catch (...) {
    return false;
  }
}

std::int32_t RunInRpcExceptionFrame(const std::function<void()>& call) noexcept {
  try {
    call();
    return 0;
  } catch (const rdx::rpc::RpcException& e) {
    rdx::os::SetLastError(e.Status());
    return static_cast<std::int32_t>(e.Status());
  } catch (const std::bad_alloc&) {
    rdx::os::SetLastError(RPC_S_OUT_OF_MEMORY);
    return RPC_S_OUT_OF_MEMORY;
  } catch (...) {
    rdx::os::SetLastError(RPC_S_CALL_FAILED);
    return RPC_S_CALL_FAILED;
  }
}

void RaiseRpcException(std::int32_t status) {
  throw rdx::rpc::RpcException(static_cast<std::uint32_t>(status));
}

}  // namespace QUORVAN::Rendix::GeneralUtilityLib
