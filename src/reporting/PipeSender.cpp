#include <rdx/reporting/PipeSender.h>

#include "platform/os/LastError.h"
#include "platform/os/PipeFolder.h"
#include "platform/os/SeqPacketSocket.h"
#include "reporting/PipeFraming.h"

#include <algorithm>
#include <utility>

namespace QUORVAN::Rendix::Global {

struct PipeSender::State {
  std::string path;      // "\\\\machine\\PIPE\\name", as the pipe is known to users
  std::string pipeName;  // resolved to a socket file at each (re)connection
  std::string machine;
  rdx::os::SeqPacketSocket socket;  // invalid when disconnected
};

PipeSender::PipeSender() : state_(std::make_unique<State>()) {}

PipeSender::~PipeSender() { Close(); }

bool PipeSender::ConnectTo(const std::string& pipeName, const std::string& machine) {
  try {
    Close();
    state_->path = "\\\\" + machine + "\\PIPE\\" + pipeName;
    state_->pipeName = pipeName;
    state_->machine = machine;
    return Connect();
  } catch (...) {
    return false;
  }
}

bool PipeSender::Connect() {
  State& state = *state_;
  if (state.path.empty()) {
    rdx::os::SetLastError(rdx::os::kErrorInvalidHandle);  // never given a pipe to connect to
    return false;
  }
  // Resolved at every attempt: the pipe folder may appear after the first one.
  const rdx::os::OsResult<std::string> socketPath =
      rdx::os::NamedPipeSocketPath(state.pipeName, state.machine);
  if (!socketPath.ok()) {  // another machine (53) or no usable pipe folder
    rdx::os::SetLastError(socketPath.code);
    return false;
  }
  rdx::os::OsResult<rdx::os::SeqPacketSocket> connected =
      rdx::os::SeqPacketSocket::Connect(socketPath.value);
  state.socket = std::move(connected.value);
  if (!connected.ok()) rdx::os::SetLastError(connected.code);
  return connected.ok();
}

bool PipeSender::CheckConnection() {
  const std::uint32_t error = rdx::os::GetLastError();
  return error != rdx::os::kErrorBrokenPipe && error != rdx::os::kErrorNoData &&
         error != rdx::os::kErrorInvalidHandle;
}

bool PipeSender::SendMessageW(const std::string& message) {
  using namespace pipeframing;
  try {
    if (message.size() > kMaxMessageBytes) {
      rdx::os::SetLastError(rdx::os::kErrorInvalidParameter);  // no listener would take it
      return false;
    }
    std::size_t offset = 0;
    std::uint32_t failed = 0;
    if (message.empty()) {
      failed =
          state_->socket.Send(nullptr, 0, nullptr, 0);  // nothing to send, but is it connected?
    }
    while (failed == 0 && offset < message.size()) {
      const std::size_t size = std::min(kRecordPayloadBytes, message.size() - offset);
      const char flag = offset + size == message.size() ? kLastRecord : kMoreRecords;
      failed = state_->socket.Send(&flag, 1, message.data() + offset, size);
      if (failed == 0) offset += size;
    }
    if (failed == 0) return true;
    rdx::os::SetLastError(failed);
    // A lost connection is made again at once; so is one that failed within a message, as the
    // listener would otherwise join the rest of that message to the next one.
    if (!CheckConnection() || offset != 0) Connect();
    rdx::os::SetLastError(failed);  // callers see why this message failed, not the reconnect
    return false;
  } catch (...) {
    return false;
  }
}

void PipeSender::Log(const char* line) {
  if (line == nullptr || *line == '\0') return;
  try {
    (void)SendMessageW(line);
  } catch (...) {
  }
}

bool PipeSender::Close() {
  state_->socket.Close();
  return true;
}

}  // namespace QUORVAN::Rendix::Global
