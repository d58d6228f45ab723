#include "platform/xml/XmlDocument.h"

#include "platform/os/FileSystem.h"
#include "platform/os/LastError.h"
#include "platform/xml/XmlTreeWalk.h"
#include "platform/xml/XmlWellFormed.h"

#include <filesystem>
#include <stdexcept>

namespace rdx::xml {
namespace {

// Comments, processing instructions, the declaration and the document type are nodes, as in
// the Windows DOM. Fragment parsing keeps top-level text as nodes so that CheckWellFormed can
// refuse it; pugixml would otherwise drop it without a word.
// References are resolved by CheckWellFormed, not by pugixml, which passes undefined entities
// and a bare "&" through unchanged where the Windows DOM refuses the document.
constexpr unsigned kParseOptions = (pugi::parse_default & ~pugi::parse_escapes) |
                                   pugi::parse_comments | pugi::parse_pi | pugi::parse_declaration |
                                   pugi::parse_doctype | pugi::parse_fragment;

class StringWriter : public pugi::xml_writer {
 public:
  void write(const void* data, std::size_t size) override {
    text.append(static_cast<const char*>(data), size);
  }
  std::string text;
};

// Removes every descendant of parent, leaves first. pugixml frees a removed subtree by
// recursion, which a document nested a few hundred thousand deep turns into a stack overflow;
// removing only childless nodes keeps every call shallow.
void RemoveChildren(pugi::xml_node& parent) {
  pugi::xml_node current = parent.first_child();
  while (current) {
    if (current.first_child()) {
      current = current.first_child();
      continue;
    }
    pugi::xml_node up = current.parent();
    up.remove_child(current);
    current = up == parent ? parent.first_child() : up;
  }
}

// pugixml reads the expression up to its first NUL; an XPath with one inside would silently
// become a shorter, different query.
pugi::xpath_query Compile(const std::string& xpath) {
  if (xpath.find('\0') != std::string::npos) {
    throw std::invalid_argument("XPath with a NUL byte");
  }
  return pugi::xpath_query(xpath.c_str());
}

bool IsTextLike(pugi::xml_node_type type) {
  return type == pugi::node_pcdata || type == pugi::node_cdata || type == pugi::node_comment ||
         type == pugi::node_pi;
}

}  // namespace

bool Document::Contains(const pugi::xpath_node& node) {
  if (!indexed_ || indexedAt_ != removals) {
    index_.clear();
    ForEachDescendant(dom, [this](const pugi::xml_node& candidate) {
      index_.insert(candidate.internal_object());
      for (const pugi::xml_attribute& attribute : candidate.attributes()) {
        index_.insert(attribute.internal_object());
      }
      return true;
    });
    indexedAt_ = removals;
    indexed_ = true;
    ++indexBuilds_;
  }
  const pugi::xml_node element = node.attribute() ? node.parent() : node.node();
  if (element != dom && index_.count(element.internal_object()) == 0) return false;
  return !node.attribute() || index_.count(node.attribute().internal_object()) != 0;
}

bool NodeRef::Live() {
  if (!owner || !node) return false;
  if (owner->removals == seenRemovals) return true;
  // The document lost nodes since this handle last looked: make sure its node is still there
  // before anything reads through it.
  if (!owner->Contains(node)) {
    node = pugi::xpath_node();
    return false;
  }
  seenRemovals = owner->removals;
  return true;
}

NodeRef NodeList::Item(std::size_t index) const {
  if (index >= nodes.size()) return {};
  NodeRef ref{owner, nodes[index], builtAtRemovals};
  if (!ref.Live()) return {};
  return ref;
}

std::shared_ptr<Document> LoadText(std::string_view text, std::optional<ParseError>& error) {
  auto document = std::make_shared<Document>();
  error.reset();
  const pugi::xml_parse_result result =
      document->dom.load_buffer(text.data(), text.size(), kParseOptions, pugi::encoding_auto);
  if (!result) {
    error = MakeError(kParseErrorBase + static_cast<std::uint32_t>(result.status),
                      result.description(), text, result.offset);
  } else {
    error = CheckWellFormed(document->dom, text);
  }
  // A failed load leaves an empty document, as the Windows DOM does.
  if (error) document->dom.reset();
  return document;
}

std::shared_ptr<Document> LoadFile(const std::string& path, std::optional<ParseError>& error) {
  auto fileError = [&](std::uint32_t win32, std::string reason) {
    error = ParseError{kFileErrorBase | win32, 0, 0, std::move(reason)};
    return std::make_shared<Document>();
  };
  std::error_code code;
  if (std::filesystem::is_directory(path, code)) {
    return fileError(os::kErrorAccessDenied, os::Win32ErrorText(os::kErrorAccessDenied));
  }
  std::string text;
  const std::uint32_t win32 = os::ReadRegularFile(path, kMaxFileBytes, text);
  // A file that cannot be read leaves its code as the thread's last error, as the DOM's load does.
  if (win32 != 0) os::SetLastError(win32);
  if (win32 == os::kErrorNotEnoughMemory) {
    return fileError(win32, "The file is too large to load.");
  }
  if (win32 != 0) return fileError(win32, os::Win32ErrorText(win32));
  return LoadText(text, error);
}

bool SaveFile(const Document& document, const std::string& path) {
  return document.dom.save_file(path.c_str(), "\t", pugi::format_default, pugi::encoding_utf8);
}

std::shared_ptr<NodeList> SelectNodes(const std::shared_ptr<Document>& document,
                                      const std::string& xpath) {
  const pugi::xpath_query query = Compile(xpath);
  auto list = std::make_shared<NodeList>();
  list->owner = document;
  list->nodes = document->dom.select_nodes(query);
  list->nodes.sort();
  list->builtAtRemovals = document->removals;
  return list;
}

NodeRef SelectSingleNode(const std::shared_ptr<Document>& document, const std::string& xpath) {
  const pugi::xpath_query query = Compile(xpath);
  const pugi::xpath_node_set nodes = document->dom.select_nodes(query);
  return NodeRef{document, nodes.first(), document->removals};
}

std::string NodeName(const pugi::xpath_node& node) {
  if (node.attribute()) return node.attribute().name();
  switch (node.node().type()) {
    case pugi::node_document: return "#document";
    case pugi::node_pcdata: return "#text";
    case pugi::node_cdata: return "#cdata-section";
    case pugi::node_comment: return "#comment";
    case pugi::node_declaration: return "xml";
    case pugi::node_doctype: {
      // pugixml keeps the whole declaration body as the value; its first word is the name.
      const std::string body = node.node().value();
      return body.substr(0, body.find_first_of(" \t\r\n["));
    }
    default: return node.node().name();
  }
}

std::string NodeText(const pugi::xpath_node& node) {
  if (node.attribute()) return node.attribute().value();
  const pugi::xml_node& target = node.node();
  if (IsTextLike(target.type())) return target.value();
  std::string text;
  ForEachDescendant(target, [&](const pugi::xml_node& descendant) {
    if (descendant.type() == pugi::node_pcdata || descendant.type() == pugi::node_cdata) {
      text += descendant.value();
    }
    return true;
  });
  return text;
}

std::string NodeMarkup(const pugi::xpath_node& node) {
  if (node.attribute()) {
    // An attribute prints as it stands in its element: name="value", value escaped.
    pugi::xml_document scratch;
    scratch.append_child("a").append_copy(node.attribute());
    StringWriter writer;
    scratch.first_child().print(writer, "", pugi::format_raw);
    const std::string& markup = writer.text;  // <a name="value"/>
    return markup.substr(3, markup.size() - 5);
  }
  StringWriter writer;
  node.node().print(writer, "", pugi::format_raw, pugi::encoding_utf8);
  return std::move(writer.text);
}

std::optional<std::uint32_t> ChildCount(const pugi::xpath_node& node) {
  if (node.attribute()) return node.attribute().value()[0] != '\0' ? 1u : 0u;
  std::uint32_t count = 0;
  for (const pugi::xml_node& child : node.node().children()) {
    (void)child;
    ++count;
  }
  return count;
}

FirstChild FirstChildKind(const pugi::xpath_node& node) {
  if (node.attribute()) {
    return node.attribute().value()[0] != '\0' ? FirstChild::kText : FirstChild::kNone;
  }
  const pugi::xml_node first = node.node().first_child();
  if (!first) return FirstChild::kNone;
  return first.type() == pugi::node_pcdata ? FirstChild::kText : FirstChild::kOther;
}

bool SetNodeText(Document& document, const pugi::xpath_node& node, std::string_view text) {
  if (node.attribute()) {
    pugi::xml_attribute attribute = node.attribute();
    return attribute.set_value(text.data(), text.size());
  }
  pugi::xml_node target = node.node();
  if (IsTextLike(target.type())) return target.set_value(text.data(), text.size());
  if (target.type() != pugi::node_element) return false;
  pugi::xml_node only = target.first_child();
  if (!text.empty() && only && !only.next_sibling() && only.type() == pugi::node_pcdata) {
    // The usual edit, a new value for a text element: the text node is reused, so nothing
    // leaves the tree and no handle has to re-check its node.
    return only.set_value(text.data(), text.size());
  }
  if (target.first_child()) {
    ++document.removals;  // before anything is freed, so no handle trusts a stale node
    RemoveChildren(target);
  }
  if (text.empty()) return true;
  return target.append_child(pugi::node_pcdata).set_value(text.data(), text.size());
}

std::vector<std::pair<std::string, std::string>> Attributes(const pugi::xpath_node& node) {
  std::vector<std::pair<std::string, std::string>> pairs;
  if (node.attribute()) return pairs;
  for (const pugi::xml_attribute& attribute : node.node().attributes()) {
    pairs.emplace_back(attribute.name(), attribute.value());
  }
  return pairs;
}

}  // namespace rdx::xml
