// rdxctl service install|start|stop|state|exit-code|list|uninstall: services of this or
// another machine through WinServiceManager.

#include <rdx/platform/WinServiceManager.h>

#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <iostream>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "Output.h"

namespace rdxctl {
namespace {

using QUORVAN::Rendix::GeneralUtilityLib::WinServiceManager;

constexpr std::uint32_t kNoState = 0xFFFFFFFF;

struct ServiceArgs {
  std::string name;
  std::string host;  // empty: this machine
  std::string exec;  // the program line for install
};

std::string StateName(std::uint32_t state) {
  switch (state) {
    case 1: return "stopped";
    case 2: return "start pending";
    case 3: return "stop pending";
    case 4: return "running";
    default: return "unknown";
  }
}

// Prints a dot a second on standard error while a start is pending, ending the line when done.
class Progress {
 public:
  Progress() : thread_([this] { Run(); }) {}
  ~Progress() {
    {
      std::lock_guard<std::mutex> lock(mutex_);
      done_ = true;
    }
    wake_.notify_all();
    thread_.join();
  }
  Progress(const Progress&) = delete;
  Progress& operator=(const Progress&) = delete;

 private:
  void Run() {
    std::unique_lock<std::mutex> lock(mutex_);
    bool printed = false;
    while (!wake_.wait_for(lock, std::chrono::seconds(1), [this] { return done_; })) {
      std::cerr << (printed ? "." : "waiting for the service to run .") << std::flush;
      printed = true;
    }
    if (printed) std::cerr << '\n';
  }

  std::mutex mutex_;
  std::condition_variable wake_;
  bool done_ = false;
  std::thread thread_;
};

int Run(Context& context, const ServiceArgs& args, const std::string& verb) {
  WinServiceManager manager;
  std::string errorText;
  if (!manager.Init(args.host, args.name, args.exec, errorText)) {
    return Fail("cannot reach the service manager" +
                (args.host.empty() ? std::string() : " of '" + args.host + "'") + ": " + errorText);
  }
  JsonObject json;
  json.Text("service", args.name).Text("verb", verb);
  bool done = true;
  std::string text;
  if (verb == "install") {
    done = manager.InstallService(errorText);
    text = "installed " + args.name;
  } else if (verb == "uninstall") {
    done = manager.UninstallService(errorText);
    text = "uninstalled " + args.name;
  } else if (verb == "start") {
    std::uint32_t code = 0;
    {
      Progress progress;
      done = manager.StartTheService(0, nullptr, code, errorText);
    }
    if (!done && errorText.empty()) errorText = "error " + std::to_string(code);
    text = args.name + " is running";
  } else if (verb == "stop") {
    done = manager.StopTheService(errorText);
    text = "stop requested for " + args.name;
  } else if (verb == "state") {
    const std::uint32_t state = manager.QueryState();
    done = state != kNoState;
    if (!done) errorText = "no such service, or its state cannot be read";
    text = StateName(state);
    json.Unsigned("state", state).Text("name", StateName(state));
  } else if (verb == "exit-code") {
    const std::uint32_t code = manager.QueryExitCode();
    done = code != kNoState;
    if (!done) errorText = "no such service, or its exit code cannot be read";
    text = std::to_string(code);
    json.Unsigned("exitCode", code);
  } else if (verb == "list") {
    std::vector<std::string> names;
    done = manager.GetListOfServices(names, errorText, 16, 3);
    for (const std::string& name : names) text += name + "\n";
    json.Texts("services", names);
  }
  manager.Close();
  if (!done) return Fail(verb + " " + args.name + " failed: " + errorText);
  Emit(context, text, json);
  return kDone;
}

}  // namespace

void AddServiceVerbs(CLI::App& app, Context& context) {
  auto args = std::make_shared<ServiceArgs>();
  CLI::App* service = app.add_subcommand("service", "install, run and query system services");
  service->require_subcommand(1);
  const struct {
    const char* verb;
    const char* help;
  } verbs[] = {{"install", "install the service (needs --exec)"},
               {"start", "start it and wait until it runs"},
               {"stop", "ask it to stop"},
               {"state", "stopped, start pending, stop pending or running"},
               {"exit-code", "the exit status of its last run"},
               {"list", "every service's name"},
               {"uninstall", "remove the service"}};
  for (const auto& entry : verbs) {
    const std::string verb = entry.verb;
    CLI::App* sub = service->add_subcommand(verb, entry.help);
    if (verb != "list") sub->add_option("name", args->name, "the service's name")->required();
    sub->add_option("--host", args->host, "the machine (default: this one; another over ssh)");
    CLI::Option* exec = sub->add_option("--exec", args->exec, "the program line to run");
    if (verb == "install") exec->required();
    sub->callback([&context, args, verb] { context.exitCode = Run(context, *args, verb); });
  }
}

}  // namespace rdxctl
