#include "platform/PlatformText.h"

#include "platform/os/RegistryStore.h"

#include <cstdlib>

namespace rdx::platform {

std::string ForwardSlashes(std::string path) {
  for (char& c : path) {
    if (c == '\\') c = '/';
  }
  return path;
}

std::string WithTrailingSlash(std::string path, bool eitherSeparator) {
  if (path.empty() || (path.back() != '/' && !(eitherSeparator && path.back() == '\\'))) {
    path += '/';
  }
  return path;
}

std::string ShellQuoted(const std::string& text) {
  std::string quoted = "'";
  for (char c : text) {
    if (c == '\'') {
      quoted += "'\\''";
    } else {
      quoted += c;
    }
  }
  return quoted + "'";
}

std::string ProductKey() {
  const char* installation = std::getenv("RDX_INSTALLATION");
  return std::string("SOFTWARE\\QUORVAN\\Rendix") + (installation != nullptr ? installation : "");
}

std::string ProductValue(const std::string& name) {
  // 512 bytes, as every registry read of the product key uses.
  const os::RegistryRead read = os::ReadRegistryValue(os::RegistryRoot(), ProductKey(), name, 512);
  return read.code == 0 ? read.value : std::string();
}

}  // namespace rdx::platform
