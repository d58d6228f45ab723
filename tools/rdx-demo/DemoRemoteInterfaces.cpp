// Remote interfaces: a provider process publishes the service-provider interface with a
// manager of its own, serves, and withdraws it.
#include "DemoSection.h"

#include <rdx/remote/IServiceProviderManager.h>
#include <rdx/remote/RpcListener.h>

#include <cstdio>
#include <cstring>
#include <string>

namespace {

namespace gul = QUORVAN::Rendix::GeneralUtilityLib;
namespace sp = QUORVAN::Rendix::ServiceProvider;

// Answers the operations a provider is pinged and asked about; every other operation keeps
// the failing default.
class DemoProvider : public sp::IServiceProviderManager {
 public:
  std::int8_t Ping() override { return 1; }
  std::int32_t GetInfo(const char* infoKind, std::int32_t n, char* text, std::string&) override {
    const std::string info = std::string("<Info kind=\"") + infoKind + "\"/>";
    const auto needed = static_cast<std::int32_t>(info.size() + 1);
    if (needed > n) return needed;  // the caller asks again with this size
    std::memcpy(text, info.c_str(), info.size() + 1);
    return 0;
  }
};

void Run() {
  DemoProvider provider;
  void* interfaceSpec = sp::CreateServiceProviderInterfaceSpec(&provider);
  std::string errorText;
  std::int32_t status = 0;
  const bool started = gul::StartRpcListener(interfaceSpec, "\\pipe\\rdx-demo-provider", "ncacn_np",
                                             errorText, status);
  std::printf("service-provider interface on \\pipe\\rdx-demo-provider: %s\n",
              started ? "serving" : errorText.c_str());
  std::printf("withdrawn: %s\n", gul::StopRpcListener(interfaceSpec, errorText) ? "yes" : "no");
  sp::DestroyServiceProviderInterfaceSpec(interfaceSpec);
}

const bool kRegistered = rdx::demo::RegisterSection(410, "Remote interfaces", Run);

}  // namespace
