// rdx-refserver's call log is written by a thread of its own: these check that it still shows
// every call, whole and promptly, under concurrent calls and across a stop.

#include <gtest/gtest.h>

#include <chrono>
#include <regex>
#include <sstream>
#include <string>
#include <thread>
#include <vector>

#include "remote/RefServerChild.h"
#include "remote/TestServer.h"
#include "remote/stubs/ServiceProviderClient.h"

namespace rdx::rpc::test {
namespace {

constexpr const char* kPingLine = "ServiceProviderInterface.Ping() -> 1";

TEST(RefServerLog, EveryCallLoggedWholePromptlyAndBeforeTheStopLines) {
  auto server = RefServerChild::Start({});
  ASSERT_NE(server, nullptr);
  {
    Binding binding("127.0.0.1", server->Endpoint());
    ASSERT_EQ(serviceprovider::Ping(binding.h), 1);
    // No other call follows: the writer must hand the line out on its own.
    EXPECT_TRUE(WaitFor([&] { return server->Log().find(kPingLine) != std::string::npos; },
                        std::chrono::seconds(10)))
        << server->Log();
  }
  constexpr int kClients = 8, kCalls = 250;
  std::vector<std::thread> clients;
  for (int c = 0; c < kClients; ++c) {
    clients.emplace_back([&] {
      Binding binding("127.0.0.1", server->Endpoint());
      for (int i = 0; i < kCalls; ++i) (void)serviceprovider::Ping(binding.h);
    });
  }
  for (std::thread& client : clients) client.join();
  // Stopped at once: lines still gathered in the writer must not be lost.
  EXPECT_EQ(server->Stop(), 0);
  const std::string log = server->Log();
  const std::regex callLine(R"(\w+\.\w+\(.*\) -> -?\d+)");
  std::istringstream lines(log);
  std::size_t pings = 0;
  bool stopping = false;
  for (std::string line; std::getline(lines, line);) {
    if (line.rfind("rdx-refserver: ", 0) == 0) {
      stopping = stopping || line.find("stopping") != std::string::npos;
      continue;
    }
    SCOPED_TRACE(line);
    EXPECT_TRUE(std::regex_match(line, callLine));
    EXPECT_FALSE(stopping) << "a call line after the stop line";
    if (line == kPingLine) ++pings;
  }
  EXPECT_TRUE(stopping);
  EXPECT_EQ(pings, static_cast<std::size_t>(kClients * kCalls + 1));
  EXPECT_EQ(log.back(), '\n');
}

TEST(RefServerLog, LogOffWritesNoCallLines) {
  RefServerChild::Options options;
  options.arguments = {"--log", "false"};
  auto server = RefServerChild::Start(options);
  ASSERT_NE(server, nullptr);
  {
    Binding binding("127.0.0.1", server->Endpoint());
    ASSERT_EQ(serviceprovider::Ping(binding.h), 1);
  }
  EXPECT_EQ(server->Stop(), 0);
  const std::string log = server->Log();
  EXPECT_NE(log.find("rdx-refserver: stopped"), std::string::npos) << log;
  EXPECT_EQ(log.find("Ping"), std::string::npos) << log;
}

}  // namespace
}  // namespace rdx::rpc::test
