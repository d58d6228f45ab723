#pragma once
// Facts about this machine, its user and its processes, from the resolver, the password
// database and /proc.

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace rdx::os {

// gethostname; "" on failure.
[[nodiscard]] std::string HostName();

// The canonical name the resolver gives for this host (AI_CANONNAME); "" when it has none.
std::string CanonicalHostName();

// The numeric text of the first address the resolver lists for `host` (IPv4 or IPv6,
// whichever comes first); "" on failure.
std::string FirstAddressOf(const std::string& host);

// Every numeric address the resolver gives for `host`; empty on failure.
std::vector<std::string> AllAddressesOf(const std::string& host);

// True when `machine` names this machine: "", ".", "localhost", a name starting with "127",
// "::1", this host's name with or without its domain, its canonical name, or one of its
// addresses (ASCII case ignored). The resolver is asked only after the cheap tests fail.
bool IsThisMachine(const std::string& machine);

// Login name of the effective user; "" when the password database has none.
std::string UserName();

// A fresh random UUID as 36 lower-case characters.
std::string NewUuidText();

struct ProcessMemory {
  std::uint64_t workingSetBytes = 0;  // VmRSS
  std::uint64_t privateBytes = 0;     // RssAnon + VmSwap: what the process alone commits
};

// Reads /proc/<pid>/status (pid 0: this process); empty when the process does not exist or
// its figures cannot be read.
std::optional<ProcessMemory> ReadProcessMemory(std::uint64_t pid);

// Parses the text of a /proc status file; empty without a VmRSS line.
std::optional<ProcessMemory> ParseProcessStatus(const std::string& text);

}  // namespace rdx::os
