#pragma once
#include <rdx/Export.h>

#include <string>

namespace QUORVAN::Rendix::Global {

/// CaseInsensitiveStringComparer: the ordering of names in a NameValueMap. "Alpha" and "ALPHA"
/// are one name.
struct RDX_API CaseInsensitiveStringComparer {
  /// True when `a` sorts before `b`: ASCII letters folded to lower case, other bytes compared
  /// as unsigned values, each string read only up to its first NUL byte. Locale-independent,
  /// so the order of every serialised map is the same on every machine.
  bool operator()(const std::string& a, const std::string& b) const noexcept;
};

}  // namespace QUORVAN::Rendix::Global
