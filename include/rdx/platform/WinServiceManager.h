#pragma once
#include <rdx/Export.h>

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

namespace rdx::services {
struct ServiceControl;
}

namespace QUORVAN::Rendix::GeneralUtilityLib {

/// WinServiceManager: installs, removes, starts, stops, reconfigures and queries one service of
/// this or another machine's systemd, over its D-Bus API.
///
///   WinServiceManager manager;
///   std::string error;
///   std::uint32_t code = 0;
///   if (manager.Init("localhost", "Quorvan Rendix", "/opt/quorvan/bin/rendix --service", error) &&
///       manager.InstallService(error) && manager.StartTheService(0, nullptr, code, error)) ...
///
/// A service is the unit "<escaped name>.service" (systemd-escape's rules: "a b" is
/// "a\x20b.service", "/" is "-") in the unit folder, $RDX_SYSTEMD_UNIT_DIR or
/// /etc/systemd/system. The file keeps the name as Description, the binary path as ExecStart
/// (Windows command-line quoting in, systemd quoting out), Type=notify, TimeoutStartSec=30 (the
/// start's wait hint); start types 0-2 enable it for boot, 4 (disabled) refuses manual starts.
/// This machine's systemd is reached at $RDX_SYSTEMD_BUS_ADDRESS, else the system bus
/// ($DBUS_SYSTEM_BUS_ADDRESS); another machine through `ssh -xT HOST systemd-stdio-bridge`
/// (sd_bus_open_system_remote), and its unit files through the same ssh.
/// Failures give false (or 0xFFFFFFFF) and a text in errorText: "Init has not been done"
/// without a connection, else the system's text for the Win32 code that the service control
/// manager would give (1060 no such service, 1073 exists, 1056 already running, 1062 not
/// started, 5 access denied, 1722 machine unreachable, ...), also left as the thread's last error.
/// Copies share one connection. Not safe for concurrent use.
class RDX_API WinServiceManager {
 public:
  WinServiceManager();
  ///@{
  /// Copies share the connection and copy the stored names and types.
  WinServiceManager(const WinServiceManager& other);
  WinServiceManager& operator=(const WinServiceManager& other);
  ///@}
  /// Lets go of the connection; it ends with its last copy.
  virtual ~WinServiceManager();

  /// Stores the service name and binary path, closes, then connects: locally when `machine`
  /// (blanks trimmed, case ignored) is "", "localhost", starts with "127", or is this host's
  /// address, FQDN or name; otherwise over ssh. False with the system's text when unreachable,
  /// "Fatal Error" on an exception.
  bool Init(const std::string& machine, const std::string& serviceName,
            const std::string& binaryPath, std::string& errorText);
  ///@{
  /// Stored for a later InstallService or ChangeServiceConfiguration. Service types 16 and 32
  /// run the same way here; start types 0-2 enable the unit, 3 starts on demand, 4 disabled.
  void SetServiceType(std::uint32_t serviceType);
  void SetStartType(std::uint32_t startType);
  void SetBinaryPath(const std::string& binaryPath);
  ///@}

  /// Writes the unit file, reloads systemd and enables the unit for start types 0-2. 1073 when
  /// the unit exists, 123 for a name that cannot be a unit name, 87 for a blank or unusable
  /// binary path; a failed install leaves no file behind. "Fatal Error on install service" on
  /// an exception.
  bool InstallService(std::string& errorText);
  /// Disables the unit and removes its file (a running service keeps running until stopped).
  /// 1060 when there is no such unit, 5 when its file is not in the unit folder.
  bool UninstallService(std::string& errorText);
  /// For every service whose name starts with `prefix` (case ignored): stop, 200 ms, remove.
  /// True once the list is walked; errorText tells the last single failure.
  bool UninstallServiceStartsWith(const std::string& prefix, std::string& errorText);
  /// Starts the unit (argc and argv are not passed on: systemd starts units without arguments),
  /// prints "Service start pending.\n", then queries while it is start pending every tenth of
  /// the wait hint (1-10 s). True when it runs; false with errorCode the thread's last error
  /// when it does not. A refused start gives errorCode and its text.
  bool StartTheService(int argc, char** argv, std::uint32_t& errorCode, std::string& errorText);
  /// Asks systemd to stop the unit (SIGTERM to the service); true once the job is queued,
  /// without waiting. 1062 when it is not running.
  bool StopTheService(std::string& errorText);
  /// 1 stopped, 2 start pending, 3 stop pending, 4 running; 0xFFFFFFFF for a missing unit or a
  /// failed query.
  std::uint32_t QueryState();
  /// The exit status of the service's last main process (ExecMainStatus; the signal number
  /// when a signal ended it); 0 while it runs; 0xFFFFFFFF as QueryState. A non-zero status
  /// stays readable after the unit stopped until it starts again (systemd keeps failed units).
  std::uint32_t QueryExitCode();
  /// Rewrites the unit's program (a blank binary path leaves it), service type and start type,
  /// leaving its other lines as they are, then reloads. 1060 missing, 5 not in the unit folder.
  bool ChangeServiceConfiguration(std::string& errorText);
  /// Appends the service name of every service unit (loaded or installed), in the manager's
  /// order. serviceType: any of 16 or 32 lists them, other types list none; serviceState: 1
  /// active (not stopped), 2 inactive, 3 both.
  bool GetListOfServices(std::vector<std::string>& names, std::string& errorText,
                         std::uint32_t serviceType, std::uint32_t serviceState);
  /// Ends the connection; the handle stays set, so later calls fail with "The handle is
  /// invalid." rather than "Init has not been done". Returns true.
  bool Close();

 protected:
  /// Does nothing with its arguments (a hook for routing to a reporter).
  void Log(const std::string& source, const std::string& message);

 private:
  bool Fail(std::uint32_t code, std::string& errorText);
  /// Disables and removes one unit; `reload` makes systemd forget it at once.
  bool RemoveUnit(const std::string& serviceName, std::string& errorText, bool reload);

  std::string myServiceName;
  std::string myBinaryPath;
  std::shared_ptr<rdx::services::ServiceControl> myManager;  ///< null until Init
  std::uint32_t myServiceType = 16;
  std::uint32_t myStartType = 3;
};

}  // namespace QUORVAN::Rendix::GeneralUtilityLib
