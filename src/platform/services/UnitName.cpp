#include "platform/services/UnitName.h"

namespace rdx::services {
namespace {

constexpr std::size_t kMaxUnitName = 255;
constexpr char kSuffix[] = ".service";

bool Allowed(unsigned char c) {
  return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') || c == ':' ||
         c == '_' || c == '.';
}

void AppendEscaped(std::string& out, unsigned char c) {
  static constexpr char kHex[] = "0123456789abcdef";
  out += "\\x";
  out += kHex[c >> 4];
  out += kHex[c & 15];
}

int HexValue(char c) {
  if (c >= '0' && c <= '9') return c - '0';
  if (c >= 'a' && c <= 'f') return c - 'a' + 10;
  if (c >= 'A' && c <= 'F') return c - 'A' + 10;
  return -1;
}

}  // namespace

std::optional<std::string> UnitNameOf(const std::string& serviceName) {
  if (serviceName.empty()) return std::nullopt;
  std::string unit;
  for (std::size_t i = 0; i < serviceName.size(); ++i) {
    const auto c = static_cast<unsigned char>(serviceName[i]);
    if (c == '/') {
      unit += '-';
    } else if (Allowed(c) && !(i == 0 && c == '.')) {  // no hidden unit names
      unit += static_cast<char>(c);
    } else {
      AppendEscaped(unit, c);
    }
  }
  unit += kSuffix;
  if (unit.size() > kMaxUnitName) return std::nullopt;
  return unit;
}

std::string ServiceNameOf(const std::string& unitName) {
  const std::size_t dot = unitName.rfind('.');
  const std::string stem = dot == std::string::npos ? unitName : unitName.substr(0, dot);
  std::string name;
  for (std::size_t i = 0; i < stem.size(); ++i) {
    if (stem[i] == '-') {
      name += '/';
    } else if (stem[i] == '\\' && i + 3 < stem.size() && stem[i + 1] == 'x' &&
               HexValue(stem[i + 2]) >= 0 && HexValue(stem[i + 3]) >= 0) {
      name += static_cast<char>(HexValue(stem[i + 2]) * 16 + HexValue(stem[i + 3]));
      i += 3;
    } else {
      name += stem[i];
    }
  }
  return name;
}

}  // namespace rdx::services
