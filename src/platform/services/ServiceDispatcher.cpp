#include "platform/services/ServiceDispatcher.h"

#include "platform/os/LastError.h"
#include "platform/os/ServiceSignals.h"

#include <atomic>
#include <mutex>
#include <thread>

namespace rdx::services {
namespace {

constexpr std::uint32_t kNotConnected = 1063;  // ERROR_FAILED_SERVICE_CONTROLLER_CONNECT
constexpr std::uint32_t kAlreadyRunning = 1056;

// The one dispatcher of the process. The handle given to the service is its address.
struct Dispatcher {
  std::mutex mutex;
  bool active = false;
  std::string serviceName;
  void (*handler)(std::uint32_t) = nullptr;
  bool everRunning = false;
  bool failedStop = false;
};
Dispatcher gDispatcher;

}  // namespace

std::string NotifyText(const StatusReport& status) {
  switch (status.state) {
    case 1: {
      std::string text = "STATUS=Stopped";
      if (status.win32ExitCode != 0 || status.serviceSpecificExitCode != 0) {
        text += " (exit code " + std::to_string(status.win32ExitCode) + ", service code " +
                std::to_string(status.serviceSpecificExitCode) + ")";
      }
      return text;
    }
    case 2: return "STATUS=Start pending";
    case 3: return "STOPPING=1\nSTATUS=Stop pending";
    case 4: return "READY=1\nSTATUS=Running";
    case 5: return "STATUS=Continue pending";
    case 6: return "STATUS=Pause pending";
    case 7: return "STATUS=Paused";
    default: return "STATUS=State " + std::to_string(status.state);
  }
}

bool RunDispatcher(const DispatchEntry& entry) {
  {
    std::lock_guard lock(gDispatcher.mutex);
    if (gDispatcher.active || entry.serviceName == nullptr || entry.serviceProc == nullptr) {
      os::SetLastError(kAlreadyRunning);
      return false;
    }
    gDispatcher.active = true;
    gDispatcher.serviceName = entry.serviceName;
    gDispatcher.handler = nullptr;
    gDispatcher.everRunning = false;
    gDispatcher.failedStop = false;
  }
  bool dispatched = false;
  {
    os::ControlSignals signals;
    if (signals.Valid()) {
      std::atomic<bool> done{false};
      std::string name = entry.serviceName;
      try {
        std::thread service([&] {
          char* arguments[] = {name.data(), nullptr};
          try {
            entry.serviceProc(1, arguments);
          } catch (...) {
            // An exception out of the service ends it like a return would.
          }
          done = true;
          signals.Wake();
        });
        while (!done.load()) {
          const int control = signals.Wait();
          if (control < 0) break;  // no more controls: only the service's own end is left
          if (control == 0 || done.load()) continue;
          void (*handler)(std::uint32_t) = nullptr;
          {
            std::lock_guard lock(gDispatcher.mutex);
            handler = gDispatcher.handler;
          }
          if (handler != nullptr) handler(static_cast<std::uint32_t>(control));
        }
        service.join();
        dispatched = true;
      } catch (...) {
        os::SetLastError(os::kErrorNotEnoughMemory);  // the thread could not start
      }
    } else {
      os::SetLastError(kAlreadyRunning);
    }
  }
  std::lock_guard lock(gDispatcher.mutex);
  gDispatcher.active = false;
  gDispatcher.handler = nullptr;
  return dispatched && gDispatcher.everRunning && !gDispatcher.failedStop;
}

void* RegisterControlHandler(const std::string& serviceName, void (*handler)(std::uint32_t)) {
  std::lock_guard lock(gDispatcher.mutex);
  if (!gDispatcher.active || gDispatcher.serviceName != serviceName) {
    os::SetLastError(kNotConnected);
    return nullptr;
  }
  gDispatcher.handler = handler;
  return &gDispatcher;
}

bool ReportStatus(void* handle, const StatusReport& status) {
  {
    std::lock_guard lock(gDispatcher.mutex);
    if (handle != &gDispatcher || !gDispatcher.active) {
      os::SetLastError(os::kErrorInvalidHandle);
      return false;
    }
    if (status.state == 4) gDispatcher.everRunning = true;
    if (status.state == 1) {
      gDispatcher.failedStop = status.win32ExitCode != 0 || status.serviceSpecificExitCode != 0;
    }
  }
  return os::NotifyServiceManager(NotifyText(status));
}

}  // namespace rdx::services
