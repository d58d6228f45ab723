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
  std::vector<char> buffer = CallerBuffer(static_cast<std::size_t>(kFirstGuess));
  const std::int32_t result = call(kFirstGuess, buffer.data());
  if (result < 0) return false;
  if (result > kFirstGuess) {
    // No array of that size could travel: refused before anything is allocated for it.
    if (static_cast<std::uint32_t>(result) > kMaxNdrCount) return false;
    // The answer needs `result` bytes: the buffer has one more for the NUL the server's
    // text may lack when it fills every byte.
    buffer = CallerBuffer(static_cast<std::size_t>(result) + 1);
    if (call(result, buffer.data()) != 0) return false;
  }
  answer.assign(buffer.begin(), std::find(buffer.begin(), buffer.end(), '\0'));
  return true;
}

}  // namespace rdx::rpc
