#pragma once
// Service names as systemd unit names. Unit names allow only letters, digits and ":_.\-", so
// a service name is escaped the way systemd-escape escapes a plain string: "/" becomes "-",
// every other byte outside the allowed set (and "-", "\", a leading ".") becomes "\xhh". The
// mapping is one to one, so listing units gives the service names back.

#include <optional>
#include <string>

namespace rdx::services {

// "<escaped name>.service"; empty when the name is empty or the unit name would be longer
// than systemd allows (255 bytes).
std::optional<std::string> UnitNameOf(const std::string& serviceName);

// The service name of a unit name ("a\x20b.service" -> "a b"); the suffix after the last "."
// is dropped, "-" turns back into "/" and "\xhh" into its byte.
std::string ServiceNameOf(const std::string& unitName);

}  // namespace rdx::services
