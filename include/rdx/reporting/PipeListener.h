#pragma once
#include <rdx/Export.h>

#include <memory>
#include <string>

namespace QUORVAN::Rendix::Global {

/// PipeListener: the reading end of a report pipe. A listening thread accepts clients; each
/// client gets a handler thread of its own, which hands every complete message to the callback.
/// At most 255 clients are served at once; a further client waits until one of them leaves.
///
///   void OnLine(void* context, const std::string& line);   // must be thread-safe
///   PipeListener listener;
///   listener.ConnectTo("ImageServerLog", &OnLine, &myContext, ".");
///   ...
///   listener.Stop();    // threads end within about 50 ms
///   listener.Close();   // waits for them (the destructor does both)
///
/// The threads poll every 50 ms, so clearing the active flag (Stop) is honoured within that
/// time. Close does not clear the flag: without Stop it waits until the threads end on their own.
class RDX_API PipeListener {
 public:
  /// Receives one message on the client's handler thread, concurrently for different clients;
  /// the text is valid only during the call.
  using Callback = void (*)(void* context, const std::string& message);

  /// The active flag is set from construction.
  PipeListener();
  /// Clears the active flag and closes, so no program hangs on a forgotten listener.
  virtual ~PipeListener();
  PipeListener(const PipeListener&) = delete;
  PipeListener& operator=(const PipeListener&) = delete;

  /// Creates the pipe pipeName on this machine and starts listening. Each message, of any
  /// size up to 64 MiB, arrives whole as one callback; text after a zero byte within an
  /// 8000-byte stretch is dropped. A client that sends more than that in one message is
  /// disconnected, so each client's reader holds at most 64 MiB.
  /// False when the pipe cannot be created (another machine: last error 53; a pipe of that name
  /// already served: 231) or when this listener is still listening. After Stop and Close it
  /// sets the active flag again and serves anew.
  bool ConnectTo(const std::string& pipeName, Callback callback, void* context,
                 const std::string& machine);
  /// Waits for the listening thread (and through it every handler thread) to end; true. Not to
  /// be called from the callback: a handler thread would wait for itself.
  bool Close();
  /// Clears the active flag: the threads end at their next 50 ms poll.
  void Stop();

 private:
  static void ListeningForConnections(void* listener);
  static void HandlingConnections(void* connection);

  struct State;
  std::unique_ptr<State> state_;  ///< never null
};

}  // namespace QUORVAN::Rendix::Global
