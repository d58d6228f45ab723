// StatusItem: the record and its one-line text form.
#include <rdx/foundation/StatusItem.h>
#include <rdx/foundation/StringUtility.h>

#include "foundation/StringInternal.h"

#include <cstddef>
#include <utility>

namespace QUORVAN::Rendix::GeneralUtilityLib {

StatusItem::StatusItem(std::int32_t itemId, std::string itemMessage, std::string itemSource,
                       std::string itemDetails)
    : id(itemId),
      message(std::move(itemMessage)),
      source(std::move(itemSource)),
      details(std::move(itemDetails)) {}

std::string StatusItem::ToTextString(const char* prefix) const {
  std::string text;
  // An item without a source is shown as its bare message: no brackets, id or prefix, so
  // informational lines read as plain text.
  if (!source.empty()) {
    std::string idPart;
    if (id != 0) idPart = StringUtility::printToString(" : %06X", static_cast<unsigned>(id));
    const std::string stripped = rdx::foundation::StripProductPrefix(source);
    const std::string lead =
        prefix != nullptr ? StringUtility::printToString("[%s]: ", prefix) : std::string();
    text = StringUtility::printToString("%s[%s%s] %s", lead.c_str(), stripped.c_str(),
                                        idPart.c_str(), id != 0 ? "Error: " : "");
  }
  text += message;
  if (!details.empty()) text.append("\n").append(details);
  return text;
}

std::string StatusItem::ToString() const { return std::string(); }

std::string StatusItem::FormatSource(std::string source) {
  // One left-to-right pass gives what searching again from the start after each replacement
  // gives: a "." never forms a new "::", so the leftmost remaining match is always next.
  std::size_t found = source.find("::");
  if (found == std::string::npos) return source;
  std::string result;
  result.reserve(source.size());
  std::size_t from = 0;
  while (found != std::string::npos) {
    result.append(source, from, found - from).append(1, '.');
    from = found + 2;
    found = source.find("::", from);
  }
  result.append(source, from, std::string::npos);
  return result;
}

}  // namespace QUORVAN::Rendix::GeneralUtilityLib
