// Our client talking to our server (rdx-refserver), captured live on loopback and decoded
// by tshark's DCE/RPC dissector: no PDU of ours may earn a malformed or warning mark. Needs
// capture rights (root here); skips cleanly without them.

#include <gtest/gtest.h>

#include <rdx/remote/RpcHandle.h>

#include <cctype>
#include <chrono>
#include <csignal>
#include <filesystem>
#include <map>
#include <sstream>
#include <string>
#include <thread>
#include <vector>

#include "remote/interop/ChildProcess.h"
#include "remote/runtime/RpcRuntime.h"
#include "remote/stubs/OperationShape.h"
#include "remote/stubs/ServerCoreClient.h"
#include "remote/stubs/ServiceProviderClient.h"

namespace {

namespace core = rdx::rpc::servercore;
namespace provider = rdx::rpc::serviceprovider;
using QUORVAN::Rendix::GeneralUtilityLib::FreeRpcHandle;
using QUORVAN::Rendix::GeneralUtilityLib::GetRpcHandle;
using rdx::testing::ChildProcess;

constexpr const char* kDumpcap = "/usr/bin/dumpcap";
constexpr const char* kTshark = "/usr/bin/tshark";

std::vector<std::string> Split(const std::string& text, char separator) {
  std::vector<std::string> parts;
  std::string part;
  std::istringstream in(text);
  while (std::getline(in, part, separator)) parts.push_back(part);
  if (!text.empty() && text.back() == separator) parts.emplace_back();
  return parts;
}

std::vector<char> Buffer(std::size_t capacity) {
  std::vector<char> buffer(capacity, 'A');
  buffer.back() = '\0';
  return buffer;
}

void* Handle(std::string port) {
  std::string host = "127.0.0.1", protocol = "ncacn_ip_tcp", errorText;
  return GetRpcHandle(reinterpret_cast<unsigned char*>(host.data()),
                      reinterpret_cast<unsigned char*>(port.data()),
                      reinterpret_cast<unsigned char*>(protocol.data()), errorText);
}

// One conversation touching every PDU kind we send: bind and bind_ack, single and
// fragmented requests and responses, the second call of the size protocol, a fault.
void Converse(const std::string& port) {
  void* coreBinding = Handle(port);
  void* providerBinding = Handle(port);
  ASSERT_NE(coreBinding, nullptr);
  ASSERT_NE(providerBinding, nullptr);

  std::vector<char> version = Buffer(100);
  EXPECT_EQ(core::GetVersion(coreBinding, version.data()), 1);
  std::vector<char> session = Buffer(1000), error = Buffer(1000);
  EXPECT_EQ(core::OpenSession(coreBinding, "<Info/>", session.data(), error.data()), 1);
  std::vector<char> text(5000);
  EXPECT_EQ(core::QueryText(coreBinding, "q", 4000, text.data()), 5000);
  EXPECT_EQ(core::QueryText(coreBinding, "q", 5000, text.data()), 0);
  const std::string providerInfo(30000, 'i');
  std::vector<char> err = Buffer(4000);
  EXPECT_EQ(core::AddServiceProvider(coreBinding, session.data(), "prov",
                                     static_cast<std::int32_t>(providerInfo.size() + 1),
                                     providerInfo.c_str(), err.data()),
            1);
  EXPECT_THROW(rdx::rpc::CallRemote(coreBinding, rdx::rpc::ServerCoreShape().syntax, 99, {}),
               rdx::rpc::RpcException);

  EXPECT_EQ(provider::Ping(providerBinding), 1);
  std::vector<char> own = Buffer(1000);
  err = Buffer(4000);
  EXPECT_EQ(provider::OpenServiceSession(providerBinding, "svc", "me", own.data(), err.data()), 1);
  std::vector<std::uint8_t> image(300000);
  std::int32_t size = static_cast<std::int32_t>(image.size());
  EXPECT_EQ(provider::StreamImageBuffer(providerBinding, own.data(), &size, image.data(), 1, 2,
                                        err.data()),
            1);
  err = Buffer(4000);
  EXPECT_EQ(provider::SetAOI(providerBinding, own.data(), 0.5, 1.0, 2.0, -1.5, 640, 480, "x",
                             err.data()),
            0);
  FreeRpcHandle(coreBinding);
  FreeRpcHandle(providerBinding);
}

TEST(CapturedTraffic, OurPdusDecodeWithoutMalformedOrWarningMarks) {
  if (!std::filesystem::exists(kDumpcap) || !std::filesystem::exists(kTshark)) {
    GTEST_SKIP() << "dumpcap or tshark is not installed";
  }
  const std::uint16_t port = rdx::testing::FreeLoopbackPort();
  const std::string portText = std::to_string(port);
  auto server = rdx::testing::StartRefServer(port, {"--text-size", "5000"});
  ASSERT_NE(server, nullptr);

  const std::filesystem::path capture =
      std::filesystem::temp_directory_path() / ("rdx-interop-" + portText + ".pcapng");
  auto dumpcap = ChildProcess::Start(
      {kDumpcap, "-i", "lo", "-f", "tcp port " + portText, "-w", capture.string()});
  ASSERT_NE(dumpcap, nullptr);
  if (!dumpcap->WaitForLine("File:", std::chrono::seconds(20))) {
    GTEST_SKIP() << "cannot capture on loopback here:\n" << dumpcap->Output();
  }

  const auto headerSize = std::filesystem::file_size(capture);
  Converse(portText);
  // The kernel hands captured packets over in blocks, after a time-out when a block is not
  // full, and a block still pending at SIGTERM is lost: wait until the file has grown and
  // then held still for a while.
  const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(15);
  std::uintmax_t lastSize = headerSize;
  int stillPolls = 0;
  while (std::chrono::steady_clock::now() < deadline && stillPolls < 4) {
    std::this_thread::sleep_for(std::chrono::milliseconds(250));
    const auto size = std::filesystem::file_size(capture);
    stillPolls = (size > headerSize && size == lastSize) ? stillPolls + 1 : 0;
    lastSize = size;
  }
  // SIGTERM makes dumpcap flush and close the file; 0 is its normal exit.
  EXPECT_EQ(dumpcap->Stop(SIGTERM, std::chrono::seconds(20)), 0) << dumpcap->Output();
  EXPECT_EQ(server->Stop(SIGTERM, std::chrono::seconds(10)), 0) << server->Output();

  auto tshark = ChildProcess::Start(
      {kTshark, "-r", capture.string(), "-d", "tcp.port==" + portText + ",dcerpc", "-T",
       "fields", "-E", "separator=/t", "-e", "frame.number", "-e", "dcerpc.pkt_type", "-e",
       "dcerpc.cn_flags", "-e", "_ws.expert.severity", "-e", "_ws.malformed", "-e",
       "_ws.expert.message", "-e", "_ws.expert.group"});
  ASSERT_NE(tshark, nullptr);
  ASSERT_TRUE(tshark->WaitForOutputEnd(std::chrono::seconds(60)));
  EXPECT_EQ(tshark->Stop(0, std::chrono::seconds(10)), 0) << tshark->Output();
  std::error_code ignored;
  std::filesystem::remove(capture, ignored);

  constexpr long kWarning = 0x600000;  // expert severities: chat 0x200000, note 0x400000
  // TCP's own sequence analysis (a loaded loopback's full window, a retransmission) is not
  // about our PDUs; everything else counts.
  constexpr long kTcpSequenceGroup = 0x02000000;
  std::map<std::string, int> pduKinds;  // PTYPE -> PDUs seen
  int fragmentsNotLast = 0;
  for (const std::string& line : Split(tshark->Output(), '\n')) {
    const std::vector<std::string> fields = Split(line, '\t');
    if (fields.size() < 7 || fields[0].empty() ||
        !std::isdigit(static_cast<unsigned char>(fields[0][0]))) {
      continue;  // tshark's own remarks on its standard error
    }
    SCOPED_TRACE("frame " + line);
    for (const std::string& kind : Split(fields[1], ',')) {
      if (!kind.empty()) ++pduKinds[kind];
    }
    for (const std::string& flags : Split(fields[2], ',')) {
      if (!flags.empty() && (std::stol(flags, nullptr, 16) & 0x02) == 0) ++fragmentsNotLast;
    }
    const std::vector<std::string> severities = Split(fields[3], ',');
    const std::vector<std::string> groups = Split(fields[6], ',');
    for (std::size_t i = 0; i < severities.size(); ++i) {
      if (severities[i].empty()) continue;
      if (i < groups.size() && !groups[i].empty() && std::stol(groups[i]) == kTcpSequenceGroup) {
        continue;
      }
      EXPECT_LT(std::stol(severities[i]), kWarning) << fields[5];
    }
    EXPECT_TRUE(fields[4].empty()) << "malformed";
  }
  // The capture really holds the conversation: every kind of PDU, and fragments.
  for (const char* kind : {"0", "2", "3", "11", "12"}) {
    EXPECT_GT(pduKinds[kind], 0) << "no PDU of type " << kind;
  }
  EXPECT_GT(fragmentsNotLast, 10);
  if (::testing::Test::HasFailure()) {
    ADD_FAILURE() << "capture:\n" << dumpcap->Output() << "decoded:\n" << tshark->Output();
  }
}

}  // namespace
