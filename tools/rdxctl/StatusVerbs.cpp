// rdxctl status pretty FILE|-: a status XML text in its one-line-per-item text form.

#include <rdx/foundation/Status.h>

#include <fstream>
#include <iostream>
#include <iterator>
#include <memory>
#include <sstream>
#include <string>

#include "Output.h"

namespace rdxctl {
namespace {

using QUORVAN::Rendix::GeneralUtilityLib::Status;

// Status texts are small; this keeps a wrong file (a disk image) from being read whole.
constexpr std::size_t kMaxStatusBytes = 64u << 20;

bool ReadAll(std::istream& in, std::string& text) {
  char chunk[65536];
  while (in.read(chunk, sizeof chunk) || in.gcount() > 0) {
    text.append(chunk, static_cast<std::size_t>(in.gcount()));
    if (text.size() > kMaxStatusBytes) return false;
  }
  return !in.bad();
}

int Pretty(Context& context, const std::string& file) {
  std::string xml;
  if (file == "-") {
    if (!ReadAll(std::cin, xml)) return Fail("cannot read standard input (or more than 64 MiB)");
  } else {
    std::ifstream in(file, std::ios::binary);
    if (!in) return Fail("cannot open '" + file + "'");
    if (!ReadAll(in, xml)) return Fail("cannot read '" + file + "' (or more than 64 MiB)");
  }
  Status status;
  if (!status.Append(xml)) return Fail("'" + file + "' holds no status XML");
  const std::string text = status.ToTextString(nullptr);
  Emit(context, text, JsonObject().Text("text", text));
  return kDone;
}

}  // namespace

void AddStatusVerbs(CLI::App& app, Context& context) {
  auto file = std::make_shared<std::string>();
  CLI::App* status = app.add_subcommand("status", "status texts");
  status->require_subcommand(1);
  CLI::App* pretty = status->add_subcommand("pretty", "a status XML as text, one line per item");
  pretty->add_option("file", *file, "the XML file, or - for standard input")->required();
  pretty->callback([&context, file] { context.exitCode = Pretty(context, *file); });
}

}  // namespace rdxctl
