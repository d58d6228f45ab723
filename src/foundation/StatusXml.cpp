// The XML forms of StatusItem and Status: writing items, the envelope, and reading status XML
// back (Append appends one item per child node of Status, Prepend folds all into one).
#include <rdx/foundation/Status.h>
#include <rdx/foundation/StatusItem.h>
#include <rdx/foundation/StringUtility.h>

#include "foundation/StatusXmlReader.h"
#include "foundation/StringInternal.h"

#include <array>
#include <string_view>
#include <vector>

namespace QUORVAN::Rendix::GeneralUtilityLib {
namespace {

// Text content as the document writes it: markup characters escaped, control characters as
// character references so they survive a round trip, and cut at the first NUL because a
// document node's text ends there. False when a NUL ended it, so callers writing pieces stop.
// Bytes written as they are: all but markup and control characters (tab and newline stay).
constexpr auto kWrittenAsIs = [] {
  std::array<bool, 256> plain{};
  for (int c = 0; c < 256; ++c) {
    plain[static_cast<std::size_t>(c)] =
        (c >= 0x20 && c != '&' && c != '<' && c != '>') || c == '\t' || c == '\n';
  }
  return plain;
}();

bool AppendEscaped(std::string& out, std::string_view text) {
  const char* run = text.data();
  const char* const end = text.data() + text.size();
  for (const char* at = run; at != end;) {
    // Plain bytes are copied in runs; only markup and control characters stop the run.
    if (end - at >= 8 && !rdx::foundation::WordHasControlOr<'&', '<', '>'>(at)) {
      at += 8;
      continue;
    }
    const char* const stop = end - at >= 8 ? at + 8 : end;
    for (; at != stop; ++at) {
      const unsigned char c = static_cast<unsigned char>(*at);
      if (kWrittenAsIs[c]) continue;
      out.append(run, at);
      run = at + 1;
      switch (c) {
        case '\0': return false;
        case '&': out += "&amp;"; break;
        case '<': out += "&lt;"; break;
        case '>': out += "&gt;"; break;
        default:  // a control character, as a decimal character reference
          out += "&#";
          if (c >= 10) out += char('0' + c / 10);
          out += char('0' + c % 10);
          out += ';';
      }
    }
  }
  out.append(run, end);
  return true;
}

// The source as the XML form shows it: the product prefix removed (any case), then every
// "::" written as "." (as FormatSource gives it, without building that copy).
void AppendPreparedSource(std::string& out, const std::string& source) {
  static constexpr std::string_view kPrefix = "QUORVAN.Rendix.";
  std::string_view rest = source;
  std::string stripped;
  const std::size_t found = rdx::foundation::FindText(source, kPrefix, 0, true);
  if (found == 0 &&
      rdx::foundation::FindText(source, kPrefix, kPrefix.size(), true) == std::string::npos) {
    // The usual source: one prefix in front, which no removal can join with another.
    rest.remove_prefix(kPrefix.size());
  } else if (found != std::string::npos) {
    stripped = rdx::foundation::StripProductPrefix(source);
    rest = stripped;
  }
  for (std::size_t separator = rest.find("::"); separator != std::string_view::npos;
       separator = rest.find("::")) {
    if (!AppendEscaped(out, rest.substr(0, separator))) return;
    out += '.';
    rest.remove_prefix(separator + 2);
  }
  AppendEscaped(out, rest);
}

void AppendElement(std::string& out, std::string_view opening, const std::string& text,
                   std::string_view closing) {
  out += opening;
  AppendEscaped(out, text);
  out += closing;
}

void AppendIdText(std::string& out, std::int32_t id) {
  if (id == -1) {
    out += "Unknown ID";
    return;
  }
  // "%06X" of the id as an unsigned 32-bit value, written out: this runs for every item.
  static constexpr char kDigits[] = "0123456789ABCDEF";
  char digits[8];
  std::size_t count = 0;
  for (std::uint32_t value = static_cast<std::uint32_t>(id); value != 0; value >>= 4) {
    digits[count++] = kDigits[value & 0xF];
  }
  if (count < 6) out.append(6 - count, '0');
  while (count > 0) out += digits[--count];
}

// Writes the XML form of item onto out, so that a whole Status is built in one string.
void AppendItemXml(std::string& out, const StatusItem& item, bool withTime) {
  out += "\n\t<Item>";
  if (withTime) AppendElement(out, "\n\t\t<Time>", getFormattedTime(), "</Time>");
  out += "\n\t\t<ID>";
  AppendIdText(out, item.id);
  out += "</ID>";
  out += "\n\t\t<Source>";
  AppendPreparedSource(out, item.source);
  out += "</Source>";
  AppendElement(out, "\n\t\t<Message>", item.message, "</Message>");
  AppendElement(out, "\n\t\t<Details>", item.details, "</Details>");
  out += "\n\t</Item>";
}

// Room for the markup of one item besides its texts.
constexpr std::size_t kItemMarkupBytes = 112;

std::size_t EstimatedBytes(const std::vector<StatusItem>& items) {
  std::size_t bytes = 16;
  for (const StatusItem& item : items) {
    bytes += kItemMarkupBytes + item.source.size() + item.message.size() + item.details.size();
  }
  return bytes;
}

}  // namespace

std::string StatusItem::ToString(const char* withTime) const {
  std::string out;
  out.reserve(kItemMarkupBytes + source.size() + message.size() + details.size());
  AppendItemXml(out, *this, withTime != nullptr);
  return out;
}

std::string Status::ToXmlSnippet(const char* withTime) const {
  std::string out;
  out.reserve(EstimatedBytes(items));
  for (const StatusItem& item : items) AppendItemXml(out, item, withTime != nullptr);
  return out;
}

std::string Status::ToString(const char* withTime) const {
  if (items.empty()) return std::string();
  std::string out;
  out.reserve(EstimatedBytes(items));
  out += "<Status>";
  for (const StatusItem& item : items) AppendItemXml(out, item, withTime != nullptr);
  out += "\n</Status>";
  return out;
}

bool Status::Append(const std::string& xml) {
  if (xml.empty()) return false;
  try {
    if (rdx::foundation::StatusXmlReader::ReadOwnLayout(xml, items)) return true;
    return rdx::foundation::AppendThroughDocument(xml, items);
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

namespace rdx::foundation {

bool AppendThroughDocument(const std::string& xml,
                           std::vector<QUORVAN::Rendix::GeneralUtilityLib::StatusItem>& items) {
  StatusXmlReader reader;
  if (!reader.Load(xml)) return false;
  const std::uint32_t count = reader.ChildCount();
  if (count == StatusXmlReader::kNoStatus) return true;
  // The count is of nodes actually parsed, so it is bounded by the text's length.
  items.reserve(items.size() + count);
  for (std::uint32_t i = 1; i <= count; ++i) {
    // The item is added before it is read: a child that is not an Item still counts.
    items.emplace_back();
    reader.ReadItem(i, items.back());
  }
  return true;
}

}  // namespace rdx::foundation
