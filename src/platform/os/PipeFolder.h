#pragma once
// Where named pipes live: one Unix-domain socket file per pipe name in the pipe folder.

#include <string>
#include <vector>

namespace rdx::os {

// The pipe folder, created if needed, ending in "/": $RDX_PIPE_DIR when set, else the one
// machine-wide folder /run/quorvan/pipes, else /tmp/quorvan-pipes (each as SharedPipeFolder
// accepts it). The same for every user, so any local caller reaches any pipe. Empty when none
// is usable (the last error then says why). Resolved on every call so a changed environment
// is honoured.
std::string PipeFolder();

// PipeFolder's choice with its inputs named: `configured` (null or empty: not set), else the
// first of `machineWide` that SharedPipeFolder accepts. Kept apart so the chain can be tried on
// folders other than the machine's own.
std::string ChoosePipeFolder(const char* configured, const std::vector<std::string>& machineWide);

// Makes or checks a machine-wide pipe folder: created with mode 1777 (parents 0755); an
// existing one must be a real folder, not a symbolic link, with mode 1777, or our own folder
// (then set to 1777). False with the last error (5 when refused) otherwise.
bool SharedPipeFolder(const std::string& path);

// The socket file for pipeName on machine; empty with last error 53 (network path not found)
// for another machine, or with the folder's error when no pipe folder is usable. Separators
// in the pipe name become '_' so the socket stays inside the pipe folder.
std::string NamedPipeSocketPath(const std::string& pipeName, const std::string& machine);

}  // namespace rdx::os
