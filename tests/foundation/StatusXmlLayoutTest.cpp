// The direct reading of the library's own status layout, and the direct parse of text without
// attributes, must give exactly what the document route gives.
#include <rdx/foundation/Status.h>
#include <rdx/platform/XMLProperties.h>

#include "foundation/StatusXmlReader.h"
#include "platform/xml/XmlDocument.h"

#include <gtest/gtest.h>

#include <optional>
#include <string>
#include <utility>
#include <vector>

namespace rdx::foundation {
namespace {

using QUORVAN::Rendix::GeneralUtilityLib::Status;
using QUORVAN::Rendix::GeneralUtilityLib::StatusItem;

std::string Layout(const std::string& id, const std::string& source, const std::string& message,
                   const std::string& details) {
  return "<Status>\n\t<Item>\n\t\t<ID>" + id + "</ID>\n\t\t<Source>" + source +
         "</Source>\n\t\t<Message>" + message + "</Message>\n\t\t<Details>" + details +
         "</Details>\n\t</Item>\n</Status>";
}

void ExpectSameItems(const StatusItems& actual, const StatusItems& expected) {
  ASSERT_EQ(actual.size(), expected.size());
  for (std::size_t i = 0; i < actual.size(); ++i) {
    SCOPED_TRACE(i);
    EXPECT_EQ(actual[i].id, expected[i].id);
    EXPECT_EQ(actual[i].message, expected[i].message);
    EXPECT_EQ(actual[i].source, expected[i].source);
    EXPECT_EQ(actual[i].details, expected[i].details);
  }
}

TEST(StatusXmlOwnLayout, ReadsWhatTheDocumentReads) {
  Status written;
  written.Append(-1, "a&b<c>d", "QUORVAN.Rendix.X::Y", "l1\nl2\tt\r\x01\x1f");
  written.Append(0, "   ", "S", " \n\t ");  // blanks only: the document drops them
  written.Append(0x7FFFFFFF, "  padded  ", "\xC3\xA4\xFF", "");
  written.Append(5, "", "", "");
  const std::string texts[] = {
      written.ToString(nullptr),
      written.ToString("with time"),
      Layout("FFFFFFFF", "s", "m", "d"),
      Layout(" 0x1f", "s", " \n m", "d"),
      Layout("unknown ID", "", "&#9;", ""),
      Layout("12zz", "]]>", "&#31;x", "&amp;amp;"),
      "<Status>\n</Status>",
  };
  for (const std::string& text : texts) {
    SCOPED_TRACE(text);
    std::vector<StatusItem> direct(1);  // items are appended after what is there
    ASSERT_TRUE(StatusXmlReader::ReadOwnLayout(text, direct));
    std::vector<StatusItem> throughDocument(1);
    ASSERT_TRUE(AppendThroughDocument(text, throughDocument));
    ExpectSameItems(direct, throughDocument);
  }
}

TEST(StatusXmlOwnLayout, XMLPropertiesReadsTheWrittenItem) {
  const StatusItem item(64279, "a<b", "QUORVAN.Rendix.Global::Reporter", "");
  QUORVAN::Rendix::GeneralUtilityLib::XMLProperties document;
  ASSERT_TRUE(document.init(item.ToString(nullptr)));
  const std::pair<const char*, const char*> fields[] = {
      {"/Item/ID", "00FB17"}, {"/Item/Source", "Global.Reporter"}, {"/Item/Message", "a<b"},
      {"/Item/Details", "none"}};
  for (const auto& [path, text] : fields) {
    SCOPED_TRACE(path);
    ASSERT_TRUE(document.selectNode(path, 0));
    EXPECT_EQ(document.getNodeText("none"), text);
  }
}

TEST(StatusXmlOwnLayout, LeavesEverythingElseToTheDocument) {
  const std::string texts[] = {
      Layout("1", "s", "&quot;", "d"),              // an escape the writer does not use
      Layout("1", "s", "&#32;", "d"),               // a reference outside the control range
      Layout("1", "s", "&#0;", "d"),
      Layout("1", "s", "a\rb", "d"),                // raw CR is changed by the parser
      Layout("1", "s", "<![CDATA[x]]>", "d"),
      Layout("1", "s", "m", "d") + "\n",            // anything after the envelope
      Layout("1", "s", "m", "d").substr(1),
      "<Status>\n\t<Item>\n\t\t<ID>1</ID>\n\t</Item>\n</Status>",  // fields missing
      "<Status><Item><ID>1</ID></Item></Status>",   // another layout
      "<Status>\n\t<Item>\n\t\t<ID>1</ID>\n\t\t<Source>s</Source>\n\t\t<Message>m",
      "<Status/>",
  };
  for (const std::string& text : texts) {
    SCOPED_TRACE(text);
    std::vector<StatusItem> items(2);
    EXPECT_FALSE(StatusXmlReader::ReadOwnLayout(text, items));
    EXPECT_EQ(items.size(), 2u) << "a refused text must leave the items untouched";
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
