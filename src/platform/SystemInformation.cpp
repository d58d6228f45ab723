// Host, user, registry, error-text, UUID and digest utilities.
#include <rdx/platform/SystemInformation.h>

#include <rdx/foundation/StringUtility.h>

#include "platform/PlatformText.h"
#include "platform/os/FileSystem.h"
#include "platform/os/HostInfo.h"
#include "platform/os/LastError.h"
#include "platform/os/RegistryStore.h"

#include <openssl/evp.h>

#include <cstdlib>
#include <cstring>
#include <memory>

namespace QUORVAN::Rendix::GeneralUtilityLib {
namespace {

std::string VersionOrDefault(const std::string& version) {
  return version.empty() ? "0.0.0.0" : version;
}

}  // namespace

std::string GetHostName() {
  try {
    return rdx::os::HostName();
  } catch (...) {
    return "";
  }
}

std::string GetFullyQualifiedDomainName() {
  try {
    return rdx::os::CanonicalHostName();
  } catch (...) {
    return "";
  }
}

std::string GetIPAddress() {
  try {
    return rdx::os::FirstAddressOf(rdx::os::HostName());
  } catch (...) {
    return "";
  }
}

bool ValidateThisHostname(const std::string& /*host*/, std::string& /*errorText*/) { return true; }

std::string GetTheUserName() {
  try {
    return rdx::os::UserName();
  } catch (...) {
    return "";
  }
}

std::string GetRegistryValue(const std::string& keyPath, const std::string& valueName) {
  try {
    const rdx::os::RegistryRead read =
        rdx::os::ReadRegistryValue(rdx::os::RegistryRoot(), keyPath, valueName, 512);
    return read.code == 0 ? read.value : std::string();
  } catch (...) {
    return "";
  }
}

std::int32_t SetRegistryValue(const std::string& keyPath, const std::string& valueName,
                              const std::string& value) {
  try {
    return static_cast<std::int32_t>(
        rdx::os::WriteRegistryValue(rdx::os::RegistryRoot(), keyPath, valueName, value));
  } catch (...) {
    return 14;  // only an allocation can throw here
  }
}

std::int32_t ListRegistryKey(const std::string& keyPath, std::vector<std::string>& subkeys,
                             std::vector<std::pair<std::string, std::string>>& values) {
  try {
    rdx::os::RegistryListing listing = rdx::os::ListRegistryKey(rdx::os::RegistryRoot(), keyPath);
    if (listing.code == 0) {
      subkeys = std::move(listing.subkeys);
      values = std::move(listing.values);
    }
    return static_cast<std::int32_t>(listing.code);
  } catch (...) {
    return 14;
  }
}

std::string GetRendixProductVersion() {
  try {
    return VersionOrDefault(rdx::platform::ProductValue("Version"));
  } catch (...) {
    return "0.0.0.0";
  }
}

std::string GetRendixClientVersion() {
  try {
    return VersionOrDefault(rdx::platform::ProductValue("ClientVersion"));
  } catch (...) {
    return "0.0.0.0";
  }
}

std::uint64_t getAvailableSpace(const std::string& path, Status& /*status*/) {
  constexpr std::uint64_t kUnknown = 0xFFFFFFFFFFFFFFFFull;
  try {
    // The folder part: everything up to and including the last separator of either kind.
    // Not splitPath: that cuts paths at 260 bytes, and paths here may run far longer.
    const std::size_t last = path.find_last_of("\\/");
    if (last == std::string::npos) return kUnknown;
    const std::string folder = rdx::platform::ForwardSlashes(path.substr(0, last + 1));
    const rdx::os::OsResult<std::uint64_t> free = rdx::os::AvailableBytes(folder);
    if (free.ok()) return free.value;
    rdx::os::SetLastError(free.code);  // as a failed free-space query leaves it
    return kUnknown;
  } catch (...) {
    return kUnknown;
  }
}

std::string CreateUUID() {
  try {
    return rdx::os::NewUuidText();
  } catch (...) {
    return "";
  }
}

std::string GetLastErrorText(std::int32_t code) {
  try {
    return chopSpaces(rdx::os::Win32ErrorText(static_cast<std::uint32_t>(code)));
  } catch (...) {
    return "";
  }
}

std::string GetErrorString() {
  const std::uint32_t code = rdx::os::GetLastError();
  if (code == 0) return "";
  return GetLastErrorText(static_cast<std::int32_t>(code));
}

void make_hash(const char* text, unsigned char** digest, std::int32_t* digestLength) {
  if (text == nullptr || digest == nullptr || digestLength == nullptr) return;
  std::unique_ptr<EVP_MD_CTX, decltype(&EVP_MD_CTX_free)> context(EVP_MD_CTX_new(),
                                                                  &EVP_MD_CTX_free);
  unsigned char value[EVP_MAX_MD_SIZE];
  unsigned int length = 0;
  // The terminating NUL is hashed too, so digests match those already stored by the product.
  if (!context || EVP_DigestInit_ex(context.get(), EVP_md5(), nullptr) != 1 ||
      EVP_DigestUpdate(context.get(), text, std::strlen(text) + 1) != 1 ||
      EVP_DigestFinal_ex(context.get(), value, &length) != 1) {
    rdx::os::SetLastError(rdx::os::kErrorInvalidParameter);
    return;
  }
  auto* buffer = static_cast<unsigned char*>(std::malloc(length));
  if (buffer == nullptr) return;
  std::memcpy(buffer, value, length);
  *digest = buffer;
  *digestLength = static_cast<std::int32_t>(length);
}

void destroy_hash(unsigned char** digest) {
  if (digest != nullptr && *digest != nullptr) std::free(*digest);
}

std::string GetRDXApplicationName() {
  try {
    const std::string path = rdx::os::ExecutablePath();
    const std::size_t last = path.find_last_of('/');
    return last == std::string::npos ? path : path.substr(last + 1);
  } catch (...) {
    return "";
  }
}

}  // namespace QUORVAN::Rendix::GeneralUtilityLib
