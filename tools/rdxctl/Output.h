#pragma once
// What every verb shares: the parsed global switches, the exit code it leaves, and the text or
// JSON form of its answer.

#include <CLI/CLI.hpp>

#include <cstdint>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace rdxctl {

// Exit codes: 0 done, 1 the operation failed, 2 bad usage (set by main for parse errors).
inline constexpr int kDone = 0;
inline constexpr int kFailed = 1;
inline constexpr int kBadUsage = 2;

struct Context {
  bool json = false;  // --json: one JSON document per answer instead of text
  int exitCode = kDone;
};

// `text` as a JSON string literal with its quotes. Bytes that are not UTF-8 are written as
// \u00XX (read as Latin-1), so the document stays valid whatever a server answered.
std::string JsonString(std::string_view text);

// A JSON object built member by member, in insertion order.
class JsonObject {
 public:
  JsonObject& Text(std::string_view key, std::string_view value);
  JsonObject& Number(std::string_view key, double value);
  JsonObject& Unsigned(std::string_view key, std::uint64_t value);
  JsonObject& Boolean(std::string_view key, bool value);
  JsonObject& Texts(std::string_view key, const std::vector<std::string>& values);
  JsonObject& Pairs(std::string_view key,
                    const std::vector<std::pair<std::string, std::string>>& values);
  std::string Str() const { return "{" + body_ + "}"; }

 private:
  void Key(std::string_view key);
  std::string body_;
};

// Prints the answer on standard output: `json` when --json was given, else `text` (a line
// break is added when it lacks one; nothing is printed for an empty text).
void Emit(const Context& context, const std::string& text, const JsonObject& json);
// "rdxctl: <message>" on standard error; returns kFailed.
int Fail(const std::string& message);
// A failure whose details are a status text (possibly several lines): the headline, then the
// text; returns kFailed.
int Fail(const std::string& headline, const std::string& statusText);

// Each verb group adds its subcommands to the program; their callbacks run the verb and leave
// the exit code in `context`.
void AddServerVerbs(CLI::App& app, Context& context);
void AddProviderVerbs(CLI::App& app, Context& context);
void AddServiceVerbs(CLI::App& app, Context& context);
void AddLogVerbs(CLI::App& app, Context& context);
void AddStatusVerbs(CLI::App& app, Context& context);
void AddRegistryVerbs(CLI::App& app, Context& context);

}  // namespace rdxctl
