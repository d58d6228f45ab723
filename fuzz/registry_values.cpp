// The registry store's "values" files and /proc status texts come from outside the process:
// neither parser may crash, read out of bounds or return more than it was given.
#include "platform/os/HostInfo.h"
#include "platform/os/RegistryStore.h"

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string text(reinterpret_cast<const char*>(data), size);
  for (const char* name : {"Version", "CommonHome", "", "="}) {
    const rdx::os::RegistryRead read = rdx::os::FindRegistryValue(text, name, 512);
    if (read.code == 0 && read.value.size() >= 512) std::abort();
  }
  const auto memory = rdx::os::ParseProcessStatus(text);
  (void)memory;
  return 0;
}
