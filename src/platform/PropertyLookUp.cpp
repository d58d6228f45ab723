// PropertyLookUp: ordered pairs with case-insensitive lookup by name.
#include <rdx/platform/PropertyLookUp.h>

#include <rdx/foundation/CaseInsensitiveStringComparer.h>

namespace QUORVAN::Rendix::GeneralUtilityLib {
namespace {

bool SameName(const std::string& a, const std::string& b) {
  const Global::CaseInsensitiveStringComparer less;
  return !less(a, b) && !less(b, a);
}

}  // namespace

PropertyLookUp::const_iterator PropertyLookUp::find(const std::string& name) const {
  for (auto it = pairs_.begin(); it != pairs_.end(); ++it) {
    if (SameName(it->first, name)) return it;
  }
  return pairs_.end();
}

std::string& PropertyLookUp::operator[](const std::string& name) {
  for (Pair& pair : pairs_) {
    if (SameName(pair.first, name)) return pair.second;
  }
  pairs_.emplace_back(name, std::string());
  return pairs_.back().second;
}

std::string PropertyLookUp::get(const std::string& name, const std::string& defaultValue) const {
  const auto found = find(name);
  return found == end() ? defaultValue : found->second;
}

bool PropertyLookUp::exists(const std::string& name) const { return find(name) != end(); }

}  // namespace QUORVAN::Rendix::GeneralUtilityLib
