#pragma once
#include <rdx/Export.h>

#include <cstdint>
#include <string>

namespace QUORVAN::Rendix::GeneralUtilityLib {

/// WinServiceBase: the base of a program that runs as a systemd service of Type=notify. Derive,
/// override OnStart, OnStop and usually Run, and hand main's arguments to Init:
///
///   class ImageService : public WinServiceBase {
///     bool OnStart(int argc, char** argv) override { return OpenEverything(argc, argv); }
///     void Run(std::uint32_t, char**) override { WaitUntil(stopRequested); }
///     void OnStop() override { stopRequested = true; }
///   };
///   int main(int argc, char** argv) {
///     ImageService service;
///     return service.Init("Quorvan Rendix", argc, argv) ? 0 : 1;
///   }
///
/// How it runs, and why:
/// - Init blocks until the service has stopped, as the service dispatcher does. ServiceMain,
///   and from it OnStart and Run, run on a thread of their own; ServiceCtrlHandler (so OnStop)
///   runs on the thread that called Init. OnStop must make Run return from that other thread;
///   nothing in the base class synchronises them.
/// - The unit reads "activating" until OnStart returns true; then READY=1 is sent and the unit
///   is active while Run runs. Every state change is sent as STATUS= (the unit's StatusText).
/// - Controls arrive as signals: SIGTERM (systemd's stop) and SIGINT are the stop control 1;
///   SIGTSTP stands for pause (2), SIGCONT for continue (3), SIGHUP for interrogate (4). Only stop
///   is acted on; the others are ignored without a status report, and since they are caught a
///   terminal's Ctrl-Z or hang-up never suspends or ends the service.
/// - Without $NOTIFY_SOCKET (started by hand) the same program runs in the foreground: status
///   messages go nowhere and Ctrl-C stops it.
/// - systemd starts a unit with no arguments of its own, so OnStart gets the process's command
///   line (the unit's ExecStart).
/// - Init answers false when the service stopped without ever running (OnStart failed) or with a
///   non-zero exit code in its status record, so `return Init(...) ? 0 : 1` makes the failure
///   the unit's exit status. A service that wants its own code seen (as ExecMainStatus, what
///   WinServiceManager::QueryExitCode reads) puts it in myServiceStatus.serviceSpecificExitCode
///   and makes main return it; exit statuses keep their low 8 bits.
/// - One service object per process: the constructor makes it the one the static entry points
///   forward to (myPointerToSelf), so the last one constructed wins.
class RDX_API WinServiceBase {
 public:
  /// What is reported to the service manager; states 1 stopped, 2 start pending, 3 stop
  /// pending, 4 running.
  struct ServiceStatus {
    std::uint32_t serviceType;              ///< Process kind; 16 for a service in its own process.
    std::uint32_t currentState;             ///< One of the states above.
    std::uint32_t controlsAccepted;         ///< 7: stop, pause/continue and shutdown.
    std::uint32_t win32ExitCode;            ///< The exit code the service reports; 0 for none.
    std::uint32_t serviceSpecificExitCode;  ///< The service's own exit code, what main returns.
    std::uint32_t checkPoint;               ///< Progress counter of a long start or stop.
    std::uint32_t waitHint;                 ///< Milliseconds the next state change may take.
  };
  /// One entry of the dispatch table: a service name and its main function.
  struct ServiceTableEntry {
    const char* serviceName;  ///< Null in the entry that ends the table.
    /// Run on the service's own thread with the service's arguments.
    void (*serviceProc)(std::uint32_t argc, char** argv);
  };

  /// Makes this object the process's service object (myPointerToSelf).
  WinServiceBase();
  ///@{
  /// Copies every member; the copy becomes the process's service object.
  WinServiceBase(const WinServiceBase& other);
  WinServiceBase& operator=(const WinServiceBase& other);
  ///@}
  virtual ~WinServiceBase();

  /// Does nothing unless initialised. Reports start pending, registers the control handler,
  /// calls OnStart (with Init's arguments when fewer than two are given), reports running and
  /// calls Run, then reports stopped. OnStart failing goes straight to stopped.
  virtual void ServiceMain(std::uint32_t argc, char** argv);
  /// Stop (1): reports stop pending, calls OnStop, reports stopped. Every other control is
  /// ignored without a report.
  virtual void ServiceCtrlHandler(std::uint32_t control);
  /// Prepares the service; false ends it before it runs. The default body returns true.
  virtual bool OnStart(int argc, char** argv) = 0;
  /// Must make Run return; called on the Init thread. The default body does nothing.
  virtual void OnStop() = 0;
  /// The service's work; returns when the service is to end. Empty by default.
  virtual void Run(std::uint32_t argc, char** argv);

  /// Stores the arguments, resets the status record (own process, start pending, controls 7)
  /// and runs the dispatcher: blocks until the service has stopped. False when the dispatcher
  /// could not run (another one runs in this process) or the service failed (see above).
  bool Init(const std::string& serviceName, std::uint32_t argc, char** argv);
  /// Sets the current state and reports the whole record; true when reported (or when no
  /// manager listens). False before the control handler is registered.
  bool UpdateService(std::uint32_t state);

  ///@{
  /// Forward to myPointerToSelf's ServiceMain and ServiceCtrlHandler; nothing when it is null.
  static void staticServiceMain(std::uint32_t argc, char** argv);
  static void staticServiceCtrlHandler(std::uint32_t control);
  ///@}

  /// The object the static entry points forward to.
  static WinServiceBase* myPointerToSelf;

 protected:
  /// Does nothing with its arguments (a hook for routing to a reporter).
  void Log(const std::string& source, const std::string& message);

  bool myInitialised = false;  ///< Set by Init; ServiceMain does nothing before.
  std::string myServiceName;   ///< As given to Init.
  /// This service's entry and the null entry that ends the table.
  ServiceTableEntry myDispatchTable[2] = {{nullptr, nullptr}, {nullptr, nullptr}};
  void* myStatusHandle = nullptr;  ///< from the control handler's registration
  ServiceStatus myServiceStatus = {16, 2, 7, 0, 0, 0, 0};  ///< What UpdateService reports.
  std::uint32_t myArgc = 0;                                ///< Init's argument count.
  char** myArgv = nullptr;  ///< Init's arguments, borrowed from the caller.
};

}  // namespace QUORVAN::Rendix::GeneralUtilityLib
