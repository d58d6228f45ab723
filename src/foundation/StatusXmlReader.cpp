// Status XML reader on pugixml, with the node model of the library's XML documents.
#include "foundation/StatusXmlReader.h"

#include <rdx/foundation/StringUtility.h>

#include "foundation/StringInternal.h"

#include <pugixml.hpp>

#include <string_view>
#include <unordered_map>
#include <utility>
#include <vector>

namespace rdx::foundation {
namespace {

// The same node model as the library's XML documents: whitespace-only text dropped,
// comments and processing instructions kept as nodes, CDATA as text.
constexpr unsigned kParseOptions = pugi::parse_default | pugi::parse_comments | pugi::parse_pi;

constexpr const char* kFieldNames[] = {"ID", "Message", "Source", "Details"};

bool IsStatusElement(const pugi::xml_node& node) {
  return node.type() == pugi::node_element && std::string_view(node.name()) == "Status";
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
  std::string text;
  ForEachInDocumentOrder(node, [&text](const pugi::xml_node& below) {
    if (below.type() == pugi::node_pcdata || below.type() == pugi::node_cdata) {
      text += below.value();
    }
  });
  return text;
}

// Stores the text of a found field into its member of item.
void StoreField(std::size_t field, const std::string& text,
                QUORVAN::Rendix::GeneralUtilityLib::StatusItem& item) {
  switch (field) {
    case 0: item.id = StatusXmlReader::ParseId(text); break;
    case 1: item.message = text; break;
    case 2: item.source = text; break;
    default: item.details = text; break;
  }
}

}  // namespace

struct StatusXmlReader::Document {
  pugi::xml_document xml;
  // Every Status element in document order, with its element children: "//Status/*[i]"
  // is the first, in document order, of the i-th element children of all of them.
  // candidatesAt[i - 1] holds the i-th element child of each Status, in the order of their
  // Status elements; grouped by index so that reading every item stays linear in the input.
  pugi::xml_node firstStatus;
  std::vector<std::vector<pugi::xml_node>> candidatesAt;
  std::size_t statusCount = 0;
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
  const pugi::xml_parse_result result =
      document.xml.load_buffer(xml.data(), xml.size(), kParseOptions, pugi::encoding_utf8);
  if (!result || !document.xml.document_element()) return false;
  ForEachInDocumentOrder(document.xml, [&document](const pugi::xml_node& node) {
    if (!IsStatusElement(node)) return;
    if (document.statusCount++ == 0) document.firstStatus = node;
    std::size_t index = 0;
    for (pugi::xml_node child = node.first_child(); child; child = child.next_sibling()) {
      if (child.type() != pugi::node_element) continue;
      if (index == document.candidatesAt.size()) document.candidatesAt.emplace_back();
      document.candidatesAt[index++].push_back(child);
    }
  });
  if (document.statusCount > 1) {
    std::size_t position = 0;
    ForEachInDocumentOrder(document.xml, [&document, &position](const pugi::xml_node& node) {
      document.order.emplace(node.internal_object(), ++position);
    });
  }
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
  // The candidates for "//Status/*[index]": the index-th element child of every Status.
  if (index == 0 || index > document.candidatesAt.size()) return false;
  const std::vector<pugi::xml_node>& candidates = document.candidatesAt[index - 1];
  for (std::size_t field = 0; field < std::size(kFieldNames); ++field) {
    // "//Status/*[index]/<Field>": the first such child, in document order, of any candidate.
    pugi::xml_node best;
    for (const pugi::xml_node& candidate : candidates) {
      const pugi::xml_node found = candidate.child(kFieldNames[field]);
      if (found && (!best || document.OrderOf(found) < document.OrderOf(best))) best = found;
    }
    if (best) StoreField(field, DescendantText(best), item);
  }
  return true;
}

std::int32_t StatusXmlReader::ParseId(const std::string& text) {
  if (!text.empty() && QUORVAN::Rendix::GeneralUtilityLib::StringUtility::isEqual(
                           text, "Unknown ID", true)) {
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
