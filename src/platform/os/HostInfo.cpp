#include "platform/os/HostInfo.h"

#include "platform/os/FileSystem.h"

#include <netdb.h>
#include <pwd.h>
#include <strings.h>
#include <sys/socket.h>
#include <unistd.h>
#include <uuid/uuid.h>

#include <cstdio>
#include <cstring>
#include <vector>

namespace rdx::os {
namespace {

// Largest /proc status file read; real ones are under 2 KiB.
constexpr std::size_t kMaxStatusBytes = 64 * 1024;

// Frees the resolver's list however the caller leaves.
struct AddressList {
  addrinfo* head = nullptr;
  AddressList() = default;
  AddressList(const AddressList&) = delete;
  AddressList& operator=(const AddressList&) = delete;
  ~AddressList() {
    if (head != nullptr) freeaddrinfo(head);
  }
};

bool Resolve(const std::string& host, AddressList& list) {
  addrinfo hints{};
  hints.ai_flags = AI_CANONNAME;
  return getaddrinfo(host.c_str(), nullptr, &hints, &list.head) == 0 && list.head != nullptr;
}

std::string NumericText(const addrinfo& entry) {
  char text[1025] = {};
  if (getnameinfo(entry.ai_addr, entry.ai_addrlen, text, sizeof text, nullptr, 0, NI_NUMERICHOST) !=
      0) {
    return "";
  }
  return text;
}

// The number after `name` in a status line such as "VmRSS:\t  1234 kB", in bytes. `text`
// starts with a line end so that every line, the first included, is found the same way.
std::optional<std::uint64_t> KilobyteField(const std::string& text, const char* name) {
  const std::string key = std::string("\n") + name + ":";
  std::size_t at = text.find(key);
  if (at == std::string::npos) return std::nullopt;
  at += key.size();
  while (at < text.size() && (text[at] == ' ' || text[at] == '\t')) ++at;
  std::uint64_t kilobytes = 0;
  bool digits = false;
  for (; at < text.size() && text[at] >= '0' && text[at] <= '9'; ++at) {
    if (kilobytes > UINT64_MAX / 10240) return std::nullopt;  // not a real figure
    kilobytes = kilobytes * 10 + static_cast<std::uint64_t>(text[at] - '0');
    digits = true;
  }
  if (!digits) return std::nullopt;
  return kilobytes * 1024;
}

}  // namespace

std::string HostName() {
  // Far longer than any host name (64 at most), so the call cannot fail for want of room.
  char buffer[1000] = {};
  if (gethostname(buffer, sizeof buffer - 1) != 0) return "";
  return buffer;
}

std::string CanonicalHostName() {
  const std::string host = HostName();
  if (host.empty()) return "";
  AddressList list;
  if (!Resolve(host, list) || list.head->ai_canonname == nullptr) return "";
  return list.head->ai_canonname;
}

std::string FirstAddressOf(const std::string& host) {
  if (host.empty()) return "";
  AddressList list;
  if (!Resolve(host, list)) return "";
  return NumericText(*list.head);
}

std::vector<std::string> AllAddressesOf(const std::string& host) {
  std::vector<std::string> addresses;
  AddressList list;
  if (host.empty() || !Resolve(host, list)) return addresses;
  for (const addrinfo* entry = list.head; entry != nullptr; entry = entry->ai_next) {
    std::string text = NumericText(*entry);
    if (!text.empty()) addresses.push_back(std::move(text));
  }
  return addresses;
}

bool IsThisMachine(const std::string& machine) {
  if (machine.empty() || machine == "." || ::strcasecmp(machine.c_str(), "localhost") == 0 ||
      machine.rfind("127", 0) == 0 || machine == "::1") {
    return true;
  }
  const std::string host = HostName();
  if (host.empty()) return false;
  if (::strcasecmp(machine.c_str(), host.c_str()) == 0) return true;
  // A fully qualified form of this host's short name also means this machine.
  if (machine.size() > host.size() && machine[host.size()] == '.' &&
      ::strncasecmp(machine.c_str(), host.c_str(), host.size()) == 0) {
    return true;
  }
  const std::string canonical = CanonicalHostName();
  if (!canonical.empty() && ::strcasecmp(machine.c_str(), canonical.c_str()) == 0) return true;
  for (const std::string& address : AllAddressesOf(host)) {
    if (::strcasecmp(machine.c_str(), address.c_str()) == 0) return true;
  }
  return false;
}

std::string UserName() {
  std::vector<char> buffer(16384);
  passwd entry{};
  passwd* found = nullptr;
  if (getpwuid_r(geteuid(), &entry, buffer.data(), buffer.size(), &found) != 0 ||
      found == nullptr || found->pw_name == nullptr) {
    return "";
  }
  return found->pw_name;
}

std::string NewUuidText() {
  uuid_t id;
  uuid_generate_random(id);
  char text[37] = {};
  uuid_unparse_lower(id, text);
  return text;
}

std::optional<ProcessMemory> ParseProcessStatus(const std::string& text) {
  const std::string lined = "\n" + text;
  const auto rss = KilobyteField(lined, "VmRSS");
  if (!rss) return std::nullopt;
  ProcessMemory memory;
  memory.workingSetBytes = *rss;
  // Kernel threads and old kernels lack these lines: they count as nothing private.
  memory.privateBytes =
      KilobyteField(lined, "RssAnon").value_or(0) + KilobyteField(lined, "VmSwap").value_or(0);
  return memory;
}

std::optional<ProcessMemory> ReadProcessMemory(std::uint64_t pid) {
  char path[64];
  if (pid == 0) {
    std::snprintf(path, sizeof path, "/proc/self/status");
  } else {
    std::snprintf(path, sizeof path, "/proc/%llu/status", static_cast<unsigned long long>(pid));
  }
  std::string text;
  // Read whole up to a ceiling no real status file nears: a process with a huge name list
  // is not worth unbounded memory.
  if (ReadRegularFile(path, kMaxStatusBytes, text) != 0) return std::nullopt;
  return ParseProcessStatus(text);
}

}  // namespace rdx::os
