#pragma once
// The well-formedness rules the Windows DOM enforces and pugixml is lenient about: one
// top-level element and no top-level text, unique attribute names, only the predefined entity
// and character references, no "<" in an attribute value. Kept apart from the DOM layer, which
// only loads, walks and edits.

#include <pugixml.hpp>

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "platform/xml/XmlDocument.h"

namespace rdx::xml {

// A parse error with code and reason, placed at the line and column of byte `offset` of `text`
// (an offset past the end is placed at the end).
ParseError MakeError(std::uint32_t code, std::string reason, std::string_view text,
                     std::ptrdiff_t offset);

// Checks a document pugixml has just parsed from `text` and resolves the references of its
// text and attribute values in place. The first rule broken, in document order, or nullopt.
[[nodiscard]] std::optional<ParseError> CheckWellFormed(pugi::xml_document& dom,
                                                        std::string_view text);

}  // namespace rdx::xml
