// PDU encodings against byte listings of known-good exchanges, and the fragment rules.

#include <gtest/gtest.h>

#include "StubTestSupport.h"
#include "remote/EchoInterface.h"
#include "remote/runtime/Pdu.h"
#include "remote/runtime/ServerConnection.h"

namespace rdx::rpc::test {
namespace {

// The server-core interface, as a Windows client proposes it.
class CoreLike : public EchoInterface {
 public:
  const SyntaxId& Syntax() const override { return syntax_; }

 private:
  SyntaxId syntax_{{0x6c, 0xfd, 0x60, 0x8a, 0xbf, 0x7e, 0xee, 0x4a, 0x83, 0x9c, 0x1d, 0xf4, 0x24,
                    0x3d, 0x03, 0xd2},
                   1,
                   0};
};

const char* kWindowsBind =
    "05 00 0b 03 10 00 00 00 a0 00 00 00 02 00 00 00 d0 16 d0 16 00 00 00 00 03 00 00 00 "
    "00 00 01 00 6c fd 60 8a bf 7e ee 4a 83 9c 1d f4 24 3d 03 d2 01 00 00 00 04 5d 88 8a "
    "eb 1c c9 11 9f e8 08 00 2b 10 48 60 02 00 00 00 01 00 01 00 6c fd 60 8a bf 7e ee 4a "
    "83 9c 1d f4 24 3d 03 d2 01 00 00 00 33 05 71 71 ba be 37 49 83 19 b5 db ef 9c cc 36 "
    "01 00 00 00 02 00 01 00 6c fd 60 8a bf 7e ee 4a 83 9c 1d f4 24 3d 03 d2 01 00 00 00 "
    "2c 1c b7 6c 12 98 40 45 03 00 00 00 00 00 00 00 01 00 00 00";

TEST(Pdu, EncodingsMatchKnownExchanges) {
  CoreLike core;
  InterfaceRegistry registry;
  registry.Add(&core);
  ServerConnection connection(registry, "3982");
  const auto bind = Hex(kWindowsBind);
  PduHeader header;
  ASSERT_TRUE(DecodeHeader(bind, header));
  ServerAnswer answer;
  connection.Handle(header, bind, answer);
  auto ack = answer.pdu;
  ASSERT_EQ(ack.size(), 108u);
  // The group id is the server's choice; the rest is fixed.
  EXPECT_NE(ack[20] | ack[21] | ack[22] | ack[23], 0);
  ack[20] = 0xf4, ack[21] = 0x12, ack[22] = ack[23] = 0;

  // Re-encoding the bind from its decoded form gives the same bytes back.
  BindBody decoded;
  ASSERT_TRUE(DecodeBind(header, bind, decoded));
  // A big-endian sender's syntax decodes to the little-endian UUID bytes we keep.
  const auto bigNdr = Hex("8a 88 5d 04 1c eb 11 c9 9f e8 08 00 2b 10 48 60 00 00 00 02");
  WireReader bigReader(bigNdr, true);
  EXPECT_TRUE(SameSyntax(bigReader.Syntax(), Ndr20Syntax()));

  FaultBody fault{0, kFaultOperationRange};
  struct Row {
    const char* name;
    std::vector<std::uint8_t> actual;
    const char* expected;
  };
  const Row rows[] = {
      {"bind round trip", EncodeBind(PduType::kBind, 2, decoded), kWindowsBind},
      {"bind_ack: accept, NDR64 refused, negotiation acknowledged", ack,
       "05 00 0c 03 10 00 00 00 6c 00 00 00 02 00 00 00 d0 16 d0 16 f4 12 00 00 05 00 33 39 38 32 "
       "00 00 "
       "03 00 00 00 00 00 00 00 04 5d 88 8a eb 1c c9 11 9f e8 08 00 2b 10 48 60 02 00 00 00 02 00 "
       "02 00 "
       "00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 03 00 00 00 00 00 00 00 00 00 "
       "00 00 "
       "00 00 00 00 00 00 00 00 00 00 00 00"},
      {"bind_nak reason 4", EncodeBindNak(2, kNakProtocolVersion),
       "05 00 0d 03 10 00 00 00 18 00 00 00 02 00 00 00 04 00 01 05 00 00 00 00"},
      {"fault opnum out of range", EncodeFault(2, fault.contextId, fault.status, true),
       "05 00 03 23 10 00 00 00 20 00 00 00 02 00 00 00 20 00 00 00 00 00 00 00 02 00 01 1c "
       "00 00 00 00"},
      {"alter_context_resp accepting one context",
       EncodeBindAck(PduType::kAlterContextResp, 7,
                     BindAckBody{5840, 5840, 0x12f4, "", {{kAcceptance, 0, Ndr20Syntax()}}}),
       "05 00 0f 03 10 00 00 00 38 00 00 00 07 00 00 00 d0 16 d0 16 f4 12 00 00 00 00 00 00 "
       "01 00 00 00 00 00 00 00 04 5d 88 8a eb 1c c9 11 9f e8 08 00 2b 10 48 60 02 00 00 00"},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.name);
    EXPECT_EQ(ToHex(row.actual), ToHex(Hex(row.expected)));
  }
}

TEST(Pdu, FragmentSizesAndSplits) {
  struct Negotiation {
    std::uint16_t xmit, recv, granted;
  };
  for (const Negotiation& n : {Negotiation{0xFFFF, 0xFFFF, 5840}, Negotiation{4280, 4280, 4280},
                               Negotiation{3199, 0xFFFF, 3192}, Negotiation{0, 0, 2048},
                               Negotiation{0xFFFF, 2049, 2048}}) {
    SCOPED_TRACE(std::to_string(n.xmit) + "/" + std::to_string(n.recv));
    EXPECT_EQ(NegotiateFragmentSize(n.xmit, n.recv), n.granted);
  }
  struct Split {
    std::size_t stub;
    std::uint16_t n;
    std::vector<std::size_t> sizes;
  };
  for (const Split& s :
       {Split{6000, 5840, {5816, 184}}, Split{0, 5840, {0}}, Split{4256, 4280, {4256}},
        Split{4257, 4280, {4256, 1}}, Split{3 * 5816, 5840, {5816, 5816, 5816}}}) {
    SCOPED_TRACE(s.stub);
    const FragmentPlan plan = PlanFragments(PduType::kResponse, 9, 1, 0, s.stub, s.n);
    ASSERT_EQ(plan.offsets.size(), s.sizes.size() + 1);
    std::size_t left = s.stub;
    for (std::size_t i = 0; i < s.sizes.size(); ++i) {
      std::span<const std::uint8_t> h(plan.headers.data() + i * kCallHeaderSize, kCallHeaderSize);
      PduHeader header;
      ASSERT_TRUE(DecodeHeader(h, header));
      const std::uint8_t flags =
          (i == 0 ? kFirstFragment : 0) | (i + 1 == s.sizes.size() ? kLastFragment : 0);
      EXPECT_EQ(header.flags, flags);
      EXPECT_EQ(header.fragLength, kCallHeaderSize + s.sizes[i]);
      EXPECT_LE(header.fragLength, s.n);
      EXPECT_EQ(plan.offsets[i + 1] - plan.offsets[i], s.sizes[i]);
      EXPECT_EQ(h[16] | (h[17] << 8), static_cast<int>(left));  // alloc_hint: bytes to come
      left -= s.sizes[i];
    }
  }
}

}  // namespace
}  // namespace rdx::rpc::test
