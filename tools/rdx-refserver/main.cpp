// rdx-refserver: serves the server, service-provider and automatic-binding interfaces with
// fixed, documented answers, so that client developers and the test suite have a peer that
// always says the same thing.
//
//   rdx-refserver --tcp PORT [--pipe NAME] [--text-size N] [--version TEXT]
//                 [--ping true|false] [--log true|false]
//
// Serves until SIGTERM (or SIGINT), logging one line per call on standard error (unless
// --log false, which exists to measure what the log costs).

#include <rdx/remote/IServerAutoBindManager.h>
#include <rdx/remote/IServerCoreManager.h>
#include <rdx/remote/IServiceProviderManager.h>
#include <rdx/remote/RpcListener.h>

#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <string_view>
#include <vector>

#include <signal.h>

#include "RefAnswers.h"
#include "RefServerCore.h"
#include "RefServiceProvider.h"

namespace {

namespace core = QUORVAN::Rendix::ServerCore;
namespace provider = QUORVAN::Rendix::ServiceProvider;
namespace gul = QUORVAN::Rendix::GeneralUtilityLib;

// Text answers are built in memory per call; this keeps a typo from asking for gigabytes.
constexpr unsigned long kMaxTextSize = 64UL * 1024 * 1024;
constexpr unsigned long kDefaultTextSize = 64;

struct Options {
  std::string tcpPort;
  std::string pipeName;
  unsigned long textSize = kDefaultTextSize;
  std::string version = "1.0.0.2";
  bool pingAnswer = true;
  bool logCalls = true;
};

int Usage(const char* why) {
  std::fprintf(stderr,
               "rdx-refserver: %s\n"
               "usage: rdx-refserver --tcp PORT [--pipe NAME] [--text-size N] [--version TEXT]"
               " [--ping true|false] [--log true|false]\n"
               "  --tcp PORT       serve ncacn_ip_tcp on this port (1-65535)\n"
               "  --pipe NAME      also serve ncacn_np on \\pipe\\NAME\n"
               "  --text-size N    bytes of every text answer (default 64, at most %lu)\n"
               "  --version TEXT   what GetVersion writes (default 1.0.0.2, at most 99 bytes)\n"
               "  --ping false     the service provider's Ping answers false (default true)\n"
               "  --log false      no call log on standard error (default true)\n",
               why, kMaxTextSize);
  return 2;
}

bool ParseNumber(std::string_view text, unsigned long maximum, unsigned long& value) {
  if (text.empty() || text.size() > 10) return false;
  unsigned long parsed = 0;
  for (char c : text) {
    if (c < '0' || c > '9') return false;
    parsed = parsed * 10 + static_cast<unsigned long>(c - '0');
  }
  if (parsed > maximum) return false;
  value = parsed;
  return true;
}

// Returns 0 when the options are usable, otherwise the exit code after the usage text.
int ParseOptions(int argc, char** argv, Options& options) {
  for (int i = 1; i < argc; ++i) {
    const std::string_view name = argv[i];
    if (name == "--help" || name == "-h") return Usage("fixed-answer reference server");
    if (i + 1 >= argc) return Usage("missing value after an option");
    const std::string_view value = argv[++i];
    unsigned long number = 0;
    if (name == "--tcp") {
      if (!ParseNumber(value, 65535, number) || number == 0) return Usage("bad TCP port");
      options.tcpPort = std::string(value);
    } else if (name == "--pipe") {
      if (value.empty() || value.find_first_of("/\\") != std::string_view::npos) {
        return Usage("bad pipe name");
      }
      options.pipeName = std::string(value);
    } else if (name == "--text-size") {
      if (!ParseNumber(value, kMaxTextSize, number)) return Usage("bad text size");
      options.textSize = number;
    } else if (name == "--version") {
      // Clients offer 100 bytes for the answer.
      if (value.size() > 99) return Usage("version text longer than 99 bytes");
      options.version = std::string(value);
    } else if (name == "--ping") {
      if (value != "true" && value != "false") return Usage("--ping takes true or false");
      options.pingAnswer = value == "true";
    } else if (name == "--log") {
      if (value != "true" && value != "false") return Usage("--log takes true or false");
      options.logCalls = value == "true";
    } else {
      return Usage("unknown option");
    }
  }
  if (options.tcpPort.empty()) return Usage("--tcp PORT is required");
  return 0;
}

struct Endpoint {
  std::string endpoint;
  std::string protocolSequence;
};

}  // namespace

int main(int argc, char** argv) {
  Options options;
  if (const int code = ParseOptions(argc, argv, options); code != 0) return code;

  // Blocked before any RPC thread exists, so every thread inherits the mask and the signals
  // wait for sigwait below instead of interrupting a call.
  sigset_t stopSignals;
  sigemptyset(&stopSignals);
  sigaddset(&stopSignals, SIGTERM);
  sigaddset(&stopSignals, SIGINT);
  pthread_sigmask(SIG_BLOCK, &stopSignals, nullptr);
  std::signal(SIGPIPE, SIG_IGN);

  rdx::refserver::RefAnswers answers(static_cast<std::uint32_t>(options.textSize),
                                     options.logCalls);
  rdx::refserver::RefServerCore coreManager(answers, options.version);
  rdx::refserver::RefServiceProvider providerManager(answers, options.pingAnswer);
  rdx::refserver::RefServerAutoBind autoBindManager(answers);

  std::vector<void*> interfaceSpecs = {
      core::CreateServerCoreInterfaceSpec(&coreManager),
      provider::CreateServiceProviderInterfaceSpec(&providerManager),
      core::CreateServerAutoBindInterfaceSpec(&autoBindManager)};
  std::vector<Endpoint> endpoints = {{options.tcpPort, "ncacn_ip_tcp"}};
  if (!options.pipeName.empty()) {
    endpoints.push_back({"\\pipe\\" + options.pipeName, "ncacn_np"});
  }

  int exitCode = 0;
  std::size_t started = 0;  // interfaces registered on at least one endpoint
  for (void* interfaceSpec : interfaceSpecs) {
    bool registered = false;
    for (const Endpoint& where : endpoints) {
      std::string errorText;
      std::int32_t rpcStatus = 0;
      // An interface description that could not be made is refused with a status of its own.
      if (!gul::StartRpcListener(interfaceSpec, where.endpoint, where.protocolSequence, errorText,
                                 rpcStatus)) {
        std::fprintf(stderr, "rdx-refserver: cannot listen on %s %s: %d %s\n",
                     where.protocolSequence.c_str(), where.endpoint.c_str(),
                     static_cast<int>(rpcStatus), errorText.c_str());
        exitCode = 1;
        break;
      }
      registered = true;
    }
    if (registered) ++started;
    if (exitCode != 0) break;
  }

  if (exitCode == 0) {
    std::fprintf(stderr, "rdx-refserver: listening on ncacn_ip_tcp port %s%s%s, text size %lu\n",
                 options.tcpPort.c_str(), options.pipeName.empty() ? "" : ", ncacn_np \\pipe\\",
                 options.pipeName.c_str(), options.textSize);
    int received = 0;
    sigwait(&stopSignals, &received);
    answers.FlushLog();  // the calls served so far come before the stop lines
    std::fprintf(stderr, "rdx-refserver: signal %d, stopping\n", received);
  }

  // The first stop ends listening for all interfaces; the later ones only unregister, so
  // their false answers are expected and not reported.
  for (std::size_t i = 0; i < started; ++i) {
    std::string ignored;
    (void)gul::StopRpcListener(interfaceSpecs[i], ignored);
  }
  core::DestroyServerCoreInterfaceSpec(interfaceSpecs[0]);
  provider::DestroyServiceProviderInterfaceSpec(interfaceSpecs[1]);
  core::DestroyServerAutoBindInterfaceSpec(interfaceSpecs[2]);
  answers.FlushLog();
  if (exitCode == 0) std::fprintf(stderr, "rdx-refserver: stopped\n");
  return exitCode;
}
