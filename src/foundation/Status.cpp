// Status: the ordered list of items, its mutation and its text form.
#include <rdx/foundation/Status.h>

namespace QUORVAN::Rendix::GeneralUtilityLib {

bool Status::Append(std::int32_t id, const std::string& message, const std::string& source,
                    const std::string& details) {
  items.emplace_back(id, message, source.empty() ? defaultSource : source, details);
  return true;
}

bool Status::Append(const StatusItem& item) {
  items.push_back(item);
  return true;
}

bool Status::Append(const Status& other) {
  if (&other == this) {
    // Appending to itself: copy first, inserting a vector's own range into it is undefined.
    const std::vector<StatusItem> copy = items;
    items.insert(items.end(), copy.begin(), copy.end());
  } else {
    items.insert(items.end(), other.items.begin(), other.items.end());
  }
  return true;
}

bool Status::Prepend(std::int32_t id, const std::string& message, const std::string& source,
                     const std::string& details) {
  items.emplace(items.begin(), id, message, source.empty() ? defaultSource : source, details);
  return true;
}

bool Status::Prepend(const StatusItem& item) {
  items.insert(items.begin(), item);
  return true;
}

void Status::add(std::int32_t id, const std::string& message, const std::string& source,
                 const std::string& /*details*/) {
  // Details are dropped: the short form has always recorded only id, message and source.
  Append(id, message, source, std::string());
}

void Status::add(const Status& other) { Append(other); }

void Status::operator()(std::int32_t id, const std::string& message, const std::string& source,
                        const std::string& /*details*/) {
  Prepend(id, message, source, std::string());
}

bool Status::Clear(const std::string& source) {
  items.clear();
  defaultSource = source;
  return true;
}

void Status::clear(std::int32_t /*id*/, const std::string& /*message*/, const std::string& source,
                   const std::string& /*details*/) {
  // Only resets: the arguments of an item are accepted for call-site symmetry, none is added.
  Clear(source);
}

std::string Status::ToTextString(const char* prefix) const {
  std::string text;
  for (std::size_t i = 0; i < items.size(); ++i) {
    if (i != 0) text += '\n';
    text += items[i].ToTextString(prefix);
  }
  return text;
}

}  // namespace QUORVAN::Rendix::GeneralUtilityLib
