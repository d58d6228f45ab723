// Calls through our client and our server over loopback TCP and pipe sockets.

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <future>
#include <thread>

#include <sys/stat.h>

#include <rdx/platform/SystemInformation.h>
#include <rdx/remote/RpcExceptionFrame.h>
#include <rdx/remote/RpcHandle.h>
#include <rdx/remote/RpcListener.h>
#include <rdx/remote/RpcStatus.h>

#include "platform/os/LastError.h"
#include "remote/EchoInterface.h"
#include "remote/TestServer.h"
#include "remote/runtime/RpcServer.h"
#include "support/IsolatedEnvironment.h"

namespace rdx::rpc::test {
namespace {

namespace gul = QUORVAN::Rendix::GeneralUtilityLib;

// Runs a call in the exception frame; the status, or 0 and the answer in `out`.
std::int32_t Try(void* handle, const SyntaxId& syntax, std::uint16_t opnum,
                 const std::vector<std::uint8_t>& request, std::vector<std::uint8_t>* out) {
  return gul::RunInRpcExceptionFrame([&] {
    auto answer = CallRemote(handle, syntax, opnum, request);
    if (out != nullptr) *out = std::move(answer);
  });
}

class RpcCall : public ::testing::Test {
 protected:
  std::string Port() const { return server_.Endpoint(); }

  EchoInterface echo_;
  TestServer server_{{&echo_}};
};

TEST_F(RpcCall, RoundTripsOverEveryAddressForm) {
  for (const std::string host : {"127.0.0.1", "localhost", "::1", ""}) {
    SCOPED_TRACE(host);
    Binding handle(host, Port());
    ASSERT_NE(handle.h, nullptr);
    const std::vector<std::uint8_t> request = {1, 2, 3, 4, 5};
    std::vector<std::uint8_t> answer;
    EXPECT_EQ(Try(handle.h, EchoSyntax(), 0, request, &answer), 0);
    EXPECT_EQ(answer, request);
    // A second call reuses the connection and its context.
    EXPECT_EQ(Try(handle.h, EchoSyntax(), 0, {}, &answer), 0);
    EXPECT_TRUE(answer.empty());
  }
}

TEST_F(RpcCall, FragmentsLongStubsBothWays) {
  Binding handle("127.0.0.1", Port());
  // Sizes around the fragment payload (5816), both directions; answers of megabytes are
  // BulkTransferTest's.
  for (const std::uint32_t size : {5815u, 5816u, 5817u, 3u * 5816u, 3u * 5816u + 1}) {
    SCOPED_TRACE(size);
    std::vector<std::uint8_t> request(size);
    for (std::uint32_t i = 0; i < size; ++i) request[i] = PatternByte(i, 5);
    std::vector<std::uint8_t> answer;
    ASSERT_EQ(Try(handle.h, EchoSyntax(), 0, request, &answer), 0);
    EXPECT_EQ(answer, request);
    ASSERT_EQ(Try(handle.h, EchoSyntax(), 1, EchoArgs(size, 9), &answer), 0);
    ASSERT_EQ(answer.size(), size);
    bool same = true;
    for (std::uint32_t i = 0; i < size && same; ++i) same = answer[i] == PatternByte(i, 9);
    EXPECT_TRUE(same);
  }
}

TEST_F(RpcCall, FailuresArriveAsStatusesWithTexts) {
  SyntaxId unknown = EchoSyntax();
  unknown.uuid[0] ^= 0xFF;
  SyntaxId newerMinor = EchoSyntax();
  newerMinor.versionMinor = 1;
  const char* const unavailable = "The RPC server is unavailable.";
  const char* const unknownInterface = "The interface is unknown.";
  struct Row {
    const char* name;
    std::string host, endpoint;
    std::int32_t status;
    const char* text;
    SyntaxId syntax = EchoSyntax();
    std::uint16_t opnum = 0;
    std::string protocol = "ncacn_ip_tcp";
  };
  const Row rows[] = {
      {"nothing listening", "127.0.0.1", std::to_string(FreeTcpPort()), 1722, unavailable},
      {"no such host", "no-such-host.invalid", Port(), 1722, unavailable},
      {"pipe of another machine", "elsewhere.invalid", "\\pipe\\x", 1722, unavailable, EchoSyntax(),
       0, "ncacn_np"},
      {"unknown operation", "127.0.0.1", Port(), 1745, "The procedure number is out of range.",
       EchoSyntax(), 4},
      {"unknown interface", "127.0.0.1", Port(), 1717, unknownInterface, unknown},
      {"newer minor version", "127.0.0.1", Port(), 1717, unknownInterface, newerMinor},
      {"no endpoint", "127.0.0.1", "", 1753,
       "There are no more endpoints available from the endpoint mapper."},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.name);
    Binding handle(row.host, row.endpoint, row.protocol);
    ASSERT_NE(handle.h, nullptr);
    os::SetLastError(0);
    const std::int32_t status = Try(handle.h, row.syntax, row.opnum, {}, nullptr);
    EXPECT_EQ(status, row.status);
    EXPECT_EQ(os::GetLastError(), static_cast<std::uint32_t>(row.status));
    EXPECT_EQ(gul::GetLastErrorText(status), row.text);
    // After a fault or rejection the binding still serves a good call.
    if (row.status != 1722 && row.status != 1753) {
      EXPECT_EQ(Try(handle.h, EchoSyntax(), 0, {7}, nullptr), 0);
    }
  }
  EXPECT_EQ(Try(nullptr, EchoSyntax(), 0, {}, nullptr), 1702);
}

TEST_F(RpcCall, ServerStoppedMidCallRaisesInsteadOfHanging) {
  Binding handle("127.0.0.1", Port());
  auto call =
      std::async(std::launch::async, [&] { return Try(handle.h, EchoSyntax(), 3, {}, nullptr); });
  ASSERT_TRUE(echo_.WaitForWaiting(1));
  std::thread stopper([&] { server_.Server().StopListening(); });
  // The stop shuts the connection; the manager is released so the stop can finish.
  const auto early = call.wait_for(std::chrono::seconds(20));
  echo_.Release();
  stopper.join();
  ASSERT_EQ(early, std::future_status::ready);
  EXPECT_EQ(call.get(), 1726);
  // The next call finds nobody listening.
  EXPECT_EQ(Try(handle.h, EchoSyntax(), 0, {}, nullptr), 1722);
}

TEST_F(RpcCall, ManyClientsCallAtOnce) {
  constexpr int kClients = 64;
  std::vector<std::future<std::int32_t>> calls;
  for (int i = 0; i < kClients; ++i) {
    calls.push_back(std::async(std::launch::async, [&] {
      Binding handle("127.0.0.1", Port());
      return Try(handle.h, EchoSyntax(), 3, {}, nullptr);
    }));
  }
  // Every call is inside a manager at the same time before any is released.
  EXPECT_TRUE(echo_.WaitForWaiting(kClients));
  echo_.Release();
  for (auto& c : calls) EXPECT_EQ(c.get(), 0);
}

TEST(RpcListener, PublishesOverTcpAndPipesAndRefusesTakenEndpoints) {
  rdx::test::IsolatedEnvironment environment;
  const std::filesystem::path folder = environment.Root() + "/pipes";
  std::filesystem::create_directories(folder);
  environment.Set("RDX_PIPE_DIR", folder);
  EchoInterface echo;
  const std::uint16_t port = FreeTcpPort();
  // Success leaves both outputs as they were.
  std::string text = "kept";
  std::int32_t status = 77;
  ASSERT_TRUE(gul::StartRpcListener(&echo, std::to_string(port), "ncacn_ip_tcp", text, status))
      << text;
  // A strict umask of the listening process does not keep other local users out.
  const mode_t umaskBefore = ::umask(077);
  ASSERT_TRUE(gul::StartRpcListener(&echo, "\\pipe\\RdxTest", "ncacn_np", text, status)) << text;
  ::umask(umaskBefore);
  EXPECT_EQ(std::filesystem::status(folder / "rdxtest").permissions() & std::filesystem::perms::all,
            static_cast<std::filesystem::perms>(0666));
  EXPECT_EQ(text, "kept");
  EXPECT_EQ(status, 77);
  {
    // Pipe names ignore case; "." is this machine.
    Binding pipe(".", "\\PIPE\\rdxtest", "ncacn_np");
    std::vector<std::uint8_t> answer;
    EXPECT_EQ(Try(pipe.h, EchoSyntax(), 0, {9, 8}, &answer), 0);
    EXPECT_EQ(answer, (std::vector<std::uint8_t>{9, 8}));
    Binding tcp("localhost", std::to_string(port));
    EXPECT_EQ(Try(tcp.h, EchoSyntax(), 0, {1}, nullptr), 0);
  }
  {
    // Another server cannot take the same port or pipe.
    RpcServer other;
    EXPECT_EQ(other.UseEndpoint("ncacn_ip_tcp", std::to_string(port)), 1740u);
    EXPECT_EQ(other.UseEndpoint("ncacn_np", "\\pipe\\rdxtest"), 1740u);
    // Nor can the process listener take a port another server holds.
    std::uint16_t taken = 0;
    ASSERT_EQ(other.UseTcpPort(0, taken), 0u);
    EXPECT_FALSE(gul::StartRpcListener(&echo, std::to_string(taken), "ncacn_ip_tcp", text, status));
    EXPECT_EQ(status, 1740);
    EXPECT_EQ(text, "The endpoint is a duplicate.");
    EXPECT_EQ(os::GetLastError(), 10048u);  // the socket's own reason
    // A file left behind by a server that died is no longer taken.
    std::ofstream(folder / "rdxstale") << "left over";
    EXPECT_EQ(other.UseEndpoint("ncacn_np", "\\pipe\\RdxStale"), 0u);
    // Unregistering null unregisters every interface.
    other.RegisterInterface(&echo);
    EXPECT_EQ(other.UnregisterInterface(nullptr), 0u);
    EXPECT_EQ(other.UnregisterInterface(&echo), 1717u);
  }
  struct Row {
    const char* endpoint;
    const char* protocol;
    std::int32_t status;
  };
  for (const Row& row : {Row{"65536", "ncacn_ip_tcp", 1706}, Row{"pipe\\x", "ncacn_np", 1706},
                         Row{"3982", "ncadg_ip_udp", 1703}}) {
    SCOPED_TRACE(row.endpoint);
    status = 0;
    text.clear();
    EXPECT_FALSE(gul::StartRpcListener(&echo, row.endpoint, row.protocol, text, status));
    EXPECT_EQ(status, row.status);
    EXPECT_EQ(text, gul::GetLastErrorText(row.status));
  }
  EXPECT_TRUE(gul::StopRpcListener(&echo, text));
  EXPECT_FALSE(std::filesystem::exists(folder / "rdxtest"));
  // Unregistered and stopped: a second stop fails.
  EXPECT_FALSE(gul::StopRpcListener(&echo, text));
}

}  // namespace
}  // namespace rdx::rpc::test
