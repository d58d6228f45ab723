#pragma once
// The DOM layer under XMLProperties: pugixml made to behave like the Windows XML DOM with its
// default settings. Whitespace-only text is dropped, comments and processing instructions are
// nodes, a node's text is all of its descendant text joined, and the well-formedness rules
// pugixml is lenient about (one top-level element, no top-level text, unique attribute names,
// only defined entity references, no "<" in attribute values) are enforced, so a document that the
// Windows DOM refuses is refused here too.
//
// Nodes are reference-counted there: a node removed from its tree, or a node of a document
// that was loaded over, stays usable for whoever holds it. pugixml frees such nodes. So every
// handle here owns its document (NodeRef::owner) and re-checks, after the document lost
// nodes, that its node is still in the tree before it is touched; a node that is gone reads as
// no node rather than as freed memory.

#include <pugixml.hpp>

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <unordered_set>
#include <utility>
#include <vector>

namespace rdx::xml {

// Parse failure in the terms of the Windows DOM's parse error object.
struct ParseError {
  std::uint32_t code = 0;    // kParseErrorBase + pugixml status, or 0x8007xxxx for file errors
  std::uint32_t line = 0;    // 1-based
  std::uint32_t column = 0;  // 1-based, as the DOM's linepos
  std::string reason;
};

// Codes of parse errors are this base plus pugixml's status value; well-formedness rules this
// layer adds use the codes below. Kept in the range the Windows parser's own codes occupy.
inline constexpr std::uint32_t kParseErrorBase = 0xC00CE500;
inline constexpr std::uint32_t kErrorMultipleRoots = 0xC00CE555;
inline constexpr std::uint32_t kErrorTopLevelText = 0xC00CE556;
inline constexpr std::uint32_t kErrorNoRoot = 0xC00CE558;
inline constexpr std::uint32_t kErrorDuplicateAttribute = 0xC00CE50F;
inline constexpr std::uint32_t kErrorBadReference = 0xC00CE559;
inline constexpr std::uint32_t kErrorLessThanInAttribute = 0xC00CE55A;
// A file the loader could not read: HRESULT of the Win32 error, as the DOM's load reports it.
inline constexpr std::uint32_t kFileErrorBase = 0x80070000;

// Files larger than this are refused before anything is read; configuration and status
// documents are a few kilobytes.
inline constexpr std::uint64_t kMaxFileBytes = 256ull * 1024 * 1024;

class Document {
 public:
  pugi::xml_document dom;
  // Bumped whenever nodes leave the tree; a handle that saw an older value re-checks its node.
  std::uint64_t removals = 0;

  // Whether the node (or attribute) is still in the tree, found by identity without reading
  // it. The first call after nodes left indexes the whole tree once, so re-checking every
  // handle of a long list costs one walk instead of one walk per handle.
  [[nodiscard]] bool Contains(const pugi::xpath_node& node);
  // How many times that index has been built; lets tests count the walks.
  [[nodiscard]] std::uint64_t IndexBuilds() const { return indexBuilds_; }

 private:
  std::unordered_set<const void*> index_;  // every node and attribute, after indexedAt_
  std::uint64_t indexedAt_ = 0;
  bool indexed_ = false;
  std::uint64_t indexBuilds_ = 0;
};

// A node (or attribute) of a document, keeping the document alive.
struct NodeRef {
  std::shared_ptr<Document> owner;
  pugi::xpath_node node;
  std::uint64_t seenRemovals = 0;

  // True when the handle names a node that is still part of its document; a handle whose node
  // was removed is emptied.
  [[nodiscard]] bool Live();
};

// The result of a node-set query: document order, kept with its document.
struct NodeList {
  std::shared_ptr<Document> owner;
  pugi::xpath_node_set nodes;
  std::uint64_t builtAtRemovals = 0;

  [[nodiscard]] std::size_t Length() const { return nodes.size(); }
  // The index-th node, or an empty handle past the end or when that node left the tree.
  [[nodiscard]] NodeRef Item(std::size_t index) const;
};

// Parses XML text into a fresh document; on failure the error and an empty document.
[[nodiscard]] std::shared_ptr<Document> LoadText(std::string_view text,
                                                 std::optional<ParseError>& error);

// Reads and parses a file; a file that cannot be read is a parse error with a 0x8007 code.
[[nodiscard]] std::shared_ptr<Document> LoadFile(const std::string& path,
                                                 std::optional<ParseError>& error);

// Writes the document to a file as indented XML with a declaration; false when it cannot.
[[nodiscard]] bool SaveFile(const Document& document, const std::string& path);

// Node-set query from the document node. Throws pugi::xpath_exception on a bad expression or
// one that does not give a node set.
[[nodiscard]] std::shared_ptr<NodeList> SelectNodes(const std::shared_ptr<Document>& document,
                                                    const std::string& xpath);
// First node of the query in document order, or an empty handle.
[[nodiscard]] NodeRef SelectSingleNode(const std::shared_ptr<Document>& document,
                                       const std::string& xpath);

// DOM nodeName: element and attribute names, "#text", "#comment", "#cdata-section",
// "#document", the target of a processing instruction.
[[nodiscard]] std::string NodeName(const pugi::xpath_node& node);
// DOM text: all descendant text and CDATA joined in document order; the value of an attribute,
// comment, text or processing instruction.
[[nodiscard]] std::string NodeText(const pugi::xpath_node& node);
// DOM xml: the node serialised without added layout.
[[nodiscard]] std::string NodeMarkup(const pugi::xpath_node& node);
// Number of child nodes (attributes count their value as one text child), or nothing for a
// node that cannot have children.
[[nodiscard]] std::optional<std::uint32_t> ChildCount(const pugi::xpath_node& node);
// Whether the node has a first child, and whether that child is a text node.
enum class FirstChild { kNone, kText, kOther };
[[nodiscard]] FirstChild FirstChildKind(const pugi::xpath_node& node);
// DOM put_text: an element's children are replaced by one text node (none for ""); text-like
// nodes and attributes take the value. False for the document and other node kinds.
[[nodiscard]] bool SetNodeText(Document& document, const pugi::xpath_node& node,
                               std::string_view text);
// The attributes of an element in document order; empty for other nodes.
[[nodiscard]] std::vector<std::pair<std::string, std::string>> Attributes(
    const pugi::xpath_node& node);

}  // namespace rdx::xml
