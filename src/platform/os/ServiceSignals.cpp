#include "platform/os/ServiceSignals.h"

#include <systemd/sd-daemon.h>

#include <fcntl.h>
#include <unistd.h>
#include <atomic>
#include <cerrno>
#include <csignal>
#include <utility>

#include "platform/os/Eintr.h"
#include "platform/os/UniqueFd.h"

namespace rdx::os {
namespace {

struct SignalControl {
  int signal;
  char control;
};
constexpr SignalControl kControls[] = {
    {SIGTERM, 1}, {SIGINT, 1}, {SIGTSTP, 2}, {SIGCONT, 3}, {SIGHUP, 4}};

// The self-pipe: handlers write one byte (the control) and Wait reads it. Plain ints, as a
// signal handler may touch nothing else.
std::atomic<int> gWriteEnd{-1};
int gReadEnd = -1;
struct sigaction gSaved[std::size(kControls)];

extern "C" void OnControlSignal(int signal) {
  const int savedErrno = errno;
  for (const SignalControl& entry : kControls) {
    if (entry.signal == signal) {
      // A full pipe drops the control; the writer never blocks inside a handler.
      [[maybe_unused]] const ssize_t n = ::write(gWriteEnd.load(), &entry.control, 1);
    }
  }
  errno = savedErrno;
}

}  // namespace

bool NotifyServiceManager(const std::string& text) noexcept {
  return sd_notify(0, text.c_str()) >= 0;
}

ControlSignals::ControlSignals() {
  if (gWriteEnd.load() != -1) return;
  int fds[2];
  // Non-blocking writes: a handler must never wait for the reader.
  if (::pipe2(fds, O_CLOEXEC) != 0) return;
  ::fcntl(fds[1], F_SETFL, O_NONBLOCK);
  gReadEnd = fds[0];
  gWriteEnd.store(fds[1]);
  struct sigaction action {};
  action.sa_handler = OnControlSignal;
  sigemptyset(&action.sa_mask);
  action.sa_flags = SA_RESTART;  // other threads' system calls carry on
  for (std::size_t i = 0; i < std::size(kControls); ++i) {
    ::sigaction(kControls[i].signal, &action, &gSaved[i]);
  }
  valid_ = true;
}

ControlSignals::~ControlSignals() {
  if (!valid_) return;
  for (std::size_t i = 0; i < std::size(kControls); ++i) {
    ::sigaction(kControls[i].signal, &gSaved[i], nullptr);
  }
  // The write end leaves the handlers' reach before it is closed.
  UniqueFd(gWriteEnd.exchange(-1)).Reset();
  UniqueFd(std::exchange(gReadEnd, -1)).Reset();
}

int ControlSignals::Wait() noexcept {
  char control = 0;
  // EINTR: a handler ran on this thread, and its byte is waiting.
  const ssize_t n = RetryOnEintr([&] { return ::read(gReadEnd, &control, 1); });
  return n == 1 ? control : -1;
}

void ControlSignals::Wake() noexcept {
  const char wake = 0;
  [[maybe_unused]] const ssize_t n = ::write(gWriteEnd.load(), &wake, 1);
}

}  // namespace rdx::os
