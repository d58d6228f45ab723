// rdxctl: one command-line client for the library's remote interfaces, the service manager,
// report pipes, status texts and the registry store.
//
//   rdxctl [--json] VERB ...     (rdxctl --help, rdxctl VERB --help)
//
// Exit codes: 0 done, 1 the operation failed (the reason on standard error), 2 bad usage.

#include <cstdio>
#include <exception>
#include <iostream>
#include <string>

#include "Output.h"

namespace {

// The deepest subcommand the command line reached, so a usage error shows that verb's usage.
const CLI::App* DeepestVerb(const CLI::App& app) {
  for (const CLI::App* sub : app.get_subcommands()) return DeepestVerb(*sub);
  return &app;
}

// "usage: rdxctl server [OPTIONS] HOST SUBCOMMAND": CLI11's usage line of the verb with the
// whole command path in front, as the user has to type it.
std::string UsageOf(const CLI::App& verb) {
  std::string path;
  for (const CLI::App* at = &verb; at != nullptr; at = at->get_parent()) {
    path = at->get_name() + (path.empty() ? "" : " " + path);
  }
  const std::string help = verb.help();
  const std::string marker = "Usage: " + verb.get_name();
  std::size_t start = help.find(marker);
  if (start == std::string::npos) return "usage: " + path;
  start += marker.size();
  const std::size_t end = help.find('\n', start);
  return "usage: " + path + help.substr(start, end - start) + "  (--help for more)";
}

int Run(int argc, char** argv) {
  rdxctl::Context context;
  CLI::App app{"Client for the Rendix server, service providers, services, report pipes, "
               "status texts and the registry store.",
               "rdxctl"};
  // Global switches may also follow the verb ("rdxctl server h version --json").
  app.fallthrough();
  app.require_subcommand(1);
  app.add_flag("--json", context.json, "answer as one JSON document");
  app.footer("Exit codes: 0 done, 1 the operation failed, 2 bad usage.");

  rdxctl::AddServerVerbs(app, context);
  rdxctl::AddProviderVerbs(app, context);
  rdxctl::AddServiceVerbs(app, context);
  rdxctl::AddLogVerbs(app, context);
  rdxctl::AddStatusVerbs(app, context);
  rdxctl::AddRegistryVerbs(app, context);

  try {
    app.parse(argc, argv);
  } catch (const CLI::CallForHelp&) {
    std::cout << DeepestVerb(app)->help();
    return rdxctl::kDone;
  } catch (const CLI::CallForAllHelp&) {
    std::cout << app.help("", CLI::AppFormatMode::All);
    return rdxctl::kDone;
  } catch (const CLI::ParseError& error) {
    std::string message = error.what();
    for (char& c : message) {
      if (c == '\n') c = ' ';  // one line, whatever CLI11 wrote
    }
    std::cerr << "rdxctl: " << message << '\n' << UsageOf(*DeepestVerb(app)) << '\n';
    return rdxctl::kBadUsage;
  } catch (const std::exception& error) {
    // Nothing the verbs call should throw; an allocation failure or a stream error still ends
    // the program with a message rather than a crash.
    std::cerr << "rdxctl: " << error.what() << '\n';
    return rdxctl::kFailed;
  }
  return context.exitCode;
}

}  // namespace

int main(int argc, char** argv) {
  try {
    return Run(argc, argv);
  } catch (...) {
    // Setting up the command line itself failed (out of memory): a message, not a crash.
    std::fputs("rdxctl: could not start\n", stderr);
    return rdxctl::kFailed;
  }
}
