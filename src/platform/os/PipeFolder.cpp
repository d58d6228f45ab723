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

// mkdir -p; an existing folder is fine. Parents get 0755; a leaf this call creates gets
// exactly kSharedMode (umask does not apply).
bool MakeFolders(const std::string& folder) {
  for (std::size_t i = 1; i <= folder.size(); ++i) {
    if (i != folder.size() && folder[i] != '/') continue;
    const std::string part = folder.substr(0, i);
    const bool leaf = i == folder.size();
    if (::mkdir(part.c_str(), leaf ? kSharedMode : 0755) == 0) {
      if (leaf) (void)::chmod(part.c_str(), kSharedMode);
    } else if (errno != EEXIST) {
      SetLastErrorFromErrno(errno);
      return false;
    }
  }
  return true;
}

std::string Trimmed(std::string folder) {
  while (folder.size() > 1 && folder.back() == '/') folder.pop_back();
  return folder;
}

bool Reachable(const std::string& folder) {
  // Connecting to a socket file needs write and search permission on its folder.
  if (::access(folder.c_str(), W_OK | X_OK) == 0) return true;
  SetLastErrorFromErrno(errno);
  return false;
}

}  // namespace

bool SharedPipeFolder(const std::string& path) {
  const std::string folder = Trimmed(path);
  if (folder.empty() || !MakeFolders(folder)) return false;
  struct stat info;
  if (::lstat(folder.c_str(), &info) != 0) {
    SetLastErrorFromErrno(errno);
    return false;
  }
  // A symbolic link or other file planted at the name could lead our sockets elsewhere.
  if (!S_ISDIR(info.st_mode)) {
    SetLastError(kErrorAccessDenied);
    return false;
  }
  if ((info.st_mode & 07777) != kSharedMode) {
    // Our own (or root's, when we are root) folder with other rights is put right; anyone
    // else's is not one every user can trust, so it is refused.
    if (info.st_uid != ::geteuid() || ::chmod(folder.c_str(), kSharedMode) != 0) {
      SetLastError(kErrorAccessDenied);
      return false;
    }
  }
  return Reachable(folder);
}

std::string ChoosePipeFolder(const char* configured, const std::vector<std::string>& machineWide) {
  if (configured != nullptr && *configured != '\0') {
    // The operator's choice: created open to everyone when missing, otherwise used as it is.
    const std::string folder = Trimmed(configured);
    if (folder.empty() || !MakeFolders(folder) || !Reachable(folder)) return {};
    return folder + "/";
  }
  for (const std::string& folder : machineWide) {
    if (SharedPipeFolder(folder)) return Trimmed(folder) + "/";
  }
  return {};
}

std::string PipeFolder() {
  // One folder for the whole machine, the same for every user, so every local caller can
  // reach every pipe: /run when it is there or we may create it, else a fixed name in /tmp.
  return ChoosePipeFolder(std::getenv("RDX_PIPE_DIR"), {"/run/quorvan/pipes", "/tmp/quorvan-pipes"});
}

std::string NamedPipeSocketPath(const std::string& pipeName, const std::string& machine) {
  if (!IsThisMachine(machine)) {
    SetLastError(kErrorBadNetPath);
    return {};
  }
  if (pipeName.empty()) {
    SetLastError(kErrorInvalidParameter);
    return {};
  }
  std::string folder = PipeFolder();
  if (folder.empty()) return {};
  for (const char c : pipeName) folder += (c == '/' || c == '\\') ? '_' : c;
  return folder;
}

}  // namespace rdx::os
