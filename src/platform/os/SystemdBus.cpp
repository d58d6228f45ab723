#include "platform/os/SystemdBus.h"

#include "platform/os/LastError.h"

#include <systemd/sd-bus.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <set>
#include <utility>

namespace rdx::os {
namespace {

constexpr const char* kDestination = "org.freedesktop.systemd1";
constexpr const char* kManagerPath = "/org/freedesktop/systemd1";
constexpr const char* kManager = "org.freedesktop.systemd1.Manager";
constexpr const char* kUnit = "org.freedesktop.systemd1.Unit";
constexpr const char* kService = "org.freedesktop.systemd1.Service";

// A reload re-runs the generators, each allowed the manager's default 90 s: the call gets room
// for that instead of sd-bus's 25 s, which a busy machine can exceed.
constexpr std::uint64_t kReloadTimeoutUSec = 2ull * 90 * 1000 * 1000;

constexpr std::uint32_t kServiceDoesNotExist = 1060;
constexpr std::uint32_t kServiceDisabled = 1058;

// Frees an sd_bus_error and a reply at the end of a call's scope.
struct CallResult {
  sd_bus_error error = SD_BUS_ERROR_NULL;
  sd_bus_message* reply = nullptr;
  CallResult() = default;
  CallResult(const CallResult&) = delete;
  CallResult& operator=(const CallResult&) = delete;
  ~CallResult() {
    sd_bus_error_free(&error);
    sd_bus_message_unref(reply);
  }
};

// The Win32 code for a failed call. A failure without a D-Bus error never reached the manager
// (the connection or its transport broke): the service control manager answers that with
// "RPC server unavailable".
std::uint32_t CodeOf(int r, const sd_bus_error& error) {
  // The connection itself broke (sd-bus names these System.Error.E...): nobody answered.
  const int e = sd_bus_error_is_set(&error) ? sd_bus_error_get_errno(&error) : -r;
  if (e == ENOTCONN || e == ECONNRESET || e == EPIPE || e == ESHUTDOWN || e == ECONNREFUSED) {
    return kRpcServerUnavailable;
  }
  if (!sd_bus_error_is_set(&error)) {
    if (r == -EACCES || r == -EPERM) return kErrorAccessDenied;
    return kRpcServerUnavailable;
  }
  static constexpr std::pair<const char*, std::uint32_t> kNames[] = {
      {"org.freedesktop.systemd1.NoSuchUnit", kServiceDoesNotExist},
      {"org.freedesktop.systemd1.UnitMasked", kServiceDisabled},
      {"org.freedesktop.systemd1.OnlyByDependency", kServiceDisabled},
      {"org.freedesktop.systemd1.LoadFailed", kErrorInvalidParameter},
      {"org.freedesktop.DBus.Error.AccessDenied", kErrorAccessDenied},
      {"org.freedesktop.DBus.Error.InteractiveAuthorizationRequired", kErrorAccessDenied},
      {"org.freedesktop.systemd1.InteractiveAuthorizationRequired", kErrorAccessDenied},
      {"org.freedesktop.DBus.Error.NoReply", kRpcServerUnavailable},
      {"org.freedesktop.DBus.Error.Disconnected", kRpcServerUnavailable},
  };
  for (const auto& [name, code] : kNames) {
    if (sd_bus_error_has_name(&error, name)) return code;
  }
  return Win32FromErrno(sd_bus_error_get_errno(&error));
}

// The code of a call's outcome: 0 when it succeeded.
std::uint32_t Settle(int r, const sd_bus_error& error) {
  return r < 0 ? CodeOf(r, error) : kErrorSuccess;
}

}  // namespace

struct SystemdBus::Impl {
  sd_bus* bus = nullptr;
  ~Impl() { sd_bus_flush_close_unref(bus); }

  // Calls a Manager method; the reply stays in `result`.
  template <typename... Args>
  std::uint32_t CallManager(CallResult& result, const char* method, const char* signature,
                            Args... args) {
    if (bus == nullptr) return kErrorInvalidHandle;
    const int r = sd_bus_call_method(bus, kDestination, kManagerPath, kManager, method,
                                     &result.error, &result.reply, signature, args...);
    return Settle(r, result.error);
  }

  std::uint32_t StringProperty(const char* path, const char* interface, const char* name,
                               std::string& value) {
    CallResult result;
    char* text = nullptr;
    const int r =
        sd_bus_get_property_string(bus, kDestination, path, interface, name, &result.error, &text);
    if (r >= 0) value = text != nullptr ? text : "";
    std::free(text);
    return Settle(r, result.error);
  }

  template <typename T>
  std::uint32_t TrivialProperty(const char* path, const char* interface, const char* name,
                                char type, T& value) {
    CallResult result;
    const int r = sd_bus_get_property_trivial(bus, kDestination, path, interface, name,
                                              &result.error, type, &value);
    return Settle(r, result.error);
  }

  // Builds a Manager call with `append` and sends it, waiting up to `timeoutUSec` (0: sd-bus's
  // default) for the answer.
  template <typename Append>
  std::uint32_t CallBuilt(const char* method, std::uint64_t timeoutUSec, Append append) {
    if (bus == nullptr) return kErrorInvalidHandle;
    CallResult result;
    sd_bus_message* call = nullptr;
    int r =
        sd_bus_message_new_method_call(bus, &call, kDestination, kManagerPath, kManager, method);
    if (r >= 0) r = append(call);
    if (r >= 0) r = sd_bus_call(bus, call, timeoutUSec, &result.error, &result.reply);
    sd_bus_message_unref(call);
    return Settle(r, result.error);
  }

  // Calls a Manager method taking a string array (plus the booleans) on one unit name.
  std::uint32_t CallOnUnitFile(const char* method, const std::string& unit, bool enable) {
    return CallBuilt(method, 0, [&](sd_bus_message* call) {
      int r = sd_bus_message_append(call, "as", 1, unit.c_str());
      // runtime=false; EnableUnitFiles also takes force=true, so a stale link is replaced.
      if (r >= 0)
        r = enable ? sd_bus_message_append(call, "bb", 0, 1) : sd_bus_message_append(call, "b", 0);
      return r;
    });
  }
};

SystemdBus::SystemdBus(std::unique_ptr<Impl> impl) : impl_(std::move(impl)) {}
SystemdBus::~SystemdBus() = default;

std::unique_ptr<SystemdBus> SystemdBus::OpenLocal(std::uint32_t& code) {
  auto impl = std::make_unique<Impl>();
  int r = 0;
  const char* address = std::getenv("RDX_SYSTEMD_BUS_ADDRESS");
  if (address != nullptr && *address != '\0') {
    r = sd_bus_new(&impl->bus);
    if (r >= 0) r = sd_bus_set_address(impl->bus, address);
    if (r >= 0) r = sd_bus_set_bus_client(impl->bus, 1);
    if (r >= 0) r = sd_bus_start(impl->bus);
  } else {
    r = sd_bus_open_system(&impl->bus);
  }
  if (r < 0) {
    code = (r == -EACCES || r == -EPERM) ? kErrorAccessDenied : kRpcServerUnavailable;
    return nullptr;
  }
  code = kErrorSuccess;
  return std::unique_ptr<SystemdBus>(new SystemdBus(std::move(impl)));
}

std::unique_ptr<SystemdBus> SystemdBus::OpenRemote(const std::string& host, std::uint32_t& code) {
  auto impl = std::make_unique<Impl>();
  int r = sd_bus_open_system_remote(&impl->bus, host.c_str());
  if (r < 0) {
    code = r == -EINVAL ? kErrorInvalidParameter : kRpcServerUnavailable;
    return nullptr;
  }
  // The ssh process starts with the first message: ask for something small to know whether
  // anybody answers.
  std::string version;
  code = impl->StringProperty(kManagerPath, kManager, "Version", version);
  if (code != kErrorSuccess) return nullptr;
  return std::unique_ptr<SystemdBus>(new SystemdBus(std::move(impl)));
}

void SystemdBus::Close() noexcept {
  sd_bus_flush_close_unref(impl_->bus);
  impl_->bus = nullptr;
}

std::uint32_t SystemdBus::Reload() {
  return impl_->CallBuilt("Reload", kReloadTimeoutUSec, [](sd_bus_message*) { return 0; });
}

std::uint32_t SystemdBus::StartUnit(const std::string& unit) {
  CallResult result;
  return impl_->CallManager(result, "StartUnit", "ss", unit.c_str(), "replace");
}

std::uint32_t SystemdBus::StopUnit(const std::string& unit) {
  CallResult result;
  return impl_->CallManager(result, "StopUnit", "ss", unit.c_str(), "replace");
}

std::uint32_t SystemdBus::ResetFailedUnit(const std::string& unit) {
  CallResult result;
  return impl_->CallManager(result, "ResetFailedUnit", "s", unit.c_str());
}

std::uint32_t SystemdBus::KillMainProcess(const std::string& unit, int signal) {
  CallResult result;
  return impl_->CallManager(result, "KillUnit", "ssi", unit.c_str(), "main", signal);
}

std::uint32_t SystemdBus::QueryUnit(const std::string& unit, UnitProperties& p) {
  CallResult result;
  std::uint32_t code = impl_->CallManager(result, "LoadUnit", "s", unit.c_str());
  if (code != kErrorSuccess) return code;
  const char* object = nullptr;
  const int r = sd_bus_message_read(result.reply, "o", &object);
  if (r < 0 || object == nullptr) return Settle(r < 0 ? r : -EBADMSG, result.error);
  const std::string path = object;
  Impl& i = *impl_;
  if ((code = i.StringProperty(path.c_str(), kUnit, "LoadState", p.loadState)) != 0 ||
      (code = i.StringProperty(path.c_str(), kUnit, "ActiveState", p.activeState)) != 0 ||
      (code = i.StringProperty(path.c_str(), kUnit, "SubState", p.subState)) != 0) {
    return code;
  }
  {
    CallResult job;
    const char* jobPath = nullptr;
    int jr = sd_bus_get_property(i.bus, kDestination, path.c_str(), kUnit, "Job", &job.error,
                                 &job.reply, "(uo)");
    if (jr >= 0) jr = sd_bus_message_read(job.reply, "(uo)", &p.jobId, &jobPath);
    if (jr < 0) return Settle(jr, job.error);
  }
  if (p.loadState == "not-found") return kErrorSuccess;  // no Service interface to read
  if ((code = i.StringProperty(path.c_str(), kService, "StatusText", p.statusText)) != 0 ||
      (code = i.TrivialProperty(path.c_str(), kService, "TimeoutStartUSec", 't',
                                p.timeoutStartUSec)) != 0 ||
      (code = i.TrivialProperty(path.c_str(), kService, "MainPID", 'u', p.mainPid)) != 0 ||
      (code = i.TrivialProperty(path.c_str(), kService, "ExecMainCode", 'i', p.execMainCode)) !=
          0 ||
      (code = i.TrivialProperty(path.c_str(), kService, "ExecMainStatus", 'i', p.execMainStatus)) !=
          0) {
    return code;
  }
  return kErrorSuccess;
}

std::uint32_t SystemdBus::EnableUnitFile(const std::string& unit) {
  return impl_->CallOnUnitFile("EnableUnitFiles", unit, true);
}

std::uint32_t SystemdBus::DisableUnitFile(const std::string& unit) {
  return impl_->CallOnUnitFile("DisableUnitFiles", unit, false);
}

std::uint32_t SystemdBus::ListUnits(const std::string& pattern, std::vector<UnitListEntry>& units) {
  std::set<std::string> seen;
  {
    CallResult result;
    const std::uint32_t code =
        impl_->CallManager(result, "ListUnitsByPatterns", "asas", 0, 1, pattern.c_str());
    if (code != kErrorSuccess) return code;
    int r = sd_bus_message_enter_container(result.reply, 'a', "(ssssssouso)");
    const char *name, *description, *load, *active, *sub, *following, *path, *jobType, *jobPath;
    std::uint32_t jobId = 0;
    while (r >= 0 && (r = sd_bus_message_read(result.reply, "(ssssssouso)", &name, &description,
                                              &load, &active, &sub, &following, &path, &jobId,
                                              &jobType, &jobPath)) > 0) {
      // A name somebody only asked about (no file) is not an installed unit.
      if (std::strcmp(load, "not-found") == 0 && std::strcmp(active, "inactive") == 0) continue;
      if (seen.insert(name).second) units.push_back({name, active});
    }
    if (r < 0) return Settle(r, result.error);
  }
  CallResult result;
  const std::uint32_t code =
      impl_->CallManager(result, "ListUnitFilesByPatterns", "asas", 0, 1, pattern.c_str());
  if (code != kErrorSuccess) return code;
  int r = sd_bus_message_enter_container(result.reply, 'a', "(ss)");
  const char *path, *state;
  while (r >= 0 && (r = sd_bus_message_read(result.reply, "(ss)", &path, &state)) > 0) {
    const char* slash = std::strrchr(path, '/');
    const std::string name = slash != nullptr ? slash + 1 : path;
    // Templates ("getty@.service") are not services of their own.
    if (name.find("@.") != std::string::npos) continue;
    if (seen.insert(name).second) units.push_back({name, ""});
  }
  return r < 0 ? Settle(r, result.error) : kErrorSuccess;
}

}  // namespace rdx::os
