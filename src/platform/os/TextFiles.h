#pragma once
// Small text files (unit files) read, replaced whole and removed. Results are Win32 codes; the
// thread's last error is left to the caller.

#include <cstdint>
#include <string>

namespace rdx::os {

// Reads at most `maxBytes` of a regular file: 0, or 2 missing, 5 denied, 3 bad folder, ...
[[nodiscard]] std::uint32_t ReadTextFile(const std::string& path, std::size_t maxBytes,
                                         std::string& text);
// Replaces `path` with `text` (mode 0644) through a temporary file in the same folder and a
// rename, so readers see the old or the new file, never a part; on failure nothing is left
// behind. 0 or the code of the failing step (5 read-only or denied, 3 no such folder, ...).
[[nodiscard]] std::uint32_t ReplaceTextFile(const std::string& path, const std::string& text);
// Removes a file: 0, or 2 when it did not exist, or the failure's code.
[[nodiscard]] std::uint32_t RemoveFile(const std::string& path);

}  // namespace rdx::os
