#include <rdx/foundation/Object.h>

#include "foundation/StatusReportForms.h"

#include <cstdarg>
#include <cstdio>

namespace QUORVAN::Rendix::Global {
namespace {

using GeneralUtilityLib::Status;

// Messages of Report(source, format, ...) are formatted into this many bytes, terminator
// included; longer ones are cut.
constexpr std::size_t kReportMessageBytes = 5000;

char FoldAscii(char c) { return (c >= 'A' && c <= 'Z') ? static_cast<char>(c - 'A' + 'a') : c; }

// Compares as C strings, ASCII case ignored: a name is what precedes its first zero byte.
bool SameName(const std::string& a, const std::string& b) {
  const char* x = a.c_str();
  const char* y = b.c_str();
  for (; *x != '\0' && *y != '\0'; ++x, ++y) {
    if (FoldAscii(*x) != FoldAscii(*y)) return false;
  }
  return *x == *y;
}

}  // namespace

Object::Object() = default;
Object::Object(const Object& other) = default;
Object& Object::operator=(const Object& other) = default;
Object::~Object() = default;

int Object::SetErrorHandler(IReporter* reporter) {
  errorHandler_ = reporter;
  return 0;
}

int Object::SetStatusReporter(IReporter* reporter) {
  statusReporter_ = reporter;
  return 0;
}

std::string Object::ToString() { return {}; }

int Object::SetProperty(const std::string& name, const std::string& value) {
  if (name.empty() && value.empty()) return 0;
  try {
    for (auto& [storedName, storedValue] : properties_) {
      if (SameName(storedName, name)) {
        storedValue = value;
        return 1;
      }
    }
    properties_.emplace_back(name, value);
    return 1;
  } catch (...) {
    return 0;
  }
}

std::string Object::GetProperty(const std::string& name) {
  try {
    for (const auto& [storedName, storedValue] : properties_) {
      if (SameName(storedName, name)) return storedValue.c_str();
    }
  } catch (...) {
  }
  return {};
}

const Status& Object::GetStatus() { return status_; }

void Object::SendStatus(const Status& status) {
  if (statusReporter_ == nullptr) return;
  try {
    const std::string text = status.ToString(nullptr);
    (void)statusReporter_->Log(text.c_str());
  } catch (...) {
  }
}

void Object::ReportStatus() { SendStatus(status_); }

int Object::Report(const Status& status) {
  SendStatus(status);
  return 1;
}

void Object::Report(const char* source, const char* format, ...) {
  if (statusReporter_ == nullptr) return;
  try {
    Status local;
    if (format != nullptr) {
      char message[kReportMessageBytes];
      va_list args;
      va_start(args, format);
      const int written = std::vsnprintf(message, sizeof message, format, args);
      va_end(args);
      if (written < 0) message[0] = '\0';
      local.Clear("");
      local.Append(0, message, source != nullptr ? source : "", "");
    }
    SendStatus(local);
  } catch (...) {
  }
}

std::string Object::GetAsReportText(const Status& status) {
  return rdx::foundation::GetStatusAsReportText(status);
}

std::string Object::GetAsReportXml(const Status& status) {
  return rdx::foundation::GetStatusAsReportXml(status);
}

}  // namespace QUORVAN::Rendix::Global
