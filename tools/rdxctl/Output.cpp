#include "Output.h"

#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <iostream>

namespace rdxctl {
namespace {

// Length of the well-formed UTF-8 sequence starting at `at`, 0 when it is not one.
std::size_t Utf8Length(std::string_view text, std::size_t at) {
  const auto byte = [&](std::size_t i) { return static_cast<unsigned char>(text[i]); };
  const unsigned char lead = byte(at);
  std::size_t length = 0;
  std::uint32_t lowest = 0;
  if (lead >= 0xC2 && lead <= 0xDF) {
    length = 2;
    lowest = 0x80;
  } else if (lead >= 0xE0 && lead <= 0xEF) {
    length = 3;
    lowest = 0x800;
  } else if (lead >= 0xF0 && lead <= 0xF4) {
    length = 4;
    lowest = 0x10000;
  } else {
    return 0;
  }
  if (at + length > text.size()) return 0;
  std::uint32_t code = lead & (0x7F >> length);
  for (std::size_t i = 1; i < length; ++i) {
    if ((byte(at + i) & 0xC0) != 0x80) return 0;
    code = (code << 6) | (byte(at + i) & 0x3F);
  }
  // Overlong forms, surrogates and values past U+10FFFF are not UTF-8.
  if (code < lowest || code > 0x10FFFF || (code >= 0xD800 && code <= 0xDFFF)) return 0;
  return length;
}

}  // namespace

std::string JsonString(std::string_view text) {
  std::string out = "\"";
  out.reserve(text.size() + 2);
  for (std::size_t i = 0; i < text.size();) {
    const auto c = static_cast<unsigned char>(text[i]);
    char escaped[8];
    switch (c) {
      case '"': out += "\\\""; break;
      case '\\': out += "\\\\"; break;
      case '\n': out += "\\n"; break;
      case '\r': out += "\\r"; break;
      case '\t': out += "\\t"; break;
      case '\b': out += "\\b"; break;
      case '\f': out += "\\f"; break;
      default:
        if (c < 0x20 || c == 0x7F) {
          std::snprintf(escaped, sizeof escaped, "\\u%04x", c);
          out += escaped;
        } else if (c >= 0x80) {
          const std::size_t length = Utf8Length(text, i);
          if (length == 0) {
            std::snprintf(escaped, sizeof escaped, "\\u%04x", c);
            out += escaped;
          } else {
            out.append(text.substr(i, length));
            i += length;
            continue;
          }
        } else {
          out += static_cast<char>(c);
        }
    }
    ++i;
  }
  return out + "\"";
}

void JsonObject::Key(std::string_view key) {
  if (!body_.empty()) body_ += ",";
  body_ += JsonString(key) + ":";
}

JsonObject& JsonObject::Text(std::string_view key, std::string_view value) {
  Key(key);
  body_ += JsonString(value);
  return *this;
}

JsonObject& JsonObject::Number(std::string_view key, double value) {
  Key(key);
  if (!std::isfinite(value)) {
    body_ += "null";  // JSON has no NaN or infinity
    return *this;
  }
  char text[32];
  std::snprintf(text, sizeof text, "%.17g", value);
  // The shortest form that reads back the same, so 1.002 stays "1.002".
  for (int digits = 1; digits <= 17; ++digits) {
    char shorter[32];
    std::snprintf(shorter, sizeof shorter, "%.*g", digits, value);
    if (std::strtod(shorter, nullptr) == value) {
      body_ += shorter;
      return *this;
    }
  }
  body_ += text;
  return *this;
}

JsonObject& JsonObject::Unsigned(std::string_view key, std::uint64_t value) {
  Key(key);
  body_ += std::to_string(value);
  return *this;
}

JsonObject& JsonObject::Boolean(std::string_view key, bool value) {
  Key(key);
  body_ += value ? "true" : "false";
  return *this;
}

JsonObject& JsonObject::Texts(std::string_view key, const std::vector<std::string>& values) {
  Key(key);
  body_ += "[";
  for (std::size_t i = 0; i < values.size(); ++i) {
    if (i > 0) body_ += ",";
    body_ += JsonString(values[i]);
  }
  body_ += "]";
  return *this;
}

JsonObject& JsonObject::Pairs(std::string_view key,
                              const std::vector<std::pair<std::string, std::string>>& values) {
  Key(key);
  body_ += "{";
  for (std::size_t i = 0; i < values.size(); ++i) {
    if (i > 0) body_ += ",";
    body_ += JsonString(values[i].first) + ":" + JsonString(values[i].second);
  }
  body_ += "}";
  return *this;
}

void Emit(const Context& context, const std::string& text, const JsonObject& json) {
  if (context.json) {
    std::cout << json.Str() << '\n';
  } else if (!text.empty()) {
    std::cout << text;
    if (text.back() != '\n') std::cout << '\n';
  }
  std::cout.flush();
}

int Fail(const std::string& message) {
  std::cerr << "rdxctl: " << message << '\n';
  return kFailed;
}

int Fail(const std::string& headline, const std::string& statusText) {
  std::cerr << "rdxctl: " << headline << '\n';
  if (!statusText.empty()) std::cerr << statusText << '\n';
  return kFailed;
}

}  // namespace rdxctl
