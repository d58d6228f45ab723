#pragma once
// Points the registry store, the XDG folders and HOME at a fresh temporary folder for the
// life of a test, so nothing reads or writes the real /etc, /opt or home folders.

#include <unistd.h>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <map>
#include <string>

namespace rdx::test {

class IsolatedEnvironment {
 public:
  IsolatedEnvironment() {
    std::string pattern = (std::filesystem::temp_directory_path() / "rdx-env-XXXXXX").string();
    root_ = mkdtemp(pattern.data());
    Set("HOME", root_ + "/home");
    Set("XDG_DATA_HOME", root_ + "/home/.local/share");
    Set("XDG_CONFIG_HOME", root_ + "/home/.config");
    Set("XDG_DOCUMENTS_DIR", root_ + "/home/Documents");
    Set("RDX_REGISTRY_ROOT", root_ + "/registry");
    Set("RDX_INSTALLATION", "");
    std::filesystem::create_directories(root_ + "/home");
  }
  IsolatedEnvironment(const IsolatedEnvironment&) = delete;
  IsolatedEnvironment& operator=(const IsolatedEnvironment&) = delete;
  ~IsolatedEnvironment() {
    for (const auto& [name, value] : saved_) {
      if (value.has_value) {
        setenv(name.c_str(), value.text.c_str(), 1);
      } else {
        unsetenv(name.c_str());
      }
    }
    std::error_code ignored;
    std::filesystem::remove_all(root_, ignored);
  }

  const std::string& Root() const { return root_; }

  // Sets an environment variable until the end of the test (the first value is restored).
  void Set(const std::string& name, const std::string& value) {
    if (saved_.find(name) == saved_.end()) {
      const char* old = std::getenv(name.c_str());
      saved_[name] = old != nullptr ? Saved{true, old} : Saved{false, ""};
    }
    setenv(name.c_str(), value.c_str(), 1);
  }

  // Writes a registry key's "values" file (key path with "\" or "/") under the temporary root.
  void WriteRegistry(const std::string& keyPath, const std::string& valuesText) const {
    std::string relative = keyPath;
    for (char& c : relative) {
      if (c == '\\') c = '/';
    }
    const std::filesystem::path folder = std::filesystem::path(root_) / "registry" / relative;
    std::filesystem::create_directories(folder);
    std::ofstream(folder / "values", std::ios::binary) << valuesText;
  }

  // Writes a text file (parent folders created) and returns its path.
  std::string WriteFile(const std::string& path, const std::string& text) const {
    std::filesystem::create_directories(std::filesystem::path(path).parent_path());
    std::ofstream(path, std::ios::binary) << text;
    return path;
  }

 private:
  struct Saved {
    bool has_value;
    std::string text;
  };
  std::string root_;
  std::map<std::string, Saved> saved_;
};

// A whole file's bytes; empty when it cannot be read.
inline std::string ReadFile(const std::string& path) {
  std::ifstream in(path, std::ios::binary);
  return std::string(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
}

}  // namespace rdx::test
