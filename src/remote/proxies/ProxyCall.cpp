#include "remote/proxies/ProxyCall.h"

#include <algorithm>

#include "remote/ndr/NdrReader.h"

namespace rdx::rpc {

std::vector<char> CallerBuffer(std::size_t capacity) {
  std::vector<char> buffer(capacity, 'A');
  if (!buffer.empty()) buffer.back() = '\0';
  return buffer;
}

bool FetchSizedText(const SizedCall& call, std::string& answer) {
  return FetchSizedText(call, answer, SizedFetch{});
}

bool FetchSizedText(const SizedCall& call, std::string& answer, const SizedFetch& sizes) {
  std::vector<char> buffer = CallerBuffer(std::max(sizes.capacity, std::size_t{1}));
  // A buffer larger than the size named holds 'A's past it: only the named bytes are text.
  std::size_t written =
      std::min(buffer.size(), static_cast<std::size_t>(std::max(0, sizes.offered)));
  const std::int32_t result = call(sizes.offered, buffer.data());
  if (result < 0 || (sizes.onlyZeroFits && result > 0 && result <= sizes.offered)) return false;
  if (result > sizes.offered) {
    // No array of that size could travel: refused before anything is allocated for it.
    if (static_cast<std::uint32_t>(result) > kMaxNdrCount) return false;
    // The answer needs `result` bytes: the buffer has one more for the NUL the server's
    // text may lack when it fills every byte.
    buffer = CallerBuffer(static_cast<std::size_t>(result) + 1);
    if (call(result, buffer.data()) != 0) return false;
    written = buffer.size();
  }
  const auto end = buffer.begin() + static_cast<std::ptrdiff_t>(written);
  answer.assign(buffer.begin(), std::find(buffer.begin(), end, '\0'));
  return true;
}

}  // namespace rdx::rpc
