// ServiceProviderProxy against rdx-refserver as a child process over loopback TCP: every
// member's answers, refusals and lost connections as status text, the connection fallbacks,
// the size protocol's second call counted in the server's log, and, against an in-process
// provider, a session id rewritten by the provider.

#include <gtest/gtest.h>

#include <rdx/foundation/NameValueMap.h>
#include <rdx/foundation/StringUtility.h>
#include <rdx/platform/SystemInformation.h>
#include <rdx/remote/IServiceProviderManager.h>
#include <rdx/remote/ServiceProviderProxy.h>

#include <cstdint>
#include <cstring>
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
  static bool ConnectionAlive(Proxy& p) { return p.ConnectionAlive(); }
  static bool InitCheck(Proxy& p) { return p.InitCheck(); }
  static std::string Session(const Proxy& p) { return p.sessionBuffer_; }
  static void SetSession(Proxy& p, const char* id) { std::strcpy(p.sessionBuffer_, id); }
};

}  // namespace rdx::remote

namespace rdx::rpc::test {
namespace {

namespace sp = QUORVAN::Rendix::ServiceProvider;
namespace gul = QUORVAN::Rendix::GeneralUtilityLib;
using Inspector = rdx::remote::ServiceProviderProxyInspector;
using gul::StringUtility::printToString;

gul::PropertyLookUp Where(const std::string& host, const std::string& endpoint) {
  gul::PropertyLookUp where;
  where["HostMachine"] = host;
  where["Endpoint"] = endpoint;
  return where;
}

// Each session member as a call giving its text result (booleans as "true"/"false"), the
// id of its failed calls and its answer from the refserver. CloseSession last: it ends the
// session.
struct Member {
  const char* name;
  std::int32_t id;
  std::function<std::string(sp::ServiceProviderProxy&)> call;
  std::string answer = Answer(name);  // the refserver's text, for the text members
};

const std::vector<Member>& Members() {
  static const std::vector<Member> members = {
      {"GetServiceInfo", 36357, [](auto& p) { return p.GetServiceInfo(); }},
      {"GetServiceMetadata", 36359, [](auto& p) { return p.GetServiceMetadata("K", "<R/>"); }},
      {"GetClientProperties", 36364, [](auto& p) { return p.GetClientProperties("a", "b"); }},
      {"GetDefinition", 36364, [](auto& p) { return p.GetDefinition("K", 2); }},
      {"SetClientProperties", 36363,
       [](auto& p) { return Yes(p.SetClientProperties("a", "<Properties/>")); }, "true"},
      {"SetAOI", 36358,
       [](auto& p) { return Yes(p.SetAOI("", -1.5, 0.0, 10.0, 10.0, 256, 256, "<O/>")); }, "true"},
      {"ExtractAOI", 36358, [](auto& p) { return Yes(p.ExtractAOI("")); }, "true"},
      // The refserver leaves the properties buffer as it came: the 'A's offered as room.
      {"GetStreamingProperties", 36360, [](auto& p) { return p.GetStreamingProperties("x"); },
       std::string(3999, 'A')},
      {"StreamImageBuffer", 36361,
       [](auto& p) {
         std::vector<char> bytes(3);
         std::uint32_t size = 3;
         const std::string streamed = Yes(p.StreamImageBuffer("", bytes.data(), size, 1, 2));
         return streamed + std::to_string(size) + std::string(bytes.begin(), bytes.end());
       },
       "true3\x03\x04\x05"},
      {"DoneWithImage", 36362, [](auto& p) { return Yes(p.DoneWithImage("")); }, "true"},
      {"GetImageMetadata", 36365, [](auto& p) { return p.GetImageMetadata("K", "<R/>"); }},
      {"CloseSession", 36356, [](auto& p) { return Yes(p.CloseSession("")); }, "true"},
  };
  return members;
}

// Every member answered, refused by the provider (no session) and cut off (server killed in
// the middle of a session): results, and status items compared as text.
TEST(ServiceProviderProxy, EveryMemberAnswersIsRefusedAndLosesItsConnection) {
  RefServerProcess server;
  ASSERT_TRUE(server.Started());
  sp::ServiceProviderProxy proxy;
  EXPECT_EQ(proxy.GetServiceInfo(), "");
  EXPECT_EQ(Items(proxy), "[ServiceProviderProxy.GetServiceInfo : 008E03] Error: The "
                          "ServiceProviderProxy has not been initialized.");
  EXPECT_TRUE(proxy.Close());
  ASSERT_TRUE(proxy.Init(Where("127.0.0.1", server.Endpoint()))) << Items(proxy);
  EXPECT_TRUE(Inspector::ConnectionAlive(proxy));
  EXPECT_FALSE(proxy.DoesSessionExist());

  // Connected without a session: the empty id goes out, the provider's own item comes back.
  for (const Member& member : Members()) {
    SCOPED_TRACE(member.name);
    EXPECT_NE(member.call(proxy), member.answer);
    std::string expected =
        printToString("[RefServer.%s : 007E01] Error: Unknown session ''", member.name);
    if (member.id == 36356) {
      expected = "[ServiceProviderProxy.CloseSession : 008E04] Error: Failed to close "
                 "session: ''.\n" +
                 expected;
    }
    EXPECT_EQ(Items(proxy), expected);
  }

  const std::string session = proxy.OpenServiceSession("Ortho2024", "<Client/>");
  EXPECT_EQ(session.rfind('S', 0), 0u) << Items(proxy);
  EXPECT_EQ(Inspector::Session(proxy), session);
  for (const Member& member : Members()) {
    SCOPED_TRACE(member.name);
    EXPECT_TRUE(proxy.DoesSessionExist());
    EXPECT_EQ(member.call(proxy), member.answer);
    EXPECT_EQ(Items(proxy), "");
  }
  EXPECT_FALSE(proxy.DoesSessionExist());  // closed by the last member

  // Large images into the caller's buffer: BulkTransferTest. Here a missing buffer.
  ASSERT_FALSE(proxy.OpenServiceSession("Ortho2024", "").empty());
  std::uint32_t size = 0;
  EXPECT_TRUE(proxy.StreamImageBuffer("", nullptr, size, 1, 1) && size == 0);
  size = 5;
  EXPECT_FALSE(proxy.StreamImageBuffer("", nullptr, size, 1, 1));
  EXPECT_EQ(Items(proxy),
            "[ServiceProviderProxy.StreamImageBuffer : 008E09] Error: No buffer for 5 bytes.");
  EXPECT_TRUE(proxy.DoesSessionExist());

  server.Kill();
  const std::string died = gul::GetLastErrorText(1726);  // the call in flight
  const std::string gone = gul::GetLastErrorText(1722);  // the calls after it
  for (const Member& member : Members()) {
    SCOPED_TRACE(member.name);
    Inspector::SetSession(proxy, "S9");  // each member must drop it on its own
    EXPECT_NE(member.call(proxy), member.answer);
    EXPECT_FALSE(proxy.DoesSessionExist());
    const std::string item =
        printToString("[ServiceProviderProxy.%s : %06X] Error: ", member.name, member.id);
    EXPECT_TRUE(Items(proxy) == item + gone ||
                (&member == &Members()[0] && Items(proxy) == item + died))
        << Items(proxy);
  }
  EXPECT_TRUE(proxy.Close());
}

// A provider reached only through a later name: the failed attempts stay in the status.
TEST(ServiceProviderProxy, InitTriesHostThenFqdnThenAddress) {
  RefServerProcess server;
  RefServerProcess refusing({"--ping", "false"});
  ASSERT_TRUE(server.Started() && refusing.Started());
  const std::string port = server.Endpoint(), noPing = refusing.Endpoint();
  // Both refused by the network stack at once, without a packet leaving the machine.
  const std::string broadcast = "255.255.255.255", multicast = "224.0.0.1";
  auto unreached = [&](const std::string& host) {
    return "failed to connect to serviceprovider on '" + host + "' at endpoint '" + port + "'; ";
  };
  struct Row {
    std::string host, fqdn, address, endpoint;
    bool connects;
    std::vector<std::string> failed;  // the failed attempts' messages (or their beginnings)
  };
  const Row rows[] = {
      {"127.0.0.1", broadcast, broadcast, port, true, {}},
      {broadcast, "localhost", "", port, true, {unreached(broadcast)}},
      {broadcast, multicast, "127.0.0.1", port, true, {unreached(broadcast), unreached(multicast)}},
      {"", "", "", port, true, {}},  // the empty host is this machine
      {broadcast, multicast, "", port, false, {unreached(broadcast), unreached(multicast)}},
      {"127.0.0.1", "", "", noPing, false, {"Access denied on ServiceProvider on '127.0.0.1'."}},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.host + " " + row.fqdn + " " + row.address);
    sp::ServiceProviderProxy proxy, mapped;
    gul::PropertyLookUp where = Where(row.host, row.endpoint);
    where["FQDN"] = row.fqdn;
    where["ipaddress"] = row.address;
    QUORVAN::Rendix::Global::NameValueMap map;
    for (const auto& [name, value] : where) map[name] = value;
    EXPECT_EQ(proxy.Init(where), row.connects);
    EXPECT_EQ(mapped.Init(map), row.connects);
    EXPECT_EQ(Items(mapped), Items(proxy));
    const auto& items = proxy.GetStatus().items;
    ASSERT_EQ(items.size(), row.failed.size()) << Items(proxy);
    for (std::size_t i = 0; i < row.failed.size(); ++i) {
      EXPECT_EQ(items[i].id, 36354);
      EXPECT_EQ(items[i].source, "ServiceProviderProxy.Init");
      EXPECT_EQ(items[i].message.rfind(row.failed[i], 0), 0u) << items[i].message;
    }
    EXPECT_EQ(Inspector::InitCheck(proxy), row.connects);
  }
}

// The session buffer goes out as the caller's own memory: the metadata members name 4000
// bytes first, the others 40000, and a larger answer takes exactly one more call.
TEST(ServiceProviderProxy, LongAnswersTakeASecondCall) {
  struct Row {
    std::size_t textSize;
    std::size_t metadataCalls, infoCalls;
  };
  for (const Row row : {Row{4000, 1, 1}, Row{5000, 2, 1}, Row{40000, 2, 1}, Row{40001, 2, 2}}) {
    SCOPED_TRACE(row.textSize);
    RefServerProcess server({"--text-size", std::to_string(row.textSize)});
    sp::ServiceProviderProxy proxy;
    ASSERT_TRUE(proxy.Init(Where("127.0.0.1", server.Endpoint())));
    ASSERT_FALSE(proxy.OpenServiceSession("Ortho2024", "").empty());
    server.LogSinceLastMark();
    EXPECT_EQ(proxy.GetServiceMetadata("", "<Request/>"),
              Answer("GetServiceMetadata", row.textSize));
    EXPECT_EQ(proxy.GetServiceInfo(), Answer("GetServiceInfo", row.textSize));
    const std::string log = server.LogSinceLastMark();
    EXPECT_EQ(Count(log, "ServiceProviderInterface.GetServiceMetadata("), row.metadataCalls);
    EXPECT_EQ(Count(log, "ServiceProviderInterface.GetServiceInfo("), row.infoCalls);
  }
}

// A provider that rewrites the session id on a call: the next call carries the new one.
class RewritingProvider : public sp::IServiceProviderManager {
 public:
  std::int8_t Ping() override { return 1; }
  std::int8_t OpenServiceSession(const char* service, const char*, std::string& session,
                                 std::string& error) override {
    session = "Session-1";
    error = service == std::string("Ortho2024") ? "" : "No such service";
    return error.empty() ? 1 : 0;
  }
  std::int8_t ExtractAOI(std::string& session, std::string& error) override {
    seen.push_back(session);
    session = "S-2";  // shorter: an in/out string has only the room it came with
    error.clear();
    return 1;
  }
  std::int8_t DoneWithImage(std::string& session, std::string& error) override {
    seen.push_back(session);
    error.clear();
    return 1;
  }
  std::vector<std::string> seen;
};

TEST(ServiceProviderProxy, TheProviderMayRewriteTheSession) {
  RewritingProvider provider;
  TestServer server(nullptr, &provider, nullptr);
  sp::ServiceProviderProxy proxy;
  ASSERT_TRUE(proxy.Init(Where("127.0.0.1", server.Endpoint())));
  // A refused open: the provider's error text becomes an item's message; no session kept.
  EXPECT_EQ(proxy.OpenServiceSession("Elevation", ""), "");
  EXPECT_EQ(Items(proxy),
            "[ServiceProviderProxy.OpenServiceSession : 008E02] Error: Failed to open service: "
            "'Elevation'.\n[ServiceProviderProxy.OpenServiceSession : 008E02] Error: No such "
            "service");
  EXPECT_FALSE(proxy.DoesSessionExist());
  EXPECT_EQ(proxy.OpenServiceSession("Ortho2024", ""), "Session-1");
  EXPECT_TRUE(proxy.ExtractAOI("ignored"));
  EXPECT_EQ(Inspector::Session(proxy), "S-2");
  EXPECT_TRUE(proxy.DoneWithImage("ignored"));
  EXPECT_EQ(provider.seen, (std::vector<std::string>{"Session-1", "S-2"}));
  // A member the provider does not serve fails with its default refusal.
  EXPECT_EQ(proxy.GetServiceInfo(), "");
  EXPECT_EQ(Items(proxy), "[ServiceProviderProxy.GetServiceInfo : 008E05] Error: The service "
                          "provider answered -1 without an error text.");
  EXPECT_TRUE(proxy.DoesSessionExist());
}

}  // namespace
}  // namespace rdx::rpc::test
