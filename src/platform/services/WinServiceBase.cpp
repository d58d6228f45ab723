#include <rdx/platform/WinServiceBase.h>

#include "platform/services/ServiceDispatcher.h"

namespace QUORVAN::Rendix::GeneralUtilityLib {

WinServiceBase* WinServiceBase::myPointerToSelf = nullptr;

namespace {
constexpr std::uint32_t kStopped = 1;
constexpr std::uint32_t kStartPending = 2;
constexpr std::uint32_t kStopPending = 3;
constexpr std::uint32_t kRunning = 4;
constexpr std::uint32_t kStopControl = 1;
}  // namespace

WinServiceBase::WinServiceBase() { myPointerToSelf = this; }

WinServiceBase::WinServiceBase(const WinServiceBase& other)
    : myInitialised(other.myInitialised),
      myServiceName(other.myServiceName),
      myStatusHandle(other.myStatusHandle),
      myServiceStatus(other.myServiceStatus),
      myArgc(other.myArgc),
      myArgv(other.myArgv) {
  myDispatchTable[0] = other.myDispatchTable[0];
  if (myDispatchTable[0].serviceName != nullptr) {
    myDispatchTable[0].serviceName = myServiceName.c_str();  // our own copy of the name
  }
  myPointerToSelf = this;
}

WinServiceBase& WinServiceBase::operator=(const WinServiceBase& other) {
  if (this == &other) return *this;
  myInitialised = other.myInitialised;
  myServiceName = other.myServiceName;
  myDispatchTable[0] = other.myDispatchTable[0];
  if (myDispatchTable[0].serviceName != nullptr) {
    myDispatchTable[0].serviceName = myServiceName.c_str();
  }
  myStatusHandle = other.myStatusHandle;
  myServiceStatus = other.myServiceStatus;
  myArgc = other.myArgc;
  myArgv = other.myArgv;
  return *this;
}

WinServiceBase::~WinServiceBase() {
  if (myPointerToSelf == this) myPointerToSelf = nullptr;
}

bool WinServiceBase::OnStart(int /*argc*/, char** /*argv*/) { return true; }

void WinServiceBase::OnStop() {}

void WinServiceBase::Run(std::uint32_t /*argc*/, char** /*argv*/) {}

void WinServiceBase::Log(const std::string& /*source*/, const std::string& /*message*/) {}

bool WinServiceBase::Init(const std::string& serviceName, std::uint32_t argc, char** argv) {
  try {
    myArgc = argc;
    myArgv = argv;
    myServiceName = serviceName;
    myDispatchTable[0] = {myServiceName.c_str(), &WinServiceBase::staticServiceMain};
    myDispatchTable[1] = {nullptr, nullptr};
    // Own process; start pending; stop, pause-continue and shutdown accepted.
    myServiceStatus = {16, kStartPending, 7, 0, 0, 0, 0};
    myInitialised = true;
    return rdx::services::RunDispatcher(
        {myDispatchTable[0].serviceName, myDispatchTable[0].serviceProc});
  } catch (...) {
    return false;
  }
}

bool WinServiceBase::UpdateService(std::uint32_t state) {
  try {
    myServiceStatus.currentState = state;
    return rdx::services::ReportStatus(myStatusHandle, {state, myServiceStatus.win32ExitCode,
                                                        myServiceStatus.serviceSpecificExitCode});
  } catch (...) {
    return false;
  }
}

void WinServiceBase::ServiceMain(std::uint32_t argc, char** argv) {
  if (!myInitialised) return;
  // Reported before the handler is registered, so it reaches nobody; kept so.
  UpdateService(kStartPending);
  myStatusHandle = rdx::services::RegisterControlHandler(myServiceName,
                                                         &WinServiceBase::staticServiceCtrlHandler);
  if (myStatusHandle != nullptr) {
    // The dispatcher passes only the service name: the process's command line is what the
    // service was started with.
    if (argc < 2) {
      argc = myArgc;
      argv = myArgv;
    }
    if (OnStart(static_cast<int>(argc), argv)) {
      if (!UpdateService(kRunning)) return;
      Run(argc, argv);
    }
  }
  UpdateService(kStopped);
}

void WinServiceBase::ServiceCtrlHandler(std::uint32_t control) {
  if (control != kStopControl) return;  // pause, continue, shutdown, interrogate: ignored
  UpdateService(kStopPending);
  OnStop();
  UpdateService(kStopped);
}

void WinServiceBase::staticServiceMain(std::uint32_t argc, char** argv) {
  if (myPointerToSelf != nullptr) myPointerToSelf->ServiceMain(argc, argv);
}

void WinServiceBase::staticServiceCtrlHandler(std::uint32_t control) {
  if (myPointerToSelf != nullptr) myPointerToSelf->ServiceCtrlHandler(control);
}

}  // namespace QUORVAN::Rendix::GeneralUtilityLib
