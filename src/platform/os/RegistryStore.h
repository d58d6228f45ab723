#pragma once
// The machine registry as a tree of folders: a key path such as "SOFTWARE\QUORVAN\Rendix" is a
// folder under the store's root, and a key's values are "Name=Value" lines in its file
// "values". Key and value names match without regard to ASCII case, as registry names do;
// blanks around a name are ignored, the value is every byte after the first "=".

#include <cstdint>
#include <string>
#include <utility>
#include <vector>

namespace rdx::os {

// Where the store lives: $RDX_REGISTRY_ROOT, else /etc/quorvan/registry.
std::string RegistryRoot();

struct RegistryRead {
  std::uint32_t code = 0;  // Win32 code: 0, 2 key or value missing, 5 access denied, 234 too long
  std::string value;       // the text up to its first NUL when code is 0
};

// Largest "values" file read; a longer file reads as access denied rather than being loaded.
inline constexpr std::size_t kMaxRegistryFileBytes = 1 << 20;

// Finds the folder of `keyPath` (separators "\" or "/") under `root`, names matched without
// case. code 2 when a level is missing, 5 when a level cannot be listed.
[[nodiscard]] RegistryRead FindRegistryKey(const std::string& root, const std::string& keyPath);

// Looks `valueName` up in the "values" text of a key. `capacity` is the caller's buffer
// including its NUL: a longer value gives 234, as a registry query into a short buffer does.
[[nodiscard]] RegistryRead FindRegistryValue(const std::string& valuesText,
                                             const std::string& valueName, std::size_t capacity);

// Both steps on this machine's store: open the key, read its "values" file, find the value.
[[nodiscard]] RegistryRead ReadRegistryValue(const std::string& root, const std::string& keyPath,
                                             const std::string& valueName, std::size_t capacity);

// Sets `valueName` of `keyPath` to `value`, creating missing key levels (existing levels are
// matched without case). The first line of that name is replaced, else one is appended; the
// file is replaced whole, so readers see the old or the new values. 0, 87 for an empty name,
// a name holding "=" or a line break, or a value holding a line break; else the failing
// step's code.
[[nodiscard]] std::uint32_t WriteRegistryValue(const std::string& root, const std::string& keyPath,
                                               const std::string& valueName,
                                               const std::string& value);

struct RegistryListing {
  std::uint32_t code = 0;                                   // as RegistryRead
  std::vector<std::string> subkeys;                         // sorted by name
  std::vector<std::pair<std::string, std::string>> values;  // in file order, first of a name
};

// The subkeys and values of `keyPath`; code 2 when the key is missing.
[[nodiscard]] RegistryListing ListRegistryKey(const std::string& root, const std::string& keyPath);

}  // namespace rdx::os
