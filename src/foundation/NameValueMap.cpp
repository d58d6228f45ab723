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

}  // namespace

bool CaseInsensitiveStringComparer::operator()(const std::string& a,
                                               const std::string& b) const noexcept {
  const auto* left = reinterpret_cast<const unsigned char*>(a.c_str());
  const auto* right = reinterpret_cast<const unsigned char*>(b.c_str());
  for (;; ++left, ++right) {
    const unsigned char l = FoldAscii(*left);
    const unsigned char r = FoldAscii(*right);
    if (l != r) return l < r;
    if (l == 0) return false;
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
  for (const auto& [name, value] : *this) needed += TextLength(name) + TextLength(value) + 2;
  // The flat form carries 32-bit sizes; a map too large for them has no flat form.
  if (needed > UINT32_MAX) return 0;
  if (size == nullptr) return 0;
  const std::uint32_t capacity = *size;
  *size = static_cast<std::uint32_t>(needed);
  if (capacity < needed || buffer == nullptr) return 0;
  auto* out = static_cast<char*>(buffer);
  std::memset(out, 0, static_cast<std::size_t>(needed));
  for (const auto& [name, value] : *this) {
    const std::size_t nameLength = TextLength(name);
    const std::size_t valueLength = TextLength(value);
    std::memcpy(out, name.c_str(), nameLength);
    std::memcpy(out + nameLength + 1, value.c_str(), valueLength);
    out += nameLength + valueLength + 2;
  }
  return 1;
}

int NameValueMap::Load(std::uint32_t size, const void* buffer) {
  clear();
  if (buffer == nullptr) return 0;
  if (size < 2) return 1;
  const auto* block = static_cast<const char*>(buffer);
  const std::size_t last = size - 1;
  // Text starting at `from`, up to its NUL or the end of the block when the NUL is missing.
  auto textAt = [&](std::size_t from) {
    const void* nul = std::memchr(block + from, 0, size - from);
    const std::size_t end = nul ? static_cast<std::size_t>(static_cast<const char*>(nul) - block)
                                : static_cast<std::size_t>(size);
    return std::string(block + from, end - from);
  };
  std::size_t position = 0;
  for (;;) {
    std::string name = textAt(position);
    // Step to the name's NUL. The step is taken before the first look, so an empty name passes
    // over its own NUL and stops at the next one: blocks from older peers rely on that reading.
    do {
      if (position >= last) return 1;
      ++position;
    } while (block[position] != 0);
    const std::size_t valueStart = position + 1;
    if (valueStart >= last) return 1;
    std::string value = textAt(valueStart);
    const bool emptyValue = value.empty();
    emplace(std::move(name), std::move(value));  // an existing name wins
    position = valueStart;
    if (!emptyValue) {
      while (block[position] != 0) {
        if (position >= last) return 1;
        ++position;
      }
    }
    position += 1;
    if (position >= last) return 1;
  }
}

int NameValueMap::UpdateUsing(const NameValueMap& other, bool skipEmpty,
                              const std::string& prefix, const std::string& suffix) {
  for (const auto& [name, value] : other) {
    if (skipEmpty && value.empty()) continue;
    (*this)[prefix + name + suffix] = value;
  }
  return 1;
}

}  // namespace QUORVAN::Rendix::Global
