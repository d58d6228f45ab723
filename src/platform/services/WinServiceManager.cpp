#include <rdx/platform/WinServiceManager.h>

#include <rdx/foundation/StringUtility.h>
#include <rdx/platform/SystemInformation.h>

#include "platform/os/LastError.h"
#include "platform/services/ServiceControl.h"
#include "platform/services/ServiceState.h"
#include "platform/services/UnitFile.h"
#include "platform/services/UnitName.h"

#include <chrono>
#include <cstdio>
#include <thread>

namespace QUORVAN::Rendix::GeneralUtilityLib {
namespace {

namespace svc = rdx::services;

// Every operation that needs the manager's connection answers alike without one.
bool NotInitialized(std::string& errorText) {
  errorText = "Init has not been done";
  return false;
}

constexpr std::uint32_t kServiceExists = 1073;
constexpr std::uint32_t kServiceDoesNotExist = 1060;
constexpr std::uint32_t kServiceAlreadyRunning = 1056;
constexpr std::uint32_t kServiceNotActive = 1062;
constexpr std::uint32_t kInvalidName = 123;
constexpr std::uint32_t kAllServiceTypes = 16 | 32;
constexpr const char* kInstallSource =
    "QUORVAN::Rendix::GeneralUtilityLib::WinServiceManager::InstallService";
constexpr const char* kStartSource =
    "QUORVAN::Rendix::GeneralUtilityLib::WinServiceManager::StartTheService";

// True when `text` starts with `prefix`, ASCII case ignored.
bool StartsWithText(const std::string& text, const std::string& prefix) {
  return toLower(text).rfind(toLower(prefix), 0) == 0;
}

bool SameText(const std::string& a, const std::string& b) {
  return StringUtility::isEqual(a, b, true);
}

// The rule for "this machine": its address, FQDN or host name (an empty name matching an
// empty lookup), a "127" prefix, or "localhost", case ignored.
bool IsThisMachine(const std::string& machine) {
  if (machine.empty()) return true;  // no name: the local manager, as an empty machine opens
  if (StartsWithText(machine, "127") || SameText(machine, "localhost")) {
    return true;
  }
  return SameText(machine, GetIPAddress()) || SameText(machine, GetFullyQualifiedDomainName()) ||
         SameText(machine, GetHostName());
}

// Whether systemd knows nothing of the unit: no file, and nothing runs under its name.
bool Missing(const rdx::os::UnitProperties& properties) {
  return properties.loadState == "not-found" && properties.activeState == "inactive";
}

// The unit of a service and its properties; a code when there is no such unit.
std::uint32_t OpenUnit(svc::ServiceControl& control, const std::string& serviceName,
                       std::string& unit, rdx::os::UnitProperties& properties) {
  const auto name = svc::UnitNameOf(serviceName);
  if (!name) return kInvalidName;
  unit = *name;
  const std::uint32_t code = control.bus->QueryUnit(unit, properties);
  if (code != 0) return code;
  return Missing(properties) ? kServiceDoesNotExist : 0;
}

// The unit's properties for the queries, which answer no code: a failed systemd call leaves
// its code as the thread's last error; a bad name or a missing unit just give false.
bool ReadUnit(svc::ServiceControl& control, const std::string& serviceName,
              rdx::os::UnitProperties& properties) {
  const auto unit = svc::UnitNameOf(serviceName);
  if (!unit) return false;
  if (const std::uint32_t code = control.bus->QueryUnit(*unit, properties); code != 0) {
    rdx::os::SetLastError(code);
    return false;
  }
  return !Missing(properties);
}

std::uint32_t StateOf(const rdx::os::UnitProperties& properties) {
  return svc::StateOf(properties.activeState, properties.jobId != 0);
}

}  // namespace

WinServiceManager::WinServiceManager() = default;
WinServiceManager::WinServiceManager(const WinServiceManager& other) = default;
WinServiceManager& WinServiceManager::operator=(const WinServiceManager& other) = default;
WinServiceManager::~WinServiceManager() = default;

void WinServiceManager::Log(const std::string& /*source*/, const std::string& /*message*/) {}

bool WinServiceManager::Fail(std::uint32_t code, std::string& errorText) {
  rdx::os::SetLastError(code);
  errorText = GetLastErrorText(static_cast<std::int32_t>(code));
  return false;
}

bool WinServiceManager::Init(const std::string& machine, const std::string& serviceName,
                             const std::string& binaryPath, std::string& errorText) {
  try {
    myServiceName = serviceName;
    myBinaryPath = binaryPath;
    Close();
    const std::string name = chopSpaces(machine);
    auto control = std::make_shared<svc::ServiceControl>();
    std::uint32_t code = 0;
    if (IsThisMachine(name)) {
      control->bus = rdx::os::SystemdBus::OpenLocal(code);
      control->store = svc::LocalUnitStore();
    } else {
      control->bus = rdx::os::SystemdBus::OpenRemote(name, code);
      control->store = svc::RemoteUnitStore(name);
    }
    if (control->bus == nullptr) {
      myManager.reset();
      return Fail(code, errorText);
    }
    myManager = std::move(control);
    return true;
  } catch (...) {
    errorText = "Fatal Error";
    return false;
  }
}

void WinServiceManager::SetServiceType(std::uint32_t serviceType) { myServiceType = serviceType; }
void WinServiceManager::SetStartType(std::uint32_t startType) { myStartType = startType; }
void WinServiceManager::SetBinaryPath(const std::string& binaryPath) { myBinaryPath = binaryPath; }

bool WinServiceManager::InstallService(std::string& errorText) {
  try {
    if (!myManager) return NotInitialized(errorText);
    svc::ServiceControl& control = *myManager;
    const auto unit = svc::UnitNameOf(myServiceName);
    if (!unit) return Fail(kInvalidName, errorText);
    const auto text = svc::NewUnitFile(myServiceName, myBinaryPath, myServiceType, myStartType);
    if (!text) return Fail(rdx::os::kErrorInvalidParameter, errorText);
    bool exists = false;
    std::uint32_t code = control.store->Exists(*unit, exists);
    if (code != 0) return Fail(code, errorText);
    rdx::os::UnitProperties properties;
    if (!exists) {
      code = control.bus->QueryUnit(*unit, properties);
      if (code != 0) return Fail(code, errorText);
      exists = properties.loadState != "not-found";
    }
    if (exists) return Fail(kServiceExists, errorText);

    code = control.store->Write(*unit, *text);
    if (code != 0) return Fail(code, errorText);
    // From here a failure takes the file back out, so nothing half-installed stays. systemd
    // reads a new unit file when it is first asked for (it sees the folder changed), so a
    // full reload is needed only when it did not.
    code = control.bus->QueryUnit(*unit, properties);
    if (code == 0 && properties.loadState == "not-found" && (code = control.bus->Reload()) == 0) {
      code = control.bus->QueryUnit(*unit, properties);
    }
    if (code == 0 && properties.loadState != "loaded") code = rdx::os::kErrorInvalidParameter;
    if (code == 0 && myStartType <= 2) code = control.bus->EnableUnitFile(*unit);
    if (code != 0) {
      (void)control.store->Remove(*unit);
      (void)control.bus->Reload();
      return Fail(code, errorText);
    }
    Log(kInstallSource, "Created Service");
    return true;
  } catch (...) {
    errorText = "Fatal Error on install service";
    Log(kInstallSource, errorText);
    return false;
  }
}

bool WinServiceManager::RemoveUnit(const std::string& serviceName, std::string& errorText,
                                   bool reload) {
  svc::ServiceControl& control = *myManager;
  std::string unit;
  rdx::os::UnitProperties properties;
  bool exists = false;
  std::uint32_t code = OpenUnit(control, serviceName, unit, properties);
  if (code == kServiceDoesNotExist) {
    // A file systemd has not read yet is still ours to remove.
    if (control.store->Exists(unit, exists) != 0 || !exists) return Fail(code, errorText);
    code = 0;
  }
  if (code != 0) return Fail(code, errorText);
  if (!exists && (code = control.store->Exists(unit, exists)) != 0) return Fail(code, errorText);
  if (!exists) return Fail(rdx::os::kErrorAccessDenied, errorText);  // not in our unit folder
  (void)control.bus->DisableUnitFile(unit);                          // not enabled is fine
  code = control.store->Remove(unit);
  if (code != 0 && code != rdx::os::kErrorFileNotFound) return Fail(code, errorText);
  // A failed unit stays loaded, file or not, until its failure is forgotten.
  (void)control.bus->ResetFailedUnit(unit);
  if (reload && (code = control.bus->Reload()) != 0) return Fail(code, errorText);
  return true;
}

bool WinServiceManager::UninstallService(std::string& errorText) {
  try {
    if (!myManager) return NotInitialized(errorText);
    return RemoveUnit(myServiceName, errorText, true);
  } catch (...) {
    errorText = "Fatal Error";
    return false;
  }
}

bool WinServiceManager::UninstallServiceStartsWith(const std::string& prefix,
                                                   std::string& errorText) {
  try {
    std::vector<std::string> names;
    if (!GetListOfServices(names, errorText, kAllServiceTypes, 3)) return false;
    bool removed = false;
    for (const std::string& name : names) {
      if (!StartsWithText(name, prefix)) continue;
      std::string unit;
      rdx::os::UnitProperties properties;
      const std::uint32_t code = OpenUnit(*myManager, name, unit, properties);
      if (code != 0) {
        Fail(code, errorText);
        continue;
      }
      (void)myManager->bus->StopUnit(unit);  // its result does not matter
      std::this_thread::sleep_for(std::chrono::milliseconds(200));
      removed = RemoveUnit(name, errorText, false) || removed;
    }
    // One reload for the whole walk: systemd forgets every removed unit at once.
    if (removed) {
      const std::uint32_t code = myManager->bus->Reload();
      if (code != 0) Fail(code, errorText);
    }
    return true;
  } catch (...) {
    errorText = "Fatal Error";
    return false;
  }
}

bool WinServiceManager::StartTheService(int /*argc*/, char** /*argv*/, std::uint32_t& errorCode,
                                        std::string& errorText) {
  try {
    if (!myManager) return NotInitialized(errorText);
    rdx::os::SystemdBus& bus = *myManager->bus;
    std::string unit;
    rdx::os::UnitProperties properties;
    std::uint32_t code = OpenUnit(*myManager, myServiceName, unit, properties);
    if (code != 0) return Fail(code, errorText);
    code = StateOf(properties) != svc::kStopped ? kServiceAlreadyRunning : bus.StartUnit(unit);
    if (code != 0) {
      errorCode = code;
      return Fail(code, errorText);
    }
    std::fputs("Service start pending.\n", stdout);
    std::fflush(stdout);

    std::uint32_t queried = 0;  // systemd's answer to the latest query
    const auto query = [&](svc::StartProbe::Status& status) {
      rdx::os::UnitProperties now;
      if ((queried = bus.QueryUnit(unit, now)) != 0) return false;
      // systemd has no check point: progress shows only as a change of state.
      status = {StateOf(now), 0, svc::WaitHintMs(now.timeoutStartUSec)};
      return true;
    };
    svc::StartProbe::Status status;
    if (!query(status)) return Fail(queried, errorText);
    const auto started = std::chrono::steady_clock::now();
    svc::StartProbe probe;
    probe.query = query;
    probe.sleepMs = [](std::uint32_t ms) {
      std::this_thread::sleep_for(std::chrono::milliseconds(ms));
    };
    probe.tickCount = [started] {
      return static_cast<std::uint32_t>(std::chrono::duration_cast<std::chrono::milliseconds>(
                                            std::chrono::steady_clock::now() - started)
                                            .count());
    };
    probe.log = [this](const std::string& message) { Log(kStartSource, message); };
    svc::WaitWhileStartPending(probe, status);

    if (!query(status)) return Fail(queried, errorText);
    if (status.state == svc::kRunning) {
      Log(kStartSource, "Service running");
      return true;
    }
    // Not running, though systemd answered: errorCode is the thread's last error, and both
    // are that last query's code.
    errorCode = queried;
    rdx::os::SetLastError(queried);
    return false;
  } catch (...) {
    errorText = "Fatal Error";
    return false;
  }
}

bool WinServiceManager::StopTheService(std::string& errorText) {
  try {
    if (!myManager) return NotInitialized(errorText);
    std::string unit;
    rdx::os::UnitProperties properties;
    std::uint32_t code = OpenUnit(*myManager, myServiceName, unit, properties);
    if (code == 0 && StateOf(properties) == svc::kStopped) code = kServiceNotActive;
    if (code == 0) code = myManager->bus->StopUnit(unit);
    return code == 0 ? true : Fail(code, errorText);
  } catch (...) {
    errorText = "Fatal Error";
    return false;
  }
}

std::uint32_t WinServiceManager::QueryState() {
  try {
    if (!myManager) return svc::kNoState;
    rdx::os::UnitProperties properties;
    if (!ReadUnit(*myManager, myServiceName, properties)) return svc::kNoState;
    return StateOf(properties);
  } catch (...) {
    return svc::kNoState;
  }
}

std::uint32_t WinServiceManager::QueryExitCode() {
  try {
    if (!myManager) return svc::kNoState;
    rdx::os::UnitProperties properties;
    if (!ReadUnit(*myManager, myServiceName, properties)) return svc::kNoState;
    return static_cast<std::uint32_t>(properties.execMainStatus);
  } catch (...) {
    return svc::kNoState;
  }
}

bool WinServiceManager::ChangeServiceConfiguration(std::string& errorText) {
  try {
    if (!myManager) return NotInitialized(errorText);
    svc::ServiceControl& control = *myManager;
    const auto unit = svc::UnitNameOf(myServiceName);
    if (!unit) return Fail(kInvalidName, errorText);
    std::string text;
    std::uint32_t code = control.store->Read(*unit, text);
    if (code == rdx::os::kErrorFileNotFound) {
      std::string ignored;
      rdx::os::UnitProperties properties;
      code = OpenUnit(control, myServiceName, ignored, properties);
      return Fail(code != 0 ? code : rdx::os::kErrorAccessDenied, errorText);
    }
    if (code != 0) return Fail(code, errorText);
    svc::UnitFileText file(text);
    svc::ApplyConfiguration(file, myBinaryPath, myServiceType, myStartType);
    code = control.store->Write(*unit, file.Text());
    if (code != 0) return Fail(code, errorText);
    code =
        myStartType <= 2 ? control.bus->EnableUnitFile(*unit) : control.bus->DisableUnitFile(*unit);
    if (code == 0) code = control.bus->Reload();
    return code == 0 ? true : Fail(code, errorText);
  } catch (...) {
    errorText = "Fatal Error";
    return false;
  }
}

bool WinServiceManager::GetListOfServices(std::vector<std::string>& names, std::string& errorText,
                                          std::uint32_t serviceType, std::uint32_t serviceState) {
  try {
    if (!myManager) return NotInitialized(errorText);
    std::vector<rdx::os::UnitListEntry> units;
    const std::uint32_t code = myManager->bus->ListUnits("*.service", units);
    if (code != 0) return Fail(code, errorText);
    if ((serviceType & kAllServiceTypes) == 0) return true;
    for (const rdx::os::UnitListEntry& entry : units) {
      const bool active = svc::StateOf(entry.activeState, false) != svc::kStopped;
      if ((active && (serviceState & 1) != 0) || (!active && (serviceState & 2) != 0)) {
        names.push_back(svc::ServiceNameOf(entry.name));
      }
    }
    return true;
  } catch (...) {
    errorText = "Fatal Error";
    return false;
  }
}

bool WinServiceManager::Close() {
  try {
    // The handle stays set (kept so): later calls fail on the closed connection.
    if (myManager && myManager->bus) myManager->bus->Close();
    return true;
  } catch (...) {
    return false;
  }
}

}  // namespace QUORVAN::Rendix::GeneralUtilityLib
