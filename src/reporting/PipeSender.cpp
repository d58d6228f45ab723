#include <rdx/reporting/PipeSender.h>

#include "platform/os/LastError.h"
#include "platform/os/PipeFolder.h"
#include "platform/os/SeqPacketSocket.h"

namespace QUORVAN::Rendix::Global {

PipeSender::PipeSender() : socket_(std::make_unique<rdx::os::SeqPacketSocket>()) {}

PipeSender::~PipeSender() { Close(); }

bool PipeSender::ConnectTo(const std::string& pipeName, const std::string& machine) {
  try {
    Close();
    path_ = "\\\\" + machine + "\\PIPE\\" + pipeName;
    pipeName_ = pipeName;
    machine_ = machine;
    return Connect();
  } catch (...) {
    return false;
  }
}

bool PipeSender::Connect() {
  if (path_.empty()) {
    rdx::os::SetLastError(rdx::os::kErrorInvalidHandle);  // never given a pipe to connect to
    return false;
  }
  // Resolved at every attempt: the pipe folder may appear after the first one.
  const std::string socketPath = rdx::os::NamedPipeSocketPath(pipeName_, machine_);
  if (socketPath.empty()) return false;  // another machine (53) or no usable pipe folder
  *socket_ = rdx::os::SeqPacketSocket::Connect(socketPath);
  return socket_->Valid();
}

bool PipeSender::CheckConnection() {
  const std::uint32_t error = rdx::os::GetLastError();
  return error != rdx::os::kErrorBrokenPipe && error != rdx::os::kErrorNoData &&
         error != rdx::os::kErrorInvalidHandle;
}

bool PipeSender::SendMessageW(const std::string& message) {
  try {
    if (socket_->Send(message.data(), message.size())) return true;
    // Only a lost connection is a failure; other write errors are deliberately not reported.
    if (CheckConnection()) return true;
    const std::uint32_t lost = rdx::os::GetLastError();
    Connect();
    rdx::os::SetLastError(lost);  // callers see why this message failed, not the reconnect
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
  socket_->Close();
  return true;
}

}  // namespace QUORVAN::Rendix::Global
