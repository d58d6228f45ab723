#include "platform/PlatformText.h"

#include "platform/os/RegistryStore.h"

#include <cctype>
#include <cstdlib>

namespace rdx::platform {

std::string ChopBlanks(const std::string& text) {
  std::size_t end = text.size();
  while (end > 0 && std::isspace(static_cast<unsigned char>(text[end - 1]))) --end;
  std::size_t start = 0;
  while (start < end && std::isspace(static_cast<unsigned char>(text[start]))) ++start;
  return text.substr(start, end - start);
}

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

bool SameTextNoCase(const std::string& a, const std::string& b) {
  if (a.size() != b.size()) return false;
  for (std::size_t i = 0; i < a.size(); ++i) {
    if (std::tolower(static_cast<unsigned char>(a[i])) !=
        std::tolower(static_cast<unsigned char>(b[i]))) {
      return false;
    }
  }
  return true;
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
