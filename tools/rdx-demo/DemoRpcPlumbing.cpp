// RPC plumbing: binding handles, a refused endpoint with its status text, the exception frame.
#include "DemoSection.h"

#include <rdx/platform/SystemInformation.h>
#include <rdx/remote/RpcExceptionFrame.h>
#include <rdx/remote/RpcHandle.h>
#include <rdx/remote/RpcListener.h>
#include <rdx/remote/RpcStatus.h>

#include <cstdio>
#include <string>

namespace {

namespace gul = QUORVAN::Rendix::GeneralUtilityLib;

void* Handle(std::string host, std::string endpoint, std::string protocol) {
  std::string unused;
  return gul::GetRpcHandle(reinterpret_cast<unsigned char*>(host.data()),
                           reinterpret_cast<unsigned char*>(endpoint.data()),
                           reinterpret_cast<unsigned char*>(protocol.data()), unused);
}

void Run() {
  // Making a handle contacts nobody: an unknown host is only found out by the first call.
  void* handle = Handle("no-such-host.invalid", "3982", "ncacn_ip_tcp");
  std::printf("handle for an unknown host: %s\n", handle != nullptr ? "made" : "null");
  gul::FreeRpcHandle(handle);
  void* udp = Handle("localhost", "3982", "ncadg_ip_udp");
  std::printf("handle over ncadg_ip_udp: %s\n", udp != nullptr ? "made" : "null");

  std::string errorText;
  std::int32_t status = 0;
  const bool started = gul::StartRpcListener(nullptr, "70000", "ncacn_ip_tcp", errorText, status);
  std::printf("listen on port 70000: %s, status %d \"%s\"\n", started ? "yes" : "no", status,
              errorText.c_str());

  const std::int32_t raised =
      gul::RunInRpcExceptionFrame([] { gul::RaiseRpcException(gul::RPC_S_SERVER_UNAVAILABLE); });
  std::printf("exception frame caught %d \"%s\"\n", raised, gul::GetLastErrorText(raised).c_str());
  for (const std::int32_t code : {gul::RPC_S_PROCNUM_OUT_OF_RANGE, gul::RPC_S_UNKNOWN_IF}) {
    std::printf("%d: %s\n", code, gul::GetLastErrorText(code).c_str());
  }
}

const bool kRegistered = rdx::demo::RegisterSection(400, "RPC plumbing", Run);

}  // namespace
