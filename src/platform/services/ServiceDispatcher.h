#pragma once
// The service dispatcher: runs a service's main function on a thread of its own and turns
// control signals into calls of the registered handler on the calling thread, and the status
// reports into sd_notify messages.

#include <cstdint>
#include <string>

namespace rdx::services {

struct DispatchEntry {
  const char* serviceName;
  void (*serviceProc)(std::uint32_t argc, char** argv);
};

struct StatusReport {
  std::uint32_t state;
  std::uint32_t win32ExitCode;
  std::uint32_t serviceSpecificExitCode;
};

// Runs `entry` with the arguments (its name) and delivers controls until it returns. False
// when a dispatcher already runs in this process, the signals cannot be caught or the thread
// cannot start (last error set), and when the service failed: it stopped without ever
// reporting running, or reported stopped with a non-zero exit code.
bool RunDispatcher(const DispatchEntry& entry);

// Registers the control handler of the running dispatcher's service: its handle, or null when
// no dispatcher runs that service (last error 1063).
void* RegisterControlHandler(const std::string& serviceName, void (*handler)(std::uint32_t));

// Sends the status to the manager. False for a null or stale handle (last error 6) or when
// sending failed.
bool ReportStatus(void* handle, const StatusReport& status);

// The sd_notify text for a status: "READY=1" on running, "STOPPING=1" on stop pending, and
// always STATUS= with the state's name (and exit codes once stopped with any).
std::string NotifyText(const StatusReport& status);

}  // namespace rdx::services
