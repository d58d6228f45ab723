#pragma once
#include <rdx/Export.h>
#include <rdx/foundation/StatusItem.h>

#include <cstdint>
#include <string>
#include <vector>

namespace QUORVAN::Rendix::GeneralUtilityLib {

/// Status: the currency of errors and progress. An ordered list of StatusItem records (oldest
/// first unless prepended) plus a default source for items added without one. Operations that
/// can fail take a Status& and append to it; a Status crosses processes as XML text.
///
///   Status status;
///   status.Append(0x10, "Could not open.", "ServerProxy.Open", path);
///   std::string xml = status.ToString(nullptr);    // "<Status>...</Status>"
///   Status copy;
///   copy.Append(xml);                              // the same items back, in order
///
/// A Status is a plain value: copy it to hand it over; it has no locking.
class RDX_API Status {
 public:
  /// Adds one item at the end; an empty source takes defaultSource. Returns true.
  bool Append(std::int32_t id, const std::string& message, const std::string& source,
              const std::string& details);
  /// Adds a copy of item at the end exactly as it is (an empty source stays empty). True.
  bool Append(const StatusItem& item);
  /// Adds copies of other's items in order, defaultSource of other ignored; appending a Status
  /// to itself doubles it. Returns true.
  bool Append(const Status& other);
  /// Parses status XML (a Status element of Item elements) and appends one item per child node
  /// of Status, in document order. False for empty or unparsable text (nothing added); true
  /// otherwise, also when there is no Status element. "Unknown ID" reads as -1, other ids as
  /// hexadecimal, with "FFFFFFFF" (all bits) reading as 0. defaultSource is not applied.
  /// The text is only ever parsed, never taken as a file path to open: text from another
  /// process cannot make this process read its files.
  bool Append(const std::string& xml);

  /// Like the four-value Append, but the item goes to the front. Returns true.
  bool Prepend(std::int32_t id, const std::string& message, const std::string& source,
               const std::string& details);
  /// Inserts a copy of item at the front, unchanged. Returns true.
  bool Prepend(const StatusItem& item);
  /// Parses status XML into ONE item at the front: each Item's fields overwrite the previous
  /// ones in document order, so the front item ends with the last item's fields (a field a
  /// later item lacks keeps the earlier value); "<Status/>" adds one empty item. False for
  /// empty or unparsable text, nothing added. Like Append, never opens a file named by the text.
  bool Prepend(const std::string& xml);

  /// Append(id, message, source, "") : details are ignored on purpose.
  void add(std::int32_t id, const std::string& message, const std::string& source,
           const std::string& details);
  /// Append(other).
  void add(const Status& other);
  /// Prepend(id, message, source, "") : details are ignored on purpose.
  void operator()(std::int32_t id, const std::string& message, const std::string& source,
                  const std::string& details);

  /// Removes all items and makes source the defaultSource. Returns true.
  bool Clear(const std::string& source);
  /// Removes all items and makes source the defaultSource; id, message and details are
  /// ignored and no item is added.
  void clear(std::int32_t id, const std::string& message, const std::string& source,
             const std::string& details);

  /// The items' ToTextString(prefix) joined by "\n" (none after the last); "" when empty.
  std::string ToTextString(const char* prefix) const;
  /// The items' XML forms wrapped in "<Status>" ... "\n</Status>"; "" (no envelope) when
  /// empty. A non-null withTime adds a Time element to each item.
  std::string ToString(const char* withTime) const;
  /// The items' XML forms without the envelope, for embedding; "" when empty.
  std::string ToXmlSnippet(const char* withTime) const;

  /// The records, oldest first unless prepended. Public: filters and proxies iterate, count
  /// and erase items directly.
  std::vector<StatusItem> items;
  /// The source given to items appended or prepended with an empty source; changed only by
  /// Clear, clear and assignment.
  std::string defaultSource;
};

}  // namespace QUORVAN::Rendix::GeneralUtilityLib
