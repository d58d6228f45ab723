#pragma once
#include <rdx/Export.h>

#include <cstddef>
#include <string>
#include <utility>
#include <vector>

namespace QUORVAN::Rendix::GeneralUtilityLib {

/// PropertyLookUp: a small ordered list of (name, value) pairs looked up by name without regard
/// to ASCII case. It holds the attributes of an XML element in document order (see
/// XMLProperties::getAttributes) and the settings handed to a service-provider proxy.
///
///   PropertyLookUp lookUp;
///   lookUp["Endpoint"] = "3982";
///   lookUp.get("ENDPOINT");  // "3982"
///
/// Lookup is a linear search: these lists hold a handful of pairs, and keeping insertion order
/// matters more than lookup speed.
class RDX_API PropertyLookUp {
 public:
  using Pair = std::pair<std::string, std::string>;          ///< One (name, value) entry.
  using const_iterator = std::vector<Pair>::const_iterator;  ///< Walks the pairs in order.

  /// operator[]: the value stored for `name` (case ignored), for assignment. An absent name is
  /// appended with an empty value first, so the list grows by one.
  std::string& operator[](const std::string& name);
  /// operator[] const: the value stored for `name` (case ignored), or "" when it is absent.
  std::string operator[](const std::string& name) const { return get(name); }

  /// get: the value stored for `name` (case ignored), or `defaultValue` when it is absent.
  /// Never changes the list.
  std::string get(const std::string& name, const std::string& defaultValue = "") const;

  /// exists: whether a pair with that name (case ignored) is present.
  bool exists(const std::string& name) const;

  /// find: the first pair whose name equals `name` (case ignored), or end().
  const_iterator find(const std::string& name) const;

  /// clear: removes every pair.
  void clear() { pairs_.clear(); }

  std::size_t size() const { return pairs_.size(); }  ///< The number of pairs.
  bool empty() const { return pairs_.empty(); }       ///< Whether there are no pairs.
  ///@{
  /// The pairs in the order they were added.
  const_iterator begin() const { return pairs_.begin(); }
  const_iterator end() const { return pairs_.end(); }
  ///@}

 private:
  /// Insertion order, first pair first; a name occurs at most once (case ignored).
  std::vector<Pair> pairs_;
};

}  // namespace QUORVAN::Rendix::GeneralUtilityLib
