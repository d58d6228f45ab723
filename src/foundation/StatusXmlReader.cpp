// Status XML reader on pugixml, with the node model of the library's XML documents.
#include "foundation/StatusXmlReader.h"

#include <rdx/foundation/StringUtility.h>

#include "foundation/StringInternal.h"
#include "platform/xml/XmlDocument.h"

#include <pugixml.hpp>

#include <array>
#include <cstring>
#include <optional>
#include <string_view>
#include <unordered_map>
#include <utility>
#include <vector>

namespace rdx::foundation {
namespace {

constexpr std::size_t kFieldCount = 4;
constexpr const char* kFieldNames[kFieldCount] = {"ID", "Message", "Source", "Details"};
using Fields = std::array<pugi::xml_node, kFieldCount>;

// The first element child of item named after each field, found in one pass. Only elements
// count, as an XPath name test would have it (a processing instruction may be named "ID").
Fields FieldsOf(const pugi::xml_node& item) {
  Fields found;
  for (pugi::xml_node child = item.first_child(); child; child = child.next_sibling()) {
    if (child.type() != pugi::node_element) continue;
    const char* const name = child.name();
    for (std::size_t field = 0; field < kFieldCount; ++field) {
      if (!found[field] && std::strcmp(name, kFieldNames[field]) == 0) {
        found[field] = child;
        break;
      }
    }
  }
  return found;
}

bool IsStatusElement(const pugi::xml_node& node) {
  return node.type() == pugi::node_element && std::strcmp(node.name(), "Status") == 0;
}

// How often tag occurs in the raw text. Every element of that name needs one literal start
// tag (entities cannot make markup), so this bounds the number of such elements from above.
std::size_t CountStartTags(std::string_view text, std::string_view tag) {
  std::size_t count = 0;
  for (std::size_t at = text.find(tag); at != std::string_view::npos; at = text.find(tag, at + 1)) {
    ++count;
  }
  return count;
}

// Calls visit for every node below root in document order (preorder), without recursion so
// that deeply nested input cannot exhaust the stack.
template <typename Visit>
void ForEachInDocumentOrder(const pugi::xml_node& root, Visit visit) {
  pugi::xml_node current = root.first_child();
  while (current) {
    visit(current);
    if (current.first_child()) {
      current = current.first_child();
      continue;
    }
    while (current && current != root && !current.next_sibling()) current = current.parent();
    if (!current || current == root) break;
    current = current.next_sibling();
  }
}

// All text below node joined in document order.
std::string DescendantText(const pugi::xml_node& node) {
  if (node.type() == pugi::node_pcdata || node.type() == pugi::node_cdata) return node.value();
  const pugi::xml_node first = node.first_child();
  if (!first) return std::string();
  // The usual field holds one text node and nothing else.
  if (!first.next_sibling() &&
      (first.type() == pugi::node_pcdata || first.type() == pugi::node_cdata)) {
    return first.value();
  }
  std::string text;
  ForEachInDocumentOrder(node, [&text](const pugi::xml_node& below) {
    if (below.type() == pugi::node_pcdata || below.type() == pugi::node_cdata) {
      text += below.value();
    }
  });
  return text;
}

// Stores the text of a found field into its member of item.
void StoreField(std::size_t field, std::string text,
                QUORVAN::Rendix::GeneralUtilityLib::StatusItem& item) {
  switch (field) {
    case 0: item.id = StatusXmlReader::ParseId(text); break;
    case 1: item.message = std::move(text); break;
    case 2: item.source = std::move(text); break;
    default: item.details = std::move(text); break;
  }
}

}  // namespace

struct StatusXmlReader::Document {
  // Parsed by the library's XML document layer, so that text is accepted or refused exactly
  // as XMLProperties would.
  std::shared_ptr<rdx::xml::Document> parsed;
  // "//Status" is the first Status element in document order; "//Status/*[i]" is the first,
  // in document order, of the i-th element children of every Status element.
  pugi::xml_node firstStatus;
  // candidatesAt[i - 1] holds the i-th element child of each Status, in the order of their
  // Status elements: grouped by index so that reading every item stays linear in the input.
  // With a single Status (the usual text) this stays empty and singleItems holds its element
  // children instead, which saves a vector per item.
  std::vector<std::vector<pugi::xml_node>> candidatesAt;
  std::vector<pugi::xml_node> singleItems;
  // Preorder position of every node, filled only when there are several Status elements
  // (the only case where candidates must be ordered).
  std::unordered_map<const void*, std::size_t> order;

  std::size_t OrderOf(const pugi::xml_node& node) const {
    const auto found = order.find(node.internal_object());
    return found == order.end() ? 0 : found->second;
  }
};

StatusXmlReader::StatusXmlReader() : document_(std::make_unique<Document>()) {}
StatusXmlReader::~StatusXmlReader() = default;

bool StatusXmlReader::Load(const std::string& xml) {
  Document& document = *document_;
  // Always parsed as text: status text comes from other processes and is never taken as the
  // name of a file to open.
  std::optional<rdx::xml::ParseError> error;
  document.parsed = rdx::xml::LoadText(xml, error);
  if (error || !document.parsed) return false;
  const pugi::xml_document& dom = document.parsed->dom;
  std::vector<pugi::xml_node> statuses;
  const pugi::xml_node root = dom.document_element();
  if (IsStatusElement(root) && xml.find('\0') == std::string::npos &&
      CountStartTags(xml, "<Status") == 1) {
    // The usual text: Status is the root and the only start tag of that name, so no other
    // Status element can exist and the walk over the whole tree is not needed. Text without
    // NUL bytes whose root parsed as Status is 8-bit, so its start tags are counted right.
    statuses.push_back(root);
  } else {
    ForEachInDocumentOrder(dom, [&statuses](const pugi::xml_node& node) {
      if (IsStatusElement(node)) statuses.push_back(node);
    });
  }
  if (statuses.empty()) return true;
  document.firstStatus = statuses.front();
  if (statuses.size() == 1) {
    for (pugi::xml_node child = statuses.front().first_child(); child;
         child = child.next_sibling()) {
      if (child.type() == pugi::node_element) document.singleItems.push_back(child);
    }
    return true;
  }
  for (const pugi::xml_node& status : statuses) {
    std::size_t index = 0;
    for (pugi::xml_node child = status.first_child(); child; child = child.next_sibling()) {
      if (child.type() != pugi::node_element) continue;
      if (index == document.candidatesAt.size()) document.candidatesAt.emplace_back();
      document.candidatesAt[index++].push_back(child);
    }
  }
  std::size_t position = 0;
  ForEachInDocumentOrder(dom, [&document, &position](const pugi::xml_node& node) {
    document.order.emplace(node.internal_object(), ++position);
  });
  return true;
}

std::uint32_t StatusXmlReader::ChildCount() const {
  if (!document_->firstStatus) return kNoStatus;
  std::uint32_t count = 0;
  for (pugi::xml_node child = document_->firstStatus.first_child(); child;
       child = child.next_sibling()) {
    ++count;
  }
  return count;
}

bool StatusXmlReader::ReadItem(std::uint32_t index,
                               QUORVAN::Rendix::GeneralUtilityLib::StatusItem& item) {
  const Document& document = *document_;
  if (index == 0) return false;
  if (document.candidatesAt.empty()) {
    if (index > document.singleItems.size()) return false;
    const Fields fields = FieldsOf(document.singleItems[index - 1]);
    for (std::size_t field = 0; field < kFieldCount; ++field) {
      if (fields[field]) StoreField(field, DescendantText(fields[field]), item);
    }
    return true;
  }
  // The candidates for "//Status/*[index]": the index-th element child of every Status.
  if (index > document.candidatesAt.size()) return false;
  const std::vector<pugi::xml_node>& candidates = document.candidatesAt[index - 1];
  // "//Status/*[index]/<Field>": the first such child, in document order, of any candidate.
  Fields best = FieldsOf(candidates.front());
  for (std::size_t c = 1; c < candidates.size(); ++c) {
    const Fields found = FieldsOf(candidates[c]);
    for (std::size_t field = 0; field < kFieldCount; ++field) {
      if (found[field] &&
          (!best[field] || document.OrderOf(found[field]) < document.OrderOf(best[field]))) {
        best[field] = found[field];
      }
    }
  }
  for (std::size_t field = 0; field < kFieldCount; ++field) {
    if (best[field]) StoreField(field, DescendantText(best[field]), item);
  }
  return true;
}

std::int32_t StatusXmlReader::ParseId(const std::string& text) {
  if (!text.empty() &&
      QUORVAN::Rendix::GeneralUtilityLib::StringUtility::isEqual(text, "Unknown ID", true)) {
    return -1;
  }
  // strtoul with base 16 and a 32-bit unsigned long: blanks, a sign, an optional "0x", then
  // hexadecimal digits; overflow answers all bits set. Written out because unsigned long is
  // 64 bits here.
  const std::string_view digits(text.c_str());
  std::size_t at = 0;
  while (at < digits.size() && IsBlank(digits[at])) ++at;
  bool negative = false;
  if (at < digits.size() && (digits[at] == '+' || digits[at] == '-')) {
    negative = digits[at] == '-';
    ++at;
  }
  auto hexValue = [](char c) -> int {
    if (c >= '0' && c <= '9') return c - '0';
    if (c >= 'a' && c <= 'f') return c - 'a' + 10;
    if (c >= 'A' && c <= 'F') return c - 'A' + 10;
    return -1;
  };
  if (at + 2 < digits.size() && digits[at] == '0' && AsciiLower(digits[at + 1]) == 'x' &&
      hexValue(digits[at + 2]) >= 0) {
    at += 2;
  }
  std::uint64_t value = 0;
  bool overflow = false;
  for (; at < digits.size() && hexValue(digits[at]) >= 0; ++at) {
    value = value * 16 + static_cast<std::uint64_t>(hexValue(digits[at]));
    if (value > 0xFFFFFFFFull) {
      overflow = true;
      value = 0xFFFFFFFFull;  // keep scanning, the result is fixed now
    }
  }
  std::uint32_t result = overflow ? 0xFFFFFFFFu : static_cast<std::uint32_t>(value);
  if (negative && !overflow) result = 0u - result;
  // All bits set stands for "could not read" and becomes 0; "Unknown ID" alone gives -1.
  if (result == 0xFFFFFFFFu) result = 0;
  return static_cast<std::int32_t>(result);
}

}  // namespace rdx::foundation
