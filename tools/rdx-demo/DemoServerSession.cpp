// A client's session end to end against rdx-refserver started as a child process on
// loopback: ServerProxy opens a session and registers a provider, ServiceProviderProxy opens
// a service session, sets an area of interest and streams an image buffer into a block of
// the buffer pool. Each step is reported through a Reporter to the console.
#include <fcntl.h>
#include <poll.h>
#include <rdx/application/ExportedFunctions.h>
#include <rdx/foundation/StringUtility.h>
#include <rdx/platform/IBufferAllocator.h>
#include <rdx/platform/PropertyLookUp.h>
#include <rdx/remote/IServerProxy.h>
#include <rdx/remote/ServiceProviderProxy.h>
#include <rdx/reporting/ConsoleHandler.h>
#include <rdx/reporting/Reporter.h>
#include <signal.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <cstdio>
#include <filesystem>
#include <memory>
#include <random>
#include <string>
#include <vector>

#include "DemoSection.h"

extern char** environ;

namespace {

using QUORVAN::Rendix::Global::ConsoleHandler;
using QUORVAN::Rendix::Global::IObject;
using QUORVAN::Rendix::Global::Reporter;
using QUORVAN::Rendix::ServerCore::IServerProxy;
using QUORVAN::Rendix::ServiceProvider::ServiceProviderProxy;
namespace gul = QUORVAN::Rendix::GeneralUtilityLib;

constexpr const char* kSource = "Demo.ServerSession";

// rdx-refserver beside this program, serving one loopback port until it is sent SIGTERM.
class RefServerChild {
 public:
  // Tries a few ports below the ephemeral range; false when none could be served.
  bool Start() {
    const std::string program =
        (std::filesystem::read_symlink("/proc/self/exe").parent_path() / "rdx-refserver").string();
    std::mt19937 random(std::random_device{}());
    std::uniform_int_distribution<int> ports(20000, 32000);
    for (int attempt = 0; attempt < 10; ++attempt) {
      port_ = std::to_string(ports(random));
      if (Spawn({program, "--tcp", port_}) && WaitForListening()) return true;
      Stop();
    }
    return false;
  }
  ~RefServerChild() { Stop(); }

  const std::string& Port() const { return port_; }

  // SIGTERM, then its exit; the call log it wrote is returned.
  std::string Stop() {
    if (pid_ > 0) {
      kill(pid_, SIGTERM);
      ReadUntil("rdx-refserver: stopped", std::chrono::seconds(10));
      int status = 0;
      waitpid(pid_, &status, 0);
      pid_ = -1;
    }
    if (output_ >= 0) close(output_);
    output_ = -1;
    return std::move(log_);
  }

 private:
  bool Spawn(const std::vector<std::string>& argv) {
    int ends[2];
    if (pipe2(ends, O_CLOEXEC) != 0) return false;
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_adddup2(&actions, ends[1], 1);
    posix_spawn_file_actions_adddup2(&actions, ends[1], 2);
    std::vector<char*> args;
    for (const std::string& arg : argv) args.push_back(const_cast<char*>(arg.c_str()));
    args.push_back(nullptr);
    const int spawned = posix_spawn(&pid_, args[0], &actions, nullptr, args.data(), environ);
    posix_spawn_file_actions_destroy(&actions);
    close(ends[1]);
    output_ = ends[0];
    if (spawned != 0) pid_ = -1;
    return spawned == 0;
  }

  bool WaitForListening() { return ReadUntil("listening on", std::chrono::seconds(20)); }

  // Reads the child's output into log_ until `needle` shows, the output ends or time runs out.
  bool ReadUntil(const std::string& needle, std::chrono::milliseconds timeout) {
    const auto deadline = std::chrono::steady_clock::now() + timeout;
    while (log_.find(needle) == std::string::npos) {
      const auto left = std::chrono::duration_cast<std::chrono::milliseconds>(
          deadline - std::chrono::steady_clock::now());
      pollfd ready{output_, POLLIN, 0};
      if (left.count() <= 0 || poll(&ready, 1, static_cast<int>(left.count())) <= 0) {
        return false;
      }
      char chunk[4096];
      const ssize_t got = read(output_, chunk, sizeof chunk);
      if (got < 0 && errno == EINTR) continue;
      if (got <= 0) return false;
      log_.append(chunk, static_cast<std::size_t>(got));
    }
    return true;
  }

  pid_t pid_ = -1;
  int output_ = -1;
  std::string port_;
  std::string log_;
};

// One step: its outcome through the reporter, with the object's status when it failed.
bool Step(Reporter& reporter, IObject& object, bool done, const std::string& what) {
  if (done) {
    reporter.Log(kSource, what.c_str());
  } else {
    reporter.Log(kSource, ("Failed: " + what).c_str());
    reporter.Log(object.GetStatus().ToString(nullptr).c_str());
  }
  reporter.WaitForNotifications();
  return done;
}

// The provider's part: a service session, an area, one image buffer into a pool block.
void StreamOneImage(Reporter& reporter, const std::string& port) {
  ServiceProviderProxy provider;
  gul::PropertyLookUp where;
  where["HostMachine"] = "127.0.0.1";
  where["Endpoint"] = port;
  if (!Step(reporter, provider, provider.Init(where), "ServiceProviderProxy connected")) return;
  const std::string session = provider.OpenServiceSession("Ortho", "<Client/>");
  if (Step(reporter, provider, !session.empty(), "service session " + session + " opened") &&
      Step(reporter, provider, provider.SetAOI(session, 0, 0, 1000, 1000, 256, 256, ""),
           "area of interest (0, 0) - (1000, 1000) at 256 x 256 pixels set")) {
    CreateBufferAllocator(1);
    QUORVAN::Rendix::Global::IBufferAllocator* pool = GetGlobalBufferAllocator();
    std::uint32_t size = 256 * 256;
    auto* block = static_cast<unsigned char*>(pool->Alloc(size));
    const bool streamed =
        block != nullptr &&
        provider.StreamImageBuffer(session, reinterpret_cast<const char*>(block), size, 0, 0);
    if (Step(reporter, provider, streamed,
             "image buffer of " + std::to_string(size) + " bytes streamed into a pool block")) {
      // The reference server's byte i is (i + a + b) mod 256; a = b = 0 here.
      std::uint32_t wrong = 0;
      for (std::uint32_t i = 0; i < size; ++i) wrong += block[i] != (i & 0xFF) ? 1 : 0;
      reporter.Log(kSource, ("bytes checked: " + std::to_string(wrong) + " wrong").c_str());
    }
    if (block != nullptr) pool->Free(block);
    DestroyGlobalBufferAllocator();
    Step(reporter, provider, provider.DoneWithImage(session), "done with the image");
  }
  if (!session.empty()) {
    Step(reporter, provider, provider.CloseSession(session), "service session closed");
  }
  provider.Close();
}

void Run() {
  RefServerChild server;
  if (!server.Start()) {
    std::puts("rdx-refserver could not be started beside this program; section skipped");
    return;
  }
  Reporter reporter;
  ConsoleHandler console;
  reporter.Attach(&console);
  reporter.Log(kSource, ("rdx-refserver serving 127.0.0.1 port " + server.Port()).c_str());

  std::unique_ptr<IServerProxy> serverProxy(IServerProxy::Create());
  serverProxy->SetApplicationName("rdx-demo");
  const bool opened = serverProxy->Init("127.0.0.1:" + server.Port()) != 0;
  if (Step(reporter, *serverProxy, opened,
           gul::StringUtility::printToString("ServerProxy session opened, server version %g",
                                             serverProxy->GetVersion()))) {
    const bool added = serverProxy->AddServiceProvider(
        "DemoProvider", "<Provider><Endpoint>" + server.Port() + "</Endpoint></Provider>");
    Step(reporter, *serverProxy, added, "provider DemoProvider registered with the server");
    const std::string providers = serverProxy->GetServiceProviders();
    Step(reporter, *serverProxy, !providers.empty(),
         "the server lists its providers: \"" + providers.substr(0, 24) + "...\"");
    StreamOneImage(reporter, server.Port());
  }
  Step(reporter, *serverProxy, serverProxy->Close(), "ServerProxy session closed");
  reporter.Close();

  const std::string log = server.Stop();
  std::size_t calls = 0;
  for (std::size_t at = log.find(") -> "); at != std::string::npos;
       at = log.find(") -> ", at + 1)) {
    ++calls;
  }
  std::printf("\nrdx-refserver logged %zu calls and stopped\n", calls);
}

const bool kRegistered =
    rdx::demo::RegisterSection(420, "A client session: ServerProxy and ServiceProviderProxy", Run);

}  // namespace
