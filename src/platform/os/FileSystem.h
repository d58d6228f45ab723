#pragma once
// Files and folders as the library needs them: existence, folder creation, free space,
// last-write times, and the user's home and the running program's path.

#include <chrono>
#include <cstdint>
#include <optional>
#include <string>

namespace rdx::os {

// True when the file system has an entry (file, folder, anything) of that name.
bool PathExists(const std::string& path) noexcept;

// Creates one folder level; false with the last error set when that fails.
[[nodiscard]] bool MakeDirectory(const std::string& path) noexcept;

// Bytes free to this (unprivileged) caller on the file system holding `path`.
std::optional<std::uint64_t> AvailableBytes(const std::string& path) noexcept;

// The last-write time of a file opened for reading; empty when it cannot be opened or read.
std::optional<std::chrono::system_clock::time_point> LastWriteTime(const std::string& path);

// The clock file times are stamped with. It is coarser than system_clock, so a file written
// right after a reading of it never appears older than that reading.
std::chrono::system_clock::time_point FileTimeNow() noexcept;

// Sets a file's last-write time (used to stage a file older or newer than a reading).
[[nodiscard]] bool SetLastWriteTime(const std::string& path,
                                    std::chrono::system_clock::time_point when) noexcept;

// $HOME, else the password database entry of the effective user; "" when neither is known.
std::string HomeFolder();

// Full path of the running executable; "" when it cannot be read.
std::string ExecutablePath();

}  // namespace rdx::os
