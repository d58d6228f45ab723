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

// mkdir -p; an existing folder is fine. Parents get 0755; a leaf this call creates gets
// exactly leafMode (umask does not apply), so a shared pipe folder can be open to every user.
bool MakeFolders(const std::string& folder, mode_t leafMode) {
  for (std::size_t i = 1; i <= folder.size(); ++i) {
    if (i != folder.size() && folder[i] != '/') continue;
    const std::string part = folder.substr(0, i);
    const bool leaf = i == folder.size();
    if (::mkdir(part.c_str(), leaf ? leafMode : 0755) == 0) {
      if (leaf) (void)::chmod(part.c_str(), leafMode);
    } else if (errno != EEXIST) {
      SetLastErrorFromErrno(errno);
      return false;
    }
  }
  return true;
}

bool Usable(std::string folder, mode_t mode, std::string& out) {
  while (folder.size() > 1 && folder.back() == '/') folder.pop_back();
  if (folder.empty() || !MakeFolders(folder, mode)) return false;
  // Connecting to a socket file needs write and search permission on its folder.
  if (::access(folder.c_str(), W_OK | X_OK) != 0) {
    SetLastErrorFromErrno(errno);
    return false;
  }
  out = folder + "/";
  return true;
}

}  // namespace

std::string PipeFolder() {
  std::string folder;
  if (const char* configured = std::getenv("RDX_PIPE_DIR"); configured && *configured) {
    return Usable(configured, 0700, folder) ? folder : std::string();
  }
  // Shared by every local user, like a pipe namespace; the sticky bit keeps each user's
  // pipes their own.
  if (Usable("/run/quorvan/pipes", 01777, folder)) return folder;
  if (const char* runtime = std::getenv("XDG_RUNTIME_DIR"); runtime && *runtime) {
    if (Usable(std::string(runtime) + "/quorvan/pipes", 0700, folder)) return folder;
  }
  const std::string own = "/tmp/quorvan-pipes-" + std::to_string(::getuid());
  struct stat info;
  // In /tmp anyone could have made the folder first: only one of our own is trusted.
  if (Usable(own, 0700, folder)) {
    if (::stat(own.c_str(), &info) == 0 && info.st_uid == ::getuid()) return folder;
    SetLastError(kErrorAccessDenied);
  }
  return {};
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
