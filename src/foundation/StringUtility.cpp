// String utilities of GeneralUtilityLib: formatting, conversion, comparison, paths.
#include <rdx/foundation/StringUtility.h>

#include "foundation/StringInternal.h"

#include <algorithm>
#include <charconv>
#include <chrono>
#include <cmath>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <filesystem>
#include <limits>
#include <new>
#include <system_error>

namespace QUORVAN::Rendix::GeneralUtilityLib {

using rdx::foundation::AsciiLower;
using rdx::foundation::AsciiUpper;
using rdx::foundation::FindText;
using rdx::foundation::IsBlank;

namespace {

// Room for nearly every message on the stack; longer texts take a second pass on the heap.
constexpr std::size_t kStackFormatBytes = 4096;

// Up to the first NUL, as a C string would be read.
std::string_view AsCText(const std::string& s) noexcept { return std::string_view(s.c_str()); }

// Length of the plain decimal number at the start of text: [sign] digits [. digits]
// [e [sign] digits], at least one mantissa digit. This is what the C runtimes this code
// grew up on read; glibc's strtod would also take hexadecimal, "inf" and "nan", which must
// give the default here ("0x10" is not 16).
std::size_t DecimalNumberLength(std::string_view text) noexcept {
  auto isDigit = [](char c) { return c >= '0' && c <= '9'; };
  std::size_t at = 0;
  if (at < text.size() && (text[at] == '+' || text[at] == '-')) ++at;
  std::size_t digits = 0;
  while (at < text.size() && isDigit(text[at])) ++at, ++digits;
  if (at < text.size() && text[at] == '.') {
    ++at;
    while (at < text.size() && isDigit(text[at])) ++at, ++digits;
  }
  if (digits == 0) return 0;
  if (at < text.size() && (text[at] == 'e' || text[at] == 'E')) {
    std::size_t exponent = at + 1;
    if (exponent < text.size() && (text[exponent] == '+' || text[exponent] == '-')) ++exponent;
    if (exponent < text.size() && isDigit(text[exponent])) {
      while (exponent < text.size() && isDigit(text[exponent])) ++exponent;
      at = exponent;
    }
  }
  return at;
}

// Parses the whole of s (already known non-empty) after trimming; false when anything but
// the number is left. Blanks only read as 0: callers rely on "" alone giving the default.
bool ParseWholeNumber(const std::string& s, double& value) {
  const std::string trimmed = chopSpaces(s);
  value = 0;
  if (trimmed.empty()) return true;
  // Text after an embedded NUL is never seen, as with any C-string parser.
  const std::string_view text(trimmed.c_str());
  if (text.empty()) return true;  // "\0..." reads as an empty C string: 0
  const std::size_t length = DecimalNumberLength(text);
  if (length == 0 || length != text.size()) return false;
  // from_chars reads the decimal point whatever locale the host process set; it takes no
  // '+'. Only out-of-range magnitudes go to strtod, for its HUGE_VAL or 0 answer.
  const std::string_view digits = text.front() == '+' ? text.substr(1) : text;
  const auto [end, error] = std::from_chars(digits.data(), digits.data() + digits.size(), value);
  if (error == std::errc::result_out_of_range) {
    value = std::strtod(std::string(text).c_str(), nullptr);
  }
  return error == std::errc() || error == std::errc::result_out_of_range;
}

// Truncates toward zero keeping the low 32 bits, as a 64-bit conversion followed by a cut
// to a 32-bit long does; NaN gives 0 and huge magnitudes saturate first instead of being UB.
std::uint32_t Low32BitsOf(double value) noexcept {
  if (std::isnan(value)) return 0;
  constexpr double kLimit = 9223372036854775807.0;  // rounds to 2^63
  std::int64_t whole;
  if (value >= kLimit) {
    whole = std::numeric_limits<std::int64_t>::max();
  } else if (value <= -kLimit) {
    whole = std::numeric_limits<std::int64_t>::min();
  } else {
    whole = static_cast<std::int64_t>(value);
  }
  return static_cast<std::uint32_t>(static_cast<std::uint64_t>(whole));
}

std::pair<std::size_t, std::size_t> MatchResult(std::size_t position, std::size_t length) {
  if (position == std::string::npos) return {std::string::npos, 0};
  return {position, length};
}

// Windows _splitpath rules: "X:" is the drive when the second byte is ':', the directory runs
// to the last '\' or '/', the rest is name and extension.
std::pair<std::string, std::string> SplitWindowsPath(std::string_view path) {
  std::size_t directoryStart = 0;
  if (path.size() >= 2 && path[1] == ':') directoryStart = 2;
  const std::size_t lastSeparator = path.find_last_of("\\/");
  std::size_t nameStart = directoryStart;
  if (lastSeparator != std::string_view::npos && lastSeparator >= directoryStart) {
    nameStart = lastSeparator + 1;
  }
  return {std::string(path.substr(0, nameStart)), std::string(path.substr(nameStart))};
}

}  // namespace

namespace StringUtility {

std::string printToString(const char* format, ...) {
  if (format == nullptr) return std::string();
  char buffer[kStackFormatBytes];
  std::va_list arguments;
  va_start(arguments, format);
  std::va_list again;
  va_copy(again, arguments);
  const int length = std::vsnprintf(buffer, sizeof buffer, format, arguments);
  va_end(arguments);
  std::string result;
  try {
    if (length < 0) {
      result.clear();  // a format the C runtime rejects gives no text rather than garbage
    } else if (static_cast<std::size_t>(length) < sizeof buffer) {
      result.assign(buffer, static_cast<std::size_t>(length));
    } else {
      // The text did not fit: vsnprintf told the exact length, format once more on the heap.
      result.resize(static_cast<std::size_t>(length));
      std::vsnprintf(result.data(), result.size() + 1, format, again);
    }
  } catch (const std::bad_alloc&) {
    result.clear();
  }
  va_end(again);
  return result;
}

bool isEqual(const std::string& a, const std::string& b, bool ignoreCase) {
  if (a.empty() || b.empty()) return a.empty() && b.empty();
  const std::string_view left = AsCText(a);
  const std::string_view right = AsCText(b);
  if (left.size() != right.size()) return false;
  if (!ignoreCase) return left == right;
  return std::equal(left.begin(), left.end(), right.begin(),
                    [](char x, char y) { return AsciiLower(x) == AsciiLower(y); });
}

bool isEqual(double a, double b, double tolerance) { return std::fabs(a - b) <= tolerance; }

std::uint32_t toULong(const std::string& s, std::uint32_t defaultValue) {
  if (s.empty()) return defaultValue;
  double value = 0;
  return ParseWholeNumber(s, value) ? Low32BitsOf(value) : defaultValue;
}

std::int32_t toLong(const std::string& s, std::int32_t defaultValue) {
  if (s.empty()) return defaultValue;
  double value = 0;
  return ParseWholeNumber(s, value) ? static_cast<std::int32_t>(Low32BitsOf(value)) : defaultValue;
}

double toDouble(const std::string& s, double defaultValue) {
  if (s.empty()) return defaultValue;
  double value = 0;
  return ParseWholeNumber(s, value) ? value : defaultValue;
}

bool toBoolean(const std::string& s, bool defaultValue) {
  const std::string word = toUpper(chopSpaces(s));
  if (word == "ON") return true;
  if (word == "OFF") return false;
  if (word.empty()) return defaultValue;
  switch (word.front()) {
    case '1':
    case 'T':
    case 'Y': return true;
    case '0':
    case 'F':
    case 'N': return false;
    default: return defaultValue;
  }
}

}  // namespace StringUtility

std::string getFormattedTime() {
  const auto now = std::chrono::system_clock::now();
  const std::time_t seconds = std::chrono::system_clock::to_time_t(now);
  const auto millis =
      std::chrono::duration_cast<std::chrono::milliseconds>(now.time_since_epoch()).count() % 1000;
  std::tm local{};
  localtime_r(&seconds, &local);
  char text[96];  // room for any int fields, so no truncation is possible
  // Every field is bounded (years to 9999 in practice), so the text is always 23 bytes.
  std::snprintf(text, sizeof text, "%04d-%02d-%02dT%02d:%02d:%02d.%03d",
                (local.tm_year + 1900) % 10000, local.tm_mon + 1, local.tm_mday, local.tm_hour,
                local.tm_min, local.tm_sec, static_cast<int>(millis < 0 ? millis + 1000 : millis));
  return std::string(text);
}

bool endsWith(const std::string& s, const std::string& suffix, bool ignoreCase) {
  if (suffix.size() > s.size()) return false;
  const std::string_view tail = std::string_view(s).substr(s.size() - suffix.size());
  if (!ignoreCase) return tail == suffix;
  return std::equal(tail.begin(), tail.end(), suffix.begin(),
                    [](char x, char y) { return AsciiLower(x) == AsciiLower(y); });
}

bool beginsWithNoCase(const std::string& s, const std::string& head) {
  if (head.size() > s.size()) return false;
  return std::equal(head.begin(), head.end(), s.begin(),
                    [](char x, char y) { return AsciiLower(x) == AsciiLower(y); });
}

std::pair<std::size_t, std::size_t> matchString(const std::string& s, const std::string& pattern,
                                                bool ignoreCase) {
  return MatchResult(FindText(s, pattern, 0, ignoreCase), pattern.size());
}

std::pair<std::size_t, std::size_t> matchString(std::int32_t start, const std::string& s,
                                                const std::string& pattern, bool ignoreCase) {
  if (!ignoreCase || start == 0) return matchString(s, pattern, ignoreCase);
  if (start < 0) return {std::string::npos, 0};
  return MatchResult(FindText(s, pattern, static_cast<std::size_t>(start), true), pattern.size());
}

std::uint32_t replaceString(std::string& s, const std::string& from, const std::string& to,
                            bool ignoreCase, std::uint32_t maxCount) {
  const std::uint64_t limit = std::min<std::uint64_t>(maxCount, s.size());
  std::uint32_t count = 0;
  while (count < limit) {
    const std::size_t position = FindText(s, from, 0, ignoreCase);
    if (position == std::string::npos) break;
    s.replace(position, from.size(), to);
    ++count;
  }
  return count;
}

std::string toUpper(const std::string& s) {
  std::string result(s);
  for (char& c : result) c = AsciiUpper(c);
  return result;
}

std::string toLower(const std::string& s) {
  std::string result(s);
  for (char& c : result) c = AsciiLower(c);
  return result;
}

std::string skipSpaces(const std::string& s) {
  const auto first = std::find_if_not(s.begin(), s.end(), IsBlank);
  return std::string(first, s.end());
}

std::string trimSpaces(const std::string& s) {
  const auto last = std::find_if_not(s.rbegin(), s.rend(), IsBlank);
  return std::string(s.begin(), last.base());
}

std::string chopSpaces(const std::string& s) { return skipSpaces(trimSpaces(s)); }

std::string truncateStringForDisplay(const std::string& s, const std::string& marker,
                                     std::uint32_t maxLength) {
  if (s.size() <= maxLength) return s;
  if (marker.size() > maxLength) return std::string();
  const std::size_t room = maxLength - marker.size();
  const std::size_t tail = room / 2;
  const std::size_t head = room - tail;
  std::string result;
  result.reserve(maxLength);
  result.append(s, 0, head).append(marker).append(s, s.size() - tail, tail);
  return result;
}

std::vector<std::string> split(const std::string& s, const std::string& delimiters) {
  std::vector<std::string> tokens;
  if (s.empty()) return tokens;
  if (delimiters.empty()) {
    tokens.push_back(s);
    return tokens;
  }
  std::size_t position = 0;
  while (true) {
    const std::size_t start = s.find_first_not_of(delimiters, position);
    if (start == std::string::npos) break;
    const std::size_t end = s.find_first_of(delimiters, start);
    if (end == std::string::npos) {
      tokens.push_back(s.substr(start));
      break;
    }
    tokens.push_back(s.substr(start, end - start));
    position = end + 1;
  }
  return tokens;
}

std::string renameExtension(const std::string& path, const std::string& extension) {
  std::string result(path);
  const std::size_t dot = result.rfind('.');
  if (dot != std::string::npos) result.erase(dot);
  if (!extension.empty()) result.append(".").append(extension);
  return result;
}

// Both read the path as a C string: a NUL ends it.
std::string getPath(const std::string& path) { return SplitWindowsPath(AsCText(path)).first; }

std::pair<std::string, std::string> splitPath(const std::string& path, char /*separator*/) {
  // The path buffer of the original splitter held MAX_PATH (260) bytes; longer input is cut.
  constexpr std::size_t kMaxPath = 260;
  return SplitWindowsPath(AsCText(path).substr(0, kMaxPath));
}

bool doesFileExist(const std::string& path) {
  // Read up to the first NUL, as the C runtime call this stands for would.
  if (path.empty() || path.front() == '\0') return false;
  std::error_code error;
  return std::filesystem::exists(std::filesystem::path(path.c_str()), error);
}

}  // namespace QUORVAN::Rendix::GeneralUtilityLib

namespace rdx::foundation {

std::size_t FindText(std::string_view text, std::string_view pattern, std::size_t from,
                     bool ignoreCase) noexcept {
  if (from > text.size()) return std::string_view::npos;
  if (!ignoreCase) return text.find(pattern, from);
  if (pattern.empty()) return from;
  if (pattern.size() > text.size() - from) return std::string_view::npos;
  const char lower = AsciiLower(pattern.front());
  const char upper = AsciiUpper(pattern.front());
  const std::size_t last = text.size() - pattern.size();
  auto restMatches = [&](std::size_t at) {
    std::size_t i = 1;
    while (i < pattern.size() && AsciiLower(text[at + i]) == AsciiLower(pattern[i])) ++i;
    return i == pattern.size();
  };
  // Candidates are found by memchr-backed searches for either case of the first character,
  // much faster than comparing each byte here.
  std::size_t nextLower = text.find(lower, from);
  std::size_t nextUpper = lower == upper ? std::string_view::npos : text.find(upper, from);
  for (;;) {
    const std::size_t at = std::min(nextLower, nextUpper);
    if (at == std::string_view::npos || at > last) return std::string_view::npos;
    if (restMatches(at)) return at;
    if (at == nextLower) {
      nextLower = text.find(lower, at + 1);
    } else {
      nextUpper = text.find(upper, at + 1);
    }
  }
}

std::string StripProductPrefix(std::string source) {
  static constexpr std::string_view kProductPrefix = "QUORVAN.Rendix.";
  // Removing one prefix can join another around the gap: the leftmost one left is searched
  // for again, and no match can start earlier than just before the removal.
  for (std::size_t found = FindText(source, kProductPrefix, 0, true); found != std::string::npos;
       found =
           FindText(source, kProductPrefix,
                    found >= kProductPrefix.size() ? found - kProductPrefix.size() + 1 : 0, true)) {
    source.erase(found, kProductPrefix.size());
  }
  return source;
}

}  // namespace rdx::foundation
