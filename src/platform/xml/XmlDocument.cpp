#include "platform/xml/XmlDocument.h"

#include "platform/os/FileSystem.h"
#include "platform/os/LastError.h"

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <stdexcept>

namespace rdx::xml {
namespace {

// Comments, processing instructions, the declaration and the document type are nodes, as in
// the Windows DOM. Fragment parsing keeps top-level text as nodes so that CheckTopLevel can
// refuse it; pugixml would otherwise drop it without a word.
// References are resolved here, not by pugixml, which passes undefined entities and a bare "&"
// through unchanged where the Windows DOM refuses the document (ResolveReferences).
constexpr unsigned kParseOptions = (pugi::parse_default & ~pugi::parse_escapes) |
                                   pugi::parse_comments | pugi::parse_pi |
                                   pugi::parse_declaration | pugi::parse_doctype |
                                   pugi::parse_fragment;

// Above this many attributes on one element, duplicates are found by sorting rather than by
// comparing every pair, so a hostile element cannot make the check quadratic.
constexpr std::size_t kPairwiseAttributeLimit = 16;

class StringWriter : public pugi::xml_writer {
 public:
  void write(const void* data, std::size_t size) override {
    text.append(static_cast<const char*>(data), size);
  }
  std::string text;
};

// Calls visit(node) for every descendant of root in document order. Iterative: documents come
// from outside and may nest deeper than the stack would allow.
template <class Visit>
void ForEachDescendant(const pugi::xml_node& root, Visit&& visit) {
  pugi::xml_node current = root.first_child();
  while (current) {
    if (!visit(current)) return;
    if (current.first_child()) {
      current = current.first_child();
      continue;
    }
    while (current != root && !current.next_sibling()) current = current.parent();
    if (current == root) return;
    current = current.next_sibling();
  }
}

// Line and column (both from 1) of a byte offset into the parsed text.
void LocateOffset(std::string_view text, std::ptrdiff_t offset, ParseError& error) {
  const std::size_t end = std::min(text.size(), static_cast<std::size_t>(std::max<std::ptrdiff_t>(
                                                    offset, 0)));
  std::uint32_t line = 1;
  std::size_t lineStart = 0;
  for (std::size_t i = 0; i < end; ++i) {
    if (text[i] == '\n') {
      ++line;
      lineStart = i + 1;
    }
  }
  error.line = line;
  error.column = static_cast<std::uint32_t>(end - lineStart + 1);
}

ParseError MakeError(std::uint32_t code, std::string reason, std::string_view text,
                     std::ptrdiff_t offset) {
  ParseError error;
  error.code = code;
  error.reason = std::move(reason);
  LocateOffset(text, offset, error);
  return error;
}

// The Windows DOM accepts exactly one top-level element and no top-level text.
std::optional<ParseError> CheckTopLevel(const pugi::xml_document& dom, std::string_view text) {
  bool haveRoot = false;
  for (const pugi::xml_node& child : dom.children()) {
    const pugi::xml_node_type type = child.type();
    if (type == pugi::node_pcdata || type == pugi::node_cdata) {
      return MakeError(kErrorTopLevelText, "Invalid at the top level of the document.", text,
                       child.offset_debug());
    }
    if (type == pugi::node_element) {
      if (haveRoot) {
        return MakeError(kErrorMultipleRoots, "Only one top level element is allowed.", text,
                         child.offset_debug());
      }
      haveRoot = true;
    }
  }
  if (!haveRoot) {
    return MakeError(kErrorNoRoot, "XML document must have a top level element.", text,
                     static_cast<std::ptrdiff_t>(text.size()));
  }
  return std::nullopt;
}

bool HasDuplicateAttribute(const pugi::xml_node& element) {
  std::vector<std::string_view> names;
  for (const pugi::xml_attribute& attribute : element.attributes()) {
    names.emplace_back(attribute.name());
  }
  if (names.size() <= kPairwiseAttributeLimit) {
    for (std::size_t i = 0; i < names.size(); ++i) {
      for (std::size_t j = i + 1; j < names.size(); ++j) {
        if (names[i] == names[j]) return true;
      }
    }
    return false;
  }
  std::sort(names.begin(), names.end());
  return std::adjacent_find(names.begin(), names.end()) != names.end();
}

struct Refusal {
  std::uint32_t code;
  std::string reason;
  std::size_t at;  // offset into the raw value
};

void AppendUtf8(std::string& out, std::uint32_t c) {
  if (c < 0x80) {
    out += static_cast<char>(c);
  } else if (c < 0x800) {
    out += static_cast<char>(0xC0 | (c >> 6));
    out += static_cast<char>(0x80 | (c & 0x3F));
  } else if (c < 0x10000) {
    out += static_cast<char>(0xE0 | (c >> 12));
    out += static_cast<char>(0x80 | ((c >> 6) & 0x3F));
    out += static_cast<char>(0x80 | (c & 0x3F));
  } else {
    out += static_cast<char>(0xF0 | (c >> 18));
    out += static_cast<char>(0x80 | ((c >> 12) & 0x3F));
    out += static_cast<char>(0x80 | ((c >> 6) & 0x3F));
    out += static_cast<char>(0x80 | (c & 0x3F));
  }
}

// The character a reference stands for; `body` is the text between "&" and ";".
std::optional<std::uint32_t> ReferencedChar(std::string_view body) {
  static constexpr std::pair<std::string_view, char> kPredefined[] = {
      {"lt", '<'}, {"gt", '>'}, {"amp", '&'}, {"apos", '\''}, {"quot", '"'}};
  for (const auto& [name, c] : kPredefined) {
    if (body == name) return static_cast<unsigned char>(c);
  }
  if (body.size() < 2 || body[0] != '#') return std::nullopt;
  const bool hex = body[1] == 'x';
  std::string_view digits = body.substr(hex ? 2 : 1);
  if (digits.empty()) return std::nullopt;
  std::uint32_t value = 0;
  for (const char d : digits) {
    const int digit = d >= '0' && d <= '9'                ? d - '0'
                      : hex && d >= 'a' && d <= 'f'       ? d - 'a' + 10
                      : hex && d >= 'A' && d <= 'F'       ? d - 'A' + 10
                                                          : -1;
    if (digit < 0) return std::nullopt;
    value = value * (hex ? 16 : 10) + static_cast<std::uint32_t>(digit);
    if (value > 0x10FFFF) return std::nullopt;  // not a character; keeps the sum bounded
  }
  // Control characters are taken, unlike in strict XML: status texts carry them this way.
  // NUL is not, as it would cut the text short.
  if (value == 0) return std::nullopt;
  return value;
}

// Resolves the references of a raw text or attribute value into `out`: the five predefined
// entities and character references. Anything else after "&" (an undefined entity, a bare "&")
// and a "<" in an attribute value are refused, as the Windows DOM refuses them. Entities
// declared in a document type are not expanded here, so they are refused too.
std::optional<Refusal> ResolveReferences(std::string_view raw, bool inAttribute,
                                         std::string& out) {
  if (inAttribute) {
    const std::size_t less = raw.find('<');
    if (less != std::string_view::npos) {
      return Refusal{kErrorLessThanInAttribute,
                     "A '<' character cannot be used in an attribute value.", less};
    }
  }
  out.clear();
  std::size_t from = 0;
  for (std::size_t amp = raw.find('&'); amp != std::string_view::npos;
       amp = raw.find('&', from)) {
    out.append(raw.substr(from, amp - from));
    // A reference is short: "&" stops it, so scanning a run of bare "&" stays linear.
    const std::size_t semicolon = raw.find_first_of(";&<", amp + 1);
    const std::string_view body =
        raw.substr(amp + 1, semicolon == std::string_view::npos ? 0 : semicolon - amp - 1);
    const std::optional<std::uint32_t> c =
        semicolon != std::string_view::npos && raw[semicolon] == ';' ? ReferencedChar(body)
                                                                     : std::nullopt;
    if (!c) {
      const bool named = !body.empty() && body[0] != '#' &&
                         body.find_first_of(" \t\r\n") == std::string_view::npos;
      return Refusal{kErrorBadReference,
                     named ? "Reference to undefined entity '" + std::string(body) + "'."
                           : std::string("An '&' must begin an entity or character reference."),
                     amp};
    }
    AppendUtf8(out, *c);
    from = semicolon + 1;
  }
  out.append(raw.substr(from));
  return std::nullopt;
}

// Refuses duplicate attributes and resolves the references of every text and attribute value.
std::optional<ParseError> CheckNodes(pugi::xml_document& dom, std::string_view text) {
  std::optional<ParseError> error;
  std::string resolved;
  ForEachDescendant(dom, [&](pugi::xml_node node) {
    std::optional<Refusal> refusal;
    if (node.type() == pugi::node_pcdata) {
      const std::string_view raw = node.value();
      if (raw.find('&') != std::string_view::npos) {
        refusal = ResolveReferences(raw, false, resolved);
        if (!refusal) node.set_value(resolved.data(), resolved.size());
      }
    }
    if (node.first_attribute() && HasDuplicateAttribute(node)) {
      refusal = Refusal{kErrorDuplicateAttribute, "Duplicate attribute.", 0};
    }
    for (pugi::xml_attribute attribute = node.first_attribute(); attribute && !refusal;
         attribute = attribute.next_attribute()) {
      const std::string_view raw = attribute.value();
      if (raw.find_first_of("&<") == std::string_view::npos) continue;
      refusal = ResolveReferences(raw, true, resolved);
      if (!refusal) attribute.set_value(resolved.data(), resolved.size());
    }
    if (!refusal) return true;
    // Text nodes start where their text does; attributes are placed at their element.
    const std::size_t at = node.type() == pugi::node_pcdata ? refusal->at : 0;
    error = MakeError(refusal->code, std::move(refusal->reason), text,
                      node.offset_debug() + static_cast<std::ptrdiff_t>(at));
    return false;
  });
  return error;
}

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
  return type == pugi::node_pcdata || type == pugi::node_cdata ||
         type == pugi::node_comment || type == pugi::node_pi;
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
    error = CheckTopLevel(document->dom, text);
    if (!error) error = CheckNodes(document->dom, text);
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
    case pugi::node_document:
      return "#document";
    case pugi::node_pcdata:
      return "#text";
    case pugi::node_cdata:
      return "#cdata-section";
    case pugi::node_comment:
      return "#comment";
    case pugi::node_declaration:
      return "xml";
    case pugi::node_doctype: {
      // pugixml keeps the whole declaration body as the value; its first word is the name.
      const std::string body = node.node().value();
      return body.substr(0, body.find_first_of(" \t\r\n["));
    }
    default:
      return node.node().name();
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
