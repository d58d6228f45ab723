#pragma once
// A walk over a pugixml subtree that needs no stack: documents come from outside and may nest
// deeper than recursion would allow.

#include <pugixml.hpp>

namespace rdx::xml {

// Calls visit(node) for every descendant of root in document order; stops early when visit
// returns false.
template <class Visit>
void ForEachDescendant(const pugi::xml_node& root, Visit&& visit) {
  pugi::xml_node current = root.first_child();
  while (current) {
    if (!visit(current)) return;
    if (current.first_child()) {
      current = current.first_child();
      continue;
    }
    while (current != root && !current.next_sibling()) current = current.parent();
    if (current == root) return;
    current = current.next_sibling();
  }
}

}  // namespace rdx::xml
