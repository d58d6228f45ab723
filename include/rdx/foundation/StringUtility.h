#pragma once
// String utilities: formatting, parsing of configuration values, comparison and path splitting
// on 8-bit byte strings. Character classes and case mapping are ASCII only (the "C" locale):
// only A-Z/a-z change case and only space, \t, \n, \v, \f, \r count as blanks.
//
// Results that are parsed values or comparisons live in the nested namespace StringUtility;
// the rest are plain functions of GeneralUtilityLib. None keeps state; all are re-entrant.
//
//   using namespace QUORVAN::Rendix::GeneralUtilityLib;
//   std::string text = StringUtility::printToString("%s failed: %06X", name, code);
//   std::uint32_t port = StringUtility::toULong(value, 3982);   // "" -> 3982, "  " -> 0

#include <rdx/Export.h>

#include <cstddef>
#include <cstdint>
#include <string>
#include <utility>
#include <vector>

namespace QUORVAN::Rendix::GeneralUtilityLib {

namespace StringUtility {

/// printToString: printf-style formatting into a new string. The result is the whole text
/// whatever its length; texts under 4096 bytes cost no allocation besides the result. On a
/// format error or exhausted memory the result is empty.
RDX_API std::string printToString(const char* format, ...) __attribute__((format(printf, 1, 2)));

/// isEqual: two empty strings are equal, an empty and a non-empty one are not; otherwise the
/// texts are compared up to their first NUL byte, ASCII case ignored when ignoreCase is set.
RDX_API bool isEqual(const std::string& a, const std::string& b, bool ignoreCase);

/// isEqual: true when |a - b| <= tolerance (the bound counts as equal).
RDX_API bool isEqual(double a, double b, double tolerance);

///@{
/// toULong / toLong / toDouble: the truly empty string gives defaultValue; otherwise blanks are
/// trimmed and the rest must parse whole as a decimal floating-point number ("1e3", " -2.9 "),
/// else defaultValue. Blanks only give 0. No hexadecimal: "0x10" gives defaultValue. The
/// integer forms truncate toward zero and keep the low 32 bits ("-1" -> 4294967295 unsigned);
/// NaN gives 0 and magnitudes beyond 64 bits saturate before the 32-bit cut.
RDX_API std::uint32_t toULong(const std::string& s, std::uint32_t defaultValue);
RDX_API std::int32_t toLong(const std::string& s, std::int32_t defaultValue);
RDX_API double toDouble(const std::string& s, double defaultValue);
///@}

/// toBoolean: trimmed and upper-cased, "ON" is true and "OFF" false; otherwise the first
/// character decides ('1','T','Y' true; '0','F','N' false); anything else gives defaultValue.
/// So "Tuesday" is true, "None" false, "ONE" and "" the default.
RDX_API bool toBoolean(const std::string& s, bool defaultValue);

}  // namespace StringUtility

/// getFormattedTime: the local wall-clock time as "YYYY-MM-DDTHH:MM:SS.mmm", always 23
/// characters, no zone mark (e.g. "2024-03-07T09:05:02.042").
RDX_API std::string getFormattedTime();

/// endsWith: false when suffix is longer than s; an empty suffix always matches.
RDX_API bool endsWith(const std::string& s, const std::string& suffix, bool ignoreCase);

/// matchString: the first occurrence of pattern in s as (byte position, pattern length), or
/// (npos, 0) when there is none. An empty pattern matches at 0.
RDX_API std::pair<std::size_t, std::size_t> matchString(const std::string& s,
                                                        const std::string& pattern,
                                                        bool ignoreCase);

/// matchString with a start index: start is honoured only when ignoreCase is set; with case
/// significant the search always begins at 0 (kept so: existing callers depend on it). A
/// negative start or one past the end finds nothing.
RDX_API std::pair<std::size_t, std::size_t> matchString(std::int32_t start, const std::string& s,
                                                        const std::string& pattern,
                                                        bool ignoreCase);

/// replaceString: replaces occurrences of from by to in place, each search starting again at
/// the beginning, at most min(maxCount, original length of s) times; returns the count. When
/// to contains from, the same place is replaced again ("aaa", "a"->"aa" gives "aaaaaa", 3).
RDX_API std::uint32_t replaceString(std::string& s, const std::string& from, const std::string& to,
                                    bool ignoreCase, std::uint32_t maxCount);

///@{
/// toUpper / toLower: ASCII case mapping of every byte; the length never changes.
RDX_API std::string toUpper(const std::string& s);
RDX_API std::string toLower(const std::string& s);
///@}

///@{
/// skipSpaces drops leading blanks, trimSpaces trailing ones, chopSpaces both.
RDX_API std::string skipSpaces(const std::string& s);
RDX_API std::string trimSpaces(const std::string& s);
RDX_API std::string chopSpaces(const std::string& s);
///@}

/// truncateStringForDisplay: s unchanged when it has at most maxLength bytes; "" when marker
/// alone is longer than maxLength; else head + marker + tail of exactly maxLength bytes, the
/// head taking the odd byte ("abcdefghij", "...", 8 -> "abc...ij").
RDX_API std::string truncateStringForDisplay(const std::string& s, const std::string& marker,
                                             std::uint32_t maxLength);

/// split: every byte of delimiters separates; runs of separators give no empty tokens. An
/// empty s gives no tokens, empty delimiters give s itself ("a,,b; c" on ",;" -> a, b, " c").
RDX_API std::vector<std::string> split(const std::string& s, const std::string& delimiters);

/// renameExtension: cuts at the last '.' anywhere in path (directory names included, kept so:
/// "C:\old.dir\readme" + "bak" gives "C:\old.bak") and appends "." + extension if non-empty.
RDX_API std::string renameExtension(const std::string& path, const std::string& extension);

/// getPath: drive and directory of path by the Windows rules ("X:" drive, both '\' and '/'
/// separate), trailing separator kept: "C:\data\a.txt" -> "C:\data\"; a bare name -> "".
RDX_API std::string getPath(const std::string& path);

/// splitPath: (drive + directory, file name + extension) of the first 260 bytes of path, by
/// the same rules as getPath. separator is accepted and ignored: '\' and '/' always apply.
RDX_API std::pair<std::string, std::string> splitPath(const std::string& path, char separator);

/// doesFileExist: true when a file or directory of that name exists (links followed).
RDX_API bool doesFileExist(const std::string& path);

}  // namespace QUORVAN::Rendix::GeneralUtilityLib
