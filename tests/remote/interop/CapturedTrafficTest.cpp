// Our client and our server talk through a relay in the test that records both byte streams
// exactly; the streams go into a pcap file with synthetic but consistent IPv4/TCP headers
// (a handshake, exact sequence numbers, every segment acknowledged), so that nothing TCP
// does on a busy machine can reach the check. tshark's DCE/RPC dissector then decodes it:
// no PDU of ours may earn a malformed or warning mark, and every kind we send must be there.

#include <gtest/gtest.h>

#include <deque>
#include <filesystem>
#include <fstream>
#include <map>
#include <mutex>
#include <sstream>
#include <thread>

#include <rdx/remote/RpcExceptionFrame.h>

#include "platform/os/ChildProcess.h"
#include "platform/os/StreamSocket.h"
#include "remote/EchoInterface.h"
#include "remote/TestServer.h"
#include "remote/runtime/Pdu.h"

namespace rdx::rpc::test {
namespace {

using Bytes = std::vector<std::uint8_t>;

struct Segment {
  std::size_t connection;
  bool toServer;
  Bytes bytes;
};

// Forwards each accepted connection to `target`, recording every chunk before passing it on,
// so an answer is never recorded ahead of the request it answers.
class Relay {
 public:
  explicit Relay(std::uint16_t target)
      : target_(target),
        listener_(os::StreamListener::ListenTcp(0).value),
        accept_([this] { Serve(); }) {}
  ~Relay() { Stop(); }
  std::uint16_t Port() const { return listener_.Port(); }

  // Ends every connection and hands over what went through.
  std::vector<Segment> Stop() {
    listener_.Wake();
    if (accept_.joinable()) accept_.join();
    for (Pair& pair : pairs_) {
      pair.client.Shutdown();
      pair.server.Shutdown();
    }
    for (std::thread& pump : pumps_) pump.join();
    pumps_.clear();
    return std::move(segments_);
  }

 private:
  struct Pair {
    os::StreamSocket client, server;
  };
  void Serve() {
    for (std::size_t index = 0;; ++index) {
      os::StreamSocket client = listener_.Accept();
      if (!client.Valid()) return;
      Pair& pair = pairs_.emplace_back(
          Pair{std::move(client), os::StreamSocket::ConnectTcp("127.0.0.1", target_)});
      pumps_.emplace_back([this, &pair, index] { Pump(pair.client, pair.server, index, true); });
      pumps_.emplace_back([this, &pair, index] { Pump(pair.server, pair.client, index, false); });
    }
  }
  void Pump(os::StreamSocket& from, os::StreamSocket& to, std::size_t index, bool toServer) {
    std::uint8_t buffer[65536];
    std::size_t got = 0;
    while (from.Receive(buffer, sizeof buffer, got, -1) == os::IoResult::kOk) {
      {
        std::lock_guard lock(mutex_);
        segments_.push_back({index, toServer, Bytes(buffer, buffer + got)});
      }
      if (to.SendAll(buffer, got) != os::IoResult::kOk) break;
    }
    to.Shutdown();
  }

  std::uint16_t target_;
  os::StreamListener listener_;
  std::deque<Pair> pairs_;
  std::deque<std::thread> pumps_;
  std::mutex mutex_;
  std::vector<Segment> segments_;
  std::thread accept_;
};

constexpr std::uint16_t kServerPort = 3982;

void Put(Bytes& out, std::uint32_t value, int size) {  // network byte order
  for (int shift = 8 * (size - 1); shift >= 0; shift -= 8) {
    out.push_back(std::uint8_t(value >> shift));
  }
}

// Loopback IPv4/TCP connections, one per relayed connection, in a raw-IP pcap file.
class PcapWriter {
 public:
  explicit PcapWriter(const std::filesystem::path& path) : out_(path, std::ios::binary) {
    const std::uint32_t header[] = {0xa1b2c3d4, 0x00040002, 0, 0, 262144, 101};  // LINKTYPE_RAW
    out_.write(reinterpret_cast<const char*>(header), sizeof header);
  }
  void Add(const Segment& segment) {
    auto [flow, added] = flows_.try_emplace(segment.connection);
    if (added) {  // the handshake
      Packet(segment.connection, true, 0x02, {});
      flow->second.clientSeq++;
      Packet(segment.connection, false, 0x12, {});
      flow->second.serverSeq++;
      Packet(segment.connection, true, 0x10, {});
    }
    for (std::size_t at = 0; at < segment.bytes.size(); at += kMss) {
      const std::size_t n = std::min(kMss, segment.bytes.size() - at);
      Packet(segment.connection, segment.toServer, 0x18,
             {segment.bytes.data() + at, segment.bytes.data() + at + n});
      (segment.toServer ? flow->second.clientSeq : flow->second.serverSeq) += std::uint32_t(n);
      Packet(segment.connection, !segment.toServer, 0x10, {});
    }
  }

 private:
  static constexpr std::size_t kMss = 16384;  // below the 65535-byte window, always acked
  struct Flow {
    std::uint32_t clientSeq = 1000, serverSeq = 90000;
  };
  void Packet(std::size_t connection, bool fromClient, std::uint8_t flags,
              std::span<const std::uint8_t> payload) {
    const Flow& flow = flows_[connection];
    const auto clientPort = static_cast<std::uint16_t>(50000 + connection);
    Bytes ip;
    Put(ip, 0x45000000u | std::uint32_t(40 + payload.size()), 4);
    Put(ip, (++ipId_ << 16) | 0x4000, 4);  // id, don't fragment
    Put(ip, 0x40060000, 4);                // TTL 64, TCP, checksum below
    Put(ip, 0x7f000001, 4);
    Put(ip, 0x7f000001, 4);
    std::uint32_t sum = 0;
    for (std::size_t i = 0; i < 20; i += 2) sum += std::uint32_t(ip[i] << 8 | ip[i + 1]);
    while (sum >> 16) sum = (sum & 0xFFFF) + (sum >> 16);
    ip[10] = std::uint8_t(~sum >> 8), ip[11] = std::uint8_t(~sum);
    Put(ip, fromClient ? clientPort : kServerPort, 2);
    Put(ip, fromClient ? kServerPort : clientPort, 2);
    Put(ip, fromClient ? flow.clientSeq : flow.serverSeq, 4);
    Put(ip, (flags & 0x10) ? (fromClient ? flow.serverSeq : flow.clientSeq) : 0, 4);
    Put(ip, 0x5000u | flags, 2);
    Put(ip, 0xFFFF, 2);  // window; checksums are not verified by the dissector
    Put(ip, 0, 4);
    ip.insert(ip.end(), payload.begin(), payload.end());
    ++tick_;
    const std::uint32_t record[] = {std::uint32_t(1'700'000'000 + tick_ / 1'000'000),
                                    std::uint32_t(tick_ % 1'000'000), std::uint32_t(ip.size()),
                                    std::uint32_t(ip.size())};
    out_.write(reinterpret_cast<const char*>(record), sizeof record);
    out_.write(reinterpret_cast<const char*>(ip.data()), std::streamsize(ip.size()));
  }

  std::ofstream out_;
  std::map<std::size_t, Flow> flows_;
  std::uint32_t ipId_ = 0;
  std::uint64_t tick_ = 0;
};

std::vector<std::string> Split(const std::string& text, char separator) {
  std::vector<std::string> parts;
  std::istringstream in(text);
  for (std::string part; std::getline(in, part, separator);) parts.push_back(part);
  if (!text.empty() && text.back() == separator) parts.emplace_back();
  return parts;
}

class OtherEcho : public EchoInterface {
 public:
  const SyntaxId& Syntax() const override { return syntax_; }

 private:
  SyntaxId syntax_ = [] {
    SyntaxId s = EchoSyntax();
    s.uuid[15] ^= 0x5a;
    return s;
  }();
};

// One conversation with every PDU kind our client and server send: bind and alter_context
// with their answers, single and fragmented requests and responses, faults. (The answer to a
// bind as Windows proposes it is pinned byte for byte by the PDU tests.)
void Converse(std::uint16_t port, const SyntaxId& other) {
  Binding binding("127.0.0.1", std::to_string(port));
  Bytes big(3 * 5816 + 100);
  for (std::size_t i = 0; i < big.size(); ++i) big[i] = PatternByte(i, 1);
  auto call = [&](const SyntaxId& syntax, std::uint16_t opnum, const Bytes& stub) {
    return QUORVAN::Rendix::GeneralUtilityLib::RunInRpcExceptionFrame(
        [&] { EXPECT_EQ(CallRemote(binding.h, syntax, opnum, stub), opnum ? Bytes{} : stub); });
  };
  EXPECT_EQ(call(EchoSyntax(), 0, {1, 2, 3}), 0);
  EXPECT_EQ(call(EchoSyntax(), 0, big), 0);
  EXPECT_EQ(call(other, 0, {4}), 0);
  EXPECT_EQ(call(EchoSyntax(), 2, {5, 0, 0, 0, 0, 0, 0, 0}), 5);
  EXPECT_EQ(call(EchoSyntax(), 99, {}), 1745);
}

TEST(CapturedTraffic, OurPdusDecodeWithoutMalformedOrWarningMarks) {
  if (!std::filesystem::exists("/usr/bin/tshark")) GTEST_SKIP() << "tshark is not installed";
  EchoInterface echo;
  OtherEcho other;
  TestServer server({&echo, &other});
  Relay relay(server.Port());
  Converse(relay.Port(), other.Syntax());
  const std::vector<Segment> segments = relay.Stop();

  const auto capture = std::filesystem::temp_directory_path() /
                       ("rdx-capture-" + std::to_string(relay.Port()) + ".pcap");
  {
    PcapWriter pcap(capture);
    for (const Segment& segment : segments) pcap.Add(segment);
  }
  const std::string fields =
      "-T fields -E separator=/t -e frame.number -e tcp.dstport -e dcerpc.pkt_type "
      "-e dcerpc.cn_flags -e _ws.malformed -e _ws.expert.severity -e _ws.expert.message";
  const os::ChildResult tshark =
      os::RunChild({"/bin/sh", "-c",
                    "exec /usr/bin/tshark -r " + capture.string() +
                        " -d tcp.port==" + std::to_string(kServerPort) + ",dcerpc " + fields},
                   64 << 20, std::chrono::minutes(2));
  EXPECT_EQ(tshark.exitCode, 0);
  const std::string& output = tshark.output;
  std::filesystem::remove(capture);

  constexpr long kWarning = 0x00600000;  // expert severities: chat 0x200000, note 0x400000
  std::map<std::string, int> kinds;      // PTYPE -> PDUs seen
  int fragmentedRequests = 0, fragmentedResponses = 0;
  for (const std::string& line : Split(output, '\n')) {
    const std::vector<std::string> f = Split(line, '\t');
    if (f.size() < 7) continue;
    SCOPED_TRACE("frame " + line);
    const std::vector<std::string> types = Split(f[2], ','), flags = Split(f[3], ',');
    for (std::size_t i = 0; i < types.size(); ++i) {
      ++kinds[types[i]];
      if (i < flags.size() && (std::stol(flags[i], nullptr, 16) & kLastFragment) == 0) {
        ++(f[1] == std::to_string(kServerPort) ? fragmentedRequests : fragmentedResponses);
      }
    }
    EXPECT_TRUE(f[4].empty()) << "malformed";
    for (const std::string& severity : Split(f[5], ',')) {
      EXPECT_LT(std::stol(severity), kWarning) << f[6];
    }
  }
  // bind, bind_ack, alter_context and its answer, request, response, fault: all decoded.
  for (const char* kind : {"11", "12", "14", "15", "0", "2", "3"}) {
    EXPECT_GT(kinds[kind], 0) << "no PDU of type " << kind;
  }
  EXPECT_GE(fragmentedRequests, 3);
  EXPECT_GE(fragmentedResponses, 3);
  if (::testing::Test::HasFailure()) ADD_FAILURE() << "decoded:\n" << output;
}

}  // namespace
}  // namespace rdx::rpc::test
