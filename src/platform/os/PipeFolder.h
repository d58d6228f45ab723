#pragma once
// Where named pipes live: one Unix-domain socket file per pipe name in the pipe folder.

#include <string>

namespace rdx::os {

// The pipe folder, created if needed, ending in "/": $RDX_PIPE_DIR when set, else
// /run/quorvan/pipes, else $XDG_RUNTIME_DIR/quorvan/pipes, else /tmp/quorvan-pipes-<uid>; the
// first that exists or can be created and is writable wins. Empty when none is usable (the
// last error then says why). Resolved on every call so a changed environment is honoured.
std::string PipeFolder();

// The socket file for pipeName on machine; empty with last error 53 (network path not found)
// for another machine, or with the folder's error when no pipe folder is usable. Separators
// in the pipe name become '_' so the socket stays inside the pipe folder.
std::string NamedPipeSocketPath(const std::string& pipeName, const std::string& machine);

}  // namespace rdx::os
