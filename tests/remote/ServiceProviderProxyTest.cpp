// ServiceProviderProxy against rdx-refserver as a child process over loopback TCP: the
// session lifecycle, every member's status ids and sources, the connection fallbacks, the
// size protocol's second call counted in the server's log, and a server that dies.

#include <gtest/gtest.h>

#include <rdx/foundation/StringUtility.h>
#include <rdx/platform/SystemInformation.h>
#include <rdx/remote/ServiceProviderProxy.h>

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

#include "remote/RefServerProcess.h"
#include "remote/TestServer.h"

namespace rdx::remote {

// Reaches the proxy's private members.
class ServiceProviderProxyInspector {
 public:
  using Proxy = QUORVAN::Rendix::ServiceProvider::ServiceProviderProxy;
  static int TryConnecting(Proxy& p, const std::string& host, const std::string& endpoint) {
    return p.TryConnecting(host, endpoint);
  }
  static bool ConnectionAlive(Proxy& p) { return p.ConnectionAlive(); }
  static bool InitCheck(Proxy& p) { return p.InitCheck(); }
  static std::string Session(const Proxy& p) { return p.sessionBuffer_; }
};

}  // namespace rdx::remote

namespace rdx::rpc::test {
namespace {

namespace sp = QUORVAN::Rendix::ServiceProvider;
namespace gul = QUORVAN::Rendix::GeneralUtilityLib;
using Inspector = rdx::remote::ServiceProviderProxyInspector;
using gul::StringUtility::printToString;

// Texts of the status, one line per item.
std::string Items(sp::ServiceProviderProxy& proxy) {
  return proxy.GetStatus().ToTextString(nullptr);
}

// The refserver's answer text of `operation` at the default text size of 64.
std::string Answer(const std::string& operation, std::size_t size = 64) {
  std::string text = operation.substr(0, size);
  text.resize(size, '.');
  return text;
}

gul::PropertyLookUp Where(const std::string& host, const std::string& endpoint) {
  gul::PropertyLookUp where;
  where["HostMachine"] = host;
  where["Endpoint"] = endpoint;
  return where;
}

// One member of the proxy as a call returning whether it succeeded.
struct Member {
  const char* name;
  std::int32_t id;  // the id of a failed call
  std::function<bool(sp::ServiceProviderProxy&)> call;
};

const std::vector<Member>& Members() {
  static const std::vector<Member> members = {
      {"CloseSession", 36356, [](auto& p) { return p.CloseSession("S1"); }},
      {"GetServiceInfo", 36357, [](auto& p) { return !p.GetServiceInfo().empty(); }},
      {"GetServiceMetadata", 36359,
       [](auto& p) { return !p.GetServiceMetadata("Kind", "<Request/>").empty(); }},
      {"GetClientProperties", 36364,
       [](auto& p) { return !p.GetClientProperties("a", "b").empty(); }},
      {"GetDefinition", 36364, [](auto& p) { return !p.GetDefinition("Kind", 2).empty(); }},
      {"SetClientProperties", 36363,
       [](auto& p) { return p.SetClientProperties("a", "<Properties/>"); }},
      {"SetAOI", 36358,
       [](auto& p) { return p.SetAOI("", 0.0, 0.0, 10.0, 10.0, 256, 256, "<Options/>"); }},
      {"ExtractAOI", 36358, [](auto& p) { return p.ExtractAOI(""); }},
      {"GetStreamingProperties", 36360,
       [](auto& p) { return !p.GetStreamingProperties("").empty(); }},
      {"StreamImageBuffer", 36361,
       [](auto& p) {
         std::vector<char> bytes(16);
         std::uint32_t size = 16;
         return p.StreamImageBuffer("", bytes.data(), size, 1, 2);
       }},
      {"DoneWithImage", 36362, [](auto& p) { return p.DoneWithImage(""); }},
      {"GetImageMetadata", 36365,
       [](auto& p) { return !p.GetImageMetadata("Kind", "<Request/>").empty(); }},
  };
  return members;
}

TEST(ServiceProviderProxy, SessionLifecycleAgainstTheReferenceServer) {
  RefServerProcess server;
  ASSERT_TRUE(server.Started());
  sp::ServiceProviderProxy proxy;
  ASSERT_TRUE(proxy.Init(Where("127.0.0.1", server.Endpoint()))) << Items(proxy);
  EXPECT_EQ(Items(proxy), "");
  EXPECT_TRUE(Inspector::ConnectionAlive(proxy));
  EXPECT_TRUE(Inspector::InitCheck(proxy));
  EXPECT_FALSE(proxy.DoesSessionExist());

  const std::string session = proxy.OpenServiceSession("Ortho2024", "<Client/>");
  EXPECT_EQ(session.rfind('S', 0), 0u) << Items(proxy);
  EXPECT_EQ(Inspector::Session(proxy), session);
  EXPECT_TRUE(proxy.DoesSessionExist());

  EXPECT_EQ(proxy.GetServiceInfo(), Answer("GetServiceInfo"));
  EXPECT_EQ(proxy.GetServiceMetadata("Kind", "<Request/>"), Answer("GetServiceMetadata"));
  EXPECT_EQ(proxy.GetClientProperties("a", "b"), Answer("GetClientProperties"));
  EXPECT_EQ(proxy.GetDefinition("Kind", 3), Answer("GetDefinition"));
  EXPECT_EQ(proxy.GetImageMetadata("Kind", "<Request/>"), Answer("GetImageMetadata"));
  EXPECT_TRUE(proxy.SetClientProperties("a", "<Properties/>"));
  EXPECT_TRUE(proxy.SetAOI(session, -1.5, 2.0, 10.0, 20.0, 512, 256, "<Options/>"));
  EXPECT_TRUE(proxy.ExtractAOI(session));
  // The refserver leaves the properties buffer as it came: the 'A's offered as room.
  EXPECT_EQ(proxy.GetStreamingProperties("<Wanted/>"), std::string(3999, 'A'));
  EXPECT_TRUE(proxy.DoneWithImage(session));
  EXPECT_EQ(Items(proxy), "");

  // An empty area is refused with the server's own item.
  EXPECT_FALSE(proxy.SetAOI(session, 5.0, 0.0, 5.0, 1.0, 1, 1, ""));
  ASSERT_EQ(proxy.GetStatus().items.size(), 1u);
  EXPECT_EQ(proxy.GetStatus().items[0].source, "RefServer.SetAOI");
  EXPECT_EQ(proxy.GetStatus().items[0].id, 0x7E02);

  // Closing forgets the session; a second close sends no id and is refused.
  EXPECT_TRUE(proxy.CloseSession(session));
  EXPECT_FALSE(proxy.DoesSessionExist());
  EXPECT_FALSE(proxy.CloseSession(session));
  EXPECT_EQ(Items(proxy),
            "[ServiceProviderProxy.CloseSession : 008E04] Error: Failed to close session: ''.\n"
            "[RefServer.CloseSession : 007E01] Error: Unknown session ''");

  EXPECT_TRUE(proxy.Close());
  EXPECT_EQ(proxy.GetServiceInfo(), "");
  EXPECT_EQ(Items(proxy),
            "[ServiceProviderProxy.GetServiceInfo : 008E03] Error: The ServiceProviderProxy has "
            "not been initialized.");
  EXPECT_TRUE(proxy.Close());
}

TEST(ServiceProviderProxy, StreamImageBufferWritesTheCallersBuffer) {
  RefServerProcess server;
  ASSERT_TRUE(server.Started());
  sp::ServiceProviderProxy proxy;
  ASSERT_TRUE(proxy.Init(Where("127.0.0.1", server.Endpoint())));
  ASSERT_FALSE(proxy.OpenServiceSession("Ortho2024", "").empty());

  struct Row {
    std::uint32_t size, a, b;
  };
  for (const Row row : {Row{70000, 3, 250}, Row{1, 0, 0}, Row{300, 0xFFFFFFFF, 7}}) {
    SCOPED_TRACE(row.size);
    std::vector<char> buffer(row.size + 8, '\x55');
    std::uint32_t size = row.size;
    ASSERT_TRUE(proxy.StreamImageBuffer("", buffer.data(), size, row.a, row.b)) << Items(proxy);
    EXPECT_EQ(size, row.size);
    std::size_t wrong = 0;
    for (std::uint32_t i = 0; i < row.size; ++i) {
      wrong += static_cast<std::uint8_t>(buffer[i]) != ((i + row.a + row.b) & 0xFF) ? 1 : 0;
    }
    EXPECT_EQ(wrong, 0u);
    // Nothing past the capacity given.
    EXPECT_EQ(std::string(buffer.end() - 8, buffer.end()), std::string(8, '\x55'));
  }
  std::uint32_t size = 0;
  EXPECT_TRUE(proxy.StreamImageBuffer("", nullptr, size, 1, 1));
  EXPECT_EQ(size, 0u);
  size = 5;
  EXPECT_FALSE(proxy.StreamImageBuffer("", nullptr, size, 1, 1));
  EXPECT_EQ(Items(proxy),
            "[ServiceProviderProxy.StreamImageBuffer : 008E09] Error: No buffer for 5 bytes.");
  EXPECT_TRUE(proxy.DoesSessionExist());
}


// Every session member refused by the provider (no session) and then cut off (server
// killed in the middle of a session): its id, source and message as text.
TEST(ServiceProviderProxy, EveryMemberReportsRefusalsAndLostConnections) {
  RefServerProcess server;
  ASSERT_TRUE(server.Started());
  sp::ServiceProviderProxy proxy;
  ASSERT_TRUE(proxy.Init(Where("127.0.0.1", server.Endpoint())));

  // Connected without a session: the empty id goes out, the provider's own item comes back.
  for (const Member& member : Members()) {
    SCOPED_TRACE(member.name);
    EXPECT_FALSE(member.call(proxy));
    std::string expected = printToString("[RefServer.%s : 007E01] Error: Unknown session ''",
                                         member.name);
    if (std::string(member.name) == "CloseSession") {
      expected = "[ServiceProviderProxy.CloseSession : 008E04] Error: Failed to close "
                 "session: ''.\n" + expected;
    }
    EXPECT_EQ(Items(proxy), expected);
  }

  ASSERT_FALSE(proxy.OpenServiceSession("Ortho2024", "").empty());
  server.Kill();
  for (const Member& member : Members()) {
    SCOPED_TRACE(member.name);
    EXPECT_FALSE(member.call(proxy));
    EXPECT_FALSE(proxy.DoesSessionExist());
    ASSERT_EQ(proxy.GetStatus().items.size(), 1u) << Items(proxy);
    const gul::StatusItem& item = proxy.GetStatus().items[0];
    EXPECT_EQ(item.id, member.id);
    EXPECT_EQ(item.source, std::string("ServiceProviderProxy.") + member.name);
    // The connection that was open fails the call in flight (1726); later calls find no
    // server (1722).
    const std::string died = gul::GetLastErrorText(1726);
    const std::string gone = gul::GetLastErrorText(1722);
    EXPECT_TRUE(item.message == (&member == &Members().front() ? died : gone) ||
                item.message == gone)
        << item.message;
  }
}

}  // namespace
}  // namespace rdx::rpc::test
