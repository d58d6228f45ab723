// Reporting tour: a reporter feeding the console, a log file and a pipe to a listener, and a
// component that reports its status through it.
#include "DemoSection.h"

#include <rdx/foundation/Object.h>
#include <rdx/reporting/ConsoleHandler.h>
#include <rdx/reporting/LogFileHandler.h>
#include <rdx/reporting/PipeListener.h>
#include <rdx/reporting/PipeSender.h>
#include <rdx/reporting/Reporter.h>

#include <atomic>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <random>
#include <sstream>
#include <thread>

namespace {

using namespace QUORVAN::Rendix::Global;

// A component as the library's proxies are: it fills its status as operations fail.
class ImageStore : public Object {
 public:
  bool Open(const std::string& path) {
    status_.Clear("");
    status_.Append(0x10, "Could not open the image.", "Demo.ImageStore.Open", path);
    ReportStatus();
    return false;
  }
};

struct PipeInbox {
  std::atomic<int> messages{0};
  std::atomic<std::size_t> bytes{0};
};

void OnPipeMessage(void* context, const std::string& message) {
  auto* inbox = static_cast<PipeInbox*>(context);
  inbox->bytes += message.size();
  ++inbox->messages;
}

void Run() {
  namespace fs = std::filesystem;
  const fs::path folder =
      fs::temp_directory_path() / ("rdx-demo-reporting-" + std::to_string(std::random_device()()));
  fs::create_directories(folder);
  // Pipes of this run live in the temporary folder as well.
  setenv("RDX_PIPE_DIR", (folder / "pipes").c_str(), 1);

  Reporter reporter;
  ConsoleHandler console;
  LogFileHandler file;
  PipeListener listener;
  PipeSender sender;
  PipeInbox inbox;
  std::printf("log file: %s\n", file.SetLogFile(folder.string(), "demo.log") && file.Init()
                                    ? file.GetLogPath().c_str()
                                    : "(could not be opened)");
  const bool piped = listener.ConnectTo("rdx-demo", &OnPipeMessage, &inbox, ".") &&
                     sender.ConnectTo("rdx-demo", ".");
  std::printf("pipe: %s\n", piped ? "connected" : "not available");
  reporter.Attach(&file);  // the file sink also echoes to the console
  if (piped) reporter.Attach(&sender);

  ImageStore store;
  store.SetStatusReporter(&reporter);
  reporter.Log("Demo.Reporting", "Reporter running.");
  store.Report("Demo.ImageStore", "Serving %d tiles of %d pixels.", 64, 256);
  store.Open("/images/missing.tif");
  reporter.WaitForNotifications();  // everything above is now in the file and on the pipe

  reporter.Detach(&file);
  reporter.Attach(&console);  // the console sink interprets '%' in a report as a format
  reporter.Log("Demo.Reporting", "Console only: 100%% done.");
  reporter.WaitForNotifications();
  std::printf("\n");

  for (int i = 0; i < 100 && inbox.messages < 3; ++i) {
    std::this_thread::sleep_for(std::chrono::milliseconds(10));
  }
  std::printf("pipe listener received %d messages, %zu bytes\n", inbox.messages.load(),
              inbox.bytes.load());
  reporter.Close();
  listener.Stop();
  listener.Close();

  std::ifstream log(file.GetLogPath(), std::ios::binary);
  std::stringstream text;
  text << log.rdbuf();
  std::printf("log file holds %zu bytes; its first item:%s\n", text.str().size(),
              text.str().substr(0, text.str().find("</Item>") + 7).c_str());
  std::error_code ignored;
  fs::remove_all(folder, ignored);
}

const bool registered = rdx::demo::RegisterSection(200, "Reporting: reporter, sinks, pipe", Run);

}  // namespace
