#pragma once
// Where named pipes live: one Unix-domain socket file per pipe name in the pipe folder.

#include <cstdint>
#include <string>
#include <vector>

#include "platform/os/OsResult.h"

namespace rdx::os {

// The pipe folder, created if needed, ending in "/": $RDX_PIPE_DIR when set, else the one
// machine-wide folder /run/quorvan/pipes, else /tmp/quorvan-pipes (each as SharedPipeFolder
// accepts it). The same for every user, so any local caller reaches any pipe. Fails with the
// code of the last folder tried when none is usable. Resolved on every call so a changed
// environment is honoured.
OsResult<std::string> PipeFolder();

// PipeFolder's choice with its inputs named: `configured` (null or empty: not set), else the
// first of `machineWide` that SharedPipeFolder accepts. Kept apart so the chain can be tried on
// folders other than the machine's own.
OsResult<std::string> ChoosePipeFolder(const char* configured,
                                       const std::vector<std::string>& machineWide);

// Makes or checks a machine-wide pipe folder: created with mode 1777 (parents 0755); an
// existing one must be a real folder, not a symbolic link, with mode 1777, or our own folder
// (then set to 1777). 0, or the failure's code (5 when refused).
[[nodiscard]] std::uint32_t SharedPipeFolder(const std::string& path);

// The socket file for pipeName on machine. Fails with 53 (network path not found) for another
// machine, 87 for no name, or the folder's code when no pipe folder is usable. Separators in
// the pipe name become '_' so the socket stays inside the pipe folder.
OsResult<std::string> NamedPipeSocketPath(const std::string& pipeName, const std::string& machine);

}  // namespace rdx::os
