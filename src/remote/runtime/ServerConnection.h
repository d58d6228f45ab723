#pragma once
// The server side of one connection as a state machine: it takes whole PDUs and says what
// to send back and whether to close. Sockets and threads stay outside (RpcServer), so every
// rule about binds, contexts, fragments and faults can be driven by tests and fuzzers.

#include <cstdint>
#include <map>
#include <semaphore>
#include <shared_mutex>
#include <span>
#include <string>
#include <vector>

#include "remote/runtime/Pdu.h"
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

// Bounds the calls running at once across all connections of a server.
using CallLimiter = std::counting_semaphore<4096>;

inline constexpr std::size_t kMaxRequestStub = 4 * 1024 * 1024;

struct ServerAnswer {
  std::vector<std::uint8_t> pdu;  // one PDU to send (bind_ack, fault, ...), may be empty
  bool hasResponse = false;       // then also send `stub` as response fragments
  std::uint32_t callId = 0;
  std::uint16_t contextId = 0;
  // Reused from call to call of a connection: Handle keeps its storage, and its bytes must
  // be zeros again (or none) before the next request reaches Dispatch.
  std::vector<std::uint8_t> stub;
  bool close = false;  // close the connection after sending
};

class ServerConnection {
 public:
  // `registry` and `limiter` (may be null) are borrowed. `secondaryAddress` is the text the
  // bind_ack carries: the port over TCP, the pipe name over pipes.
  ServerConnection(const InterfaceRegistry& registry, std::string secondaryAddress,
                   CallLimiter* limiter = nullptr);

  // Handles one PDU of exactly frag_length bytes.
  void Handle(const PduHeader& header, std::span<const std::uint8_t> pdu, ServerAnswer& answer);
  // Answer for a first PDU when the server has no room for another connection.
  static std::vector<std::uint8_t> Refusal(const PduHeader& header);

  std::uint16_t FragmentSize() const noexcept { return fragmentSize_; }

 private:
  struct Context {
    SyntaxId abstractSyntax;
    ServerInterface* entry = nullptr;
  };

  void HandleBind(const PduHeader& header, std::span<const std::uint8_t> pdu,
                  ServerAnswer& answer);
  void HandleAlterContext(const PduHeader& header, std::span<const std::uint8_t> pdu,
                          ServerAnswer& answer);
  void HandleRequest(const PduHeader& header, std::span<const std::uint8_t> pdu,
                     ServerAnswer& answer);
  void Complete(ServerAnswer& answer);
  // Decides one context element; `seen` holds ids earlier in the same list.
  ContextResult Decide(const ContextElement& element, const std::vector<std::uint16_t>& seen,
                       Context& accepted) const;
  void ProtocolError(std::uint32_t callId, bool didNotExecute, ServerAnswer& answer);

  const InterfaceRegistry& registry_;
  std::string secondaryAddress_;
  CallLimiter* limiter_;
  bool bound_ = false;
  std::uint16_t fragmentSize_ = kTransportMaxFragment;
  std::uint32_t assocGroupId_ = 0;
  std::map<std::uint16_t, Context> contexts_;

  // The request being reassembled.
  bool assembling_ = false;
  std::uint32_t callId_ = 0;
  std::uint16_t contextId_ = 0;
  std::uint16_t opnum_ = 0;
  std::uint8_t drep_[4] = {};
  std::vector<std::uint8_t> stub_;
};

}  // namespace rdx::rpc
