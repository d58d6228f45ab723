#pragma once
// File ages, which the application object uses to notice a rewritten configuration file.

#include <chrono>
#include <optional>
#include <string>

namespace rdx::platform {

// The file's last-write time; empty when it cannot be opened for reading or read.
std::optional<std::chrono::system_clock::time_point> FileWriteTime(const std::string& path);

// Now, on the clock file times are stamped with; compare file ages against this.
std::chrono::system_clock::time_point FileClockNow();

}  // namespace rdx::platform
