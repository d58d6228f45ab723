#include "remote/runtime/RpcServer.h"

#include <algorithm>
#include <cstdlib>
#include <utility>

#include "platform/os/LastError.h"
#include "platform/os/Memory.h"
#include "remote/runtime/KeepAllowance.h"
#include "remote/runtime/PduStream.h"
#include "remote/runtime/StringBinding.h"

namespace rdx::rpc {
namespace {

std::uint32_t ListenFailure() {
  return os::GetLastError() == os::kWsaAddressInUse ? os::kRpcDuplicateEndpoint
                                                    : os::kRpcCantCreateEndpoint;
}

// Blocks from this size up are mapped on their own: the PDU buffer of a busy connection and
// every larger one.
constexpr std::size_t kMappedApart = 256 * 1024;

// The PDU time-out from the environment (milliseconds, 1 to a day), else the default.
int PduTimeoutFromEnvironment() {
  const char* text = std::getenv(kPduTimeoutVariable);
  if (text == nullptr || *text == '\0') return kPduTimeoutMs;
  char* end = nullptr;
  const long value = std::strtol(text, &end, 10);
  return *end == '\0' && value > 0 && value <= 86'400'000 ? static_cast<int>(value)
                                                          : kPduTimeoutMs;
}

}  // namespace

RpcServer::RpcServer()
    : limiter_(kMaxConcurrentCalls),
      pduTimeoutMs_(PduTimeoutFromEnvironment()),
      maxConnections_(kMaxConnections),
      budget_(&ProcessCallBudget()) {}

RpcServer::~RpcServer() { StopListening(); }

RpcServer& RpcServer::Process() {
  // Never destroyed: worker threads may still be ending while static destructors run.
  static RpcServer* const server = new RpcServer();
  return *server;
}

std::uint32_t RpcServer::UseTcpPort(std::uint16_t port, std::uint16_t& bound) {
  std::lock_guard lock(stateMutex_);
  const std::string text = std::to_string(port);
  for (const auto& e : endpoints_) {
    if (port != 0 && e->protocolSequence == kTcpProtocol && e->endpoint == text) {
      bound = port;
      return 0;
    }
  }
  auto endpoint = std::make_unique<Endpoint>();
  endpoint->listener = os::StreamListener::ListenTcp(port);
  if (!endpoint->listener.Valid()) return ListenFailure();
  bound = endpoint->listener.Port();
  endpoint->protocolSequence = kTcpProtocol;
  endpoint->endpoint = std::to_string(bound);
  endpoint->secondaryAddress = endpoint->endpoint;
  if (listening_) {
    Endpoint* raw = endpoint.get();
    raw->acceptor = std::thread([this, raw] { AcceptLoop(raw); });
  }
  endpoints_.push_back(std::move(endpoint));
  return 0;
}

std::uint32_t RpcServer::UseEndpoint(const std::string& protocolSequence,
                                     const std::string& endpoint) {
  if (const std::uint32_t status = CheckProtocolSequence(protocolSequence); status != 0) {
    return status;
  }
  if (protocolSequence == kTcpProtocol) {
    std::uint16_t port = 0;
    if (!ParseTcpEndpoint(endpoint, port)) return os::kRpcInvalidEndpointFormat;
    std::uint16_t bound = 0;
    return UseTcpPort(port, bound);
  }
  std::string path;
  if (!PipeSocketPath(endpoint, path)) return os::kRpcInvalidEndpointFormat;
  std::lock_guard lock(stateMutex_);
  for (const auto& e : endpoints_) {
    std::string other;
    if (e->protocolSequence == kPipeProtocol && PipeSocketPath(e->endpoint, other) &&
        other == path) {
      return 0;
    }
  }
  auto entry = std::make_unique<Endpoint>();
  entry->listener = os::StreamListener::ListenUnix(path);
  if (!entry->listener.Valid()) return ListenFailure();
  entry->protocolSequence = kPipeProtocol;
  entry->endpoint = endpoint;
  entry->secondaryAddress = endpoint;
  if (listening_) {
    Endpoint* raw = entry.get();
    raw->acceptor = std::thread([this, raw] { AcceptLoop(raw); });
  }
  endpoints_.push_back(std::move(entry));
  return 0;
}

void RpcServer::RegisterInterface(ServerInterface* entry) { registry_.Add(entry); }

std::uint32_t RpcServer::UnregisterInterface(ServerInterface* entry) {
  return registry_.Remove(entry) ? 0 : os::kRpcUnknownInterface;
}

std::uint32_t RpcServer::Listen() {
  os::RaiseDescriptorLimit();
  // Request and answer buffers come and go with connections: mapped apart, they go back to
  // the system when freed. Warm ones that repeated transfers need are kept on purpose.
  os::MapLargeBlocksApart(kMappedApart);
  std::lock_guard lock(stateMutex_);
  stopping_ = false;
  listening_ = true;
  for (auto& e : endpoints_) {
    if (!e->acceptor.joinable()) {
      Endpoint* raw = e.get();
      raw->acceptor = std::thread([this, raw] { AcceptLoop(raw); });
    }
  }
  return 0;
}

std::uint32_t RpcServer::StopListening() {
  std::vector<std::unique_ptr<Endpoint>> closing;
  {
    std::lock_guard lock(stateMutex_);
    if (!listening_ && endpoints_.empty()) return os::kRpcNotListening;
    const bool wasListening = listening_;
    stopping_ = true;
    listening_ = false;
    closing.swap(endpoints_);
    if (!wasListening && closing.empty()) return os::kRpcNotListening;
  }
  for (auto& e : closing) e->listener.Wake();
  for (auto& e : closing) {
    if (e->acceptor.joinable()) e->acceptor.join();
  }
  closing.clear();  // closes the listening sockets and removes pipe socket files
  // No acceptor runs any more, so the list only shrinks from here: each connection thread
  // leaves it as it ends.
  std::thread last;
  {
    std::unique_lock lock(connectionsMutex_);
    for (auto& c : connections_) c->socket.Shutdown();
    connectionsEnded_.wait(lock, [&] { return connections_.empty(); });
    last = std::move(finishedWorker_);
  }
  if (last.joinable()) last.join();  // it joined the one before it, and so on
  return 0;
}

std::size_t RpcServer::ConnectionCount() const {
  std::lock_guard lock(connectionsMutex_);
  return connections_.size();
}

void RpcServer::AcceptLoop(Endpoint* endpoint) {
  for (;;) {
    os::StreamSocket socket = endpoint->listener.Accept();
    if (!socket.Valid() || stopping_) return;
    std::lock_guard lock(connectionsMutex_);
    const bool overLimit = served_ >= maxConnections_;
    // A flood over the limit gets closed at once rather than a thread each.
    if (overLimit && refusing_ >= kMaxRefusing) continue;
    auto connection = std::make_unique<Connection>();
    connection->socket = std::move(socket);
    connection->refusing = overLimit;
    Connection* raw = connection.get();
    connections_.push_back(std::move(connection));
    raw->self = std::prev(connections_.end());
    ++(overLimit ? refusing_ : served_);
    const std::string secondary = endpoint->secondaryAddress;
    try {
      raw->worker = std::thread([this, raw, secondary] { Serve(raw, secondary); });
    } catch (...) {
      // No thread to serve it: the client sees the connection close.
      --(overLimit ? refusing_ : served_);
      connections_.erase(raw->self);
      if (connections_.empty()) connectionsEnded_.notify_all();
    }
  }
}

void RpcServer::Finish(Connection* connection) {
  std::unique_ptr<Connection> self;
  std::thread previous;
  {
    std::lock_guard lock(connectionsMutex_);
    // Closed under the lock: StopListening shuts sockets down under it, never a reused one.
    connection->socket.Close();
    --(connection->refusing ? refusing_ : served_);
    self = std::move(*connection->self);
    connections_.erase(connection->self);
    previous = std::exchange(finishedWorker_, std::move(self->worker));
    if (connections_.empty()) connectionsEnded_.notify_all();
  }
  if (previous.joinable()) previous.join();
}

void RpcServer::Serve(Connection* connection, const std::string& secondaryAddress) {
  const int pduTimeoutMs = pduTimeoutMs_;
  // A client that stops reading its answer is cut off like one that stops sending.
  connection->socket.SetSendTimeout(pduTimeoutMs);
  PduStream stream(connection->socket);
  if (connection->refusing) {
    PduHeader header;
    std::span<const std::uint8_t> pdu;
    if (stream.Next(header, pdu, std::min(kRefusalWaitMs, pduTimeoutMs), pduTimeoutMs) ==
        PduStream::Result::kPdu) {
      (void)stream.Send(ServerConnection::Refusal(header));
    }
    Finish(connection);
    return;
  }
  bool heldLargeBuffers = false;
  {
    ServerConnection state(registry_, secondaryAddress, &limiter_, budget_);
    ServerAnswer answer;
    KeepAllowance allowance;  // for answer.stub, which is kept from call to call
    PduHeader header;
    std::span<const std::uint8_t> pdu;
    for (;;) {
      // Idle connections are kept as long as the client likes; only a started PDU, or the
      // next fragment of a request being reassembled, is timed. A large kept answer buffer
      // goes back after a while without calls.
      const bool assembling = state.Assembling();
      const int idleMs = assembling ? pduTimeoutMs : allowance.Charged() ? kKeptIdleMs : -1;
      PduStream::Result r = stream.Next(header, pdu, idleMs, pduTimeoutMs);
      if (r == PduStream::Result::kTimeout && !assembling && allowance.Charged() &&
          !stream.Started()) {
        allowance.Drop(answer.stub);
        state.AnswerSettled(answer);
        os::ReturnFreeMemory();
        r = stream.Next(header, pdu, -1, pduTimeoutMs);
      }
      if (r != PduStream::Result::kPdu) break;
      state.Handle(header, pdu, answer);
      heldLargeBuffers = heldLargeBuffers || state.MemoryHeld() > kFreelyKept;
      if (!answer.pdu.empty() && stream.Send(answer.pdu) != os::IoResult::kOk) break;
      if (answer.hasResponse &&
          stream.SendCall(PduType::kResponse, answer.callId, answer.contextId, 0, answer.stub,
                          state.FragmentSize()) != os::IoResult::kOk) {
        break;
      }
      if (answer.close) break;
      // Cleared while the client is still reading the answer, not when the next call needs
      // it: Dispatch takes a kept answer buffer as zeros.
      std::fill(answer.stub.begin(), answer.stub.end(), std::uint8_t{0});
      allowance.Settle(answer.stub);
      state.AnswerSettled(answer);
    }
    connection->socket.Shutdown();
  }  // every buffer of the connection is freed here
  // Large buffers may sit in the allocator's free lists; the system gets them back now.
  if (heldLargeBuffers) os::ReturnFreeMemory();
  Finish(connection);
}

}  // namespace rdx::rpc
