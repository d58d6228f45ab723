// The direct reading of the library's own status layout, and the direct parse of text without
// attributes, must give exactly what the document route gives.
#include <rdx/foundation/Status.h>

#include "foundation/StatusItemsMatch.h"
#include "foundation/StatusXmlReader.h"
#include "platform/xml/XmlDocument.h"

#include <gtest/gtest.h>

#include <optional>
#include <string>
#include <vector>

namespace rdx::foundation {
namespace {

using QUORVAN::Rendix::GeneralUtilityLib::Status;
using QUORVAN::Rendix::GeneralUtilityLib::StatusItem;

std::string Layout(const std::string& id, const std::string& source,
                   const std::string& message, const std::string& details) {
  return "<Status>\n\t<Item>\n\t\t<ID>" + id + "</ID>\n\t\t<Source>" + source +
         "</Source>\n\t\t<Message>" + message + "</Message>\n\t\t<Details>" + details +
         "</Details>\n\t</Item>\n</Status>";
}

using rdx::test::ExpectSameItems;

TEST(StatusXmlOwnLayout, ReadsWhatTheDocumentReadsAndLeavesTheRestToIt) {
  Status written;
  written.Append(-1, "a&b<c>d", "QUORVAN.Rendix.X::Y", "l1\nl2\tt\r\x01\x1f");
  written.Append(0, "   ", "S", " \n\t ");  // blanks only: the document drops them
  written.Append(0x7FFFFFFF, "  padded  ", "\xC3\xA4\xFF", "");
  struct Row { std::string text; bool direct; };
  const Row rows[] = {
      {written.ToString(nullptr), true},
      {written.ToString("with time"), true},
      {Layout("FFFFFFFF", "", "&#9;", ""), true},
      {Layout(" 0x1f", "s", " \n m", "d"), true},
      {Layout("12zz", "]]>", "&#31;x", "&amp;amp;"), true},
      {"<Status>\n</Status>", true},
      {Layout("1", "s", "&quot;", "d"), false},        // an escape the writer does not use
      {Layout("1", "s", "&#32;", "d"), false},         // a reference outside the control range
      {Layout("1", "s", "a\rb", "d"), false},          // raw CR is changed by the parser
      {Layout("1", "s", "<![CDATA[x]]>", "d"), false},
      {Layout("1", "s", "m", "d") + "\n", false},       // anything after the envelope
      {"<Status><Item><ID>1</ID></Item></Status>", false},  // another layout
      {"<Status>\n\t<Item>\n\t\t<ID>1</ID>\n\t\t<Source>s</Source>\n\t\t<Message>m", false},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.text);
    std::vector<StatusItem> direct(1);  // items are appended after what is there
    ASSERT_EQ(StatusXmlReader::ReadOwnLayout(row.text, direct), row.direct);
    if (!row.direct) {
      EXPECT_EQ(direct.size(), 1u) << "a refused text must leave the items untouched";
      continue;
    }
    std::vector<StatusItem> throughDocument(1);
    ASSERT_TRUE(AppendThroughDocument(row.text, throughDocument));
    ExpectSameItems(direct, throughDocument);
  }
}

TEST(StatusXmlOwnLayout, DirectParseRefusesWhatTheDocumentLayerRefuses) {
  // Text without '=' is parsed without the document layer; its verdicts must agree.
  const std::string texts[] = {
      "",           "not xml",        "<a/><b/>",          "text<a/>",      "<a/>text",
      "<!-- c --><a/>", "<?pi x?><a/>", "<!DOCTYPE a><a/>", "<a>",           "<a></b>",
      " <a/> ",     "<![CDATA[x]]><a/>", "\xEF\xBB\xBF<a/>", "<a/>\n",      "<!-- only -->",
      "<Status>\n</Status>", "<a>&bogus;</a>", std::string("<a>\0</a>", 8),
  };
  for (const std::string& text : texts) {
    SCOPED_TRACE(text);
    std::optional<rdx::xml::ParseError> error;
    (void)rdx::xml::LoadText(text, error);
    StatusXmlReader reader;
    EXPECT_EQ(reader.Load(text), !error.has_value());
  }
}

}  // namespace
}  // namespace rdx::foundation
