#pragma once
// The service process's side of systemd: status messages over the sd_notify socket, and the
// signals that stand in for service controls.
//
// Controls by signal: SIGTERM (what systemd sends to stop a unit) and SIGINT (Ctrl-C when run
// by hand) are the stop control 1; SIGTSTP is the pause control 2, SIGCONT continue 3, SIGHUP
// interrogate 4. Catching SIGTSTP and SIGHUP also keeps a terminal from suspending or ending
// the service behind its back.

#include <string>

namespace rdx::os {

// Sends `text` ("READY=1\nSTATUS=...") to the manager named by $NOTIFY_SOCKET. True when sent,
// and when no manager listens (a service run in the foreground); false when sending failed.
bool NotifyServiceManager(const std::string& text) noexcept;

// Catches the control signals, on whichever thread the kernel delivers them, for the life of
// the object, and hands them to the one thread that calls Wait. One instance at a time.
class ControlSignals {
 public:
  ControlSignals();
  ~ControlSignals();  // restores the earlier dispositions
  ControlSignals(const ControlSignals&) = delete;
  ControlSignals& operator=(const ControlSignals&) = delete;

  // False when the signals could not be caught (another instance lives, or no pipe).
  bool Valid() const noexcept { return valid_; }
  // Blocks until a control signal or Wake: the control code (1-4), 0 for a wake, -1 when the
  // pipe failed (no control can arrive any more).
  int Wait() noexcept;
  // Makes Wait return 0; safe from any thread.
  void Wake() noexcept;

 private:
  bool valid_ = false;
};

}  // namespace rdx::os
