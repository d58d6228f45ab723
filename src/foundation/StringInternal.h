#pragma once
// String helpers shared inside the library but not exported.

#include <cstdint>
#include <cstring>
#include <string>
#include <string_view>

namespace QUORVAN::Rendix::GeneralUtilityLib {

// True when s starts with head, ASCII case always ignored; an empty head always matches and
// a head longer than s never does.
bool beginsWithNoCase(const std::string& s, const std::string& head);

}  // namespace QUORVAN::Rendix::GeneralUtilityLib

namespace rdx::foundation {

// ASCII-only case mapping, independent of the process locale.
constexpr char AsciiLower(char c) noexcept {
  return (c >= 'A' && c <= 'Z') ? char(c - 'A' + 'a') : c;
}
constexpr char AsciiUpper(char c) noexcept {
  return (c >= 'a' && c <= 'z') ? char(c - 'a' + 'A') : c;
}
constexpr bool IsBlank(char c) noexcept {
  return c == ' ' || c == '\t' || c == '\n' || c == '\v' || c == '\f' || c == '\r';
}

// Whether any of the 8 bytes at `at` is a control byte (below 0x20) or one of `specials`:
// text without any is copied or skipped 8 bytes at a time, and only a word that has one is
// looked at byte by byte. Exact: no byte is missed, and a false answer is never wrong.
template <char... specials>
inline bool WordHasControlOr(const char* at) noexcept {
  constexpr std::uint64_t kOnes = 0x0101010101010101ULL;
  constexpr std::uint64_t kHighs = 0x8080808080808080ULL;
  std::uint64_t word;
  std::memcpy(&word, at, sizeof word);
  auto hasZero = [](std::uint64_t v) { return ((v - kOnes) & ~v & kHighs) != 0; };
  const bool control = ((word - kOnes * 0x20) & ~word & kHighs) != 0;
  return control || (hasZero(word ^ (kOnes * static_cast<unsigned char>(specials))) || ...);
}

// Position of the first occurrence of pattern in text at or after from, ASCII case ignored
// when ignoreCase is set; npos when there is none.
std::size_t FindText(std::string_view text, std::string_view pattern, std::size_t from,
                     bool ignoreCase) noexcept;

// Removes every occurrence of the product prefix "QUORVAN.Rendix." (any case), searching
// again from the beginning after each removal, at most as many times as source has bytes.
std::string StripProductPrefix(std::string source);

}  // namespace rdx::foundation
