#pragma once
// What every proxy method does around its remote call: caller buffers for in/out strings and
// the two-call fetch of a result whose length only the server knows.

#include <cstddef>
#include <cstdint>
#include <functional>
#include <string>
#include <vector>

namespace rdx::rpc {

// Capacities of the in/out string buffers the proxies pass.
inline constexpr std::size_t kVersionCapacity = 100;
inline constexpr std::size_t kSessionCapacity = 1000;  // also the error text of an open
inline constexpr std::size_t kErrorCapacity = 4000;
// The first buffer offered for a result of unknown length.
inline constexpr std::int32_t kFirstGuess = 4000;

// A buffer of `capacity` bytes, 'A' up to its last byte and NUL there: an [in, out] string
// travels in with its full length, so the server may answer up to that length into it.
std::vector<char> CallerBuffer(std::size_t capacity);

// One call of a sized operation: offers `buffer` of `size` bytes, returns the operation's
// long result.
using SizedCall = std::function<std::int32_t(std::int32_t size, char* buffer)>;

// Fetches a result of unknown length in at most two calls: first kFirstGuess bytes; a result
// from 0 to kFirstGuess means the buffer holds the answer (up to its first NUL); a larger
// result r is the size needed, asked for again with r bytes (r + 1 allocated, NUL at r),
// and that second call must return exactly 0. False for a negative result, a size no array
// can have, or a second call that does not return 0; `answer` is then left alone.
// Exceptions from `call` pass through.
bool FetchSizedText(const SizedCall& call, std::string& answer);

// The sizes of a two-call fetch other than the default one: the bytes of the first buffer,
// the size named in the first call (also the largest first result that still fits), and
// whether only a result of 0 counts as the answer (1 to `offered` is then a failure).
struct SizedFetch {
  std::size_t capacity = kFirstGuess;
  std::int32_t offered = kFirstGuess;
  bool onlyZeroFits = false;
};
bool FetchSizedText(const SizedCall& call, std::string& answer, const SizedFetch& sizes);

}  // namespace rdx::rpc
