#include <rdx/reporting/PipeListener.h>
#include <rdx/reporting/PipeSender.h>
#include <rdx/reporting/Reporter.h>

#include "platform/os/LastError.h"
#include "support/IsolatedEnvironment.h"

#include <gtest/gtest.h>

#include <chrono>
#include <condition_variable>
#include <map>
#include <mutex>
#include <set>
#include <string>
#include <thread>
#include <vector>

namespace QUORVAN::Rendix::Global {
namespace {

using namespace std::chrono_literals;

// Collects what a listener's callback receives, with the receiving thread of each message.
struct Inbox {
  std::mutex lock;
  std::condition_variable arrived;
  std::vector<std::string> messages;
  std::vector<std::thread::id> threads;

  static void Receive(void* context, const std::string& message) {
    auto* inbox = static_cast<Inbox*>(context);
    std::lock_guard guard(inbox->lock);
    inbox->messages.push_back(message);
    inbox->threads.push_back(std::this_thread::get_id());
    inbox->arrived.notify_all();
  }
  bool WaitFor(std::size_t count) {
    std::unique_lock guard(lock);
    return arrived.wait_for(guard, 10s, [&] { return messages.size() >= count; });
  }
  std::vector<std::string> Messages() {
    std::lock_guard guard(lock);
    return messages;
  }
};

class PipeTransport : public ::testing::Test {
 protected:
  void SetUp() override { environment_.Set("RDX_PIPE_DIR", environment_.Root() + "/pipes"); }
  rdx::test::IsolatedEnvironment environment_;
};

TEST_F(PipeTransport, EachMessageArrivesWholeAsOneCallback) {
  Inbox inbox;
  PipeListener listener;
  ASSERT_TRUE(listener.ConnectTo("sizes", &Inbox::Receive, &inbox, "."));
  PipeSender sender;
  ASSERT_TRUE(sender.ConnectTo("sizes", "."));

  struct Case {
    const char* name;
    std::string sent;
    std::string expected;
  };
  auto pattern = [](std::size_t size) {
    std::string text(size, ' ');
    for (std::size_t i = 0; i < size; ++i) text[i] = static_cast<char>('a' + i % 26);
    return text;
  };
  const std::string x8000(8000, 'x');
  const std::vector<Case> cases = {
      {"one byte", "z", "z"},
      {"one chunk exactly", pattern(8000), pattern(8000)},
      {"one byte past a chunk", pattern(8001), pattern(8001)},
      {"three chunks joined", pattern(20000), pattern(20000)},
      {"zero byte ends the first chunk's text", std::string("ab\0cd", 5) + "ef", "ab"},
      {"zero byte in the second chunk", x8000 + std::string("gh\0ij", 5), x8000 + "gh"},
  };
  for (const auto& c : cases) ASSERT_TRUE(sender.SendMessageW(c.sent)) << c.name;
  ASSERT_TRUE(inbox.WaitFor(cases.size()));
  const auto got = inbox.Messages();
  ASSERT_EQ(got.size(), cases.size());
  for (std::size_t i = 0; i < cases.size(); ++i) {
    SCOPED_TRACE(cases[i].name);
    EXPECT_EQ(got[i].size(), cases[i].expected.size());
    EXPECT_TRUE(got[i] == cases[i].expected);
  }
  // Larger than a socket can carry in one message: not a lost connection, so the send still
  // answers true; the connection survives and the next message arrives.
  EXPECT_TRUE(sender.SendMessageW(pattern(1u << 20)));
  ASSERT_TRUE(sender.SendMessageW("next"));
  ASSERT_TRUE(inbox.WaitFor(cases.size() + 1));
  EXPECT_EQ(inbox.Messages().back(), "next");
}

TEST_F(PipeTransport, RestartedListenerMissesOnlyTheMessageAtTheBreak) {
  Inbox first, second;
  PipeSender sender;
  {
    PipeListener listener;
    ASSERT_TRUE(listener.ConnectTo("restart", &Inbox::Receive, &first, "."));
    ASSERT_TRUE(sender.ConnectTo("restart", "."));
    ASSERT_TRUE(sender.SendMessageW("before"));
    ASSERT_TRUE(first.WaitFor(1));
  }  // the listener goes away with its client connection
  PipeListener listener;
  ASSERT_TRUE(listener.ConnectTo("restart", &Inbox::Receive, &second, "."));
  EXPECT_FALSE(sender.SendMessageW("at the break"));
  EXPECT_EQ(rdx::os::GetLastError(), rdx::os::kErrorBrokenPipe);
  EXPECT_TRUE(sender.SendMessageW("after"));
  ASSERT_TRUE(second.WaitFor(1));
  EXPECT_EQ(first.Messages(), std::vector<std::string>{"before"});
  EXPECT_EQ(second.Messages(), std::vector<std::string>{"after"});
}

TEST_F(PipeTransport, ConcurrentClientsAreServedInOrderByTheirOwnThreads) {
  Inbox inbox;
  PipeListener listener;
  ASSERT_TRUE(listener.ConnectTo("clients", &Inbox::Receive, &inbox, "."));
  constexpr int kClients = 2;
  constexpr int kMessages = 300;
  // Both connected before either sends, and kept until everything arrived, so both handler
  // threads are alive at once (thread ids are not reused under the test's feet).
  PipeSender senders[kClients];
  for (auto& sender : senders) ASSERT_TRUE(sender.ConnectTo("clients", "."));
  std::vector<std::thread> clients;
  for (int c = 0; c < kClients; ++c) {
    clients.emplace_back([c, &senders] {
      for (int i = 0; i < kMessages; ++i) {
        ASSERT_TRUE(senders[c].SendMessageW(std::to_string(c) + ":" + std::to_string(i)));
      }
    });
  }
  for (auto& client : clients) client.join();
  ASSERT_TRUE(inbox.WaitFor(kClients * kMessages));

  std::map<int, std::vector<int>> perClient;
  std::map<int, std::set<std::thread::id>> threadsOf;
  {
    std::lock_guard guard(inbox.lock);
    for (std::size_t i = 0; i < inbox.messages.size(); ++i) {
      const std::string& m = inbox.messages[i];
      const int client = std::stoi(m.substr(0, m.find(':')));
      perClient[client].push_back(std::stoi(m.substr(m.find(':') + 1)));
      threadsOf[client].insert(inbox.threads[i]);
    }
  }
  ASSERT_EQ(perClient.size(), static_cast<std::size_t>(kClients));
  for (const auto& [client, numbers] : perClient) {
    SCOPED_TRACE("client " + std::to_string(client));
    ASSERT_EQ(numbers.size(), static_cast<std::size_t>(kMessages));
    for (int i = 0; i < kMessages; ++i) ASSERT_EQ(numbers[i], i);
    EXPECT_EQ(threadsOf[client].size(), 1u);
  }
  EXPECT_NE(*threadsOf[0].begin(), *threadsOf[1].begin());
}

TEST_F(PipeTransport, FailuresReportTheirCause) {
  Inbox inbox;
  PipeListener listener;
  ASSERT_TRUE(listener.ConnectTo("taken", &Inbox::Receive, &inbox, "."));

  struct Case {
    const char* name;
    std::function<bool()> attempt;
    std::uint32_t error;
  };
  PipeSender sender;
  PipeListener other;
  const std::vector<Case> cases = {
      {"send before any connection", [&] { return sender.SendMessageW("x"); },
       rdx::os::kErrorInvalidHandle},
      {"nobody listens", [&] { return sender.ConnectTo("absent", "."); },
       rdx::os::kErrorFileNotFound},
      {"sender to another machine", [&] { return sender.ConnectTo("taken", "elsewhere.example"); },
       rdx::os::kErrorBadNetPath},
      {"listener on another machine",
       [&] { return other.ConnectTo("x", &Inbox::Receive, &inbox, "elsewhere.example"); },
       rdx::os::kErrorBadNetPath},
      {"pipe already served", [&] { return other.ConnectTo("taken", &Inbox::Receive, &inbox, "."); },
       rdx::os::kErrorPipeBusy},
      {"listener already listening",
       [&] { return listener.ConnectTo("second", &Inbox::Receive, &inbox, "."); },
       rdx::os::kErrorPipeBusy},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.name);
    rdx::os::SetLastError(0);
    EXPECT_FALSE(c.attempt());
    EXPECT_EQ(rdx::os::GetLastError(), c.error);
  }
  // The failed send tried to connect again; the pipe it names now exists, so the next works.
  ASSERT_TRUE(sender.ConnectTo("taken", "localhost"));
  EXPECT_TRUE(sender.SendMessageW("reached"));
  ASSERT_TRUE(inbox.WaitFor(1));
}

TEST_F(PipeTransport, StopEndsEveryThreadAndFreesThePipe) {
  Inbox inbox;
  PipeSender idle, busy;
  for (int round = 0; round < 2; ++round) {
    SCOPED_TRACE("round " + std::to_string(round));
    PipeListener listener;
    ASSERT_TRUE(listener.ConnectTo("stop", &Inbox::Receive, &inbox, "."));
    ASSERT_TRUE(idle.ConnectTo("stop", "."));
    ASSERT_TRUE(busy.ConnectTo("stop", "."));
    ASSERT_TRUE(busy.SendMessageW("m"));
    ASSERT_TRUE(inbox.WaitFor(static_cast<std::size_t>(round) + 1));
    // Clients still connected: the handler threads must notice the flag, not the clients.
    listener.Stop();
    EXPECT_TRUE(listener.Close());
    EXPECT_FALSE(busy.SendMessageW("after stop"));
    // Serving again on the same object after Stop and Close.
    ASSERT_TRUE(listener.ConnectTo("stop", &Inbox::Receive, &inbox, "."));
  }  // the destructor stops the second serving without a Stop
}

TEST_F(PipeTransport, SenderForwardsReporterLines) {
  Inbox inbox;
  PipeListener listener;
  ASSERT_TRUE(listener.ConnectTo("reporter", &Inbox::Receive, &inbox, "."));
  PipeSender sender;
  ASSERT_TRUE(sender.ConnectTo("reporter", "."));
  Reporter reporter;
  reporter.Attach(&sender);
  for (const char* line : {"first", "", "second"}) reporter.Log(line);
  reporter.WaitForNotifications();
  ASSERT_TRUE(inbox.WaitFor(2));
  reporter.Close();
  EXPECT_EQ(inbox.Messages(), (std::vector<std::string>{"first", "second"}));
}

}  // namespace
}  // namespace QUORVAN::Rendix::Global
