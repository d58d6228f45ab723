#include "remote/proxies/ProviderCall.h"

#include <rdx/foundation/StringUtility.h>
#include <rdx/platform/SystemInformation.h>
#include <rdx/remote/RpcHandle.h>

namespace rdx::remote {

namespace gul = QUORVAN::Rendix::GeneralUtilityLib;

void* ProviderHandle(const std::string& host, const std::string& endpoint) {
  // GetRpcHandle takes writable C strings and never writes them: copies keep ours const.
  std::string network = host, port = endpoint, protocol = kProviderProtocol;
  std::string ignored;
  return gul::GetRpcHandle(reinterpret_cast<unsigned char*>(network.data()),
                           reinterpret_cast<unsigned char*>(port.data()),
                           reinterpret_cast<unsigned char*>(protocol.data()), ignored);
}

void AppendRefusal(gul::Status& status, std::int32_t id, const char* errorText,
                   std::int32_t result) {
  const std::size_t before = status.items.size();
  status.Append(std::string(errorText));
  if (status.items.size() == before) {
    status.Append(
        id,
        gul::StringUtility::printToString("The service provider answered %d without an error text.",
                                          static_cast<int>(result)),
        "", "");
  }
}

void AppendCallFailure(gul::Status& status, std::int32_t id) {
  status.Append(id, gul::GetErrorString(), "", "");
}

void AppendUnknownFailure(gul::Status& status, std::int32_t id, const char* where) {
  status.Append(id, gul::StringUtility::printToString(kUnknownFatalError, where), "", "");
}

}  // namespace rdx::remote
