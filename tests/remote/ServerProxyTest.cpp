// ServerProxy against a real rdx-refserver process (TCP and pipe endpoints), and against an
// in-process server for the answers the reference server never gives (exact sizes, the
// session information as sent).

#include <gmock/gmock.h>
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
namespace gul = QUORVAN::Rendix::GeneralUtilityLib;

// One row per remote member: its call (a text member's answer, or "true"/"false"), and the
// item it puts in front of the server's text when it fails ("%06X" id, message with S1).
struct Member {
  const char* operation;
  std::function<std::string(IServerProxy&)> call;
  bool text;  // answers the reference server's text rather than true
  std::int32_t id;
  const char* message;
};

const std::vector<Member>& Members() {
  static const std::vector<Member> members = {
      {"GetInfo", [](auto& p) { return p.GetInfo("Basic"); }, true, 36612,
       "(S1) : Could not get Server Info"},
      {"GetServiceProviders", [](auto& p) { return p.GetServiceProviders(); }, true, -1,
       "(S1) : Unknown fatal error occured in 'ServerProxy::GetServiceProviders()'. "},
      {"GetServiceProvidersWithInfo", [](auto& p) { return p.GetServiceProvidersWithInfo(); }, true,
       36625, "(S1) : Faild to get the service providers"},
      {"GetServiceProviderFor", [](auto& p) { return p.GetServiceProviderFor("Ortho"); }, true,
       36618, "(S1) : Failed to get the service provider for Ortho"},
      {"GetServiceProviderInfo", [](auto& p) { return p.GetServiceProviderInfo("Img"); }, true,
       36619, "(S1) : Failed to get info for service provider 'Img'"},
      {"GetServices", [](auto& p) { return p.GetServices("Img"); }, true, 36620,
       "(S1) : Failed to get services for 'Img'"},
      {"GetServiceInfos", [](auto& p) { return p.GetServiceInfos("Img"); }, true, 36629,
       "(S1) : Failed to get service infos for 'Img'"},
      // A negative first result is a bad size for this member, not a failed second call.
      {"GetServiceInfo", [](auto& p) { return p.GetServiceInfo("Ortho", "Img"); }, true, 36613,
       "(S1) : Invalid buffer size"},
      {"AddServiceProvider", [](auto& p) { return Yes(p.AddServiceProvider("Img", "<I/>")); },
       false, 36614, "(S1) : Failed to add service provider 'Img'"},
      {"RemoveServiceProvider", [](auto& p) { return Yes(p.RemoveServiceProvider("Img")); }, false,
       36615, "(S1) : Failed to remove service provider 'Img'"},
      {"UpdateServiceProviderInfo",
       [](auto& p) { return Yes(p.UpdateServiceProviderInfo("Img", "<I/>")); }, false, 36616,
       "(S1) : Failed to update service provider 'Img'"},
      {"AddServices", [](auto& p) { return Yes(p.AddServices("Img", "<S/>")); }, false, 36617,
       "(S1) : Failed to add services to Img"},
      {"RemoveServices", [](auto& p) { return Yes(p.RemoveServices("Img", "<S/>")); }, false, 36624,
       "(S1) : Failed to remove services to Img"},
      // No error text travels with this operation; its items name GetServiceInfo.
      {"StopServer", [](auto& p) { return Yes(p.StopServer("now")); }, false, 36621,
       "Failed to stop serve."},
  };
  return members;
}

// Every member over one endpoint: the server's answers arrive unchanged, the status stays
// empty, and each call reached the server's operation of that name once.
void ExerciseEveryMember(RefServerProcess& server, const std::string& endpoint) {
  std::unique_ptr<IServerProxy> proxy(IServerProxy::Create());
  ASSERT_EQ(proxy->Init("localhost", endpoint), 1) << Items(*proxy);
  EXPECT_DOUBLE_EQ(proxy->GetVersion(), 1.002);
  EXPECT_TRUE(proxy->IsValid());
  std::string answer = "before", log;
  for (const Member& member : Members()) {
    SCOPED_TRACE(member.operation);
    EXPECT_EQ(member.call(*proxy), member.text ? Answer(member.operation) : "true");
    EXPECT_EQ(Items(*proxy), "");
  }
  EXPECT_TRUE(proxy->QueryText("what", answer) && answer == Answer("QueryText")) << answer;
  EXPECT_TRUE(proxy->QueryTextAlt("what", answer) && answer == Answer("QueryTextAlt")) << answer;
  EXPECT_TRUE(proxy->PostText("hello"));
  EXPECT_TRUE(proxy->Close());
  EXPECT_TRUE(proxy->Close());  // nothing left to close

  log = server.LogSinceLastMark();
  // GetVersion twice: the ping of the connection, then the version check.
  EXPECT_EQ(Count(log, "ServerCoreInterface.GetVersion("), 2u);
  std::vector<std::string> once = {"OpenSession(S", "QueryText(what", "QueryTextAlt(what",
                                   "PostText(hello", "CloseSession(S"};
  for (const Member& member : Members()) once.push_back(member.operation + std::string("(S"));
  for (const std::string& operation : once) {
    EXPECT_EQ(Count(log, "ServerCoreInterface." + operation), 1u) << operation << "\n" << log;
  }
}

// Both endpoints, the other Init forms, then the server killed in the middle of a session.
TEST(ServerProxy, EveryMemberReachesTheServerOverTcpAndPipe) {
  rdx::test::IsolatedEnvironment environment;
  environment.Set("RDX_PIPE_DIR", environment.Root() + "/pipes");
  RefServerProcess server({"--pipe", "RefProxy"});
  ASSERT_TRUE(server.Started());
  for (const std::string& endpoint : {server.Endpoint(), std::string("\\pipe\\RefProxy")}) {
    SCOPED_TRACE(endpoint);
    ExerciseEveryMember(server, endpoint);
  }
  std::unique_ptr<IServerProxy> proxy(IServerProxy::Create());
  EXPECT_EQ(proxy->Init("127.0.0.1:" + server.Endpoint()), 1) << Items(*proxy);
  QUORVAN::Rendix::Global::NameValueMap map;
  map["hostmachine"] = "127.0.0.1";
  map["ENDPOINT"] = server.Endpoint();
  EXPECT_EQ(proxy->Init(map), 1) << Items(*proxy);
  gul::PropertyLookUp lookUp;
  lookUp["HostMachine"] = "localhost";
  lookUp["Endpoint"] = "/pipe/refproxy";
  EXPECT_EQ(proxy->Init(lookUp), 1) << Items(*proxy);
  EXPECT_EQ(proxy->GetServices("x"), Answer("GetServices"));
  // Each Init closed the session of the one before.
  EXPECT_EQ(Count(server.LogSinceLastMark(), "CloseSession(S"), 2u);

  server.Kill();
  EXPECT_EQ(proxy->GetServiceInfo("Ortho", "Imagery"), "");
  // The session id is whichever the last Init was given.
  EXPECT_THAT(proxy->GetStatus().items.at(0).ToTextString(nullptr),
              ::testing::MatchesRegex("\\[ServerCore\\.ServerProxy\\.GetServiceInfo : 008F13\\] "
                                      "Error: \\(S[0-9]+\\) : Failed to get service info for "
                                      "'Ortho' on 'Imagery'"));
  EXPECT_FALSE(proxy->AddServiceProvider("Imagery", "<Info/>"));
  EXPECT_EQ(proxy->GetStatus().items.at(0).id, 36614);
  std::string answer = "kept";
  EXPECT_FALSE(proxy->QueryText("q", answer));
  EXPECT_EQ(answer, "kept");
  EXPECT_FALSE(proxy->PostText("x"));
  EXPECT_TRUE(proxy->Close());  // the session cannot be ended remotely; the handle goes
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
    const std::string operation = member.operation;
    EXPECT_EQ(member.call(*proxy), member.text ? "" : "false");
    const bool stop = operation == "StopServer";
    std::string expected = gul::StringUtility::printToString(
        "[ServerCore.ServerProxy.%s : %06X] Error: %s", stop ? "GetServiceInfo" : member.operation,
        member.id, member.message);
    if (!stop) expected += "\n[RefServer." + operation + " : 007E01] Error: Unknown session 'S1'";
    EXPECT_EQ(Items(*proxy), expected);
  }
}

// The size protocol as the server sees it: text members offer 40000 bytes first (4000 for
// GetServiceProviders and the queries), and ask once more with exactly the size named.
TEST(ServerProxy, AsksForLongerTextsWithASecondCall) {
  const auto query = [](IServerProxy& p) {
    std::string answer;
    EXPECT_TRUE(p.QueryText("q", answer));
    return answer;
  };
  const struct {
    std::size_t textSize;
    const char* operation;
    std::function<std::string(IServerProxy&)> call;
    std::vector<std::string> calls;  // "n=<offered> -> <result>" in order
  } rows[] = {
      {5000, "GetServiceInfo", Members()[7].call, {"n=40000) -> 0"}},
      {5000, "GetServiceProviders", Members()[1].call, {"n=4000) -> 5000", "n=5000) -> 0"}},
      {5000, "QueryText", query, {"n=4000) -> 5000", "n=5000) -> 0"}},
      {40000, "GetServices", Members()[5].call, {"n=40000) -> 0"}},
      {40001, "GetServiceInfo", Members()[7].call, {"n=40000) -> 40001", "n=40001) -> 0"}},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(std::string(row.operation) + " " + std::to_string(row.textSize));
    RefServerProcess server({"--text-size", std::to_string(row.textSize)});
    std::unique_ptr<IServerProxy> proxy(IServerProxy::Create());
    ASSERT_EQ(proxy->Init("127.0.0.1", server.Endpoint()), 1);
    server.LogSinceLastMark();
    EXPECT_EQ(row.call(*proxy), Answer(row.operation, row.textSize));
    const std::string log = server.LogSinceLastMark();
    EXPECT_EQ(Count(log, "ServerCoreInterface." + std::string(row.operation) + "("),
              row.calls.size());
    std::size_t at = 0;
    for (const std::string& call : row.calls) {
      EXPECT_NE(at = log.find(call, at), std::string::npos) << call << " in\n" << log;
    }
  }
}

TEST(ServerProxy, RefusedConnectionsAndSessionsAreReportedAsItems) {
  const std::string unserved = std::to_string(FreeTcpPort());
  const std::string unavailable = gul::GetLastErrorText(1722);
  const std::string refused = "[ServerCore.ServerProxy.OpenSession : 008F01] Error: Failed to "
                              "establish connection with Server on host '127.0.0.1' at port '";
  gul::Status status;
  void* handle = nullptr;
  EXPECT_FALSE(IServerProxy::TryConnecting("127.0.0.1", unserved, handle, status));
  ASSERT_EQ(status.items.size(), 1u);
  EXPECT_EQ(status.items[0].id, 36609);
  EXPECT_EQ(status.items[0].source, "");
  EXPECT_EQ(status.items[0].message, "Failed to establish connection with Server on host "
                                     "'127.0.0.1' at port '" +
                                         unserved + "'.");
  EXPECT_EQ(status.items[0].details, unavailable);
  EXPECT_TRUE(gul::FreeRpcHandle(handle));  // the handle is left to the caller
  // Any other fault counts as a server answering: the session set-up reports it.
  EXPECT_TRUE(IServerProxy::TryConnecting("127.0.0.1", "not a port", handle, status));
  EXPECT_EQ(status.items.size(), 1u);
  EXPECT_TRUE(gul::FreeRpcHandle(handle));

  std::unique_ptr<IServerProxy> proxy(IServerProxy::Create());
  EXPECT_TRUE(proxy->Close());  // never opened
  EXPECT_EQ(proxy->GetVersion(), 0.0);
  EXPECT_EQ(proxy->Init("127.0.0.1", "not a port"), 0);
  EXPECT_EQ(Items(*proxy), refused + "not a port'.");
  EXPECT_TRUE(proxy->Close());  // not connected after that failure
  EXPECT_EQ(proxy->Init("127.0.0.1:" + unserved), 0);
  EXPECT_EQ(Items(*proxy), refused + unserved + "'.\n" + unavailable);
  // A connection without a session is kept until the next Init.
  EXPECT_FALSE(proxy->Close());
  EXPECT_EQ(proxy->GetInfo("Basic"), "");  // no session: refused, nothing thrown
  EXPECT_EQ(proxy->GetStatus().items.at(0).id, 36612);
  for (const std::string bad : {"", ":"}) {
    EXPECT_EQ(proxy->Init(bad), 0);
    EXPECT_EQ(
        Items(*proxy),
        "[ServerCore.ServerProxy.Init : 008F14] Error: Invalid server string : '" + bad + "'");
  }

  for (const std::string version : {"1.0.0.3", "1.0.0.2 ", "  1.0.0.2"}) {
    SCOPED_TRACE("version '" + version + "'");
    const bool accepted = version != "1.0.0.3";
    RefServerProcess server({"--version", version});
    EXPECT_EQ(proxy->Init("127.0.0.1", server.Endpoint()), accepted ? 1 : 0);
    EXPECT_EQ(Items(*proxy), accepted ? ""
                                      : "[ServerCore.ServerProxy.OpenSession : 008F0E] Error: "
                                        "Incompatible version of Server: version: 1.0.0.3; "
                                        "Compatible version is: 1.0.0.2");
    EXPECT_DOUBLE_EQ(proxy->GetVersion(), accepted ? 1.002 : 0.0);
    // No session was asked for a server of another version.
    EXPECT_EQ(Count(server.LogSinceLastMark(), "OpenSession("), accepted ? 1u : 0u);
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
  const std::string refused = "[ServerCore.ServerProxy.OpenSession : 008F01] Error: Failed to "
                              "establish connection with Server on host 'localhost' at port '";
  const std::string unavailable = gul::GetLastErrorText(1722);
  EXPECT_EQ(Items(*proxy), refused + "3982'.\n" + unavailable + "\n" + refused +
                               "\\pipe\\QUORVANRendix'.\n" + unavailable);

  RefServerProcess server({"--pipe", "QUORVANRendix"});
  ASSERT_TRUE(server.Started());
  EXPECT_EQ(proxy->Init("localhost"), 1) << Items(*proxy);
  EXPECT_EQ(Items(*proxy), "");  // the refused port is not reported
  EXPECT_EQ(proxy->GetServices("Imagery"), Answer("GetServices"));
}

// An in-process server answering what rdx-refserver never does: the session information as
// sent, odd first sizes, a refused session.
class ScriptedServer : public QUORVAN::Rendix::ServerCore::IServerCoreManager {
 public:
  std::int8_t GetVersion(std::string& version) override {
    version = "1.0.0.2";
    return 1;
  }
  std::int8_t OpenSession(const char* sessionInfoXml, std::string& sessionId,
                          std::string& error) override {
    sessionInformation = sessionInfoXml;
    sessionId = "X7";
    error = refusal;
    return refusal.empty() ? 1 : 0;
  }
  std::int32_t GetServiceInfo(const char*, const char*, const char*, std::int32_t n, char* text,
                              std::string&) override {
    offered.push_back(n);
    if (results.empty()) return text[0] = 'x', 0;
    const std::int32_t result = results.front();
    results.erase(results.begin());
    return result;
  }
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

  const std::string badSize =
      "[ServerCore.ServerProxy.GetServiceInfo : 008F05] Error: (X7) : Invalid buffer size";
  const struct {
    std::vector<std::int32_t> results, offered;
    std::string item;  // "" for the answer "x"
  } rows[] = {
      {{40000}, {40000}, badSize},
      {{1}, {40000}, badSize},
      {{40001}, {40000, 40001}, ""},
      {{40001, 40001},
       {40000, 40001},
       "[ServerCore.ServerProxy.GetServiceInfo : 008F13] Error: (X7) : Failed to get service "
       "info for 's' on 'p'"},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.results.front());
    manager.results = row.results;
    manager.offered.clear();
    EXPECT_EQ(proxy->GetServiceInfo("s", "p"), row.item.empty() ? "x" : "");
    EXPECT_EQ(manager.offered, row.offered);
    EXPECT_EQ(Items(*proxy), row.item);
  }

  // A refused session: the proxy's item first, then the server's reasons; not connected.
  manager.refusal = "<Status><Item><ID>000005</ID><Source>Core.Sessions</Source><Message>Too "
                    "many sessions</Message></Item></Status>";
  EXPECT_EQ(proxy->Init("127.0.0.1:" + server.Endpoint()), 0);
  EXPECT_EQ(Items(*proxy), "[ServerCore.ServerProxy.OpenSession : 008F01] Error: Failed to "
                           "establish connection with Server on host '127.0.0.1' at port '" +
                               server.Endpoint() +
                               "'.\n[Core.Sessions : 000005] Error: Too many sessions");
  EXPECT_TRUE(proxy->Close());
}

}  // namespace
}  // namespace rdx::rpc::test
