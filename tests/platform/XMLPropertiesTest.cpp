#include <rdx/platform/XMLProperties.h>

#include "platform/XMLPropertiesState.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <string>

namespace QUORVAN::Rendix::GeneralUtilityLib {

// The status is cleared, not filled, on failure: the text of the last failure is read here.
struct XMLPropertiesTestPeer {
  static std::string LastFailure(const XMLProperties& xml) { return xml.dom_->lastFailure; }
  // How many times the document walked its whole tree to re-check handles after an edit.
  static std::uint64_t TreeWalks(const XMLProperties& xml) {
    return xml.dom_->slot->document->IndexBuilds();
  }
};

namespace {

constexpr std::uint32_t kNone = 4294967295u;

std::string LastFailure(const XMLProperties& xml) {
  return XMLPropertiesTestPeer::LastFailure(xml);
}

TEST(XMLProperties, ParsesAsTheWindowsDomDoesAndExplainsRefusals) {
  struct Row {
    const char* xml;
    std::uint32_t rootChildren;
    const char* rootText;
  };
  const Row rows[] = {
      {"<a>\n  <b/>\n\t</a>", 1, ""},    // layout text is dropped
      {"<a><!-- c --><b/></a>", 2, ""},  // comments are children
      {"<a>x<b>y<c>z</c></b><![CDATA[<w>]]><!--no--> z </a>", 5, "xyz<w> z "},
      {"<?xml version=\"1.0\"?>\n<!-- lead -->\n<a>&lt;&amp;</a>", 1, "<&"},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.xml);
    XMLProperties xml;
    ASSERT_TRUE(xml.init(row.xml)) << LastFailure(xml);
    EXPECT_EQ(xml.getNumChildren("/*"), row.rootChildren);
    EXPECT_EQ(xml.getNodeTextFrom("/*", "unwanted"), row.rootText[0] ? row.rootText : "unwanted");
  }
  using namespace std::string_literals;
  // Each kind of refusal once; bad references are XmlDocumentTest's.
  for (const std::string& bad : {"not xml"s, "   "s, "<a/><b/>"s, "<a/>y"s, "<a b='1' b='2'/>"s,
                                 "<a><b></a></b>"s, "<a>\0</a>"s, "<a>x & y</a>"s}) {
    SCOPED_TRACE(bad);
    XMLProperties xml;
    ASSERT_TRUE(xml.init("<seed/>"));
    EXPECT_FALSE(xml.init(bad));
    EXPECT_EQ(LastFailure(xml).rfind("Could not load XML: '", 0), 0u) << LastFailure(xml);
    // The failed load leaves an empty document and a cleared status behind.
    EXPECT_EQ(xml.getNumNodes("//seed"), 0u);
    EXPECT_TRUE(xml.getStatus().items.empty());
  }
  XMLProperties xml;
  ASSERT_FALSE(xml.init("<a>\n  <b>\n</a>"));
  EXPECT_EQ(LastFailure(xml).rfind("Could not load XML: '<a>\n  <b>\n</a>'.  Please ensure that "
                                   "the XML is accessible and valid.  Code: 'C00CE50Eh';  Line: "
                                   "'3';  Column: '",
                                   0),
            0u)
      << LastFailure(xml);
  EXPECT_NE(LastFailure(xml).find("';  Reason: 'Start-end tags mismatch'"), std::string::npos);
  ASSERT_FALSE(xml.init("<a>\n&ok;</a>"));
  EXPECT_NE(LastFailure(xml).find("Line: '2';  Column: '1';  Reason: 'Reference to undefined "
                                  "entity 'ok'.'"),
            std::string::npos)
      << LastFailure(xml);
  ASSERT_TRUE(xml.init("<a t='&lt;&#10;&quot;\tx'/>"));  // raw layout in values reads as blanks
  ASSERT_TRUE(xml.selectNode("/a", 0));
  EXPECT_EQ(xml.getAttributes().get("t"), "<\n\" x");
  // Long sources are shortened to 100 characters around "...".
  ASSERT_FALSE(xml.init("<" + std::string(300, 'x')));
  EXPECT_NE(
      LastFailure(xml).find("'<" + std::string(48, 'x') + "..." + std::string(48, 'x') + "'."),
      std::string::npos)
      << LastFailure(xml);
}

TEST(XMLProperties, InitTakesExistingPathsAsFilesAndSaveWritesEdits) {
  const std::filesystem::path dir = std::filesystem::path(testing::TempDir()) / "rdx-xmlprops";
  std::filesystem::create_directories(dir);
  const std::string file = (dir / "cfg.xml").string();
  std::ofstream(file) << "<Cfg><Port>80</Port></Cfg>\n";
  XMLProperties xml;
  EXPECT_TRUE(xml.init(""));             // nothing to load is not a failure
  EXPECT_FALSE(xml.init(dir.string()));  // a folder exists but holds no document
  EXPECT_NE(LastFailure(xml).find("Code: '80070005h'"), std::string::npos) << LastFailure(xml);
  EXPECT_FALSE(xml.init((dir / "missing.xml").string()));  // parsed as text, so a parse error
  EXPECT_NE(LastFailure(xml).find("Code: 'C00CE5"), std::string::npos) << LastFailure(xml);

  ASSERT_TRUE(xml.init(file));
  ASSERT_TRUE(xml.selectNode("/Cfg/Port", 0));
  ASSERT_TRUE(xml.setNodeText("3982"));
  EXPECT_TRUE(xml.save((dir / "saved.xml").string()));
  XMLProperties reread;
  ASSERT_TRUE(reread.init((dir / "saved.xml").string()));
  EXPECT_EQ(reread.getNodeTextFrom("/Cfg/Port", ""), "3982");
  EXPECT_FALSE(xml.save((dir / "no" / "such" / "folder.xml").string()));
  std::filesystem::remove_all(dir);
}

TEST(XMLProperties, QueriesWalkTheCachedList) {
  XMLProperties xml;
  ASSERT_TRUE(xml.init("<r><a n='0'/><a n='1'>t</a><!--c--><b/></r>"));
  struct Row {
    std::string xpath;
    std::uint32_t nodes, children;
  };
  const Row rows[] = {{"//a", 2, 0},
                      {"/r", 1, 4},
                      {"/", 1, 1},
                      {"//zz", 0, kNone},
                      {"", kNone, kNone},
                      {"///", kNone, kNone},
                      {"count(//a)", kNone, kNone},
                      {std::string("/r\0junk", 7), kNone, kNone}};
  for (const Row& row : rows) {
    SCOPED_TRACE(row.xpath);
    EXPECT_EQ(xml.getNumNodes(row.xpath), row.nodes);
    EXPECT_EQ(xml.getNumChildren(row.xpath), row.children);
  }
  EXPECT_EQ(xml.getNumNodes("//a"), 2u);
  EXPECT_FALSE(xml.selectNode("///", 0));
  EXPECT_EQ(LastFailure(xml), "Could not select XML node; XPath: '///'");
  // The failed query kept the list of //a, which the same XPath now walks unchecked.
  ASSERT_TRUE(xml.selectNode("///", 1));
  EXPECT_EQ(xml.getAttributes().get("n"), "1");
  EXPECT_FALSE(xml.selectNode("//a", 5));  // new query: bounds-checked
  EXPECT_FALSE(xml.selectNode("//a", 5));  // cached: no node at 5 either
  for (std::uint32_t i = 0; i < 2; ++i) {
    ASSERT_TRUE(xml.selectNode("//a", i));
    EXPECT_EQ(xml.getAttributes().get("N"), std::to_string(i));
  }
  // getNumNodes replaces the list but not the remembered XPath, so the next select of the
  // same XPath walks the list of //b.
  EXPECT_EQ(xml.getNumNodes("//b"), 1u);
  ASSERT_TRUE(xml.selectNode("//a", 0));
  EXPECT_EQ(xml.getNodeName(), "b");
  EXPECT_EQ(xml.getNumChildren("///"), kNone);
  EXPECT_EQ(xml.getNodeName(), "b") << "a failing query keeps the current node";
  EXPECT_EQ(xml.getNumChildren("//zz"), kNone);
  EXPECT_EQ(xml.getNodeName(), "") << "getNumChildren of nothing drops the current node";
  // A new init forgets the XPath, so the same text queries the new document.
  ASSERT_TRUE(xml.init("<r><a n='new'/></r>"));
  ASSERT_TRUE(xml.selectNode("//a", 0));
  EXPECT_EQ(xml.getAttributes().get("n"), "new");
}

TEST(XMLProperties, ReadsNodes) {
  XMLProperties xml;
  const std::string doc = "<r><t>text<i/></t><e><i>x</i>tail</e><n/><c><!--k--></c></r>";
  ASSERT_TRUE(xml.init(doc));
  struct Row {
    const char* xpath;
    const char* name;
    const char* text;
    std::string contents;
  };
  const Row rows[] = {
      {"/r/t", "t", "text", "text"},
      {"/r/e", "e", "xtail", "<e><i>x</i>tail</e>"},  // nested elements come back as markup
      {"/r/n", "n", "D", "D"},
      {"/r/c", "c", "D", "<c><!--k--></c>"},
      {"/r/t/text()", "#text", "text", "D"},
      {"/r/c/comment()", "#comment", "k", "D"},
      {"/", "#document", "textxtail", doc},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.xpath);
    ASSERT_TRUE(xml.selectNode(row.xpath, 0));
    EXPECT_EQ(xml.getNodeName(), row.name);
    EXPECT_EQ(xml.getNodeText("D"), row.text);
    EXPECT_EQ(xml.getNodeContents("D"), row.contents);
  }
  EXPECT_EQ(xml.getNodeTextFrom("/r/missing", "D"), "")
      << "a missing node does not give the default";
  std::string joined;
  for (const auto& [name, value] : getNodeSetAsLookUp(xml, "/r/node()"))
    joined += name + "=" + value + ";";
  EXPECT_EQ(joined, "t=text;e=xtail;n=;c=;");
  EXPECT_TRUE(getNodeSetAsLookUp(xml, "///").empty());
}

TEST(XMLProperties, AttributesAreCachedUntilTheNextSelectAndSetNodeTextEscapes) {
  XMLProperties xml;
  ASSERT_TRUE(xml.init("<r><a z='1' y='2'/><b k='3'/><m>old<k/></m><e a='1'/></r>"));
  ASSERT_TRUE(xml.selectNode("/r/a", 0));
  ASSERT_EQ(xml.getAttributes().size(), 2u);
  EXPECT_EQ(xml.getAttributes().begin()->first, "z");  // document order, not sorted
  EXPECT_EQ(xml.getNumChildren("/r/b"), 0u);
  EXPECT_EQ(xml.getNodeName(), "b");
  EXPECT_EQ(xml.getAttributes().get("z"), "1")
      << "getNumChildren keeps the cache of the earlier node";
  ASSERT_TRUE(xml.close());
  EXPECT_EQ(xml.getAttributes().get("K"), "3");
  EXPECT_EQ(xml.getAttributes().get("z", "none"), "none");

  // Text replaces every child, escaped as markup or as an attribute value.
  ASSERT_TRUE(xml.selectNode("/r/m", 0));
  ASSERT_TRUE(xml.setNodeText("a<b&c>"));
  EXPECT_EQ(xml.getNodeAsString(), "<m>a&lt;b&amp;c&gt;</m>");
  ASSERT_TRUE(xml.selectNode("/r/e/@a", 0));
  ASSERT_TRUE(xml.setNodeText("\"q\""));
  EXPECT_EQ(xml.getNodeAsString(), "a=\"&quot;q&quot;\"");
  ASSERT_TRUE(xml.selectNode("/", 0));
  EXPECT_FALSE(xml.setNodeText("x") || XMLProperties().setNodeText("x"));  // no current node
}

TEST(XMLProperties, CopiesShareTheDocumentAndNeverReadRemovedNodes) {
  XMLProperties holder;
  ASSERT_TRUE(holder.init("<r><a><b>deep</b></a><c>1</c></r>"));
  ASSERT_TRUE(holder.selectNode("//b", 0));
  XMLProperties editor(holder);
  EXPECT_EQ(editor.getNodeName(), "b");  // the cursor is copied, then goes its own way
  ASSERT_TRUE(editor.selectNode("/r/a", 0));
  ASSERT_TRUE(editor.setNodeText("flat"));  // removes <b> from under the holder
  EXPECT_EQ(holder.getNodeName(), "");
  EXPECT_EQ(holder.getNodeText("gone"), "gone");
  EXPECT_FALSE(holder.selectNode("//b", 0));  // the cached list holds the removed node
  EXPECT_EQ(holder.getNodeTextFrom("/r/a", ""), "flat");

  // A node of a document that was loaded over stays readable, as a held node does.
  ASSERT_TRUE(holder.selectNode("/r/a", 0));
  ASSERT_TRUE(editor.init("<z/>"));  // loads into the shared document
  EXPECT_EQ(holder.getNodeText(""), "flat");
  EXPECT_EQ(holder.getNumNodes("/z"), 1u);
}

TEST(XMLProperties, SteppingThroughAListAfterAnEditWalksTheTreeOncePerEdit) {
  constexpr int kItems = 3000;
  std::string text = "<r><l>";
  for (int i = 0; i < kItems; ++i) text += "<i>" + std::to_string(i) + "</i>";
  text += "</l><d><i>gone</i><i>gone</i></d></r>";
  XMLProperties holder;
  ASSERT_TRUE(holder.init(text));
  ASSERT_TRUE(holder.selectNode("//i", 0));  // the list of every item, cached
  XMLProperties editor(holder);
  for (int edit = 1; edit <= 2; ++edit) {
    SCOPED_TRACE(edit);
    ASSERT_TRUE(editor.selectNode(edit == 1 ? "/r/d" : "/r/l/i[1]", 0));
    ASSERT_TRUE(editor.setNodeText(edit == 1 ? "flat" : ""));  // both remove nodes
    for (int i = 0; i < kItems; ++i) {
      ASSERT_TRUE(holder.selectNode("//i", static_cast<std::uint32_t>(i))) << i;
      ASSERT_EQ(holder.getNodeText(""), edit == 2 && i == 0 ? "" : std::to_string(i));
    }
    EXPECT_FALSE(holder.selectNode("//i", kItems));  // the removed ones read as no node
    EXPECT_FALSE(holder.selectNode("//i", kItems + 1));
    // Each item re-checked after the edit, yet the tree walked once for all of them.
    EXPECT_EQ(XMLPropertiesTestPeer::TreeWalks(holder), static_cast<std::uint64_t>(edit));
  }
}

TEST(XMLProperties, TruncatedAndDeepDocumentsAreRefusedOrReadSafely) {
  const std::string whole =
      "<?xml version='1.0'?><Cfg a='1'><!--c--><P>x&amp;y</P><Q><![CDATA[z]]></Q></Cfg>";
  for (std::size_t cut = 0; cut < whole.size(); ++cut) {
    SCOPED_TRACE(cut);
    XMLProperties xml;
    EXPECT_EQ(xml.init(whole.substr(0, cut)), cut == 0);
    EXPECT_EQ(xml.getNumChildren("/Cfg"), kNone);
  }
  // Deeper than any call stack could follow node by node.
  const std::size_t depth = 200000;
  std::string deep;
  for (std::size_t i = 0; i < depth; ++i) deep += "<d>";
  deep += "core";
  for (std::size_t i = 0; i < depth; ++i) deep += "</d>";
  XMLProperties xml;
  ASSERT_TRUE(xml.init(deep));
  EXPECT_EQ(xml.getNodeTextFrom("/d", ""), "core");
  EXPECT_EQ(xml.getNumNodes("//d"), depth);
  ASSERT_TRUE(xml.selectNode("/d", 0));
  EXPECT_EQ(xml.getNodeAsString(), deep);
  ASSERT_TRUE(xml.setNodeText("flat"));
  EXPECT_EQ(xml.getNodeAsString(), "<d>flat</d>");
}

}  // namespace
}  // namespace QUORVAN::Rendix::GeneralUtilityLib
