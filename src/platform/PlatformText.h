#pragma once
// Small text rules shared by the folder and registry functions.

#include <string>

namespace rdx::platform {

// Every "\" turned into "/".
std::string ForwardSlashes(std::string path);

// `path` with a "/" appended unless it already ends in one (or in "\", when `eitherSeparator`).
std::string WithTrailingSlash(std::string path, bool eitherSeparator = false);

// `text` in single quotes for a POSIX shell, embedded quotes written '\''.
std::string ShellQuoted(const std::string& text);

// The product registry key: "SOFTWARE\QUORVAN\Rendix" followed directly by $RDX_INSTALLATION.
std::string ProductKey();

// A value under the product key of this machine's registry store; "" when missing.
std::string ProductValue(const std::string& name);

}  // namespace rdx::platform
