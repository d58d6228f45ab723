#include "platform/xml/XmlWellFormed.h"

#include <algorithm>
#include <string>
#include <utility>
#include <vector>

#include "platform/xml/XmlTreeWalk.h"

namespace rdx::xml {
namespace {

// Above this many attributes on one element, duplicates are found by sorting rather than by
// comparing every pair, so a hostile element cannot make the check quadratic.
constexpr std::size_t kPairwiseAttributeLimit = 16;

// Line and column (both from 1) of a byte offset into the parsed text.
void LocateOffset(std::string_view text, std::ptrdiff_t offset, ParseError& error) {
  const std::size_t end =
      std::min(text.size(), static_cast<std::size_t>(std::max<std::ptrdiff_t>(offset, 0)));
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
    const int digit = d >= '0' && d <= '9'          ? d - '0'
                      : hex && d >= 'a' && d <= 'f' ? d - 'a' + 10
                      : hex && d >= 'A' && d <= 'F' ? d - 'A' + 10
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
std::optional<Refusal> ResolveReferences(std::string_view raw, bool inAttribute, std::string& out) {
  if (inAttribute) {
    const std::size_t less = raw.find('<');
    if (less != std::string_view::npos) {
      return Refusal{kErrorLessThanInAttribute,
                     "A '<' character cannot be used in an attribute value.", less};
    }
  }
  out.clear();
  std::size_t from = 0;
  for (std::size_t amp = raw.find('&'); amp != std::string_view::npos; amp = raw.find('&', from)) {
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

}  // namespace

ParseError MakeError(std::uint32_t code, std::string reason, std::string_view text,
                     std::ptrdiff_t offset) {
  ParseError error;
  error.code = code;
  error.reason = std::move(reason);
  LocateOffset(text, offset, error);
  return error;
}

std::optional<ParseError> CheckWellFormed(pugi::xml_document& dom, std::string_view text) {
  std::optional<ParseError> error = CheckTopLevel(dom, text);
  if (!error) error = CheckNodes(dom, text);
  return error;
}

}  // namespace rdx::xml
