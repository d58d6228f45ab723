#include "RefServerChild.h"

#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <sstream>

#include <fcntl.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include "platform/os/HostInfo.h"
#include "platform/os/StreamSocket.h"

extern char** environ;

namespace rdx::rpc::test {
namespace {

std::uint16_t FreePort() {
  return os::StreamListener::ListenTcp(0).value.Port();  // closed again at once
}

}  // namespace

std::unique_ptr<RefServerChild> RefServerChild::Start(const Options& options) {
  static int started = 0;
  // A port found free may be taken before the server binds it: try a few.
  for (int attempt = 0; attempt < 5; ++attempt) {
    std::unique_ptr<RefServerChild> server(new RefServerChild);
    server->port_ = FreePort();
    server->logPath_ =
        (std::filesystem::temp_directory_path() /
         ("rdx-refserver-" + std::to_string(::getpid()) + "-" + std::to_string(++started) + ".log"))
            .string();
    // $RDX_REFSERVER runs another build of the server against the same checks.
    const char* program = std::getenv("RDX_REFSERVER");
    std::vector<std::string> argv = {
        program != nullptr ? program : RDX_BINARY_DIR "/tools/rdx-refserver", "--tcp",
        server->Endpoint()};
    argv.insert(argv.end(), options.arguments.begin(), options.arguments.end());
    std::vector<std::string> envText(options.environment);
    for (char** e = environ; *e != nullptr; ++e) envText.emplace_back(*e);
    std::vector<char*> args, env;
    for (std::string& a : argv) args.push_back(a.data());
    args.push_back(nullptr);
    for (std::string& e : envText) env.push_back(e.data());
    env.push_back(nullptr);
    const int log =
        ::open(server->logPath_.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0600);
    if (log < 0) return nullptr;
    const pid_t pid = ::fork();
    if (pid == 0) {  // only async-signal-safe calls from here to exec
      const int devNull = ::open("/dev/null", O_RDONLY);
      ::dup2(devNull, 0);
      ::dup2(log, 1);
      ::dup2(log, 2);
      if (options.descriptorLimit != 0) {
        const rlimit limit{options.softDescriptorLimit != 0 ? options.softDescriptorLimit
                                                            : options.descriptorLimit,
                           options.descriptorLimit};
        if (::setrlimit(RLIMIT_NOFILE, &limit) != 0) ::_exit(126);
      }
      ::execve(args[0], args.data(), env.data());
      ::_exit(127);
    }
    ::close(log);
    if (pid < 0) return nullptr;
    server->pid_ = pid;
    const bool listening = WaitFor([&] {
      return server->Log().find("listening on") != std::string::npos || !server->Running();
    });
    if (listening && server->Running()) return server;
    server->Stop();
  }
  return nullptr;
}

RefServerChild::~RefServerChild() {
  Stop();
  std::error_code ignored;
  std::filesystem::remove(logPath_, ignored);
}

std::size_t RefServerChild::OpenDescriptors() const {
  std::error_code error;
  std::size_t count = 0;
  for (std::filesystem::directory_iterator it("/proc/" + std::to_string(pid_) + "/fd", error), end;
       !error && it != end; it.increment(error)) {
    ++count;
  }
  return error ? 0 : count;
}

std::uint64_t RefServerChild::ResidentBytes() const {
  const auto memory = os::ReadProcessMemory(static_cast<std::uint64_t>(pid_));
  return memory ? memory->workingSetBytes : 0;
}

bool RefServerChild::Running() {
  if (exited_ || pid_ < 0) return false;
  int status = 0;
  if (::waitpid(pid_, &status, WNOHANG) == pid_) {
    exited_ = true;
    exitStatus_ = WIFEXITED(status) ? WEXITSTATUS(status) : -1;
    return false;
  }
  return true;
}

int RefServerChild::Stop() {
  if (!Running()) return exitStatus_;
  ::kill(pid_, SIGTERM);
  if (!WaitFor([&] { return !Running(); }, std::chrono::seconds(20))) {
    ::kill(pid_, SIGKILL);
    ::waitpid(pid_, nullptr, 0);
    exited_ = true;
    exitStatus_ = -1;
  }
  return exitStatus_;
}

std::string RefServerChild::Log() const {
  std::ifstream file(logPath_);
  std::ostringstream text;
  text << file.rdbuf();
  return text.str();
}

}  // namespace rdx::rpc::test
