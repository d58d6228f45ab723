// NameValueMap: the XML and text forms, merging under new names and re-keying by prefix.
#include <rdx/foundation/NameValueMap.h>

#include <rdx/foundation/StringUtility.h>

#include "foundation/StringInternal.h"
#include "platform/xml/XmlDocument.h"

#include <algorithm>
#include <filesystem>
#include <memory>
#include <optional>
#include <system_error>

namespace QUORVAN::Rendix::Global {
namespace {

namespace gul = QUORVAN::Rendix::GeneralUtilityLib;

constexpr std::uint32_t kNoCount = 0xFFFFFFFF;

std::uint32_t LengthLimit(const std::string& s) {
  return s.size() >= kNoCount ? kNoCount : static_cast<std::uint32_t>(s.size());
}

bool EqualsNoCase(const std::string& a, const std::string& b) {
  return gul::StringUtility::isEqual(a, b, true);
}

// The document `source` stands for, read as XMLProperties::init reads it: the file of that name
// when one exists, else the text itself. Null when it does not parse.
std::shared_ptr<rdx::xml::Document> LoadDocument(const std::string& source) {
  std::error_code code;
  const bool namesFile =
      source.find('\0') == std::string::npos && std::filesystem::exists(source, code);
  std::optional<rdx::xml::ParseError> error;
  auto document = namesFile ? rdx::xml::LoadFile(source, error) : rdx::xml::LoadText(source, error);
  return error ? nullptr : document;
}

// Child nodes of the first node xpath selects; kNoCount when nothing is selected, the node
// cannot have children or the XPath is bad.
std::uint32_t ChildCountAt(const std::shared_ptr<rdx::xml::Document>& document,
                           const std::string& xpath) {
  try {
    rdx::xml::NodeRef node = rdx::xml::SelectSingleNode(document, xpath);
    return node.Live() ? rdx::xml::ChildCount(node.node).value_or(kNoCount) : kNoCount;
  } catch (...) {  // a name that is no XPath step counts as unparsable
    return kNoCount;
  }
}

// The value a child element stands for: its text when its first child is text, its whole
// markup when that is an element (so nested elements come back as XML), "" when it is empty.
std::string ContentsOf(const pugi::xpath_node& node) {
  switch (rdx::xml::FirstChildKind(node)) {
    case rdx::xml::FirstChild::kText: return rdx::xml::NodeText(node);
    case rdx::xml::FirstChild::kOther: return rdx::xml::NodeMarkup(node);
    case rdx::xml::FirstChild::kNone: break;
  }
  return "";
}

// The value as it goes between "<name>" and "</name>": markup characters survive only when the
// element parses with at least one child, so no value can break the document around it.
std::string PrepareElementText(const std::string& name, std::string value) {
  const auto probe = LoadDocument("<" + name + ">" + value + "</" + name + ">");
  const std::uint32_t children = probe ? ChildCountAt(probe, "//" + name) : kNoCount;
  if (children == 0 || children == kNoCount) {
    std::replace(value.begin(), value.end(), '<', '_');
    std::replace(value.begin(), value.end(), '>', '_');
  }
  return value;
}

}  // namespace

int NameValueMap::LoadXml(const std::string& xml, const std::string& rootPath) {
  clear();
  try {
    const auto document = LoadDocument(xml);
    if (!document) return 0;
    const std::string root = rootPath.empty() ? "/*" : rootPath;
    const auto roots = rdx::xml::SelectNodes(document, root);
    if (roots->Length() == 0 || !roots->Item(0).Live()) return 0;
    const std::uint32_t count = ChildCountAt(document, root);
    if (count == kNoCount) return 1;
    // Child i is the first, in document order, of the i-th element children of every node
    // the root path matches. With one such node (the usual case) that is its i-th element
    // child, so its children are walked as one list: one query for the whole element rather
    // than one per child, which would make a large section cost the square of its size.
    // `count` covers every child node, elements or not, so it bounds the element children;
    // indexes past them select nothing.
    const bool oneRoot = roots->Length() == 1;
    const auto children =
        oneRoot ? rdx::xml::SelectNodes(document, "(" + root + ")[1]/*") : nullptr;
    for (std::uint32_t i = 0; i < count; ++i) {
      rdx::xml::NodeRef child =
          oneRoot ? children->Item(i)
                  : rdx::xml::SelectNodes(
                        document, gul::StringUtility::printToString(
                                      "%s/*[%lu]", root.c_str(), static_cast<unsigned long>(i) + 1))
                        ->Item(0);
      if (!child.Live()) continue;
      // The first name wins; sections are often written in order, so try the end first.
      emplace_hint(end(), rdx::xml::NodeName(child.node), ContentsOf(child.node));
    }
    return 1;
  } catch (...) {  // a bad root XPath, or out of memory part way: nothing half-read is kept
    clear();
    return 0;
  }
}

std::string NameValueMap::ToXmlString(const std::string& rootName) const {
  try {
    if (empty()) return "";
    std::string out = "<" + rootName + ">";
    for (const auto& [name, stored] : *this) {
      std::string value = stored;
      // Every "&" goes: a replacement "_" never makes a new one, so one pass replaces what
      // searching again from the start after each replacement would.
      std::replace(value.begin(), value.end(), '&', '_');
      const std::string openTag = "<" + name + ">";
      const std::size_t firstClose = value.find('>');
      if (firstClose != std::string::npos &&
          EqualsNoCase(value.substr(0, firstClose + 1), openTag)) {
        out += value;  // already written as its own element by an earlier ToXmlString
        continue;
      }
      out += openTag;
      out += PrepareElementText(name, std::move(value));
      out += "</" + name + ">\n";
    }
    out += "</" + rootName + ">";
    return out;
  } catch (...) {  // out of memory: no half-written document
    return "";
  }
}

std::string NameValueMap::ToTextString(const std::string& /*label*/) const {
  try {
    std::string out;
    for (const auto& [name, value] : *this) {
      // Written as "%s" would write them: each text ends at its first NUL.
      out += '|';
      out += name.c_str();
      out += ':';
      out += value.c_str();
    }
    return out;
  } catch (...) {  // out of memory: no half-written text
    return "";
  }
}

int ReplaceKey(
    NameValueMap& source, NameValueMap& target, const std::string& oldPrefix,
    std::string newPrefix) {  // NOLINT(performance-unnecessary-value-param): exported signature
  try {
    // Re-keying a map into itself must not visit the names it has just added.
    const NameValueMap snapshot = &source == &target ? source : NameValueMap();
    const NameValueMap& pairs = &source == &target ? snapshot : source;
    for (const auto& [name, value] : pairs) {
      if (!gul::beginsWithNoCase(name, oldPrefix)) continue;
      std::string newName = name;
      gul::replaceString(newName, oldPrefix, newPrefix, true, LengthLimit(name));
      target[newName] = value;
    }
    return 1;
  } catch (...) {  // out of memory: the pairs copied so far stay
    return 0;
  }
}

}  // namespace QUORVAN::Rendix::Global
