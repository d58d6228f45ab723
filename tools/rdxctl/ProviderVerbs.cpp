// rdxctl provider HOST:PORT ping|info|states|metadata|stream: one service provider, through
// ServiceProviderProxy (sessions, images) and ProxyForManager (information, states).

#include <rdx/platform/PropertyLookUp.h>
#include <rdx/remote/ProxyForManager.h>
#include <rdx/remote/ServiceProviderProxy.h>

#include <algorithm>
#include <cstdint>
#include <fstream>
#include <iostream>
#include <memory>
#include <string>
#include <vector>

#include "Output.h"

namespace rdxctl {
namespace {

using QUORVAN::Rendix::GeneralUtilityLib::PropertyLookUp;
using QUORVAN::Rendix::ServiceProvider::ProxyForManager;
using QUORVAN::Rendix::ServiceProvider::ServiceProviderProxy;

// The largest image asked for in one go; the buffer is held in memory whole.
constexpr std::uint64_t kMaxImageBytes = 1ULL << 30;
const char* const kClientInfo = "<Client><Application>rdxctl</Application></Client>";

struct ProviderArgs {
  std::string address;  // HOST:PORT
  std::string kind;
  std::string request;
  std::string service;
  std::vector<double> aoi;
  std::string size;
  std::string file;
};

struct Where {
  std::string host;  // empty: this machine
  std::string port;
};

Where Split(const std::string& address) {
  const std::size_t colon = address.rfind(':');
  if (colon == std::string::npos || colon + 1 == address.size()) {
    throw CLI::ValidationError("HOST:PORT", "'" + address + "' has no port");
  }
  for (std::size_t i = colon + 1; i < address.size(); ++i) {
    if (address[i] < '0' || address[i] > '9') {
      throw CLI::ValidationError("HOST:PORT", "'" + address + "' has no numeric port");
    }
  }
  return {address.substr(0, colon), address.substr(colon + 1)};
}

std::string XmlEscaped(const std::string& text) {
  std::string out;
  for (char c : text) {
    switch (c) {
      case '&': out += "&amp;"; break;
      case '<': out += "&lt;"; break;
      case '>': out += "&gt;"; break;
      case '"': out += "&quot;"; break;
      default: out += c;
    }
  }
  return out;
}

std::string StatusOf(ServiceProviderProxy& proxy) {
  return proxy.GetStatus().ToTextString(nullptr);
}

// Connects the session proxy; false (with the message printed) when the provider does not answer.
bool Connect(ServiceProviderProxy& proxy, const ProviderArgs& args) {
  const Where where = Split(args.address);
  PropertyLookUp properties;
  properties["HostMachine"] = where.host;
  properties["Endpoint"] = where.port;
  if (proxy.Init(properties)) return true;
  Fail("no service provider answers at '" + args.address + "'", StatusOf(proxy));
  return false;
}

int Ping(Context& context, const ProviderArgs& args) {
  ServiceProviderProxy proxy;
  if (!Connect(proxy, args)) return kFailed;
  proxy.Close();
  Emit(context, "alive", JsonObject().Text("provider", args.address).Boolean("alive", true));
  return kDone;
}

// The manager's view: information or service states, without a session.
int Managed(Context& context, const ProviderArgs& args, bool states) {
  const Where where = Split(args.address);
  ProxyForManager proxy;
  const std::string config = "<ServiceProvider><Config><HostMachine>" + XmlEscaped(where.host) +
                             "</HostMachine><Endpoint>" + where.port +
                             "</Endpoint></Config></ServiceProvider>";
  if (proxy.Init(config) != 1) {
    return Fail("no service provider answers at '" + args.address + "'",
                proxy.GetStatus().ToTextString(nullptr));
  }
  std::string errorText;
  const std::string text = states ? proxy.GetServiceStates(errorText) : proxy.GetInfo();
  const std::string status = proxy.GetStatus().ToTextString(nullptr);
  proxy.Close();
  if (text.empty() && !(status.empty() && errorText.empty())) {
    return Fail(std::string(states ? "states" : "info") + " failed on '" + args.address + "'",
                status.empty() ? errorText : status);
  }
  Emit(context, text,
       JsonObject()
           .Text("provider", args.address)
           .Text("verb", states ? "states" : "info")
           .Text("text", text));
  return kDone;
}

int Metadata(Context& context, const ProviderArgs& args) {
  ServiceProviderProxy proxy;
  if (!Connect(proxy, args)) return kFailed;
  if (proxy.OpenServiceSession(args.service, kClientInfo).empty()) {
    return Fail("cannot open service '" + args.service + "'", StatusOf(proxy));
  }
  const std::string text = proxy.GetServiceMetadata(args.kind, args.request);
  const std::string status = StatusOf(proxy);
  proxy.CloseSession("");
  proxy.Close();
  if (text.empty() && !status.empty()) return Fail("metadata failed", status);
  Emit(context, text,
       JsonObject().Text("provider", args.address).Text("verb", "metadata").Text("text", text));
  return kDone;
}

// "WxH" with both parts positive.
void ParseSize(const std::string& size, std::uint32_t& width, std::uint32_t& height) {
  const std::size_t x = size.find_first_of("xX");
  std::uint64_t parts[2] = {0, 0};
  const std::string texts[2] = {size.substr(0, x),
                                x == std::string::npos ? "" : size.substr(x + 1)};
  for (int i = 0; i < 2; ++i) {
    if (texts[i].empty() || texts[i].size() > 9 ||
        texts[i].find_first_not_of("0123456789") != std::string::npos) {
      throw CLI::ValidationError("--size", "'" + size + "' is not WIDTHxHEIGHT");
    }
    parts[i] = std::stoull(texts[i]);
    if (parts[i] == 0) throw CLI::ValidationError("--size", "'" + size + "' is empty");
  }
  if (parts[0] * parts[1] > kMaxImageBytes) {
    throw CLI::ValidationError("--size", "'" + size + "' is more than 1 GiB at one byte a pixel");
  }
  width = static_cast<std::uint32_t>(parts[0]);
  height = static_cast<std::uint32_t>(parts[1]);
}

int Stream(Context& context, const ProviderArgs& args) {
  std::uint32_t width = 0;
  std::uint32_t height = 0;
  ParseSize(args.size, width, height);
  Split(args.address);  // a usage error before anything is connected
  ServiceProviderProxy proxy;
  if (!Connect(proxy, args)) return kFailed;
  const std::string session = proxy.OpenServiceSession(args.service, kClientInfo);
  if (session.empty()) return Fail("cannot open service '" + args.service + "'", StatusOf(proxy));

  // One byte a pixel: the buffer offered is WIDTH*HEIGHT bytes.
  std::vector<char> image(static_cast<std::size_t>(width) * height);
  std::uint32_t size = static_cast<std::uint32_t>(image.size());
  std::string failed;
  if (!proxy.SetAOI(session, args.aoi[0], args.aoi[1], args.aoi[2], args.aoi[3], width, height,
                    "")) {
    failed = "SetAOI";
  } else if (!proxy.ExtractAOI(session)) {
    failed = "ExtractAOI";
  } else if (!proxy.StreamImageBuffer(session, image.data(), size, 0, 0)) {
    failed = "StreamImageBuffer";
  } else if (!proxy.DoneWithImage(session)) {
    failed = "DoneWithImage";
  }
  const std::string status = StatusOf(proxy);
  proxy.CloseSession(session);
  proxy.Close();
  if (!failed.empty()) return Fail(failed + " failed on '" + args.address + "'", status);

  const std::size_t received = std::min<std::size_t>(size, image.size());
  if (args.file == "-") {
    std::cout.write(image.data(), static_cast<std::streamsize>(received));
    std::cout.flush();
    return std::cout ? kDone : Fail("cannot write the image to standard output");
  }
  std::ofstream out(args.file, std::ios::binary | std::ios::trunc);
  out.write(image.data(), static_cast<std::streamsize>(received));
  out.close();
  if (!out) return Fail("cannot write '" + args.file + "'");
  Emit(context, std::to_string(received) + " bytes written to " + args.file,
       JsonObject()
           .Text("provider", args.address)
           .Text("service", args.service)
           .Unsigned("bytes", received)
           .Text("file", args.file));
  return kDone;
}

}  // namespace

void AddProviderVerbs(CLI::App& app, Context& context) {
  auto args = std::make_shared<ProviderArgs>();
  CLI::App* provider = app.add_subcommand("provider", "ask one service provider");
  provider->add_option("ADDRESS", args->address, "HOST:PORT (an empty HOST is this machine)")
      ->type_name("HOST:PORT")
      ->required();
  provider->require_subcommand(1);

  provider->add_subcommand("ping", "connect and ping the provider")->callback([&context, args] {
    context.exitCode = Ping(context, *args);
  });
  provider->add_subcommand("info", "the provider's information (manager's view)")
      ->callback([&context, args] { context.exitCode = Managed(context, *args, false); });
  provider->add_subcommand("states", "the states of the provider's services")
      ->callback([&context, args] { context.exitCode = Managed(context, *args, true); });

  CLI::App* metadata = provider->add_subcommand("metadata", "a service's metadata");
  metadata->add_option("kind", args->kind, "the kind of metadata")->required();
  metadata->add_option("request", args->request, "the request text")->required();
  metadata->add_option("--service", args->service, "the service to open a session on");
  metadata->callback([&context, args] { context.exitCode = Metadata(context, *args); });

  CLI::App* stream = provider->add_subcommand(
      "stream", "fetch one image (one byte a pixel) of an area of interest into a file");
  stream->add_option("service", args->service, "the image service")->required();
  stream->add_option("--aoi", args->aoi, "the area: XMIN,YMIN,XMAX,YMAX")
      ->required()
      ->delimiter(',')
      ->expected(4);
  stream->add_option("--size", args->size, "the image size in pixels, WIDTHxHEIGHT")->required();
  stream->add_option("-o,--output", args->file, "the file to write (- for standard output)")
      ->required();
  stream->callback([&context, args] { context.exitCode = Stream(context, *args); });
}

}  // namespace rdxctl
