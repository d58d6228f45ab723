// NameValueMap: case-insensitive ordering, lookup and the flat byte form.
#include <rdx/foundation/NameValueMap.h>

#include <cstring>

namespace QUORVAN::Rendix::Global {
namespace {

unsigned char FoldAscii(unsigned char c) {
  return (c >= 'A' && c <= 'Z') ? static_cast<unsigned char>(c - 'A' + 'a') : c;
}

// Length of the text as a C string sees it: names and values end at their first NUL.
std::size_t TextLength(const std::string& s) { return std::strlen(s.c_str()); }

// The pairs of a flat block of `size` (at least 2) bytes, added to the empty `map`.
int LoadPairs(NameValueMap& map, std::uint32_t size, const char* block) {
  const std::size_t last = size - 1;
  // Index of the first NUL in [from, to], or npos.
  auto findNul = [&](std::size_t from, std::size_t to) {
    if (from > to) return std::string::npos;
    const void* nul = std::memchr(block + from, 0, to - from + 1);
    return nul ? static_cast<std::size_t>(static_cast<const char*>(nul) - block)
               : std::string::npos;
  };
  std::size_t position = 0;  // always below `last` here
  for (;;) {
    const std::size_t nameEnd = findNul(position, last);
    // The step to the name's NUL moves before it looks, so an empty name passes over its own
    // NUL and stops at the next one: it swallows the string after it, and the value is the
    // string after that. Blocks from older peers are read that way.
    const std::size_t stepEnd = nameEnd != position ? nameEnd : findNul(position + 1, last);
    if (stepEnd == std::string::npos) return 1;  // a name without its NUL is dropped
    const std::size_t valueStart = stepEnd + 1;
    if (valueStart >= last) return 1;  // so a last pair with an empty value is not restored
    const std::size_t valueEnd = findNul(valueStart, last);
    const std::size_t valueLength = (valueEnd == std::string::npos ? size : valueEnd) - valueStart;
    // Saved blocks come in map order, so each pair belongs at the end; an existing name wins.
    map.emplace_hint(map.end(), std::string(block + position, nameEnd - position),
                     std::string(block + valueStart, valueLength));
    if (valueEnd == std::string::npos) return 1;  // the value ran to the end of the block
    position = valueEnd + 1;
    if (position >= last) return 1;
  }
}

}  // namespace

bool CaseInsensitiveStringComparer::operator()(const std::string& a,
                                               const std::string& b) const noexcept {
  const auto* left = reinterpret_cast<const unsigned char*>(a.c_str());
  const auto* right = reinterpret_cast<const unsigned char*>(b.c_str());
  for (;; ++left, ++right) {
    if (*left == *right) {  // names share long prefixes; equal bytes need no folding
      if (*left == 0) return false;
      continue;
    }
    const unsigned char l = FoldAscii(*left);
    const unsigned char r = FoldAscii(*right);
    if (l != r) return l < r;
  }
}

std::string NameValueMap::operator[](const std::string& name) const {
  const auto found = find(name);
  return found == end() ? std::string() : found->second;
}

int NameValueMap::Exists(const std::string& name) const { return find(name) != end() ? 1 : 0; }

int NameValueMap::Save(std::uint32_t* size, void* buffer) {
  if (empty()) return 0;
  std::uint64_t needed = 0;
  for (const auto& [name, value] : *this) needed += name.size() + value.size() + 2;
  // The flat form carries 32-bit sizes; a map too large for them has no flat form.
  if (needed > UINT32_MAX) return 0;
  if (size == nullptr) return 0;
  const std::uint32_t capacity = *size;
  *size = static_cast<std::uint32_t>(needed);
  if (capacity < needed || buffer == nullptr) return 0;
  // Each text keeps its whole room, but only its bytes up to the first NUL are copied: the
  // rest of the room stays zero, as peers reading the block expect.
  auto* out = static_cast<char*>(buffer);
  std::memset(out, 0, static_cast<std::size_t>(needed));
  for (const auto& [name, value] : *this) {
    std::memcpy(out, name.data(), TextLength(name));
    out += name.size() + 1;
    std::memcpy(out, value.data(), TextLength(value));
    out += value.size() + 1;
  }
  return 1;
}

int NameValueMap::Load(std::uint32_t size, const void* buffer) {
  clear();
  if (buffer == nullptr) return 0;
  if (size < 2) return 1;
  try {
    return LoadPairs(*this, size, static_cast<const char*>(buffer));
  } catch (...) {  // out of memory part way: nothing half-read is left behind
    clear();
    return 0;
  }
}

int NameValueMap::UpdateUsing(const NameValueMap& other, bool skipEmpty, const std::string& prefix,
                              const std::string& suffix) {
  try {
    for (const auto& [name, value] : other) {
      if (skipEmpty && value.empty()) continue;
      (*this)[prefix + name + suffix] = value;
    }
    return 1;
  } catch (...) {  // out of memory: the pairs set so far stay
    return 0;
  }
}

}  // namespace QUORVAN::Rendix::Global
