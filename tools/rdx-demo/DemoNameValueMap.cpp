// Demonstration: a configuration section read from an XML file into a NameValueMap, and every
// form the map has: text, XML, the flat byte block, merged and re-keyed copies.
#include "DemoSection.h"

#include <rdx/foundation/NameValueMap.h>
#include <rdx/platform/XMLProperties.h>

#include <cstdio>
#include <filesystem>
#include <fstream>
#include <random>
#include <string>
#include <system_error>
#include <vector>

namespace {

using QUORVAN::Rendix::GeneralUtilityLib::XMLProperties;
using QUORVAN::Rendix::Global::NameValueMap;
using QUORVAN::Rendix::Global::ReplaceKey;

// A section of a process configuration file, as an administrator would write it.
constexpr const char* kSampleConfig = R"(<?xml version="1.0"?>
<Global>
  <!-- Where the server listens and how it names itself. -->
  <Server version="1.0.0.2">
    <HostMachine>imaging-01</HostMachine>
    <Endpoint>3982</Endpoint>
    <Protocol>ncacn_ip_tcp</Protocol>
    <ENDPOINT>ignored: the first spelling of a name wins</ENDPOINT>
    <Owner>Maps &amp; Charts</Owner>
    <Limits><Sessions>64</Sessions><Buffers>512</Buffers></Limits>
    <Banner></Banner>
  </Server>
</Global>
)";

std::filesystem::path WriteSample() {
  std::error_code code;
  std::filesystem::path dir = std::filesystem::temp_directory_path(code);
  if (code) dir = ".";
  auto path = dir / ("rdx-demo-config-" + std::to_string(std::random_device{}()) + ".xml");
  std::ofstream(path) << kSampleConfig;
  return path;
}

void PrintFlat(const NameValueMap& map) {
  NameValueMap copy = map;
  std::uint32_t size = 0;
  copy.Save(&size, nullptr);  // first call: learn the size
  std::vector<unsigned char> block(size);
  if (copy.Save(&size, block.data()) != 1) {
    std::puts("  (no flat form)");
    return;
  }
  std::printf("Flat form, %u bytes (0x00 shown as '|'):\n  ", size);
  for (unsigned char c : block) std::putchar(c == 0 ? '|' : static_cast<int>(c));
  std::putchar('\n');
  NameValueMap back;
  back.Load(size, block.data());
  std::printf("Read back from the flat form: %zu pairs, %s\n", back.size(),
              back == map ? "identical" : "different");
}

void Run() {
  const std::filesystem::path file = WriteSample();
  std::printf("Sample configuration written to %s\n", file.string().c_str());

  XMLProperties xml;
  if (xml.init(file.string()) && xml.selectNode("//Server", 0)) {
    std::printf("Server element: version attribute \"%s\", %u child nodes\n",
                xml.getAttributes().get("version").c_str(), xml.getNumChildren("//Server"));
  }

  NameValueMap server;
  if (server.LoadXml(file.string(), "//Server") != 1) {
    std::puts("Could not read the section.");
    std::filesystem::remove(file);
    return;
  }
  std::filesystem::remove(file);

  std::printf("\nPairs in map order (names compare without regard to case):\n");
  for (const auto& [name, value] : server) {
    std::printf("  %-12s = \"%s\"\n", name.c_str(), value.c_str());
  }
  std::printf("Exists(\"endpoint\") = %d, const lookup of \"Missing\" = \"%s\"\n",
              server.Exists("endpoint"),
              static_cast<const NameValueMap&>(server)["Missing"].c_str());

  std::printf("\nText form:\n  %s\n", server.ToTextString("").c_str());
  std::printf("\nXML form (\"&\" becomes \"_\", nested markup stays markup):\n%s\n",
              server.ToXmlString("Server").c_str());
  std::putchar('\n');
  PrintFlat(server);

  NameValueMap merged;
  merged.UpdateUsing(server, true, "Server.", "");
  std::printf("\nMerged under the prefix \"Server.\", empty values left out:\n  %s\n",
              merged.ToTextString("").c_str());
  NameValueMap renamed;
  ReplaceKey(merged, renamed, "Server.", "Backup.");
  std::printf("Re-keyed from \"Server.\" to \"Backup.\":\n  %s\n",
              renamed.ToTextString("").c_str());
}

const bool kRegistered = rdx::demo::RegisterSection(150, "Name-value maps", Run);

}  // namespace
