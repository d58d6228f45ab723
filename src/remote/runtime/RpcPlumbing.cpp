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

bool StartRpcListener(void* interfaceSpec, std::string endpoint, std::string protocolSequence,
                      std::string& errorText, std::int32_t& rpcStatus) {
  try {
    auto& server = rdx::rpc::RpcServer::Process();
    if (const auto status = server.UseEndpoint(protocolSequence, endpoint); status != 0) {
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
    return server.UnregisterInterface(static_cast<rdx::rpc::ServerInterface*>(interfaceSpec)) ==
           0;
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
