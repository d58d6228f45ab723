#pragma once
#include <rdx/Export.h>
#include <rdx/reporting/IReporterSink.h>

#include <memory>
#include <string>

namespace QUORVAN::Rendix::Global {

/// PipeSender: the writing end of a report pipe, and itself a sink, so attaching it to a
/// Reporter forwards every line to the process that listens on the pipe (see PipeListener).
///
///   PipeSender sender;
///   if (sender.ConnectTo("ImageServerLog", ".")) reporter.Attach(&sender);
///
/// A message that is not delivered whole makes the send fail with the cause as last error;
/// none is dropped silently. On a lost connection (last error 109 broken pipe, 232 pipe closing
/// or 6 invalid handle) the sender reconnects at once and the message that met the break is not
/// resent, so a restarted listener misses exactly that one message.
class RDX_API PipeSender : public IReporterSink {
 public:
  PipeSender();
  PipeSender(const PipeSender&) = delete;
  PipeSender& operator=(const PipeSender&) = delete;

  /// Sends line as one message; null or empty lines are skipped. Reconnects as SendMessageW
  /// does; never throws.
  void Log(const char* line) override;
  /// Closes the connection.
  virtual ~PipeSender();

  /// Closes any earlier connection and connects to pipeName on machine ("." or "" for this
  /// machine). False when nobody listens (last error 2) or the machine is another one: pipes on
  /// other machines are unreachable here (last error 53). A busy listener is waited for.
  bool ConnectTo(const std::string& pipeName, const std::string& machine);
  /// Writes message as one message of up to 64 MiB, delivered whole or not at all. False with
  /// the last error set when it is not sent: on a lost connection (after one reconnection
  /// attempt; the message is not resent), when never connected (6), for a message over 64 MiB
  /// (87) or any other write error. An empty message sends nothing and returns true.
  bool SendMessageW(const std::string& message);
  /// Closes the connection; the pipe name is kept so a later send reconnects. Returns true.
  bool Close();

 private:
  bool Connect();
  /// False when this thread's last error is one of the three connection-loss codes.
  bool CheckConnection();

  struct State;
  std::unique_ptr<State> state_;  ///< never null; the pipe's name and its socket
};

}  // namespace QUORVAN::Rendix::Global
