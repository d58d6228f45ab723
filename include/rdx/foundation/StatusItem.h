#pragma once
#include <rdx/Export.h>

#include <cstdint>
#include <string>

namespace QUORVAN::Rendix::GeneralUtilityLib {

/// StatusItem: one record of what went wrong or what happened: a numeric id, a message, the
/// source that raised it and optional details. Items are plain values, collected in a Status.
///
///   StatusItem item(0xFB17, "Could not open.", "QUORVAN.Rendix.Global.Reporter", "");
///   item.ToTextString("Main");   // "[Main]: [Global.Reporter : 00FB17] Error: Could not open."
///   item.ToString(nullptr);      // the XML form, an `<Item>` element
class RDX_API StatusItem {
 public:
  /// id 0 and three empty strings.
  StatusItem() = default;
  /// An item with these four values, taken as they are.
  StatusItem(std::int32_t itemId, std::string itemMessage, std::string itemSource,
             std::string itemDetails);

  /// True when the ids are equal; the texts are deliberately not compared: two items with the
  /// same id are the same status whatever they say.
  bool operator==(const StatusItem& other) const { return id == other.id; }

  /// The one-line text form. With a non-empty source: "[prefix]: " (only when prefix is not
  /// null; "" gives "[]: "), then "[source : 00FB17] Error: " with the product prefix
  /// "QUORVAN.Rendix." removed from the source (any case) and the id part and "Error: " only
  /// for a non-zero id; then the message, then "\n" + details when there are details. With an
  /// empty source: the message (and details) alone, whatever the id and prefix.
  std::string ToTextString(const char* prefix) const;

  /// Always the empty string: kept as an entry point only; the XML form is ToString(withTime).
  std::string ToString() const;

  /// The XML form: an `<Item>` with ID ("%06X", or "Unknown ID" for -1), Source (product prefix
  /// removed, "::" made "."), Message and Details, markup escaped. Any non-null withTime (its
  /// text is never read) adds a Time element with the current local time first.
  std::string ToString(const char* withTime) const;

  /// source with every "::" replaced by "." ("Global::Object::Report" -> "Global.Object.Report").
  /// The product prefix is not removed here.
  static std::string FormatSource(std::string source);

  /// 0 means informational; any other value is an error; -1 is the unknown id of the XML form.
  std::int32_t id = 0;
  std::string message;  ///< What happened, for people to read.
  /// A dotted or "::"-separated name, e.g. "ServerCore.ServerProxy.OpenSession".
  std::string source;
  /// Further text; may span lines.
  std::string details;
};

}  // namespace QUORVAN::Rendix::GeneralUtilityLib
