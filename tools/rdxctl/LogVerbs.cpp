// rdxctl logs listen PIPE: prints every report line that arrives on a report pipe until
// SIGINT or SIGTERM.

#include <rdx/reporting/PipeListener.h>

#include <csignal>
#include <iostream>
#include <memory>
#include <mutex>
#include <string>

#include <signal.h>

#include "Output.h"

namespace rdxctl {
namespace {

using QUORVAN::Rendix::Global::PipeListener;

struct Printer {
  std::mutex mutex;  // lines of different clients arrive on different threads
  bool json = false;
};

void PrintLine(void* context, const std::string& line) {
  auto* printer = static_cast<Printer*>(context);
  std::lock_guard<std::mutex> lock(printer->mutex);
  if (printer->json) {
    std::cout << JsonObject().Text("line", line).Str() << '\n';
  } else {
    std::cout << line;
    if (line.empty() || line.back() != '\n') std::cout << '\n';
  }
  std::cout.flush();
}

int Listen(Context& context, const std::string& pipe) {
  // The signals are blocked before the listener's threads exist, so they inherit the mask and
  // the main thread alone takes SIGINT/SIGTERM, in sigwait.
  sigset_t stopSignals;
  sigemptyset(&stopSignals);
  sigaddset(&stopSignals, SIGINT);
  sigaddset(&stopSignals, SIGTERM);
  pthread_sigmask(SIG_BLOCK, &stopSignals, nullptr);

  Printer printer;
  printer.json = context.json;
  PipeListener listener;
  if (!listener.ConnectTo(pipe, &PrintLine, &printer, ".")) {
    pthread_sigmask(SIG_UNBLOCK, &stopSignals, nullptr);
    return Fail("cannot listen on pipe '" + pipe + "' (it may be served already)");
  }
  std::cerr << "rdxctl: listening on pipe '" << pipe << "'" << std::endl;
  int received = 0;
  while (sigwait(&stopSignals, &received) != 0) {
  }
  listener.Stop();
  listener.Close();
  return kDone;
}

}  // namespace

void AddLogVerbs(CLI::App& app, Context& context) {
  auto pipe = std::make_shared<std::string>();
  CLI::App* logs = app.add_subcommand("logs", "report pipes");
  logs->require_subcommand(1);
  CLI::App* listen =
      logs->add_subcommand("listen", "print each report line sent to PIPE until interrupted");
  listen->add_option("pipe", *pipe, "the pipe's name")->required();
  listen->callback([&context, pipe] { context.exitCode = Listen(context, *pipe); });
}

}  // namespace rdxctl
