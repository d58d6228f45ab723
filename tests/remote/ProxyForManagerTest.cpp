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

// A provider configuration; a null host leaves HostMachine out.
std::string Config(const char* host, const std::string& endpoint) {
  std::string children = "<Name>Imaging</Name>";
  if (host != nullptr) children += printToString("<HostMachine>%s</HostMachine>", host);
  children += "<Endpoint>" + endpoint + "</Endpoint>";
  return "<Rendix><ServiceProvider><Config>" + children + "</Config></ServiceProvider></Rendix>";
}

// Every member answered, copies of a connected proxy, then every member cut off by a server
// killed in the middle: results, status items and error texts.
TEST(ProxyForManager, EveryMemberAnswersAndReportsAFailedCall) {
  RefServerProcess server;
  ASSERT_TRUE(server.Started());
  sp::ProxyForManager proxy;
  ASSERT_EQ(proxy.Init(Config("127.0.0.1", server.Endpoint())), 1) << Items(proxy);
  struct Row {
    const char* source;
    std::int32_t id;
    bool hasErrorText;
    std::function<std::string(sp::ProxyForManager&, std::string&)> call;
    std::string answer;
  };
  const Row rows[] = {
      {"GetServiceStates", 38146, true, [](auto& p, auto& e) { return p.GetServiceStates(e); },
       Answer("GetServiceStates")},
      {"UpdateServiceStates", 38147, true,
       [](auto& p, auto& e) { return std::to_string(p.UpdateServiceStates("<States/>", e)); }, "1"},
      {"Synchronize", 38148, false,
       [](auto& p, auto&) { return std::to_string(p.Synchronize("<Sync/>")); }, "1"},
      {"GetInfo", 38149, false, [](auto& p, auto&) { return p.GetInfo(); }, Answer("GetInfo")},
      {"GetDetailedInfo", 38150, false, [](auto& p, auto&) { return p.GetDetailedInfo(); },
       Answer("GetInfo")},
      {"StopServiceProvider", 38150, false,
       [](auto& p, auto&) { return std::to_string(p.StopServiceProvider("shutdown")); }, "1"},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.source);
    std::string errorText = "untouched";
    EXPECT_EQ(row.call(proxy, errorText), row.answer);
    EXPECT_EQ(errorText, "untouched");
    EXPECT_EQ(Items(proxy), "");
  }
  EXPECT_EQ(proxy.GetConnectionInfo(), "");
  const std::string log = server.LogSinceLastMark();
  for (const char* line : {"Ping() -> 1", "GetServiceStates(n=40000) -> 0",
                           "UpdateServiceStates(<States/>) -> 1", "Synchronize(<Sync/>) -> 1",
                           "GetInfo(n=40000) -> 0", "StopServiceProvider(shutdown) -> 1"}) {
    EXPECT_NE(log.find(std::string("ServiceProviderInterface.") + line), std::string::npos)
        << line << "\n"
        << log;
  }

  // Copies own their bindings: they outlive the original's.
  auto original = std::make_unique<sp::ProxyForManager>();
  ASSERT_EQ(original->Init(Config("127.0.0.1", server.Endpoint())), 1);
  original->SetProperty("Role", "manager");
  sp::ProxyForManager copied(*original), assigned, unconnected;
  assigned = *original;
  unconnected = sp::ProxyForManager();
  EXPECT_EQ(original->Close(), 1);
  original.reset();
  for (sp::ProxyForManager* copy : {&copied, &assigned}) {
    EXPECT_EQ(copy->GetInfo(), Answer("GetInfo")) << Items(*copy);
    EXPECT_EQ(copy->GetProperty("Role"), "manager");
    EXPECT_EQ(copy->Close(), 1);
  }
  sp::ProxyForManager& alias = assigned;
  assigned = alias;  // itself: nothing changes, it stays closed
  EXPECT_EQ(assigned.GetInfo(), "");
  EXPECT_EQ(unconnected.GetInfo(), "");

  server.Kill();
  const std::string died = gul::GetLastErrorText(1726);  // the call in flight
  const std::string gone = gul::GetLastErrorText(1722);  // the calls after it
  for (const Row& row : rows) {
    SCOPED_TRACE(row.source);
    std::string errorText = "untouched";
    EXPECT_NE(row.call(proxy, errorText), row.answer);
    const std::string item =
        printToString("[ProxyForManager.%s : %06X] Error: ", row.source, row.id);
    EXPECT_TRUE(Items(proxy) == item + gone || (&row == &rows[0] && Items(proxy) == item + died))
        << Items(proxy);
    EXPECT_EQ(errorText, row.hasErrorText ? proxy.GetStatus().ToString(nullptr) : "untouched");
  }
  EXPECT_EQ(proxy.Close(), 1);
  EXPECT_EQ(proxy.Close(), 1);
}

TEST(ProxyForManager, InitReportsWhyItDidNotConnect) {
  RefServerProcess server;
  RefServerProcess refusing({"--ping", "false"});
  ASSERT_TRUE(server.Started() && refusing.Started());
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
       init + "failed to get handle to serviceprovider on '127.0.0.1' at endpoint 'no-port'; " +
           gul::GetLastErrorText(1706)},
      {"not XML", "<ServiceProvider><Config>", 0, ""},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.name);
    sp::ProxyForManager proxy;
    EXPECT_EQ(proxy.Init(row.config), row.result);
    EXPECT_EQ(Items(proxy), row.items);
    // Not connected after a failure: the calls fail instead of reaching some provider.
    EXPECT_EQ(proxy.GetInfo().empty(), row.result == 0);
  }
}

}  // namespace
}  // namespace rdx::rpc::test
