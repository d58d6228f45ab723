// The product's folders: install home and its fixed subfolders, the per-user folders, shell
// folders, and folder creation.
#include <rdx/platform/SystemInformation.h>

#include "platform/PlatformText.h"
#include "platform/os/FileSystem.h"
#include "platform/os/LastError.h"

#include <cstdlib>
#include <filesystem>
#include <sstream>
#include <vector>

namespace QUORVAN::Rendix::GeneralUtilityLib {
namespace {

using rdx::platform::ForwardSlashes;
using rdx::platform::WithTrailingSlash;

constexpr std::size_t kMaxUserDirsBytes = 64 * 1024;

// An XDG folder variable's value; "" when unset or relative, since the XDG rules say a
// relative value is ignored: a folder must not change with the current directory.
std::string XdgEnvironmentValue(const char* name) {
  const char* value = std::getenv(name);
  return value != nullptr && value[0] == '/' ? value : "";
}

// $XDG_... when set to an absolute path, else the home folder followed by `fallbackUnderHome`.
std::string XdgFolder(const char* variable, const char* fallbackUnderHome) {
  std::string folder = XdgEnvironmentValue(variable);
  if (folder.empty()) {
    const std::string home = rdx::os::HomeFolder();
    if (home.empty()) return "";
    folder = home + "/" + fallbackUnderHome;
  }
  return folder;
}

// The documents folder as xdg-user-dirs records it: $XDG_DOCUMENTS_DIR, else the
// XDG_DOCUMENTS_DIR line of user-dirs.dirs ("$HOME/..." or absolute), else ~/Documents.
std::string DocumentsFolder() {
  std::string folder = XdgEnvironmentValue("XDG_DOCUMENTS_DIR");
  if (!folder.empty()) return folder;
  const std::string home = rdx::os::HomeFolder();
  const std::string configHome = XdgFolder("XDG_CONFIG_HOME", ".config");
  const std::string dirsPath = configHome + "/user-dirs.dirs";
  // The file is a handful of short lines; one grown past any real size is not read at all.
  std::string text;
  (void)rdx::os::ReadRegularFile(dirsPath, kMaxUserDirsBytes, text);
  std::istringstream dirs(text);
  std::string line;
  while (std::getline(dirs, line)) {
    const std::string key = "XDG_DOCUMENTS_DIR=";
    if (line.compare(0, key.size(), key) != 0) continue;
    std::string value = line.substr(key.size());
    if (value.size() >= 2 && value.front() == '"' && value.back() == '"') {
      value = value.substr(1, value.size() - 2);
    }
    if (value.compare(0, 5, "$HOME") == 0) value = home + value.substr(5);
    if (!value.empty() && value.front() == '/') return value;
  }
  return home.empty() ? "" : home + "/Documents";
}

// The user's local data folder for a maker: $XDG_DATA_HOME (or ~/.local/share) + "/<maker>/".
std::string AppDataLocalDir(const char* maker) {
  const std::string data = XdgFolder("XDG_DATA_HOME", ".local/share");
  if (data.empty()) return "";
  return WithTrailingSlash(data) + maker + "/";
}

std::string InstallHome() {
  const std::string home = rdx::platform::ProductValue("Home");
  return home.empty() ? "" : WithTrailingSlash(ForwardSlashes(home));
}

std::string DefinitionsHome() { return InstallHome() + "XADefs/"; }

std::string UserProductAppData() { return AppDataLocalDir("QUORVAN") + "Rendix" + "/"; }

std::string Under(const std::string& base, const char* name) { return base + name + "/"; }

}  // namespace

std::string GetSpecialFolderPath(SpecialFolderPath::SpecialFolder which) {
  try {
    switch (static_cast<int>(which)) {
      case SpecialFolderPath::DefinitionsHome: return DefinitionsHome();
      case SpecialFolderPath::InstallHome: return InstallHome();
      case SpecialFolderPath::DefinitionsRPDefGenerators:
        return Under(DefinitionsHome(), "RPDef Generators");
      case SpecialFolderPath::RPDefGenerators: return Under(InstallHome(), "RPDef Generators");
      case SpecialFolderPath::DefinitionsRasterFormats:
        return Under(DefinitionsHome(), "Raster Formats");
      case SpecialFolderPath::RasterFormats: return Under(InstallHome(), "Raster Formats");
      case SpecialFolderPath::DefinitionsRasterProcesses:
        return Under(DefinitionsHome(), "Raster Processes");
      case SpecialFolderPath::RasterProcesses: return Under(InstallHome(), "Raster Processes");
      case SpecialFolderPath::UserAppData: return AppDataLocalDir("QUORVAN");
      case SpecialFolderPath::UserProductAppData: return UserProductAppData();
      case SpecialFolderPath::FormatRuntimeData: return Under(InstallHome(), "Format Runtime Data");
      case SpecialFolderPath::UserProductDocuments: {
        const std::string documents = getShellFolder(5);
        return Under(Under(documents, "QUORVAN"), "Rendix");
      }
      case SpecialFolderPath::UserLogs: return Under(UserProductAppData(), "Logs");
      case SpecialFolderPath::DefinitionsGeoTransformers:
        return Under(DefinitionsHome(), "GeoTransformers");
      case SpecialFolderPath::Symbology: return Under(InstallHome(), "Symbology");
      case SpecialFolderPath::InstallHomeAsStored: {
        const std::string stored = rdx::platform::ProductValue("Home");
        // Kept as written in the registry, for callers that compare against the stored text.
        return stored.empty() ? InstallHome() : WithTrailingSlash(stored, true);
      }
      case SpecialFolderPath::Help: return Under(InstallHome(), "Help");
      case SpecialFolderPath::Bitmaps: return Under(InstallHome(), "Bitmaps");
      case SpecialFolderPath::UserConfig: return Under(UserProductAppData(), "Config");
      case SpecialFolderPath::PEData: return Under(InstallHome(), "pedata");
      case SpecialFolderPath::Bin: return Under(InstallHome(), "Bin");
      default: return "";
    }
  } catch (...) {
    return "";
  }
}

std::string getShellFolder(int folderId) {
  try {
    std::string folder;
    switch (folderId) {
      case 5: folder = DocumentsFolder(); break;                            // documents
      case 26: folder = XdgFolder("XDG_CONFIG_HOME", ".config"); break;     // roaming data
      case 28: folder = XdgFolder("XDG_DATA_HOME", ".local/share"); break;  // local data
      case 35: folder = "/var/lib"; break;                                  // common data
      case 38:
      case 43: folder = "/opt"; break;                 // program files
      case 40: folder = rdx::os::HomeFolder(); break;  // profile
      default: return "";
    }
    return folder.empty() ? "" : WithTrailingSlash(folder);
  } catch (...) {
    return "";
  }
}

// Shell folders already end in "/" and hold no "\\".
std::string GetMachineCommonFilesFolder() { return getShellFolder(43); }

bool createDirectory(const std::string& path) {
  try {
    const std::string normal = ForwardSlashes(path);
    const bool unc = normal.compare(0, 2, "//") == 0;
    const bool rooted = !unc && !normal.empty() && normal.front() == '/';
    std::vector<std::string> levels;
    std::size_t start = 0;
    while (start < normal.size()) {
      std::size_t end = normal.find('/', start);
      if (end == std::string::npos) end = normal.size();
      if (end > start) levels.push_back(normal.substr(start, end - start));
      start = end + 1;
    }
    if (levels.empty()) return true;
    // The first level is a drive, a server or the root: it is taken to exist, never created.
    std::string running;
    std::size_t next = 0;
    if (!rooted) {
      running = (unc ? "//" : "") + levels[0];
      next = 1;
    }
    for (; next < levels.size(); ++next) {
      running += "/" + levels[next];
      if (rdx::os::PathExists(running)) continue;
      if (const std::uint32_t code = rdx::os::MakeDirectory(running); code != 0) {
        rdx::os::SetLastError(code);  // as a failed CreateDirectory leaves it
        return false;
      }
    }
    return true;
  } catch (...) {
    return false;
  }
}

}  // namespace QUORVAN::Rendix::GeneralUtilityLib
