#include "remote/runtime/InterfaceRegistry.h"

#include <algorithm>
#include <mutex>

namespace rdx::rpc {

void InterfaceRegistry::Add(ServerInterface* entry) {
  std::unique_lock lock(entriesMutex_);
  if (std::find(entries_.begin(), entries_.end(), entry) == entries_.end()) {
    entries_.push_back(entry);
  }
}

bool InterfaceRegistry::Remove(ServerInterface* entry) {
  std::unique_lock lock(entriesMutex_);
  if (entry == nullptr) {  // null stands for every interface, as hosts shutting down pass it
    entries_.clear();
    return true;
  }
  const auto it = std::find(entries_.begin(), entries_.end(), entry);
  if (it == entries_.end()) return false;
  entries_.erase(it);
  return true;
}

ServerInterface* InterfaceRegistry::Find(const SyntaxId& syntax) const {
  std::shared_lock lock(entriesMutex_);
  for (ServerInterface* entry : entries_) {
    const SyntaxId& own = entry->Syntax();
    if (own.uuid == syntax.uuid && own.versionMajor == syntax.versionMajor &&
        syntax.versionMinor <= own.versionMinor) {
      return entry;
    }
  }
  return nullptr;
}

bool InterfaceRegistry::Contains(const ServerInterface* entry) const {
  std::shared_lock lock(entriesMutex_);
  return std::find(entries_.begin(), entries_.end(), entry) != entries_.end();
}

}  // namespace rdx::rpc
