// ServerProxy against a real rdx-refserver process (TCP and pipe endpoints), and against an
// in-process server for the answers the reference server never gives (exact sizes, the
// session information as sent).

#include <gtest/gtest.h>
#include <rdx/foundation/StringUtility.h>
#include <rdx/platform/SystemInformation.h>
#include <rdx/remote/IServerProxy.h>
#include <rdx/remote/RpcHandle.h>

#include <functional>
#include <memory>
#include <string>
#include <vector>

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

// One row per remote member: its call (a text member's answer, or "true"/"false"), and the
// item it puts in front of the server's text when it fails ("%06X" id, message with S1).
struct Member {
  const char* operation;
  std::function<std::string(IServerProxy&)> call;
  bool text;  // answers the reference server's text rather than true
  std::int32_t id;
  const char* message;
  const char* source = nullptr;  // when not "ServerCore.ServerProxy.<operation>"
};

std::string Yes(bool done) { return done ? "true" : "false"; }

const std::vector<Member>& Members() {
  static const std::vector<Member> members = {
      {"GetInfo", [](IServerProxy& p) { return p.GetInfo("Basic"); }, true, 36612,
       "(S1) : Could not get Server Info"},
      {"GetServiceProviders", [](IServerProxy& p) { return p.GetServiceProviders(); }, true, -1,
       "(S1) : Unknown fatal error occured in 'ServerProxy::GetServiceProviders()'. "},
      {"GetServiceProvidersWithInfo",
       [](IServerProxy& p) { return p.GetServiceProvidersWithInfo(); }, true, 36625,
       "(S1) : Faild to get the service providers"},
      {"GetServiceProviderFor", [](IServerProxy& p) { return p.GetServiceProviderFor("Ortho"); },
       true, 36618, "(S1) : Failed to get the service provider for Ortho"},
      {"GetServiceProviderInfo", [](IServerProxy& p) { return p.GetServiceProviderInfo("Img"); },
       true, 36619, "(S1) : Failed to get info for service provider 'Img'"},
      {"GetServices", [](IServerProxy& p) { return p.GetServices("Img"); }, true, 36620,
       "(S1) : Failed to get services for 'Img'"},
      {"GetServiceInfos", [](IServerProxy& p) { return p.GetServiceInfos("Img"); }, true, 36629,
       "(S1) : Failed to get service infos for 'Img'"},
      // A negative first result is a bad size for this member, not a failed second call.
      {"GetServiceInfo", [](IServerProxy& p) { return p.GetServiceInfo("Ortho", "Img"); }, true,
       36613, "(S1) : Invalid buffer size"},
      {"AddServiceProvider",
       [](IServerProxy& p) { return Yes(p.AddServiceProvider("Img", "<I/>")); }, false, 36614,
       "(S1) : Failed to add service provider 'Img'"},
      {"RemoveServiceProvider", [](IServerProxy& p) { return Yes(p.RemoveServiceProvider("Img")); },
       false, 36615, "(S1) : Failed to remove service provider 'Img'"},
      {"UpdateServiceProviderInfo",
       [](IServerProxy& p) { return Yes(p.UpdateServiceProviderInfo("Img", "<I/>")); }, false,
       36616, "(S1) : Failed to update service provider 'Img'"},
      {"AddServices", [](IServerProxy& p) { return Yes(p.AddServices("Img", "<S/>")); }, false,
       36617, "(S1) : Failed to add services to Img"},
      {"RemoveServices", [](IServerProxy& p) { return Yes(p.RemoveServices("Img", "<S/>")); },
       false, 36624, "(S1) : Failed to remove services to Img"},
      // No error text travels with this operation; its items name GetServiceInfo.
      {"StopServer", [](IServerProxy& p) { return Yes(p.StopServer("now")); }, false, 36621,
       "Failed to stop serve.", "ServerCore.ServerProxy.GetServiceInfo"},
  };
  return members;
}

// Every member over one endpoint: the server's answers arrive unchanged, the status stays
// empty, and each call reached the server's operation of that name once.
void ExerciseEveryMember(RefServerProcess& server, const std::string& endpoint) {
  std::unique_ptr<IServerProxy> proxy(IServerProxy::Create());
  ASSERT_EQ(proxy->Init("localhost", endpoint), 1) << TextOf(proxy->GetStatus());
  EXPECT_DOUBLE_EQ(proxy->GetVersion(), 1.002);
  EXPECT_TRUE(proxy->IsValid());
  for (const Member& member : Members()) {
    SCOPED_TRACE(member.operation);
    EXPECT_EQ(member.call(*proxy), member.text ? Answer(member.operation) : "true");
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
  std::vector<std::string> once = {"OpenSession(S", "QueryText(what", "QueryTextAlt(what",
                                   "PostText(hello", "CloseSession(S"};
  for (const Member& member : Members()) once.push_back(member.operation + std::string("(S"));
  for (const std::string& operation : once) {
    EXPECT_EQ(Count(log, "ServerCoreInterface." + operation), 1u) << operation << "\n" << log;
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
  for (const Member& member : Members()) {
    SCOPED_TRACE(member.operation);
    EXPECT_EQ(member.call(*proxy), member.text ? "" : "false");
    const std::string source =
        member.source ? member.source : std::string("ServerCore.ServerProxy.") + member.operation;
    std::string expected = gul::StringUtility::printToString(
        "[%s : %06X] Error: %s", source.c_str(), member.id, member.message);
    if (member.operation != std::string("StopServer")) {
      expected += "\n[RefServer." + std::string(member.operation) +
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
      {5000, "GetServiceInfo", Members()[7].call, {"n=40000) -> 0"}},
      {5000, "GetServiceProviders", Members()[1].call, {"n=4000) -> 5000", "n=5000) -> 0"}},
      {5000, "QueryText", query, {"n=4000) -> 5000", "n=5000) -> 0"}},
      {40000, "GetServices", Members()[5].call, {"n=40000) -> 0"}},
      {40001, "GetServiceInfo", Members()[7].call, {"n=40000) -> 40001", "n=40001) -> 0"}},
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
    EXPECT_EQ(status.items[0].message,
              "Failed to establish connection with Server on host "
              "'127.0.0.1' at port '" +
                  unserved + "'.");
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
    EXPECT_EQ(
        TextOf(proxy->GetStatus()),
        "[ServerCore.ServerProxy.Init : 008F14] Error: Invalid server string : '" + bad + "'");
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
      {{40000},
       {40000},
       "[ServerCore.ServerProxy.GetServiceInfo : 008F05] Error: (X7) : Invalid "
       "buffer size"},
      {{1},
       {40000},
       "[ServerCore.ServerProxy.GetServiceInfo : 008F05] Error: (X7) : Invalid "
       "buffer size"},
      {{40001}, {40000, 40001}, ""},
      {{40001, 40001},
       {40000, 40001},
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
  manager.refusal =
      "<Status><Item><ID>000005</ID><Source>Core.Sessions</Source><Message>Too "
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
