// The rdxctl program as a user runs it: its verbs against a child rdx-refserver, report pipes,
// status texts and the registry store in a temporary folder; exit codes and messages.

#include <gtest/gtest.h>
#include <rdx/foundation/Status.h>
#include <rdx/reporting/PipeSender.h>

#include <chrono>
#include <csignal>
#include <fstream>
#include <string>
#include <thread>
#include <vector>

#include "remote/RefServerProcess.h"
#include "platform/SystemdSandbox.h"
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
  std::vector<std::string> argv = {"/bin/sh", "-c",
                                   "in=$1 err=$2; shift 2; exec \"$0\" \"$@\" <\"$in\" 2>\"$err\"",
                                   RDXCTL, input, errPath};
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

class Rdxctl : public ::testing::Test {
 protected:
  rdx::test::IsolatedEnvironment env_;
};

TEST_F(Rdxctl, ServerAndProviderVerbsPrintTheReferenceAnswers) {
  RefServerProcess server;
  ASSERT_TRUE(server.Started());
  const std::string at = "127.0.0.1:" + server.Endpoint();
  const struct {
    std::vector<std::string> args;
    std::string out;
  } cases[] = {
      {{"server", at, "version"}, "1.002\n"},
      {{"server", at, "info"}, Answer("GetInfo") + "\n"},
      {{"server", at, "providers"}, Answer("GetServiceProviders") + "\n"},
      {{"server", at, "provider", "Img"}, Answer("GetServiceProviderInfo") + "\n"},
      {{"server", at, "services"}, Answer("GetServices") + "\n"},
      {{"server", at, "services", "Img"}, Answer("GetServices") + "\n"},
      {{"server", at, "service", "Ortho", "Img"}, Answer("GetServiceInfo") + "\n"},
      {{"--json", "server", at, "version"},
       "{\"server\":\"" + at + "\",\"verb\":\"version\",\"version\":1.002}\n"},
      {{"server", at, "providers", "--json"},
       "{\"server\":\"" + at + "\",\"verb\":\"providers\",\"text\":\"" +
           Answer("GetServiceProviders") + "\"}\n"},
      {{"provider", at, "ping"}, "alive\n"},
      {{"provider", at, "info"}, Answer("GetInfo") + "\n"},
      {{"provider", at, "states"}, Answer("GetServiceStates") + "\n"},
      {{"provider", at, "metadata", "Kind", "Request", "--service", "Ortho"},
       Answer("GetServiceMetadata") + "\n"},
      {{"--json", "provider", at, "states"},
       "{\"provider\":\"" + at + "\",\"verb\":\"states\",\"text\":\"" +
           Answer("GetServiceStates") + "\"}\n"},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.args[c.args.size() > 3 ? 2 : 0] + " " + c.args.back());
    const Result result = RunRdxctl(env_, c.args);
    EXPECT_EQ(result.exitCode, 0) << Describe(result);
    EXPECT_EQ(result.out, c.out);
    EXPECT_EQ(result.err, "");
  }
  // The metadata verb closes the session it opened; the server's session verbs open none.
  (void)server.LogSinceLastMark();
  const Result again = RunRdxctl(env_, {"provider", at, "metadata", "K", "R", "--service", "Ortho"});
  EXPECT_EQ(again.exitCode, 0) << Describe(again);
  const std::string log = server.LogSinceLastMark();
  EXPECT_NE(log.find("OpenServiceSession(Ortho"), std::string::npos) << log;
  EXPECT_EQ(Count(log, "CloseSession("), 1u) << log;
}

TEST_F(Rdxctl, StreamWritesTheImageBytesAndReportsRefusals) {
  RefServerProcess server;
  ASSERT_TRUE(server.Started());
  const std::string at = "127.0.0.1:" + server.Endpoint();
  const std::string file = env_.Root() + "/image.raw";
  // 300 x 3 pixels at one byte each: the pattern wraps past 255 several times.
  Result result = RunRdxctl(env_, {"provider", at, "stream", "Ortho", "--aoi", "0,0,10,5", "--size",
                             "300x3", "-o", file});
  ASSERT_EQ(result.exitCode, 0) << Describe(result);
  EXPECT_EQ(result.out, "900 bytes written to " + file + "\n");
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
  const std::string refused = env_.Root() + "/refused.raw";
  result = RunRdxctl(env_, {"provider", at, "stream", "Ortho", "--aoi", "5,0,5,5", "--size", "4x4",
                      "-o", refused});
  EXPECT_EQ(result.exitCode, 1) << Describe(result);
  EXPECT_NE(result.err.find("rdxctl: SetAOI failed"), std::string::npos) << result.err;
  EXPECT_NE(result.err.find("Empty area of interest"), std::string::npos) << result.err;
  EXPECT_EQ(result.out, "");
  EXPECT_FALSE(std::ifstream(refused).good());
  EXPECT_EQ(Count(server.LogSinceLastMark(), "CloseSession"), 1u);
}

TEST_F(Rdxctl, UnreachableOrRefusingPeersFailWithExitCodeOne) {
  const std::string closed = "127.0.0.1:" + std::to_string(FreeTcpPort());
  RefServerProcess refusing({"--ping", "false"});
  ASSERT_TRUE(refusing.Started());
  const std::string noPing = "127.0.0.1:" + refusing.Endpoint();
  const std::vector<std::vector<std::string>> cases = {
      {"server", closed, "version"},
      {"server", closed, "providers", "--json"},
      {"provider", closed, "ping"},
      {"provider", closed, "info"},
      {"provider", closed, "stream", "S", "--aoi", "0,0,1,1", "--size", "2x2", "-o",
       env_.Root() + "/never"},
      {"provider", noPing, "ping"},
  };
  for (const auto& args : cases) {
    SCOPED_TRACE(args[0] + " " + args[1] + " " + args[2]);
    const Result result = RunRdxctl(env_, args);
    EXPECT_EQ(result.exitCode, 1) << Describe(result);
    EXPECT_EQ(result.out, "");
    EXPECT_EQ(result.err.rfind("rdxctl: ", 0), 0u) << result.err;
    EXPECT_NE(result.err.find(args[1]), std::string::npos) << result.err;
  }
  EXPECT_FALSE(std::ifstream(env_.Root() + "/never").good());
}

TEST_F(Rdxctl, BadUsageGivesExitCodeTwoAnErrorLineAndTheUsage) {
  const std::vector<std::vector<std::string>> cases = {
      {},
      {"frobnicate"},
      {"server"},
      {"server", "h"},
      {"provider", "127.0.0.1", "ping"},  // no port
      {"provider", "h:12", "stream", "S", "--aoi", "1,2,3", "--size", "2x2", "-o", "f"},
      {"provider", "h:12", "stream", "S", "--aoi", "1,2,3,4", "--size", "2by2", "-o", "f"},
      {"provider", "h:12", "stream", "S", "--aoi", "1,2,3,4", "--size", "0x2", "-o", "f"},
      {"provider", "h:12", "stream", "S", "--aoi", "1,2,3,4", "--size", "65536x65536", "-o", "f"},
      {"provider", "h:12", "stream", "S", "--aoi", "a,2,3,4", "--size", "2x2", "-o", "f"},
      {"service", "install", "Svc"},  // no --exec
      {"reg", "set", "KEY", "Name"},
      {"status", "pretty"},
  };
  for (const auto& args : cases) {
    std::string line;
    for (const std::string& arg : args) line += arg + " ";
    SCOPED_TRACE(line);
    const Result result = RunRdxctl(env_, args);
    EXPECT_EQ(result.exitCode, 2) << Describe(result);
    EXPECT_EQ(result.out, "");
    EXPECT_EQ(Lines(result.err), 2u) << result.err;
    EXPECT_EQ(result.err.rfind("rdxctl: ", 0), 0u) << result.err;
    EXPECT_NE(result.err.find("\nusage: rdxctl"), std::string::npos) << result.err;
  }
  // Every verb has its help, on standard output, with exit code 0.
  for (const std::vector<std::string>& args :
       std::vector<std::vector<std::string>>{{"--help"},
                                             {"server", "--help"},
                                             {"provider", "h:1", "stream", "--help"},
                                             {"service", "start", "--help"},
                                             {"logs", "listen", "--help"},
                                             {"status", "pretty", "--help"},
                                             {"reg", "list", "--help"}}) {
    SCOPED_TRACE(args[0]);
    const Result result = RunRdxctl(env_, args);
    EXPECT_EQ(result.exitCode, 0) << Describe(result);
    EXPECT_NE(result.out.find("Usage:"), std::string::npos) << result.out;
  }
}

TEST_F(Rdxctl, StatusPrettyGivesTheTextFormOfAFileOrStandardInput) {
  gul::Status status;
  status.Append(0x7E01, "Unknown session 'S9'", "RefServer.SetAOI", "");
  status.Append(36354, "Failed to open service: 'Ortho'.", "ServiceProviderProxy.Open", "x");
  const std::string file = env_.WriteFile(env_.Root() + "/status.xml", status.ToString(nullptr));
  const std::string expected = status.ToTextString(nullptr) + "\n";

  Result result = RunRdxctl(env_, {"status", "pretty", file});
  EXPECT_EQ(result.exitCode, 0) << Describe(result);
  EXPECT_EQ(result.out, expected);
  result = RunRdxctl(env_, {"status", "pretty", "-"}, file);
  EXPECT_EQ(result.exitCode, 0) << Describe(result);
  EXPECT_EQ(result.out, expected);

  const std::string junk = env_.WriteFile(env_.Root() + "/junk.txt", "not xml at all <");
  for (const std::string& path : {junk, env_.Root() + "/missing.xml"}) {
    SCOPED_TRACE(path);
    result = RunRdxctl(env_, {"status", "pretty", path});
    EXPECT_EQ(result.exitCode, 1) << Describe(result);
    EXPECT_EQ(result.err.rfind("rdxctl: ", 0), 0u) << result.err;
  }
}

TEST_F(Rdxctl, RegistrySetGetAndListWithJsonEscaping) {
  // Writes land in the temporary store; keys are matched without case, as registry keys are.
  Result result = RunRdxctl(env_, {"reg", "set", "SOFTWARE\\QUORVAN\\Rendix", "Version", "9.1.0.3"});
  ASSERT_EQ(result.exitCode, 0) << Describe(result);
  result = RunRdxctl(env_, {"reg", "set", "software/quorvan/rendix/Sub", "Odd",
                      "q\"b\\s\tt\x01 \xC3\xA9 \xFF"});
  ASSERT_EQ(result.exitCode, 0) << Describe(result);
  result = RunRdxctl(env_, {"reg", "set", "Software\\Quorvan\\Rendix", "version", "9.2"});
  ASSERT_EQ(result.exitCode, 0) << Describe(result);
  EXPECT_EQ(rdx::test::ReadFile(env_.Root() + "/registry/SOFTWARE/QUORVAN/Rendix/values"), "Version=9.2\n");

  result = RunRdxctl(env_, {"reg", "get", "SOFTWARE\\QUORVAN\\Rendix", "VERSION"});
  EXPECT_EQ(result.exitCode, 0) << Describe(result);
  EXPECT_EQ(result.out, "9.2\n");
  result = RunRdxctl(env_, {"reg", "list", "SOFTWARE\\QUORVAN\\Rendix"});
  EXPECT_EQ(result.out, "Sub\\\nVersion=9.2\n");
  result = RunRdxctl(env_, {"--json", "reg", "list", "SOFTWARE\\QUORVAN\\Rendix\\Sub"});
  EXPECT_EQ(result.exitCode, 0) << Describe(result);
  EXPECT_EQ(result.out,
            "{\"key\":\"SOFTWARE\\\\QUORVAN\\\\Rendix\\\\Sub\",\"subkeys\":[],"
            "\"values\":{\"Odd\":\"q\\\"b\\\\s\\tt\\u0001 \xC3\xA9 \\u00ff\"}}\n");

  const std::vector<std::vector<std::string>> failures = {
      {"reg", "get", "SOFTWARE\\QUORVAN\\Rendix", "Missing"},
      {"reg", "get", "SOFTWARE\\Nowhere", "Version"},
      {"reg", "list", "SOFTWARE\\Nowhere"},
      {"reg", "set", "SOFTWARE\\QUORVAN", "A=B", "x"},
      {"reg", "set", "SOFTWARE\\QUORVAN", "Name", "two\nlines"},
  };
  for (const auto& args : failures) {
    SCOPED_TRACE(args[1] + " " + args[2] + " " + (args.size() > 3 ? args[3] : ""));
    result = RunRdxctl(env_, args);
    EXPECT_EQ(result.exitCode, 1) << Describe(result);
    EXPECT_EQ(Lines(result.err), 1u) << result.err;
  }
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

  Result result = RunRdxctl(env_, {"service", "install", name, "--exec", exec});
  ASSERT_EQ(result.exitCode, 0) << Describe(result);
  result = RunRdxctl(env_, {"service", "install", name, "--exec", exec});
  EXPECT_EQ(result.exitCode, 1) << Describe(result);
  EXPECT_NE(result.err.find("already exists"), std::string::npos) << result.err;
  result = RunRdxctl(env_, {"service", "state", name});
  EXPECT_EQ(result.out, "stopped\n") << Describe(result);

  result = RunRdxctl(env_, {"service", "start", name});
  ASSERT_EQ(result.exitCode, 0) << Describe(result);
  EXPECT_EQ(result.out, "Service start pending.\n" + name + " is running\n");
  result = RunRdxctl(env_, {"--json", "service", "state", name});
  EXPECT_EQ(result.out, "{\"service\":\"" + name + "\",\"verb\":\"state\",\"state\":4,"
                        "\"name\":\"running\"}\n");
  result = RunRdxctl(env_, {"service", "list", "--json"});
  EXPECT_NE(result.out.find("\"" + name + "\""), std::string::npos) << Describe(result);

  result = RunRdxctl(env_, {"service", "stop", name});
  ASSERT_EQ(result.exitCode, 0) << Describe(result);
  // The stop is queued, not awaited: ask until the service reports stopped (bounded).
  for (int i = 0; i < 200 && result.out != "stopped\n"; ++i) {
    std::this_thread::sleep_for(std::chrono::milliseconds(100));
    result = RunRdxctl(env_, {"service", "state", name});
  }
  EXPECT_EQ(result.out, "stopped\n");
  result = RunRdxctl(env_, {"service", "exit-code", name});
  EXPECT_EQ(result.out, "3\n") << Describe(result);

  result = RunRdxctl(env_, {"service", "uninstall", name});
  EXPECT_EQ(result.exitCode, 0) << Describe(result);
  for (const char* verb : {"state", "uninstall", "start"}) {
    SCOPED_TRACE(verb);
    result = RunRdxctl(env_, {"service", verb, name});
    EXPECT_EQ(result.exitCode, 1) << Describe(result);
    EXPECT_EQ(result.err.rfind("rdxctl: ", 0), 0u) << result.err;
  }
}

}  // namespace
}  // namespace rdx::rpc::test
