#include <rdx/foundation/StringUtility.h>

#include "foundation/StringInternal.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <filesystem>
#include <string>
#include <vector>

namespace QUORVAN::Rendix::GeneralUtilityLib {
namespace {

using namespace std::string_literals;
constexpr std::size_t npos = std::string::npos;

TEST(StringUtility, PrintToStringIsCompleteAtAnyLength) {
  EXPECT_EQ(StringUtility::printToString("%s : %06X", "Reader", 64279u), "Reader : 00FB17");
  EXPECT_EQ(StringUtility::printToString("%0.6lf|%lu|%ld", 2.5, 7ul, -3l), "2.500000|7|-3");
  // Around the stack buffer: 4095 fits it with its NUL, 4096 and beyond take the heap pass.
  for (const std::size_t length : {0u, 4095u, 4096u, 4097u, 100000u}) {
    SCOPED_TRACE(length);
    const std::string text(length, 'x');
    EXPECT_EQ(StringUtility::printToString("<%s>", text.c_str()), "<" + text + ">");
  }
  EXPECT_EQ(StringUtility::printToString(nullptr), "");
}

TEST(StringUtility, ComparisonsAndMatchesWorkOnCTexts) {
  struct Row {
    std::string a, b;
    bool ignoreCase, equal;
  };
  const Row rows[] = {
      {"", "", false, true},        {"", "a", true, false},      {"ABC", "abc", true, true},
      {"ABC", "abc", false, false}, {"ab", "abc", true, false},  {"a\0x"s, "a\0y"s, false, true},
      {"\0a"s, "", false, false},   {"[_]", "{_}", true, false},  // no case outside A-Z
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.a + "|" + row.b);
    EXPECT_EQ(StringUtility::isEqual(row.a, row.b, row.ignoreCase), row.equal);
  }
  EXPECT_TRUE(StringUtility::isEqual(-1.5, -1.0, 0.5));
  EXPECT_FALSE(StringUtility::isEqual(1.0, 1.5000001, 0.5));
  EXPECT_TRUE(endsWith("Server.LOG", ".log", true));
  EXPECT_FALSE(endsWith("Server.LOG", ".log", false));
  EXPECT_FALSE(endsWith("c", "abc", true));
  EXPECT_TRUE(beginsWithNoCase("Status.Filter", "STATUS."));
  EXPECT_FALSE(beginsWithNoCase("ab", "abc"));

  using Match = std::pair<std::size_t, std::size_t>;
  EXPECT_EQ(matchString("xxABCxx", "abc", true), Match(2, 3));
  EXPECT_EQ(matchString("xxABCxx", "abc", false), Match(npos, 0));
  EXPECT_EQ(matchString("xxABCxx", "", false), Match(0, 0));
  // start counts only when case is ignored.
  EXPECT_EQ(matchString(3, "abcabc", "abc", true), Match(3, 3));
  EXPECT_EQ(matchString(4, "abcabc", "ABC", true), Match(npos, 0));
  EXPECT_EQ(matchString(4, "abcabc", "abc", false), Match(0, 3));
  EXPECT_EQ(matchString(99, "abc", "a", true), Match(npos, 0));
  // Case-blind candidates of either case, in either order, false starts and a pattern whose
  // first character has no case.
  EXPECT_EQ(matchString("aAxAbC", "ABC", true), Match(3, 3));
  EXPECT_EQ(matchString("AaBc", "abc", true), Match(1, 3));
  EXPECT_EQ(matchString("xxAB", "abc", true), Match(npos, 0));
  EXPECT_EQ(matchString("a.b.C", ".c", true), Match(3, 2));
}

TEST(StringUtility, NumberConversions) {
  struct Row {
    std::string text;
    std::uint32_t asULong;  // default 7
    std::int32_t asLong;    // default -7
    double asDouble;        // default 0.25
  };
  const Row rows[] = {
      {"", 7, -7, 0.25},
      {"   ", 0, 0, 0.0},
      {" 12 ", 12, 12, 12.0},
      {"1e3", 1000, 1000, 1000.0},
      {"-2.9", 4294967294u, -2, -2.9},
      {"12abc", 7, -7, 0.25},
      {"0x10", 7, -7, 0.25},
      {"\t+5\n", 5, 5, 5.0},
      {"4294967295", 4294967295u, -1, 4294967295.0},
      {"4294967296", 0, 0, 4294967296.0},
      {"1 2", 7, -7, 0.25},
      {"nan", 7, -7, 0.25},
      {"1e", 7, -7, 0.25},
      {".5", 0, 0, 0.5},
      {"12\0abc"s, 12, 12, 12.0},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE("'" + row.text + "'");
    EXPECT_EQ(StringUtility::toULong(row.text, 7), row.asULong);
    EXPECT_EQ(StringUtility::toLong(row.text, -7), row.asLong);
    EXPECT_DOUBLE_EQ(StringUtility::toDouble(row.text, 0.25), row.asDouble);
  }
  // Out-of-range values stay defined: huge magnitudes never trap.
  EXPECT_EQ(StringUtility::toULong("1e999", 7), 4294967295u);
  EXPECT_EQ(StringUtility::toLong("1e300", 7), -1);
  EXPECT_EQ(StringUtility::toLong("-1e300", 7), 0);

  const std::pair<const char*, int> booleans[] = {
      // 1 true, 0 false, -1 the default
      {"true", 1},     {"Yes", 1},  {"t", 1},   {"10", 1},  {"Tuesday", 1}, {" on ", 1},
      {"false", 0},    {"None", 0}, {"0.5", 0}, {"off", 0}, {"\tOFF\n", 0}, {"ONE", -1},
      {"OFFLINE", -1}, {"x", -1},   {"", -1},   {"   ", -1}};
  for (const auto& [text, expected] : booleans) {
    EXPECT_EQ(StringUtility::toBoolean(text, false), expected == 1) << text;
    EXPECT_EQ(StringUtility::toBoolean(text, true), expected != 0) << text;
  }
}

TEST(StringUtility, EditingTexts) {
  struct Row {
    std::string text, from, to;
    bool ignoreCase;
    std::uint32_t maxCount;
    std::string expected;
    std::uint32_t count;
  };
  const Row rows[] = {
      {"aaa", "a", "aa", false, 1000, "aaaaaa", 3},  // restarts, bounded by the original length
      {"a-b-c", "-", "+", false, 1, "a+b-c", 1},
      {"xAbx", "ab", "_", true, 10, "x_x", 1},
      {"xAbx", "ab", "_", false, 10, "xAbx", 0},
      {"abc", "", "-", false, 10, "---abc", 3},  // an empty pattern matches at the front
      {"::::", "::", ".", false, 10, "..", 2},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.text + " " + row.from + "->" + row.to);
    std::string text = row.text;
    EXPECT_EQ(replaceString(text, row.from, row.to, row.ignoreCase, row.maxCount), row.count);
    EXPECT_EQ(text, row.expected);
  }
  const std::pair<std::uint32_t, std::string> cuts[] = {
      {8, "abc...ij"}, {9, "abc...hij"}, {10, "abcdefghij"}, {3, "..."}, {2, ""}};
  for (const auto& [maxLength, expected] : cuts) {
    EXPECT_EQ(truncateStringForDisplay("abcdefghij", "...", maxLength), expected) << maxLength;
  }
  EXPECT_EQ(truncateStringForDisplay("ab", "......", 2), "ab");

  const std::string blanks = " \t\n\v\f\r";
  EXPECT_EQ(skipSpaces(blanks + "a b" + blanks), "a b" + blanks);
  EXPECT_EQ(trimSpaces(blanks + "a b" + blanks), blanks + "a b");
  EXPECT_EQ(chopSpaces(blanks), "");
  EXPECT_EQ(toUpper("aZ1\xE4\0b"s), "AZ1\xE4\0B"s);
  EXPECT_EQ(toLower("AZ1\xC4\0B"s), "az1\xC4\0b"s);

  using Tokens = std::vector<std::string>;
  EXPECT_EQ(split("a,,b; c", ",;"), (Tokens{"a", "b", " c"}));
  EXPECT_EQ(split(",,,", ","), Tokens{});
  EXPECT_EQ(split("a b", ""), Tokens{"a b"});
  EXPECT_EQ(split("a\0b"s, "\0"s), (Tokens{"a", "b"}));
}

TEST(StringUtility, PathsFollowTheWindowsRules) {
  struct Row {
    std::string path, directory, name;
  };
  const Row rows[] = {
      {"C:\\data\\a.txt", "C:\\data\\", "a.txt"},
      {"C:a.txt", "C:", "a.txt"},
      {"dir\\sub/file", "dir\\sub/", "file"},
      {"a.txt", "", "a.txt"},
      {"\\\\host\\share\\f", "\\\\host\\share\\", "f"},
      {"", "", ""},
      {"dir\\a\0/b"s, "dir\\", "a"},  // a NUL ends the path
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.path);
    EXPECT_EQ(getPath(row.path), row.directory);
    EXPECT_EQ(splitPath(row.path, '#'), std::make_pair(row.directory, row.name));
  }
  // splitPath sees only the first 260 bytes: the separator at 300 is out of its view.
  const std::string longPath = std::string(300, 'a') + "\\b.txt";
  EXPECT_EQ(splitPath(longPath, '\\'), std::make_pair(std::string(), longPath.substr(0, 260)));
  EXPECT_EQ(getPath(longPath), std::string(300, 'a') + "\\");

  EXPECT_EQ(renameExtension("a.b.c", ""), "a.b");
  EXPECT_EQ(renameExtension("C:\\old.dir\\readme", "bak"), "C:\\old.bak");

  const std::string folder = std::filesystem::temp_directory_path().string();
  EXPECT_TRUE(doesFileExist(folder));
  EXPECT_FALSE(doesFileExist(folder + "/rdx-no-such-file-4711"));
  EXPECT_FALSE(doesFileExist(""));
  EXPECT_TRUE(doesFileExist(folder + "\0junk"s));  // read up to the NUL
}

}  // namespace
}  // namespace QUORVAN::Rendix::GeneralUtilityLib
