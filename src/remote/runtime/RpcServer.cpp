#include "remote/runtime/RpcServer.h"

#include <algorithm>

#include "platform/os/LastError.h"
#include "remote/runtime/KeepAllowance.h"
#include "remote/runtime/PduStream.h"
#include "remote/runtime/StringBinding.h"

namespace rdx::rpc {
namespace {

std::uint32_t ListenFailure() {
  return os::GetLastError() == os::kWsaAddressInUse ? os::kRpcDuplicateEndpoint
                                                    : os::kRpcCantCreateEndpoint;
}

}  // namespace

RpcServer::RpcServer()
    : limiter_(kMaxConcurrentCalls),
      pduTimeoutMs_(kPduTimeoutMs),
      maxConnections_(kMaxConnections) {}

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
  // No acceptor runs any more, so the list only shrinks from here.
  std::list<std::unique_ptr<Connection>> ending;
  {
    std::lock_guard lock(connectionsMutex_);
    for (auto& c : connections_) c->socket.Shutdown();
    ending.swap(connections_);
    liveConnections_ = 0;
  }
  for (auto& c : ending) {
    if (c->worker.joinable()) c->worker.join();
  }
  return 0;
}

void RpcServer::ReapFinished() {
  std::list<std::unique_ptr<Connection>> finished;
  {
    std::lock_guard lock(connectionsMutex_);
    for (auto it = connections_.begin(); it != connections_.end();) {
      if ((*it)->done) {
        finished.splice(finished.end(), connections_, it++);
      } else {
        ++it;
      }
    }
  }
  for (auto& c : finished) {
    if (c->worker.joinable()) c->worker.join();
  }
}

void RpcServer::AcceptLoop(Endpoint* endpoint) {
  for (;;) {
    os::StreamSocket socket = endpoint->listener.Accept();
    if (!socket.Valid() || stopping_) return;
    ReapFinished();
    auto connection = std::make_unique<Connection>();
    connection->socket = std::move(socket);
    Connection* raw = connection.get();
    std::lock_guard lock(connectionsMutex_);
    ++liveConnections_;
    connections_.push_back(std::move(connection));
    const std::string secondary = endpoint->secondaryAddress;
    try {
      raw->worker = std::thread([this, raw, secondary] { Serve(raw, secondary); });
    } catch (...) {
      // No thread to serve it: the client sees the connection close.
      raw->socket.Shutdown();
      raw->done = true;
      --liveConnections_;
    }
  }
}

void RpcServer::Serve(Connection* connection, const std::string& secondaryAddress) {
  bool overLimit;
  {
    std::lock_guard lock(connectionsMutex_);
    overLimit = liveConnections_ > maxConnections_;
  }
  PduStream stream(connection->socket);
  ServerConnection state(registry_, secondaryAddress, &limiter_);
  ServerAnswer answer;
  KeepAllowance allowance;  // for answer.stub, which is kept from call to call
  PduHeader header;
  std::span<const std::uint8_t> pdu;
  for (;;) {
    // Idle connections are kept as long as the client likes; only a started PDU is timed.
    // A large kept answer buffer goes back after a while without calls.
    PduStream::Result r =
        stream.Next(header, pdu, allowance.Charged() ? kKeptIdleMs : -1, pduTimeoutMs_);
    if (r == PduStream::Result::kTimeout && allowance.Charged() && !stream.Started()) {
      allowance.Drop(answer.stub);
      r = stream.Next(header, pdu, -1, pduTimeoutMs_);
    }
    if (r != PduStream::Result::kPdu) break;
    if (overLimit) {
      stream.Send(ServerConnection::Refusal(header));
      break;
    }
    state.Handle(header, pdu, answer);
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
  }
  connection->socket.Shutdown();
  {
    std::lock_guard lock(connectionsMutex_);
    if (liveConnections_ > 0) --liveConnections_;
  }
  connection->done = true;
}

}  // namespace rdx::rpc
