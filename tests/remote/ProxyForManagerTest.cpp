// ProxyForManager against rdx-refserver as a child process over loopback TCP: the
// configuration it connects from, every member's answers and failures, and copies that
// each own their binding.

#include <gtest/gtest.h>

#include <rdx/foundation/StringUtility.h>
#include <rdx/platform/SystemInformation.h>
#include <rdx/remote/ProxyForManager.h>

#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "remote/RefServerProcess.h"

namespace rdx::rpc::test {
namespace {

namespace sp = QUORVAN::Rendix::ServiceProvider;
namespace gul = QUORVAN::Rendix::GeneralUtilityLib;
using gul::StringUtility::printToString;

std::string Items(sp::ProxyForManager& proxy) { return proxy.GetStatus().ToTextString(nullptr); }

std::string Answer(const std::string& operation) {
  std::string text = operation;
  text.resize(64, '.');
  return text;
}

// A provider configuration; a null host leaves HostMachine out.
std::string Config(const char* host, const std::string& endpoint) {
  std::string children = "<Name>Imaging</Name>";
  if (host != nullptr) children += printToString("<HostMachine>%s</HostMachine>", host);
  children += "<Endpoint>" + endpoint + "</Endpoint>";
  return "<Rendix><ServiceProvider><Config>" + children +
         "</Config></ServiceProvider></Rendix>";
}

TEST(ProxyForManager, ManagesTheProviderItIsConfiguredFor) {
  RefServerProcess server;
  ASSERT_TRUE(server.Started());
  sp::ProxyForManager proxy;
  ASSERT_EQ(proxy.Init(Config("127.0.0.1", server.Endpoint())), 1) << Items(proxy);

  std::string errorText = "untouched";
  EXPECT_EQ(proxy.GetServiceStates(errorText), Answer("GetServiceStates"));
  EXPECT_EQ(proxy.UpdateServiceStates("<States><Ortho>Running</Ortho></States>", errorText), 1);
  EXPECT_EQ(errorText, "untouched");
  EXPECT_EQ(proxy.Synchronize("<Sync/>"), 1);
  EXPECT_EQ(proxy.GetInfo(), Answer("GetInfo"));
  EXPECT_EQ(proxy.GetDetailedInfo(), Answer("GetInfo"));
  EXPECT_EQ(proxy.GetConnectionInfo(), "");
  EXPECT_EQ(proxy.StopServiceProvider("shutdown"), 1);
  EXPECT_EQ(Items(proxy), "");

  const std::string log = server.LogSinceLastMark();
  for (const char* line : {"ServiceProviderInterface.Ping() -> 1",
                           "ServiceProviderInterface.GetServiceStates(n=40000) -> 0",
                           "ServiceProviderInterface.UpdateServiceStates(<States><Ortho>",
                           "ServiceProviderInterface.Synchronize(<Sync/>) -> 1",
                           "ServiceProviderInterface.GetInfo(n=40000) -> 0",
                           "ServiceProviderInterface.StopServiceProvider(shutdown) -> 1"}) {
    EXPECT_NE(log.find(line), std::string::npos) << line << "\n" << log;
  }
  EXPECT_EQ(proxy.Close(), 1);
  EXPECT_EQ(proxy.Close(), 1);
}

TEST(ProxyForManager, InitReportsWhyItDidNotConnect) {
  RefServerProcess server;
  RefServerProcess refusing({"--ping", "false"});
  ASSERT_TRUE(server.Started());
  ASSERT_TRUE(refusing.Started());
  struct Row {
    const char* name;
    std::string config;
    int result;
    std::string items;
  };
  const std::string init = "[ServiceProvider.ProxyForManager.Init : 009501] Error: ";
  const Row rows[] = {
      // No HostMachine: the empty host is this machine.
      {"no host", Config(nullptr, server.Endpoint()), 1, ""},
      {"host", Config("localhost", server.Endpoint()), 1, ""},
      {"ping false", Config("127.0.0.1", refusing.Endpoint()), 0,
       init + "Access denied on ServiceProvider on '127.0.0.1'."},
      {"no such endpoint", Config("127.0.0.1", "no-port"), 0,
       init + "failed to get handle to serviceprovider on '127.0.0.1' at endpoint 'no-port'; "},
      {"not XML", "<ServiceProvider><Config>", 0, ""},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.name);
    sp::ProxyForManager proxy;
    EXPECT_EQ(proxy.Init(row.config), row.result);
    if (row.name == std::string("no such endpoint")) {
      // The run time's reason follows the "; ".
      EXPECT_EQ(Items(proxy).rfind(row.items, 0), 0u) << Items(proxy);
    } else {
      EXPECT_EQ(Items(proxy), row.items);
    }
    // Not connected after a failure: the calls fail instead of reaching some provider.
    EXPECT_EQ(proxy.GetInfo().empty(), row.result == 0);
  }
}

TEST(ProxyForManager, CopiesOwnTheirBindings) {
  RefServerProcess server;
  ASSERT_TRUE(server.Started());
  auto original = std::make_unique<sp::ProxyForManager>();
  ASSERT_EQ(original->Init(Config("127.0.0.1", server.Endpoint())), 1);
  original->SetProperty("Role", "manager");

  sp::ProxyForManager copied(*original);
  sp::ProxyForManager assigned;
  sp::ProxyForManager unconnected;
  assigned = *original;
  unconnected = sp::ProxyForManager();
  EXPECT_EQ(original->Close(), 1);
  original.reset();  // the copies' handles outlive the original's

  for (sp::ProxyForManager* proxy : {&copied, &assigned}) {
    EXPECT_EQ(proxy->GetInfo(), Answer("GetInfo")) << Items(*proxy);
    EXPECT_EQ(proxy->GetProperty("Role"), "manager");
    EXPECT_EQ(proxy->Close(), 1);
  }
  sp::ProxyForManager& alias = assigned;
  assigned = alias;  // itself: still connected
  EXPECT_EQ(assigned.GetInfo(), "");  // closed above, and stays so
  EXPECT_EQ(unconnected.GetInfo(), "");
}

TEST(ProxyForManager, EveryMemberReportsAFailedCall) {
  RefServerProcess server;
  ASSERT_TRUE(server.Started());
  sp::ProxyForManager proxy;
  ASSERT_EQ(proxy.Init(Config("127.0.0.1", server.Endpoint())), 1);
  server.Kill();

  struct Row {
    const char* source;
    std::int32_t id;
    bool hasErrorText;
    std::function<bool(sp::ProxyForManager&, std::string&)> call;  // true = succeeded
  };
  const Row rows[] = {
      {"GetServiceStates", 38146, true,
       [](auto& p, std::string& e) { return !p.GetServiceStates(e).empty(); }},
      {"UpdateServiceStates", 38147, true,
       [](auto& p, std::string& e) { return p.UpdateServiceStates("<States/>", e) == 1; }},
      {"Synchronize", 38148, false, [](auto& p, std::string&) { return p.Synchronize("") == 1; }},
      {"GetInfo", 38149, false, [](auto& p, std::string&) { return !p.GetInfo().empty(); }},
      {"GetDetailedInfo", 38150, false,
       [](auto& p, std::string&) { return !p.GetDetailedInfo().empty(); }},
      {"StopServiceProvider", 38150, false,
       [](auto& p, std::string&) { return p.StopServiceProvider("") == 1; }},
  };
  const std::string died = gul::GetLastErrorText(1726);
  const std::string gone = gul::GetLastErrorText(1722);
  for (const Row& row : rows) {
    SCOPED_TRACE(row.source);
    std::string errorText = "untouched";
    EXPECT_FALSE(row.call(proxy, errorText));
    ASSERT_EQ(proxy.GetStatus().items.size(), 1u) << Items(proxy);
    const gul::StatusItem& item = proxy.GetStatus().items[0];
    EXPECT_EQ(item.id, row.id);
    EXPECT_EQ(item.source, std::string("ProxyForManager.") + row.source);
    EXPECT_TRUE(item.message == gone || (&row == &rows[0] && item.message == died))
        << item.message;
    EXPECT_EQ(errorText, row.hasErrorText ? proxy.GetStatus().ToString(nullptr) : "untouched");
  }
}

}  // namespace
}  // namespace rdx::rpc::test
