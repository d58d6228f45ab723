#pragma once
// Files and folders as the library needs them: existence, folder creation, free space,
// last-write times, and the user's home and the running program's path. Failures come back
// as Win32 codes; none of these sets the thread's last error.

#include <chrono>
#include <cstdint>
#include <cstdio>
#include <string>

#include "platform/os/OsResult.h"

namespace rdx::os {

// True when the file system has an entry (file, folder, anything) of that name.
bool PathExists(const std::string& path) noexcept;

// Creates one folder level: 0, or the code of the failure (183 when it exists already).
[[nodiscard]] std::uint32_t MakeDirectory(const std::string& path) noexcept;

// Bytes free to this (unprivileged) caller on the file system holding `path`.
OsResult<std::uint64_t> AvailableBytes(const std::string& path) noexcept;

// Reads a whole regular file into text. Anything else (a FIFO, a device, a folder) reads as
// missing, without ever waiting on it. Returns 0, or 2 missing or not a regular file,
// 5 access denied, 8 larger than maxBytes, others as mapped; text is empty then.
[[nodiscard]] std::uint32_t ReadRegularFile(const std::string& path, std::size_t maxBytes,
                                            std::string& text);

// Opens (creating it if needed) a regular file for appending; the stream is the caller's to
// fclose. Fails when it cannot be, or when the name is a FIFO, a device or a folder (2; never
// waited on).
OsResult<std::FILE*> OpenRegularFileForAppend(const std::string& path) noexcept;

// The last-write time of a regular file opened for reading.
OsResult<std::chrono::system_clock::time_point> LastWriteTime(const std::string& path);

// The clock file times are stamped with. It is coarser than system_clock, so a file written
// right after a reading of it never appears older than that reading.
std::chrono::system_clock::time_point FileTimeNow() noexcept;

// Sets a file's last-write time (used to stage a file older or newer than a reading): 0 or
// the failure's code.
[[nodiscard]] std::uint32_t SetLastWriteTime(const std::string& path,
                                             std::chrono::system_clock::time_point when) noexcept;

// $HOME, else the password database entry of the effective user; "" when neither is known.
std::string HomeFolder();

// Full path of the running executable; "" when it cannot be read.
std::string ExecutablePath();

}  // namespace rdx::os
