#pragma once
// Connection-oriented PDUs: the 16-byte common header and the bodies of bind, bind_ack,
// bind_nak, alter_context(_resp), request, response and fault. Decoders take the byte order
// from the PDU's own data representation label; encoders always write little-endian.
// Nothing here touches a socket, so the server's parsing can be driven by tests and fuzzers.

#include <cstddef>
#include <cstdint>
#include <span>
#include <string>
#include <vector>

#include "remote/runtime/RpcRuntime.h"

namespace rdx::rpc {

enum class PduType : std::uint8_t {
  kRequest = 0,
  kResponse = 2,
  kFault = 3,
  kBind = 11,
  kBindAck = 12,
  kBindNak = 13,
  kAlterContext = 14,
  kAlterContextResp = 15,
  kAuth3 = 16,
  kShutdown = 17,
  kCoCancel = 18,
  kOrphaned = 19,
};

inline constexpr std::uint8_t kFirstFragment = 0x01;
inline constexpr std::uint8_t kLastFragment = 0x02;
inline constexpr std::uint8_t kDidNotExecute = 0x20;
inline constexpr std::uint8_t kObjectUuid = 0x80;

inline constexpr std::size_t kHeaderSize = 16;
inline constexpr std::size_t kCallHeaderSize = 24;  // request/response header with its body
inline constexpr std::size_t kFaultSize = 32;
inline constexpr std::uint16_t kTransportMaxFragment = 5840;
inline constexpr std::uint16_t kMinFragment = 2048;

// bind_ack result values and rejection reasons.
inline constexpr std::uint16_t kAcceptance = 0;
inline constexpr std::uint16_t kProviderRejection = 2;
inline constexpr std::uint16_t kNegotiateAck = 3;
inline constexpr std::uint16_t kAbstractSyntaxNotSupported = 1;
inline constexpr std::uint16_t kTransferSyntaxesNotSupported = 2;

// bind_nak reasons.
inline constexpr std::uint16_t kNakNotSpecified = 0;
inline constexpr std::uint16_t kNakLocalLimitExceeded = 2;
inline constexpr std::uint16_t kNakProtocolVersion = 4;
inline constexpr std::uint16_t kNakAuthenticationType = 8;

const SyntaxId& Ndr20Syntax();
const SyntaxId& Ndr64Syntax();
const SyntaxId& NilSyntax();
bool SameSyntax(const SyntaxId& a, const SyntaxId& b);
// A bind-time feature negotiation offer: UUID 6cb71c2c-9812-4540-xxxx, version 1.0.
bool IsFeatureNegotiation(const SyntaxId& syntax);

struct PduHeader {
  std::uint8_t versionMajor = 5;
  std::uint8_t versionMinor = 0;
  PduType type = PduType::kRequest;
  std::uint8_t flags = 0;
  std::uint8_t drep[4] = {0x10, 0, 0, 0};
  std::uint16_t fragLength = 0;
  std::uint16_t authLength = 0;
  std::uint32_t callId = 0;

  bool BigEndian() const noexcept { return (drep[0] & 0xF0) == 0; }
  // ASCII characters and IEEE floats: the only representations we take.
  bool SupportedRepresentation() const noexcept {
    return (drep[0] & 0x0F) == 0 && drep[1] == 0 && (drep[0] & 0xF0) <= 0x10;
  }
};

// Decodes the common header from at least 16 bytes; false when fewer.
[[nodiscard]] bool DecodeHeader(std::span<const std::uint8_t> bytes, PduHeader& header);

// Reads fields of one PDU in its byte order; every read past the end fails the reader.
class WireReader {
 public:
  WireReader(std::span<const std::uint8_t> bytes, bool bigEndian, std::size_t start = 0)
      : bytes_(bytes), bigEndian_(bigEndian), pos_(start) {}
  std::uint8_t U8();
  std::uint16_t U16();
  std::uint32_t U32();
  SyntaxId Syntax();
  void Skip(std::size_t count);
  bool Ok() const noexcept { return ok_; }
  std::size_t Position() const noexcept { return pos_; }

 private:
  bool Take(std::size_t count);
  std::span<const std::uint8_t> bytes_;
  bool bigEndian_;
  std::size_t pos_;
  bool ok_ = true;
};

class WireWriter {
 public:
  explicit WireWriter(std::vector<std::uint8_t>& out) : out_(out) {}
  void U8(std::uint8_t v) { out_.push_back(v); }
  void U16(std::uint16_t v);
  void U32(std::uint32_t v);
  void Syntax(const SyntaxId& s);
  void Bytes(const void* data, std::size_t size);
  void Zeros(std::size_t count) { out_.insert(out_.end(), count, 0); }
  std::size_t Size() const noexcept { return out_.size(); }

 private:
  std::vector<std::uint8_t>& out_;
};

struct ContextElement {
  std::uint16_t contextId = 0;
  SyntaxId abstractSyntax;
  std::vector<SyntaxId> transferSyntaxes;
};

// bind and alter_context.
struct BindBody {
  std::uint16_t maxXmitFrag = kTransportMaxFragment;
  std::uint16_t maxRecvFrag = kTransportMaxFragment;
  std::uint32_t assocGroupId = 0;
  std::vector<ContextElement> elements;
};

struct ContextResult {
  std::uint16_t result = kAcceptance;
  std::uint16_t reason = 0;
  SyntaxId transferSyntax;
};

// bind_ack and alter_context_resp.
struct BindAckBody {
  std::uint16_t maxXmitFrag = kTransportMaxFragment;
  std::uint16_t maxRecvFrag = kTransportMaxFragment;
  std::uint32_t assocGroupId = 0;
  std::string secondaryAddress;  // without its NUL; empty sends length 0
  std::vector<ContextResult> results;
};

// The body of a request or response; `stub` points into the decoded PDU.
struct CallBody {
  std::uint32_t allocHint = 0;
  std::uint16_t contextId = 0;
  std::uint16_t opnum = 0;  // request only
  std::span<const std::uint8_t> stub;
};

struct FaultBody {
  std::uint16_t contextId = 0;
  std::uint32_t status = 0;
};

// Decoders: false when the body does not fit `frag_length` (the whole PDU is `pdu`).
[[nodiscard]] bool DecodeBind(const PduHeader& header, std::span<const std::uint8_t> pdu,
                              BindBody& body);
[[nodiscard]] bool DecodeBindAck(const PduHeader& header, std::span<const std::uint8_t> pdu,
                                 BindAckBody& body);
[[nodiscard]] bool DecodeBindNak(const PduHeader& header, std::span<const std::uint8_t> pdu,
                                 std::uint16_t& reason);
[[nodiscard]] bool DecodeCall(const PduHeader& header, std::span<const std::uint8_t> pdu,
                              CallBody& body);
[[nodiscard]] bool DecodeFault(const PduHeader& header, std::span<const std::uint8_t> pdu,
                               FaultBody& body);

std::vector<std::uint8_t> EncodeBind(PduType type, std::uint32_t callId, const BindBody& body);
std::vector<std::uint8_t> EncodeBindAck(PduType type, std::uint32_t callId,
                                        const BindAckBody& body);
std::vector<std::uint8_t> EncodeBindNak(std::uint32_t callId, std::uint16_t reason);
std::vector<std::uint8_t> EncodeFault(std::uint32_t callId, std::uint16_t contextId,
                                      std::uint32_t status, bool didNotExecute);
std::vector<std::uint8_t> EncodeHeaderOnly(PduType type, std::uint32_t callId);

// Writes the 24-byte request/response header of one fragment. For a response `opnum` is
// ignored (cancel count and reserved byte are 0).
void EncodeCallHeader(PduType type, std::uint8_t flags, std::uint32_t callId,
                      std::uint16_t fragLength, std::uint32_t allocHint, std::uint16_t contextId,
                      std::uint16_t opnum, std::uint8_t* out);

// The fragment size a server grants for a client's proposal: the smaller of the two, at
// least 2048, at most the transport maximum, a multiple of 8.
std::uint16_t NegotiateFragmentSize(std::uint16_t maxXmit, std::uint16_t maxRecv);
// Stub bytes a non-last fragment of size `fragmentSize` carries.
std::size_t FragmentStubCapacity(std::uint16_t fragmentSize);

// Splits `stub` into fragments of at most `fragmentSize` bytes: headers are written to
// `headers` (24 bytes each) and the caller sends header i followed by the stub slice
// [offsets[i], offsets[i+1]).
struct FragmentPlan {
  std::vector<std::uint8_t> headers;
  std::vector<std::size_t> offsets;
};
FragmentPlan PlanFragments(PduType type, std::uint32_t callId, std::uint16_t contextId,
                           std::uint16_t opnum, std::size_t stubSize, std::uint16_t fragmentSize);

}  // namespace rdx::rpc
