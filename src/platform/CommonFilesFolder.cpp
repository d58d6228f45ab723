// The product's common files folder on this or another machine. Another machine's registry
// store is read over SSH, the way remote systemd is reached; this machine is always read
// directly.
#include <rdx/platform/SystemInformation.h>

#include <rdx/foundation/StringUtility.h>

#include "platform/PlatformText.h"
#include "platform/os/ChildProcess.h"
#include "platform/os/HostInfo.h"
#include "platform/os/LastError.h"
#include "platform/os/RegistryStore.h"

#include <chrono>
#include <cstdlib>
#include <vector>

namespace QUORVAN::Rendix::GeneralUtilityLib {
namespace {

// The registry buffer size for "CommonHome": a path of at most 259 bytes.
constexpr std::size_t kCommonHomeCapacity = 260;
// A remote "values" file is as bounded as a local one.
constexpr std::size_t kMaxRemoteBytes = rdx::os::kMaxRegistryFileBytes + 1;
// ssh's own failures (no route, refused, no key) end with this status.
constexpr int kSshFailed = 255;
constexpr auto kRemoteTimeout = std::chrono::seconds(30);

// A POSIX shell script that finds the product key in the other machine's store, names
// matched without case like the local store, and prints its "values" file. Exit 2: a level is
// missing; 5: a level or the file cannot be read.
std::string RemoteScript(const std::string& keyPath) {
  std::string levels;
  std::string current;
  for (char c : keyPath + "\\") {
    if (c == '\\' || c == '/') {
      if (!current.empty()) levels += " " + rdx::platform::ShellQuoted(current);
      current.clear();
    } else {
      current += c;
    }
  }
  return "d=\"${RDX_REGISTRY_ROOT:-/etc/quorvan/registry}\"; [ -d \"$d\" ] || exit 2; "
         "for level in" +
         levels +
         " values; do "
         "[ -r \"$d\" ] && [ -x \"$d\" ] || exit 5; "
         "want=$(printf %s \"$level\" | tr A-Z a-z); next=; "
         "for e in \"$d\"/* \"$d\"/.[!.]*; do [ -e \"$e\" ] || continue; "
         "n=$(basename \"$e\" | tr A-Z a-z); [ \"$n\" = \"$want\" ] && { next=$e; break; }; done; "
         "[ -n \"$next\" ] || exit 2; d=$next; done; "
         "[ -f \"$d\" ] && [ -r \"$d\" ] || exit 5; head -c " +
         std::to_string(kMaxRemoteBytes) + " \"$d\"";
}

struct KeyRead {
  std::uint32_t code = 0;
  std::string valuesText;
};

KeyRead ReadRemoteKey(const std::string& machine, const std::string& keyPath) {
  KeyRead result;
  const char* sshOverride = std::getenv("RDX_SSH");
  const std::string ssh = (sshOverride != nullptr && *sshOverride != '\0') ? sshOverride : "ssh";
  // Batch mode: the user's keys or nothing; a password prompt would hang a service.
  const std::vector<std::string> argv = {
      ssh,
      "-o",
      "BatchMode=yes",
      "-o",
      "ConnectTimeout=10",
      "-T",
      "--",
      machine,
      "sh -c " + rdx::platform::ShellQuoted(RemoteScript(keyPath))};
  const rdx::os::ChildResult child = rdx::os::RunChild(argv, kMaxRemoteBytes, kRemoteTimeout);
  if (!child.started || child.timedOut || child.exitCode == kSshFailed || child.exitCode < 0) {
    result.code = rdx::os::kErrorBadNetPath;
  } else if (child.exitCode == 2) {
    result.code = rdx::os::kErrorFileNotFound;
  } else if (child.exitCode == 5 || child.output.size() > rdx::os::kMaxRegistryFileBytes) {
    result.code = rdx::os::kErrorAccessDenied;
  } else if (child.exitCode != 0) {
    result.code = rdx::os::kErrorBadNetPath;  // no POSIX shell there: not a machine we can read
  } else {
    result.valuesText = child.output;
  }
  return result;
}

}  // namespace

std::string GetRendixCommonFilesFolder(const std::string& machine, std::int32_t& errorCode,
                                       std::string& errorText) {
  errorText = "";
  try {
    const std::string keyPath = rdx::platform::ProductKey();
    KeyRead key;
    const bool local = rdx::os::IsThisMachine(machine);
    if (local) {
      const rdx::os::RegistryRead found =
          rdx::os::FindRegistryKey(rdx::os::RegistryRoot(), keyPath);
      key.code = found.code;
    } else {
      key = ReadRemoteKey(machine, keyPath);
    }
    // Connecting and opening the key are one step here; their failures keep their own texts.
    errorCode = static_cast<std::int32_t>(key.code);
    if (key.code == rdx::os::kErrorBadNetPath) {
      errorText = "The machine '" + machine + "' is not reachable.";
      return "";
    }
    if (key.code == rdx::os::kErrorAccessDenied) {
      errorText = "Access to machine '" + machine +
                  "' is denied. Please check if you have administrative rights on the machine";
      return "";
    }
    if (key.code != 0) {
      errorText = GetLastErrorText(errorCode);
      return "";
    }
    rdx::os::RegistryRead value;
    if (local) {
      value = rdx::os::ReadRegistryValue(rdx::os::RegistryRoot(), keyPath, "CommonHome",
                                         kCommonHomeCapacity);
    } else {
      value = rdx::os::FindRegistryValue(key.valuesText, "CommonHome", kCommonHomeCapacity);
    }
    errorCode = static_cast<std::int32_t>(value.code);
    if (value.code != 0) {
      errorText = GetLastErrorText(errorCode);
      return "";
    }
    // Forward slashes on purpose: the folder is meant to be used from other machines.
    return rdx::platform::WithTrailingSlash(rdx::platform::ForwardSlashes(chopSpaces(value.value)));
  } catch (...) {
    errorCode = static_cast<std::int32_t>(rdx::os::kErrorNotEnoughMemory);
    errorText = GetLastErrorText(errorCode);
    return "";
  }
}

}  // namespace QUORVAN::Rendix::GeneralUtilityLib
