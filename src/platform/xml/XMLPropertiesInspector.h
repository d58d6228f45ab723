#pragma once
// Read access to what XMLProperties keeps out of its public interface. The status is cleared,
// not filled, on failure, so the text of the last failure is only reachable here.

#include <rdx/platform/XMLProperties.h>

#include <cstdint>
#include <string>

namespace rdx::xml {

class XMLPropertiesInspector {
 public:
  // The message of the last failing operation ("" when none failed yet).
  static std::string LastFailure(
      const QUORVAN::Rendix::GeneralUtilityLib::XMLProperties& properties);
  // How many times the document has walked its whole tree to re-check handles after an edit.
  static std::uint64_t TreeWalks(
      const QUORVAN::Rendix::GeneralUtilityLib::XMLProperties& properties);
};

}  // namespace rdx::xml
