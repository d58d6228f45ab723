#pragma once
// The interfaces a server publishes, looked up by the syntax a client binds to.

#include <shared_mutex>
#include <vector>

#include "remote/runtime/RpcRuntime.h"

namespace rdx::rpc {

// The interfaces a server publishes. Registered objects are borrowed: they must outlive
// every connection that may still dispatch to them.
class InterfaceRegistry {
 public:
  void Add(ServerInterface* entry);
  bool Remove(ServerInterface* entry);
  // The interface with this UUID, the same major version and a minor version not below the
  // client's; null when none.
  ServerInterface* Find(const SyntaxId& syntax) const;
  bool Contains(const ServerInterface* entry) const;

 private:
  mutable std::shared_mutex entriesMutex_;  // guards entries_; never held while dispatching
  std::vector<ServerInterface*> entries_;
};

}  // namespace rdx::rpc
