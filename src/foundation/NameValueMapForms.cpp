// NameValueMap: the XML and text forms, merging under new names and re-keying by prefix.
#include <rdx/foundation/NameValueMap.h>

#include <rdx/foundation/StringUtility.h>
#include <rdx/platform/XMLProperties.h>

#include "foundation/StringInternal.h"

#include <algorithm>

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

// The value as it goes between "<name>" and "</name>": markup characters survive only when the
// element parses with at least one child, so no value can break the document around it.
std::string PrepareElementText(const std::string& name, std::string value) {
  gul::XMLProperties probe;
  std::uint32_t children = kNoCount;
  if (probe.init("<" + name + ">" + value + "</" + name + ">")) {
    children = probe.getNumChildren("//" + name);
  }
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
    gul::XMLProperties document;
    if (!document.init(xml)) return 0;
    const std::string root = rootPath.empty() ? "/*" : rootPath;
    if (!document.selectNode(root, 0)) return 0;
    const std::uint32_t count = document.getNumChildren(root);
    if (count == kNoCount) return 1;
    // Child i is the first, in document order, of the i-th element children of every node
    // the root path matches. With one such node (the usual case) that is its i-th element
    // child, so its children are walked as one cached list: one query for the whole element
    // rather than one per child, which would make a large section cost the square of its
    // size. `count` covers every child node, elements or not, so it bounds the element
    // children; indexes past them select nothing.
    const bool oneRoot = document.getNumNodes(root) == 1;
    const std::string children = "(" + root + ")[1]/*";
    for (std::uint32_t i = 0; i < count; ++i) {
      const bool selected =
          oneRoot ? document.selectNode(children, i)
                  : document.selectNode(gul::StringUtility::printToString(
                                            "%s/*[%lu]", root.c_str(),
                                            static_cast<unsigned long>(i) + 1),
                                        0);
      if (!selected) continue;
      // The first name wins; sections are often written in order, so try the end first.
      emplace_hint(end(), document.getNodeName(), document.getNodeContents(""));
    }
    return 1;
  } catch (...) {  // out of memory part way: nothing half-read is left behind
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

int ReplaceKey(NameValueMap& source, NameValueMap& target, const std::string& oldPrefix,
               std::string newPrefix) {
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
