#pragma once
// The fixed answers of the reference server, shared by its three managers: the text answer
// of every out-text operation, the session table, the status XML of a refusal and the call
// log on standard error. Client developers test against these answers, so they never change
// with the request beyond what the README documents.

#include <cstdint>
#include <cstdio>
#include <mutex>
#include <set>
#include <string>
#include <string_view>

#include "CallLog.h"

namespace rdx::refserver {

// Status ids of the two refusals the reference server knows.
inline constexpr std::int32_t kUnknownSessionId = 0x7E01;
inline constexpr std::int32_t kEmptyAreaId = 0x7E02;

class RefAnswers {
 public:
  // `logCalls` false serves without the call log (to measure what logging costs).
  explicit RefAnswers(std::uint32_t textSize, bool logCalls = true)
      : textSize_(textSize), log_(stderr, logCalls) {}
  RefAnswers(const RefAnswers&) = delete;
  RefAnswers& operator=(const RefAnswers&) = delete;

  // The answer text of `operation`: its name, then '.' up to exactly textSize bytes (the
  // name is cut when textSize is shorter). No NUL of its own.
  std::string Text(std::string_view operation) const;

  // Size protocol of a long operation with an [out, size_is(n)] text: when the text fits
  // n it is copied into `text` (which holds n zero bytes) and the result is 0; otherwise
  // nothing is written and the result is the size needed.
  std::int32_t SizedText(std::string_view operation, std::int32_t n, char* text) const;

  // A boolean operation's out text: as much of the text as `room` holds. Returns the count.
  std::int32_t CutText(std::string_view operation, std::int32_t room, char* text) const;

  // Hands out "S1", "S2", ... (one counter for all interfaces of this process).
  std::string OpenSession();
  bool IsSession(std::string_view id) const;
  // False when the id was not open.
  bool CloseSession(std::string_view id);

  // A status XML text with one item (the source names the operation); empty id and message
  // text are allowed.
  static std::string StatusXml(std::int32_t id, std::string_view source, std::string_view message);
  // The refusal of a call that named an unknown session.
  static std::string UnknownSession(std::string_view operation, std::string_view id);

  // Whether `session` is open; if not, `error` gets the refusal and the call is logged with
  // `detail` as answered `failed`.
  bool CheckSession(std::string_view interfaceName, std::string_view operation,
                    std::string_view session, std::string_view detail, std::int64_t failed,
                    std::string& error) const;
  // A boolean operation on a session: 1 with `error` cleared, or 0 with the refusal.
  std::int8_t SessionCall(std::string_view interfaceName, std::string_view operation,
                          std::string_view session, std::string& error) const;
  // A sized-text operation on a session: SizedText's result, or -1 with the refusal.
  std::int32_t SessionText(std::string_view interfaceName, std::string_view operation,
                           std::string_view session, std::int32_t n, char* text,
                           std::string& error) const;

  // One line on standard error, written within a few milliseconds; lines of concurrent calls
  // never interleave.
  void Log(std::string_view interfaceName, std::string_view operation, std::string_view detail,
           std::int64_t result) const;
  // Returns once every line logged before is on standard error.
  void FlushLog() const { log_.Flush(); }

 private:
  const std::uint32_t textSize_;
  mutable std::mutex sessionsLock_;  // guards sessions_ and nextSession_; no I/O while held
  std::set<std::string, std::less<>> sessions_;
  std::uint64_t nextSession_ = 1;
  mutable CallLog log_;
};

// The byte at index i of a StreamImageBuffer answer: (i + a + b) mod 256.
std::uint8_t StreamByte(std::uint32_t index, std::int32_t a, std::int32_t b);

}  // namespace rdx::refserver
