// rdx-test-service: a service program for the service framework's tests. Its arguments choose
// what it does:
//   --record FILE      append what happens (start arguments, run, controls, stop, exit) to FILE
//   --fail-start CODE  OnStart fails, and the process exits with CODE
//   --stop-exit CODE   after a stop, the process exits with CODE
// Other arguments are only recorded.
#include <rdx/platform/WinServiceBase.h>

#include <condition_variable>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <mutex>
#include <string>

using QUORVAN::Rendix::GeneralUtilityLib::WinServiceBase;

namespace {

class TestService : public WinServiceBase {
 public:
  TestService(int argc, char** argv) {
    for (int i = 1; i + 1 < argc; ++i) {
      if (std::strcmp(argv[i], "--record") == 0) record_ = argv[i + 1];
      if (std::strcmp(argv[i], "--fail-start") == 0) failCode_ = std::atoi(argv[i + 1]);
      if (std::strcmp(argv[i], "--stop-exit") == 0) stopCode_ = std::atoi(argv[i + 1]);
    }
  }

  bool OnStart(int argc, char** argv) override {
    std::string line = "start " + std::to_string(argc);
    for (int i = 0; i < argc; ++i) line += std::string(i == 0 ? " " : "|") + argv[i];
    Record(line);
    if (failCode_ != 0) {
      myServiceStatus.serviceSpecificExitCode = static_cast<std::uint32_t>(failCode_);
      return false;
    }
    return true;
  }

  void Run(std::uint32_t, char**) override {
    Record("run");
    std::unique_lock lock(mutex_);
    stopped_.wait(lock, [this] { return stopRequested_; });
  }

  void OnStop() override {
    Record("stop");
    myServiceStatus.serviceSpecificExitCode = static_cast<std::uint32_t>(stopCode_);
    std::lock_guard lock(mutex_);
    stopRequested_ = true;
    stopped_.notify_all();
  }

  void ServiceCtrlHandler(std::uint32_t control) override {
    Record("control " + std::to_string(control));
    WinServiceBase::ServiceCtrlHandler(control);
  }

  int ExitCode() const { return static_cast<int>(myServiceStatus.serviceSpecificExitCode); }

  void Record(const std::string& line) {
    if (record_.empty()) return;
    std::ofstream(record_, std::ios::app) << line << "\n" << std::flush;
  }

 private:
  std::string record_;
  int failCode_ = 0;
  int stopCode_ = 0;
  std::mutex mutex_;
  std::condition_variable stopped_;
  bool stopRequested_ = false;
};

}  // namespace

int main(int argc, char** argv) {
  TestService service(argc, argv);
  const bool ok = service.Init("rdx test service", static_cast<std::uint32_t>(argc), argv);
  const int code = service.ExitCode() != 0 ? service.ExitCode() : (ok ? 0 : 1);
  service.Record("exit " + std::to_string(code));
  return code;
}
