#include <rdx/reporting/PipeListener.h>

#include "platform/os/LastError.h"
#include "platform/os/PipeFolder.h"
#include "platform/os/SeqPacketSocket.h"
#include "reporting/PipeFraming.h"

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstring>
#include <list>
#include <mutex>
#include <thread>
#include <utility>
#include <vector>

namespace QUORVAN::Rendix::Global {
namespace {

// Pending I/O is polled this often so a cleared active flag is seen within this time.
constexpr int kPollMilliseconds = 50;
// Messages are read in chunks of this size; each chunk counts as zero-terminated text.
constexpr std::size_t kChunkBytes = 8000;
// Clients served at once, as many as a pipe has instances. Further clients wait, connected
// but not yet accepted, until one of these leaves: a flood of clients cannot take threads and
// buffers without bound.
constexpr std::size_t kMaxClients = 255;

// Turns a message's bytes into the text the reader sees: each 8000-byte chunk up to its first
// zero byte, in place. Kept so: the transport carries text, never binary.
void KeepTextOfEachChunk(std::string& message) {
  std::size_t kept = 0;
  for (std::size_t offset = 0; offset < message.size(); offset += kChunkBytes) {
    const std::size_t size = std::min(kChunkBytes, message.size() - offset);
    const void* zero = std::memchr(message.data() + offset, '\0', size);
    const std::size_t text =
        zero ? static_cast<std::size_t>(static_cast<const char*>(zero) - (message.data() + offset))
             : size;
    if (kept != offset) std::memmove(message.data() + kept, message.data() + offset, text);
    kept += text;
  }
  message.resize(kept);
}

}  // namespace

struct PipeListener::State {
  std::atomic<bool> active{true};  // while set, the threads keep serving
  std::string path;                // "\\\\machine\\PIPE\\name"
  std::string socketPath;
  Callback callback = nullptr;
  void* context = nullptr;
  rdx::os::SeqPacketSocket listening;
  std::thread listener;
  std::atomic<bool> listenerEnded{true};
};

namespace {

// One client's record, owned by its handler thread.
struct Connection {
  rdx::os::SeqPacketSocket socket;
  PipeListener::Callback callback;
  void* context;
  const std::atomic<bool>* active;
  std::atomic<bool> ended{false};
};

}  // namespace

PipeListener::PipeListener() : state_(std::make_unique<State>()) {}

PipeListener::~PipeListener() {
  Stop();
  Close();
}

void PipeListener::Stop() { state_->active.store(false); }

bool PipeListener::ConnectTo(const std::string& pipeName, Callback callback, void* context,
                             const std::string& machine) {
  try {
    if (!state_->listenerEnded.load()) {
      rdx::os::SetLastError(rdx::os::kErrorPipeBusy);
      return false;
    }
    if (state_->listener.joinable()) state_->listener.join();
    const rdx::os::OsResult<std::string> socketPath =
        rdx::os::NamedPipeSocketPath(pipeName, machine);
    if (!socketPath.ok()) {
      rdx::os::SetLastError(socketPath.code);
      return false;
    }
    // Created here rather than on the listening thread, so a client may connect as soon as
    // this returns and a failure is reported to the caller instead of ending a thread quietly.
    rdx::os::OsResult<rdx::os::SeqPacketSocket> listening =
        rdx::os::SeqPacketSocket::Listen(socketPath.value);
    if (!listening.ok()) {
      rdx::os::SetLastError(listening.code);
      return false;
    }
    state_->path = "\\\\" + machine + "\\PIPE\\" + pipeName;
    state_->socketPath = socketPath.value;
    state_->callback = callback;
    state_->context = context;
    state_->listening = std::move(listening.value);
    state_->active.store(true);
    state_->listenerEnded.store(false);
    try {
      state_->listener = std::thread(&PipeListener::ListeningForConnections, state_.get());
    } catch (...) {
      state_->listenerEnded.store(true);
      state_->listening.Close();
      throw;
    }
    return true;
  } catch (...) {
    return false;
  }
}

bool PipeListener::Close() {
  if (state_->listener.joinable()) state_->listener.join();
  return true;
}

void PipeListener::ListeningForConnections(void* listener) {
  auto* state = static_cast<State*>(listener);
  std::list<std::pair<std::thread, std::unique_ptr<Connection>>> handlers;
  auto reap = [&handlers](bool all) {
    for (auto it = handlers.begin(); it != handlers.end();) {
      if (all || it->second->ended.load()) {
        if (it->first.joinable()) it->first.join();
        it = handlers.erase(it);
      } else {
        ++it;
      }
    }
  };
  try {
    while (state->active.load()) {
      reap(false);  // finished clients leave no thread behind in a long-running listener
      if (handlers.size() >= kMaxClients) {
        std::this_thread::sleep_for(std::chrono::milliseconds(kPollMilliseconds));
        continue;
      }
      const auto wait = state->listening.WaitReadable(kPollMilliseconds);
      if (!state->active.load() || wait == rdx::os::SeqPacketSocket::Wait::kFailed) break;
      if (wait == rdx::os::SeqPacketSocket::Wait::kTimeout) continue;
      rdx::os::OsResult<rdx::os::SeqPacketSocket> client = state->listening.Accept();
      if (!client.ok()) continue;
      auto connection = std::make_unique<Connection>();
      connection->socket = std::move(client.value);
      connection->callback = state->callback;
      connection->context = state->context;
      connection->active = &state->active;
      Connection* raw = connection.get();
      // The record is kept before its thread starts, so a failed start cannot leak a thread.
      auto& entry = handlers.emplace_back(std::thread(), std::move(connection));
      try {
        entry.first = std::thread(&PipeListener::HandlingConnections, raw);
      } catch (...) {
        raw->ended.store(true);  // no thread to serve it: the client is dropped at the next reap
      }
    }
  } catch (...) {
    // Out of threads or memory: stop accepting; the clients already served finish below.
  }
  reap(true);
  // The name is released before the socket, so a listener started afterwards binds afresh.
  rdx::os::SeqPacketSocket::RemoveSocketFile(state->socketPath);
  state->listening.Close();
  state->path.clear();
  state->listenerEnded.store(true);
}

void PipeListener::HandlingConnections(void* connection) {
  auto* client = static_cast<Connection*>(connection);
  using Receive = rdx::os::SeqPacketSocket::Receive;
  using namespace pipeframing;
  try {
    std::vector<char> record(kRecordBytes);
    std::string message;  // reused: its capacity outlives each message
    // Reads wait at most one poll interval, so a cleared active flag is seen in time while a
    // busy client costs one call per record.
    if (client->socket.SetReceiveTimeout(kPollMilliseconds) != 0) client->socket.Close();
    bool joining = false;  // message holds the first records of a longer message
    while (client->active->load()) {
      std::size_t size = 0;
      const Receive received = client->socket.ReceiveMessage(record.data(), record.size(), size);
      if (received == Receive::kNone) continue;
      // The client has gone (109, 232, 6); any other failure would only repeat at once, so it
      // ends the client as well. So does a record no sender of ours writes.
      if (received != Receive::kMessage) break;
      const char flag = record[0];
      if (flag != kLastRecord && flag != kMoreRecords) break;
      const std::size_t payload = size - 1;
      if (joining && message.size() + payload > kMaxMessageBytes) break;  // bounds our memory
      if (joining) {
        message.append(record.data() + 1, payload);
      } else {
        message.assign(record.data() + 1, payload);
      }
      joining = flag == kMoreRecords;
      if (joining) continue;
      if (client->callback != nullptr) {
        try {
          KeepTextOfEachChunk(message);
          client->callback(client->context, message);
        } catch (...) {
          // A throwing callback loses this message only; the client stays served.
        }
      }
      // One long message must not pin its memory for the rest of the connection.
      if (message.capacity() > 4 * kRecordBytes) std::string().swap(message);
    }
  } catch (...) {
    // No memory for a message: the client is dropped.
  }
  client->socket.Close();
  client->ended.store(true);
}

}  // namespace QUORVAN::Rendix::Global
