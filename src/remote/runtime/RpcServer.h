#pragma once
// The listening side of the run time: endpoints (TCP ports, pipe sockets), the registered
// interfaces, one accepting thread per endpoint, and an event-driven engine: connections are
// state objects watched by one poll, served by a small pool of workers that grows only while
// calls block in their managers. The exported listener functions drive the process-wide
// instance; tests make their own.

#include <atomic>
#include <condition_variable>
#include <cstdint>
#include <list>
#include <memory>
#include <mutex>
#include <optional>
#include <span>
#include <string>
#include <thread>
#include <vector>

#include "platform/os/EventPoll.h"
#include "platform/os/StreamSocket.h"
#include "remote/runtime/ByteBudget.h"
#include "remote/runtime/ServerConnection.h"

namespace rdx::rpc {

// Maximum calls running at once in one server.
inline constexpr std::ptrdiff_t kMaxConcurrentCalls = 1234;
// Connections beyond this are refused with bind_nak "local limit exceeded".
inline constexpr std::size_t kMaxConnections = 4000;
// A PDU that has started must be complete within this time, or the sender is cut off; so
// must the next fragment of a request being reassembled, and a client that takes no byte of
// an answer for this long is cut off too. $RDX_RPC_PDU_TIMEOUT_MS overrides it.
inline constexpr int kPduTimeoutMs = 60'000;
inline constexpr const char* kPduTimeoutVariable = "RDX_RPC_PDU_TIMEOUT_MS";
// A connection idle this long gives back a large answer buffer it kept.
inline constexpr int kKeptIdleMs = 5'000;
// A connection over the limit gets this long (at most the PDU time-out) to send its bind
// before it is closed unanswered; at most this many wait for that at once, beyond them a
// connection over the limit is closed at once.
inline constexpr int kRefusalWaitMs = 5'000;
inline constexpr std::size_t kMaxRefusing = 64;

class RpcServer {
 public:
  RpcServer();
  ~RpcServer();
  RpcServer(const RpcServer&) = delete;
  RpcServer& operator=(const RpcServer&) = delete;

  static RpcServer& Process();

  // Opens an endpoint of "ncacn_ip_tcp" (decimal port 1-65535) or "ncacn_np" (\pipe\NAME).
  // Returns 0 (also when this server already holds it), 1703 unknown protocol sequence,
  // 1706 bad endpoint, 1740 endpoint taken, 1720 other failures. When the socket could not
  // listen, `systemCode` (if given) receives its Win32 code (10048 for a taken port, ...).
  [[nodiscard]] std::uint32_t UseEndpoint(const std::string& protocolSequence,
                                          const std::string& endpoint,
                                          std::uint32_t* systemCode = nullptr);
  // As above for TCP, port 0 picking a free port; `bound` receives the port.
  [[nodiscard]] std::uint32_t UseTcpPort(std::uint16_t port, std::uint16_t& bound,
                                         std::uint32_t* systemCode = nullptr);

  // `entry` is borrowed until unregistered and every call on it has ended.
  void RegisterInterface(ServerInterface* entry);
  // 1717 when it was not registered; null unregisters every interface.
  [[nodiscard]] std::uint32_t UnregisterInterface(ServerInterface* entry);

  // Starts accepting on every open endpoint without blocking; a host publishing several
  // interfaces may call it once per interface, so an active server just takes on new
  // endpoints and returns 0. Raises the process's descriptor limit to its hard limit.
  [[nodiscard]] std::uint32_t Listen();
  // Closes every endpoint and connection and waits for running calls and every connection
  // thread; 1715 when not listening.
  std::uint32_t StopListening();
  bool Listening() const noexcept { return listening_; }
  // Connections open now, refused ones still waiting for their bind_nak included. A
  // connection's socket is closed and its buffers freed before it stops counting here.
  [[nodiscard]] std::size_t ConnectionCount() const;

  // Tighter limits for tests: the time a started PDU (and a stalled answer) may take, and
  // the connections served at once. Set before Listen.
  void SetLimits(int pduTimeoutMs, std::size_t maxConnections) {
    pduTimeoutMs_ = pduTimeoutMs;
    maxConnections_ = maxConnections;
  }
  // The budget request and answer buffers are charged to (borrowed; by default the
  // process's). Set before Listen.
  void SetMemoryBudget(ByteBudget& budget) noexcept { budget_ = &budget; }

 private:
  struct Endpoint {
    std::string protocolSequence;
    std::string endpoint;          // as registered: port text or \pipe\NAME
    std::string secondaryAddress;  // what bind_ack reports
    os::StreamListener listener;
    std::thread acceptor;
  };
  struct Connection;  // one client's socket and protocol state, served by any worker
  // kQuiet: a worker waited for the next call in vain; the poll watches for it again.
  enum class Step { kMore, kArmRead, kArmWrite, kClose, kQuiet };

  // The call limit, which also keeps a worker free for the sockets while calls block.
  class PoolLimiter final : public CallLimiter {
   public:
    explicit PoolLimiter(RpcServer& server) : CallLimiter(kMaxConcurrentCalls), server_(server) {}
    void Enter() override;
    void Leave() noexcept override;

   private:
    RpcServer& server_;
  };

  void AcceptLoop(Endpoint* endpoint);
  void Admit(os::StreamSocket socket, const std::string& secondaryAddress);
  // Starts the poll, the timer and the core workers; false when the system refuses them.
  bool StartEngine();
  void StopEngine();
  void SpawnWorker();
  void WorkerLoop(std::list<std::thread>::iterator self);
  void TimerLoop();
  // Serves one reported event of `c`; the worker that got it owns `c` meanwhile.
  void Serve(Connection& c);
  // With `waitForCall` the first read waits a moment for the client's next call.
  Step ServeCalls(Connection& c, bool waitForCall = false);
  Step ServeRefusal(Connection& c);
  // Handles the whole PDUs at the front of `data`, sending each answer; `used` receives the
  // bytes handled.
  Step HandlePdus(Connection& c, std::span<const std::uint8_t> data, std::size_t& used);
  // Writes what is pending of the answer without blocking.
  Step Flush(Connection& c);
  // After an answer went out: clears its buffer for the next call.
  Step AnswerSent(Connection& c);
  bool Arm(Connection& c, Step step);
  // The last act of the worker that owns `c`: unlocks it, frees it, forgets it.
  void Close(Connection& c, std::unique_lock<std::mutex>& owner);

  InterfaceRegistry registry_;
  PoolLimiter limiter_;

  mutable std::mutex stateMutex_;  // guards endpoints_ and listening_ changes; not held
                                   // while joining a thread
  std::vector<std::unique_ptr<Endpoint>> endpoints_;
  std::atomic<bool> listening_{false};
  std::atomic<bool> stopping_{false};

  mutable std::mutex connectionsMutex_;  // guards the members up to connectionsEnded_; never
                                         // held while a call runs
  std::list<std::unique_ptr<Connection>> connections_;
  std::size_t served_ = 0;                    // connections within the limit
  std::size_t refusing_ = 0;                  // connections over it, waiting for their bind
  std::condition_variable connectionsEnded_;  // connections_ became empty
  int pduTimeoutMs_;
  std::size_t maxConnections_;
  ByteBudget* budget_;

  // The engine, present while listening.
  std::optional<os::EventPoll> poll_;
  std::mutex poolMutex_;  // guards the members up to timerStop_
  std::list<std::thread> workers_;
  std::vector<std::thread> retired_;  // extra workers that ended, to be joined
  std::thread timer_;
  bool engineStopping_ = false;
  bool timerStop_ = false;
  std::condition_variable timerWake_;
  std::atomic<int> workerCount_{0};     // live workers
  std::atomic<int> busyWorkers_{0};     // workers inside a call
  std::atomic<int> pollingWorkers_{0};  // workers waiting on the poll
};

}  // namespace rdx::rpc
