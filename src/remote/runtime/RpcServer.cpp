#include "remote/runtime/RpcServer.h"

#include <algorithm>
#include <chrono>
#include <cstdlib>
#include <cstring>
#include <utility>

#include "platform/os/Memory.h"
#include "platform/os/Win32Error.h"
#include "remote/runtime/KeepAllowance.h"
#include "remote/runtime/StringBinding.h"

namespace rdx::rpc {
namespace {

// The status for an endpoint whose socket could not listen; `code` is the socket's reason,
// handed on through `systemCode` when the caller asked for it.
std::uint32_t ListenFailure(std::uint32_t code, std::uint32_t* systemCode) {
  if (systemCode != nullptr) *systemCode = code;
  return code == os::kWsaAddressInUse ? os::kRpcDuplicateEndpoint : os::kRpcCantCreateEndpoint;
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
  return *end == '\0' && value > 0 && value <= 86'400'000 ? static_cast<int>(value) : kPduTimeoutMs;
}

// Every connection's bytes are read into its worker's scratch buffer; a connection keeps only
// the part of a PDU that has not all come yet, so idle connections hold next to nothing.
constexpr std::size_t kScratchSize = 256 * 1024;
// A connection's leftover buffer above this size is given back once it empties.
constexpr std::size_t kKeptInput = 16 * 1024;
// Workers beyond the core ones end after this long without an event.
constexpr int kRetireMs = 2'000;
// How long a worker that has just answered waits on for the same client's next call while
// other workers watch the poll; short, as the poll serves everyone else meanwhile.
constexpr int kLingerMs = 5;
// Workers kept whatever the load: enough for each of a few dozen clients calling in turn to
// keep one waiting on it, with others left to watch the poll; idle ones cost a stack each.
constexpr int kCoreWorkers = 32;
// Gathered writes of an answer cover at most this many pieces (headers and stub runs).
constexpr std::size_t kWritePieces = 512;

std::int64_t NowMs() {
  return std::chrono::duration_cast<std::chrono::milliseconds>(
             std::chrono::steady_clock::now().time_since_epoch())
      .count();
}

std::uint8_t* Scratch() {
  thread_local std::unique_ptr<std::uint8_t[]> scratch(new std::uint8_t[kScratchSize]);
  return scratch.get();
}

// Copies the unfinished PDU bytes kept from earlier reads to the front of `scratch` and reads
// on behind them; `got` is what the read brought.
os::Transfer ReadBehind(const std::vector<std::uint8_t>& kept, int fd, std::uint8_t* scratch,
                        std::size_t& got, bool wait = false) {
  if (!kept.empty()) std::memcpy(scratch, kept.data(), kept.size());
  return os::ReceiveSome(fd, scratch + kept.size(), kScratchSize - kept.size(), got, wait);
}

// What is still to be written of one answer: a single PDU (bind_ack, fault, ...) and/or the
// response fragments of a stub, as pieces 0 (the PDU), 1 + 2i (header i), 2 + 2i (stub run i).
struct Outgoing {
  std::vector<std::uint8_t> pdu;
  FragmentPlan plan;
  std::span<const std::uint8_t> stub;
  std::size_t fragments = 0;
  std::size_t piece = 0;
  std::size_t offset = 0;  // bytes of `piece` written
  bool pending = false;

  std::size_t Pieces() const { return 1 + 2 * fragments; }
  os::ConstBuffer Piece(std::size_t i) const {
    if (i == 0) return {pdu.data(), pdu.size()};
    const std::size_t k = (i - 1) / 2;
    if ((i - 1) % 2 == 0) return {plan.headers.data() + k * kCallHeaderSize, kCallHeaderSize};
    return {stub.data() + plan.offsets[k], plan.offsets[k + 1] - plan.offsets[k]};
  }
  void Advance(std::size_t bytes) {
    while (bytes > 0 && piece < Pieces()) {
      const std::size_t step = std::min(bytes, Piece(piece).size - offset);
      offset += step;
      bytes -= step;
      if (offset == Piece(piece).size) {
        ++piece;
        offset = 0;
      }
    }
    while (piece < Pieces() && Piece(piece).size == 0) ++piece;
  }
  void Clear() {
    pdu.clear();
    plan = FragmentPlan{};
    stub = {};
    fragments = piece = offset = 0;
    pending = false;
  }
};

}  // namespace

struct RpcServer::Connection {
  Connection(os::StreamSocket s, int descriptor) : socket(std::move(s)), fd(descriptor) {}

  os::StreamSocket socket;  // closed under connectionsMutex_, so never shut down once reused
  const int fd;
  bool refusing = false;  // over the limit: answered with bind_nak, then closed
  std::list<std::unique_ptr<Connection>>::iterator self;
  // Held by the worker serving the connection; the timer only tries it.
  std::mutex mutex;
  // Milliseconds on the steady clock, 0 for none: when the timer cuts the connection off,
  // and when it gives back a large kept answer buffer of an idle connection.
  std::atomic<std::int64_t> cutOffAt{0};
  std::atomic<std::int64_t> dropKeptAt{0};
  std::atomic<bool> closing{false};

  // Guarded by `mutex`.
  std::unique_ptr<ServerConnection> state;  // null while refusing
  ServerAnswer answer;
  KeepAllowance allowance;  // for answer.stub, which is kept from call to call
  Outgoing out;
  bool closeAfterAnswer = false;
  std::vector<std::uint8_t> input;  // received bytes not yet handled: at most a PDU, unless
                                    // an answer was still going out when they came
  std::int64_t pduStartedMs = 0;    // when input's first PDU began to come
  std::int64_t lastPduMs = 0;       // when the last PDU was handled
  std::int64_t lastWriteMs = 0;     // when the pending answer last moved
  bool heldLargeBuffers = false;
};

RpcServer::RpcServer()
    : limiter_(*this),
      pduTimeoutMs_(PduTimeoutFromEnvironment()),
      maxConnections_(kMaxConnections),
      budget_(&ProcessCallBudget()) {}

RpcServer::~RpcServer() { StopListening(); }

RpcServer& RpcServer::Process() {
  // Never destroyed: worker threads may still be ending while static destructors run.
  static RpcServer* const server = new RpcServer();
  return *server;
}

std::uint32_t RpcServer::UseTcpPort(std::uint16_t port, std::uint16_t& bound,
                                    std::uint32_t* systemCode) {
  std::lock_guard lock(stateMutex_);
  const std::string text = std::to_string(port);
  for (const auto& e : endpoints_) {
    if (port != 0 && e->protocolSequence == kTcpProtocol && e->endpoint == text) {
      bound = port;
      return 0;
    }
  }
  os::OsResult<os::StreamListener> listening = os::StreamListener::ListenTcp(port);
  if (!listening.ok()) return ListenFailure(listening.code, systemCode);
  auto endpoint = std::make_unique<Endpoint>();
  endpoint->listener = std::move(listening.value);
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
                                     const std::string& endpoint, std::uint32_t* systemCode) {
  if (const std::uint32_t status = CheckProtocolSequence(protocolSequence); status != 0) {
    return status;
  }
  if (protocolSequence == kTcpProtocol) {
    std::uint16_t port = 0;
    if (!ParseTcpEndpoint(endpoint, port)) return os::kRpcInvalidEndpointFormat;
    std::uint16_t bound = 0;
    return UseTcpPort(port, bound, systemCode);
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
  os::OsResult<os::StreamListener> listening = os::StreamListener::ListenUnix(path);
  if (!listening.ok()) return ListenFailure(listening.code, systemCode);
  auto entry = std::make_unique<Endpoint>();
  entry->listener = std::move(listening.value);
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

void RpcServer::PoolLimiter::Enter() {
  // A call may block in its manager: if no other worker is left to watch the sockets, one
  // more is started, so blocked calls never stall the rest.
  const int busy = ++server_.busyWorkers_;
  if (busy >= server_.workerCount_.load()) server_.SpawnWorker();
  CallLimiter::Enter();
}

void RpcServer::PoolLimiter::Leave() noexcept {
  CallLimiter::Leave();
  --server_.busyWorkers_;
}

std::uint32_t RpcServer::Listen() {
  os::RaiseDescriptorLimit();
  // Request and answer buffers come and go with connections: mapped apart, they go back to
  // the system when freed. Warm ones that repeated transfers need are kept on purpose.
  os::MapLargeBlocksApart(kMappedApart);
  std::lock_guard lock(stateMutex_);
  if (!poll_.has_value() && !StartEngine()) return os::kRpcCantCreateEndpoint;
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

bool RpcServer::StartEngine() {
  poll_.emplace();
  if (!poll_->Valid()) {
    poll_.reset();
    return false;
  }
  {
    std::lock_guard lock(poolMutex_);
    engineStopping_ = false;
    timerStop_ = false;
  }
  for (int i = 0; i < kCoreWorkers; ++i) SpawnWorker();
  timer_ = std::thread([this] { TimerLoop(); });
  return true;
}

void RpcServer::SpawnWorker() {
  std::lock_guard lock(poolMutex_);
  if (engineStopping_) return;
  const int live = workerCount_.load();
  if (live >= kCoreWorkers && live - busyWorkers_.load() > 0) return;  // one is free again
  if (live >= kCoreWorkers + static_cast<int>(kMaxConcurrentCalls)) return;
  try {
    workers_.emplace_back();
    const auto self = std::prev(workers_.end());
    *self = std::thread([this, self] { WorkerLoop(self); });
    ++workerCount_;
  } catch (...) {
    workers_.pop_back();  // no thread to be had: the ones there serve on
  }
}

void RpcServer::StopEngine() {
  std::list<std::thread> workers;
  std::vector<std::thread> retired;
  {
    std::lock_guard lock(poolMutex_);
    engineStopping_ = true;
    timerStop_ = true;
    workers.swap(workers_);
    retired.swap(retired_);
  }
  timerWake_.notify_all();
  if (timer_.joinable()) timer_.join();
  poll_->Wake();
  for (auto& t : workers) {
    if (t.joinable()) t.join();
  }
  for (auto& t : retired) {
    if (t.joinable()) t.join();
  }
  workerCount_ = 0;
  poll_.reset();
}

void RpcServer::WorkerLoop(std::list<std::thread>::iterator self) {
  for (;;) {
    os::EventPoll::Event event;
    const bool extra = workerCount_.load() > kCoreWorkers;
    ++pollingWorkers_;
    if (!poll_->Wait(event, extra ? kRetireMs : -1)) {
      --pollingWorkers_;
      if (!extra) continue;
      std::lock_guard lock(poolMutex_);
      if (engineStopping_) continue;  // the wake is coming
      if (workerCount_.load() > kCoreWorkers) {
        --workerCount_;
        retired_.push_back(std::move(*self));
        workers_.erase(self);
        return;
      }
      continue;
    }
    --pollingWorkers_;
    if (event.key == nullptr) return;  // the engine stops
    Serve(*static_cast<Connection*>(event.key));
  }
}

void RpcServer::TimerLoop() {
  const int tickMs = std::clamp(pduTimeoutMs_ / 4, 10, 100);
  std::unique_lock lock(poolMutex_);
  while (!timerStop_) {
    timerWake_.wait_for(lock, std::chrono::milliseconds(tickMs));
    if (timerStop_) break;
    std::vector<std::thread> retired;
    retired.swap(retired_);
    lock.unlock();
    for (auto& t : retired) t.join();
    const std::int64_t now = NowMs();
    bool dropped = false;
    {
      std::lock_guard connections(connectionsMutex_);
      for (auto& c : connections_) {
        if (c->closing) continue;
        const std::int64_t cut = c->cutOffAt.load();
        if (cut != 0 && now >= cut) {
          // The worker that gets the hang-up closes it; one inside a call fails its write.
          c->cutOffAt = 0;
          c->socket.Shutdown();
          continue;
        }
        const std::int64_t drop = c->dropKeptAt.load();
        if (drop != 0 && now >= drop && c->mutex.try_lock()) {
          // Unowned, so idle: its kept answer buffer goes back.
          if (!c->closing && c->dropKeptAt.load() == drop && c->state) {
            c->allowance.Drop(c->answer.stub);
            c->state->AnswerSettled(c->answer);
            c->dropKeptAt = 0;
            dropped = true;
          }
          c->mutex.unlock();
        }
      }
    }
    if (dropped) os::ReturnFreeMemory();
    lock.lock();
  }
}

std::uint32_t RpcServer::StopListening() {
  std::vector<std::unique_ptr<Endpoint>> closing;
  bool engine = false;
  {
    std::lock_guard lock(stateMutex_);
    if (!listening_ && endpoints_.empty()) return os::kRpcNotListening;
    const bool wasListening = listening_;
    stopping_ = true;
    listening_ = false;
    closing.swap(endpoints_);
    engine = poll_.has_value();
    if (!wasListening && closing.empty()) return os::kRpcNotListening;
  }
  for (auto& e : closing) e->listener.Wake();
  for (auto& e : closing) {
    if (e->acceptor.joinable()) e->acceptor.join();
  }
  closing.clear();  // closes the listening sockets and removes pipe socket files
  if (!engine) return 0;
  // No acceptor runs any more, so the list only shrinks from here: the workers close each
  // connection once its shut socket reports, or its call returns.
  {
    std::unique_lock lock(connectionsMutex_);
    for (auto& c : connections_) c->socket.Shutdown();
    connectionsEnded_.wait(lock, [&] { return connections_.empty(); });
  }
  std::lock_guard lock(stateMutex_);
  if (!listening_ && poll_.has_value()) StopEngine();
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
    Admit(std::move(socket), endpoint->secondaryAddress);
  }
}

void RpcServer::Admit(os::StreamSocket socket, const std::string& secondaryAddress) {
  const int fd = os::PrepareForPoll(socket, std::min(kLingerMs, pduTimeoutMs_));
  if (fd < 0) return;
  std::lock_guard lock(connectionsMutex_);
  const bool overLimit = served_ >= maxConnections_;
  // A flood over the limit gets closed at once rather than held.
  if (overLimit && refusing_ >= kMaxRefusing) return;
  auto connection = std::make_unique<Connection>(std::move(socket), fd);
  Connection* raw = connection.get();
  raw->refusing = overLimit;
  try {
    if (overLimit) {
      raw->cutOffAt = NowMs() + std::min(kRefusalWaitMs, pduTimeoutMs_);
    } else {
      raw->state =
          std::make_unique<ServerConnection>(registry_, secondaryAddress, &limiter_, budget_);
    }
    connections_.push_back(std::move(connection));
  } catch (...) {
    return;  // no memory for it: the client sees the connection close
  }
  raw->self = std::prev(connections_.end());
  ++(overLimit ? refusing_ : served_);
  if (!poll_->Add(fd, os::EventPoll::kReadable, raw)) {
    --(overLimit ? refusing_ : served_);
    connections_.erase(raw->self);
    if (connections_.empty()) connectionsEnded_.notify_all();
  }
}

void RpcServer::Serve(Connection& c) {
  std::unique_lock owner(c.mutex);
  if (c.closing) return;
  c.dropKeptAt = 0;
  // Nothing is timed while a call runs; Arm sets the next limit.
  if (!c.refusing) c.cutOffAt = 0;
  Step step = Step::kClose;
  try {
    step = c.refusing ? ServeRefusal(c) : ServeCalls(c);
    // While another worker watches the poll, this one waits a moment for the client's next
    // call: a client calling in turn then costs one read and one write per call, no poll.
    // Never within a started PDU or request, which the poll times.
    while (step == Step::kArmRead && !c.refusing && c.input.empty() && !c.state->Assembling() &&
           pollingWorkers_.load() > 0 && !stopping_) {
      step = ServeCalls(c, true);
    }
  } catch (...) {
    // Out of memory for a fragment plan, say: this client is cut off, the server serves on.
  }
  if (step == Step::kClose || !Arm(c, step)) Close(c, owner);
}

bool RpcServer::Arm(Connection& c, Step step) {
  const std::int64_t now = NowMs();
  if (step == Step::kArmWrite) {
    // A client that takes no byte of its answer for the PDU time-out is cut off.
    c.cutOffAt = c.lastWriteMs + pduTimeoutMs_;
    return poll_->Arm(c.fd, os::EventPoll::kWritable, &c);
  }
  if (!c.refusing) {
    // Idle connections are kept as long as the client likes; only a started PDU, or the
    // next fragment of a request being reassembled, is timed. A large kept answer buffer
    // goes back after a while without calls.
    const bool assembling = c.state->Assembling();
    if (!c.input.empty()) {
      c.cutOffAt = c.pduStartedMs + pduTimeoutMs_;
    } else if (assembling) {
      c.cutOffAt = c.lastPduMs + pduTimeoutMs_;
    } else {
      c.cutOffAt = 0;
    }
    c.dropKeptAt = c.input.empty() && !assembling && c.allowance.Charged() ? now + kKeptIdleMs : 0;
  }
  return poll_->Arm(c.fd, os::EventPoll::kReadable, &c);
}

RpcServer::Step RpcServer::ServeRefusal(Connection& c) {
  std::uint8_t* scratch = Scratch();
  std::size_t got = 0;
  const os::Transfer r = ReadBehind(c.input, c.fd, scratch, got);
  if (r == os::Transfer::kWouldBlock) return Step::kArmRead;
  if (r != os::Transfer::kDone) return Step::kClose;
  const std::size_t size = c.input.size() + got;
  if (size < kHeaderSize) {
    c.input.assign(scratch, scratch + size);
    return Step::kArmRead;
  }
  PduHeader header;
  if (!DecodeHeader(std::span<const std::uint8_t>(scratch, kHeaderSize), header) ||
      header.fragLength < kHeaderSize) {
    return Step::kClose;
  }
  if (size < header.fragLength) {
    c.input.assign(scratch, scratch + size);
    return Step::kArmRead;
  }
  const std::vector<std::uint8_t> nak = ServerConnection::Refusal(header);
  const os::ConstBuffer buffer{nak.data(), nak.size()};
  std::size_t sent = 0;
  (void)os::SendSome(c.fd, std::span(&buffer, 1), sent);  // a few bytes: they fit
  return Step::kClose;
}

RpcServer::Step RpcServer::Flush(Connection& c) {
  Outgoing& out = c.out;
  while (out.piece < out.Pieces()) {
    os::ConstBuffer buffers[kWritePieces];
    std::size_t count = 0;
    for (std::size_t i = out.piece; i < out.Pieces() && count < kWritePieces; ++i) {
      os::ConstBuffer b = out.Piece(i);
      if (i == out.piece) {
        b.data = static_cast<const std::uint8_t*>(b.data) + out.offset;
        b.size -= out.offset;
      }
      buffers[count++] = b;
    }
    std::size_t sent = 0;
    switch (os::SendSome(c.fd, std::span(buffers, count), sent)) {
      case os::Transfer::kDone:
        out.Advance(sent);
        c.lastWriteMs = NowMs();
        break;
      case os::Transfer::kWouldBlock: out.pending = true; return Step::kArmWrite;
      case os::Transfer::kClosed:
      case os::Transfer::kError: return Step::kClose;
    }
  }
  out.pending = false;
  return AnswerSent(c);
}

RpcServer::Step RpcServer::AnswerSent(Connection& c) {
  c.out.Clear();
  if (c.closeAfterAnswer) return Step::kClose;
  // Cleared while the client is still reading the answer, not when the next call needs it:
  // Dispatch takes a kept answer buffer as zeros.
  std::fill(c.answer.stub.begin(), c.answer.stub.end(), std::uint8_t{0});
  c.allowance.Settle(c.answer.stub);
  c.state->AnswerSettled(c.answer);
  return Step::kMore;
}

RpcServer::Step RpcServer::HandlePdus(Connection& c, std::span<const std::uint8_t> data,
                                      std::size_t& used) {
  used = 0;
  while (data.size() - used >= kHeaderSize) {
    PduHeader header;
    if (!DecodeHeader(data.subspan(used, kHeaderSize), header) || header.fragLength < kHeaderSize) {
      return Step::kClose;  // no PDU boundary to go on from
    }
    if (data.size() - used < header.fragLength) break;
    const auto pdu = data.subspan(used, header.fragLength);
    used += header.fragLength;
    c.lastPduMs = NowMs();
    c.state->Handle(header, pdu, c.answer);
    c.heldLargeBuffers = c.heldLargeBuffers || c.state->MemoryHeld() > kFreelyKept;
    c.out.pdu = std::move(c.answer.pdu);
    c.answer.pdu.clear();
    if (c.answer.hasResponse) {
      c.out.plan = PlanFragments(PduType::kResponse, c.answer.callId, c.answer.contextId, 0,
                                 c.answer.stub.size(), c.state->FragmentSize());
      c.out.stub = c.answer.stub;
      c.out.fragments = c.out.plan.offsets.size() - 1;
    }
    c.closeAfterAnswer = c.answer.close;
    c.lastWriteMs = c.lastPduMs;
    c.out.Advance(0);  // skips an empty PDU
    const Step step = Flush(c);
    if (step != Step::kMore) return step;
  }
  return Step::kMore;
}

RpcServer::Step RpcServer::ServeCalls(Connection& c, bool waitForCall) {
  if (c.out.pending) {
    const Step step = Flush(c);
    if (step != Step::kMore) return step;
  }
  if (!c.input.empty()) {  // whole PDUs that came while an answer was going out
    std::size_t used = 0;
    const Step step = HandlePdus(c, c.input, used);
    c.input.erase(c.input.begin(), c.input.begin() + static_cast<std::ptrdiff_t>(used));
    if (used > 0 && !c.input.empty()) c.pduStartedMs = NowMs();
    if (step != Step::kMore) return step;
  }
  std::uint8_t* scratch = Scratch();
  // A client that keeps the socket full gets a few reads, then waits its turn again.
  constexpr int kReadsPerTurn = 16;
  for (int reads = 0; reads < kReadsPerTurn; ++reads) {
    // What is kept is less than one PDU now (at most 64 KiB): read on behind it.
    const std::size_t kept = c.input.size();
    std::size_t got = 0;
    const bool wait = waitForCall && reads == 0;
    const os::Transfer r = ReadBehind(c.input, c.fd, scratch, got, wait);
    if (r == os::Transfer::kWouldBlock) return wait ? Step::kQuiet : Step::kArmRead;
    if (r != os::Transfer::kDone) return Step::kClose;
    const std::size_t size = kept + got;
    std::size_t used = 0;
    const Step step = HandlePdus(c, std::span<const std::uint8_t>(scratch, size), used);
    if (used == size) {
      c.input.clear();
      if (c.input.capacity() > kKeptInput) std::vector<std::uint8_t>().swap(c.input);
    } else {
      // The first byte of a PDU is timed from the read that brought it.
      if (kept == 0 || used > 0) c.pduStartedMs = NowMs();
      c.input.assign(scratch + used, scratch + size);
    }
    if (step != Step::kMore) return step;
    // A read that did not fill the buffer most likely took all there was; the poll reports
    // anything that came since.
    if (got < kScratchSize - kept) return Step::kArmRead;
  }
  return Step::kArmRead;
}

void RpcServer::Close(Connection& c, std::unique_lock<std::mutex>& owner) {
  c.closing = true;
  poll_->Remove(c.fd);
  c.socket.Shutdown();
  // Every buffer of the connection is freed before it stops counting.
  c.out.Clear();
  c.allowance.Drop(c.answer.stub);
  c.answer = ServerAnswer{};
  c.state.reset();
  std::vector<std::uint8_t>().swap(c.input);
  const bool heldLargeBuffers = c.heldLargeBuffers;
  owner.unlock();
  {
    std::lock_guard lock(connectionsMutex_);
    // Closed under the lock: StopListening and the timer shut sockets down under it, never
    // a reused one.
    c.socket.Close();
    --(c.refusing ? refusing_ : served_);
    connections_.erase(c.self);  // `c` is gone from here
    if (connections_.empty()) connectionsEnded_.notify_all();
  }
  // Large buffers may sit in the allocator's free lists; the system gets them back now.
  if (heldLargeBuffers) os::ReturnFreeMemory();
}

}  // namespace rdx::rpc
