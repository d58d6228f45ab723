// Reads arbitrary bytes as a NameValueMap flat block, then writes the result and reads it back.
// Catches reads past the block (the bytes are copied to a buffer of exactly their size) and a
// written block whose size disagrees with what was asked for.
#include <rdx/foundation/NameValueMap.h>

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <memory>

using QUORVAN::Rendix::Global::NameValueMap;

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  if (size > (1u << 20)) return 0;
  auto exact = std::make_unique<std::uint8_t[]>(size);
  if (size) std::memcpy(exact.get(), data, size);
  NameValueMap map;
  if (map.Load(static_cast<std::uint32_t>(size), exact.get()) != 1) __builtin_trap();

  std::uint32_t needed = 0;
  if (map.Save(&needed, nullptr) != 0) __builtin_trap();
  if (map.empty()) return 0;
  auto block = std::make_unique<std::uint8_t[]>(needed);
  std::uint32_t capacity = needed;
  if (map.Save(&capacity, block.get()) != 1 || capacity != needed) __builtin_trap();
  NameValueMap again;
  if (again.Load(needed, block.get()) != 1 || again.size() > map.size()) __builtin_trap();
  return 0;
}
