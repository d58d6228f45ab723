#pragma once
// The folder that holds the unit files of installed services, on this machine or another.
// This machine's is $RDX_SYSTEMD_UNIT_DIR, default /etc/systemd/system. Another machine's is
// reached with `ssh -xT -o BatchMode=yes -- HOST sh -c SCRIPT` (the same program and host that
// carry the D-Bus connection), and is that machine's $RDX_SYSTEMD_UNIT_DIR or the default.
// Every call answers a Win32-style code: 0, 2 missing, 3 no such folder, 5 denied, 1722 the
// machine cannot be reached.

#include <cstdint>
#include <memory>
#include <string>

namespace rdx::services {

class UnitStore {
 public:
  virtual ~UnitStore() = default;
  [[nodiscard]] virtual std::uint32_t Exists(const std::string& unit, bool& exists) = 0;
  [[nodiscard]] virtual std::uint32_t Read(const std::string& unit, std::string& text) = 0;
  // Replaces the unit file whole; nothing is left behind when it fails.
  [[nodiscard]] virtual std::uint32_t Write(const std::string& unit, const std::string& text) = 0;
  // 0, or 2 when there was no file.
  [[nodiscard]] virtual std::uint32_t Remove(const std::string& unit) = 0;
};

std::unique_ptr<UnitStore> LocalUnitStore();
std::unique_ptr<UnitStore> RemoteUnitStore(const std::string& host);

// The folder of this machine's store.
std::string LocalUnitFolder();

}  // namespace rdx::services
