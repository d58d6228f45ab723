#pragma once
// A connection to a systemd manager over D-Bus (sd-bus): this machine's system bus, or another
// machine's through systemd's own remote transport (ssh running systemd-stdio-bridge there).
// Every call answers a Win32-style code (0 success) so the service manager reads the same as
// with the service control manager: 1060 no such unit, 5 access denied, 1722 unreachable, ...
// The thread's last error is left to the caller.

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

namespace rdx::os {

// What QueryUnit reads from a unit's org.freedesktop.systemd1.Unit and .Service properties.
struct UnitProperties {
  std::string loadState;    // "loaded", "not-found", "bad-setting", "masked", ...
  std::string activeState;  // "active", "activating", "deactivating", "inactive", "failed", ...
  std::string subState;     // "running", "start", "stop-sigterm", "dead", ...
  std::string statusText;   // the last STATUS= the service sent
  std::uint64_t timeoutStartUSec = 0;
  std::uint32_t jobId = 0;  // the job queued for the unit (0: none), e.g. a start not yet begun
  std::uint32_t mainPid = 0;
  std::int32_t execMainCode = 0;    // CLD_EXITED, CLD_KILLED, ... of the last main process
  std::int32_t execMainStatus = 0;  // its exit status or signal number
};

struct UnitListEntry {
  std::string name;         // "foo.service"
  std::string activeState;  // "" for a unit file that is not loaded
};

class SystemdBus {
 public:
  // This machine's manager: $RDX_SYSTEMD_BUS_ADDRESS when set, else the system bus
  // ($DBUS_SYSTEM_BUS_ADDRESS or the standard socket). Null with `code` set on failure.
  [[nodiscard]] static std::unique_ptr<SystemdBus> OpenLocal(std::uint32_t& code);
  // `host`'s manager over `ssh -xT host systemd-stdio-bridge`; the transport starts lazily,
  // so the connection is proven with a first call. Unreachable: null and 1722.
  [[nodiscard]] static std::unique_ptr<SystemdBus> OpenRemote(const std::string& host,
                                                              std::uint32_t& code);

  ~SystemdBus();
  SystemdBus(const SystemdBus&) = delete;
  SystemdBus& operator=(const SystemdBus&) = delete;

  // Ends the connection; every later call answers 6 (invalid handle).
  void Close() noexcept;

  [[nodiscard]] std::uint32_t Reload();
  [[nodiscard]] std::uint32_t StartUnit(const std::string& unit);
  [[nodiscard]] std::uint32_t StopUnit(const std::string& unit);
  [[nodiscard]] std::uint32_t ResetFailedUnit(const std::string& unit);
  // Sends `signal` to the unit's main process.
  [[nodiscard]] std::uint32_t KillMainProcess(const std::string& unit, int signal);
  // Loads the unit from disk when it is not loaded yet and reads its properties; a unit
  // with no file reads with loadState "not-found".
  [[nodiscard]] std::uint32_t QueryUnit(const std::string& unit, UnitProperties& properties);
  // Enables (symlinks from its [Install] section) or disables unit files.
  [[nodiscard]] std::uint32_t EnableUnitFile(const std::string& unit);
  [[nodiscard]] std::uint32_t DisableUnitFile(const std::string& unit);
  // Every loaded unit and every unit file whose name matches the glob, each name once,
  // loaded units first in the manager's order.
  [[nodiscard]] std::uint32_t ListUnits(const std::string& pattern,
                                        std::vector<UnitListEntry>& units);

 private:
  struct Impl;
  explicit SystemdBus(std::unique_ptr<Impl> impl);
  std::unique_ptr<Impl> impl_;
};

}  // namespace rdx::os
