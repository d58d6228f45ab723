// The rdxctl program as a user runs it: its verbs against a child rdx-refserver, report pipes,
// status texts and the registry store in a temporary folder; exit codes and messages.

#include <gtest/gtest.h>
#include <rdx/foundation/Status.h>
#include <rdx/reporting/PipeSender.h>

#include <chrono>
#include <csignal>
#include <fstream>
#include <optional>
#include <string>
#include <vector>

#include "platform/SystemdSandbox.h"
#include "remote/RefServerProcess.h"
#include "remote/interop/ChildProcess.h"
#include "support/IsolatedEnvironment.h"

namespace rdx::rpc::test {
namespace {

namespace gul = QUORVAN::Rendix::GeneralUtilityLib;

struct Result {
  int exitCode = -1;  // -1: killed after the time limit
  std::string out;
  std::string err;
};

// Runs rdxctl with `args`, standard input from `input` (a file path, or /dev/null), and waits
// at most a minute; a shell sends its errors to a file of their own.
Result RunRdxctl(const rdx::test::IsolatedEnvironment& env, const std::vector<std::string>& args,
                 const std::string& input = "/dev/null") {
  const std::string errPath = env.Root() + "/stderr";
  std::vector<std::string> argv = {
      "/bin/sh", "-c",  "in=$1 err=$2; shift 2; exec \"$0\" \"$@\" <\"$in\" 2>\"$err\"",
      RDXCTL,    input, errPath};
  argv.insert(argv.end(), args.begin(), args.end());
  const os::ChildResult run = os::RunChild(argv, 1 << 20, std::chrono::minutes(1));
  return {run.timedOut ? -1 : run.exitCode, run.output, rdx::test::ReadFile(errPath)};
}

std::string Describe(const Result& result) {
  return "exit " + std::to_string(result.exitCode) + "\nstdout: " + result.out +
         "\nstderr: " + result.err;
}

std::size_t Lines(const std::string& text) {
  std::size_t lines = 0;
  for (char c : text) lines += c == '\n' ? 1 : 0;
  return lines;
}

// One rdxctl run and what it must give: a failure's errors start "rdxctl: "; `out` nullopt is
// not compared.
struct Step {
  std::vector<std::string> args;
  int exitCode;
  std::optional<std::string> out = std::nullopt;
  std::vector<std::string> errHolds = {};  // texts the errors must contain
  std::string outHolds = "";               // a text the output must contain
  std::string input = "/dev/null";
};

class Rdxctl : public ::testing::Test {
 protected:
  // `errLines`: how many lines of errors each step must give, when it is known.
  void Run(const std::vector<Step>& steps, std::optional<std::size_t> errLines = std::nullopt) {
    for (const Step& step : steps) {
      std::string line;
      for (const std::string& arg : step.args) line += arg + " ";
      SCOPED_TRACE(line);
      const Result result = RunRdxctl(env_, step.args, step.input);
      EXPECT_EQ(result.exitCode, step.exitCode) << Describe(result);
      if (step.out) {
        EXPECT_EQ(result.out, *step.out);
      }
      EXPECT_NE(result.out.find(step.outHolds), std::string::npos) << result.out;
      for (const std::string& text : step.errHolds) {
        EXPECT_NE(result.err.find(text), std::string::npos) << result.err;
      }
      if (step.exitCode != 0) {
        EXPECT_EQ(result.err.rfind("rdxctl: ", 0), 0u) << result.err;
      }
      if (errLines == 0u) {
        EXPECT_EQ(result.err, "");
      } else if (errLines) {
        EXPECT_EQ(Lines(result.err), *errLines) << result.err;
      }
    }
  }
  rdx::test::IsolatedEnvironment env_;
};

TEST_F(Rdxctl, ServerAndProviderVerbsPrintTheReferenceAnswers) {
  RefServerProcess server;
  ASSERT_TRUE(server.Started());
  const std::string at = "127.0.0.1:" + server.Endpoint();
  Run(
      {
          {{"server", at, "version"}, 0, "1.002\n"},
          {{"server", at, "info"}, 0, Answer("GetInfo") + "\n"},
          {{"server", at, "providers"}, 0, Answer("GetServiceProviders") + "\n"},
          {{"server", at, "provider", "Img"}, 0, Answer("GetServiceProviderInfo") + "\n"},
          {{"server", at, "services"}, 0, Answer("GetServices") + "\n"},
          {{"server", at, "services", "Img"}, 0, Answer("GetServices") + "\n"},
          {{"server", at, "service", "Ortho", "Img"}, 0, Answer("GetServiceInfo") + "\n"},
          {{"--json", "server", at, "version"},
           0,
           "{\"server\":\"" + at + "\",\"verb\":\"version\",\"version\":1.002}\n"},
          {{"server", at, "providers", "--json"},
           0,
           "{\"server\":\"" + at + "\",\"verb\":\"providers\",\"text\":\"" +
               Answer("GetServiceProviders") + "\"}\n"},
          {{"provider", at, "ping"}, 0, "alive\n"},
          {{"provider", at, "info"}, 0, Answer("GetInfo") + "\n"},
          {{"provider", at, "states"}, 0, Answer("GetServiceStates") + "\n"},
          {{"provider", at, "metadata", "Kind", "Request", "--service", "Ortho"},
           0,
           Answer("GetServiceMetadata") + "\n"},
          {{"--json", "provider", at, "states"},
           0,
           "{\"provider\":\"" + at + "\",\"verb\":\"states\",\"text\":\"" +
               Answer("GetServiceStates") + "\"}\n"},
      },
      0);
  // The metadata verb closes the session it opened; the server's session verbs open none.
  (void)server.LogSinceLastMark();
  const Result again =
      RunRdxctl(env_, {"provider", at, "metadata", "K", "R", "--service", "Ortho"});
  EXPECT_EQ(again.exitCode, 0) << Describe(again);
  const std::string log = server.LogSinceLastMark();
  EXPECT_NE(log.find("OpenServiceSession(Ortho"), std::string::npos) << log;
  EXPECT_EQ(Count(log, "CloseSession("), 1u) << log;
}

TEST_F(Rdxctl, StreamWritesTheImageBytesAndReportsRefusals) {
  RefServerProcess server;
  ASSERT_TRUE(server.Started());
  const std::string at = "127.0.0.1:" + server.Endpoint();
  const std::string file = env_.Root() + "/image.raw", refused = env_.Root() + "/refused.raw";
  // 300 x 3 pixels at one byte each: the pattern wraps past 255 several times.
  Run({{{"provider", at, "stream", "Ortho", "--aoi", "0,0,10,5", "--size", "300x3", "-o", file},
        0,
        "900 bytes written to " + file + "\n"}});
  const std::string image = rdx::test::ReadFile(file);
  ASSERT_EQ(image.size(), 900u);
  for (std::size_t i = 0; i < image.size(); ++i) {
    ASSERT_EQ(static_cast<unsigned char>(image[i]), i % 256) << "byte " << i;
  }
  const std::string log = server.LogSinceLastMark();
  for (const char* call : {"OpenServiceSession", "SetAOI", "ExtractAOI", "StreamImageBuffer",
                           "DoneWithImage", "CloseSession"}) {
    EXPECT_NE(log.find(call), std::string::npos) << call << "\n" << log;
  }
  // An empty area: the provider's refusal on standard error, no file, the session closed.
  Run({{{"provider", at, "stream", "Ortho", "--aoi", "5,0,5,5", "--size", "4x4", "-o", refused},
        1,
        "",
        {"rdxctl: SetAOI failed", "Empty area of interest"}}});
  EXPECT_FALSE(std::ifstream(refused).good());
  EXPECT_EQ(Count(server.LogSinceLastMark(), "CloseSession"), 1u);
}

TEST_F(Rdxctl, UnreachableOrRefusingPeersFailWithExitCodeOne) {
  const std::string closed = "127.0.0.1:" + std::to_string(FreeTcpPort());
  RefServerProcess refusing({"--ping", "false"});
  ASSERT_TRUE(refusing.Started());
  const std::string noPing = "127.0.0.1:" + refusing.Endpoint();
  Run({
      {{"server", closed, "version"}, 1, "", {closed}},
      {{"server", closed, "providers", "--json"}, 1, "", {closed}},
      {{"provider", closed, "ping"}, 1, "", {closed}},
      {{"provider", closed, "info"}, 1, "", {closed}},
      {{"provider", closed, "stream", "S", "--aoi", "0,0,1,1", "--size", "2x2", "-o",
        env_.Root() + "/never"},
       1,
       "",
       {closed}},
      {{"provider", noPing, "ping"}, 1, "", {noPing}},
  });
  EXPECT_FALSE(std::ifstream(env_.Root() + "/never").good());
}

TEST_F(Rdxctl, BadUsageGivesExitCodeTwoAnErrorLineAndTheUsage) {
  std::vector<Step> steps;
  for (std::vector<std::string> args : std::vector<std::vector<std::string>>{
           {},
           {"frobnicate"},
           {"server"},
           {"server", "h"},
           {"provider", "127.0.0.1", "ping"},  // no port
           {"provider", "h:12", "stream", "S", "--aoi", "1,2,3", "--size", "2x2", "-o", "f"},
           {"provider", "h:12", "stream", "S", "--aoi", "1,2,3,4", "--size", "2by2", "-o", "f"},
           {"provider", "h:12", "stream", "S", "--aoi", "1,2,3,4", "--size", "0x2", "-o", "f"},
           {"provider", "h:12", "stream", "S", "--aoi", "1,2,3,4", "--size", "65536x65536", "-o",
            "f"},
           {"provider", "h:12", "stream", "S", "--aoi", "a,2,3,4", "--size", "2x2", "-o", "f"},
           {"service", "install", "Svc"},  // no --exec
           {"reg", "set", "KEY", "Name"},
           {"status", "pretty"}}) {
    steps.push_back({args, 2, "", {"\nusage: rdxctl"}});
  }
  Run(steps, 2);  // the error line and the usage
  steps.clear();
  // Every verb has its help, on standard output, with exit code 0.
  for (std::vector<std::string> args :
       std::vector<std::vector<std::string>>{{"--help"},
                                             {"server", "--help"},
                                             {"provider", "h:1", "stream", "--help"},
                                             {"service", "start", "--help"},
                                             {"logs", "listen", "--help"},
                                             {"status", "pretty", "--help"},
                                             {"reg", "list", "--help"}}) {
    steps.push_back({args, 0, std::nullopt, {}, "Usage:"});
  }
  Run(steps);
}

TEST_F(Rdxctl, StatusPrettyGivesTheTextFormOfAFileOrStandardInput) {
  gul::Status status;
  status.Append(0x7E01, "Unknown session 'S9'", "RefServer.SetAOI", "");
  status.Append(36354, "Failed to open service: 'Ortho'.", "ServiceProviderProxy.Open", "x");
  const std::string file = env_.WriteFile(env_.Root() + "/status.xml", status.ToString(nullptr));
  const std::string expected = status.ToTextString(nullptr) + "\n";
  Run({
      {{"status", "pretty", file}, 0, expected},
      {{"status", "pretty", "-"}, 0, expected, {}, "", file},
      {{"status", "pretty", env_.WriteFile(env_.Root() + "/junk.txt", "not xml at all <")}, 1},
      {{"status", "pretty", env_.Root() + "/missing.xml"}, 1},
  });
}

TEST_F(Rdxctl, RegistrySetGetAndListWithJsonEscaping) {
  // Writes land in the temporary store; keys are matched without case, as registry keys are.
  Run({
      {{"reg", "set", "SOFTWARE\\QUORVAN\\Rendix", "Version", "9.1.0.3"}, 0},
      {{"reg", "set", "software/quorvan/rendix/Sub", "Odd", "q\"b\\s\tt\x01 \xC3\xA9 \xFF"}, 0},
      {{"reg", "set", "Software\\Quorvan\\Rendix", "version", "9.2"}, 0},
  });
  EXPECT_EQ(rdx::test::ReadFile(env_.Root() + "/registry/SOFTWARE/QUORVAN/Rendix/values"),
            "Version=9.2\n");
  Run({
      {{"reg", "get", "SOFTWARE\\QUORVAN\\Rendix", "VERSION"}, 0, "9.2\n"},
      {{"reg", "list", "SOFTWARE\\QUORVAN\\Rendix"}, 0, "Sub\\\nVersion=9.2\n"},
      {{"--json", "reg", "list", "SOFTWARE\\QUORVAN\\Rendix\\Sub"},
       0,
       "{\"key\":\"SOFTWARE\\\\QUORVAN\\\\Rendix\\\\Sub\",\"subkeys\":[],"
       "\"values\":{\"Odd\":\"q\\\"b\\\\s\\tt\\u0001 \xC3\xA9 \\u00ff\"}}\n"},
  });
  Run(
      {
          {{"reg", "get", "SOFTWARE\\QUORVAN\\Rendix", "Missing"}, 1},
          {{"reg", "get", "SOFTWARE\\Nowhere", "Version"}, 1},
          {{"reg", "list", "SOFTWARE\\Nowhere"}, 1},
          {{"reg", "set", "SOFTWARE\\QUORVAN", "A=B", "x"}, 1},
          {{"reg", "set", "SOFTWARE\\QUORVAN", "Name", "two\nlines"}, 1},
      },
      1);
}

TEST_F(Rdxctl, LogsListenPrintsLinesUntilTerminated) {
  env_.Set("RDX_PIPE_DIR", env_.Root() + "/pipes");
  auto listener = rdx::testing::ChildProcess::Start({RDXCTL, "logs", "listen", "RdxctlLog"}, {});
  ASSERT_NE(listener, nullptr);
  ASSERT_TRUE(listener->WaitForLine("listening on pipe 'RdxctlLog'", std::chrono::seconds(20)))
      << listener->Output();
  QUORVAN::Rendix::Global::PipeSender sender;
  ASSERT_TRUE(sender.ConnectTo("RdxctlLog", "."));
  ASSERT_TRUE(sender.SendMessageW("first report line"));
  ASSERT_TRUE(sender.SendMessageW("second, with \"quotes\""));
  EXPECT_TRUE(listener->WaitForLine("first report line", std::chrono::seconds(20)));
  EXPECT_TRUE(listener->WaitForLine("second, with \"quotes\"", std::chrono::seconds(20)))
      << listener->Output();
  sender.Close();
  ASSERT_TRUE(listener->Signal(SIGTERM));
  EXPECT_EQ(listener->Stop(std::chrono::seconds(20)), 0) << listener->Output();
}

// Service verbs against a systemd the test boots (skipped where it cannot boot).
TEST_F(Rdxctl, ServiceVerbsInstallRunQueryAndRemoveAService) {
  RDX_USE_SYSTEMD_SANDBOX(sandbox);
  env_.Set("RDX_SYSTEMD_BUS_ADDRESS", sandbox->BusAddress());
  env_.Set("RDX_SYSTEMD_UNIT_DIR", sandbox->UnitDir());
  const std::string name = "Rdxctl Test";
  const std::string exec = std::string("\"") + RDX_TEST_SERVICE + "\" --stop-exit 3";

  Run({
      {{"service", "install", name, "--exec", exec}, 0},
      {{"service", "install", name, "--exec", exec}, 1, "", {"already exists"}},
      {{"service", "state", name}, 0, "stopped\n"},
      {{"service", "start", name}, 0, "Service start pending.\n" + name + " is running\n"},
      {{"--json", "service", "state", name},
       0,
       "{\"service\":\"" + name + "\",\"verb\":\"state\",\"state\":4,\"name\":\"running\"}\n"},
      {{"service", "list", "--json"}, 0, std::nullopt, {}, "\"" + name + "\""},
      {{"service", "stop", name}, 0},
  });
  // The stop is queued, not awaited: ask until the service reports stopped (bounded).
  EXPECT_TRUE(WaitFor(
      [&] {
        return RunRdxctl(env_, {"service", "state", name}).out == "stopped\n";
      },
      std::chrono::seconds(20)));
  Run({
      {{"service", "exit-code", name}, 0, "3\n"},
      {{"service", "uninstall", name}, 0},
      {{"service", "state", name}, 1},
      {{"service", "uninstall", name}, 1},
      {{"service", "start", name}, 1},
  });
}

}  // namespace
}  // namespace rdx::rpc::test
