// Wireshark's DCE/RPC dissector reads a conversation made of our own PDUs without marking
// anything malformed or suspicious, and decodes the fields we meant to send.

#include <gtest/gtest.h>

#include <cstdio>
#include <filesystem>
#include <fstream>
#include <sstream>

#include "remote/EchoInterface.h"
#include "remote/runtime/Pdu.h"
#include "remote/runtime/ServerConnection.h"

namespace rdx::rpc::test {
namespace {

using Bytes = std::vector<std::uint8_t>;

std::string Shell(const std::string& command) {
  std::string output;
  if (FILE* pipe = ::popen(command.c_str(), "r")) {
    char buffer[4096];
    std::size_t n;
    while ((n = std::fread(buffer, 1, sizeof buffer, pipe)) > 0) output.append(buffer, n);
    ::pclose(pipe);
  }
  return output;
}

// A client-to-server or server-to-client PDU in text2pcap's listing form.
void Dump(std::ostream& out, bool outbound, const Bytes& pdu) {
  out << (outbound ? "O\n" : "I\n");
  char line[32];
  for (std::size_t i = 0; i < pdu.size(); ++i) {
    if (i % 16 == 0) {
      std::snprintf(line, sizeof line, "%s%04zx ", i == 0 ? "" : "\n", i);
      out << line;
    }
    std::snprintf(line, sizeof line, " %02x", pdu[i]);
    out << line;
  }
  out << "\n";
}

std::vector<Bytes> Fragments(PduType type, std::uint32_t callId, std::uint16_t opnum,
                             const Bytes& stub) {
  const FragmentPlan plan = PlanFragments(type, callId, 0, opnum, stub.size(), 5840);
  std::vector<Bytes> out;
  for (std::size_t i = 0; i + 1 < plan.offsets.size(); ++i) {
    Bytes pdu(plan.headers.begin() + i * kCallHeaderSize,
              plan.headers.begin() + (i + 1) * kCallHeaderSize);
    pdu.insert(pdu.end(), stub.begin() + plan.offsets[i], stub.begin() + plan.offsets[i + 1]);
    out.push_back(pdu);
  }
  return out;
}

TEST(Dissector, ReadsOurConversationWithoutComplaint) {
  if (Shell("command -v tshark && command -v text2pcap").find("text2pcap") == std::string::npos) {
    GTEST_SKIP() << "tshark and text2pcap are not installed";
  }
  EchoInterface echo;
  InterfaceRegistry registry;
  registry.Add(&echo);
  ServerConnection server(registry, "3982");
  std::ostringstream listing;
  std::vector<int> expectedTypes;
  auto exchange = [&](const Bytes& request) {
    Dump(listing, true, request);
    expectedTypes.push_back(request[2]);
    PduHeader header;
    DecodeHeader(request, header);
    ServerAnswer answer;
    server.Handle(header, request, answer);
    if (!answer.pdu.empty()) {
      Dump(listing, false, answer.pdu);
      expectedTypes.push_back(answer.pdu[2]);
    }
    if (answer.hasResponse) {
      for (const Bytes& f : Fragments(PduType::kResponse, answer.callId, 0, answer.stub)) {
        Dump(listing, false, f);
        expectedTypes.push_back(f[2]);
      }
    }
  };
  BindBody bind;
  SyntaxId feature{{0x2c, 0x1c, 0xb7, 0x6c, 0x12, 0x98, 0x40, 0x45, 0x03}, 1, 0};
  bind.elements = {{0, EchoSyntax(), {Ndr20Syntax()}},
                   {1, EchoSyntax(), {Ndr64Syntax()}},
                   {2, EchoSyntax(), {feature}}};
  exchange(EncodeBind(PduType::kBind, 1, bind));
  bind.elements = {{5, EchoSyntax(), {Ndr20Syntax()}}};
  exchange(EncodeBind(PduType::kAlterContext, 2, bind));
  Bytes stub(2 * 5816 + 100);
  for (std::size_t i = 0; i < stub.size(); ++i) stub[i] = PatternByte(i, 1);
  for (const Bytes& f : Fragments(PduType::kRequest, 3, 0, stub)) exchange(f);
  exchange(Fragments(PduType::kRequest, 4, 99, {1, 2, 3, 4})[0]);

  const auto folder = std::filesystem::temp_directory_path() /
                      ("rdx-dissector-" + std::to_string(::testing::UnitTest::GetInstance()
                                                             ->random_seed()));
  std::filesystem::create_directories(folder);
  const auto text = folder / "pdus.txt";
  const auto capture = folder / "pdus.pcap";
  std::ofstream(text) << listing.str();
  Shell("text2pcap -q -D -T 50000,3982 " + text.string() + " " + capture.string());
  const std::string fields =
      Shell("tshark -r " + capture.string() +
          " -d tcp.port==3982,dcerpc -T fields -E separator='|' -e dcerpc.pkt_type "
          "-e _ws.expert.severity -e _ws.expert.group -e _ws.malformed 2>/dev/null");
  std::filesystem::remove_all(folder);

  std::istringstream lines(fields);
  std::string line;
  std::vector<int> types;
  while (std::getline(lines, line)) {
    SCOPED_TRACE(line);
    std::istringstream cells(line);
    std::string type, severity, group, malformed;
    std::getline(cells, type, '|');
    std::getline(cells, severity, '|');
    std::getline(cells, group, '|');
    std::getline(cells, malformed, '|');
    // One frame may hold several PDUs' types, comma separated.
    std::istringstream each(type);
    for (std::string t; std::getline(each, t, ',');) types.push_back(std::stoi(t));
    EXPECT_TRUE(malformed.empty());
    // Severity 0x00400000 is a warning, 0x00800000 an error; notes and chats are fine. A
    // fault is always flagged with its status (group 0x03000000, "response code").
    std::istringstream severities(severity);
    std::istringstream groups(group);
    for (std::string s, g; std::getline(severities, s, ',') && std::getline(groups, g, ',');) {
      if (type == "3" && std::stoul(g) == 0x03000000ul) continue;
      EXPECT_LT(std::stoul(s), 0x00400000ul);
    }
  }
  EXPECT_EQ(types, expectedTypes);
}

}  // namespace
}  // namespace rdx::rpc::test
