#pragma once
// Reads status XML the way the document queries "//Status", "//Status/*[i]" and
// "//Status/*[i]/<Field>" answer, without evaluating XPath for the common document that has
// a single Status element: status texts are merged on every remote call, so this is hot.

#include <rdx/foundation/StatusItem.h>

#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

namespace rdx::foundation {

using StatusItems = std::vector<QUORVAN::Rendix::GeneralUtilityLib::StatusItem>;

class StatusXmlReader {
 public:
  // What ChildCount answers when the document has no Status element.
  static constexpr std::uint32_t kNoStatus = 0xFFFFFFFFu;

  StatusXmlReader();
  ~StatusXmlReader();
  StatusXmlReader(const StatusXmlReader&) = delete;
  StatusXmlReader& operator=(const StatusXmlReader&) = delete;

  // Parses xml, always as text (never as a file name); false when it is not a well-formed
  // document. Called once per reader.
  [[nodiscard]] bool Load(const std::string& xml);

  // The number of child nodes (elements, text, comments, ...) of the first Status element
  // in document order, or kNoStatus.
  std::uint32_t ChildCount() const;

  // Reads the fields of the index-th (from 1) element child of Status into item: ID, Message,
  // Source and Details each only when present, so a missing field keeps item's value. False
  // when there is no such element.
  bool ReadItem(std::uint32_t index, QUORVAN::Rendix::GeneralUtilityLib::StatusItem& item);

  // Reads text in exactly the layout Status::ToString writes (its indentation, the five
  // elements in order, only the escapes it uses) by a direct scan and appends its items,
  // as Append through the document would. False, with items untouched, for any other text;
  // the caller then takes the document route. Status texts are merged on every remote call.
  [[nodiscard]] static bool ReadOwnLayout(std::string_view xml, StatusItems& items);

  // The id as the ID text gives it: "Unknown ID" (any case) is -1; otherwise hexadecimal as
  // the C runtime's 32-bit strtoul reads it, with all bits set (also overflow) read as 0.
  static std::int32_t ParseId(const std::string& text);

 private:
  struct Document;
  // The parsed document and the Status elements found in it.
  std::unique_ptr<Document> document_;
};

// Status::Append of XML text by the document queries alone, without the direct scan of the
// library's own layout: appends one item per child node of the first Status element. False
// for text that does not parse. Exceptions (exhausted memory) propagate.
[[nodiscard]] bool AppendThroughDocument(const std::string& xml, StatusItems& items);

}  // namespace rdx::foundation
