#include "platform/xml/XmlDocument.h"

#include <gtest/gtest.h>

#include <optional>
#include <string>

namespace rdx::xml {
namespace {

TEST(XmlDocument, ResolvesReferencesAndRefusesUndefinedOnes) {
  const struct Row {
    const char* xml;
    std::string text;       // the root's text when it loads
    std::uint32_t refusal;  // the parse error code when it does not
  } rows[] = {
      {"<a>&lt;&gt;&amp;&apos;&quot;</a>", "<>&'\"", 0},
      {"<a>&#65;&#x42;&#x63;&#233;</a>", "ABc\xC3\xA9", 0},
      {"<a>&#x1F600;</a>", "\xF0\x9F\x98\x80", 0},  // four UTF-8 bytes
      {"<a>&#9;&#1;</a>", "\t\x01", 0},             // control characters are taken
      {"<a>&amp;lt;</a>", "&lt;", 0},               // resolved once, not twice
      {"<a b='&lt;x'/>", "", 0},
      {"<a>&nbsp;</a>", "", kErrorBadReference},      // undefined entity
      {"<a>a & b</a>", "", kErrorBadReference},       // bare "&"
      {"<a>&#0;</a>", "", kErrorBadReference},        // NUL would cut the text
      {"<a>&#x110000;</a>", "", kErrorBadReference},  // past the last character
      {"<a>&#xZ1;</a>", "", kErrorBadReference},
      {"<a>&lt</a>", "", kErrorBadReference},  // no ";"
      {"<a b='&bad;'/>", "", kErrorBadReference},
      {"<a b='<'/>", "", kErrorLessThanInAttribute},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.xml);
    std::optional<ParseError> error;
    const auto document = LoadText(row.xml, error);
    if (row.refusal != 0) {
      ASSERT_TRUE(error.has_value());
      EXPECT_EQ(error->code, row.refusal);
      continue;
    }
    ASSERT_FALSE(error.has_value()) << error->reason;
    EXPECT_EQ(NodeText(SelectSingleNode(document, "/a").node), row.text);
  }
}

}  // namespace
}  // namespace rdx::xml
