#include <rdx/reporting/PipeSender.h>

#include "platform/os/LastError.h"
#include "platform/os/PipeFolder.h"
#include "platform/os/SeqPacketSocket.h"
#include "reporting/PipeFraming.h"

#include <algorithm>

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
  using namespace pipeframing;
  try {
    if (message.size() > kMaxMessageBytes) {
      rdx::os::SetLastError(rdx::os::kErrorInvalidParameter);  // no listener would take it
      return false;
    }
    std::size_t offset = 0;
    bool sent = true;
    if (message.empty()) {
      sent = socket_->Send(nullptr, 0, nullptr, 0);  // nothing to send, but is it connected?
    }
    while (sent && offset < message.size()) {
      const std::size_t size = std::min(kRecordPayloadBytes, message.size() - offset);
      const char flag = offset + size == message.size() ? kLastRecord : kMoreRecords;
      sent = socket_->Send(&flag, 1, message.data() + offset, size);
      if (sent) offset += size;
    }
    if (sent) return true;
    const std::uint32_t failed = rdx::os::GetLastError();
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
  socket_->Close();
  return true;
}

}  // namespace QUORVAN::Rendix::Global
