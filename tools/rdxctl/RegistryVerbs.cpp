// rdxctl reg get|set|list: the machine's registry store ($RDX_REGISTRY_ROOT).

#include <rdx/platform/SystemInformation.h>

#include <cctype>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "Output.h"

namespace rdxctl {
namespace {

namespace gul = QUORVAN::Rendix::GeneralUtilityLib;

struct RegistryArgs {
  std::string key;
  std::string name;
  std::string value;
};

std::string CodeText(std::int32_t code) {
  return gul::GetLastErrorText(code) + " (" + std::to_string(code) + ")";
}

bool SameName(const std::string& a, const std::string& b) {
  if (a.size() != b.size()) return false;
  for (std::size_t i = 0; i < a.size(); ++i) {
    if (std::tolower(static_cast<unsigned char>(a[i])) !=
        std::tolower(static_cast<unsigned char>(b[i]))) {
      return false;
    }
  }
  return true;
}

// Read through the listing rather than GetRegistryValue: that answers "" both for a missing
// value and an empty one, and cuts nothing at 511 bytes.
int Get(Context& context, const RegistryArgs& args) {
  std::vector<std::string> subkeys;
  std::vector<std::pair<std::string, std::string>> values;
  const std::int32_t code = gul::ListRegistryKey(args.key, subkeys, values);
  if (code != 0) return Fail("cannot read key '" + args.key + "': " + CodeText(code));
  for (const auto& [name, value] : values) {
    if (!SameName(name, args.name)) continue;
    Emit(context, value,
         JsonObject().Text("key", args.key).Text("name", name).Text("value", value));
    return kDone;
  }
  return Fail("key '" + args.key + "' has no value '" + args.name + "'");
}

int Set(Context& context, const RegistryArgs& args) {
  const std::int32_t code = gul::SetRegistryValue(args.key, args.name, args.value);
  if (code != 0) {
    return Fail("cannot set '" + args.name + "' of key '" + args.key + "': " + CodeText(code));
  }
  Emit(context, "",
       JsonObject().Text("key", args.key).Text("name", args.name).Text("value", args.value));
  return kDone;
}

int List(Context& context, const RegistryArgs& args) {
  std::vector<std::string> subkeys;
  std::vector<std::pair<std::string, std::string>> values;
  const std::int32_t code = gul::ListRegistryKey(args.key, subkeys, values);
  if (code != 0) return Fail("cannot list key '" + args.key + "': " + CodeText(code));
  std::string text;
  for (const std::string& subkey : subkeys) text += subkey + "\\\n";
  for (const auto& [name, value] : values) text += name + "=" + value + "\n";
  Emit(context, text,
       JsonObject().Text("key", args.key).Texts("subkeys", subkeys).Pairs("values", values));
  return kDone;
}

}  // namespace

void AddRegistryVerbs(CLI::App& app, Context& context) {
  auto args = std::make_shared<RegistryArgs>();
  CLI::App* reg = app.add_subcommand("reg", "the registry store ($RDX_REGISTRY_ROOT)");
  reg->require_subcommand(1);
  CLI::App* get = reg->add_subcommand("get", "print one value");
  get->add_option("key", args->key, "the key, e.g. SOFTWARE\\QUORVAN\\Rendix")->required();
  get->add_option("name", args->name, "the value's name")->required();
  get->callback([&context, args] { context.exitCode = Get(context, *args); });
  CLI::App* set = reg->add_subcommand("set", "set one value, creating missing keys");
  set->add_option("key", args->key, "the key")->required();
  set->add_option("name", args->name, "the value's name")->required();
  set->add_option("value", args->value, "the value (one line)")->required();
  set->callback([&context, args] { context.exitCode = Set(context, *args); });
  CLI::App* list = reg->add_subcommand("list", "a key's subkeys (ending in \\) and values");
  list->add_option("key", args->key, "the key")->required();
  list->callback([&context, args] { context.exitCode = List(context, *args); });
}

}  // namespace rdxctl
