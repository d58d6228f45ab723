#include "platform/os/PipeFolder.h"

#include "platform/os/HostInfo.h"
#include "platform/os/LastError.h"

#include <strings.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>

namespace rdx::os {
namespace {

// Every local user may create and reach pipes here; the sticky bit keeps each user's socket
// files safe from the others.
constexpr mode_t kSharedMode = 01777;

// mkdir -p; an existing folder is fine: 0 or the failure's code. Parents get 0755; a leaf
// this call creates gets exactly kSharedMode (umask does not apply).
std::uint32_t MakeFolders(const std::string& folder) {
  for (std::size_t i = 1; i <= folder.size(); ++i) {
    if (i != folder.size() && folder[i] != '/') continue;
    const std::string part = folder.substr(0, i);
    const bool leaf = i == folder.size();
    if (::mkdir(part.c_str(), leaf ? kSharedMode : 0755) == 0) {
      if (leaf) (void)::chmod(part.c_str(), kSharedMode);
    } else if (errno != EEXIST) {
      return Win32FromErrno(errno);
    }
  }
  return kErrorSuccess;
}

std::string Trimmed(std::string folder) {
  while (folder.size() > 1 && folder.back() == '/') folder.pop_back();
  return folder;
}

std::uint32_t Reachable(const std::string& folder) {
  // Connecting to a socket file needs write and search permission on its folder.
  return ::access(folder.c_str(), W_OK | X_OK) == 0 ? kErrorSuccess : Win32FromErrno(errno);
}

}  // namespace

std::uint32_t SharedPipeFolder(const std::string& path) {
  const std::string folder = Trimmed(path);
  // An empty name has nothing to say for itself; it was refused without a code before either.
  if (folder.empty()) return kErrorInvalidParameter;
  if (const std::uint32_t code = MakeFolders(folder); code != 0) return code;
  struct stat info;
  if (::lstat(folder.c_str(), &info) != 0) return Win32FromErrno(errno);
  // A symbolic link or other file planted at the name could lead our sockets elsewhere.
  if (!S_ISDIR(info.st_mode)) return kErrorAccessDenied;
  if ((info.st_mode & 07777) != kSharedMode) {
    // Our own (or root's, when we are root) folder with other rights is put right; anyone
    // else's is not one every user can trust, so it is refused.
    if (info.st_uid != ::geteuid() || ::chmod(folder.c_str(), kSharedMode) != 0) {
      return kErrorAccessDenied;
    }
  }
  return Reachable(folder);
}

OsResult<std::string> ChoosePipeFolder(const char* configured,
                                       const std::vector<std::string>& machineWide) {
  if (configured != nullptr && *configured != '\0') {
    // The operator's choice: created open to everyone when missing, otherwise used as it is.
    const std::string folder = Trimmed(configured);
    std::uint32_t code = MakeFolders(folder);
    if (code == 0) code = Reachable(folder);
    if (code != 0) return {{}, code};
    return {folder + "/", kErrorSuccess};
  }
  std::uint32_t code = kErrorPathNotFound;
  for (const std::string& folder : machineWide) {
    code = SharedPipeFolder(folder);
    if (code == 0) return {Trimmed(folder) + "/", kErrorSuccess};
  }
  return {{}, code};
}

OsResult<std::string> PipeFolder() {
  // One folder for the whole machine, the same for every user, so every local caller can
  // reach every pipe: /run when it is there or we may create it, else a fixed name in /tmp.
  return ChoosePipeFolder(std::getenv("RDX_PIPE_DIR"),
                          {"/run/quorvan/pipes", "/tmp/quorvan-pipes"});
}

OsResult<std::string> NamedPipeSocketPath(const std::string& pipeName, const std::string& machine) {
  if (!IsThisMachine(machine)) return {{}, kErrorBadNetPath};
  if (pipeName.empty()) return {{}, kErrorInvalidParameter};
  OsResult<std::string> folder = PipeFolder();
  if (!folder.ok()) return folder;
  for (const char c : pipeName) folder.value += (c == '/' || c == '\\') ? '_' : c;
  return folder;
}

}  // namespace rdx::os
