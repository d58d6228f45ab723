// ServerProxyForServerManager against rdx-refserver, and its process control against a systemd
// the test boots (tests/platform/SystemdSandbox.h), with the test service program standing in
// for the server's and the providers' programs.

#include <gtest/gtest.h>
#include <rdx/foundation/StringUtility.h>
#include <rdx/platform/SystemInformation.h>
#include <rdx/platform/WinServiceManager.h>
#include <rdx/remote/IServerProxyForServerManager.h>

#include <unistd.h>
#include <filesystem>
#include <fstream>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "platform/SystemdSandbox.h"
#include "remote/RefServerProcess.h"
#include "support/IsolatedEnvironment.h"

namespace rdx::rpc::test {
namespace {

using QUORVAN::Rendix::ServerCore::IServerProxyForServerManager;
namespace gul = QUORVAN::Rendix::GeneralUtilityLib;
namespace fs = std::filesystem;

using Proxy = IServerProxyForServerManager;

struct Member {
  const char* operation;  // as the reference server logs it
  std::function<std::string(Proxy&)> call;
  bool text;
  std::int32_t id;
  const char* message;
  const char* source = nullptr;  // when not "ServerProxyForServerManager.<operation>"
};

const std::vector<Member>& Members() {
  static const std::vector<Member> members = {
      {"GetServerInfo", [](Proxy& p) { return p.GetServerInfo(); }, true, 64260,
       "Could not get the server information"},
      {"GetServerConfigXml", [](Proxy& p) { return p.GetServerConfigXml(); }, true, 64261,
       "Could not get the server configuration"},
      {"UpdateServerConfigXml", [](Proxy& p) { return Yes(p.UpdateServerConfigXml("<C/>")); },
       false, 64262, "Could not update the server configuration"},
      {"CreateServiceProvider",
       [](Proxy& p) { return Yes(p.CreateServiceProvider("Img", "b", "c")); }, false, 64263,
       "Could not create service provider 'Img'"},
      {"GetServiceProviderConfigXml", [](Proxy& p) { return p.GetServiceProviderConfigXml("Img"); },
       true, 64265, "Could not get the configuration of service provider 'Img'", ""},
      {"UpdateServiceProviderConfigXml",
       [](Proxy& p) { return Yes(p.UpdateServiceProviderConfigXml("Img", "<C/>")); }, false, 64266,
       "Could not update the configuration of service provider 'Img'"},
      {"GetServiceProvidersXml", [](Proxy& p) { return p.GetServiceProvidersXml(); }, true, 64267,
       "Could not get the service providers", ""},
      {"GetServicesXml", [](Proxy& p) { return p.GetServicesXml(); }, true, 64270,
       "Could not get the services", "ServerProxyForServerManager.GetServerInfo"},
      {"UpdateServicesXml", [](Proxy& p) { return Yes(p.UpdateServicesXml("<S/>")); }, false, 64271,
       "Could not update the services"},
      {"AddServicesForManager", [](Proxy& p) { return Yes(p.AddServices("Ortho", "b", "c", "d")); },
       false, 64272, "Could not add services 'Ortho'", "ServerProxyForServerManager.AddServices"},
      {"RemoveService", [](Proxy& p) { return Yes(p.RemoveService("Ortho", "Img")); }, false, 64273,
       "Could not remove service 'Ortho'"},
      {"StartService", [](Proxy& p) { return Yes(p.StartService("Ortho")); }, false, 64274,
       "Could not start service 'Ortho'"},
      {"StopService", [](Proxy& p) { return Yes(p.StopService("Ortho")); }, false, 64275,
       "Could not stop service 'Ortho'"},
      {"RefreshService", [](Proxy& p) { return Yes(p.RefreshService("Ortho")); }, false, 64277,
       "Could not refresh service 'Ortho'"},
      {"RefreshAllServices", [](Proxy& p) { return Yes(p.RefreshAllServices()); }, false, 64278,
       "Could not refresh the services"},
  };
  return members;
}

// Every member in a manager session, then against a server that is gone: the member's item
// comes before the transport's.
TEST(ServerProxyForServerManager, EveryRemoteMemberReachesTheServerAndReportsItsFailure) {
  rdx::test::IsolatedEnvironment environment;
  RefServerProcess server;
  ASSERT_TRUE(server.Started());
  std::unique_ptr<Proxy> proxy(Proxy::Create());
  ASSERT_TRUE(proxy->Connect("localhost", server.Endpoint())) << Items(*proxy);
  for (const Member& member : Members()) {
    SCOPED_TRACE(member.operation);
    EXPECT_EQ(member.call(*proxy), member.text ? Answer(member.operation) : "true");
    EXPECT_EQ(Items(*proxy), "");
  }
  const std::string log = server.LogSinceLastMark();
  EXPECT_EQ(Count(log, "ServerCoreInterface.OpenManagerSession("), 1u) << log;
  for (const Member& member : Members()) {
    EXPECT_EQ(Count(log, std::string("ServerCoreInterface.") + member.operation + "(S1"), 1u)
        << member.operation << "\n"
        << log;
  }

  server.Kill();
  for (const Member& member : Members()) {
    SCOPED_TRACE(member.operation);
    EXPECT_EQ(member.call(*proxy), member.text ? "" : "false");
    const gul::Status& status = proxy->GetStatus();
    ASSERT_GE(status.items.size(), 2u) << Items(*proxy);
    EXPECT_EQ(status.items[0].id, member.id);
    EXPECT_EQ(status.items[0].message, member.message);
    EXPECT_EQ(status.items[0].source,
              member.source != nullptr
                  ? std::string(member.source)
                  : std::string("ServerProxyForServerManager.") + member.operation);
  }
}

TEST(ServerProxyForServerManager, ServiceNameComesFromTheDefinitionFile) {
  rdx::test::IsolatedEnvironment environment;
  std::unique_ptr<Proxy> proxy(Proxy::Create());
  const std::string good = environment.WriteFile(
      environment.Root() + "/a.RXCDef",
      "<Definition><Item>Quorvan Rendix Compiled Service</Item><Name>Ortho 2020</Name>"
      "</Definition>");
  EXPECT_EQ(proxy->GetServiceName(good), "Ortho 2020");
  EXPECT_EQ(Items(*proxy), "");
  for (const std::string& bad : {environment.WriteFile(environment.Root() + "/b.RXCDef", "<x"),
                                 environment.Root() + "/missing.RXCDef"}) {
    SCOPED_TRACE(bad);
    EXPECT_EQ(proxy->GetServiceName(bad), "");
    ASSERT_EQ(proxy->GetStatus().items.size(), 1u);
    EXPECT_EQ(proxy->GetStatus().items[0].message, "RXCDef file '" + bad + "' could be corrupt.");
  }
}

// The server and provider programs of a product installation that the sandbox can run: the
// test service under their names, in a folder under the build tree (mounted in the sandbox).
struct Installation {
  rdx::test::IsolatedEnvironment environment;
  std::string home;
  explicit Installation(const rdx::test::SystemdSandbox& sandbox) {
    home = std::string(RDX_BINARY_DIR) + "/test-installation-" + std::to_string(getpid()) + "/";
    fs::create_directories(home + "BIN");
    for (const char* program : {"QUORVANRendix.exe", "QuorvanImageServiceProvider.exe"}) {
      fs::create_symlink(RDX_TEST_SERVICE, home + "BIN/" + program);
    }
    environment.WriteRegistry("SOFTWARE\\QUORVAN\\Rendix", "CommonHome=" + home + "\n");
    environment.Set("RDX_SYSTEMD_BUS_ADDRESS", sandbox.BusAddress());
    environment.Set("RDX_SYSTEMD_UNIT_DIR", sandbox.UnitDir());
  }
  ~Installation() {
    std::error_code ignored;
    fs::remove_all(home, ignored);
  }
};

std::uint32_t StateOf(const std::string& service) {
  gul::WinServiceManager manager;
  std::string error;
  return manager.Init("localhost", service, "", error) ? manager.QueryState() : 0;
}

// Server and provider started, stopped and removed as services; Connect starting the server;
// a missing server program and a missing product registry.
TEST(ServerProxyForServerManager, ServerAndProvidersRunAsServices) {
  RDX_USE_SYSTEMD_SANDBOX(sandbox);
  Installation installation(*sandbox);
  std::unique_ptr<Proxy> proxy(Proxy::Create());

  ASSERT_TRUE(proxy->StartServer("localhost:4111")) << Items(*proxy);
  EXPECT_EQ(StateOf("Quorvan Rendix"), 4u);
  const std::string unit = std::string(sandbox->UnitDir()) + "/Quorvan\\x20Rendix.service";
  const std::string text = rdx::test::ReadFile(unit);
  EXPECT_NE(text.find("ExecStart=\"" + installation.home + "BIN/QUORVANRendix.exe\" \"" +
                      gul::GetHostName() + ";" + gul::GetIPAddress() + "\" \"4111\""),
            std::string::npos)
      << text;
  ASSERT_TRUE(proxy->StopServer("localhost:4111")) << Items(*proxy);

  // A provider: its service starts, then the provider (the reference server) says it is ready.
  RefServerProcess provider;
  ASSERT_TRUE(provider.Started());
  const std::string config = "<Provider><Config><HostMachine>localhost</HostMachine><Endpoint>" +
                             provider.Endpoint() +
                             "</Endpoint><ServerHost>localhost</ServerHost><ServerPort>" +
                             provider.Endpoint() + "</ServerPort></Config></Provider>";
  const std::string service = "Quorvan Image ServiceProvider: " + provider.Endpoint();
  ASSERT_TRUE(proxy->StartServiceProvider(config)) << Items(*proxy);
  EXPECT_EQ(StateOf(service), 4u);
  EXPECT_NE(provider.LogSinceLastMark().find("QueryProviderState"), std::string::npos);

  ASSERT_TRUE(proxy->Connect("localhost", provider.Endpoint())) << Items(*proxy);
  ASSERT_TRUE(proxy->StopServiceProvider(config)) << Items(*proxy);
  ASSERT_TRUE(proxy->DeleteServiceProvider(config)) << Items(*proxy);
  EXPECT_EQ(StateOf(service), 0xFFFFFFFFu);
  const std::string log = provider.LogSinceLastMark();
  EXPECT_NE(log.find("StopServiceProvider(S1"), std::string::npos) << log;
  EXPECT_NE(log.find("DeleteServiceProvider(S1"), std::string::npos) << log;

  // Nobody answers at the server's address: Connect runs the server there.
  EXPECT_EQ(StateOf("Quorvan Rendix"), 1u);
  provider.Kill();
  ASSERT_TRUE(proxy->Connect("localhost", provider.Endpoint())) << Items(*proxy);
  EXPECT_EQ(StateOf("Quorvan Rendix"), 4u);

  // Its program gone, the server's failed start names the missing file.
  const auto uninstall = [](bool stop) {
    gul::WinServiceManager manager;
    std::string error;
    ASSERT_TRUE(manager.Init("localhost", "Quorvan Rendix", "", error));
    EXPECT_TRUE(!stop || manager.StopTheService(error)) << error;
    EXPECT_TRUE(manager.UninstallService(error)) << error;
  };
  uninstall(true);
  fs::remove(installation.home + "BIN/QUORVANRendix.exe");
  EXPECT_FALSE(proxy->StartServer("localhost:4112"));
  ASSERT_FALSE(proxy->GetStatus().items.empty());
  EXPECT_EQ(proxy->GetStatus().items.back().message,
            "Could not Start the Server on 'localhost'. The system could not find thefile:  '" +
                installation.home +
                "BIN/QUORVANRendix.exe' on 'localhost'. Please check if Rendix is installed on "
                "that machine.");
  uninstall(false);

  // No product registry: the common files folder is unknown.
  installation.environment.Set("RDX_REGISTRY_ROOT", installation.environment.Root() + "/none");
  EXPECT_FALSE(proxy->StartServer("localhost"));
  ASSERT_EQ(proxy->GetStatus().items.size(), 1u);
  EXPECT_EQ(proxy->GetStatus().items[0].id, 64283);
}

}  // namespace
}  // namespace rdx::rpc::test
