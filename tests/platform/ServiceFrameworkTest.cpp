// The service framework against the real thing: the test service program run by hand, and
// run by a systemd the tests boot themselves (SystemdSandbox.h).
#include <rdx/platform/SystemInformation.h>
#include <rdx/platform/WinServiceBase.h>
#include <rdx/platform/WinServiceManager.h>

#include "platform/SystemdSandbox.h"
#include "platform/os/SystemdBus.h"
#include "platform/services/UnitName.h"
#include "support/IsolatedEnvironment.h"
#include "support/WaitFor.h"

#include <gtest/gtest.h>

#include <spawn.h>
#include <sys/statvfs.h>
#include <sys/wait.h>
#include <algorithm>
#include <csignal>
#include <filesystem>
#include <sstream>

extern char** environ;

namespace {

using QUORVAN::Rendix::GeneralUtilityLib::GetHostName;
using QUORVAN::Rendix::GeneralUtilityLib::WinServiceBase;
using QUORVAN::Rendix::GeneralUtilityLib::WinServiceManager;
using rdx::test::ReadFile;
namespace fs = std::filesystem;

const std::string kService = RDX_TEST_SERVICE;
constexpr std::uint32_t kNoState = 0xFFFFFFFF;

// The lines the test service recorded in `path`.
std::vector<std::string> Record(const std::string& path) {
  std::vector<std::string> lines;
  std::istringstream in(ReadFile(path));
  for (std::string line; std::getline(in, line);) lines.push_back(line);
  return lines;
}

bool Has(const std::vector<std::string>& lines, const std::string& line) {
  return std::find(lines.begin(), lines.end(), line) != lines.end();
}

// The last three lines of a record after a stop. systemd sends SIGCONT (continue, control 3)
// along with every stop, at a moment of its own: those lines are left out.
std::vector<std::string> StopLines(const std::string& path) {
  std::vector<std::string> lines = Record(path);
  std::erase(lines, std::string("control 3"));
  return lines.size() < 3 ? lines : std::vector(lines.end() - 3, lines.end());
}
const std::vector<std::string> kStopped = {"control 1", "stop", "exit 0"};

// ---- by hand: no service manager --------------------------------------------------------

pid_t Spawn(const std::vector<std::string>& arguments) {
  std::vector<char*> argv;
  for (const std::string& a : arguments) argv.push_back(const_cast<char*>(a.c_str()));
  argv.push_back(nullptr);
  pid_t pid = -1;
  return posix_spawn(&pid, argv[0], nullptr, nullptr, argv.data(), environ) == 0 ? pid : -1;
}

int ExitStatusOf(pid_t pid) {
  int status = 0;
  if (waitpid(pid, &status, 0) != pid) return -1;
  return WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
}

char ProcessState(pid_t pid) {
  const std::string stat = ReadFile("/proc/" + std::to_string(pid) + "/stat");
  const std::size_t paren = stat.rfind(')');
  return paren != std::string::npos && paren + 2 < stat.size() ? stat[paren + 2] : '?';
}

TEST(ServiceByHand, RunsInTheForegroundIgnoresPauseAndStopsOnSigterm) {
  rdx::test::IsolatedEnvironment env;
  unsetenv("NOTIFY_SOCKET");
  const std::string record = env.Root() + "/record.log";
  const pid_t pid = Spawn({kService, "--record", record, "two words"});
  ASSERT_GT(pid, 0);
  ASSERT_TRUE(rdx::test::WaitFor([&] { return Has(Record(record), "run"); })) << ReadFile(record);
  // Two arguments or fewer from the dispatcher: OnStart sees the command line.
  EXPECT_EQ(Record(record).front(), "start 4 " + kService + "|--record|" + record + "|two words");

  for (const auto& row : {std::pair{SIGTSTP, "control 2"}, std::pair{SIGCONT, "control 3"},
                          std::pair{SIGHUP, "control 4"}}) {
    const char* const control = row.second;
    SCOPED_TRACE(control);
    kill(pid, row.first);
    ASSERT_TRUE(rdx::test::WaitFor([&] { return Has(Record(record), control); }));
    EXPECT_NE(ProcessState(pid), 'T');             // not suspended
    EXPECT_EQ(waitpid(pid, nullptr, WNOHANG), 0);  // still running
  }
  EXPECT_FALSE(Has(Record(record), "stop"));

  kill(pid, SIGTERM);
  EXPECT_EQ(ExitStatusOf(pid), 0);
  EXPECT_EQ(StopLines(record), kStopped);
}

class InertService : public WinServiceBase {
 public:
  bool OnStart(int, char**) override { return started = true; }
  void OnStop() override {}
  bool started = false;
};

TEST(ServiceByHand, NothingHappensBeforeInitAndTheLastObjectIsTheOneServed) {
  InertService first;
  InertService second;
  EXPECT_EQ(WinServiceBase::myPointerToSelf, &second);
  // No registered handler: the report reaches nobody.
  EXPECT_FALSE(second.UpdateService(4));
  // Not initialised: ServiceMain does nothing.
  char name[] = "x";
  char* argv[] = {name, nullptr};
  WinServiceBase::staticServiceMain(1, argv);
  EXPECT_FALSE(second.started);
  InertService copy(second);
  EXPECT_EQ(WinServiceBase::myPointerToSelf, &copy);
}

// ---- under systemd ----------------------------------------------------------------------

// Points the service manager at the sandbox for the life of a test.
struct SandboxEnvironment {
  rdx::test::IsolatedEnvironment env;
  explicit SandboxEnvironment(const rdx::test::SystemdSandbox& sandbox) {
    env.Set("RDX_SYSTEMD_BUS_ADDRESS", sandbox.BusAddress());
    env.Set("RDX_SYSTEMD_UNIT_DIR", sandbox.UnitDir());
  }
};

std::string UnitOf(const std::string& service) {
  return rdx::services::UnitNameOf(service).value_or("");
}

std::string StatusTextOf(const std::string& service) {
  std::uint32_t code = 0;
  auto bus = rdx::os::SystemdBus::OpenLocal(code);
  rdx::os::UnitProperties properties;
  if (bus == nullptr || bus->QueryUnit(UnitOf(service), properties) != 0) return "?";
  return properties.statusText;
}

bool Start(WinServiceManager& manager, std::string& error, std::uint32_t& code) {
  testing::internal::CaptureStdout();
  const bool started = manager.StartTheService(0, nullptr, code, error);
  EXPECT_EQ(testing::internal::GetCapturedStdout(), "Service start pending.\n");
  return started;
}

std::vector<std::string> ListOf(WinServiceManager& manager, std::uint32_t type,
                                std::uint32_t state) {
  std::vector<std::string> names;
  std::string error;
  EXPECT_TRUE(manager.GetListOfServices(names, error, type, state)) << error;
  return names;
}

TEST(ServiceOnSystemd, InstallStartPauseStopReconfigureListUninstall) {
  RDX_USE_SYSTEMD_SANDBOX(sandbox);
  SandboxEnvironment env(*sandbox);
  const std::string name = "Rendix Test/Main \"one\"";
  const std::string record = sandbox->Root() + "/tmp/rdx-main.log";
  const std::string unitFile = sandbox->UnitDir() + "/" + UnitOf(name);
  WinServiceManager manager;
  std::string error;
  ASSERT_TRUE(manager.Init(" LOCALHOST ", name,
                           "\"" + kService + "\" --record /tmp/rdx-main.log \"two words\" 100%",
                           error))
      << error;
  EXPECT_EQ(manager.QueryExitCode(), kNoState);
  ASSERT_TRUE(manager.InstallService(error)) << error;
  EXPECT_TRUE(fs::exists(unitFile));
  EXPECT_EQ(manager.QueryState(), 1u);
  EXPECT_FALSE(manager.InstallService(error));
  EXPECT_EQ(error, "The specified service already exists.");

  std::uint32_t code = 0;
  ASSERT_TRUE(Start(manager, error, code)) << error << " " << code;
  EXPECT_EQ(manager.QueryState(), 4u);
  EXPECT_EQ(StatusTextOf(name), "Running");
  // The unit's command line came through ExecStart's quoting to OnStart unchanged.
  EXPECT_EQ(Record(record).at(0),
            "start 5 " + kService + "|--record|/tmp/rdx-main.log|two words|100%");
  EXPECT_FALSE(manager.StartTheService(0, nullptr, code, error));
  EXPECT_EQ(code, 1056u);
  EXPECT_EQ(error, "An instance of the service is already running.");

  // Pause (SIGTSTP) reaches the handler and changes nothing.
  std::uint32_t openCode = 0;
  ASSERT_EQ(rdx::os::SystemdBus::OpenLocal(openCode)->KillMainProcess(UnitOf(name), SIGTSTP), 0u);
  ASSERT_TRUE(rdx::test::WaitFor([&] { return Has(Record(record), "control 2"); }));
  EXPECT_EQ(manager.QueryState(), 4u);
  EXPECT_EQ(StatusTextOf(name), "Running");

  ASSERT_TRUE(manager.StopTheService(error)) << error;
  ASSERT_TRUE(rdx::test::WaitFor([&] { return manager.QueryState() == 1u; }));
  EXPECT_EQ(StopLines(record), kStopped);
  EXPECT_EQ(manager.QueryExitCode(), 0u);
  EXPECT_FALSE(manager.StopTheService(error));
  EXPECT_EQ(error, "The service has not been started.");

  // Reconfigured: another command line, started at boot; the exit code outlives the process.
  manager.SetBinaryPath("\"" + kService + "\" --record /tmp/rdx-main.log --stop-exit 7");
  manager.SetStartType(2);
  ASSERT_TRUE(manager.ChangeServiceConfiguration(error)) << error;
  EXPECT_NE(ReadFile(unitFile).find("\"--stop-exit\" \"7\""), std::string::npos);
  EXPECT_NE(ReadFile(unitFile).find("Description=Rendix Test/Main \"one\""), std::string::npos);
  const std::string wants = sandbox->UnitDir() + "/multi-user.target.wants/" + UnitOf(name);
  EXPECT_TRUE(fs::is_symlink(wants));
  ASSERT_TRUE(Start(manager, error, code)) << error;
  ASSERT_TRUE(manager.StopTheService(error)) << error;
  ASSERT_TRUE(rdx::test::WaitFor([&] { return manager.QueryState() == 1u; }));
  EXPECT_EQ(manager.QueryExitCode(), 7u);

  EXPECT_TRUE(Has(ListOf(manager, 48, 3), name));
  EXPECT_TRUE(Has(ListOf(manager, 16, 2), name));
  EXPECT_FALSE(Has(ListOf(manager, 48, 1), name));   // not active
  EXPECT_TRUE(Has(ListOf(manager, 48, 1), "dbus"));  // the sandbox's own bus is
  EXPECT_TRUE(ListOf(manager, 1, 3).empty());        // kernel drivers: none here

  ASSERT_TRUE(manager.UninstallService(error)) << error;
  EXPECT_FALSE(fs::exists(unitFile));
  EXPECT_FALSE(fs::is_symlink(wants));
  EXPECT_EQ(manager.QueryState(), kNoState);
  EXPECT_FALSE(manager.UninstallService(error));
  EXPECT_EQ(error, "The specified service does not exist as an installed service.");
  EXPECT_FALSE(Has(ListOf(manager, 48, 3), name));
}

TEST(ServiceOnSystemd, OddNamesRoundTripAndFailedInstallsLeaveNothing) {
  RDX_USE_SYSTEMD_SANDBOX(sandbox);
  SandboxEnvironment env(*sandbox);
  const std::vector<std::string> names = {"RdxOdd a b", "RdxOdd/slash", "RdxOdd \"q\" 'x'",
                                          "RdxOdd \xc3\xa9\xff", "RdxOdd-dash\\back"};
  WinServiceManager manager;
  std::string error;
  for (const std::string& name : names) {
    SCOPED_TRACE(name);
    ASSERT_TRUE(manager.Init(GetHostName(), name, kService, error)) << error;
    ASSERT_TRUE(manager.InstallService(error)) << error;
    EXPECT_EQ(manager.QueryState(), 1u);
  }
  std::vector<std::string> listed = ListOf(manager, 48, 3);
  for (const std::string& name : names) EXPECT_TRUE(Has(listed, name)) << name;

  ASSERT_TRUE(manager.UninstallServiceStartsWith("rdxODD", error)) << error;
  listed = ListOf(manager, 48, 3);
  for (const std::string& name : names) {
    EXPECT_FALSE(Has(listed, name)) << name;
    EXPECT_FALSE(fs::exists(sandbox->UnitDir() + "/" + UnitOf(name))) << name;
  }

  const auto unitFiles = [&] {
    std::vector<std::string> files;
    for (const auto& entry : fs::directory_iterator(sandbox->UnitDir())) {
      files.push_back(entry.path().filename().string());
    }
    std::sort(files.begin(), files.end());
    return files;
  };
  const std::vector<std::string> before = unitFiles();
  // Root writes anywhere it may, so a read-only file system is what refuses it: the sandbox's
  // /usr is this machine's, mounted read-only there. (Checked first, so that nothing could
  // ever be written into the real /usr.)
  const std::string readOnly = sandbox->Root() + "/usr/share";
  struct statvfs info {};
  ASSERT_EQ(statvfs(readOnly.c_str(), &info), 0);
  ASSERT_NE(info.f_flag & ST_RDONLY, 0u);
  const struct {
    const char* label;
    std::string name;
    std::string binary;
    std::string unitDir;
    std::string error;
  } rows[] = {
      {"systemd refuses the program", "RdxBad relative", "relative/program", "",
       "The parameter is incorrect."},
      {"blank program", "RdxBad blank", "  ", "", "The parameter is incorrect."},
      {"name too long", std::string(100, ' '), kService, "",
       "The filename, directory name, or volume label syntax is incorrect."},
      {"unit folder under a file", "RdxBad folder", kService,
       env.env.WriteFile(env.env.Root() + "/plain-file", "x") + "/units",
       "The system cannot find the path specified."},
      {"missing unit folder", "RdxBad missing", kService, env.env.Root() + "/no/such",
       "The system cannot find the path specified."},
      {"read-only unit folder", "RdxBad read-only", kService, readOnly, "Access is denied."},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.label);
    env.env.Set("RDX_SYSTEMD_UNIT_DIR", row.unitDir.empty() ? sandbox->UnitDir() : row.unitDir);
    ASSERT_TRUE(manager.Init("localhost", row.name, row.binary, error)) << error;
    error.clear();
    EXPECT_FALSE(manager.InstallService(error));
    EXPECT_EQ(error, row.error);
    EXPECT_EQ(manager.QueryState(), kNoState);
    EXPECT_EQ(unitFiles(), before);
  }
  EXPECT_FALSE(fs::exists(env.env.Root() + "/no"));
}

// This machine by any name (a failing OnStart on one of them), and another machine.
TEST(ServiceOnSystemd, ThisMachineByAnyNameAndAnotherOverTheRemoteTransport) {
  RDX_USE_SYSTEMD_SANDBOX(sandbox);
  SandboxEnvironment env(*sandbox);
  WinServiceManager manager;
  std::string error;
  for (const std::string& machine :
       {std::string(" LOCALHOST "), std::string("127.0.0.2"), GetHostName(), std::string("")}) {
    SCOPED_TRACE(machine);
    ASSERT_TRUE(manager.Init(machine, "Rendix Test Local", kService, error)) << error;
    EXPECT_TRUE(Has(ListOf(manager, 48, 1), "dbus"));
  }
  // OnStart failing: the start fails, Run is never called, the exit code is kept.
  ASSERT_TRUE(manager.Init("127.0.0.2", "Rendix Test Failing",
                           kService + " --record /tmp/rdx-fail.log --fail-start 42", error));
  ASSERT_TRUE(manager.InstallService(error)) << error;
  std::uint32_t code = 0;
  error = "untouched";
  EXPECT_FALSE(Start(manager, error, code));
  EXPECT_EQ(error, "untouched");
  EXPECT_EQ(manager.QueryState(), 1u);
  EXPECT_EQ(manager.QueryExitCode(), 42u);
  const std::vector<std::string> lines = Record(sandbox->Root() + "/tmp/rdx-fail.log");
  ASSERT_EQ(lines.size(), 2u);
  EXPECT_EQ(lines[0].rfind("start 5 ", 0), 0u);
  EXPECT_EQ(lines[1], "exit 42");
  EXPECT_TRUE(manager.UninstallService(error)) << error;
  // Closed, the handle stays: calls fail on it rather than asking for Init.
  EXPECT_TRUE(manager.Close());
  EXPECT_EQ(manager.QueryState(), kNoState);
  EXPECT_FALSE(manager.InstallService(error));
  EXPECT_EQ(error, "The handle is invalid.");

  // Another machine: ssh (the stand-in) runs systemd-stdio-bridge and the unit file commands
  // inside the sandbox, whose bus and folders are not those the environment names.
  env.env.Set("PATH", std::string(RDX_SYSTEMD_SANDBOX_DIR) + ":" + std::getenv("PATH"));
  env.env.Set("RDX_SANDBOX_LEADER", std::to_string(sandbox->Leader()));
  env.env.Set("RDX_SYSTEMD_BUS_ADDRESS", "unix:path=/nonexistent");
  env.env.Set("RDX_SYSTEMD_UNIT_DIR", env.env.Root() + "/nonexistent");
  const std::string name = "Rendix Test Remote";
  ASSERT_TRUE(manager.Init("sandbox-peer", name, kService + " --record /tmp/rdx-remote.log", error))
      << error;
  ASSERT_TRUE(manager.InstallService(error)) << error;
  EXPECT_TRUE(fs::exists(sandbox->UnitDir() + "/" + UnitOf(name)));
  ASSERT_TRUE(Start(manager, error, code)) << error;
  EXPECT_EQ(manager.QueryState(), 4u);
  ASSERT_TRUE(manager.StopTheService(error)) << error;
  ASSERT_TRUE(rdx::test::WaitFor([&] { return manager.QueryState() == 1u; }));
  manager.SetStartType(4);  // disabled: refuses to start
  ASSERT_TRUE(manager.ChangeServiceConfiguration(error)) << error;
  EXPECT_FALSE(manager.StartTheService(0, nullptr, code, error));
  EXPECT_EQ(code, 1058u);
  ASSERT_TRUE(manager.UninstallService(error)) << error;
  EXPECT_FALSE(fs::exists(sandbox->UnitDir() + "/" + UnitOf(name)));
  EXPECT_EQ(manager.QueryState(), kNoState);

  EXPECT_FALSE(manager.Init("unreachable-peer", name, kService, error));
  EXPECT_EQ(error, "The RPC server is unavailable.");
  EXPECT_FALSE(manager.InstallService(error));
  EXPECT_EQ(error, "Init has not been done");
}

}  // namespace
