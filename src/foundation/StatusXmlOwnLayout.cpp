// Direct reading of status XML in the library's own written layout. The result must be what
// the document route gives for the same text; anything this scan does not fully understand
// is left to that route.
#include "foundation/StatusXmlReader.h"

#include <algorithm>
#include <cstddef>

#include "foundation/StringInternal.h"

namespace rdx::foundation {
namespace {

using QUORVAN::Rendix::GeneralUtilityLib::StatusItem;

class LayoutScanner {
 public:
  explicit LayoutScanner(std::string_view text) : text_(text) {}

  bool AtEnd() const { return at_ == text_.size(); }

  // Consumes literal when the text continues with it.
  bool Take(std::string_view literal) {
    if (text_.substr(at_, literal.size()) != literal) return false;
    at_ += literal.size();
    return true;
  }

  // Reads escaped element text up to the next '<' into out, unescaped. Refuses anything the
  // writer never produces (raw CR or control bytes, other entities, a NUL) so that only text
  // whose parse is certain is read here.
  bool TakeText(std::string& out) {
    out.clear();
    const std::size_t end = text_.find('<', at_);
    if (end == std::string_view::npos) return false;
    // Control bytes and references, looked for 8 bytes at a time: plain text has neither.
    const char* const data = text_.data();
    bool hasReference = false;
    for (std::size_t i = at_; i < end;) {
      if (end - i >= 8 && !WordHasControlOr<'&'>(data + i)) {
        i += 8;
        continue;
      }
      for (const std::size_t stop = std::min(end, i + 8); i < stop; ++i) {
        const char c = data[i];
        if (static_cast<unsigned char>(c) < 0x20 && c != '\t' && c != '\n') return false;
        hasReference = hasReference || c == '&';
      }
    }
    const std::string_view raw = text_.substr(at_, end - at_);
    // The document drops text that is only blanks, so such an element reads as empty.
    if (raw.find_first_not_of(" \t\n") == std::string_view::npos) {
      at_ = end;
      return true;
    }
    if (!hasReference) {
      out.assign(raw);
      at_ = end;
      return true;
    }
    while (at_ < end) {
      const std::size_t ampersand = text_.find('&', at_);
      const std::size_t stop = ampersand < end ? ampersand : end;
      out.append(text_.substr(at_, stop - at_));
      at_ = stop;
      if (at_ < end && !TakeReference(out)) return false;
    }
    return at_ == end;
  }

 private:
  bool TakeReference(std::string& out) {
    if (Take("&amp;")) return out += '&', true;
    if (Take("&lt;")) return out += '<', true;
    if (Take("&gt;")) return out += '>', true;
    if (!Take("&#")) return false;
    unsigned value = 0;
    std::size_t digits = 0;
    while (at_ < text_.size() && text_[at_] >= '0' && text_[at_] <= '9' && digits < 2) {
      value = value * 10 + static_cast<unsigned>(text_[at_] - '0');
      ++at_;
      ++digits;
    }
    // Only the control characters the writer escapes; the rest goes the document route.
    if (digits == 0 || value == 0 || value >= 0x20 || !Take(";")) return false;
    out += static_cast<char>(value);
    return true;
  }

  std::string_view text_;
  std::size_t at_ = 0;
};

}  // namespace

bool StatusXmlReader::ReadOwnLayout(std::string_view xml, StatusItems& items) {
  LayoutScanner scanner(xml);
  if (!scanner.Take("<Status>")) return false;
  const std::size_t before = items.size();
  // Items go straight into place; a text that turns out not to be in the layout takes them
  // out again, so the caller sees items untouched.
  auto refuse = [&items, before] {
    items.erase(items.begin() + static_cast<std::ptrdiff_t>(before), items.end());
    return false;
  };
  // Room for as many items as the text could hold, without a counting pass over it: never
  // more than one item of empty texts per its length, and at most a few pages ahead.
  static constexpr std::string_view kLeastItem =
      "\n\t<Item>\n\t\t<ID></ID>\n\t\t<Source></Source>\n\t\t<Message></Message>"
      "\n\t\t<Details></Details>\n\t</Item>";
  constexpr std::size_t kMostReservedAhead = 256;
  items.reserve(before + std::min(kMostReservedAhead, xml.size() / kLeastItem.size()));
  std::string idText;
  std::string ignored;
  while (scanner.Take("\n\t<Item>")) {
    StatusItem& item = items.emplace_back();
    if (scanner.Take("\n\t\t<Time>")) {
      if (!scanner.TakeText(ignored) || !scanner.Take("</Time>")) return refuse();
    }
    if (!scanner.Take("\n\t\t<ID>") || !scanner.TakeText(idText) || !scanner.Take("</ID>") ||
        !scanner.Take("\n\t\t<Source>") || !scanner.TakeText(item.source) ||
        !scanner.Take("</Source>") || !scanner.Take("\n\t\t<Message>") ||
        !scanner.TakeText(item.message) || !scanner.Take("</Message>") ||
        !scanner.Take("\n\t\t<Details>") || !scanner.TakeText(item.details) ||
        !scanner.Take("</Details>") || !scanner.Take("\n\t</Item>")) {
      return refuse();
    }
    item.id = ParseId(idText);
  }
  if (!scanner.Take("\n</Status>") || !scanner.AtEnd()) return refuse();
  return true;
}

}  // namespace rdx::foundation
