#pragma once
// The server side of one connection as a state machine: it takes whole PDUs and says what
// to send back and whether to close. Sockets and threads stay outside (RpcServer), so every
// rule about binds, contexts, fragments and faults can be driven by tests and fuzzers.

#include <cstdint>
#include <map>
#include <semaphore>
#include <span>
#include <string>
#include <vector>

#include "remote/runtime/ByteBudget.h"
#include "remote/runtime/CallMemory.h"
#include "remote/runtime/InterfaceRegistry.h"
#include "remote/runtime/Pdu.h"
#include "remote/runtime/RpcRuntime.h"

namespace rdx::rpc {

// Bounds the calls running at once across all connections of a server. Virtual so the
// server can learn when a call may block the thread it runs on.
class CallLimiter {
 public:
  explicit CallLimiter(std::ptrdiff_t calls) : slots_(calls) {}
  virtual ~CallLimiter() = default;
  CallLimiter(const CallLimiter&) = delete;
  CallLimiter& operator=(const CallLimiter&) = delete;
  // Brackets every dispatched call; Enter waits while the limit's calls are running.
  virtual void Enter() { slots_.acquire(); }
  virtual void Leave() noexcept { slots_.release(); }

 private:
  std::counting_semaphore<4096> slots_;
};

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
  // `registry`, `limiter` and `budget` (both may be null: no limit) are borrowed.
  // `secondaryAddress` is the text the bind_ack carries: the port over TCP, the pipe name
  // over pipes. Request and answer buffers are charged to `budget`; a call that would pass
  // it is answered with nca_s_fault_remote_no_memory and the connection stays.
  ServerConnection(const InterfaceRegistry& registry, std::string secondaryAddress,
                   CallLimiter* limiter = nullptr, ByteBudget* budget = nullptr);

  // Handles one PDU of exactly frag_length bytes.
  void Handle(const PduHeader& header, std::span<const std::uint8_t> pdu, ServerAnswer& answer);
  // Answer for a first PDU when the server has no room for another connection.
  [[nodiscard]] static std::vector<std::uint8_t> Refusal(const PduHeader& header);
  // The answer buffer's storage changed outside Handle (kept or freed after sending).
  void AnswerSettled(const ServerAnswer& answer) noexcept;

  [[nodiscard]] std::uint16_t FragmentSize() const noexcept { return fragmentSize_; }
  // Whether a request has started and its further fragments are awaited.
  [[nodiscard]] bool Assembling() const noexcept { return assembling_; }
  // What this connection's buffers count against the budget now.
  [[nodiscard]] std::size_t MemoryHeld() const noexcept { return memory_.Held(); }

 private:
  struct Context {
    SyntaxId abstractSyntax;
    ServerInterface* entry = nullptr;
  };

  void HandleBind(const PduHeader& header, std::span<const std::uint8_t> pdu, ServerAnswer& answer);
  void HandleAlterContext(const PduHeader& header, std::span<const std::uint8_t> pdu,
                          ServerAnswer& answer);
  void HandleRequest(const PduHeader& header, std::span<const std::uint8_t> pdu,
                     ServerAnswer& answer);
  void Complete(ServerAnswer& answer);
  // Appends a request fragment's stub data, charging growth to the budget; once the budget
  // refuses, the rest of the call is read and dropped.
  void Append(std::span<const std::uint8_t> stub);
  // Ends the request being reassembled and gives back its storage beyond a small buffer.
  void ReleaseRequest() noexcept;
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
  std::vector<std::uint8_t> stub_;  // its capacity is what memory_ counts for the request
  bool overBudget_ = false;         // the budget refused this request: its bytes are dropped
  std::size_t received_ = 0;        // stub bytes of this request so far, kept or dropped
  CallMemory memory_;
};

}  // namespace rdx::rpc
