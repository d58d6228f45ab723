// The XML forms of StatusItem and Status: writing items, the envelope, and reading status XML
// back (Append appends one item per child node of Status, Prepend folds all into one).
#include <rdx/foundation/Status.h>
#include <rdx/foundation/StatusItem.h>
#include <rdx/foundation/StringUtility.h>

#include "foundation/StatusXmlReader.h"
#include "foundation/StringInternal.h"

namespace QUORVAN::Rendix::GeneralUtilityLib {
namespace {

// Text content as the document writes it: markup characters escaped, control characters as
// character references so they survive a round trip, and cut at the first NUL because a
// document node's text ends there.
void AppendEscaped(std::string& out, const std::string& text) {
  for (const char c : text) {
    switch (c) {
      case '\0': return;
      case '&': out += "&amp;"; break;
      case '<': out += "&lt;"; break;
      case '>': out += "&gt;"; break;
      case '\t': case '\n': out += c; break;
      default:
        if (static_cast<unsigned char>(c) < 0x20) {
          out += "&#";
          out += std::to_string(static_cast<unsigned>(static_cast<unsigned char>(c)));
          out += ';';
        } else {
          out += c;
        }
    }
  }
}

void AppendElement(std::string& out, const char* opening, const std::string& text,
                   const char* closing) {
  out += opening;
  AppendEscaped(out, text);
  out += closing;
}

std::string IdText(std::int32_t id) {
  if (id == -1) return "Unknown ID";
  return StringUtility::printToString("%06X", static_cast<unsigned>(id));
}

}  // namespace

std::string StatusItem::ToString(const char* withTime) const {
  const std::string preparedSource = FormatSource(rdx::foundation::StripProductPrefix(source));
  std::string out;
  out.reserve(96 + preparedSource.size() + message.size() + details.size());
  out += "\n\t<Item>";
  if (withTime != nullptr) AppendElement(out, "\n\t\t<Time>", getFormattedTime(), "</Time>");
  AppendElement(out, "\n\t\t<ID>", IdText(id), "</ID>");
  AppendElement(out, "\n\t\t<Source>", preparedSource, "</Source>");
  AppendElement(out, "\n\t\t<Message>", message, "</Message>");
  AppendElement(out, "\n\t\t<Details>", details, "</Details>");
  out += "\n\t</Item>";
  return out;
}

std::string Status::ToXmlSnippet(const char* withTime) const {
  std::string out;
  for (const StatusItem& item : items) out += item.ToString(withTime);
  return out;
}

std::string Status::ToString(const char* withTime) const {
  if (items.empty()) return std::string();
  return "<Status>" + ToXmlSnippet(withTime) + "\n</Status>";
}

bool Status::Append(const std::string& xml) {
  if (xml.empty()) return false;
  try {
    rdx::foundation::StatusXmlReader reader;
    if (!reader.Load(xml)) return false;
    const std::uint32_t count = reader.ChildCount();
    if (count == rdx::foundation::StatusXmlReader::kNoStatus) return true;
    for (std::uint32_t i = 1; i <= count; ++i) {
      // The item is added before it is read: a child that is not an Item still counts.
      items.emplace_back();
      reader.ReadItem(i, items.back());
    }
    return true;
  } catch (...) {
    return false;  // items read before the failure stay
  }
}

bool Status::Prepend(const std::string& xml) {
  if (xml.empty()) return false;
  try {
    rdx::foundation::StatusXmlReader reader;
    if (!reader.Load(xml)) return false;
    items.emplace(items.begin());
    const std::uint32_t count = reader.ChildCount();
    if (count == rdx::foundation::StatusXmlReader::kNoStatus) return true;
    // Every item is read into the same front item, later fields overwriting earlier ones:
    // callers have long relied on getting one summary item from a prepended text.
    for (std::uint32_t i = 1; i <= count; ++i) reader.ReadItem(i, items.front());
    return true;
  } catch (...) {
    return false;
  }
}

}  // namespace QUORVAN::Rendix::GeneralUtilityLib
