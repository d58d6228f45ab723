#pragma once
// The unit file that stands for an installed service, and the rules for writing its lines:
//
//   [Unit]
//   Description=<service name>
//   RefuseManualStart=yes                 (start type 4, disabled)
//   [Service]
//   Type=notify
//   ExecStart="/opt/x/bin/server" "--name" "a b"
//   TimeoutStartSec=30
//   X-Rendix-ServiceType=16
//   X-Rendix-StartType=3
//   [Install]
//   WantedBy=multi-user.target            (start types 0-2, started at boot: enabled)
//
// systemd ignores keys starting with "X-"; they keep the values it has no place for.

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace rdx::services {

// The start time-out written to new units; it is also the start's wait hint (30 s, the time a
// service control manager gives a service to report running).
inline constexpr int kStartTimeoutSeconds = 30;

// Splits a command line the way Windows programs split theirs: blanks separate words, double
// quotes group, 2n backslashes before a quote give n and open or close the group, 2n+1 give
// n and a literal quote, other backslashes are literal.
std::vector<std::string> SplitCommandLine(const std::string& commandLine);

// `binaryPath` (a program path with arguments, as above) as an ExecStart value: every word
// double-quoted, with "\", quotes, "%" (specifiers) and, after the program, "$" (variables)
// escaped and every byte outside printable ASCII written "\xhh". Empty for a blank path.
std::string ExecStartOf(const std::string& binaryPath);

// `name` as a Description value: "%" doubled, control characters and bytes that are not
// UTF-8 as "?" (the manager hands descriptions out over D-Bus, which takes UTF-8 only).
std::string DescriptionOf(const std::string& name);

// A unit file kept as its lines, so that changing a few keys leaves the rest as written.
class UnitFileText {
 public:
  explicit UnitFileText(const std::string& text = "");
  // The value of the first `key=` line in `[section]`.
  std::optional<std::string> Get(const std::string& section, const std::string& key) const;
  // Replaces the first `key=` line of the section (dropping later ones) or adds one at the
  // section's end; a missing section is added at the end of the file.
  void Set(const std::string& section, const std::string& key, const std::string& value);
  // Drops every `key=` line of the section.
  void Remove(const std::string& section, const std::string& key);
  std::string Text() const;

 private:
  // [first, end) line indexes of a section's body; nullopt when the section is missing.
  std::optional<std::pair<std::size_t, std::size_t>> Body(const std::string& section) const;
  std::vector<std::string> lines_;
};

// Sets the program, service type and start type of a unit file (see the layout above); a
// blank binary path leaves the program as it is.
void ApplyConfiguration(UnitFileText& unit, const std::string& binaryPath,
                        std::uint32_t serviceType, std::uint32_t startType);

// A new unit file for a service; empty when the binary path is blank.
std::optional<std::string> NewUnitFile(const std::string& serviceName,
                                       const std::string& binaryPath, std::uint32_t serviceType,
                                       std::uint32_t startType);

}  // namespace rdx::services
