#include "platform/os/RegistryStore.h"

#include "platform/os/FileSystem.h"
#include "platform/os/LastError.h"
#include "platform/os/TextFiles.h"

#include <rdx/foundation/StringUtility.h>

#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <vector>

namespace rdx::os {
namespace {

std::vector<std::string> KeyLevels(const std::string& keyPath) {
  std::vector<std::string> levels;
  std::string current;
  for (char c : keyPath) {
    if (c == '\\' || c == '/') {
      if (!current.empty()) levels.push_back(current);
      current.clear();
    } else {
      current += c;
    }
  }
  if (!current.empty()) levels.push_back(current);
  return levels;
}

bool SameName(const std::string& a, const std::string& b) {
  return QUORVAN::Rendix::GeneralUtilityLib::StringUtility::isEqual(a, b, true);
}

// The entry of `folder` whose name matches `name` without case; code 2 or 5 when there is none.
RegistryRead FindEntry(const std::string& folder, const std::string& name) {
  RegistryRead result;
  DIR* dir = opendir(folder.c_str());
  if (dir == nullptr) {
    result.code = (errno == EACCES || errno == EPERM) ? kErrorAccessDenied : kErrorFileNotFound;
    return result;
  }
  result.code = kErrorFileNotFound;
  while (const dirent* entry = readdir(dir)) {
    const std::string entryName = entry->d_name;
    if (entryName == "." || entryName == "..") continue;
    if (SameName(entryName, name)) {
      result.code = 0;
      result.value = folder + "/" + entryName;
      // An exact match wins over a case-folded one, so lookups stay stable when both exist.
      if (entryName == name) break;
    }
  }
  closedir(dir);
  return result;
}

std::string TrimRight(std::string text) {
  while (!text.empty() && (text.back() == '\r' || text.back() == ' ' || text.back() == '\t')) {
    text.pop_back();
  }
  return text;
}

std::string TrimName(std::string name) {
  while (!name.empty() && (name.front() == ' ' || name.front() == '\t')) name.erase(0, 1);
  return TrimRight(std::move(name));
}

// The "values" lines of a text: name (trimmed) and value, each line as FindRegistryValue reads it.
std::vector<std::pair<std::string, std::string>> ValueLines(const std::string& text) {
  std::vector<std::pair<std::string, std::string>> lines;
  std::size_t lineStart = 0;
  while (lineStart < text.size()) {
    std::size_t lineEnd = text.find('\n', lineStart);
    if (lineEnd == std::string::npos) lineEnd = text.size();
    const std::string line = text.substr(lineStart, lineEnd - lineStart);
    lineStart = lineEnd + 1;
    const std::size_t equals = line.find('=');
    if (equals == std::string::npos) continue;
    std::string value = line.substr(equals + 1);
    if (!value.empty() && value.back() == '\r') value.pop_back();
    lines.emplace_back(TrimName(line.substr(0, equals)), value);
  }
  return lines;
}

std::uint32_t ReadValuesFile(const std::string& keyFolder, std::string& path, std::string& text) {
  const RegistryRead file = FindEntry(keyFolder, "values");
  path = file.code == 0 ? file.value : keyFolder + "/values";
  if (file.code != 0) return file.code == kErrorFileNotFound ? 0 : file.code;
  const std::uint32_t code = ReadRegularFile(path, kMaxRegistryFileBytes, text);
  return code == kErrorFileNotFound ? 0 : code;
}

}  // namespace

std::string RegistryRoot() {
  const char* root = std::getenv("RDX_REGISTRY_ROOT");
  return (root != nullptr && *root != '\0') ? root : "/etc/quorvan/registry";
}

RegistryRead FindRegistryKey(const std::string& root, const std::string& keyPath) {
  RegistryRead result;
  result.value = root;
  while (result.value.size() > 1 && result.value.back() == '/') result.value.pop_back();
  if (access(result.value.c_str(), F_OK) != 0) {
    result.code = kErrorFileNotFound;
    return result;
  }
  for (const std::string& level : KeyLevels(keyPath)) {
    result = FindEntry(result.value, level);
    if (result.code != 0) return result;
  }
  return result;
}

RegistryRead FindRegistryValue(const std::string& valuesText, const std::string& valueName,
                               std::size_t capacity) {
  RegistryRead result;
  result.code = kErrorFileNotFound;
  std::size_t lineStart = 0;
  while (lineStart < valuesText.size()) {
    std::size_t lineEnd = valuesText.find('\n', lineStart);
    if (lineEnd == std::string::npos) lineEnd = valuesText.size();
    const std::string line = valuesText.substr(lineStart, lineEnd - lineStart);
    lineStart = lineEnd + 1;
    const std::size_t equals = line.find('=');
    if (equals == std::string::npos) continue;  // not a value line: ignored, nothing else lost
    std::string name = line.substr(0, equals);
    while (!name.empty() && (name.front() == ' ' || name.front() == '\t')) name.erase(0, 1);
    if (!SameName(TrimRight(name), valueName)) continue;
    // The value is every byte after "=": blanks around it are part of it, as in the registry.
    std::string value = line.substr(equals + 1);
    if (!value.empty() && value.back() == '\r') value.pop_back();
    if (value.size() + 1 > capacity) {
      result.code = kErrorMoreData;
      return result;
    }
    // Values are read as bytes: a NUL inside ends the text.
    const std::size_t nul = value.find('\0');
    if (nul != std::string::npos) value.resize(nul);
    result.code = 0;
    result.value = value;
    return result;  // the first line of a name wins
  }
  return result;
}

RegistryRead ReadRegistryValue(const std::string& root, const std::string& keyPath,
                               const std::string& valueName, std::size_t capacity) {
  RegistryRead key = FindRegistryKey(root, keyPath);
  if (key.code != 0) return key;
  RegistryRead file = FindEntry(key.value, "values");
  if (file.code != 0) return file;
  std::string text;
  const std::uint32_t code = ReadRegularFile(file.value, kMaxRegistryFileBytes, text);
  if (code != 0) {
    // An oversized or unreadable file is refused as the registry refuses access; a FIFO, a
    // device or a folder named "values" is no value file at all.
    file.code = code == kErrorFileNotFound ? kErrorFileNotFound : kErrorAccessDenied;
    return file;
  }
  return FindRegistryValue(text, valueName, capacity);
}

std::uint32_t WriteRegistryValue(const std::string& root, const std::string& keyPath,
                                 const std::string& valueName, const std::string& value) {
  const std::string name = TrimName(valueName);
  if (name.empty() || name.find_first_of("=\r\n") != std::string::npos ||
      value.find_first_of("\r\n") != std::string::npos) {
    return kErrorInvalidParameter;
  }
  std::string folder = root;
  while (folder.size() > 1 && folder.back() == '/') folder.pop_back();
  if (!PathExists(folder) && mkdir(folder.c_str(), 0755) != 0) return Win32FromErrno(errno);
  for (const std::string& level : KeyLevels(keyPath)) {
    if (level == "." || level == "..") return kErrorInvalidParameter;
    const RegistryRead next = FindEntry(folder, level);
    if (next.code == 0) {
      folder = next.value;
      continue;
    }
    if (next.code != kErrorFileNotFound) return next.code;
    folder += "/" + level;
    if (mkdir(folder.c_str(), 0755) != 0) return Win32FromErrno(errno);
  }
  std::string path;
  std::string text;
  if (const std::uint32_t code = ReadValuesFile(folder, path, text); code != 0) return code;
  // Rewrites only the first line of the name (the one readers see); other lines stay as written.
  std::string updated;
  bool replaced = false;
  std::size_t lineStart = 0;
  while (lineStart < text.size()) {
    std::size_t lineEnd = text.find('\n', lineStart);
    if (lineEnd == std::string::npos) lineEnd = text.size();
    const std::string line = text.substr(lineStart, lineEnd - lineStart);
    lineStart = lineEnd + 1;
    const std::size_t equals = line.find('=');
    if (!replaced && equals != std::string::npos &&
        SameName(TrimName(line.substr(0, equals)), name)) {
      updated += line.substr(0, equals + 1) + value + "\n";
      replaced = true;
    } else {
      updated += line + "\n";
    }
  }
  if (!replaced) updated += name + "=" + value + "\n";
  return ReplaceTextFile(path, updated);
}

RegistryListing ListRegistryKey(const std::string& root, const std::string& keyPath) {
  RegistryListing listing;
  const RegistryRead key = FindRegistryKey(root, keyPath);
  listing.code = key.code;
  if (key.code != 0) return listing;
  DIR* dir = opendir(key.value.c_str());
  if (dir == nullptr) {
    listing.code = Win32FromErrno(errno);
    return listing;
  }
  while (const dirent* entry = readdir(dir)) {
    const std::string entryName = entry->d_name;
    if (entryName == "." || entryName == "..") continue;
    struct stat info {};
    if (stat((key.value + "/" + entryName).c_str(), &info) == 0 && S_ISDIR(info.st_mode)) {
      listing.subkeys.push_back(entryName);
    }
  }
  closedir(dir);
  std::sort(listing.subkeys.begin(), listing.subkeys.end());
  std::string path;
  std::string text;
  listing.code = ReadValuesFile(key.value, path, text);
  for (const auto& line : ValueLines(text)) {
    const bool seen =
        std::any_of(listing.values.begin(), listing.values.end(),
                    [&line](const auto& earlier) { return SameName(earlier.first, line.first); });
    // Values end at a NUL, as they read through GetRegistryValue.
    if (!seen)
      listing.values.emplace_back(line.first, line.second.substr(0, line.second.find('\0')));
  }
  return listing;
}

}  // namespace rdx::os
