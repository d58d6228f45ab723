#include <rdx/foundation/Status.h>

#include "foundation/StatusItemsMatch.h"
#include "foundation/StatusReportForms.h"

#include <gtest/gtest.h>

#include <regex>
#include <string>
#include <vector>

namespace QUORVAN::Rendix::GeneralUtilityLib {
namespace {

using Items = std::vector<StatusItem>;

void ExpectItems(const Status& status, const Items& expected) {
  rdx::test::ExpectSameItems(status.items, expected);
}

TEST(StatusXml, WritesItemsAndEnvelope) {
  const StatusItem item(64279, "a<b", "QUORVAN.Rendix.Global::Reporter", "");
  EXPECT_EQ(item.ToString(nullptr),
            "\n\t<Item>\n\t\t<ID>00FB17</ID>\n\t\t<Source>Global.Reporter</Source>"
            "\n\t\t<Message>a&lt;b</Message>\n\t\t<Details></Details>\n\t</Item>");
  struct Row {
    StatusItem item;
    const char* fragment;  // must appear in the item's XML
  };
  const Row rows[] = {
      {{-1, "", "", ""}, "<ID>Unknown ID</ID>"},
      {{-5, "", "", ""}, "<ID>FFFFFFFB</ID>"},
      {{0, "x&y>z", "", ""}, "<Message>x&amp;y&gt;z</Message>"},
      {{0, "", "", "l1\r\nl2\x01"}, "<Details>l1&#13;\nl2&#1;</Details>"},
      {{0, std::string("cut\0here", 8), "", ""}, "<Message>cut</Message>"},
      {{0, "", "quorvan.rendix.A::B::C", ""}, "<Source>A.B.C</Source>"},
      {{0, "", "<a>&::b:::", ""}, "<Source>&lt;a&gt;&amp;.b.:</Source>"},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.fragment);
    EXPECT_NE(row.item.ToString(nullptr).find(row.fragment), std::string::npos)
        << row.item.ToString(nullptr);
  }

  Status status;
  EXPECT_EQ(status.ToString(nullptr), "");
  EXPECT_EQ(status.ToXmlSnippet("t"), "");
  status.Append(item);
  status.Append(1, "m", "s", "");
  const std::string snippet = item.ToString(nullptr) + status.items[1].ToString(nullptr);
  EXPECT_EQ(status.ToString(nullptr), "<Status>" + snippet + "\n</Status>");
  EXPECT_EQ(status.ToXmlSnippet(nullptr), snippet);

  // Any non-null pointer asks for the time, whatever it points at.
  const std::string timed = item.ToString("");
  std::smatch match;
  ASSERT_TRUE(std::regex_search(timed, match, std::regex("^\n\t<Item>\n\t\t<Time>([^<]*)</Time>")));
  EXPECT_EQ(match[1].length(), 23);
}

TEST(StatusXml, RoundTripKeepsEveryItem) {
  Status original;
  original.Append(-1, "unknown", "Src", "");
  original.Append(0, "info", "", "two\nlines");
  original.Append(-5, "x < y && z > w", "QUORVAN.Rendix.Proxy::Call", "tab\there\rcr\x7f");
  original.Append(0x7FFFFFFF, std::string(5000, 'h'), "S", std::string(9000, 'd'));
  original.Append(0, "<![CDATA[ not markup ]]>", "S", "&amp;");
  Status copy;
  copy.defaultSource = "NotApplied";
  ASSERT_TRUE(copy.Append(original.ToString("time")));
  ExpectItems(copy, {{-1, "unknown", "Src", ""},
                     {0, "info", "", "two\nlines"},
                     {-5, "x < y && z > w", "Proxy.Call", "tab\there\rcr\x7f"},
                     {0x7FFFFFFF, std::string(5000, 'h'), "S", std::string(9000, 'd')},
                     {0, "<![CDATA[ not markup ]]>", "S", "&amp;"}});
}

// XML text as UTF-16LE with its byte-order mark, for ASCII input.
std::string Utf16(const std::string& ascii) {
  std::string text = "\xFF\xFE";
  for (const char c : ascii) text.append({c, '\0'});
  return text;
}

TEST(StatusXml, AppendReadsOneItemPerChildNode) {
  struct Row { const char* name; std::string xml; bool result; Items items; };
  const Row rows[] = {
      {"empty text", "", false, {}},
      {"truncated", "<Status><Item><ID>1</ID>", false, {}},
      {"empty status", "<Status/>", true, {}},
      {"no status", "<Other><Item><ID>1</ID></Item></Other>", true, {}},
      {"all bits read as 0", "<Status><Item><ID>FFFFFFFF</ID></Item></Status>", true, {{}}},
      {"unknown id any case", "<Status><Item><ID>unknown id</ID></Item></Status>", true,
       {{-1, "", "", ""}}},
      {"hex forms", "<Status><Item><ID> 0x1f</ID></Item><Item><ID>-2</ID></Item>"
                    "<Item><ID>12zz</ID></Item><Item><ID>zz</ID></Item></Status>", true,
       {{0x1F, "", "", ""}, {-2, "", "", ""}, {0x12, "", "", ""}, {0, "", "", ""}}},
      {"fields in any order, text joined",
       "<Status><Item><Details>d</Details><Message>m<b>1</b><![CDATA[<2>]]></Message>"
       "<Source>s</Source><ID>A</ID></Item></Status>", true, {{10, "m1<2>", "s", "d"}}},
      {"missing source stays empty", "<Status><Item><ID>1</ID><Message>m</Message></Item>"
                                     "<Item><ID>2</ID></Item></Status>", true,
       {{1, "m", "", ""}, {2, "", "", ""}}},
      {"comment and text still count",
       "<Status><!-- note -->text<Item><ID>3</ID></Item></Status>", true,
       {{3, "", "", ""}, {}, {}}},
      {"whitespace between items dropped",
       "<Status>\n\t<Item><ID>5</ID></Item>\n\t<Item><ID>6</ID></Item>\n</Status>", true,
       {{5, "", "", ""}, {6, "", "", ""}}},
      // The count comes from the first Status; each item from the first match in document
      // order among every Status element.
      {"two status elements",
       "<R><Status><Item><Message>a</Message></Item></Status>"
       "<Status><Item><ID>7</ID></Item><Item><ID>8</ID></Item></Status></R>", true,
       {{7, "a", "", ""}}},
      {"utf-16 with nested status",
       Utf16("<Status><Item><ID>5</ID><Status><Item/></Status></Item><Item/></Status>"), true,
       {{5, "", "", ""}, {}}},
      {"nested status",
       "<Status><X><Status><Item><ID>9</ID></Item></Status></X><Item><ID>1</ID></Item></Status>",
       true, {{9, "", "", ""}, {1, "", "", ""}}},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.name);
    Status status;
    status.Clear("Default");
    EXPECT_EQ(status.Append(row.xml), row.result);
    ExpectItems(status, row.items);
  }
}

TEST(StatusXml, PrependFoldsEverythingIntoOneFrontItem) {
  struct Row {
    const char* name;
    std::string xml;
    bool result;
    Items items;  // the whole status afterwards; it held one item {1, "old", "", ""} before
  };
  const StatusItem old(1, "old", "", "");
  const Row rows[] = {
      {"empty text", "", false, {old}},
      {"empty status", "<Status/>", true, {{}, old}},
      {"no status", "<Other/>", true, {{}, old}},
      {"later fields win, missing ones stay",
       "<Status><Item><ID>2</ID><Message>first</Message><Source>s1</Source>"
       "<Details>d1</Details></Item><Item><ID>3</ID><Message>second</Message></Item></Status>",
       true, {{3, "second", "s1", "d1"}, old}},
      {"children that are not items are skipped",
       "<Status><Item><ID>4</ID></Item><!-- c --></Status>", true, {{4, "", "", ""}, old}},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.name);
    Status status;
    status.Append(old);
    EXPECT_EQ(status.Prepend(row.xml), row.result);
    ExpectItems(status, row.items);
  }
}

TEST(StatusXml, BrokenInputNeverCrashesNorAddsOnFailure) {
  Status source;
  source.Append(-1, "a&b", "QUORVAN.Rendix.X::Y", "d<e>");
  source.Append(2, "second", "", "");
  const std::string xml = source.ToString("t");
  // Every prefix of a valid document: either refused with nothing added, or read.
  for (std::size_t cut = 0; cut <= xml.size(); ++cut) {
    SCOPED_TRACE(cut);
    Status status;
    const bool read = status.Append(xml.substr(0, cut));
    if (!read) {
      EXPECT_TRUE(status.items.empty());
    }
    Status front;
    const bool prepended = front.Prepend(xml.substr(0, cut));
    EXPECT_EQ(front.items.size(), prepended ? 1u : 0u);
  }
  Status status;
  EXPECT_TRUE(status.Append(xml));
  EXPECT_EQ(status.items.size(), 2u);
  // Embedded NUL bytes and stray bytes are refused or read, never overrun.
  for (const std::string& bad :
       {std::string("<Status>\0<Item/></Status>", 25), std::string("\xff\xfe<\0S\0", 6),
        std::string("<Status><Item><ID>&#0;</ID></Item></Status>"),
        std::string(100000, '<'), "<Status>" + std::string(20000, '\x01') + "</Status>"}) {
    Status any;
    (void)any.Append(bad);
    (void)any.Prepend(bad);
  }
  // Deep nesting must not exhaust the stack.
  std::string deep;
  for (int i = 0; i < 100000; ++i) deep += "<Status>";
  for (int i = 0; i < 100000; ++i) deep += "</Status>";
  Status nested;
  EXPECT_TRUE(nested.Append(deep));
  EXPECT_EQ(nested.items.size(), 1u);
}

TEST(StatusXml, ReportForms) {
  Status status;
  EXPECT_EQ(rdx::foundation::GetStatusAsReportText(status), "");
  EXPECT_EQ(rdx::foundation::GetStatusAsReportXml(status), "");
  status.Append(64279, "a<b", "QUORVAN.Rendix.Global::Reporter", "d");
  status.Append(-1, "m", "", "");
  const std::string time = R"(\d{4}-\d\d-\d\dT\d\d:\d\d:\d\d\.\d{3})";
  EXPECT_TRUE(std::regex_match(
      rdx::foundation::GetStatusAsReportText(status),
      std::regex("\n" + time + " : \\[Global::Reporter : 00FB17\\] Error: a<b\nd\n" + time +
                 " : m")))
      << rdx::foundation::GetStatusAsReportText(status);
  EXPECT_TRUE(std::regex_match(
      rdx::foundation::GetStatusAsReportXml(status),
      std::regex("\n\t<Item><Time>" + time + "</Time>\n\t\t<ID>00FB17</ID>\n\t\t<Source>"
                 "QUORVAN\\.Rendix\\.Global::Reporter</Source>\n\t\t<Message>a<b</Message>"
                 "\n\t\t<Details>d</Details></Item>"
                 "\n\t<Item><Time>" + time + "</Time>\n\t\t<ID>FFFFFFFF</ID>\n\t\t<Source>"
                 "</Source>\n\t\t<Message>m</Message>\n\t\t<Details></Details></Item>")))
      << rdx::foundation::GetStatusAsReportXml(status);
}

}  // namespace
}  // namespace QUORVAN::Rendix::GeneralUtilityLib
