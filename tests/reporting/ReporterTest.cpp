#include <rdx/foundation/Status.h>
#include <rdx/reporting/Reporter.h>

#include "reporting/ReporterState.h"
#include "support/WaitFor.h"

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <future>
#include <mutex>
#include <stdexcept>
#include <string>
#include <thread>
#include <tuple>
#include <vector>

namespace QUORVAN::Rendix::Global {

// Reads a Reporter's inside: the drop counter and queue length prove the bound without timing,
// the stop flag lets a test act exactly while Close is under way.
struct ReporterTestPeer {
  static std::pair<std::uint64_t, std::size_t> DroppedAndPending(Reporter& reporter) {
    std::lock_guard lock(reporter.state_->queueLock);
    return {reporter.state_->droppedLines, reporter.state_->pending.size()};
  }
  static bool StopRequested(Reporter& reporter) { return reporter.state_->stop.load(); }
};

namespace {

using Lines = std::vector<std::string>;
using namespace std::chrono_literals;

// Records what it receives (also into a journal shared by several sinks), can be held shut so
// lines pile up in the reporter's queue, and can throw on a chosen line.
class CountingSink : public IReporterSink {
 public:
  using Journal = std::vector<std::pair<const void*, std::string>>;
  explicit CountingSink(Journal* journal = nullptr) : journal_(journal) {}
  virtual ~CountingSink() = default;
  void Log(const char* line) override {
    std::unique_lock lock(lock_);
    ++entered_;
    changed_.notify_all();
    changed_.wait(lock, [this] { return open_; });  // held here while shut
    if (throwOn_ == line) throw std::runtime_error("sink failure");
    lines_.emplace_back(line);
    if (journal_) journal_->emplace_back(this, line);  // only the notifier writes it
  }
  void SetOpen(bool open) {  // while shut, lines pile up in the reporter's queue
    std::lock_guard lock(lock_);
    open_ = open;
    changed_.notify_all();
  }
  void ThrowOn(std::string line) {
    std::lock_guard lock(lock_);
    throwOn_ = std::move(line);
  }
  bool WaitEntered(std::size_t n) {  // bounded wait until Log has been entered n times
    std::unique_lock lock(lock_);
    return changed_.wait_for(lock, std::chrono::seconds(10), [&] { return entered_ >= n; });
  }
  std::vector<std::string> Lines() {
    std::lock_guard lock(lock_);
    return lines_;
  }

 private:
  Journal* journal_;
  std::mutex lock_;
  std::condition_variable changed_;
  bool open_ = true;
  std::size_t entered_ = 0;
  std::string throwOn_ = "\x01";
  std::vector<std::string> lines_;
};

Lines Numbered(const std::string& prefix, int count) {
  Lines lines;
  for (int i = 0; i < count; ++i) lines.push_back(prefix + std::to_string(i));
  return lines;
}

TEST(Reporter, DeliversEveryLineInOrderToSinksInAddressOrder) {
  CountingSink::Journal journal;
  CountingSink sinks[2] = {CountingSink(&journal), CountingSink(&journal)};
  Reporter reporter;
  reporter.Attach(&sinks[1]);  // attached high address first: delivery follows the address
  reporter.Attach(&sinks[0]);
  reporter.Attach(&sinks[1]);  // twice: still held once
  std::vector<std::thread> loggers;
  for (int t = 0; t < 3; ++t) {
    loggers.emplace_back([&reporter, t] {
      for (const auto& line : Numbered(std::to_string(t) + ":", 2000)) reporter.Log(line.c_str());
    });
  }
  for (auto& logger : loggers) logger.join();
  ASSERT_EQ(reporter.WaitForNotifications(), 1);

  const Lines lines = sinks[0].Lines();
  EXPECT_EQ(lines, sinks[1].Lines());
  ASSERT_EQ(lines.size(), 6000u);
  for (int t = 0; t < 3; ++t) {  // each thread's lines in the order that thread logged them
    Lines mine;
    for (const auto& line : lines)
      if (line[0] == '0' + t) mine.push_back(line);
    EXPECT_EQ(mine, Numbered(std::to_string(t) + ":", 2000)) << "thread " << t;
  }
  ASSERT_EQ(journal.size(), 12000u);
  for (std::size_t i = 0; i < journal.size(); i += 2) {
    ASSERT_EQ(journal[i].first, &sinks[0]) << i;
    ASSERT_EQ(journal[i + 1].second, journal[i].second) << i;
  }
}

TEST(Reporter, DropsSilentlyBeyondTheBoundAndLosesNothingBelowIt) {
  CountingSink sink;
  Reporter reporter;
  reporter.Attach(&sink);
  sink.SetOpen(false);
  reporter.Log("held");
  ASSERT_TRUE(sink.WaitEntered(1));  // the notifier holds "held" and takes nothing more
  const Lines lines = Numbered("q", static_cast<int>(Reporter::kMaxPendingLines));
  for (const auto& line : lines) reporter.Log(line.c_str());
  EXPECT_EQ(ReporterTestPeer::DroppedAndPending(reporter).first, 0u);
  for (const char* extra : {"over1", "over2", "over3"}) EXPECT_EQ(reporter.Log(extra), 1);
  EXPECT_EQ(ReporterTestPeer::DroppedAndPending(reporter),
            std::make_pair(std::uint64_t{3}, Reporter::kMaxPendingLines));

  sink.SetOpen(true);
  ASSERT_EQ(reporter.WaitForNotifications(), 1);
  reporter.Log("after");  // room again
  reporter.WaitForNotifications();
  Lines expected = lines;
  expected.insert(expected.begin(), "held");
  expected.push_back("after");
  EXPECT_TRUE(sink.Lines() == expected);
}

TEST(Reporter, DetachWaitsForTheDrainAndAFailingSinkLosesOnlyItsLine) {
  CountingSink sink, other;
  Reporter reporter;
  EXPECT_EQ(reporter.Attach(nullptr), 1);
  reporter.Attach(&sink);
  reporter.Attach(&sink);  // attached twice, detached once below: gone
  reporter.Attach(&other);
  other.ThrowOn("b");
  for (const auto& line : Numbered("d", 500)) reporter.Log(line.c_str());
  reporter.Log("b");
  EXPECT_EQ(reporter.Detach(&sink), 1);
  EXPECT_EQ(sink.Lines().size(), 501u) << "Detach returned before the drain";
  reporter.Log("Server.Start", "Listening on 3982.");
  reporter.WaitForNotifications();
  EXPECT_EQ(sink.Lines().size(), 501u);
  const Lines others = other.Lines();
  ASSERT_EQ(others.size(), 501u);
  EXPECT_EQ(others[499], "d499");
  GeneralUtilityLib::Status parsed;  // the two-argument form: one informational item
  ASSERT_TRUE(parsed.Append(others[500]));
  ASSERT_EQ(parsed.items.size(), 1u);
  EXPECT_EQ(std::tie(parsed.items[0].id, parsed.items[0].source, parsed.items[0].message),
            std::make_tuple(0, std::string("Server.Start"), std::string("Listening on 3982.")));
}

TEST(Reporter, CloseDiscardsQueuedLinesAndInitRunsAgain) {
  CountingSink sink;
  Reporter reporter;
  for (int cycle = 0; cycle < 2; ++cycle) {
    SCOPED_TRACE(cycle);
    reporter.Attach(&sink);
    reporter.Log("open");
    reporter.WaitForNotifications();
    ASSERT_EQ(reporter.Close(), 1);
    EXPECT_EQ(reporter.Close(), 1);
    EXPECT_EQ(reporter.Log("closed"), 1);  // dropped, not kept for later
    EXPECT_EQ(reporter.Attach(&sink), 1);  // ignored
    EXPECT_EQ(reporter.WaitForNotifications(), 1);
    ASSERT_EQ(reporter.Init(), 1);
    EXPECT_EQ(reporter.Init(), 1);
  }
  reporter.Log("not attached");  // Close forgot the sink
  reporter.WaitForNotifications();
  EXPECT_EQ(sink.Lines(), Lines(2, "open"));

  // Lines still queued when the stop is seen never reach a sink, not even after Init.
  reporter.Attach(&sink);
  sink.SetOpen(false);
  reporter.Log("in hand");
  ASSERT_TRUE(sink.WaitEntered(3));
  for (const char* line : {"q1", "q2"}) reporter.Log(line);
  auto closing = std::async(std::launch::async, [&reporter] { return reporter.Close(); });
  ASSERT_TRUE(rdx::test::WaitFor([&] { return ReporterTestPeer::StopRequested(reporter); }, 10s));
  sink.SetOpen(true);
  ASSERT_EQ(closing.get(), 1);
  EXPECT_EQ(sink.Lines(), (Lines{"open", "open", "in hand"}));
  EXPECT_EQ(ReporterTestPeer::DroppedAndPending(reporter).second, 0u);
  ASSERT_EQ(reporter.Init(), 1);
  reporter.Attach(&sink);
  reporter.Log("after");
  reporter.WaitForNotifications();
  EXPECT_EQ(sink.Lines(), (Lines{"open", "open", "in hand", "after"}));
}

// Logs a fresh line into its reporter for every line it receives while feeding, so the
// queue is never found empty: other threads that keep logging, made deterministic.
struct FeedingSink : IReporterSink {
  explicit FeedingSink(Reporter& r) : reporter(r) {}
  virtual ~FeedingSink() = default;
  void Log(const char* line) override {
    if (received.fetch_add(1) < 2) first.emplace_back(line);  // only the notifier writes it
    if (feeding.load()) reporter.Log("more");
  }
  Reporter& reporter;
  std::atomic<bool> feeding{true};
  std::atomic<std::uint64_t> received{0};
  Lines first;
};

TEST(Reporter, WaitAndDetachReturnWhileLinesKeepComing) {
  Reporter reporter;
  FeedingSink sink(reporter);
  reporter.Attach(&sink);
  reporter.Log("first");
  reporter.Log("second");
  // The bounds only turn a hang into a failure; each wait needs a handful of deliveries.
  auto waiting = std::async(std::launch::async, [&] { return reporter.WaitForNotifications(); });
  EXPECT_EQ(waiting.wait_for(10s), std::future_status::ready) << "wait held by later lines";
  auto detaching = std::async(std::launch::async, [&] { return reporter.Detach(&sink); });
  EXPECT_EQ(detaching.wait_for(10s), std::future_status::ready) << "detach held by later lines";
  sink.feeding.store(false);  // releases a wait that did not return above
  EXPECT_EQ(waiting.get(), 1);
  EXPECT_EQ(detaching.get(), 1);
  EXPECT_EQ(sink.first, (Lines{"first", "second"}));
  // Detached: what is still queued reaches no sink and feeds nothing more.
  const std::uint64_t received = sink.received.load();
  reporter.Log("after");
  reporter.WaitForNotifications();
  EXPECT_EQ(sink.received.load(), received);
}

// Calls its own reporter from inside Log, which must answer instead of hanging.
struct MeddlingSink : IReporterSink {
  MeddlingSink(Reporter& r, IReporterSink& l) : reporter(r), late(l) {}
  virtual ~MeddlingSink() = default;
  void Log(const char*) override {
    answers = {reporter.WaitForNotifications(), reporter.Attach(&late), reporter.Detach(this),
               reporter.Close()};
  }
  Reporter& reporter;
  IReporterSink& late;
  std::vector<int> answers;
};

TEST(Reporter, WaitsNeverHang) {
  Reporter reporter;
  struct Pair {
    explicit Pair(Reporter& r) : sink(r, late) {}
    MeddlingSink sink;
    CountingSink late;  // the higher address: attached from inside Log, it gets that line too
  } pair(reporter);
  auto& sink = pair.sink;
  reporter.Attach(&sink);
  reporter.Log("line");
  reporter.WaitForNotifications();  // returns once the notifier has ended after that line
  EXPECT_EQ(sink.answers, (std::vector<int>{1, 1, 0, 1}));
  EXPECT_EQ(pair.late.Lines(), Lines{"line"});
  reporter.Log("queued after the stop");  // dropped when Init finishes that Close
  CountingSink after;
  ASSERT_EQ(reporter.Init(), 1);  // starts a fresh notifier
  reporter.Attach(&after);
  reporter.Log("again");
  reporter.WaitForNotifications();
  EXPECT_EQ(after.Lines(), Lines{"again"});

  Reporter idle;  // about 50 ms by design; bounded generously so a loaded machine cannot fail it
  std::vector<std::future<int>> waiters;  // several at once, all released
  for (int i = 0; i < 4; ++i) {
    waiters.push_back(std::async(std::launch::async, [&] { return idle.WaitForNotifications(); }));
  }
  for (auto& waiter : waiters) ASSERT_EQ(waiter.wait_for(2s), std::future_status::ready);
}

}  // namespace
}  // namespace QUORVAN::Rendix::Global
