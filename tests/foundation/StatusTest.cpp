#include <rdx/foundation/Status.h>

#include "foundation/StatusItemsMatch.h"
#include "foundation/StatusReportForms.h"
#include "foundation/StatusXmlByQueries.h"
#include "foundation/StatusXmlReader.h"

#include <gtest/gtest.h>

#include <optional>
#include <regex>
#include <string>
#include <vector>

namespace QUORVAN::Rendix::GeneralUtilityLib {
namespace {

using Items = std::vector<StatusItem>;
using rdx::test::ExpectSameItems;

TEST(StatusItem, TextFormSourceAndIdentity) {
  struct Row {
    const char* prefix;
    StatusItem item;
    std::string text;
  };
  const Row rows[] = {
      {"Main",
       {64279, "Could not open.", "QUORVAN.Rendix.Global.Reporter", ""},
       "[Main]: [Global.Reporter : 00FB17] Error: Could not open."},
      {"Main", {0, "Started.", "Manager", "pid 12"}, "[Main]: [Manager] Started.\npid 12"},
      {"Main", {10, "Lost.", "", "why"}, "Lost.\nwhy"},
      {"", {-5, "m", "S", ""}, "[]: [S : FFFFFFFB] Error: m"},
      {nullptr, {0x1234567, "m", "S", ""}, "[S : 1234567] Error: m"},
      {nullptr, {2, "m", "quorvan.rendix.A::B", ""}, "[A::B : 000002] Error: m"},
      // Removal searches again from the start, so a prefix that forms after a cut goes too.
      {nullptr, {0, "m", "QUORVAN.QUORVAN.Rendix.Rendix.X", ""}, "[X] m"},
      {nullptr, {0, "m", "A.QUORVAN.Rendix.B", ""}, "[A.B] m"},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.text);
    EXPECT_EQ(row.item.ToTextString(row.prefix), row.text);
  }
  // Long and binary texts pass whole, well beyond any formatting buffer.
  const std::string huge(10000, 'm');
  EXPECT_EQ(StatusItem(0, huge + std::string("\0z", 2), "S", "").ToTextString(nullptr),
            "[S] " + huge + std::string("\0z", 2));
  EXPECT_EQ(StatusItem::FormatSource("quorvan.rendix.A::B"), "quorvan.rendix.A.B");
  EXPECT_EQ(StatusItem::FormatSource(":::"), ".:");
  // Items are equal by id alone, and an item has no string form of its own.
  EXPECT_TRUE(StatusItem(1, "a", "b", "c") == StatusItem(1, "x", "y", "z"));
  EXPECT_FALSE(StatusItem(1, "a", "b", "c") == StatusItem(2, "a", "b", "c"));
  EXPECT_EQ(StatusItem(1, "a", "b", "c").ToString(), "");
}

TEST(Status, AddingKeepsOrderAndDefaultSourceClearingAddsNothing) {
  Status status;
  status.Clear("Mgr");
  EXPECT_TRUE(status.Append(5, "m", "", "d"));
  EXPECT_TRUE(status.Append(StatusItem(6, "n", "", "")));  // no default applied
  EXPECT_TRUE(status.Prepend(4, "p", "", "e"));
  EXPECT_TRUE(status.Prepend(StatusItem(3, "q", "own", "")));
  status.add(7, "a", "s", "dropped");
  status(2, "o", "", "dropped");
  const std::vector<StatusItem> expected = {
      {2, "o", "Mgr", ""},  {3, "q", "own", ""}, {4, "p", "Mgr", "e"},
      {5, "m", "Mgr", "d"}, {6, "n", "", ""},    {7, "a", "s", ""},
  };
  ExpectSameItems(status.items, expected);

  status.Clear("s");
  status.Append(1, "a", "", "");
  status.Append(status);  // doubles, in order
  EXPECT_EQ(status.ToTextString(nullptr), "[s : 000001] Error: a\n[s : 000001] Error: a");
  Status other;
  other.defaultSource = "ignored";
  other.Append(StatusItem(9, "z", "", ""));
  status.add(other);
  ASSERT_EQ(status.items.size(), 3u);
  EXPECT_EQ(status.items.back().message, "z");

  status.clear(1, "x", "NewSource", "y");
  EXPECT_TRUE(status.items.empty() && status.defaultSource == "NewSource");
  EXPECT_EQ(status.ToTextString("P"), "");
}

TEST(StatusXml, WritesItemsAndReadsThemBack) {
  const StatusItem item(64279, "a<b", "QUORVAN.Rendix.Global::Reporter", "");
  EXPECT_EQ(item.ToString(nullptr),
            "\n\t<Item>\n\t\t<ID>00FB17</ID>\n\t\t<Source>Global.Reporter</Source>"
            "\n\t\t<Message>a&lt;b</Message>\n\t\t<Details></Details>\n\t</Item>");
  struct Row {
    StatusItem item;
    const char* fragment;                              // must appear in the item's XML
    std::optional<StatusItem> changed = std::nullopt;  // what reading it back gives, if not item
  };
  const Row rows[] = {
      {{-1, "unknown", "Src", ""}, "<ID>Unknown ID</ID>"},
      {{-5, "x < y && z > w", "QUORVAN.Rendix.Proxy::Call", ""},
       "<ID>FFFFFFFB</ID>",
       StatusItem(-5, "x < y && z > w", "Proxy.Call", "")},
      {{0, "", "", "l1\r\nl2\t\x7f"}, "<Details>l1&#13;\nl2\t\x7f</Details>"},
      {{0, std::string("cut\0here", 8), "", ""},
       "<Message>cut</Message>",
       StatusItem(0, "cut", "", "")},
      {{0, "", "<a>&::b:::", ""},
       "<Source>&lt;a&gt;&amp;.b.:</Source>",
       StatusItem(0, "", "<a>&.b.:", "")},
      {{0x7FFFFFFF, std::string(5000, 'h'), "S", std::string(9000, 'd')}, "<ID>7FFFFFFF</ID>"},
      {{0, "<![CDATA[ x ]]>", "S", "&amp;"}, "<Details>&amp;amp;</Details>"},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.fragment);
    EXPECT_NE(row.item.ToString(nullptr).find(row.fragment), std::string::npos)
        << row.item.ToString(nullptr);
    Status written, read;
    written.Append(row.item);
    read.defaultSource = "NotApplied";
    ASSERT_TRUE(read.Append(written.ToString("with time")));
    ExpectSameItems(read.items, {row.changed.value_or(row.item)});
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
  std::smatch match;
  const std::string timed = item.ToString("");
  ASSERT_TRUE(std::regex_search(timed, match, std::regex("^\n\t<Item>\n\t\t<Time>([^<]*)</Time>")));
  EXPECT_EQ(match[1].length(), 23);
}

// XML text as UTF-16LE with its byte-order mark, for ASCII input.
std::string Utf16(const std::string& ascii) {
  std::string text = "\xFF\xFE";
  for (const char c : ascii) text.append({c, '\0'});
  return text;
}

std::string InStatus(const std::string& children) { return "<Status>" + children + "</Status>"; }

// Append reads one item per child node; Prepend folds everything into one front item.
TEST(StatusXml, AppendAndPrependReadWhatTheQueriesRead) {
  struct Row {
    const char* name;
    std::string xml;
    bool result;
    Items items;
    bool prepend = false;
  };
  const StatusItem old(1, "old", "", "");  // the one item a prepending status held before
  const Row rows[] = {
      {"empty text", "", false, {}},
      {"truncated", "<Status><Item><ID>1</ID>", false, {}},
      {"empty status", "<Status/>", true, {}},
      {"no status", "<Other><Item><ID>1</ID></Item></Other>", true, {}},
      {"all bits read as 0", InStatus("<Item><ID>FFFFFFFF</ID></Item>"), true, {{}}},
      {"unknown id any case",
       InStatus("<Item><ID>unknown id</ID></Item>"),
       true,
       {{-1, "", "", ""}}},
      {"hex forms",
       InStatus("<Item><ID> 0x1f</ID></Item><Item><ID>-2</ID></Item>"
                "<Item><ID>12zz</ID></Item><Item><ID>zz</ID></Item>"),
       true,
       {{0x1F, "", "", ""}, {-2, "", "", ""}, {0x12, "", "", ""}, {0, "", "", ""}}},
      {"fields in any order, text joined",
       InStatus("<Item><Details>d</Details><Message>m<b>1</b><![CDATA[<2>]]></Message>"
                "<Source>s</Source><ID>A</ID></Item>"),
       true,
       {{10, "m1<2>", "s", "d"}}},
      {"missing fields empty, whitespace dropped",
       InStatus("\n\t<Item><ID>1</ID><Message>m</Message></Item>\n\t<Item><ID>2</ID></Item>\n"),
       true,
       {{1, "m", "", ""}, {2, "", "", ""}}},
      {"comment and text still count",
       InStatus("<!-- note -->text<Item><ID>3</ID></Item>"),
       true,
       {{3, "", "", ""}, {}, {}}},
      // The count comes from the first Status; each item from the first match in document
      // order among every Status element.
      {"two status elements",
       "<R>" + InStatus("<Item><Message>a</Message></Item>") +
           InStatus("<Item><ID>7</ID></Item><Item><ID>8</ID></Item>") + "</R>",
       true,
       {{7, "a", "", ""}}},
      {"utf-16 with nested status",
       Utf16(InStatus("<Item><ID>5</ID><Status><Item/></Status></Item><Item/>")),
       true,
       {{5, "", "", ""}, {}}},
      {"prepend empty text", "", false, {old}, true},
      {"prepend empty status", "<Status/>", true, {{}, old}, true},
      {"prepend no status", "<Other/>", true, {{}, old}, true},
      {"prepend: later fields win, missing ones stay, other children skipped",
       InStatus("<Item><ID>2</ID><Message>first</Message><Source>s1</Source><Details>d1</Details>"
                "</Item><!-- c --><Item><ID>3</ID><Message>second</Message></Item>"),
       true,
       {{3, "second", "s1", "d1"}, old},
       true},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.name);
    Status status;
    status.Clear(row.prepend ? "" : "Default");
    if (row.prepend) status.Append(old);
    Items byQueries = status.items;
    EXPECT_EQ(row.prepend ? status.Prepend(row.xml) : status.Append(row.xml), row.result);
    ExpectSameItems(status.items, row.items);
    EXPECT_EQ(rdx::test::ReadByQueries(row.xml, byQueries, row.prepend), row.result);
    ExpectSameItems(status.items, byQueries);
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
    Status status, front;
    if (!status.Append(xml.substr(0, cut))) {
      EXPECT_TRUE(status.items.empty());
    }
    const bool prepended = front.Prepend(xml.substr(0, cut));
    EXPECT_EQ(front.items.size(), prepended ? 1u : 0u);
  }
  EXPECT_TRUE(Status().Append(xml));
  // Embedded NUL bytes and stray bytes are refused or read, never overrun.
  for (const std::string& bad :
       {std::string("<Status>\0<Item/></Status>", 25), std::string("\xff\xfe<\0S\0", 6),
        std::string("<Status><Item><ID>&#0;</ID></Item></Status>"), std::string(100000, '<'),
        "<Status>" + std::string(20000, '\x01') + "</Status>"}) {
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
  // Formatted as C strings: text after a NUL byte never shows.
  status.Append(64279, "a<b", "QUORVAN.Rendix.Global::Reporter", std::string("d\0cut", 5));
  status.Append(-1, "m", "", "");
  const std::string time = R"(\d{4}-\d\d-\d\dT\d\d:\d\d:\d\d\.\d{3})";
  EXPECT_TRUE(std::regex_match(
      rdx::foundation::GetStatusAsReportText(status),
      std::regex("\n" + time + " : \\[Global::Reporter : 00FB17\\] Error: a<b\nd\n" + time +
                 " : m")))
      << rdx::foundation::GetStatusAsReportText(status);
  EXPECT_TRUE(std::regex_match(
      rdx::foundation::GetStatusAsReportXml(status),
      std::regex("\n\t<Item><Time>" + time +
                 "</Time>\n\t\t<ID>00FB17</ID>\n\t\t<Source>"
                 "QUORVAN\\.Rendix\\.Global::Reporter</Source>\n\t\t<Message>a<b</Message>"
                 "\n\t\t<Details>d</Details></Item>"
                 "\n\t<Item><Time>" +
                 time +
                 "</Time>\n\t\t<ID>FFFFFFFF</ID>\n\t\t<Source>"
                 "</Source>\n\t\t<Message>m</Message>\n\t\t<Details></Details></Item>")))
      << rdx::foundation::GetStatusAsReportXml(status);
}

// The direct reading of the library's own status layout must give exactly what the document
// route gives.
std::string Layout(const std::string& id, const std::string& source, const std::string& message,
                   const std::string& details) {
  return "<Status>\n\t<Item>\n\t\t<ID>" + id + "</ID>\n\t\t<Source>" + source +
         "</Source>\n\t\t<Message>" + message + "</Message>\n\t\t<Details>" + details +
         "</Details>\n\t</Item>\n</Status>";
}

TEST(StatusXmlOwnLayout, ReadsWhatTheDocumentReadsAndLeavesTheRestToIt) {
  Status written;
  written.Append(-1, "a&b<c>d", "QUORVAN.Rendix.X::Y", "l1\nl2\tt\r\x01\x1f");
  written.Append(0, "   ", "S", " \n\t ");  // blanks only: the document drops them
  written.Append(0x7FFFFFFF, "  padded  ", "\xC3\xA4\xFF", "");
  struct Row {
    std::string text;
    bool direct;
  };
  const Row rows[] = {
      {written.ToString(nullptr), true},
      {written.ToString("with time"), true},
      {Layout("FFFFFFFF", "", "&#9;", ""), true},
      {Layout(" 0x1f", "s", " \n m", "d"), true},
      {Layout("12zz", "]]>", "&#31;x", "&amp;amp;"), true},
      {"<Status>\n</Status>", true},
      {Layout("1", "s", "&quot;", "d"), false},  // an escape the writer does not use
      {Layout("1", "s", "&#32;", "d"), false},   // a reference outside the control range
      {Layout("1", "s", "a\rb", "d"), false},    // raw CR is changed by the parser
      {Layout("1", "s", "<![CDATA[x]]>", "d"), false},
      {Layout("1", "s", "m", "d") + "\n", false},           // anything after the envelope
      {"<Status><Item><ID>1</ID></Item></Status>", false},  // another layout
      {"<Status>\n\t<Item>\n\t\t<ID>1</ID>\n\t\t<Source>s</Source>\n\t\t<Message>m", false},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.text);
    std::vector<StatusItem> direct(1);  // items are appended after what is there
    ASSERT_EQ(rdx::foundation::StatusXmlReader::ReadOwnLayout(row.text, direct), row.direct);
    if (!row.direct) {
      EXPECT_EQ(direct.size(), 1u) << "a refused text must leave the items untouched";
      continue;
    }
    std::vector<StatusItem> throughDocument(1);
    ASSERT_TRUE(rdx::foundation::AppendThroughDocument(row.text, throughDocument));
    ExpectSameItems(direct, throughDocument);
  }
}

TEST(StatusXmlOwnLayout, EveryMarkupOrControlByteAtEveryPositionRoundTrips) {
  // Plain text is escaped and read 8 bytes at a time: a byte needing care must be seen in a
  // full word and in the tail alike, in the source as in the texts.
  for (const char special : {'&', '<', '>', '\x01', '\x1f', '\r', '\t', '\n'}) {
    for (std::size_t at = 0; at < 18; ++at) {
      std::string text(18, 'x');
      text[at] = special;
      SCOPED_TRACE(testing::Message() << "byte " << int(special) << " at " << at);
      Status written;
      written.Append(1, text, "Src" + text, text);
      const std::string xml = written.ToString(nullptr);
      std::vector<StatusItem> direct;
      ASSERT_TRUE(rdx::foundation::StatusXmlReader::ReadOwnLayout(xml, direct));
      std::vector<StatusItem> throughDocument;
      ASSERT_TRUE(rdx::foundation::AppendThroughDocument(xml, throughDocument));
      ExpectSameItems(direct, throughDocument);
      EXPECT_EQ(direct.at(0).message, text);
      EXPECT_EQ(direct.at(0).details, text);
    }
  }
}

}  // namespace
}  // namespace QUORVAN::Rendix::GeneralUtilityLib
