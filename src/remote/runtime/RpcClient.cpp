#include "remote/runtime/RpcClient.h"

#include <algorithm>
#include <climits>
#include <memory>
#include <mutex>
#include <new>
#include <unordered_set>
#include <utility>
#include <vector>

#include "platform/os/HostInfo.h"
#include "platform/os/LargePages.h"
#include "platform/os/LastError.h"
#include "platform/os/PipeFolder.h"
#include "platform/os/StreamSocket.h"
#include "remote/runtime/KeepAllowance.h"
#include "remote/runtime/Pdu.h"
#include "remote/runtime/PduStream.h"
#include "remote/runtime/RpcRuntime.h"
#include "remote/runtime/StringBinding.h"

namespace rdx::rpc {
namespace {

// An answer's alloc_hint is only believed up to this size when reserving memory; larger
// answers still arrive, the buffer just grows as fragments come in.
constexpr std::size_t kReserveCeiling = 256u * 1024 * 1024;
// Large answers are read into place this much at a time.
constexpr std::size_t kRunSlice = 8 * 1024 * 1024;
// Windows clients accept answers up to 2^31-1 bytes.
constexpr std::size_t kMaxResponseStub = 0x7FFFFFFF;

struct Binding {
  std::string protocolSequence;
  std::string networkAddress;
  std::string endpoint;

  std::mutex callMutex;  // one call at a time on the cached connection; held during the call
  os::StreamSocket socket;
  std::unique_ptr<PduStream> stream;
  bool bound = false;
  std::uint16_t fragmentSize = kTransportMaxFragment;
  std::uint32_t assocGroupId = 0;
  std::vector<std::pair<SyntaxId, std::uint16_t>> contexts;
  std::uint16_t nextContextId = 0;
  std::uint32_t nextCallId = 1;
  // The last answer's stub data, reassembled; its storage serves the next call.
  std::vector<std::uint8_t> reply;
  KeepAllowance replyAllowance;

  void Drop() {
    replyAllowance.Drop(reply);
    stream.reset();
    socket.Close();
    bound = false;
    contexts.clear();
    nextContextId = 0;
  }
};

std::mutex gHandlesMutex;  // guards gHandles; held only for a lookup or an update
std::unordered_set<Binding*> gHandles;

[[noreturn]] void Raise(std::uint32_t status) { throw RpcException(status); }

// Drops the cached connection and raises: the next call starts afresh.
[[noreturn]] void Fail(Binding& b, std::uint32_t status) {
  b.Drop();
  Raise(status);
}

std::uint32_t StatusFromNak(std::uint16_t reason) {
  switch (reason) {
    case kNakProtocolVersion: return os::kRpcProtocolError;
    case 1:
    case kNakLocalLimitExceeded: return os::kRpcServerTooBusy;
    case kNakAuthenticationType: return os::kRpcUnknownAuthenticationService;
    case 9: return os::kErrorAccessDenied;
    default: return os::kRpcCallFailedDidNotExecute;
  }
}

void Connect(Binding& b) {
  if (b.endpoint.empty()) Raise(os::kRpcNoEndpointMapper);
  if (b.protocolSequence == kTcpProtocol) {
    std::uint16_t port = 0;
    if (!ParseTcpEndpoint(b.endpoint, port)) Raise(os::kRpcInvalidEndpointFormat);
    b.socket = os::StreamSocket::ConnectTcp(b.networkAddress, port);
  } else {
    std::string path;
    if (!PipeSocketPath(b.endpoint, path)) Raise(os::kRpcInvalidEndpointFormat);
    // Pipes of other machines cannot be reached from here.
    if (!os::IsThisMachine(b.networkAddress)) Raise(os::kRpcServerUnavailable);
    b.socket = os::StreamSocket::ConnectUnix(path);
  }
  if (!b.socket.Valid()) Raise(os::kRpcServerUnavailable);
  b.stream = std::make_unique<PduStream>(b.socket);
}

// Reads one PDU answering `callId`; raises `lostStatus` when the connection ends first.
void ReadAnswer(Binding& b, std::uint32_t callId, std::uint32_t lostStatus, PduHeader& header,
                std::span<const std::uint8_t>& pdu) {
  for (;;) {
    const auto r = b.stream->Next(header, pdu, -1, INT_MAX);
    if (r == PduStream::Result::kMalformed) Fail(b, os::kRpcProtocolError);
    if (r != PduStream::Result::kPdu) Fail(b, lostStatus);
    if (header.versionMajor != 5 || !header.SupportedRepresentation()) {
      Fail(b, os::kRpcProtocolError);
    }
    if (header.type == PduType::kShutdown) continue;  // finish this call, reconnect later
    if (header.callId != callId) Fail(b, os::kRpcProtocolError);
    return;
  }
}

std::uint16_t EnsureContext(Binding& b, const SyntaxId& syntax) {
  for (const auto& [known, id] : b.contexts) {
    if (SameSyntax(known, syntax)) return id;
  }
  BindBody body;
  body.assocGroupId = b.assocGroupId;
  ContextElement element;
  element.contextId = b.nextContextId;
  element.abstractSyntax = syntax;
  element.transferSyntaxes.push_back(Ndr20Syntax());
  body.elements.push_back(element);
  const bool first = !b.bound;
  const std::uint32_t callId = b.nextCallId++;
  const auto request = EncodeBind(first ? PduType::kBind : PduType::kAlterContext, callId, body);
  // Until bind_ack arrives the association does not exist: every loss reads as 1722.
  const std::uint32_t lost = first ? os::kRpcServerUnavailable : os::kRpcCallFailedDidNotExecute;
  if (b.stream->Send(request) != os::IoResult::kOk) Fail(b, lost);
  PduHeader header;
  std::span<const std::uint8_t> pdu;
  ReadAnswer(b, callId, lost, header, pdu);
  if (header.type == PduType::kBindNak) {
    std::uint16_t reason = 0;
    // A bind_nak too short to hold its reason reads as reason 0, not specified.
    static_cast<void>(DecodeBindNak(header, pdu, reason));
    Fail(b, StatusFromNak(reason));
  }
  if (header.type == PduType::kFault) {
    FaultBody fault;
    if (!DecodeFault(header, pdu, fault)) Fail(b, os::kRpcProtocolError);
    Fail(b, StatusFromFault(fault.status));
  }
  const PduType expected = first ? PduType::kBindAck : PduType::kAlterContextResp;
  BindAckBody ack;
  if (header.type != expected || !DecodeBindAck(header, pdu, ack) || ack.results.empty()) {
    Fail(b, os::kRpcProtocolError);
  }
  if (first) {
    b.bound = true;
    b.assocGroupId = ack.assocGroupId;
    // Never above what the server accepts, never below what every peer must accept.
    b.fragmentSize = std::max<std::uint16_t>(ack.maxRecvFrag, 1432);
  }
  ++b.nextContextId;
  const ContextResult& result = ack.results.front();
  if (result.result == kAcceptance) {
    b.contexts.emplace_back(syntax, element.contextId);
    return element.contextId;
  }
  // The connection stays bound: a later call for another interface may still succeed.
  Raise(result.reason == kAbstractSyntaxNotSupported ? os::kRpcUnknownInterface
                                                     : os::kRpcUnsupportedTransferSyntax);
}

// The response stub data of one call, assembled in the binding's reply buffer. The buffer
// keeps its size from call to call and `used` says how much of it is this answer, so warm
// bytes are neither zeroed nor copied again.
class ReplyAssembly {
 public:
  explicit ReplyAssembly(Binding& b) : b_(b), stub_(b.reply) {}

  // Sizes the buffer for an answer announced as `allocHint` bytes, when it is smaller.
  void Expect(std::uint32_t allocHint) {
    const std::size_t hint = std::min<std::size_t>(allocHint, kReserveCeiling);
    if (stub_.capacity() >= hint) return;
    std::vector<std::uint8_t>().swap(stub_);  // nothing in it is needed
    stub_.reserve(hint);
    os::AdviseLargePages(stub_.data(), stub_.capacity());
  }

  // Makes `more` bytes writable at End(); an answer past the ceiling is a protocol error.
  void MakeRoom(std::size_t more) {
    if (more > kMaxResponseStub - used_) Fail(b_, os::kRpcProtocolError);
    if (stub_.size() >= used_ + more) return;
    if (stub_.capacity() < used_ + more) {
      stub_.resize(used_);  // what lies beyond is stale: not worth copying
      stub_.reserve(std::max(used_ + more, 2 * stub_.capacity()));
    }
    stub_.resize(used_ + more);
  }

  void Append(std::span<const std::uint8_t> bytes) {
    MakeRoom(bytes.size());
    std::copy(bytes.begin(), bytes.end(), End());
    used_ += bytes.size();
  }

  std::uint8_t* End() { return stub_.data() + used_; }
  void Placed(std::size_t bytes) { used_ += bytes; }
  std::span<const std::uint8_t> View() const { return {stub_.data(), used_}; }

 private:
  Binding& b_;
  std::vector<std::uint8_t>& stub_;
  std::size_t used_ = 0;
};

// After a first fragment of a large answer, the rest most likely comes in fragments of its
// size: their stub data is read straight into place. Anything unexpected is left to the
// caller's fragment loop. Room is made a slice at a time: an alloc_hint is only a hint, and
// memory is not touched for bytes that may never come. Sets `last` when the answer ended.
void ReceiveRunInPlace(Binding& b, std::uint32_t callId, const PduHeader& first,
                       std::size_t firstStubBytes, std::size_t expected, ReplyAssembly& reply,
                       bool& last) {
  const std::size_t slice = std::max<std::size_t>(1, kRunSlice / firstStubBytes) * firstStubBytes;
  for (std::size_t left = expected - firstStubBytes; left > 0 && !last;) {
    FragmentRun run;
    run.callId = callId;
    run.bigEndian = first.BigEndian();
    run.fragLength = first.fragLength;
    run.endsCall = left <= slice;
    run.stubBytes = std::min(left, slice);
    reply.MakeRoom(run.stubBytes);
    std::size_t placed = 0;
    const auto r = b.stream->ReceiveRun(run, reply.End(), placed, last, -1);
    if (r != PduStream::Result::kPdu) Fail(b, os::kRpcCallFailed);
    reply.Placed(placed);
    if (placed < run.stubBytes) return;  // the rest goes the ordinary way
    left -= placed;
  }
}

// Reads the fragments answering call `callId` until the last one and returns the response
// stub data, viewed in the binding's reply buffer; `bigEndian` is the integer order the
// answer declared. Raises the status a fault stands for; fails on anything malformed.
std::span<const std::uint8_t> ReceiveResponse(Binding& b, std::uint32_t callId, bool& bigEndian) {
  ReplyAssembly reply(b);
  for (bool first = true;; first = false) {
    PduHeader header;
    std::span<const std::uint8_t> pdu;
    ReadAnswer(b, callId, os::kRpcCallFailed, header, pdu);
    if (first) {
      bigEndian = header.BigEndian();
    } else if (header.BigEndian() != bigEndian) {
      Fail(b, os::kRpcProtocolError);  // one call's fragments share one representation
    }
    if (header.type == PduType::kFault) {
      FaultBody fault;
      if (!DecodeFault(header, pdu, fault)) Fail(b, os::kRpcProtocolError);
      const std::uint32_t status = StatusFromFault(fault.status);
      if (fault.status == kNcaProtocolError) Fail(b, status);
      Raise(status);
    }
    CallBody body;
    if (header.type != PduType::kResponse || !DecodeCall(header, pdu, body) ||
        first != ((header.flags & kFirstFragment) != 0)) {
      Fail(b, os::kRpcProtocolError);
    }
    if (first) reply.Expect(body.allocHint);
    reply.Append(body.stub);
    bool last = (header.flags & kLastFragment) != 0;
    const std::size_t expected = std::min<std::size_t>(body.allocHint, kReserveCeiling);
    if (first && !last && header.authLength == 0 && !body.stub.empty() &&
        expected > body.stub.size() && header.fragLength == kCallHeaderSize + body.stub.size()) {
      ReceiveRunInPlace(b, callId, header, body.stub.size(), expected, reply, last);
    }
    if (last) return reply.View();
  }
}

void Call(Binding& b, const SyntaxId& syntax, std::uint16_t opnum,
          std::span<const std::uint8_t> request, const ResponseReader& read) {
  if (!b.stream) Connect(b);
  const std::uint16_t contextId = EnsureContext(b, syntax);
  const std::uint32_t callId = b.nextCallId++;
  if (b.stream->SendCall(PduType::kRequest, callId, contextId, opnum, request, b.fragmentSize) !=
      os::IoResult::kOk) {
    Fail(b, os::kRpcCallFailedDidNotExecute);
  }
  bool bigEndian = false;
  const std::span<const std::uint8_t> response = ReceiveResponse(b, callId, bigEndian);
  read(response, bigEndian);
}

}  // namespace

std::uint32_t StatusFromFault(std::uint32_t faultStatus) {
  // Fault statuses (nca_s_...) by their DCE numbers, each with the Win32 status it reads as.
  static constexpr std::pair<std::uint32_t, std::uint32_t> kMap[] = {
      {0x1c000001, os::kRpcIntegerDivisionByZero},
      {0x1c000002, os::kRpcAddressError},
      {0x1c000003, os::kRpcFloatDivisionByZero},
      {0x1c000004, os::kRpcFloatUnderflow},
      {0x1c000005, os::kRpcFloatOverflow},
      {0x1c000006, os::kRpcInvalidTag},
      {0x1c000007, os::kRpcInvalidBound},
      {0x1c000008, os::kRpcProtocolError},
      {0x1c000009, os::kRpcCallFailedDidNotExecute},
      {0x1c00000a, os::kRpcCallFailedDidNotExecute},
      {0x1c00000b, os::kRpcCallFailed},
      {0x1c00000c, os::kRpcCallFailedDidNotExecute},
      {0x1c00000d, os::kRpcCallCancelled},
      {0x1c00000e, os::kRpcAddressError},
      {0x1c00000f, os::kRpcFloatOverflow},
      {0x1c000010, os::kRpcAddressError},
      {kFaultUnspecified, os::kRpcCallFailed},
      {0x1c00001a, os::kErrorInvalidHandle},
      {kFaultRemoteNoMemory, os::kErrorNotEnoughServerMemory},
      {0x1c010001, os::kRpcCommunicationFailure},
      {kFaultOperationRange, os::kRpcProcedureOutOfRange},
      {kNcaUnknownInterface, os::kRpcUnknownInterface},
      {0x1c010009, os::kRpcCallFailed},
      {kNcaProtocolError, os::kRpcProtocolError},
      {0x1c010013, os::kErrorNotEnoughServerMemory},
      {0x1c010014, os::kRpcServerTooBusy},
      {0x1c010017, os::kRpcUnsupportedUuidType},
  };
  for (const auto& [fault, status] : kMap) {
    if (fault == faultStatus) return status;
  }
  return faultStatus;
}

std::uint32_t BindingFromStringBinding(const std::string& stringBinding, void*& handle) {
  handle = nullptr;
  StringBindingParts parts;
  if (const std::uint32_t status = ParseStringBinding(stringBinding, parts); status != 0) {
    return status;
  }
  if (const std::uint32_t status = CheckProtocolSequence(parts.protocolSequence); status != 0) {
    return status;
  }
  auto binding = std::make_unique<Binding>();
  binding->protocolSequence = parts.protocolSequence;
  binding->networkAddress = parts.networkAddress;
  binding->endpoint = parts.endpoint;
  std::lock_guard lock(gHandlesMutex);
  gHandles.insert(binding.get());
  handle = binding.release();
  return 0;
}

std::uint32_t FreeBinding(void*& handle) {
  auto* binding = static_cast<Binding*>(handle);
  {
    std::lock_guard lock(gHandlesMutex);
    if (binding == nullptr || gHandles.erase(binding) == 0) return os::kRpcInvalidBinding;
  }
  delete binding;
  handle = nullptr;
  return 0;
}

std::vector<std::uint8_t> CallRemote(void* bindingHandle, const SyntaxId& syntax,
                                     std::uint16_t opnum, std::span<const std::uint8_t> request) {
  std::vector<std::uint8_t> response;
  CallRemote(bindingHandle, syntax, opnum, request, [&](std::span<const std::uint8_t> stub, bool) {
    response.assign(stub.begin(), stub.end());
  });
  return response;
}

void CallRemote(void* bindingHandle, const SyntaxId& syntax, std::uint16_t opnum,
                std::span<const std::uint8_t> request, const ResponseReader& read) {
  auto* binding = static_cast<Binding*>(bindingHandle);
  {
    std::lock_guard lock(gHandlesMutex);
    if (binding == nullptr || gHandles.count(binding) == 0) Raise(os::kRpcInvalidBinding);
  }
  std::lock_guard call(binding->callMutex);
  try {
    Call(*binding, syntax, opnum, request, read);
    binding->replyAllowance.Settle(binding->reply);
  } catch (const std::bad_alloc&) {
    binding->Drop();
    Raise(os::kErrorOutOfMemory);
  } catch (...) {
    binding->replyAllowance.Settle(binding->reply);
    throw;
  }
}

RpcException::RpcException(std::uint32_t status) : status_(status) { os::SetLastError(status); }

const char* RpcException::what() const noexcept { return "RPC exception"; }

}  // namespace rdx::rpc
