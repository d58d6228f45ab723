#pragma once
// Status XML read the slow, obvious way: one XPath query per item and field through
// XMLProperties. Status::Append and Status::Prepend read the same texts without evaluating
// XPath; tests and the fuzzer hold them to what these queries give.
#include <rdx/foundation/Status.h>
#include <rdx/foundation/StringUtility.h>
#include <rdx/platform/XMLProperties.h>

#include "foundation/StatusXmlReader.h"

#include <cstdint>
#include <string>
#include <vector>

namespace rdx::test {

// Reads the fields of the item at itemPath into item; false when the item cannot be selected.
inline bool ReadItemByQueries(QUORVAN::Rendix::GeneralUtilityLib::XMLProperties& xml,
                              const std::string& itemPath,
                              QUORVAN::Rendix::GeneralUtilityLib::StatusItem& item) {
  if (!xml.selectNode(itemPath, 0)) return false;
  // The id text is read by the one parser both routes share; what matters here is which
  // node each query finds.
  if (xml.selectNode(itemPath + "/ID", 0)) {
    item.id = foundation::StatusXmlReader::ParseId(xml.getNodeText(""));
  }
  if (xml.selectNode(itemPath + "/Message", 0)) item.message = xml.getNodeText("");
  if (xml.selectNode(itemPath + "/Source", 0)) item.source = xml.getNodeText("");
  if (xml.selectNode(itemPath + "/Details", 0)) item.details = xml.getNodeText("");
  return true;
}

// Append (fold = false) or Prepend (fold = true) of xml onto items, by queries.
inline bool ReadByQueries(const std::string& xml,
                          std::vector<QUORVAN::Rendix::GeneralUtilityLib::StatusItem>& items,
                          bool fold) {
  using QUORVAN::Rendix::GeneralUtilityLib::StringUtility::printToString;
  QUORVAN::Rendix::GeneralUtilityLib::XMLProperties document;
  if (xml.empty() || !document.init(xml)) return false;
  if (fold) items.emplace(items.begin());
  const std::uint32_t count = document.getNumChildren("//Status");
  if (count == 0xFFFFFFFFu) return true;
  for (std::uint32_t i = 1; i <= count; ++i) {
    if (!fold) items.emplace_back();
    ReadItemByQueries(document, printToString("%s/*[%u]", "//Status", i),
                      fold ? items.front() : items.back());
  }
  return true;
}

}  // namespace rdx::test
