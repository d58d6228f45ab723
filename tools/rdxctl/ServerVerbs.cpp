// rdxctl server HOST[:PORT] version|info|providers|provider|services|service: the central
// server's answers through IServerProxy.

#include <rdx/remote/IServerProxy.h>

#include <cstdio>
#include <functional>
#include <memory>
#include <string>

#include "Output.h"

namespace rdxctl {
namespace {

using QUORVAN::Rendix::ServerCore::IServerProxy;

struct ServerArgs {
  std::string server;  // "host" or "host:endpoint"
  std::string kind = "Basic";
  std::string name;
  std::string provider;
};

// Connects, asks, closes. `ask` fills the answer; false when it failed (the proxy's status
// says why).
int WithServer(Context& context, const ServerArgs& args, const std::string& verb,
               const std::function<bool(IServerProxy&, std::string&, JsonObject&)>& ask) {
  std::unique_ptr<IServerProxy> proxy(IServerProxy::Create());
  if (!proxy) return Fail("out of memory");
  proxy->SetApplicationName("rdxctl");
  if (proxy->Init(args.server) == 0) {
    return Fail("cannot open a session with '" + args.server + "'",
                proxy->GetStatus().ToTextString(nullptr));
  }
  std::string text;
  JsonObject json;
  json.Text("server", args.server).Text("verb", verb);
  const bool done = ask(*proxy, text, json);
  const std::string status = proxy->GetStatus().ToTextString(nullptr);
  proxy->Close();
  if (!done) return Fail(verb + " failed on '" + args.server + "'", status);
  Emit(context, text, json);
  return kDone;
}

// A text query: an empty answer with status items is a failure, an empty answer alone is not.
std::function<bool(IServerProxy&, std::string&, JsonObject&)> TextQuery(
    const std::function<std::string(IServerProxy&)>& query) {
  return [query](IServerProxy& proxy, std::string& text, JsonObject& json) {
    text = query(proxy);
    if (text.empty() && !proxy.GetStatus().ToTextString(nullptr).empty()) return false;
    json.Text("text", text);
    return true;
  };
}

}  // namespace

void AddServerVerbs(CLI::App& app, Context& context) {
  auto args = std::make_shared<ServerArgs>();
  CLI::App* server = app.add_subcommand("server", "ask the central server (IServerProxy)");
  server
      ->add_option("HOST", args->server,
                   "HOST or HOST:PORT (a host alone tries port 3982, then the default pipe)")
      ->type_name("HOST[:PORT]")
      ->required();
  server->require_subcommand(1);

  CLI::App* version = server->add_subcommand("version", "the server's version number");
  version->callback([&context, args] {
    context.exitCode = WithServer(context, *args, "version",
                                  [](IServerProxy& proxy, std::string& text, JsonObject& json) {
                                    const double number = proxy.GetVersion();
                                    char shown[32];
                                    std::snprintf(shown, sizeof shown, "%g", number);
                                    text = shown;
                                    json.Number("version", number);
                                    return true;
                                  });
  });

  CLI::App* info = server->add_subcommand("info", "the server's information of a kind");
  info->add_option("kind", args->kind, "the kind of information")->capture_default_str();
  info->callback([&context, args] {
    context.exitCode =
        WithServer(context, *args, "info",
                   TextQuery([args](IServerProxy& p) { return p.GetInfo(args->kind); }));
  });

  CLI::App* providers = server->add_subcommand("providers", "the registered service providers");
  providers->callback([&context, args] {
    context.exitCode =
        WithServer(context, *args, "providers",
                   TextQuery([](IServerProxy& p) { return p.GetServiceProviders(); }));
  });

  CLI::App* provider = server->add_subcommand("provider", "one service provider's information");
  provider->add_option("name", args->name, "the provider's name")->required();
  provider->callback([&context, args] {
    context.exitCode = WithServer(context, *args, "provider", TextQuery([args](IServerProxy& p) {
                                    return p.GetServiceProviderInfo(args->name);
                                  }));
  });

  CLI::App* services = server->add_subcommand("services", "the services (of one provider)");
  services->add_option("provider", args->provider, "only this provider's services");
  services->callback([&context, args] {
    context.exitCode =
        WithServer(context, *args, "services",
                   TextQuery([args](IServerProxy& p) { return p.GetServices(args->provider); }));
  });

  CLI::App* service = server->add_subcommand("service", "one service's information");
  service->add_option("name", args->name, "the service's name")->required();
  service->add_option("provider", args->provider, "the provider offering it");
  service->callback([&context, args] {
    context.exitCode = WithServer(context, *args, "service", TextQuery([args](IServerProxy& p) {
                                    return p.GetServiceInfo(args->name, args->provider);
                                  }));
  });
}

}  // namespace rdxctl
