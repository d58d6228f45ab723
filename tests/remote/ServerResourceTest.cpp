// What a server connection holds is bounded and given back (descriptor, memory, thread),
// whatever ends it: a broken stream, a stall, a close mid-answer, the call budget. Idle or
// unread connections hold up nobody. Waits are bounded; nothing here asserts a duration.

#include <gtest/gtest.h>

#include <cstdio>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <functional>
#include <optional>
#include <sstream>
#include <string>

#include <rdx/remote/IServiceProviderManager.h>

#include "platform/os/StreamSocket.h"
#include "remote/EchoInterface.h"
#include "remote/RefServerChild.h"
#include "remote/TestServer.h"
#include "remote/ndr/NdrWriter.h"
#include "remote/runtime/ByteBudget.h"
#include "remote/runtime/Pdu.h"
#include "remote/runtime/PduStream.h"
#include "remote/stubs/OperationShape.h"
#include "remote/stubs/ServiceProviderClient.h"

namespace rdx::rpc::test {
namespace {

using Bytes = std::vector<std::uint8_t>;
constexpr std::size_t kMiB = 1024 * 1024;
constexpr std::uint32_t kGetServiceInfo = 3;  // service-provider opnum

std::size_t EntriesOf(const char* folder) {
  std::size_t count = 0;
  for ([[maybe_unused]] const auto& entry : std::filesystem::directory_iterator(folder)) ++count;
  return count;
}
std::size_t OwnThreads() { return EntriesOf("/proc/self/task"); }
std::size_t OwnDescriptors() { return EntriesOf("/proc/self/fd"); }

// One request fragment of `stubSize` filler bytes.
Bytes Fragment(std::uint8_t flags, std::size_t stubSize) {
  Bytes pdu(kCallHeaderSize + stubSize, 0x5a);
  EncodeCallHeader(PduType::kRequest, flags, 7, static_cast<std::uint16_t>(pdu.size()), 4 * kMiB, 0,
                   0, pdu.data());
  return pdu;
}

Bytes BindPdu(const SyntaxId& syntax) {
  BindBody body;
  body.elements = {{0, syntax, {Ndr20Syntax()}}};
  return EncodeBind(PduType::kBind, 1, body);
}

// A client that speaks PDUs itself, so it can stop anywhere a real client would not.
class RawClient {
 public:
  RawClient(std::uint16_t port, const SyntaxId& syntax)
      : socket_(os::StreamSocket::ConnectTcp("127.0.0.1", port)), stream_(socket_) {
    PduHeader header;
    bound_ = Send(BindPdu(syntax)) && Next(header) == PduStream::Result::kPdu &&
             header.type == PduType::kBindAck;
  }
  bool Bound() const { return bound_; }
  bool Send(const Bytes& bytes) { return SendOn(socket_, bytes); }
  static bool SendOn(os::StreamSocket& socket, const Bytes& bytes) {
    return socket.SendAll(bytes.data(), bytes.size()) == os::IoResult::kOk;
  }
  bool Call(std::uint16_t opnum, const Bytes& stub) {
    return stream_.SendCall(PduType::kRequest, 2, 0, opnum, stub, kTransportMaxFragment) ==
           os::IoResult::kOk;
  }
  PduStream::Result Next(PduHeader& header) { return stream_.Next(header, pdu_, 20'000, 20'000); }
  // The fault status of the next PDU; 0 when it is no fault.
  std::uint32_t NextFault() {
    PduHeader header;
    FaultBody fault;
    if (Next(header) != PduStream::Result::kPdu || header.type != PduType::kFault ||
        !DecodeFault(header, pdu_, fault)) {
      return 0;
    }
    return fault.status;
  }
  // The stub bytes of the next (single-fragment) response; empty for anything else.
  Bytes NextResponse() {
    PduHeader header;
    if (Next(header) != PduStream::Result::kPdu || header.type != PduType::kResponse) return {};
    return Bytes(pdu_.begin() + kCallHeaderSize, pdu_.end());
  }

 private:
  os::StreamSocket socket_;
  PduStream stream_;
  std::span<const std::uint8_t> pdu_;
  bool bound_ = false;
};

// What the server sends on `socket` until it closes it; nullopt when it neither answers nor
// closes within 10 s.
std::optional<Bytes> ReadUntilClosed(os::StreamSocket& socket) {
  Bytes received;
  std::uint8_t buffer[4096];
  for (;;) {
    std::size_t got = 0;
    switch (socket.Receive(buffer, sizeof buffer, got, 10'000)) {
      case os::IoResult::kOk: received.insert(received.end(), buffer, buffer + got); break;
      case os::IoResult::kTimeout: return std::nullopt;
      default: return received;
    }
  }
}

// GetServiceInfo's request stub: session (in/out string), n, error (in/out string).
Bytes GetServiceInfoStub(std::int32_t n) {
  NdrWriter writer;
  writer.WriteString("S1");
  writer.WriteI32(n);
  writer.WriteString("AAAA");
  return writer.Take();
}

// Listening raises the soft limit to the hard one, and the server has every descriptor it
// could have: it runs out of them and serves again once they are given back.
TEST(ServerResources, RaisesItsDescriptorLimitAndServesAgainOnceDescriptorsRunOutAndAreFreed) {
  RefServerChild::Options options;
  options.descriptorLimit = 128;
  options.softDescriptorLimit = 64;
  auto server = RefServerChild::Start(options);
  ASSERT_NE(server, nullptr);
  std::ifstream limits("/proc/" + std::to_string(server->Pid()) + "/limits");
  std::string line;
  while (std::getline(limits, line) && line.rfind("Max open files", 0) != 0) {
  }
  std::istringstream fields(line.substr(std::strlen("Max open files")));
  std::string soft, hard;
  fields >> soft >> hard;
  EXPECT_EQ(soft, "128");
  EXPECT_EQ(hard, "128");
  const std::size_t idle = server->OpenDescriptors();
  ASSERT_GT(idle, 0u);
  for (int round = 0; round < 2; ++round) {
    SCOPED_TRACE(round);
    {
      // More idle connections than the server has descriptors: the rest wait in the backlog.
      std::vector<os::StreamSocket> clients;
      for (int i = 0; i < 160; ++i) {
        clients.push_back(os::StreamSocket::ConnectTcp("127.0.0.1", server->Port()));
        ASSERT_TRUE(clients.back().Valid());
      }
      EXPECT_TRUE(WaitFor([&] { return server->OpenDescriptors() >= 120; }))
          << server->OpenDescriptors();
    }
    // Every descriptor those connections took comes back, and the server serves again (a
    // call to a server that no longer accepts would wait for ever: stop here then).
    ASSERT_TRUE(WaitFor([&] { return server->OpenDescriptors() <= idle; }))
        << server->OpenDescriptors() << " open, " << idle << " when idle";
    Binding binding("127.0.0.1", server->Endpoint());
    ASSERT_NE(binding.h, nullptr);
    EXPECT_EQ(serviceprovider::Ping(binding.h), 1);
  }
  EXPECT_TRUE(server->Running());
}

TEST(ServerResources, ConnectionsOverTheLimitAndEndedOnesLeaveNothingBehind) {
  EchoInterface echo;
  TestServer server({&echo}, 3);  // PDUs time out after 300 ms
  const std::size_t threads = OwnThreads();
  const std::size_t descriptors = OwnDescriptors();
  {
    std::vector<std::unique_ptr<RawClient>> served;
    for (int i = 0; i < 3; ++i) {
      served.push_back(std::make_unique<RawClient>(server.Port(), EchoSyntax()));
      ASSERT_TRUE(served.back()->Bound());
    }
    // A bind over the limit is refused with reason 2.
    os::StreamSocket refused = os::StreamSocket::ConnectTcp("127.0.0.1", server.Port());
    ASSERT_TRUE(RawClient::SendOn(refused, BindPdu(EchoSyntax())));
    const std::optional<Bytes> nak = ReadUntilClosed(refused);
    ASSERT_TRUE(nak.has_value() && nak->size() == 24u);
    EXPECT_EQ((*nak)[2], static_cast<std::uint8_t>(PduType::kBindNak));
    EXPECT_EQ((*nak)[16], kNakLocalLimitExceeded);
    // Silent connections over the limit are closed unanswered, not held until they speak.
    std::vector<os::StreamSocket> silent;
    for (int i = 0; i < 20; ++i) {
      silent.push_back(os::StreamSocket::ConnectTcp("127.0.0.1", server.Port()));
    }
    for (std::size_t i = 0; i < silent.size(); ++i) {
      SCOPED_TRACE(i);
      EXPECT_EQ(ReadUntilClosed(silent[i]), Bytes{});
    }
    EXPECT_TRUE(WaitFor([&] { return server.Server().ConnectionCount() == 3; }));
    // The three served connections keep working meanwhile.
    EXPECT_TRUE(served[0]->Call(0, {1, 2, 3}));
    EXPECT_EQ(served[0]->NextResponse(), (Bytes{1, 2, 3}));
  }
  // Ended connections give back their thread and socket at once, with no accept to come.
  EXPECT_TRUE(WaitFor([&] { return server.Server().ConnectionCount() == 0; }));
  EXPECT_TRUE(WaitFor([&] { return OwnThreads() <= threads; })) << OwnThreads();
  EXPECT_TRUE(WaitFor([&] { return OwnDescriptors() <= descriptors; })) << OwnDescriptors();
}

TEST(ServerResources, BrokenStreamsStalledRequestsAndUnreadAnswersAreCutOff) {
  EchoInterface echo;
  ByteBudget budget(256 * kMiB);
  TestServer server({&echo}, 10, &budget);  // PDUs time out after 300 ms
  // Streams that are no client's: ended without an answer.
  Bytes tiny = BindPdu(EchoSyntax()), half = tiny, header = tiny;
  tiny[8] = 10;
  tiny[9] = 0;
  half.resize(half.size() / 2);
  header[8] = header[9] = 0xFF;  // announces 65535 bytes, sends 72
  for (const auto& [name, bytes] :
       {std::pair{"frag_length below 16", tiny}, std::pair{"half a bind", half},
        std::pair{"fewer bytes than announced", header},
        std::pair{"a few header bytes", Bytes{5, 0, 11}}}) {
    SCOPED_TRACE(name);
    os::StreamSocket socket = os::StreamSocket::ConnectTcp("127.0.0.1", server.Port());
    ASSERT_TRUE(RawClient::SendOn(socket, bytes));
    EXPECT_EQ(ReadUntilClosed(socket), Bytes{});
  }
  // Bound clients that stall: cut off, and their memory given back.
  struct Row {
    const char* name;
    std::function<bool(RawClient&)> stall;
  };
  const Row rows[] = {
      {"request stops between fragments",
       [](RawClient& c) {
         return c.Send(Fragment(kFirstFragment, 5816)) && c.Send(Fragment(0, 5816));
       }},
      {"request stops inside a fragment",
       [](RawClient& c) {
         Bytes second = Fragment(0, 5816);
         second.resize(100);
         return c.Send(Fragment(kFirstFragment, 5816)) && c.Send(second);
       }},
      {"answer of 64 MiB never read",
       [](RawClient& c) { return c.Call(1, EchoArgs(64 * kMiB, 1)); }},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.name);
    RawClient client(server.Port(), EchoSyntax());
    ASSERT_TRUE(client.Bound());
    ASSERT_TRUE(row.stall(client));
    EXPECT_TRUE(WaitFor([&] { return server.Server().ConnectionCount() == 0; }));
    EXPECT_TRUE(WaitFor([&] { return budget.Used() == 0; })) << budget.Used();
  }
  RawClient client(server.Port(), EchoSyntax());
  ASSERT_TRUE(client.Bound());
  ASSERT_TRUE(client.Call(0, {9}));
  EXPECT_EQ(client.NextResponse(), Bytes{9});
}

// Answers GetServiceInfo with a short text and StreamImageBuffer with a pattern.
class SizedProvider : public QUORVAN::Rendix::ServiceProvider::IServiceProviderManager {
 public:
  std::int32_t GetServiceInfo(std::string&, std::int32_t n, char* text,
                              std::string& error) override {
    std::snprintf(text, static_cast<std::size_t>(n), "info");
    error.clear();
    return 0;
  }
  std::int8_t StreamImageBuffer(std::string&, std::int32_t& size, std::uint8_t* buffer,
                                std::int32_t, std::int32_t, std::string& error) override {
    for (std::int32_t i = 0; i < size; ++i) buffer[i] = static_cast<std::uint8_t>(i);
    error.clear();
    return 1;
  }
};

TEST(ServerResources, CallsBeyondTheBudgetFailAsOutOfMemoryAndTheConnectionStays) {
  SizedProvider provider;
  ByteBudget budget(8 * kMiB);
  {
    TestServer server(nullptr, &provider, nullptr, &budget);
    Binding binding(server);
    char session[] = "S1";
    char error[] = "AAAA";
    struct Row {
      const char* name;
      std::int32_t bytes;
      bool stream;  // StreamImageBuffer, else GetServiceInfo
      std::uint32_t status;
    };
    for (const Row& row : {Row{"image within the budget", 4 * int(kMiB), true, 0},
                           Row{"text answer over the budget", 16 * int(kMiB), false, 1130},
                           Row{"image over the budget", 9 * int(kMiB), true, 1130},
                           Row{"smaller text, same connection", int(kMiB), false, 0},
                           Row{"image, same connection", 3 * int(kMiB), true, 0}}) {
      SCOPED_TRACE(row.name);
      std::vector<std::uint8_t> buffer(static_cast<std::size_t>(row.bytes));
      std::uint32_t status = 0;
      try {
        if (row.stream) {
          std::int32_t size = row.bytes;
          EXPECT_EQ(serviceprovider::StreamImageBuffer(binding.h, session, &size, buffer.data(), 0,
                                                       0, error),
                    1);
          EXPECT_EQ(buffer.back(), static_cast<std::uint8_t>(row.bytes - 1));
        } else {
          EXPECT_EQ(serviceprovider::GetServiceInfo(binding.h, session, row.bytes,
                                                    reinterpret_cast<char*>(buffer.data()), error),
                    0);
          EXPECT_STREQ(reinterpret_cast<char*>(buffer.data()), "info");
        }
      } catch (const RpcException& e) {
        status = e.Status();
      }
      EXPECT_EQ(status, row.status);
      EXPECT_LE(budget.Used(), budget.Limit());
    }
  }
  EXPECT_EQ(budget.Used(), 0u);  // the server has stopped: every charge is back

  // A request whose reassembly passes the budget is read to its end and refused the same way.
  EchoInterface echo;
  ByteBudget small(kMiB);
  TestServer server({&echo}, 10, &small);
  RawClient client(server.Port(), EchoSyntax());
  ASSERT_TRUE(client.Bound());
  ASSERT_TRUE(client.Call(0, Bytes(2 * kMiB, 0x33)));
  EXPECT_EQ(client.NextFault(), kFaultRemoteNoMemory);
  EXPECT_EQ(small.Used(), 0u);
  ASSERT_TRUE(client.Call(0, {4, 5}));
  EXPECT_EQ(client.NextResponse(), (Bytes{4, 5}));
  // Kept or dropped, a request is held to the request limit: refused, and the connection ends.
  // (Fragments with an honest-looking alloc_hint, so only the running count can catch it.)
  Bytes tooLong = Fragment(kFirstFragment, 5816);
  while (tooLong.size() / 5840 * 5816 <= kMaxRequestStub) {
    const Bytes more =
        Fragment(tooLong.size() / 5840 * 5816 + 5816 > kMaxRequestStub ? kLastFragment : 0, 5816);
    tooLong.insert(tooLong.end(), more.begin(), more.end());
  }
  ASSERT_TRUE(client.Send(tooLong));
  EXPECT_EQ(client.NextFault(), kFaultAccessDenied);
  EXPECT_TRUE(WaitFor([&] { return server.Server().ConnectionCount() == 0; }));
  EXPECT_EQ(small.Used(), 0u);
}

TEST(ServerResources, ResidentMemoryReturnsOnceSilentClientsAreCutOff) {
  RefServerChild::Options options;
  options.environment = {"RDX_RPC_PDU_TIMEOUT_MS=1000"};
  auto server = RefServerChild::Start(options);
  ASSERT_NE(server, nullptr);
  {
    Binding warm("127.0.0.1", server->Endpoint());
    ASSERT_EQ(serviceprovider::Ping(warm.h), 1);
  }
  const std::uint64_t before = server->ResidentBytes();
  const std::size_t idleDescriptors = server->OpenDescriptors();
  ASSERT_GT(before, 0u);
  const SyntaxId& syntax = ServiceProviderShape().syntax;
  std::vector<std::unique_ptr<RawClient>> clients;
  // Requests of almost 4 MiB that never send their last fragment...
  Bytes stalled = Fragment(kFirstFragment, 5816);
  while (stalled.size() < 4 * kMiB - 2 * 5840) {
    const Bytes more = Fragment(0, 5816);
    stalled.insert(stalled.end(), more.begin(), more.end());
  }
  for (int i = 0; i < 16; ++i) {
    clients.push_back(std::make_unique<RawClient>(server->Port(), syntax));
    ASSERT_TRUE(clients.back()->Bound());
    ASSERT_TRUE(clients.back()->Send(stalled));
  }
  // ...and 48 MiB answers nobody reads.
  for (int i = 0; i < 4; ++i) {
    clients.push_back(std::make_unique<RawClient>(server->Port(), syntax));
    ASSERT_TRUE(clients.back()->Bound());
    ASSERT_TRUE(clients.back()->Call(kGetServiceInfo, GetServiceInfoStub(48 * int(kMiB))));
  }
  std::uint64_t peak = 0;
  EXPECT_TRUE(WaitFor([&] {
    peak = std::max(peak, server->ResidentBytes());
    return peak > before + 128 * kMiB;
  }));
  // The clients stay connected; the server cuts them off and gives the memory back.
  const bool returned = WaitFor([&] {
    return server->OpenDescriptors() <= idleDescriptors &&
           server->ResidentBytes() <= before + 64 * kMiB;
  });
  if (kResidentSizeMeaningful) {
    EXPECT_TRUE(returned) << server->ResidentBytes() / kMiB << " MiB resident";
  }
  // The figure the system reports trails a little; give it a moment before printing it.
  (void)WaitFor([&] { return server->ResidentBytes() <= before + 8 * kMiB; },
                std::chrono::seconds(10));
  std::printf("refserver resident: %llu MiB idle, %llu MiB at peak, %llu MiB after\n",
              static_cast<unsigned long long>(before / kMiB),
              static_cast<unsigned long long>(peak / kMiB),
              static_cast<unsigned long long>(server->ResidentBytes() / kMiB));
  EXPECT_TRUE(server->Running());
}

TEST(ServerResources, IdleConnectionsCostNoThreadAndUnreadAnswersHoldUpNobody) {
  EchoInterface echo;
  ByteBudget budget(512 * kMiB);
  TestServer server({&echo}, 0, &budget);  // the full PDU time-out: the stalls last
  std::vector<std::unique_ptr<RawClient>> idle;
  for (int i = 0; i < 1000; ++i) {
    idle.push_back(std::make_unique<RawClient>(server.Port(), EchoSyntax()));
    ASSERT_TRUE(idle.back()->Bound()) << i;
  }
  EXPECT_EQ(server.Server().ConnectionCount(), 1000u);
  EXPECT_LT(OwnThreads(), 64u);
  // More stalled answers than the server has workers; every answer is made and waits.
  constexpr int kSlow = 40;
  constexpr std::uint32_t kAnswer = 4 * kMiB;
  std::vector<std::unique_ptr<RawClient>> slow;
  for (int i = 0; i < kSlow; ++i) {
    slow.push_back(std::make_unique<RawClient>(server.Port(), EchoSyntax()));
    ASSERT_TRUE(slow.back()->Bound());
    ASSERT_TRUE(slow.back()->Call(1, EchoArgs(kAnswer, 1)));
  }
  EXPECT_TRUE(WaitFor([&] { return budget.Used() >= kSlow * std::size_t{kAnswer}; }))
      << budget.Used();
  // Any idle connection, and any new one, is served the moment it speaks.
  const std::size_t picks[] = {0, 499, 999};
  for (int i = 0; i < 8; ++i) {
    SCOPED_TRACE(i);
    RawClient fresh(server.Port(), EchoSyntax());
    RawClient& client = i < 3 ? *idle[picks[i]] : fresh;
    ASSERT_TRUE(client.Bound());
    ASSERT_TRUE(client.Call(0, {static_cast<std::uint8_t>(i)}));
    EXPECT_EQ(client.NextResponse(), Bytes{static_cast<std::uint8_t>(i)});
  }
  // The stalled clients are still held, not cut off.
  EXPECT_TRUE(WaitFor([&] { return server.Server().ConnectionCount() == 1000u + kSlow; }))
      << server.Server().ConnectionCount();
}

TEST(ServerResources, AConnectionClosedMidAnswerGivesBackItsMemory) {
  EchoInterface echo;
  ByteBudget budget(256 * kMiB);
  TestServer server({&echo}, 0, &budget);  // the full PDU time-out: only the close frees it
  {
    RawClient client(server.Port(), EchoSyntax());
    ASSERT_TRUE(client.Bound());
    ASSERT_TRUE(client.Call(1, EchoArgs(64 * kMiB, 1)));
    PduHeader header;
    for (int i = 0; i < 3; ++i) ASSERT_EQ(client.Next(header), PduStream::Result::kPdu);
    EXPECT_EQ(header.type, PduType::kResponse);
    EXPECT_GE(budget.Used(), 64 * kMiB);
  }
  EXPECT_TRUE(WaitFor([&] { return server.Server().ConnectionCount() == 0; }));
  EXPECT_TRUE(WaitFor([&] { return budget.Used() == 0; })) << budget.Used();
}

TEST(ServerResources, BudgetSizesReadWithUnits) {
  struct Row {
    const char* text;
    std::size_t bytes;
  };
  for (const Row& row : {Row{"4096", 4096}, Row{"64k", 64 * 1024}, Row{"512M", 512 * kMiB},
                         Row{"2G", 2048 * kMiB}, Row{"", 0}, Row{"G", 0}, Row{"1.5G", 0},
                         Row{"-1", 0}, Row{"12T", 0}, Row{"99999999999999999999", 0}}) {
    SCOPED_TRACE(row.text);
    EXPECT_EQ(ParseByteCount(row.text), row.bytes);
  }
}

}  // namespace
}  // namespace rdx::rpc::test
