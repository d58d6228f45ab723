#include "remote/runtime/ServerConnection.h"

#include <algorithm>
#include <atomic>
#include <cstring>
#include <mutex>
#include <new>

namespace rdx::rpc {
namespace {

// Association groups carry no state here; ids only need to be non-zero and distinct.
std::atomic<std::uint32_t> gNextGroupId{0x12f4};

std::uint32_t NewGroupId() {
  std::uint32_t id = gNextGroupId.fetch_add(1);
  if (id == 0) id = gNextGroupId.fetch_add(1);
  return id;
}

bool Known(PduType type) {
  switch (type) {
    case PduType::kRequest:
    case PduType::kBind:
    case PduType::kAlterContext:
    case PduType::kCoCancel:
    case PduType::kOrphaned: return true;
    default: return false;
  }
}

}  // namespace

namespace {

// A request buffer up to this size stays with an idle connection; larger ones go back.
constexpr std::size_t kKeptRequestBuffer = 64 * 1024;

}  // namespace

ServerConnection::ServerConnection(const InterfaceRegistry& registry, std::string secondaryAddress,
                                   CallLimiter* limiter, ByteBudget* budget)
    : registry_(registry),
      secondaryAddress_(std::move(secondaryAddress)),
      limiter_(limiter),
      memory_(budget) {}

void ServerConnection::AnswerSettled(const ServerAnswer& answer) noexcept {
  memory_.Count(CallMemory::Slot::kAnswer, answer.stub.capacity());
}

void ServerConnection::ReleaseRequest() noexcept {
  assembling_ = false;
  overBudget_ = false;
  stub_.clear();
  if (stub_.capacity() > kKeptRequestBuffer) std::vector<std::uint8_t>().swap(stub_);
  memory_.Count(CallMemory::Slot::kRequest, stub_.capacity());
}

void ServerConnection::Append(std::span<const std::uint8_t> stub) {
  if (overBudget_) return;
  const std::size_t needed = stub_.size() + stub.size();  // at most kMaxRequestStub
  if (needed > stub_.capacity()) {
    // Doubling as insert would, but never past the request limit, and charged first.
    const std::size_t grown = std::min(std::max(needed, 2 * stub_.capacity()), kMaxRequestStub);
    bool room = memory_.Charge(CallMemory::Slot::kRequest, grown);
    if (room) {
      try {
        stub_.reserve(grown);
      } catch (const std::bad_alloc&) {
        room = false;
      }
    }
    if (!room) {
      overBudget_ = true;
      std::vector<std::uint8_t>().swap(stub_);
      memory_.Count(CallMemory::Slot::kRequest, 0);
      return;
    }
    memory_.Count(CallMemory::Slot::kRequest, stub_.capacity());
  }
  stub_.insert(stub_.end(), stub.begin(), stub.end());
}

std::vector<std::uint8_t> ServerConnection::Refusal(const PduHeader& header) {
  return EncodeBindNak(header.callId, kNakLocalLimitExceeded);
}

void ServerConnection::ProtocolError(std::uint32_t callId, bool didNotExecute,
                                     ServerAnswer& answer) {
  answer.pdu = EncodeFault(callId, 0, kNcaProtocolError, didNotExecute);
  answer.close = true;
  ReleaseRequest();
}

void ServerConnection::Handle(const PduHeader& header, std::span<const std::uint8_t> pdu,
                              ServerAnswer& answer) {
  std::vector<std::uint8_t> kept = std::move(answer.stub);  // a large answer's warm storage
  answer = ServerAnswer{};
  answer.stub = std::move(kept);
  const bool versionOk = header.versionMajor == 5 && header.versionMinor <= 1;
  if (!bound_ || header.type == PduType::kBind) {
    if (bound_) {  // a second bind on this connection
      answer.pdu = EncodeBindNak(header.callId, kNakNotSpecified);
      answer.close = true;
    } else if (header.type != PduType::kBind || !versionOk) {
      answer.pdu = EncodeBindNak(header.callId, kNakProtocolVersion);
      answer.close = true;
    } else if (!header.SupportedRepresentation()) {
      answer.pdu = EncodeBindNak(header.callId, kNakNotSpecified);
      answer.close = true;
    } else {
      HandleBind(header, pdu, answer);
    }
    return;
  }
  if (!versionOk || !header.SupportedRepresentation() || !Known(header.type) ||
      header.authLength > header.fragLength - kHeaderSize) {
    ProtocolError(assembling_ ? callId_ : header.callId, true, answer);
    return;
  }
  switch (header.type) {
    case PduType::kRequest: HandleRequest(header, pdu, answer); return;
    case PduType::kAlterContext:
      if (assembling_) {
        ProtocolError(callId_, true, answer);
      } else {
        HandleAlterContext(header, pdu, answer);
      }
      return;
    case PduType::kOrphaned:
      // The client abandons the call being reassembled; anything else is already answered.
      if (assembling_ && header.callId == callId_) ReleaseRequest();
      return;
    default:  // co_cancel: our managers cannot be cancelled, the call completes normally
      return;
  }
}

ContextResult ServerConnection::Decide(const ContextElement& element,
                                       const std::vector<std::uint16_t>& seen,
                                       Context& accepted) const {
  ContextResult result;
  result.transferSyntax = NilSyntax();
  if (std::find(seen.begin(), seen.end(), element.contextId) != seen.end()) {
    result.result = kProviderRejection;
    result.reason = kTransferSyntaxesNotSupported;
    return result;
  }
  if (IsFeatureNegotiation(element.transferSyntaxes.front())) {
    // We grant no feature: an acknowledgement with an empty bitmask.
    result.result = kNegotiateAck;
    result.reason = 0;
    return result;
  }
  ServerInterface* entry = registry_.Find(element.abstractSyntax);
  if (entry == nullptr) {
    result.result = kProviderRejection;
    result.reason = kAbstractSyntaxNotSupported;
    return result;
  }
  for (const SyntaxId& transfer : element.transferSyntaxes) {
    if (SameSyntax(transfer, Ndr20Syntax())) {
      result.result = kAcceptance;
      result.reason = 0;
      result.transferSyntax = Ndr20Syntax();
      accepted.abstractSyntax = element.abstractSyntax;
      accepted.entry = entry;
      return result;
    }
  }
  result.result = kProviderRejection;
  result.reason = kTransferSyntaxesNotSupported;
  return result;
}

void ServerConnection::HandleBind(const PduHeader& header, std::span<const std::uint8_t> pdu,
                                  ServerAnswer& answer) {
  if (header.authLength != 0) {
    answer.pdu = EncodeBindNak(header.callId, kNakAuthenticationType);
    answer.close = true;
    return;
  }
  BindBody body;
  if (!DecodeBind(header, pdu, body) || body.elements.empty()) {
    answer.pdu = EncodeBindNak(header.callId, kNakProtocolVersion);
    answer.close = true;
    return;
  }
  int negotiations = 0;
  for (const ContextElement& e : body.elements) {
    if (e.transferSyntaxes.empty())
      negotiations = 2;
    else if (IsFeatureNegotiation(e.transferSyntaxes.front()))
      ++negotiations;
  }
  if (negotiations > 1) {  // also: an element without transfer syntaxes
    answer.pdu = EncodeBindNak(header.callId, kNakNotSpecified);
    answer.close = true;
    return;
  }
  fragmentSize_ = NegotiateFragmentSize(body.maxXmitFrag, body.maxRecvFrag);
  // Unknown group ids are taken over rather than refused: we keep no per-group state, and
  // clients that reconnect after a server restart keep working.
  assocGroupId_ = body.assocGroupId != 0 ? body.assocGroupId : NewGroupId();
  BindAckBody ack;
  ack.maxXmitFrag = ack.maxRecvFrag = fragmentSize_;
  ack.assocGroupId = assocGroupId_;
  ack.secondaryAddress = secondaryAddress_;
  std::vector<std::uint16_t> seen;
  for (const ContextElement& e : body.elements) {
    Context accepted;
    ack.results.push_back(Decide(e, seen, accepted));
    if (accepted.entry != nullptr) contexts_[e.contextId] = accepted;
    seen.push_back(e.contextId);
  }
  bound_ = true;
  answer.pdu = EncodeBindAck(PduType::kBindAck, header.callId, ack);
}

void ServerConnection::HandleAlterContext(const PduHeader& header,
                                          std::span<const std::uint8_t> pdu, ServerAnswer& answer) {
  BindBody body;
  bool ok = DecodeBind(header, pdu, body) && !body.elements.empty();
  for (const ContextElement& e : body.elements) ok = ok && !e.transferSyntaxes.empty();
  if (!ok) {
    ProtocolError(header.callId, true, answer);
    return;
  }
  BindAckBody ack;
  ack.maxXmitFrag = ack.maxRecvFrag = fragmentSize_;
  ack.assocGroupId = assocGroupId_;
  std::vector<std::uint16_t> seen;
  std::map<std::uint16_t, Context> added;
  for (const ContextElement& e : body.elements) {
    Context accepted;
    ContextResult result = Decide(e, seen, accepted);
    const auto existing = contexts_.find(e.contextId);
    if (existing != contexts_.end() && result.result != kNegotiateAck &&
        std::find(seen.begin(), seen.end(), e.contextId) == seen.end()) {
      // Proposing an accepted id again is fine only for the very same interface.
      if (accepted.entry == nullptr ||
          !SameSyntax(existing->second.abstractSyntax, e.abstractSyntax)) {
        ProtocolError(header.callId, true, answer);
        return;
      }
    }
    if (accepted.entry != nullptr) added[e.contextId] = accepted;
    ack.results.push_back(result);
    seen.push_back(e.contextId);
  }
  for (const auto& [id, context] : added) contexts_[id] = context;
  answer.pdu = EncodeBindAck(PduType::kAlterContextResp, header.callId, ack);
}

void ServerConnection::HandleRequest(const PduHeader& header, std::span<const std::uint8_t> pdu,
                                     ServerAnswer& answer) {
  CallBody body;
  // Windows checks request fragments against the transport maximum, not the negotiated N.
  if (header.fragLength > kTransportMaxFragment || !DecodeCall(header, pdu, body)) {
    ProtocolError(assembling_ ? callId_ : header.callId, false, answer);
    return;
  }
  if (header.authLength != 0) {
    answer.pdu = EncodeFault(header.callId, 0, kFaultAccessDenied, false);
    answer.close = true;
    ReleaseRequest();
    return;
  }
  const bool first = (header.flags & kFirstFragment) != 0;
  const bool last = (header.flags & kLastFragment) != 0;
  if (first) {
    if (assembling_) {
      ProtocolError(callId_, true, answer);
      return;
    }
    if (!last && body.allocHint > kMaxRequestStub) {
      answer.pdu = EncodeFault(header.callId, 0, kFaultAccessDenied, false);
      answer.close = true;
      return;
    }
    assembling_ = true;
    callId_ = header.callId;
    contextId_ = body.contextId;
    opnum_ = body.opnum;
    std::memcpy(drep_, header.drep, 4);
    stub_.clear();
    received_ = 0;
    overBudget_ = false;
  } else if (!assembling_ || header.callId != callId_ || std::memcmp(drep_, header.drep, 4) != 0) {
    ProtocolError(assembling_ ? callId_ : header.callId, true, answer);
    return;
  }
  // Counted apart from stub_, which holds nothing once the budget has refused the call.
  if (body.stub.size() > kMaxRequestStub - received_) {
    answer.pdu = EncodeFault(callId_, 0, kFaultAccessDenied, false);
    answer.close = true;
    ReleaseRequest();
    return;
  }
  received_ += body.stub.size();
  Append(body.stub);
  if (last) Complete(answer);
}

void ServerConnection::Complete(ServerAnswer& answer) {
  assembling_ = false;
  if (overBudget_) {  // never reassembled, so never run
    ReleaseRequest();
    answer.pdu = EncodeFault(callId_, contextId_, kFaultRemoteNoMemory, false);
    return;
  }
  const auto context = contexts_.find(contextId_);
  if (context == contexts_.end() || !registry_.Contains(context->second.entry)) {
    answer.pdu = EncodeFault(callId_, 0, kNcaUnknownInterface, true);
    ReleaseRequest();
    return;
  }
  ServerInterface* entry = context->second.entry;
  if (opnum_ >= entry->OperationCount()) {
    answer.pdu = EncodeFault(callId_, contextId_, kFaultOperationRange, true);
    ReleaseRequest();
    return;
  }
  std::uint32_t status = 0;
  if (limiter_ != nullptr) limiter_->Enter();
  try {
    const CallMemory::Scope charged(memory_);  // the stubs charge out-arrays to this connection
    status = entry->Dispatch(opnum_, stub_, (drep_[0] & 0xF0) == 0, answer.stub);
  } catch (const std::bad_alloc&) {
    status = kFaultRemoteNoMemory;
  } catch (...) {
    status = kFaultUnspecified;
  }
  if (limiter_ != nullptr) limiter_->Leave();
  ReleaseRequest();  // idle connections stay small
  memory_.Count(CallMemory::Slot::kScratch, 0);
  if (status != 0) answer.stub.clear();
  memory_.Count(CallMemory::Slot::kAnswer, answer.stub.capacity());
  if (status != 0) {
    const bool notExecuted = status == kFaultOperationRange || status == kNcaUnknownInterface;
    answer.pdu = EncodeFault(callId_, contextId_, status, notExecuted);
    return;
  }
  answer.hasResponse = true;
  answer.callId = callId_;
  answer.contextId = contextId_;
}

}  // namespace rdx::rpc
