// ServerProxy against a real rdx-refserver process (TCP and pipe endpoints), and against an
// in-process server for the answers the reference server never gives (exact sizes, the
// session information as sent).

#include <gtest/gtest.h>

#include <functional>
#include <memory>
#include <string>
#include <vector>

#include <rdx/platform/SystemInformation.h>
#include <rdx/remote/IServerProxy.h>
#include <rdx/remote/RpcHandle.h>

#include "remote/RefServerProcess.h"
#include "remote/TestServer.h"
#include "remote/proxies/ServerProxy.h"
#include "remote/runtime/RpcServer.h"
#include "remote/stubs/ServerCoreClient.h"
#include "support/IsolatedEnvironment.h"

namespace rdx::rpc::test {
namespace {

using QUORVAN::Rendix::ServerCore::IServerProxy;
using QUORVAN::Rendix::ServerCore::ServerProxy;
namespace gul = QUORVAN::Rendix::GeneralUtilityLib;

std::uint16_t FreePort() {
  RpcServer probe;
  std::uint16_t port = 0;
  return probe.UseTcpPort(0, port) == 0 ? port : 0;
}

std::string TextOf(const gul::Status& status) { return status.ToTextString(nullptr); }

// The reference server's text answer of `operation` for a text size of n.
std::string Answer(const std::string& operation, std::size_t n = 64) {
  std::string text = operation.substr(0, std::min(operation.size(), n));
  text.resize(n, '.');
  return text;
}

std::size_t Count(const std::string& text, const std::string& needle) {
  std::size_t count = 0;
  for (std::size_t at = text.find(needle); at != std::string::npos;
       at = text.find(needle, at + 1)) {
    ++count;
  }
  return count;
}

struct TextMember {
  const char* operation;
  std::function<std::string(IServerProxy&)> call;
};

const std::vector<TextMember>& TextMembers() {
  static const std::vector<TextMember> members = {
      {"GetInfo", [](IServerProxy& p) { return p.GetInfo("Basic"); }},
      {"GetServiceProviders", [](IServerProxy& p) { return p.GetServiceProviders(); }},
      {"GetServiceProvidersWithInfo",
       [](IServerProxy& p) { return p.GetServiceProvidersWithInfo(); }},
      {"GetServiceProviderFor", [](IServerProxy& p) { return p.GetServiceProviderFor("Ortho"); }},
      {"GetServiceProviderInfo",
       [](IServerProxy& p) { return p.GetServiceProviderInfo("Imagery"); }},
      {"GetServices", [](IServerProxy& p) { return p.GetServices("Imagery"); }},
      {"GetServiceInfos", [](IServerProxy& p) { return p.GetServiceInfos("Imagery"); }},
      {"GetServiceInfo", [](IServerProxy& p) { return p.GetServiceInfo("Ortho", "Imagery"); }},
  };
  return members;
}

struct BooleanMember {
  const char* operation;
  std::function<bool(IServerProxy&)> call;
};

const std::vector<BooleanMember>& BooleanMembers() {
  static const std::vector<BooleanMember> members = {
      {"AddServiceProvider",
       [](IServerProxy& p) { return p.AddServiceProvider("Imagery", "<Info/>"); }},
      {"RemoveServiceProvider", [](IServerProxy& p) { return p.RemoveServiceProvider("Imagery"); }},
      {"UpdateServiceProviderInfo",
       [](IServerProxy& p) { return p.UpdateServiceProviderInfo("Imagery", "<Info/>"); }},
      {"AddServices",
       [](IServerProxy& p) { return p.AddServices("Imagery", "<Services/>"); }},
      {"RemoveServices",
       [](IServerProxy& p) { return p.RemoveServices("Imagery", "<Services/>"); }},
      {"StopServer", [](IServerProxy& p) { return p.StopServer("now"); }},
  };
  return members;
}

// Every member over one endpoint: the server's answers arrive unchanged, the status stays
// empty, and each call reached the server's operation of that name.
void ExerciseEveryMember(RefServerProcess& server, const std::string& endpoint) {
  std::unique_ptr<IServerProxy> proxy(IServerProxy::Create());
  ASSERT_EQ(proxy->Init("localhost", endpoint), 1) << TextOf(proxy->GetStatus());
  EXPECT_DOUBLE_EQ(proxy->GetVersion(), 1.002);
  EXPECT_TRUE(proxy->IsValid());
  for (const TextMember& member : TextMembers()) {
    SCOPED_TRACE(member.operation);
    EXPECT_EQ(member.call(*proxy), Answer(member.operation));
    EXPECT_EQ(TextOf(proxy->GetStatus()), "");
  }
  for (const BooleanMember& member : BooleanMembers()) {
    SCOPED_TRACE(member.operation);
    EXPECT_TRUE(member.call(*proxy));
    EXPECT_EQ(TextOf(proxy->GetStatus()), "");
  }
  std::string answer = "before";
  EXPECT_TRUE(proxy->QueryText("what", answer));
  EXPECT_EQ(answer, Answer("QueryText"));
  EXPECT_TRUE(proxy->QueryTextAlt("what", answer));
  EXPECT_EQ(answer, Answer("QueryTextAlt"));
  EXPECT_TRUE(proxy->PostText("hello"));
  EXPECT_TRUE(proxy->Close());
  EXPECT_TRUE(proxy->Close());  // nothing left to close

  const std::string log = server.LogSinceLastMark();
  // GetVersion twice: the ping of the connection, then the version check.
  EXPECT_EQ(Count(log, "ServerCoreInterface.GetVersion("), 2u);
  for (const char* operation : {"OpenSession(S", "QueryText(what", "PostText(hello",
                                "CloseSession(S"}) {
    EXPECT_EQ(Count(log, std::string("ServerCoreInterface.") + operation), 1u) << operation;
  }
  for (const TextMember& member : TextMembers()) {
    EXPECT_EQ(Count(log, std::string("ServerCoreInterface.") + member.operation + "(S"), 1u)
        << member.operation << "\n" << log;
  }
  for (const BooleanMember& member : BooleanMembers()) {
    EXPECT_EQ(Count(log, std::string("ServerCoreInterface.") + member.operation + "(S"), 1u)
        << member.operation << "\n" << log;
  }
}

TEST(ServerProxy, EveryMemberReachesTheServerOverTcpAndPipe) {
  rdx::test::IsolatedEnvironment environment;
  environment.Set("RDX_PIPE_DIR", environment.Root() + "/pipes");
  RefServerProcess server({"--pipe", "RefProxy"});
  ASSERT_TRUE(server.Started());
  {
    SCOPED_TRACE("tcp");
    ExerciseEveryMember(server, server.Endpoint());
  }
  {
    SCOPED_TRACE("pipe");
    ExerciseEveryMember(server, "\\pipe\\RefProxy");
  }
  // The other Init forms reach the same server.
  std::unique_ptr<IServerProxy> proxy(IServerProxy::Create());
  EXPECT_EQ(proxy->Init("127.0.0.1:" + server.Endpoint()), 1) << TextOf(proxy->GetStatus());
  QUORVAN::Rendix::Global::NameValueMap map;
  map["hostmachine"] = "127.0.0.1";
  map["ENDPOINT"] = server.Endpoint();
  EXPECT_EQ(proxy->Init(map), 1) << TextOf(proxy->GetStatus());
  gul::PropertyLookUp lookUp;
  lookUp["HostMachine"] = "localhost";
  lookUp["Endpoint"] = "/pipe/refproxy";
  EXPECT_EQ(proxy->Init(lookUp), 1) << TextOf(proxy->GetStatus());
  EXPECT_EQ(proxy->GetServices("x"), Answer("GetServices"));
  // Each Init closed the session of the one before.
  EXPECT_EQ(Count(server.LogSinceLastMark(), "CloseSession(S"), 2u);
}

// A session the server no longer knows: every member puts its own item in front of the
// server's refusal (id 007E01), whose text is kept.
TEST(ServerProxy, FailingMembersPutTheirItemBeforeTheServersText) {
  RefServerProcess server;
  ASSERT_TRUE(server.Started());
  std::unique_ptr<IServerProxy> proxy(IServerProxy::Create());
  ASSERT_EQ(proxy->Init("127.0.0.1", server.Endpoint()), 1);
  {
    Binding other("127.0.0.1", server.Endpoint());
    ASSERT_EQ(servercore::CloseSession(other.h, "S1"), 1);
  }
  struct Row {
    const char* member;
    std::function<bool(IServerProxy&)> failed;
    const char* item;  // the proxy's own item in text form
    bool serverText;   // the server's refusal follows
  };
  const auto text = [](std::function<std::string(IServerProxy&)> call) {
    return [call](IServerProxy& p) { return call(p).empty(); };
  };
  const auto boolean = [](std::function<bool(IServerProxy&)> call) {
    return [call](IServerProxy& p) { return !call(p); };
  };
  const std::vector<Row> rows = {
      {"GetInfo", text(TextMembers()[0].call),
       "[ServerCore.ServerProxy.GetInfo : 008F04] Error: (S1) : Could not get Server Info", true},
      {"GetServiceProviders", text(TextMembers()[1].call),
       "[ServerCore.ServerProxy.GetServiceProviders : FFFFFFFF] Error: (S1) : Unknown fatal "
       "error occured in "
       "'ServerProxy::GetServiceProviders()'. ",
       true},
      {"GetServiceProvidersWithInfo", text(TextMembers()[2].call),
       "[ServerCore.ServerProxy.GetServiceProvidersWithInfo : 008F11] Error: (S1) : Faild to get "
       "the service providers",
       true},
      {"GetServiceProviderFor", text(TextMembers()[3].call),
       "[ServerCore.ServerProxy.GetServiceProviderFor : 008F0A] Error: (S1) : Failed to get the "
       "service provider for Ortho",
       true},
      {"GetServiceProviderInfo", text(TextMembers()[4].call),
       "[ServerCore.ServerProxy.GetServiceProviderInfo : 008F0B] Error: (S1) : Failed to get info "
       "for service provider 'Imagery'",
       true},
      {"GetServices", text(TextMembers()[5].call),
       "[ServerCore.ServerProxy.GetServices : 008F0C] Error: (S1) : Failed to get services for "
       "'Imagery'",
       true},
      {"GetServiceInfos", text(TextMembers()[6].call),
       "[ServerCore.ServerProxy.GetServiceInfos : 008F15] Error: (S1) : Failed to get service "
       "infos for 'Imagery'",
       true},
      // A negative first result is a bad size for this member, not a failed fetch.
      {"GetServiceInfo", text(TextMembers()[7].call),
       "[ServerCore.ServerProxy.GetServiceInfo : 008F05] Error: (S1) : Invalid buffer size", true},
      {"AddServiceProvider", boolean(BooleanMembers()[0].call),
       "[ServerCore.ServerProxy.AddServiceProvider : 008F06] Error: (S1) : Failed to add service "
       "provider 'Imagery'",
       true},
      {"RemoveServiceProvider", boolean(BooleanMembers()[1].call),
       "[ServerCore.ServerProxy.RemoveServiceProvider : 008F07] Error: (S1) : Failed to remove "
       "service provider 'Imagery'",
       true},
      {"UpdateServiceProviderInfo", boolean(BooleanMembers()[2].call),
       "[ServerCore.ServerProxy.UpdateServiceProviderInfo : 008F08] Error: (S1) : Failed to "
       "update service provider 'Imagery'",
       true},
      {"AddServices", boolean(BooleanMembers()[3].call),
       "[ServerCore.ServerProxy.AddServices : 008F09] Error: (S1) : Failed to add services to "
       "Imagery",
       true},
      {"RemoveServices", boolean(BooleanMembers()[4].call),
       "[ServerCore.ServerProxy.RemoveServices : 008F10] Error: (S1) : Failed to remove services "
       "to Imagery",
       true},
      // No error text travels with this operation.
      {"StopServer", boolean(BooleanMembers()[5].call),
       "[ServerCore.ServerProxy.GetServiceInfo : 008F0D] Error: Failed to stop serve.", false},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.member);
    EXPECT_TRUE(row.failed(*proxy));
    std::string expected = row.item;
    if (row.serverText) {
      expected += std::string("\n[RefServer.") + row.member +
                  " : 007E01] Error: Unknown session 'S1'";
    }
    EXPECT_EQ(TextOf(proxy->GetStatus()), expected);
  }
}

// The size protocol as the server sees it: text members offer 40000 bytes first (4000 for
// GetServiceProviders and the queries), and ask once more with exactly the size named.
TEST(ServerProxy, AsksForLongerTextsWithASecondCall) {
  struct Row {
    std::size_t textSize;
    const char* operation;
    std::function<std::string(IServerProxy&)> call;
    std::vector<std::string> calls;  // "n=<offered> -> <result>" in order
  };
  const auto query = [](IServerProxy& p) {
    std::string answer;
    EXPECT_TRUE(p.QueryText("q", answer));
    return answer;
  };
  const std::vector<Row> rows = {
      {5000, "GetServiceInfo", TextMembers()[7].call, {"n=40000) -> 0"}},
      {5000, "GetServiceProviders", TextMembers()[1].call,
       {"n=4000) -> 5000", "n=5000) -> 0"}},
      {5000, "QueryText", query, {"n=4000) -> 5000", "n=5000) -> 0"}},
      {40000, "GetServices", TextMembers()[5].call, {"n=40000) -> 0"}},
      {40001, "GetServiceInfo", TextMembers()[7].call, {"n=40000) -> 40001", "n=40001) -> 0"}},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(std::string(row.operation) + " " + std::to_string(row.textSize));
    RefServerProcess server({"--text-size", std::to_string(row.textSize)});
    ASSERT_TRUE(server.Started());
    std::unique_ptr<IServerProxy> proxy(IServerProxy::Create());
    ASSERT_EQ(proxy->Init("127.0.0.1", server.Endpoint()), 1);
    server.LogSinceLastMark();
    EXPECT_EQ(row.call(*proxy), Answer(row.operation, row.textSize));
    const std::string log = server.LogSinceLastMark();
    EXPECT_EQ(Count(log, std::string("ServerCoreInterface.") + row.operation + "("),
              row.calls.size())
        << log;
    std::size_t at = 0;
    for (const std::string& call : row.calls) {
      at = log.find(call, at);
      EXPECT_NE(at, std::string::npos) << call << " in\n" << log;
    }
  }
}

TEST(ServerProxy, RefusedConnectionsAndSessionsAreReportedAsItems) {
  const std::string unserved = std::to_string(FreePort());
  const std::string unavailable = gul::GetLastErrorText(1722);
  {
    SCOPED_TRACE("no server, static");
    gul::Status status;
    void* handle = nullptr;
    EXPECT_FALSE(IServerProxy::TryConnecting("127.0.0.1", unserved, handle, status));
    ASSERT_EQ(status.items.size(), 1u);
    EXPECT_EQ(status.items[0].id, 36609);
    EXPECT_EQ(status.items[0].source, "");
    EXPECT_EQ(status.items[0].message, "Failed to establish connection with Server on host "
                                       "'127.0.0.1' at port '" + unserved + "'.");
    EXPECT_EQ(status.items[0].details, unavailable);
    // The handle is left to the caller.
    EXPECT_TRUE(gul::FreeRpcHandle(handle));
    // Any other fault counts as a server answering: the session set-up reports it.
    EXPECT_TRUE(IServerProxy::TryConnecting("127.0.0.1", "not a port", handle, status));
    EXPECT_EQ(status.items.size(), 1u);
    EXPECT_TRUE(gul::FreeRpcHandle(handle));
    std::unique_ptr<IServerProxy> proxy(IServerProxy::Create());
    EXPECT_EQ(proxy->Init("127.0.0.1", "not a port"), 0);
    EXPECT_EQ(TextOf(proxy->GetStatus()),
              "[ServerCore.ServerProxy.OpenSession : 008F01] Error: Failed to establish "
              "connection with Server on host '127.0.0.1' at port 'not a port'.");
    EXPECT_TRUE(proxy->Close());  // not connected after that failure
  }
  {
    SCOPED_TRACE("no server, through Init");
    std::unique_ptr<IServerProxy> proxy(IServerProxy::Create());
    EXPECT_EQ(proxy->Init("127.0.0.1:" + unserved), 0);
    EXPECT_EQ(TextOf(proxy->GetStatus()),
              "[ServerCore.ServerProxy.OpenSession : 008F01] Error: Failed to establish "
              "connection with Server on host '127.0.0.1' at port '" +
                  unserved + "'.\n" + unavailable);
    // A connection without a session is kept until the next Init.
    EXPECT_FALSE(proxy->Close());
    EXPECT_EQ(proxy->GetInfo("Basic"), "");  // no session: refused, nothing thrown
    EXPECT_EQ(proxy->GetStatus().items.at(0).id, 36612);
  }
  for (const std::string bad : {"", ":"}) {
    SCOPED_TRACE("server string '" + bad + "'");
    std::unique_ptr<IServerProxy> proxy(IServerProxy::Create());
    EXPECT_EQ(proxy->Init(bad), 0);
    EXPECT_EQ(TextOf(proxy->GetStatus()),
              "[ServerCore.ServerProxy.Init : 008F14] Error: Invalid server string : '" + bad +
                  "'");
  }
  {
    SCOPED_TRACE("never opened");
    std::unique_ptr<IServerProxy> proxy(IServerProxy::Create());
    EXPECT_TRUE(proxy->Close());
    EXPECT_EQ(proxy->GetVersion(), 0.0);
  }
  struct Row {
    const char* version;
    const char* status;  // "" when accepted
  };
  for (const Row& row : {Row{"1.0.0.3",
                             "[ServerCore.ServerProxy.OpenSession : 008F0E] Error: Incompatible "
                             "version of Server: version: 1.0.0.3; Compatible version is: 1.0.0.2"},
                         Row{"1.0.0.2 ", ""}, Row{"  1.0.0.2", ""}}) {
    SCOPED_TRACE(std::string("version '") + row.version + "'");
    RefServerProcess server({"--version", row.version});
    ASSERT_TRUE(server.Started());
    std::unique_ptr<IServerProxy> proxy(IServerProxy::Create());
    EXPECT_EQ(proxy->Init("127.0.0.1", server.Endpoint()), *row.status == '\0' ? 1 : 0);
    EXPECT_EQ(TextOf(proxy->GetStatus()), row.status);
    EXPECT_DOUBLE_EQ(proxy->GetVersion(), *row.status == '\0' ? 1.002 : 0.0);
    // No session was asked for a server of another version.
    EXPECT_EQ(Count(server.LogSinceLastMark(), "OpenSession("), *row.status == '\0' ? 1u : 0u);
  }
}

// A host alone means TCP port 3982, then the server's pipe "\pipe\QUORVANRendix".
TEST(ServerProxy, HostAloneFallsBackFromPort3982ToTheServersPipe) {
  {
    RpcServer probe;
    if (probe.UseEndpoint("ncacn_ip_tcp", "3982") != 0) {
      GTEST_SKIP() << "port 3982 is served here: the fallback cannot be shown";
    }
  }
  rdx::test::IsolatedEnvironment environment;
  environment.Set("RDX_PIPE_DIR", environment.Root() + "/pipes");
  std::unique_ptr<IServerProxy> proxy(IServerProxy::Create());
  EXPECT_EQ(proxy->Init("localhost"), 0);
  const std::string unavailable = gul::GetLastErrorText(1722);
  EXPECT_EQ(TextOf(proxy->GetStatus()),
            "[ServerCore.ServerProxy.OpenSession : 008F01] Error: Failed to establish connection "
            "with Server on host 'localhost' at port '3982'.\n" +
                unavailable +
                "\n[ServerCore.ServerProxy.OpenSession : 008F01] Error: Failed to establish "
                "connection with Server on host 'localhost' at port '\\pipe\\QUORVANRendix'.\n" +
                unavailable);

  RefServerProcess server({"--pipe", "QUORVANRendix"});
  ASSERT_TRUE(server.Started());
  EXPECT_EQ(proxy->Init("localhost"), 1) << TextOf(proxy->GetStatus());
  EXPECT_EQ(TextOf(proxy->GetStatus()), "");  // the refused port is not reported
  EXPECT_EQ(proxy->GetServices("Imagery"), Answer("GetServices"));
}

TEST(ServerProxy, ServerKilledDuringASessionFailsTheNextCalls) {
  auto server = std::make_unique<RefServerProcess>();
  ASSERT_TRUE(server->Started());
  std::unique_ptr<IServerProxy> proxy(IServerProxy::Create());
  ASSERT_EQ(proxy->Init("127.0.0.1", server->Endpoint()), 1);
  ASSERT_EQ(proxy->GetServices("Imagery"), Answer("GetServices"));
  server->Kill();
  EXPECT_EQ(proxy->GetServiceInfo("Ortho", "Imagery"), "");
  ASSERT_FALSE(proxy->GetStatus().items.empty());
  EXPECT_EQ(proxy->GetStatus().items[0].ToTextString(nullptr),
            "[ServerCore.ServerProxy.GetServiceInfo : 008F13] Error: (S1) : Failed to get "
            "service info for 'Ortho' on 'Imagery'");
  EXPECT_FALSE(proxy->AddServiceProvider("Imagery", "<Info/>"));
  EXPECT_EQ(proxy->GetStatus().items.at(0).id, 36614);
  std::string answer = "kept";
  EXPECT_FALSE(proxy->QueryText("q", answer));
  EXPECT_EQ(answer, "kept");
  EXPECT_FALSE(proxy->PostText("x"));
  EXPECT_TRUE(proxy->Close());  // the session cannot be ended remotely; the handle goes
}

// An in-process server answering what rdx-refserver never does.
class ScriptedServer : public QUORVAN::Rendix::ServerCore::IServerCoreManager {
 public:
  std::int8_t GetVersion(std::string& version) override {
    version = "1.0.0.2";
    return 1;
  }
  std::int8_t OpenSession(const char* sessionInfoXml, std::string& sessionId,
                          std::string& error) override {
    sessionInformation = sessionInfoXml;
    sessionId = session;
    error = refusal;
    return refusal.empty() ? 1 : 0;
  }
  std::int32_t GetServiceInfo(const char*, const char*, const char*, std::int32_t n, char* text,
                              std::string&) override {
    offered.push_back(n);
    if (!results.empty()) {
      const std::int32_t result = results.front();
      results.erase(results.begin());
      return result;
    }
    text[0] = 'x';
    return 0;
  }

  std::string session = "X7";
  std::string refusal;  // status XML of a refused session
  std::string sessionInformation;
  std::vector<std::int32_t> results;  // GetServiceInfo's next results, then 0 with "x"
  std::vector<std::int32_t> offered;
};

TEST(ServerProxy, SendsSessionInformationAsWrittenAndRefusesOddSizes) {
  ScriptedServer manager;
  TestServer server(&manager, nullptr, nullptr);
  std::unique_ptr<IServerProxy> proxy(IServerProxy::Create());
  proxy->SetApplicationName("Viewer & <Co>");
  ASSERT_EQ(proxy->Init("127.0.0.1", server.Endpoint()), 1);
  EXPECT_EQ(manager.sessionInformation,
            "<Rendix><SessionInfo><RDXApplication>Viewer & <Co></RDXApplication><Username>" +
                gul::GetTheUserName() + "</Username><MachineName>" + gul::GetHostName() +
                "</MachineName><IPAddress>" + gul::GetIPAddress() + "</IPAddress><FQDN>" +
                gul::GetFullyQualifiedDomainName() + "</FQDN></SessionInfo></Rendix>");

  struct Row {
    std::vector<std::int32_t> results;
    std::vector<std::int32_t> offered;
    const char* item;  // "" for the answer "x"
  };
  const Row rows[] = {
      {{40000}, {40000}, "[ServerCore.ServerProxy.GetServiceInfo : 008F05] Error: (X7) : Invalid "
                         "buffer size"},
      {{1}, {40000}, "[ServerCore.ServerProxy.GetServiceInfo : 008F05] Error: (X7) : Invalid "
                     "buffer size"},
      {{40001}, {40000, 40001}, ""},
      {{40001, 40001}, {40000, 40001},
       "[ServerCore.ServerProxy.GetServiceInfo : 008F13] Error: (X7) : Failed to get service "
       "info for 's' on 'p'"},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.results.front());
    manager.results = row.results;
    manager.offered.clear();
    EXPECT_EQ(proxy->GetServiceInfo("s", "p"), *row.item == '\0' ? "x" : "");
    EXPECT_EQ(manager.offered, row.offered);
    EXPECT_EQ(TextOf(proxy->GetStatus()), row.item);
  }

  // A refused session: the proxy's item first, then the server's reasons; not connected.
  manager.refusal = "<Status><Item><ID>000005</ID><Source>Core.Sessions</Source><Message>Too "
                    "many sessions</Message></Item></Status>";
  EXPECT_EQ(proxy->Init("127.0.0.1:" + server.Endpoint()), 0);
  EXPECT_EQ(TextOf(proxy->GetStatus()),
            "[ServerCore.ServerProxy.OpenSession : 008F01] Error: Failed to establish connection "
            "with Server on host '127.0.0.1' at port '" +
                server.Endpoint() + "'.\n[Core.Sessions : 000005] Error: Too many sessions");
  EXPECT_TRUE(proxy->Close());
}

}  // namespace
}  // namespace rdx::rpc::test
