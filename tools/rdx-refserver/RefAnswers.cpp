#include "RefAnswers.h"

#include <rdx/foundation/Status.h>

#include <algorithm>
#include <cstdio>
#include <cstring>

namespace rdx::refserver {

std::string RefAnswers::Text(std::string_view operation) const {
  std::string text(operation.substr(0, std::min<std::size_t>(operation.size(), textSize_)));
  text.resize(textSize_, '.');
  return text;
}

std::int32_t RefAnswers::SizedText(std::string_view operation, std::int32_t n, char* text) const {
  // Kept so: the second call of the size protocol offers exactly the size we named and must
  // get 0, so "fits" includes a text that fills the buffer to its last byte.
  if (n < 0 || static_cast<std::uint32_t>(n) < textSize_) {
    return static_cast<std::int32_t>(textSize_);
  }
  const std::string answer = Text(operation);
  std::memcpy(text, answer.data(), answer.size());
  return 0;
}

std::int32_t RefAnswers::CutText(std::string_view operation, std::int32_t room, char* text) const {
  if (room <= 0) return 0;
  const std::string answer = Text(operation);
  const auto count = std::min<std::size_t>(answer.size(), static_cast<std::size_t>(room));
  std::memcpy(text, answer.data(), count);
  return static_cast<std::int32_t>(count);
}

std::string RefAnswers::OpenSession() {
  std::lock_guard lock(sessionsLock_);
  std::string id = "S" + std::to_string(nextSession_++);
  sessions_.insert(id);
  return id;
}

bool RefAnswers::IsSession(std::string_view id) const {
  std::lock_guard lock(sessionsLock_);
  return sessions_.find(id) != sessions_.end();
}

bool RefAnswers::CloseSession(std::string_view id) {
  std::lock_guard lock(sessionsLock_);
  const auto found = sessions_.find(id);
  if (found == sessions_.end()) return false;
  sessions_.erase(found);
  return true;
}

std::string RefAnswers::StatusXml(std::int32_t id, std::string_view source,
                                  std::string_view message) {
  QUORVAN::Rendix::GeneralUtilityLib::Status status;
  status.Append(id, std::string(message), std::string(source), "");
  return status.ToString(nullptr);
}

std::string RefAnswers::UnknownSession(std::string_view operation, std::string_view id) {
  return StatusXml(kUnknownSessionId, "RefServer." + std::string(operation),
                   "Unknown session '" + std::string(id) + "'");
}

bool RefAnswers::CheckSession(std::string_view interfaceName, std::string_view operation,
                              std::string_view session, std::string_view detail,
                              std::int64_t failed, std::string& error) const {
  if (IsSession(session)) return true;
  error = UnknownSession(operation, session);
  Log(interfaceName, operation, detail, failed);
  return false;
}

std::int8_t RefAnswers::SessionCall(std::string_view interfaceName, std::string_view operation,
                                    std::string_view session, std::string& error) const {
  if (!CheckSession(interfaceName, operation, session, session, 0, error)) return 0;
  error.clear();
  Log(interfaceName, operation, session, 1);
  return 1;
}

std::int32_t RefAnswers::SessionText(std::string_view interfaceName, std::string_view operation,
                                     std::string_view session, std::int32_t n, char* text,
                                     std::string& error) const {
  if (!CheckSession(interfaceName, operation, session, session, -1, error)) return -1;
  error.clear();
  const std::int32_t result = SizedText(operation, n, text);
  Log(interfaceName, operation, std::string(session) + ", n=" + std::to_string(n), result);
  return result;
}

void RefAnswers::Log(std::string_view interfaceName, std::string_view operation,
                     std::string_view detail, std::int64_t result) const {
  if (!log_.Enabled()) return;
  // Client texts are shown cut and with control bytes masked: one call, one short line.
  constexpr std::size_t kShown = 60;
  std::string shown;
  for (char c : detail.substr(0, std::min(detail.size(), kShown))) {
    shown += (static_cast<unsigned char>(c) < 0x20 || c == 0x7F) ? '?' : c;
  }
  if (detail.size() > kShown) shown += "...";
  std::string line = std::string(interfaceName) + "." + std::string(operation) + "(" + shown +
                     ") -> " + std::to_string(result) + "\n";
  log_.Write(line);
}

std::uint8_t StreamByte(std::uint32_t index, std::int32_t a, std::int32_t b) {
  // Unsigned wrap-around keeps the sum congruent mod 256 for negative a and b as well.
  return static_cast<std::uint8_t>(index + static_cast<std::uint32_t>(a) +
                                   static_cast<std::uint32_t>(b));
}

}  // namespace rdx::refserver
