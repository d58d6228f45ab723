#include <rdx/foundation/Status.h>
#include <rdx/reporting/Reporter.h>

#include "CountingSink.h"
#include "ReporterTestPeer.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <future>
#include <string>
#include <thread>
#include <vector>

namespace QUORVAN::Rendix::Global {
namespace {

using rdx::test::CountingSink;
using rdx::test::DeliveryJournal;
using namespace std::chrono_literals;

std::vector<std::string> Numbered(const std::string& prefix, int count) {
  std::vector<std::string> lines;
  for (int i = 0; i < count; ++i) lines.push_back(prefix + std::to_string(i));
  return lines;
}

TEST(Reporter, DeliversEveryLineInOrderToSinksInAddressOrder) {
  DeliveryJournal journal;
  CountingSink sinks[2] = {CountingSink(&journal), CountingSink(&journal)};
  CountingSink* low = std::min(&sinks[0], &sinks[1]);
  CountingSink* high = std::max(&sinks[0], &sinks[1]);
  Reporter reporter;
  // Attached high first: delivery order must follow the addresses, not the attachment.
  ASSERT_EQ(reporter.Attach(high), 1);
  ASSERT_EQ(reporter.Attach(low), 1);

  constexpr int kThreads = 4;
  constexpr int kPerThread = 2000;
  std::vector<std::thread> loggers;
  for (int t = 0; t < kThreads; ++t) {
    loggers.emplace_back([&reporter, t] {
      for (const auto& line : Numbered("t" + std::to_string(t) + ":", kPerThread)) {
        reporter.Log(line.c_str());
      }
    });
  }
  for (auto& logger : loggers) logger.join();
  ASSERT_EQ(reporter.WaitForNotifications(), 1);

  for (CountingSink* sink : {low, high}) {
    const auto lines = sink->Lines();
    ASSERT_EQ(lines.size(), static_cast<std::size_t>(kThreads * kPerThread));
    // Each logging thread's lines arrive in the order that thread logged them.
    for (int t = 0; t < kThreads; ++t) {
      SCOPED_TRACE("thread " + std::to_string(t));
      const std::string prefix = "t" + std::to_string(t) + ":";
      std::vector<std::string> mine;
      std::copy_if(lines.begin(), lines.end(), std::back_inserter(mine),
                   [&](const std::string& l) { return l.rfind(prefix, 0) == 0; });
      EXPECT_EQ(mine, Numbered(prefix, kPerThread));
    }
  }
  // Both sinks saw the same sequence, and each line went to the lower address first.
  EXPECT_EQ(low->Lines(), high->Lines());
  ASSERT_EQ(journal.entries.size(), 2u * kThreads * kPerThread);
  for (std::size_t i = 0; i < journal.entries.size(); i += 2) {
    ASSERT_EQ(journal.entries[i].first, low) << "at delivery " << i;
    ASSERT_EQ(journal.entries[i + 1].first, high) << "at delivery " << i;
    ASSERT_EQ(journal.entries[i].second, journal.entries[i + 1].second);
  }
}

TEST(Reporter, DropsSilentlyBeyondTheBoundAndLosesNothingBelowIt) {
  CountingSink sink;
  Reporter reporter;
  reporter.Attach(&sink);
  sink.Shut();
  ASSERT_EQ(reporter.Log("held"), 1);
  ASSERT_TRUE(sink.WaitEntered(1));  // the notifier now holds "held" and takes no more

  const auto lines = Numbered("q", static_cast<int>(Reporter::kMaxPendingLines));
  for (const auto& line : lines) ASSERT_EQ(reporter.Log(line.c_str()), 1);
  EXPECT_EQ(ReporterTestPeer::PendingLines(reporter), Reporter::kMaxPendingLines);
  EXPECT_EQ(ReporterTestPeer::DroppedLines(reporter), 0u);
  for (const char* extra : {"over1", "over2", "over3"}) EXPECT_EQ(reporter.Log(extra), 1);
  EXPECT_EQ(ReporterTestPeer::DroppedLines(reporter), 3u);
  EXPECT_EQ(ReporterTestPeer::PendingLines(reporter), Reporter::kMaxPendingLines);

  sink.Open();
  ASSERT_EQ(reporter.WaitForNotifications(), 1);
  const auto got = sink.Lines();
  ASSERT_EQ(got.size(), Reporter::kMaxPendingLines + 1);
  EXPECT_EQ(got.front(), "held");
  EXPECT_TRUE(std::equal(lines.begin(), lines.end(), got.begin() + 1));
  // Room again: logging works as before.
  reporter.Log("after");
  reporter.WaitForNotifications();
  EXPECT_EQ(sink.Lines().back(), "after");
}

TEST(Reporter, AttachDetachBookkeeping) {
  CountingSink sink;
  Reporter reporter;
  EXPECT_EQ(reporter.Attach(nullptr), 1);
  EXPECT_EQ(reporter.Attach(&sink), 1);
  EXPECT_EQ(reporter.Attach(&sink), 1);  // held once
  reporter.Log("a");
  reporter.Log("b");
  EXPECT_EQ(reporter.Detach(nullptr), 1);  // waits for the drain, changes nothing
  EXPECT_EQ(sink.Lines(), (std::vector<std::string>{"a", "b"}));
  // Logged right before the detach, still delivered: Detach waits for the drain.
  for (const auto& line : Numbered("d", 500)) reporter.Log(line.c_str());
  EXPECT_EQ(reporter.Detach(&sink), 1);  // one detach undoes both attaches
  reporter.Log("late");
  reporter.WaitForNotifications();
  const auto lines = sink.Lines();
  ASSERT_EQ(lines.size(), 502u);
  EXPECT_EQ(lines.back(), "d499");
  EXPECT_EQ(reporter.Detach(&sink), 1);  // absent: ignored
}

TEST(Reporter, ThrowingSinkLosesOnlyThatLine) {
  CountingSink a, b;
  Reporter reporter;
  reporter.Attach(&a);
  reporter.Attach(&b);
  a.ThrowOn("two");
  b.ThrowOn("two");
  for (const char* line : {"one", "two", "three"}) reporter.Log(line);
  reporter.WaitForNotifications();
  for (CountingSink* sink : {&a, &b}) {
    EXPECT_EQ(sink->Lines(), (std::vector<std::string>{"one", "three"}));
  }
}

TEST(Reporter, CloseStopsAndInitRunsAgain) {
  CountingSink sink;
  Reporter reporter;
  for (int cycle = 0; cycle < 3; ++cycle) {
    SCOPED_TRACE("cycle " + std::to_string(cycle));
    ASSERT_EQ(reporter.Attach(&sink), 1);
    reporter.Log("open");
    ASSERT_EQ(reporter.WaitForNotifications(), 1);
    ASSERT_EQ(reporter.Close(), 1);
    EXPECT_EQ(reporter.Close(), 1);  // twice is harmless
    // Closed: lines are dropped, sinks are forgotten, nothing waits.
    EXPECT_EQ(reporter.Log("closed"), 1);
    EXPECT_EQ(reporter.Attach(&sink), 1);
    EXPECT_EQ(reporter.WaitForNotifications(), 1);
    EXPECT_EQ(reporter.Detach(&sink), 1);
    EXPECT_EQ(ReporterTestPeer::PendingLines(reporter), 0u);
    ASSERT_EQ(reporter.Init(), 1);
    EXPECT_EQ(reporter.Init(), 1);  // a second Init does nothing
  }
  // The lines logged while closed were neither delivered nor kept.
  EXPECT_EQ(sink.Lines(), std::vector<std::string>(3, "open"));
  reporter.Log("still there?");
  reporter.WaitForNotifications();
  EXPECT_EQ(sink.Lines().size(), 3u) << "sinks must be re-attached after Init";
}

TEST(Reporter, LinesQueuedAtStopStayForTheNextInit) {
  CountingSink sink;
  Reporter reporter;
  reporter.Attach(&sink);
  sink.Shut();
  reporter.Log("in hand");
  ASSERT_TRUE(sink.WaitEntered(1));
  for (const char* line : {"q1", "q2", "q3"}) reporter.Log(line);
  auto closing = std::async(std::launch::async, [&reporter] { return reporter.Close(); });
  // Release the sink only once Close has asked the notifier to stop.
  for (int i = 0; i < 1000 && !ReporterTestPeer::StopRequested(reporter); ++i) {
    std::this_thread::sleep_for(5ms);
  }
  ASSERT_TRUE(ReporterTestPeer::StopRequested(reporter));
  sink.Open();
  ASSERT_EQ(closing.get(), 1);
  EXPECT_EQ(sink.Lines(), std::vector<std::string>{"in hand"});
  EXPECT_EQ(ReporterTestPeer::PendingLines(reporter), 3u);

  ASSERT_EQ(reporter.Init(), 1);
  reporter.Attach(&sink);
  reporter.WaitForNotifications();
  EXPECT_EQ(sink.Lines(), (std::vector<std::string>{"in hand", "q1", "q2", "q3"}));
}

TEST(Reporter, IdleWaitForNotificationsReturnsPromptly) {
  Reporter reporter;
  // About 50 ms is the design; the bound is generous so a loaded machine cannot fail it.
  for (int i = 0; i < 5; ++i) {
    const auto start = std::chrono::steady_clock::now();
    ASSERT_EQ(reporter.WaitForNotifications(), 1);
    EXPECT_LT(std::chrono::steady_clock::now() - start, 2s);
  }
  // Several threads waiting at once are all released.
  std::vector<std::future<int>> waiters;
  for (int i = 0; i < 4; ++i) {
    waiters.push_back(std::async(std::launch::async, [&] { return reporter.WaitForNotifications(); }));
  }
  for (auto& waiter : waiters) {
    ASSERT_EQ(waiter.wait_for(10s), std::future_status::ready);
    EXPECT_EQ(waiter.get(), 1);
  }
}

TEST(Reporter, SourceAndMessageBecomeOneInformationalItem) {
  CountingSink sink;
  Reporter reporter;
  reporter.Attach(&sink);
  reporter.Log("Server.Start", "Listening on 3982.");
  reporter.Log(nullptr, nullptr);
  reporter.WaitForNotifications();
  const auto lines = sink.Lines();
  ASSERT_EQ(lines.size(), 2u);
  GeneralUtilityLib::Status parsed;
  ASSERT_TRUE(parsed.Append(lines[0]));
  ASSERT_TRUE(parsed.Append(lines[1]));
  ASSERT_EQ(parsed.items.size(), 2u);
  EXPECT_EQ(parsed.items[0].id, 0);
  EXPECT_EQ(parsed.items[0].source, "Server.Start");
  EXPECT_EQ(parsed.items[0].message, "Listening on 3982.");
  EXPECT_EQ(parsed.items[1].source, "");
  EXPECT_EQ(parsed.items[1].message, "");
}

}  // namespace
}  // namespace QUORVAN::Rendix::Global
