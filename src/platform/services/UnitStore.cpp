#include "platform/services/UnitStore.h"

#include "platform/PlatformText.h"
#include "platform/os/ChildProcess.h"
#include "platform/os/FileSystem.h"
#include "platform/os/LastError.h"
#include "platform/os/TextFiles.h"

#include <chrono>
#include <cstdlib>
#include <vector>

namespace rdx::services {
namespace {

// Unit files are a few hundred bytes; anything far larger is not one of ours.
constexpr std::size_t kMaxUnitFile = 1 << 20;
constexpr auto kRemoteTimeout = std::chrono::seconds(30);
constexpr int kSshFailed = 255;

class LocalStore final : public UnitStore {
 public:
  explicit LocalStore(std::string folder) : folder_(std::move(folder)) {}
  std::uint32_t Exists(const std::string& unit, bool& exists) override {
    exists = os::PathExists(Path(unit));
    return 0;
  }
  std::uint32_t Read(const std::string& unit, std::string& text) override {
    return os::ReadTextFile(Path(unit), kMaxUnitFile, text);
  }
  std::uint32_t Write(const std::string& unit, const std::string& text) override {
    return os::ReplaceTextFile(Path(unit), text);
  }
  std::uint32_t Remove(const std::string& unit) override { return os::RemoveFile(Path(unit)); }

 private:
  std::string Path(const std::string& unit) const { return folder_ + "/" + unit; }
  std::string folder_;
};

// Exit statuses of the remote scripts: 2 missing file, 3 no folder, 5 cannot write or read.
class RemoteStore final : public UnitStore {
 public:
  explicit RemoteStore(std::string host) : host_(std::move(host)) {}
  std::uint32_t Exists(const std::string& unit, bool& exists) override {
    std::string ignored;
    const std::uint32_t code = Run("[ -e \"$f\" ] || exit 2", unit, ignored);
    exists = code == 0;
    return code == os::kErrorFileNotFound ? 0 : code;
  }
  std::uint32_t Read(const std::string& unit, std::string& text) override {
    return Run("[ -e \"$f\" ] || exit 2; [ -f \"$f\" ] && [ -r \"$f\" ] || exit 5; "
               "head -c " +
                   std::to_string(kMaxUnitFile) + " \"$f\"",
               unit, text);
  }
  std::uint32_t Write(const std::string& unit, const std::string& text) override {
    std::string ignored;
    return Run("[ -d \"$d\" ] || exit 3; t=\"$f.rdx-new\"; "
               "{ printf %s " +
                   platform::ShellQuoted(text) +
                   " >\"$t\" && chmod 644 \"$t\" && "
                   "mv -f \"$t\" \"$f\"; } 2>/dev/null || { rm -f \"$t\"; exit 5; }",
               unit, ignored);
  }
  std::uint32_t Remove(const std::string& unit) override {
    std::string ignored;
    return Run("[ -e \"$f\" ] || exit 2; rm -f \"$f\" 2>/dev/null || exit 5", unit, ignored);
  }

 private:
  std::uint32_t Run(const std::string& body, const std::string& unit, std::string& output) {
    const std::string script = "d=\"${RDX_SYSTEMD_UNIT_DIR:-/etc/systemd/system}\"; f=\"$d\"/" +
                               platform::ShellQuoted(unit) + "; " + body;
    // Batch mode: the user's keys or nothing; a password prompt would hang the caller.
    const std::vector<std::string> argv = {
        "ssh", "-xT", "-o", "BatchMode=yes", "--", host_, "sh -c " + platform::ShellQuoted(script)};
    const os::ChildResult child = os::RunChild(argv, kMaxUnitFile + 1, kRemoteTimeout);
    std::uint32_t code = 0;
    if (!child.started || child.timedOut || child.exitCode < 0 || child.exitCode == kSshFailed) {
      code = os::kRpcServerUnavailable;
    } else if (child.exitCode == 2) {
      code = os::kErrorFileNotFound;
    } else if (child.exitCode == 3) {
      code = os::kErrorPathNotFound;
    } else if (child.exitCode != 0 || child.output.size() > kMaxUnitFile) {
      code = os::kErrorAccessDenied;
    } else {
      output = child.output;
    }
    os::SetLastError(code);
    return code;
  }
  std::string host_;
};

}  // namespace

std::string LocalUnitFolder() {
  const char* folder = std::getenv("RDX_SYSTEMD_UNIT_DIR");
  return folder != nullptr && *folder != '\0' ? folder : "/etc/systemd/system";
}

std::unique_ptr<UnitStore> LocalUnitStore() {
  return std::make_unique<LocalStore>(LocalUnitFolder());
}

std::unique_ptr<UnitStore> RemoteUnitStore(const std::string& host) {
  return std::make_unique<RemoteStore>(host);
}

}  // namespace rdx::services
