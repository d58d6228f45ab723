#pragma once
// String helpers shared inside the library but not exported.

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

// Position of the first occurrence of pattern in text at or after from, ASCII case ignored
// when ignoreCase is set; npos when there is none.
std::size_t FindText(std::string_view text, std::string_view pattern, std::size_t from,
                     bool ignoreCase) noexcept;

// Removes every occurrence of the product prefix "QUORVAN.Rendix." (any case), searching
// again from the beginning after each removal, at most as many times as source has bytes.
std::string StripProductPrefix(std::string source);

}  // namespace rdx::foundation
