#include "reporting/ReportFormatter.h"

#include <cstdio>
#include <cstring>

namespace rdx::reporting {
namespace {

constexpr unsigned kMaxFieldWidth = 4096;

// Formats one value with a conversion built at run time from the report text; the types passed
// always match the conversion letter the builder appended.
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wformat-nonliteral"
template <typename Value>
void AppendFormatted(std::string& out, const std::string& directive, Value value) {
  char small[64];
  const int size = std::snprintf(small, sizeof small, directive.c_str(), value);
  if (size < 0) return;
  if (static_cast<std::size_t>(size) < sizeof small) {
    out.append(small, static_cast<std::size_t>(size));
    return;
  }
  std::string large(static_cast<std::size_t>(size) + 1, '\0');
  std::snprintf(large.data(), large.size(), directive.c_str(), value);
  out.append(large.data(), static_cast<std::size_t>(size));
}
#pragma GCC diagnostic pop

// Reads a width or precision at format[i]: digits (capped) or '*' (an absent argument, read
// as zero). Appends what it read to directive.
void ReadNumber(const std::string& format, std::size_t& i, std::string& directive) {
  if (i < format.size() && format[i] == '*') {
    ++i;
    directive += '0';
    return;
  }
  unsigned value = 0;
  bool any = false;
  while (i < format.size() && format[i] >= '0' && format[i] <= '9') {
    value = value * 10 + static_cast<unsigned>(format[i] - '0');
    if (value > kMaxFieldWidth) value = kMaxFieldWidth;
    any = true;
    ++i;
  }
  if (any) directive += std::to_string(value);
}

}  // namespace

std::string FormatWithoutArguments(const std::string& format) {
  std::string out;
  out.reserve(format.size());
  const std::size_t end = std::strlen(format.c_str());  // the formatter sees a C string
  std::size_t i = 0;
  while (i < end) {
    if (format[i] != '%') {
      out += format[i++];
      continue;
    }
    const std::size_t start = i++;
    std::string directive = "%";
    while (i < end && std::strchr("-+ #0'", format[i]) != nullptr) directive += format[i++];
    ReadNumber(format, i, directive);
    if (i < end && format[i] == '.') {
      directive += format[i++];
      ReadNumber(format, i, directive);
    }
    // Length modifiers are dropped: the value passed below has the conversion's own type.
    while (i < end && std::strchr("hlLqjzt", format[i]) != nullptr) ++i;
    if (i >= end) {
      out.append(format, start, end - start);  // an unfinished conversion prints as it stands
      break;
    }
    const char conversion = format[i++];
    switch (conversion) {
      case '%': out += '%'; break;
      case 'd':
      case 'i': AppendFormatted(out, directive + conversion, 0); break;
      case 'u':
      case 'o':
      case 'x':
      case 'X': AppendFormatted(out, directive + conversion, 0u); break;
      case 'f':
      case 'F':
      case 'e':
      case 'E':
      case 'g':
      case 'G':
      case 'a':
      case 'A': AppendFormatted(out, directive + conversion, 0.0); break;
      case 's': AppendFormatted(out, directive + 's', ""); break;
      case 'p': AppendFormatted(out, directive + 's', "(nil)"); break;
      case 'c':
      case 'n':
      case 'm': break;  // a zero character, a write-back, errno: nothing
      default: out.append(format, start, i - start); break;  // unknown: printed as it stands
    }
  }
  return out;
}

}  // namespace rdx::reporting
