#include "platform/services/UnitFile.h"

#include <cstdio>

namespace rdx::services {
namespace {

constexpr std::uint32_t kDisabled = 4;
constexpr std::uint32_t kAutoStart = 2;

std::string Hex(unsigned char c) {
  char buffer[5];
  std::snprintf(buffer, sizeof buffer, "\\x%02x", c);
  return buffer;
}

std::string Quoted(const std::string& word, bool isProgram) {
  std::string out = "\"";
  for (const char ch : word) {
    const auto c = static_cast<unsigned char>(ch);
    if (c == '\\' || c == '"') {
      out += '\\';
      out += ch;
    } else if (c == '%') {
      out += "%%";  // specifiers are expanded before the line is split into words
    } else if (c == '$' && !isProgram) {
      out += "$$";  // $NAME in an argument is a variable
    } else if (c < 0x20 || c >= 0x7f) {
      out += Hex(c);
    } else {
      out += ch;
    }
  }
  return out + "\"";
}

// Length of the valid UTF-8 sequence at `i`, 0 when there is none.
std::size_t Utf8Length(const std::string& s, std::size_t i) {
  const auto c = static_cast<unsigned char>(s[i]);
  std::size_t n = 0;
  if (c >= 0xc2 && c <= 0xdf)
    n = 2;
  else if (c >= 0xe0 && c <= 0xef)
    n = 3;
  else if (c >= 0xf0 && c <= 0xf4)
    n = 4;
  else
    return 0;
  if (i + n > s.size()) return 0;
  for (std::size_t k = 1; k < n; ++k) {
    if ((static_cast<unsigned char>(s[i + k]) & 0xc0) != 0x80) return 0;
  }
  return n;
}

std::string Trimmed(const std::string& s) {
  const std::size_t first = s.find_first_not_of(" \t\r");
  if (first == std::string::npos) return "";
  return s.substr(first, s.find_last_not_of(" \t\r") - first + 1);
}

}  // namespace

std::vector<std::string> SplitCommandLine(const std::string& commandLine) {
  std::vector<std::string> words;
  std::string word;
  bool inWord = false;
  bool quoted = false;
  for (std::size_t i = 0; i < commandLine.size(); ++i) {
    const char c = commandLine[i];
    if (c == '\\') {
      std::size_t count = 0;
      while (i < commandLine.size() && commandLine[i] == '\\') ++count, ++i;
      if (i < commandLine.size() && commandLine[i] == '"') {
        word.append(count / 2, '\\');
        if (count % 2 == 1) {
          word += '"';
        } else {
          quoted = !quoted;
        }
      } else {
        word.append(count, '\\');
        --i;
      }
      inWord = true;
    } else if (c == '"') {
      quoted = !quoted;
      inWord = true;
    } else if ((c == ' ' || c == '\t') && !quoted) {
      if (inWord) words.push_back(word);
      word.clear();
      inWord = false;
    } else {
      word += c;
      inWord = true;
    }
  }
  if (inWord) words.push_back(word);
  return words;
}

std::string ExecStartOf(const std::string& binaryPath) {
  const std::vector<std::string> words = SplitCommandLine(binaryPath);
  std::string line;
  for (std::size_t i = 0; i < words.size(); ++i) {
    if (i > 0) line += ' ';
    line += Quoted(words[i], i == 0);
  }
  return line;
}

std::string DescriptionOf(const std::string& name) {
  std::string out;
  for (std::size_t i = 0; i < name.size();) {
    const auto c = static_cast<unsigned char>(name[i]);
    if (c == '%') {
      out += "%%";
      ++i;
    } else if (c < 0x20 || c == 0x7f) {
      out += '?';
      ++i;
    } else if (c < 0x80) {
      out += name[i++];
    } else if (const std::size_t n = Utf8Length(name, i); n > 0) {
      out.append(name, i, n);
      i += n;
    } else {
      out += '?';
      ++i;
    }
  }
  return out;
}

UnitFileText::UnitFileText(const std::string& text) {
  std::size_t start = 0;
  while (start < text.size()) {
    const std::size_t end = text.find('\n', start);
    if (end == std::string::npos) {
      lines_.push_back(text.substr(start));
      break;
    }
    lines_.push_back(text.substr(start, end - start));
    start = end + 1;
  }
}

std::optional<std::pair<std::size_t, std::size_t>> UnitFileText::Body(
    const std::string& section) const {
  const std::string header = "[" + section + "]";
  for (std::size_t i = 0; i < lines_.size(); ++i) {
    if (Trimmed(lines_[i]) != header) continue;
    std::size_t end = i + 1;
    while (end < lines_.size() && Trimmed(lines_[end]).rfind('[', 0) != 0) ++end;
    return std::make_pair(i + 1, end);
  }
  return std::nullopt;
}

namespace {
// The value when `line` is `key=value` (blanks around the key allowed).
std::optional<std::string> ValueOf(const std::string& line, const std::string& key) {
  const std::size_t equals = line.find('=');
  if (equals == std::string::npos || Trimmed(line.substr(0, equals)) != key) return std::nullopt;
  return Trimmed(line.substr(equals + 1));
}
}  // namespace

std::optional<std::string> UnitFileText::Get(const std::string& section,
                                             const std::string& key) const {
  const auto body = Body(section);
  if (!body) return std::nullopt;
  for (std::size_t i = body->first; i < body->second; ++i) {
    if (auto value = ValueOf(lines_[i], key)) return value;
  }
  return std::nullopt;
}

void UnitFileText::Set(const std::string& section, const std::string& key,
                       const std::string& value) {
  const std::string line = key + "=" + value;
  auto body = Body(section);
  if (!body) {
    if (!lines_.empty() && !Trimmed(lines_.back()).empty()) lines_.emplace_back();
    lines_.push_back("[" + section + "]");
    lines_.push_back(line);
    return;
  }
  bool done = false;
  for (std::size_t i = body->first; i < body->second;) {
    if (ValueOf(lines_[i], key)) {
      if (!done) {
        lines_[i++] = line;
        done = true;
      } else {
        lines_.erase(lines_.begin() + static_cast<std::ptrdiff_t>(i));
        --body->second;
      }
    } else {
      ++i;
    }
  }
  if (done) return;
  std::size_t at = body->second;  // after the section's last non-blank line
  while (at > body->first && Trimmed(lines_[at - 1]).empty()) --at;
  lines_.insert(lines_.begin() + static_cast<std::ptrdiff_t>(at), line);
}

void UnitFileText::Remove(const std::string& section, const std::string& key) {
  auto body = Body(section);
  if (!body) return;
  for (std::size_t i = body->first; i < body->second;) {
    if (ValueOf(lines_[i], key)) {
      lines_.erase(lines_.begin() + static_cast<std::ptrdiff_t>(i));
      --body->second;
    } else {
      ++i;
    }
  }
}

std::string UnitFileText::Text() const {
  std::string text;
  for (const std::string& line : lines_) text += line + "\n";
  return text;
}

void ApplyConfiguration(UnitFileText& unit, const std::string& binaryPath,
                        std::uint32_t serviceType, std::uint32_t startType) {
  const std::string exec = ExecStartOf(binaryPath);
  if (!exec.empty()) unit.Set("Service", "ExecStart", exec);
  unit.Set("Service", "X-Rendix-ServiceType", std::to_string(serviceType));
  unit.Set("Service", "X-Rendix-StartType", std::to_string(startType));
  if (startType == kDisabled) {
    unit.Set("Unit", "RefuseManualStart", "yes");
  } else {
    unit.Remove("Unit", "RefuseManualStart");
  }
  if (startType <= kAutoStart) {
    unit.Set("Install", "WantedBy", "multi-user.target");
  } else {
    unit.Remove("Install", "WantedBy");
  }
}

std::optional<std::string> NewUnitFile(const std::string& serviceName,
                                       const std::string& binaryPath, std::uint32_t serviceType,
                                       std::uint32_t startType) {
  if (ExecStartOf(binaryPath).empty()) return std::nullopt;
  UnitFileText unit("# A service installed by RDXGlobalLib.\n[Unit]\nDescription=" +
                    DescriptionOf(serviceName) + "\n\n[Service]\nType=notify\n");
  ApplyConfiguration(unit, binaryPath, serviceType, startType);
  unit.Set("Service", "TimeoutStartSec", std::to_string(kStartTimeoutSeconds));
  return unit.Text();
}

}  // namespace rdx::services
