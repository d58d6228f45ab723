#include "remote/runtime/StringBinding.h"

#include <cctype>

#include "platform/os/PipeFolder.h"
#include "platform/os/StreamSocket.h"
#include "remote/runtime/RpcRuntime.h"

namespace rdx::rpc {
namespace {

bool Special(char c) { return c == '\\' || c == '@' || c == ':' || c == '[' || c == ']'; }

void AppendEscaped(std::string& out, const std::string& part) {
  for (char c : part) {
    if (Special(c)) out.push_back('\\');
    out.push_back(c);
  }
}

bool PlainUuid(const std::string& text) {
  if (text.size() != 36) return false;
  for (std::size_t i = 0; i < text.size(); ++i) {
    const bool dash = i == 8 || i == 13 || i == 18 || i == 23;
    if (dash ? text[i] != '-' : !std::isxdigit(static_cast<unsigned char>(text[i]))) {
      return false;
    }
  }
  return true;
}

char Lower(char c) { return static_cast<char>(std::tolower(static_cast<unsigned char>(c))); }

}  // namespace

std::uint32_t ComposeStringBinding(const StringBindingParts& parts, std::string& binding) {
  if (!parts.objectUuid.empty() && !PlainUuid(parts.objectUuid)) return os::kRpcInvalidUuid;
  binding.clear();
  if (!parts.objectUuid.empty()) {
    binding = parts.objectUuid;
    binding.push_back('@');
  }
  AppendEscaped(binding, parts.protocolSequence);
  binding.push_back(':');
  AppendEscaped(binding, parts.networkAddress);
  if (!parts.endpoint.empty() || !parts.options.empty()) {
    binding.push_back('[');
    AppendEscaped(binding, parts.endpoint);
    if (!parts.options.empty()) {
      binding.push_back(',');
      binding += parts.options;
    }
    binding.push_back(']');
  }
  return 0;
}

std::uint32_t ParseStringBinding(const std::string& binding, StringBindingParts& parts) {
  parts = StringBindingParts{};
  // Split on unescaped separators, dropping one level of escaping as we go.
  std::string current;
  std::string* target = &parts.protocolSequence;
  enum class Stage { kProtocol, kAddress, kEndpoint, kOptions, kDone } stage = Stage::kProtocol;
  bool sawUuid = false;
  for (std::size_t i = 0; i < binding.size(); ++i) {
    const char c = binding[i];
    if (c == '\\' && stage != Stage::kOptions) {
      if (i + 1 < binding.size()) target->push_back(binding[++i]);
      continue;
    }
    if (stage == Stage::kProtocol && c == '@' && !sawUuid) {
      parts.objectUuid = parts.protocolSequence;
      parts.protocolSequence.clear();
      sawUuid = true;
    } else if (stage == Stage::kProtocol && c == ':') {
      stage = Stage::kAddress;
      target = &parts.networkAddress;
    } else if (stage == Stage::kAddress && c == '[') {
      stage = Stage::kEndpoint;
      target = &parts.endpoint;
    } else if (stage == Stage::kEndpoint && c == ',') {
      stage = Stage::kOptions;
      target = &parts.options;
    } else if ((stage == Stage::kEndpoint || stage == Stage::kOptions) && c == ']') {
      stage = Stage::kDone;
    } else if (stage == Stage::kDone) {
      return os::kRpcInvalidStringBinding;
    } else {
      target->push_back(c);
    }
  }
  if (stage == Stage::kProtocol || stage == Stage::kEndpoint || stage == Stage::kOptions) {
    return os::kRpcInvalidStringBinding;
  }
  if (sawUuid && !PlainUuid(parts.objectUuid)) return os::kRpcInvalidUuid;
  if (parts.endpoint.rfind("endpoint=", 0) == 0) parts.endpoint.erase(0, 9);
  return 0;
}

std::uint32_t CheckProtocolSequence(const std::string& protocolSequence) {
  if (protocolSequence == kTcpProtocol || protocolSequence == kPipeProtocol) return 0;
  if (protocolSequence.empty()) return os::kRpcInvalidProtocol;
  for (char c : protocolSequence) {
    if (!std::isalnum(static_cast<unsigned char>(c)) && c != '_') return os::kRpcInvalidProtocol;
  }
  const bool family = protocolSequence.rfind("ncacn_", 0) == 0 ||
                      protocolSequence.rfind("ncadg_", 0) == 0 ||
                      protocolSequence.rfind("ncalrpc", 0) == 0;
  return family ? os::kRpcProtocolNotSupported : os::kRpcInvalidProtocol;
}

const char* ProtocolSequenceFor(const std::string& endpoint) {
  const bool pipe =
      endpoint.find("\\pipe") != std::string::npos || endpoint.find("/pipe") != std::string::npos;
  return pipe ? kPipeProtocol : kTcpProtocol;
}

bool ParseTcpEndpoint(const std::string& endpoint, std::uint16_t& port) {
  if (endpoint.empty() || endpoint.size() > 5) return false;
  std::uint32_t value = 0;
  for (char c : endpoint) {
    if (c < '0' || c > '9') return false;
    value = value * 10 + static_cast<std::uint32_t>(c - '0');
  }
  if (value < 1 || value > 65535) return false;
  port = static_cast<std::uint16_t>(value);
  return true;
}

bool PipeSocketPath(const std::string& endpoint, std::string& path) {
  if (endpoint.size() < 7) return false;
  const bool slash0 = endpoint[0] == '\\' || endpoint[0] == '/';
  const bool slash5 = endpoint[5] == '\\' || endpoint[5] == '/';
  std::string word;
  for (std::size_t i = 1; i < 5; ++i) word.push_back(Lower(endpoint[i]));
  if (!slash0 || !slash5 || word != "pipe") return false;
  std::string name;
  for (std::size_t i = 6; i < endpoint.size(); ++i) {
    const char c = endpoint[i];
    if (c == '\0') return false;
    // Windows pipe names may contain backslashes; a file name cannot hold a slash.
    name.push_back(c == '\\' || c == '/' ? '_' : Lower(c));
  }
  if (name.empty() || name == "." || name == "..") return false;
  const os::OsResult<std::string> folder = os::PipeFolder();
  if (!folder.ok()) return false;
  path = folder.value + name;
  return path.size() <= os::MaxSocketPathLength();
}

}  // namespace rdx::rpc
