#include "remote/proxies/ProxyCall.h"

#include <algorithm>

#include "remote/ndr/NdrReader.h"

namespace rdx::rpc {

std::vector<char> CallerBuffer(std::size_t capacity) {
  std::vector<char> buffer(capacity, 'A');
  if (!buffer.empty()) buffer.back() = '\0';
  return buffer;
}

namespace {

// The second call for a result `needed` above the first offer; true when it answered 0.
bool AskAgain(const SizedCall& call, std::int32_t needed, std::vector<char>& buffer) {
  // No array of that size could travel: refused before anything is allocated for it.
  if (static_cast<std::uint32_t>(needed) > kMaxNdrCount) return false;
  // The answer needs `needed` bytes: the buffer has one more for the NUL the server's text
  // may lack when it fills every byte.
  buffer = CallerBuffer(static_cast<std::size_t>(needed) + 1);
  return call(needed, buffer.data()) == 0;
}

void TakeText(const std::vector<char>& buffer, std::string& answer) {
  answer.assign(buffer.begin(), std::find(buffer.begin(), buffer.end(), '\0'));
}

}  // namespace

bool FetchSizedText(const SizedCall& call, std::string& answer) {
  std::vector<char> buffer = CallerBuffer(static_cast<std::size_t>(kFirstGuess));
  const std::int32_t result = call(kFirstGuess, buffer.data());
  if (result < 0) return false;
  if (result > kFirstGuess && !AskAgain(call, result, buffer)) return false;
  TakeText(buffer, answer);
  return true;
}

SizedFetch FetchSizedTextZeroOnly(const SizedCall& call, std::int32_t firstSize,
                                  std::string& answer) {
  if (firstSize <= 0) return SizedFetch::kRefused;
  std::vector<char> buffer = CallerBuffer(static_cast<std::size_t>(firstSize));
  const std::int32_t result = call(firstSize, buffer.data());
  if (result > firstSize) {
    if (!AskAgain(call, result, buffer)) return SizedFetch::kSecondCallFailed;
  } else if (result != 0) {
    return SizedFetch::kRefused;
  }
  TakeText(buffer, answer);
  return SizedFetch::kAnswer;
}

}  // namespace rdx::rpc
