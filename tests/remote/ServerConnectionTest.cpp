// The server's answers to well-formed and hostile PDU sequences, one fresh connection a row.

#include <gtest/gtest.h>

#include <functional>

#include "remote/EchoInterface.h"
#include "remote/runtime/Pdu.h"
#include "remote/runtime/ServerConnection.h"

namespace rdx::rpc::test {
namespace {

using Bytes = std::vector<std::uint8_t>;

ContextElement Element(std::uint16_t id, const SyntaxId& abstract,
                       std::vector<SyntaxId> transfers = {Ndr20Syntax()}) {
  return ContextElement{id, abstract, std::move(transfers)};
}

Bytes Bind(std::vector<ContextElement> elements, PduType type = PduType::kBind) {
  BindBody body;
  body.elements = std::move(elements);
  return EncodeBind(type, 1, body);
}

Bytes Request(std::uint32_t callId, std::uint16_t context, std::uint16_t opnum,
              std::size_t stubSize, std::uint8_t flags = kFirstFragment | kLastFragment,
              std::uint32_t allocHint = 0) {
  Bytes pdu(kCallHeaderSize + stubSize, 0x5a);
  EncodeCallHeader(PduType::kRequest, flags, callId,
                   static_cast<std::uint16_t>(std::min<std::size_t>(pdu.size(), 0xFFFF)), allocHint,
                   context, opnum, pdu.data());
  return pdu;
}

Bytes Patched(Bytes pdu, std::size_t offset, std::uint8_t value) {
  pdu[offset] = value;
  return pdu;
}

SyntaxId FeatureOffer() { return {{0x2c, 0x1c, 0xb7, 0x6c, 0x12, 0x98, 0x40, 0x45, 0x03}, 1, 0}; }

SyntaxId Other() {
  SyntaxId s = EchoSyntax();
  s.uuid[15] ^= 0x55;
  return s;
}

struct Expect {
  PduType type;
  std::uint32_t status;  // fault status, bind_nak reason, or 0
  std::uint8_t flags;
  bool close;
};

constexpr std::uint8_t kBoth = kFirstFragment | kLastFragment;
constexpr std::uint8_t kNotRun = kBoth | kDidNotExecute;

TEST(ServerConnection, AnswersEachSequenceAsSpecifiedForItsRow) {
  const Bytes bind = Bind({Element(0, EchoSyntax())});
  const auto Nak = [](std::uint32_t reason) {
    return Expect{PduType::kBindNak, reason, kBoth, true};
  };
  const auto Fault = [](std::uint32_t status, std::uint8_t flags, bool close = false) {
    return Expect{PduType::kFault, status, flags, close};
  };
  const Expect kAnswered{PduType::kResponse, 0, kBoth, false};
  const Expect kProtocolErrorCloses = Fault(kNcaProtocolError, kNotRun, true);
  struct Row {
    const char* name;
    std::vector<Bytes> pdus;  // all but the last must be answered without closing
    Expect expect;
  };
  const Row rows[] = {
      {"request before bind", {Request(1, 0, 0, 4)}, Nak(4)},
      {"bind of minor version 2", {Patched(bind, 1, 2)}, Nak(4)},
      {"bind without elements", {Bind({})}, Nak(4)},
      {"bind asking for authentication", {Patched(bind, 10, 8)}, Nak(8)},
      {"element without transfer syntaxes", {Bind({Element(0, EchoSyntax(), {})})}, Nak(0)},
      {"two negotiation offers",
       {Bind({Element(0, EchoSyntax(), {FeatureOffer()}),
              Element(1, EchoSyntax(), {FeatureOffer()})})},
       Nak(0)},
      {"EBCDIC characters", {Patched(bind, 4, 0x11)}, Nak(0)},
      {"elements running past the PDU", {Patched(bind, 24, 2)}, Nak(4)},
      {"second bind", {bind, bind}, Nak(0)},
      {"plain call", {bind, Request(2, 0, 0, 4)}, kAnswered},
      {"alloc_hint 0xFFFFFFFF on one fragment",
       {bind, Request(2, 0, 0, 4, kBoth, 0xFFFFFFFF)},
       kAnswered},
      {"unknown context", {bind, Request(2, 7, 0, 4)}, Fault(kNcaUnknownInterface, kNotRun)},
      {"opnum out of range",
       {bind, Request(2, 0, 0xFFFF, 0)},
       Fault(kFaultOperationRange, kNotRun)},
      {"manager fault", {bind, Patched(Request(2, 0, 2, 8), 25, 0x06)}, Fault(0x5a5a065a, kBoth)},
      {"fragment above the transport maximum",
       {bind, Request(2, 0, 0, 5840 - 24 + 1)},
       Fault(kNcaProtocolError, kBoth, true)},
      {"request shorter than its header",
       {bind, Patched(Request(2, 0, 0, 0), 8, 20)},
       Fault(kNcaProtocolError, kBoth, true)},
      {"authenticated request",
       {bind, Patched(Request(2, 0, 0, 8), 10, 4)},
       Fault(kFaultAccessDenied, kBoth, true)},
      {"announced stub above the limit",
       {bind, Request(2, 0, 0, 8, kFirstFragment, 4 * 1024 * 1024 + 1)},
       Fault(kFaultAccessDenied, kBoth, true)},
      {"continuation without a call",
       {bind, Request(2, 0, 0, 8, kLastFragment)},
       kProtocolErrorCloses},
      {"first fragment during reassembly",
       {bind, Request(2, 0, 0, 8, kFirstFragment), Request(3, 0, 0, 8, kFirstFragment)},
       kProtocolErrorCloses},
      {"fragment of another call",
       {bind, Request(2, 0, 0, 8, kFirstFragment), Request(3, 0, 0, 8, kLastFragment)},
       kProtocolErrorCloses},
      {"fragment in another byte order",
       {bind, Request(2, 0, 0, 8, kFirstFragment),
        Patched(Patched(Patched(Request(2, 0, 0, 8, kLastFragment), 4, 0), 8, 0), 9, 32)},
       kProtocolErrorCloses},
      {"three fragments",
       {bind, Request(2, 0, 0, 8, kFirstFragment), Request(2, 0, 0, 8, 0),
        Request(2, 0, 0, 8, kLastFragment)},
       kAnswered},
      {"orphaned call, then a new one",
       {bind, Request(2, 0, 0, 8, kFirstFragment), EncodeHeaderOnly(PduType::kOrphaned, 2),
        Request(3, 0, 0, 8)},
       kAnswered},
      {"server-only type from a client", {bind, EncodeFault(2, 0, 5, false)}, kProtocolErrorCloses},
      {"alter_context without elements",
       {bind, Bind({}, PduType::kAlterContext)},
       kProtocolErrorCloses},
      {"alter_context moving an accepted id to another interface",
       {bind, Bind({Element(0, Other())}, PduType::kAlterContext)},
       kProtocolErrorCloses},
      {"alter_context adding a context, then a call on it",
       {bind, Bind({Element(0, EchoSyntax()), Element(4, EchoSyntax())}, PduType::kAlterContext),
        Request(2, 4, 0, 8)},
       kAnswered},
  };
  EchoInterface echo;
  InterfaceRegistry registry;
  registry.Add(&echo);
  for (const Row& row : rows) {
    SCOPED_TRACE(row.name);
    ServerConnection connection(registry, "3982");
    ServerAnswer answer;
    for (std::size_t i = 0; i < row.pdus.size(); ++i) {
      PduHeader header;
      ASSERT_TRUE(DecodeHeader(row.pdus[i], header));
      connection.Handle(header, row.pdus[i], answer);
      if (i + 1 < row.pdus.size()) {
        ASSERT_FALSE(answer.close) << "closed at PDU " << i;
      }
    }
    EXPECT_EQ(answer.close, row.expect.close);
    if (row.expect.type == PduType::kResponse) {
      EXPECT_TRUE(answer.hasResponse);
      EXPECT_TRUE(answer.pdu.empty());
      continue;
    }
    ASSERT_GE(answer.pdu.size(), kHeaderSize + 4);
    PduHeader header;
    ASSERT_TRUE(DecodeHeader(answer.pdu, header));
    EXPECT_EQ(header.type, row.expect.type);
    EXPECT_EQ(header.flags, row.expect.flags);
    EXPECT_EQ(header.fragLength, answer.pdu.size());
    if (header.type == PduType::kFault) {
      FaultBody fault;
      ASSERT_TRUE(DecodeFault(header, answer.pdu, fault));
      EXPECT_EQ(fault.status, row.expect.status);
      EXPECT_EQ(fault.contextId, 0);  // unknown ids are not echoed; the others are 0 here
    } else {
      std::uint16_t reason = 0;
      ASSERT_TRUE(DecodeBindNak(header, answer.pdu, reason));
      EXPECT_EQ(reason, row.expect.status);
      EXPECT_EQ(answer.pdu.size(), 24u);
    }
  }
}

TEST(ServerConnection, NegotiatesContextsAsAWindowsServerDoes) {
  EchoInterface echo;
  InterfaceRegistry registry;
  registry.Add(&echo);
  ServerConnection connection(registry, "");
  SyntaxId olderMinorClient = EchoSyntax();  // minor 0 against our 0: accepted
  SyntaxId otherMajor = EchoSyntax();
  otherMajor.versionMajor = 2;
  BindBody body;
  body.maxXmitFrag = 4280;
  body.maxRecvFrag = 4280;
  body.assocGroupId = 0x4711;
  body.elements = {Element(0, olderMinorClient, {Ndr64Syntax(), Ndr20Syntax()}),
                   Element(1, EchoSyntax(), {Ndr64Syntax()}), Element(2, otherMajor),
                   Element(0, EchoSyntax()), Element(3, EchoSyntax(), {FeatureOffer()})};
  const Bytes bind = EncodeBind(PduType::kBind, 5, body);
  PduHeader header;
  ASSERT_TRUE(DecodeHeader(bind, header));
  ServerAnswer answer;
  connection.Handle(header, bind, answer);
  ASSERT_TRUE(DecodeHeader(answer.pdu, header));
  BindAckBody ack;
  ASSERT_EQ(header.type, PduType::kBindAck);
  ASSERT_TRUE(DecodeBindAck(header, answer.pdu, ack));
  EXPECT_EQ(ack.maxXmitFrag, 4280);
  EXPECT_EQ(ack.maxRecvFrag, 4280);
  EXPECT_EQ(ack.assocGroupId, 0x4711u);  // an unknown group is taken over
  EXPECT_TRUE(ack.secondaryAddress.empty());
  struct Result {
    std::uint16_t result, reason;
    bool ndr;
  };
  const Result expected[] = {{kAcceptance, 0, true},
                             {kProviderRejection, kTransferSyntaxesNotSupported, false},
                             {kProviderRejection, kAbstractSyntaxNotSupported, false},
                             {kProviderRejection, kTransferSyntaxesNotSupported, false},
                             {kNegotiateAck, 0, false}};
  ASSERT_EQ(ack.results.size(), std::size(expected));
  for (std::size_t i = 0; i < ack.results.size(); ++i) {
    SCOPED_TRACE(i);
    EXPECT_EQ(ack.results[i].result, expected[i].result);
    EXPECT_EQ(ack.results[i].reason, expected[i].reason);
    EXPECT_TRUE(
        SameSyntax(ack.results[i].transferSyntax, expected[i].ndr ? Ndr20Syntax() : NilSyntax()));
  }
  // A big-endian request on the accepted context reaches the manager as such.
  Bytes request = Request(6, 0, 0, 4);
  request[4] = 0;
  std::swap(request[8], request[9]);
  std::swap(request[12], request[15]);
  std::swap(request[13], request[14]);
  ASSERT_TRUE(DecodeHeader(request, header));
  connection.Handle(header, request, answer);
  EXPECT_TRUE(answer.hasResponse);
  EXPECT_EQ(answer.callId, 6u);
  EXPECT_TRUE(echo.lastBigEndian);
}

}  // namespace
}  // namespace rdx::rpc::test
