#pragma once
// The listening side of the run time: endpoints (TCP ports, pipe sockets), the registered
// interfaces, one accepting thread per endpoint and one thread per connection. The exported
// listener functions drive the process-wide instance; tests make their own.

#include <atomic>
#include <cstdint>
#include <list>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "platform/os/StreamSocket.h"
#include "remote/runtime/ServerConnection.h"

namespace rdx::rpc {

// Maximum calls running at once in one server.
inline constexpr std::ptrdiff_t kMaxConcurrentCalls = 1234;
// Connections beyond this are refused with bind_nak "local limit exceeded".
inline constexpr std::size_t kMaxConnections = 4000;
// A PDU that has started must be complete within this time, or the sender is cut off.
inline constexpr int kPduTimeoutMs = 60'000;
// A connection idle this long gives back a large answer buffer it kept.
inline constexpr int kKeptIdleMs = 5'000;

class RpcServer {
 public:
  RpcServer();
  ~RpcServer();
  RpcServer(const RpcServer&) = delete;
  RpcServer& operator=(const RpcServer&) = delete;

  static RpcServer& Process();

  // Opens an endpoint of "ncacn_ip_tcp" (decimal port 1-65535) or "ncacn_np" (\pipe\NAME).
  // Returns 0 (also when this server already holds it), 1703 unknown protocol sequence,
  // 1706 bad endpoint, 1740 endpoint taken, 1720 other failures.
  std::uint32_t UseEndpoint(const std::string& protocolSequence, const std::string& endpoint);
  // As above for TCP, port 0 picking a free port; `bound` receives the port.
  std::uint32_t UseTcpPort(std::uint16_t port, std::uint16_t& bound);

  // `entry` is borrowed until unregistered and every call on it has ended.
  void RegisterInterface(ServerInterface* entry);
  // 1717 when it was not registered; null unregisters every interface.
  std::uint32_t UnregisterInterface(ServerInterface* entry);

  // Starts accepting on every open endpoint without blocking; a host publishing several
  // interfaces may call it once per interface, so an active server just takes on new
  // endpoints and returns 0.
  std::uint32_t Listen();
  // Closes every endpoint and connection and waits for running calls; 1715 when not
  // listening.
  std::uint32_t StopListening();
  bool Listening() const noexcept { return listening_; }

  // Tighter limits for tests: the time a started PDU may take, and the connections served
  // at once. Set before Listen.
  void SetLimits(int pduTimeoutMs, std::size_t maxConnections) {
    pduTimeoutMs_ = pduTimeoutMs;
    maxConnections_ = maxConnections;
  }

 private:
  struct Endpoint {
    std::string protocolSequence;
    std::string endpoint;         // as registered: port text or \pipe\NAME
    std::string secondaryAddress;  // what bind_ack reports
    os::StreamListener listener;
    std::thread acceptor;
  };
  struct Connection {
    os::StreamSocket socket;
    std::thread worker;
    std::atomic<bool> done{false};
  };

  void AcceptLoop(Endpoint* endpoint);
  void Serve(Connection* connection, const std::string& secondaryAddress);
  void ReapFinished();

  InterfaceRegistry registry_;
  CallLimiter limiter_;

  mutable std::mutex stateMutex_;  // guards endpoints_ and listening_ changes; not held
                                   // while joining a thread
  std::vector<std::unique_ptr<Endpoint>> endpoints_;
  std::atomic<bool> listening_{false};
  std::atomic<bool> stopping_{false};

  std::mutex connectionsMutex_;  // guards connections_; never held while a call runs
  std::list<std::unique_ptr<Connection>> connections_;
  std::size_t liveConnections_ = 0;
  int pduTimeoutMs_;
  std::size_t maxConnections_;
};

}  // namespace rdx::rpc
