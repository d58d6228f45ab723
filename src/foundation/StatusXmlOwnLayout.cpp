// Direct reading of status XML in the library's own written layout. The result must be what
// the document route gives for the same text; anything this scan does not fully understand
// is left to that route.
#include "foundation/StatusXmlReader.h"

#include <cstddef>

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
    bool onlyBlanks = true;
    while (at_ < text_.size() && text_[at_] != '<') {
      const unsigned char c = static_cast<unsigned char>(text_[at_]);
      if (c == '&') {
        if (!TakeReference(out)) return false;
        onlyBlanks = false;
        continue;
      }
      if (c < 0x20 && c != '\t' && c != '\n') return false;
      if (c != ' ' && c != '\t' && c != '\n') onlyBlanks = false;
      const std::size_t run = at_;
      while (at_ < text_.size() && text_[at_] != '<' && text_[at_] != '&' &&
             (static_cast<unsigned char>(text_[at_]) >= 0x20 || text_[at_] == '\t' ||
              text_[at_] == '\n')) {
        if (text_[at_] != ' ' && text_[at_] != '\t' && text_[at_] != '\n') onlyBlanks = false;
        ++at_;
      }
      out.append(text_.substr(run, at_ - run));
    }
    // The document drops text that is only blanks, so such an element reads as empty.
    if (onlyBlanks) out.clear();
    return true;
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

bool StatusXmlReader::ReadOwnLayout(std::string_view xml, std::vector<StatusItem>& items) {
  LayoutScanner scanner(xml);
  if (!scanner.Take("<Status>")) return false;
  std::vector<StatusItem> read;
  std::string idText;
  std::string ignored;
  while (scanner.Take("\n\t<Item>")) {
    StatusItem& item = read.emplace_back();
    if (scanner.Take("\n\t\t<Time>")) {
      if (!scanner.TakeText(ignored) || !scanner.Take("</Time>")) return false;
    }
    if (!scanner.Take("\n\t\t<ID>") || !scanner.TakeText(idText) || !scanner.Take("</ID>") ||
        !scanner.Take("\n\t\t<Source>") || !scanner.TakeText(item.source) ||
        !scanner.Take("</Source>") || !scanner.Take("\n\t\t<Message>") ||
        !scanner.TakeText(item.message) || !scanner.Take("</Message>") ||
        !scanner.Take("\n\t\t<Details>") || !scanner.TakeText(item.details) ||
        !scanner.Take("</Details>") || !scanner.Take("\n\t</Item>")) {
      return false;
    }
    item.id = ParseId(idText);
  }
  if (!scanner.Take("\n</Status>") || !scanner.AtEnd()) return false;
  items.insert(items.end(), std::make_move_iterator(read.begin()),
               std::make_move_iterator(read.end()));
  return true;
}

}  // namespace rdx::foundation
