#pragma once
#include <rdx/Export.h>
#include <rdx/foundation/CaseInsensitiveStringComparer.h>

#include <cstdint>
#include <map>
#include <string>

namespace QUORVAN::Rendix::Global {

/// NameValueMap: the library's property bag, an ordered map from name to value whose names
/// compare without regard to ASCII case. It is a plain std::map underneath, so callers iterate,
/// find, insert and erase as with any map; on top it has a flat byte form for passing between
/// processes, a one-line text form for logs and an XML form for configuration.
///
///   NameValueMap map;
///   map["Port"] = "80";
///   map["PORT"] = "81";            // same name: "Port" is kept and now holds "81"
///   map.ToTextString();            // "|Port:81"
///   std::uint32_t size = 0;
///   map.Save(&size, nullptr);      // 0, size is now 8
///
/// Iteration, and so every serialised form, follows CaseInsensitiveStringComparer. The first
/// spelling of a name inserted is the one kept and written.
class RDX_API NameValueMap
    : public std::map<std::string, std::string, CaseInsensitiveStringComparer> {
 public:
  /// The std::map it derives from; its constructors are inherited.
  using Base = std::map<std::string, std::string, CaseInsensitiveStringComparer>;
  using Base::Base;

  /// operator[] const: the value stored for `name`, or "" when it is absent; never inserts.
  std::string operator[](const std::string& name) const;
  /// operator[]: the stored value for assignment; an absent name is inserted with "" first.
  std::string& operator[](const std::string& name) { return Base::operator[](name); }

  /// Exists: 1 when `name` is present (case ignored), else 0.
  int Exists(const std::string& name) const;

  /// Save: writes the flat form, each name then its value, each followed by one 0x00 byte, in
  /// map order, with nothing before, between or after. Two calls: pass *size = 0 to learn the
  /// size, then a buffer of at least that many bytes. Returns 1 when written. Returns 0 for an
  /// empty map (size untouched: an empty map has no flat form), a null `size`, or a capacity
  /// below the need (the needed size is then stored in *size). A name or value is written only
  /// up to its first 0x00; the rest of its room (its full length) is left zero.
  int Save(std::uint32_t* size, void* buffer);

  /// Load: replaces the contents with the pairs of a flat block of `size` bytes. The map is
  /// emptied first, always. Returns 0 for a null `buffer`, or (map left empty) when memory runs
  /// out. Reading rules kept for blocks written by older peers: an empty name swallows the
  /// string after it and takes the next one as its value; a last pair whose value is empty is
  /// not restored; a last value without its 0x00 is read to the end of the block; the first
  /// pair of a name wins.
  int Load(std::uint32_t size, const void* buffer);

  /// LoadXml: replaces the contents with the children of the element at `rootPath` ("/*", the
  /// document element, when empty): each child's name, and its text, or its markup when its
  /// first child is not text. The first child of a name wins. Returns 0, leaving the map empty,
  /// when the text does not parse or the path matches nothing.
  int LoadXml(const std::string& xml, const std::string& rootPath = "/*");

  /// ToXmlString: "<rootName>", one "<name>value</name>\n" per pair, "</rootName>"; "" for an
  /// empty map. "&" becomes "_"; "<" and ">" become "_" unless the value is well-formed markup,
  /// which is embedded as elements; a value that already starts with "<name>" is written as it
  /// stands.
  std::string ToXmlString(const std::string& rootName) const;

  /// ToTextString: "|name:value" per pair in map order; "" for an empty map. `label` is not
  /// used; it stays for callers that pass one.
  std::string ToTextString(const std::string& label = "") const;

  /// UpdateUsing: sets prefix + name + suffix to the value for every pair of `other`, leaving
  /// out empty values when `skipEmpty` is set. A name already present (case ignored) keeps its
  /// spelling and takes the new value. Returns 1.
  int UpdateUsing(const NameValueMap& other, bool skipEmpty = false, const std::string& prefix = "",
                  const std::string& suffix = "");
};

/// ReplaceKey: copies into `target` every pair of `source` whose name begins with `oldPrefix`
/// (case ignored), under the name with every occurrence of `oldPrefix` (not only the leading
/// one) replaced by `newPrefix`. Other pairs are not copied; `source` is not changed. Returns 1.
RDX_API int ReplaceKey(NameValueMap& source, NameValueMap& target, const std::string& oldPrefix,
                       std::string newPrefix);

}  // namespace QUORVAN::Rendix::Global
