#pragma once
// The file-age test the application object uses to notice a rewritten configuration file.

#include <chrono>
#include <string>

namespace rdx::platform {

// True exactly when the file's last-write time is later than `when`; false when the file
// cannot be opened for reading or its time cannot be read.
bool IsFileNewerThan(const std::string& path, std::chrono::system_clock::time_point when);

// Now, on the clock file times are stamped with; compare file ages against this.
std::chrono::system_clock::time_point FileClockNow();

}  // namespace rdx::platform
