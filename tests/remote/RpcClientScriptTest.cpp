// Our client against a scripted server that answers with fixed PDUs: what the caller sees
// for rejections, faults, malformed answers and lost connections.

#include <gtest/gtest.h>

#include <optional>
#include <thread>

#include <rdx/remote/RpcExceptionFrame.h>

#include "platform/os/StreamSocket.h"
#include "remote/EchoInterface.h"
#include "remote/TestServer.h"
#include "remote/runtime/Pdu.h"
#include "remote/runtime/PduStream.h"

namespace rdx::rpc::test {
namespace {

using Bytes = std::vector<std::uint8_t>;
namespace gul = QUORVAN::Rendix::GeneralUtilityLib;

// The client numbers its bind 1 and its first request 2 on a fresh handle.
constexpr std::uint32_t kBindCall = 1;
constexpr std::uint32_t kRequestCall = 2;

Bytes Accept(std::uint16_t result = kAcceptance, std::uint16_t reason = 0) {
  BindAckBody ack{5840, 5840, 0x99, "1", {{result, reason, Ndr20Syntax()}}};
  return EncodeBindAck(PduType::kBindAck, kBindCall, ack);
}

Bytes Response(std::uint32_t callId, const Bytes& stub, std::uint8_t flags = 3,
               PduType type = PduType::kResponse, std::uint32_t allocHint = 0) {
  Bytes pdu(kCallHeaderSize);
  EncodeCallHeader(type, flags, callId, static_cast<std::uint16_t>(kCallHeaderSize + stub.size()),
                   allocHint, 0, 0, pdu.data());
  pdu.insert(pdu.end(), stub.begin(), stub.end());
  return pdu;
}

// A response as a big-endian server writes it (drep 00 00 00 00).
Bytes BigEndianResponse(std::uint32_t callId, const Bytes& stub, std::uint8_t flags) {
  const auto length = static_cast<std::uint16_t>(kCallHeaderSize + stub.size());
  Bytes pdu = {5, 0, 2, flags, 0, 0, 0, 0};
  // frag_length and auth_length, call_id, alloc_hint, then context id and cancel count.
  for (const std::uint32_t word : {std::uint32_t{length} << 16, callId, 0u, 0u}) {
    for (int shift = 24; shift >= 0; shift -= 8) pdu.push_back(std::uint8_t(word >> shift));
  }
  pdu.insert(pdu.end(), stub.begin(), stub.end());
  return pdu;
}

Bytes Concat(std::initializer_list<Bytes> parts) {
  Bytes out;
  for (const Bytes& p : parts) out.insert(out.end(), p.begin(), p.end());
  return out;
}

struct Script {
  const char* name;
  std::optional<Bytes> bindAnswer;     // nullopt: close instead of answering
  std::optional<Bytes> requestAnswer;  // nullopt: close instead of answering
  std::int32_t status;                 // what the caller sees
  Bytes answer = {};                   // the response stub when status is 0
};

// Serves one connection by the script on a loopback port.
class ScriptedServer {
 public:
  explicit ScriptedServer(const Script& script)
      : listener_(os::StreamListener::ListenTcp(0).value),
        thread_([this, script] { Serve(script); }) {}
  ~ScriptedServer() {
    listener_.Wake();
    thread_.join();
  }
  std::uint16_t Port() const { return listener_.Port(); }

 private:
  void Serve(const Script& script) {
    os::StreamSocket socket = listener_.Accept();
    if (!socket.Valid()) return;
    PduStream stream(socket);
    PduHeader header;
    std::span<const std::uint8_t> pdu;
    if (stream.Next(header, pdu, 10'000, 10'000) != PduStream::Result::kPdu) return;
    if (!script.bindAnswer) return;
    if (stream.Send(*script.bindAnswer) != os::IoResult::kOk) return;
    // Read the whole request (it may come in fragments) before answering.
    do {
      if (stream.Next(header, pdu, 10'000, 10'000) != PduStream::Result::kPdu) return;
    } while ((header.flags & kLastFragment) == 0);
    if (!script.requestAnswer) return;
    if (stream.Send(*script.requestAnswer) != os::IoResult::kOk) return;
    // Hold the connection until the client has read everything and gone.
    (void)stream.Next(header, pdu, 10'000, 10'000);
  }

  os::StreamListener listener_;
  std::thread thread_;
};

TEST(RpcClientScript, CallerSeesTheStatusOfEachServerBehaviour) {
  const Bytes ok = {1, 2, 3};
  const Script scripts[] = {
      {"closed before bind_ack", std::nullopt, std::nullopt, 1722},
      {"bind_nak reason 4", EncodeBindNak(kBindCall, 4), std::nullopt, 1728},
      {"bind_nak reason 2", EncodeBindNak(kBindCall, 2), std::nullopt, 1723},
      {"bind_nak reason 8", EncodeBindNak(kBindCall, 8), std::nullopt, 1747},
      {"bind_nak reason 0", EncodeBindNak(kBindCall, 0), std::nullopt, 1727},
      {"interface rejected", Accept(kProviderRejection, 1), std::nullopt, 1717},
      {"transfer syntax rejected", Accept(kProviderRejection, 2), std::nullopt, 1730},
      {"bind_ack under another call id",
       EncodeBindAck(PduType::kBindAck, 7, BindAckBody{5840, 5840, 1, "", {{}}}), std::nullopt,
       1728},
      {"closed after the request", Accept(), std::nullopt, 1726},
      {"answer under another call id", Accept(), Response(kRequestCall + 1, ok), 1728},
      {"answer of the wrong type", Accept(), Response(kRequestCall, ok, 3, PduType::kBindAck),
       1728},
      {"frag_length below 16", Accept(), Bytes{5, 0, 2, 3, 0x10, 0, 0, 0, 8, 0, 0, 0, 2, 0, 0, 0},
       1728},
      {"continuation first", Accept(), Response(kRequestCall, ok, kLastFragment), 1728},
      {"fault unknown operation", Accept(), EncodeFault(kRequestCall, 0, 0x1c010002, true), 1745},
      {"fault unknown interface", Accept(), EncodeFault(kRequestCall, 0, 0x1c010003, true), 1717},
      {"fault context mismatch", Accept(), EncodeFault(kRequestCall, 0, 0x1c00001a, false), 6},
      {"fault status passed through", Accept(), EncodeFault(kRequestCall, 0, 0x4711, false),
       0x4711},
      {"answer in three fragments", Accept(),
       Concat({Response(kRequestCall, {1}, kFirstFragment), Response(kRequestCall, {2}, 0),
               Response(kRequestCall, {3}, kLastFragment)}),
       0, ok},
      {"empty first fragment announcing more", Accept(),
       Concat({Response(kRequestCall, {}, kFirstFragment, PduType::kResponse, 3),
               Response(kRequestCall, ok, kLastFragment)}),
       0, ok},
      {"answer from a big-endian server", Accept(), BigEndianResponse(kRequestCall, ok, 3), 0, ok},
      {"fragments in two integer orders", Accept(),
       Concat({Response(kRequestCall, {1}, kFirstFragment),
               BigEndianResponse(kRequestCall, {2, 3}, kLastFragment)}),
       1728},
      {"shutdown before the answer", Accept(),
       Concat({EncodeHeaderOnly(PduType::kShutdown, 0), Response(kRequestCall, ok)}), 0, ok},
  };
  for (const Script& script : scripts) {
    SCOPED_TRACE(script.name);
    ScriptedServer server(script);
    Binding binding("127.0.0.1", std::to_string(server.Port()));
    ASSERT_NE(binding.h, nullptr);
    Bytes answer;
    // A request longer than one fragment, so the script also sees reassembly.
    const Bytes request(7000, 0x42);
    const std::int32_t status = gul::RunInRpcExceptionFrame(
        [&] { answer = CallRemote(binding.h, EchoSyntax(), 0, request); });
    EXPECT_EQ(status, script.status);
    EXPECT_EQ(answer, status == 0 ? script.answer : Bytes{});
  }
}

}  // namespace
}  // namespace rdx::rpc::test
