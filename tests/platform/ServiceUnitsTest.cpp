// The service framework's rules that need no systemd: unit names, unit file lines, the state
// mapping, the start's polling arithmetic and the status messages.
#include <rdx/platform/WinServiceManager.h>

#include "platform/services/ServiceDispatcher.h"
#include "platform/services/ServiceState.h"
#include "platform/services/UnitFile.h"
#include "platform/services/UnitName.h"

#include <gtest/gtest.h>

#include <functional>
#include <vector>

namespace {

using namespace rdx::services;
using QUORVAN::Rendix::GeneralUtilityLib::WinServiceManager;

TEST(ServiceUnitName, EscapesAsSystemdEscapeAndRoundTrips) {
  // Expected names as `systemd-escape` prints them.
  const struct {
    std::string service;
    std::string unit;
  } rows[] = {
      {"a b", "a\\x20b.service"},
      {"a/b", "a-b.service"},
      {"a-b", "a\\x2db.service"},
      {".hidden", "\\x2ehidden.service"},
      {"q\"uo'te", "q\\x22uo\\x27te.service"},
      {"back\\slash", "back\\x5cslash.service"},
      {"\xc3\xa9", "\\xc3\\xa9.service"},
      {"a\377b", "a\\xffb.service"},
      {"Quorvan Image ServiceProvider: %s",
       "Quorvan\\x20Image\\x20ServiceProvider:\\x20\\x25s.service"},
      {"x.y_z:1", "x.y_z:1.service"},
      {"/lead", "-lead.service"},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.service);
    EXPECT_EQ(UnitNameOf(row.service).value_or("?"), row.unit);
    EXPECT_EQ(ServiceNameOf(row.unit), row.service);
  }
  std::string everyByte;
  for (int c = 1; c < 256; ++c) everyByte += static_cast<char>(c);
  const auto unit = UnitNameOf(everyByte.substr(0, 60));
  ASSERT_TRUE(unit.has_value());
  EXPECT_EQ(ServiceNameOf(*unit), everyByte.substr(0, 60));
  EXPECT_EQ(ServiceNameOf(*UnitNameOf(everyByte.substr(128, 60))), everyByte.substr(128, 60));

  EXPECT_FALSE(UnitNameOf("").has_value());
  // 255 bytes at most, ".service" included.
  EXPECT_TRUE(UnitNameOf(std::string(247, 'a')).has_value());
  EXPECT_FALSE(UnitNameOf(std::string(248, 'a')).has_value());
  EXPECT_FALSE(UnitNameOf(std::string(70, ' ')).has_value());  // 4 bytes each
}

TEST(ServiceUnitFile, CommandLinesSplitTheWindowsWayAndQuoteForSystemd) {
  const struct {
    std::string commandLine;
    std::vector<std::string> words;
    std::string execStart;
  } rows[] = {
      {"/opt/x/server", {"/opt/x/server"}, "\"/opt/x/server\""},
      {"  /opt/x/server   -a  b ", {"/opt/x/server", "-a", "b"}, "\"/opt/x/server\" \"-a\" \"b\""},
      {"\"/opt/my dir/server\" \"two words\"",
       {"/opt/my dir/server", "two words"},
       "\"/opt/my dir/server\" \"two words\""},
      {"/s a\\\"b", {"/s", "a\"b"}, "\"/s\" \"a\\\"b\""},
      {"/s \"c:\\dir\\\\\" x", {"/s", "c:\\dir\\", "x"}, "\"/s\" \"c:\\\\dir\\\\\" \"x\""},
      {"/s a\\b", {"/s", "a\\b"}, "\"/s\" \"a\\\\b\""},
      {"/s 100% $HOME", {"/s", "100%", "$HOME"}, "\"/s\" \"100%%\" \"$$HOME\""},
      {"/a$b", {"/a$b"}, "\"/a$b\""},
      {"/s \"\"", {"/s", ""}, "\"/s\" \"\""},
      {"/s \xc3\xa9\t'q'", {"/s", "\xc3\xa9", "'q'"}, "\"/s\" \"\\xc3\\xa9\" \"'q'\""},
      {"/s \"a\nb\"", {"/s", "a\nb"}, "\"/s\" \"a\\x0ab\""},
      {"   ", {}, ""},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.commandLine);
    EXPECT_EQ(SplitCommandLine(row.commandLine), row.words);
    EXPECT_EQ(ExecStartOf(row.commandLine), row.execStart);
  }
  EXPECT_EQ(DescriptionOf("Rendix 100%"), "Rendix 100%%");
  EXPECT_EQ(DescriptionOf("a\nb\xff\xc3\xa9\xe2\x82"), "a?b?\xc3\xa9??");
}

TEST(ServiceUnitFile, NewFileAndReconfigurationKeepOtherLines) {
  const auto text = NewUnitFile("My Service", "/opt/s -x", 16, 3);
  ASSERT_TRUE(text.has_value());
  UnitFileText unit(*text);
  EXPECT_EQ(unit.Get("Unit", "Description").value_or(""), "My Service");
  EXPECT_EQ(unit.Get("Service", "ExecStart").value_or(""), "\"/opt/s\" \"-x\"");
  EXPECT_FALSE(unit.Get("Install", "WantedBy").has_value());
  EXPECT_FALSE(unit.Get("Unit", "RefuseManualStart").has_value());
  EXPECT_FALSE(NewUnitFile("x", "  ", 16, 3).has_value());

  // A hand-edited file: its own lines survive, duplicates of a key collapse into one.
  UnitFileText edited(*text + "Environment=A=1\nExecStart=/old\n");
  ApplyConfiguration(edited, "/new \"a b\"", 32, 2);
  EXPECT_EQ(edited.Get("Service", "ExecStart").value_or(""), "\"/new\" \"a b\"");
  EXPECT_EQ(edited.Text().find("/old"), std::string::npos);
  EXPECT_EQ(edited.Get("Service", "Environment").value_or(""), "A=1");
  EXPECT_EQ(edited.Get("Service", "X-Rendix-ServiceType").value_or(""), "32");
  EXPECT_EQ(edited.Get("Install", "WantedBy").value_or(""), "multi-user.target");

  ApplyConfiguration(edited, "", 16, 4);  // blank path: the program stays
  EXPECT_EQ(edited.Get("Service", "ExecStart").value_or(""), "\"/new\" \"a b\"");
  EXPECT_EQ(edited.Get("Unit", "RefuseManualStart").value_or(""), "yes");
  EXPECT_FALSE(edited.Get("Install", "WantedBy").has_value());
  EXPECT_EQ(edited.Get("Service", "X-Rendix-StartType").value_or(""), "4");
  // Keys are found in their own section only.
  EXPECT_FALSE(edited.Get("Unit", "ExecStart").has_value());
}

TEST(ServiceState, UnitStatesReadAsServiceStates) {
  const struct {
    const char* activeState;
    bool job;
    std::uint32_t state;
  } rows[] = {
      {"active", false, kRunning},
      {"reloading", false, kRunning},
      {"activating", false, kStartPending},
      {"deactivating", false, kStopPending},
      {"deactivating", true, kStopPending},
      {"inactive", false, kStopped},
      {"failed", false, kStopped},
      {"inactive", true, kStartPending},
      {"failed", true, kStartPending},
      {"maintenance", false, kStopped},
      {"", false, kStopped},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(std::string(row.activeState) + (row.job ? " with job" : ""));
    EXPECT_EQ(StateOf(row.activeState, row.job), row.state);
  }
}

TEST(ServiceStartPolling, IntervalIsATenthOfTheWaitHintWithinOneToTenSeconds) {
  const std::pair<std::uint32_t, std::uint32_t> rows[] = {
      {30000, 3000}, {5000, 1000},  {200000, 10000}, {0, 1000},
      {10000, 1000}, {10010, 1001}, {100000, 10000}, {0xFFFFFFFF, 10000}};
  for (const auto& [hint, interval] : rows) {
    SCOPED_TRACE(hint);
    EXPECT_EQ(PollIntervalMs(hint), interval);
  }
  EXPECT_EQ(WaitHintMs(30'000'000), 30000u);
  EXPECT_EQ(WaitHintMs(UINT64_MAX), 0xFFFFFFFFu);  // "infinity"
}

// The loop against scripted statuses and a clock that moves only when it sleeps, started near
// the wrap as GetTickCount can be.
TEST(ServiceStartPolling, LoopEndsOnRunningOnStalledWaitHintAndOnFailedQuery) {
  using Status = StartProbe::Status;
  const std::string stalled = "No progress made within the wait hint";
  const struct {
    const char* label;
    std::vector<Status> statuses;  // the first is the loop's start, then successive queries
    std::size_t failAt;            // query number that fails
    std::vector<std::uint32_t> sleeps;
    std::vector<std::string> logs;
    std::uint32_t finalState;
  } rows[] = {
      {"running after two polls of a 30 s hint",
       {{kStartPending, 0, 30000}, {kStartPending, 0, 30000}, {kRunning, 0, 30000}},
       9,
       {3000, 3000},
       {},
       kRunning},
      // 5000 ms passed is not "more than" the hint: a sixth sleep.
      {"no progress within a 5 s hint",
       {{kStartPending, 0, 5000}},
       9,
       std::vector<std::uint32_t>(6, 1000),
       {stalled},
       kStartPending},
      // 2 sleeps to pass 2000 ms, then 3 more after the progress.
      {"a rising check point restarts the clock",
       {{kStartPending, 0, 2000}, {kStartPending, 0, 2000}, {kStartPending, 1, 2000}},
       9,
       std::vector<std::uint32_t>(5, 1000),
       {"The service is making progress...", stalled},
       kStartPending},
      {"a failed query", {{kStartPending, 0, 200000}}, 1, {10000, 10000}, {}, kStartPending},
      {"stopped never sleeps", {{kStopped, 0, 30000}}, 0, {}, {}, kStopped},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.label);
    std::size_t queries = 0;
    std::uint32_t now = 0xFFFFF000;
    std::vector<std::uint32_t> sleeps;
    std::vector<std::string> logs;
    StartProbe probe;
    probe.query = [&](Status& status) {
      if (queries == row.failAt) return false;
      status = row.statuses[std::min(++queries, row.statuses.size() - 1)];
      return true;
    };
    probe.sleepMs = [&](std::uint32_t ms) { sleeps.push_back(ms), now += ms; };
    probe.tickCount = [&] { return now; };
    probe.log = [&](const std::string& line) { logs.push_back(line); };
    Status status = row.statuses.front();
    WaitWhileStartPending(probe, status);
    EXPECT_EQ(status.state, row.finalState);
    EXPECT_EQ(sleeps, row.sleeps);
    EXPECT_EQ(logs, row.logs);
  }
}

TEST(ServiceStatusText, StatesBecomeNotifyMessages) {
  const struct {
    StatusReport report;
    const char* text;
  } rows[] = {
      {{2, 0, 0}, "STATUS=Start pending"},
      {{4, 0, 0}, "READY=1\nSTATUS=Running"},
      {{3, 0, 0}, "STOPPING=1\nSTATUS=Stop pending"},
      {{1, 0, 0}, "STATUS=Stopped"},
      {{1, 0, 42}, "STATUS=Stopped (exit code 0, service code 42)"},
      {{7, 0, 0}, "STATUS=Paused"},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.text);
    EXPECT_EQ(NotifyText(row.report), row.text);
  }
}

TEST(ServiceManager, EveryOperationNeedsInit) {
  WinServiceManager manager;
  std::uint32_t code = 77;
  std::vector<std::string> names;
  const std::function<bool(std::string&)> operations[] = {
      [&](std::string& e) { return manager.StartTheService(0, nullptr, code, e); },
      [&](std::string& e) { return manager.InstallService(e); },
      [&](std::string& e) { return manager.UninstallService(e); },
      [&](std::string& e) { return manager.StopTheService(e); },
      [&](std::string& e) { return manager.ChangeServiceConfiguration(e); },
      [&](std::string& e) { return manager.GetListOfServices(names, e, 48, 3); },
      [&](std::string& e) { return manager.UninstallServiceStartsWith("x", e); },
  };
  for (const auto& operation : operations) {
    std::string error;
    EXPECT_FALSE(operation(error));
    EXPECT_EQ(error, "Init has not been done");
  }
  EXPECT_EQ(code, 77u);
  EXPECT_EQ(manager.QueryState(), 0xFFFFFFFFu);
  EXPECT_EQ(manager.QueryExitCode(), 0xFFFFFFFFu);
  EXPECT_TRUE(manager.Close());
}

}  // namespace
