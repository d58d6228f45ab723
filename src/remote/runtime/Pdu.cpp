#include "remote/runtime/Pdu.h"

#include <algorithm>
#include <cstring>

namespace rdx::rpc {
namespace {

constexpr SyntaxId MakeSyntax(std::array<std::uint8_t, 16> uuid, std::uint16_t major,
                              std::uint16_t minor) {
  SyntaxId s;
  s.uuid = uuid;
  s.versionMajor = major;
  s.versionMinor = minor;
  return s;
}

constexpr SyntaxId kNdr20 = MakeSyntax({0x04, 0x5d, 0x88, 0x8a, 0xeb, 0x1c, 0xc9, 0x11, 0x9f, 0xe8,
                                        0x08, 0x00, 0x2b, 0x10, 0x48, 0x60},
                                       2, 0);
constexpr SyntaxId kNdr64 = MakeSyntax({0x33, 0x05, 0x71, 0x71, 0xba, 0xbe, 0x37, 0x49, 0x83, 0x19,
                                        0xb5, 0xdb, 0xef, 0x9c, 0xcc, 0x36},
                                       1, 0);
constexpr SyntaxId kNil{};

std::uint16_t Le16(const std::uint8_t* p) { return std::uint16_t(p[0] | (p[1] << 8)); }
std::uint16_t Be16(const std::uint8_t* p) { return std::uint16_t((p[0] << 8) | p[1]); }

void PutLe16(std::uint8_t* p, std::uint16_t v) {
  p[0] = std::uint8_t(v);
  p[1] = std::uint8_t(v >> 8);
}
void PutLe32(std::uint8_t* p, std::uint32_t v) {
  for (int i = 0; i < 4; ++i) p[i] = std::uint8_t(v >> (8 * i));
}

// Every PDU we send starts the same way; the length is patched in once the body is known.
void BeginPdu(WireWriter& w, PduType type, std::uint8_t flags, std::uint32_t callId) {
  w.U8(5);
  w.U8(0);
  w.U8(static_cast<std::uint8_t>(type));
  w.U8(flags);
  w.U32(0x00000010);
  w.U16(0);  // frag_length, patched by EndPdu
  w.U16(0);
  w.U32(callId);
}

void EndPdu(std::vector<std::uint8_t>& out) {
  PutLe16(out.data() + 8, static_cast<std::uint16_t>(out.size()));
}

// The body of a PDU must lie inside its frag_length; `pdu` may hold more bytes.
std::span<const std::uint8_t> Framed(const PduHeader& header, std::span<const std::uint8_t> pdu) {
  return pdu.first(std::min<std::size_t>(pdu.size(), header.fragLength));
}

// bind and bind_ack, and their alter_context forms, open with the same three fields.
template <typename Body>
void ReadNegotiation(WireReader& r, Body& body) {
  body.maxXmitFrag = r.U16();
  body.maxRecvFrag = r.U16();
  body.assocGroupId = r.U32();
}

template <typename Body>
void WriteNegotiation(WireWriter& w, const Body& body) {
  w.U16(body.maxXmitFrag);
  w.U16(body.maxRecvFrag);
  w.U32(body.assocGroupId);
}

}  // namespace

const SyntaxId& Ndr20Syntax() { return kNdr20; }
const SyntaxId& Ndr64Syntax() { return kNdr64; }
const SyntaxId& NilSyntax() { return kNil; }

bool SameSyntax(const SyntaxId& a, const SyntaxId& b) {
  return a.uuid == b.uuid && a.versionMajor == b.versionMajor && a.versionMinor == b.versionMinor;
}

bool IsFeatureNegotiation(const SyntaxId& syntax) {
  static constexpr std::uint8_t kPrefix[8] = {0x2c, 0x1c, 0xb7, 0x6c, 0x12, 0x98, 0x40, 0x45};
  return std::memcmp(syntax.uuid.data(), kPrefix, 8) == 0 && syntax.versionMajor == 1 &&
         syntax.versionMinor == 0;
}

bool DecodeHeader(std::span<const std::uint8_t> bytes, PduHeader& header) {
  if (bytes.size() < kHeaderSize) return false;
  header.versionMajor = bytes[0];
  header.versionMinor = bytes[1];
  header.type = static_cast<PduType>(bytes[2]);
  header.flags = bytes[3];
  std::memcpy(header.drep, bytes.data() + 4, 4);
  WireReader r(bytes, header.BigEndian(), 8);
  header.fragLength = r.U16();
  header.authLength = r.U16();
  header.callId = r.U32();
  return true;
}

bool WireReader::Take(std::size_t count) {
  if (!ok_ || count > bytes_.size() - pos_) {
    ok_ = false;
    return false;
  }
  return true;
}

std::uint8_t WireReader::U8() {
  if (!Take(1)) return 0;
  return bytes_[pos_++];
}

std::uint16_t WireReader::U16() {
  if (!Take(2)) return 0;
  const std::uint8_t* p = bytes_.data() + pos_;
  pos_ += 2;
  return bigEndian_ ? Be16(p) : Le16(p);
}

std::uint32_t WireReader::U32() {
  if (!Take(4)) return 0;
  const std::uint8_t* p = bytes_.data() + pos_;
  pos_ += 4;
  if (bigEndian_) {
    return (std::uint32_t(p[0]) << 24) | (std::uint32_t(p[1]) << 16) | (std::uint32_t(p[2]) << 8) |
           p[3];
  }
  return std::uint32_t(p[0]) | (std::uint32_t(p[1]) << 8) | (std::uint32_t(p[2]) << 16) |
         (std::uint32_t(p[3]) << 24);
}

void WireReader::Skip(std::size_t count) {
  if (Take(count)) pos_ += count;
}

SyntaxId WireReader::Syntax() {
  // The UUID's first three fields follow the PDU's byte order; we keep them little-endian.
  SyntaxId s;
  const std::uint32_t d1 = U32();
  const std::uint16_t d2 = U16();
  const std::uint16_t d3 = U16();
  PutLe32(s.uuid.data(), d1);
  PutLe16(s.uuid.data() + 4, d2);
  PutLe16(s.uuid.data() + 6, d3);
  if (Take(8)) {
    std::memcpy(s.uuid.data() + 8, bytes_.data() + pos_, 8);
    pos_ += 8;
  }
  const std::uint32_t version = U32();
  s.versionMajor = static_cast<std::uint16_t>(version & 0xFFFF);
  s.versionMinor = static_cast<std::uint16_t>(version >> 16);
  return s;
}

void WireWriter::U16(std::uint16_t v) {
  out_.push_back(std::uint8_t(v));
  out_.push_back(std::uint8_t(v >> 8));
}

void WireWriter::U32(std::uint32_t v) {
  for (int i = 0; i < 4; ++i) out_.push_back(std::uint8_t(v >> (8 * i)));
}

void WireWriter::Syntax(const SyntaxId& s) {
  Bytes(s.uuid.data(), s.uuid.size());
  U16(s.versionMajor);
  U16(s.versionMinor);
}

void WireWriter::Bytes(const void* data, std::size_t size) {
  const auto* p = static_cast<const std::uint8_t*>(data);
  out_.insert(out_.end(), p, p + size);
}

bool DecodeBind(const PduHeader& header, std::span<const std::uint8_t> pdu, BindBody& body) {
  WireReader r(Framed(header, pdu), header.BigEndian(), kHeaderSize);
  ReadNegotiation(r, body);
  const std::uint8_t count = r.U8();
  r.Skip(3);
  body.elements.clear();
  // At most 255 elements of at least 44 bytes each fit a 65535-byte PDU: bounded.
  for (std::uint8_t i = 0; i < count && r.Ok(); ++i) {
    ContextElement element;
    element.contextId = r.U16();
    const std::uint8_t transfers = r.U8();
    r.Skip(1);
    element.abstractSyntax = r.Syntax();
    for (std::uint8_t t = 0; t < transfers && r.Ok(); ++t) {
      element.transferSyntaxes.push_back(r.Syntax());
    }
    body.elements.push_back(std::move(element));
  }
  return r.Ok();
}

bool DecodeBindAck(const PduHeader& header, std::span<const std::uint8_t> pdu, BindAckBody& body) {
  const auto framed = Framed(header, pdu);
  WireReader r(framed, header.BigEndian(), kHeaderSize);
  ReadNegotiation(r, body);
  const std::uint16_t length = r.U16();
  if (!r.Ok() || length > framed.size() - r.Position()) return false;
  const std::size_t start = r.Position();
  body.secondaryAddress.assign(reinterpret_cast<const char*>(framed.data() + start), length);
  if (const auto nul = body.secondaryAddress.find('\0'); nul != std::string::npos) {
    body.secondaryAddress.resize(nul);
  }
  r.Skip(length);
  r.Skip((4 - r.Position() % 4) % 4);
  const std::uint8_t count = r.U8();
  r.Skip(3);
  body.results.clear();
  for (std::uint8_t i = 0; i < count && r.Ok(); ++i) {
    ContextResult result;
    result.result = r.U16();
    result.reason = r.U16();
    result.transferSyntax = r.Syntax();
    body.results.push_back(result);
  }
  return r.Ok();
}

bool DecodeBindNak(const PduHeader& header, std::span<const std::uint8_t> pdu,
                   std::uint16_t& reason) {
  WireReader r(Framed(header, pdu), header.BigEndian(), kHeaderSize);
  reason = r.U16();
  return r.Ok();
}

bool DecodeCall(const PduHeader& header, std::span<const std::uint8_t> pdu, CallBody& body) {
  const auto framed = Framed(header, pdu);
  WireReader r(framed, header.BigEndian(), kHeaderSize);
  body.allocHint = r.U32();
  body.contextId = r.U16();
  body.opnum = r.U16();
  if (header.type == PduType::kRequest && (header.flags & kObjectUuid) != 0) r.Skip(16);
  if (!r.Ok()) return false;
  // An auth trailer, were one present, is not stub data.
  const std::size_t end = framed.size();
  if (header.authLength > end - r.Position()) return false;
  body.stub = framed.subspan(r.Position(), end - r.Position() - header.authLength);
  return true;
}

bool DecodeFault(const PduHeader& header, std::span<const std::uint8_t> pdu, FaultBody& body) {
  WireReader r(Framed(header, pdu), header.BigEndian(), kHeaderSize);
  r.U32();
  body.contextId = r.U16();
  r.Skip(2);
  body.status = r.U32();
  return r.Ok();
}

std::vector<std::uint8_t> EncodeBind(PduType type, std::uint32_t callId, const BindBody& body) {
  std::vector<std::uint8_t> out;
  WireWriter w(out);
  BeginPdu(w, type, kFirstFragment | kLastFragment, callId);
  WriteNegotiation(w, body);
  w.U8(static_cast<std::uint8_t>(body.elements.size()));
  w.Zeros(3);
  for (const ContextElement& e : body.elements) {
    w.U16(e.contextId);
    w.U8(static_cast<std::uint8_t>(e.transferSyntaxes.size()));
    w.U8(0);
    w.Syntax(e.abstractSyntax);
    for (const SyntaxId& t : e.transferSyntaxes) w.Syntax(t);
  }
  EndPdu(out);
  return out;
}

std::vector<std::uint8_t> EncodeBindAck(PduType type, std::uint32_t callId,
                                        const BindAckBody& body) {
  std::vector<std::uint8_t> out;
  WireWriter w(out);
  BeginPdu(w, type, kFirstFragment | kLastFragment, callId);
  WriteNegotiation(w, body);
  if (body.secondaryAddress.empty()) {
    w.U16(0);
  } else {
    w.U16(static_cast<std::uint16_t>(body.secondaryAddress.size() + 1));
    w.Bytes(body.secondaryAddress.c_str(), body.secondaryAddress.size() + 1);
  }
  w.Zeros((4 - w.Size() % 4) % 4);
  w.U8(static_cast<std::uint8_t>(body.results.size()));
  w.Zeros(3);
  for (const ContextResult& r : body.results) {
    w.U16(r.result);
    w.U16(r.reason);
    w.Syntax(r.transferSyntax);
  }
  EndPdu(out);
  return out;
}

std::vector<std::uint8_t> EncodeBindNak(std::uint32_t callId, std::uint16_t reason) {
  std::vector<std::uint8_t> out;
  WireWriter w(out);
  BeginPdu(w, PduType::kBindNak, kFirstFragment | kLastFragment, callId);
  w.U16(reason);
  w.U8(1);
  w.U8(5);
  w.U8(0);
  w.Zeros(3);  // 24 bytes, as Windows sends them
  EndPdu(out);
  return out;
}

std::vector<std::uint8_t> EncodeFault(std::uint32_t callId, std::uint16_t contextId,
                                      std::uint32_t status, bool didNotExecute) {
  std::vector<std::uint8_t> out;
  WireWriter w(out);
  BeginPdu(w, PduType::kFault,
           static_cast<std::uint8_t>(kFirstFragment | kLastFragment |
                                     (didNotExecute ? kDidNotExecute : 0)),
           callId);
  w.U32(static_cast<std::uint32_t>(kFaultSize));
  w.U16(contextId);
  w.U8(0);
  w.U8(0);
  w.U32(status);
  w.U32(0);
  EndPdu(out);
  return out;
}

std::vector<std::uint8_t> EncodeHeaderOnly(PduType type, std::uint32_t callId) {
  std::vector<std::uint8_t> out;
  WireWriter w(out);
  BeginPdu(w, type, kFirstFragment | kLastFragment, callId);
  EndPdu(out);
  return out;
}

void EncodeCallHeader(PduType type, std::uint8_t flags, std::uint32_t callId,
                      std::uint16_t fragLength, std::uint32_t allocHint, std::uint16_t contextId,
                      std::uint16_t opnum, std::uint8_t* out) {
  out[0] = 5;
  out[1] = 0;
  out[2] = static_cast<std::uint8_t>(type);
  out[3] = flags;
  PutLe32(out + 4, 0x10);
  PutLe16(out + 8, fragLength);
  PutLe16(out + 10, 0);
  PutLe32(out + 12, callId);
  PutLe32(out + 16, allocHint);
  PutLe16(out + 20, contextId);
  PutLe16(out + 22, type == PduType::kRequest ? opnum : 0);
}

std::uint16_t NegotiateFragmentSize(std::uint16_t maxXmit, std::uint16_t maxRecv) {
  std::uint16_t n = std::min(maxXmit, maxRecv);
  n = std::max(n, kMinFragment);
  n = std::min(n, kTransportMaxFragment);
  return static_cast<std::uint16_t>(n & ~7u);
}

std::size_t FragmentStubCapacity(std::uint16_t fragmentSize) {
  return (static_cast<std::size_t>(fragmentSize) - kCallHeaderSize) & ~std::size_t{7};
}

FragmentPlan PlanFragments(PduType type, std::uint32_t callId, std::uint16_t contextId,
                           std::uint16_t opnum, std::size_t stubSize, std::uint16_t fragmentSize) {
  FragmentPlan plan;
  const std::size_t capacity = FragmentStubCapacity(fragmentSize);
  const std::size_t count = stubSize == 0 ? 1 : (stubSize + capacity - 1) / capacity;
  plan.headers.resize(count * kCallHeaderSize);
  plan.offsets.reserve(count + 1);
  std::size_t offset = 0;
  for (std::size_t i = 0; i < count; ++i) {
    const std::size_t size = std::min(capacity, stubSize - offset);
    std::uint8_t flags = 0;
    if (i == 0) flags |= kFirstFragment;
    if (i + 1 == count) flags |= kLastFragment;
    // alloc_hint is a 32-bit field; stubs beyond it are announced as "unknown" (0).
    const std::size_t left = stubSize - offset;
    const std::uint32_t hint = left > 0xFFFFFFFFu ? 0 : static_cast<std::uint32_t>(left);
    EncodeCallHeader(type, flags, callId, static_cast<std::uint16_t>(kCallHeaderSize + size), hint,
                     contextId, opnum, plan.headers.data() + i * kCallHeaderSize);
    plan.offsets.push_back(offset);
    offset += size;
  }
  plan.offsets.push_back(offset);
  return plan;
}

}  // namespace rdx::rpc
