// This machine's facts and the product's folders, then image buffers from the pool.
#include "DemoSection.h"

#include <rdx/RDXGlobalLib.h>

#include <cstdio>
#include <cstring>
#include <vector>

namespace {

namespace gul = QUORVAN::Rendix::GeneralUtilityLib;
using QUORVAN::Rendix::Global::IBufferAllocator;

void ShowMachine() {
  std::printf("host name      : %s\n", gul::GetHostName().c_str());
  std::printf("FQDN           : %s\n", gul::GetFullyQualifiedDomainName().c_str());
  std::printf("IP address     : %s\n", gul::GetIPAddress().c_str());
  std::printf("user           : %s\n", gul::GetTheUserName().c_str());
  std::printf("program        : %s\n", gul::GetRDXApplicationName().c_str());
  std::printf("product version: %s (client %s)\n", gul::GetRendixProductVersion().c_str(),
              gul::GetRendixClientVersion().c_str());
  std::printf("common files   : %s\n", gul::GetMachineCommonFilesFolder().c_str());
  std::printf("new UUID       : %s\n", gul::CreateUUID().c_str());
  std::size_t workingSet = 0;
  std::size_t privateBytes = 0;
  GetCurrentMemoryUsage(nullptr, &workingSet, &privateBytes);
  std::printf("memory         : %zu bytes resident, %zu private\n", workingSet, privateBytes);

  std::puts("special folders:");
  for (int value = 0; value <= 20; ++value) {
    const auto folder = static_cast<gul::SpecialFolderPath::SpecialFolder>(value);
    std::printf("  %2d %s\n", value, gul::GetSpecialFolderPath(folder).c_str());
  }
}

void ShowBufferPool() {
  // Two 8 MiB tiles and one 20 MiB strip, as an image service would take them.
  IBufferAllocator* pool = GetGlobalBufferAllocator();
  const std::uint32_t sizes[] = {8u << 20, 8u << 20, 20u << 20};
  std::vector<void*> buffers;
  for (std::uint32_t size : sizes) {
    void* buffer = pool->Alloc(size);
    if (buffer != nullptr) std::memset(buffer, 0x7F, size);
    buffers.push_back(buffer);
  }
  pool->Free(buffers[1]);
  std::puts("pool after three Alloc calls and one Free:");
  std::puts(pool->ToString().c_str());
  pool->Free(buffers[0]);
  pool->Free(buffers[2]);
  DestroyGlobalBufferAllocator();
}

const bool kRegistered =
    rdx::demo::RegisterSection(300, "Platform: this machine and the buffer pool", [] {
      ShowMachine();
      ShowBufferPool();
    });

}  // namespace
