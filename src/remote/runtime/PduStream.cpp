#include "remote/runtime/PduStream.h"

#include <algorithm>
#include <cstring>

namespace rdx::rpc {
namespace {

// Idle connections keep a small buffer; one that keeps filling it grows it up to room for
// the largest PDU several times over, so bulk transfers need few reads.
constexpr std::size_t kInitialBuffer = 16 * 1024;
constexpr std::size_t kMaxBuffer = 256 * 1024;

}  // namespace

PduStream::PduStream(os::StreamSocket& socket) : socket_(socket), buffer_(kInitialBuffer) {}

PduStream::Result PduStream::Fill(std::size_t needed, int idleTimeoutMs,
                                  std::chrono::steady_clock::time_point deadline,
                                  bool started) {
  if (buffer_.size() - begin_ < needed) {
    std::memmove(buffer_.data(), buffer_.data() + begin_, end_ - begin_);
    end_ -= begin_;
    begin_ = 0;
    if (buffer_.size() < needed) buffer_.resize(std::max(needed, 2 * buffer_.size()));
  }
  while (end_ - begin_ < needed) {
    int timeout = idleTimeoutMs;
    if (started || end_ > begin_) {
      const auto left = std::chrono::duration_cast<std::chrono::milliseconds>(
          deadline - std::chrono::steady_clock::now());
      timeout = static_cast<int>(std::max<std::int64_t>(0, left.count()));
    }
    std::size_t got = 0;
    switch (socket_.Receive(buffer_.data() + end_, buffer_.size() - end_, got, timeout)) {
      case os::IoResult::kOk:
        end_ += got;
        if (end_ == buffer_.size() && buffer_.size() < kMaxBuffer) {
          buffer_.resize(2 * buffer_.size());
        }
        break;
      case os::IoResult::kClosed:
        return Result::kClosed;
      case os::IoResult::kTimeout:
        return Result::kTimeout;
      case os::IoResult::kError:
        return Result::kError;
    }
  }
  return Result::kPdu;
}

PduStream::Result PduStream::Next(PduHeader& header, std::span<const std::uint8_t>& pdu,
                                  int idleTimeoutMs, int pduTimeoutMs) {
  // The deadline starts with the first byte of the PDU; until then the wait is idle.
  auto deadline = std::chrono::steady_clock::now() + std::chrono::milliseconds(pduTimeoutMs);
  const bool started = end_ > begin_;
  Result r = Fill(1, idleTimeoutMs, deadline, started);
  if (r != Result::kPdu) return r;
  if (!started) {
    deadline = std::chrono::steady_clock::now() + std::chrono::milliseconds(pduTimeoutMs);
  }
  r = Fill(kHeaderSize, idleTimeoutMs, deadline, true);
  if (r != Result::kPdu) return r;
  DecodeHeader(std::span<const std::uint8_t>(buffer_.data() + begin_, kHeaderSize), header);
  if (header.fragLength < kHeaderSize) return Result::kMalformed;
  r = Fill(header.fragLength, idleTimeoutMs, deadline, true);
  if (r != Result::kPdu) return r;
  pdu = std::span<const std::uint8_t>(buffer_.data() + begin_, header.fragLength);
  begin_ += header.fragLength;
  return Result::kPdu;
}

os::IoResult PduStream::Send(std::span<const std::uint8_t> pdu) {
  return socket_.SendAll(pdu.data(), pdu.size());
}

os::IoResult PduStream::SendCall(PduType type, std::uint32_t callId, std::uint16_t contextId,
                                 std::uint16_t opnum, std::span<const std::uint8_t> stub,
                                 std::uint16_t fragmentSize) {
  const FragmentPlan plan =
      PlanFragments(type, callId, contextId, opnum, stub.size(), fragmentSize);
  const std::size_t count = plan.offsets.size() - 1;
  // Gathered in batches so a 64 MiB answer costs a few hundred system calls, not thousands.
  constexpr std::size_t kBatch = 256;
  std::vector<os::ConstBuffer> buffers;
  buffers.reserve(2 * std::min(count, kBatch));
  for (std::size_t first = 0; first < count; first += kBatch) {
    buffers.clear();
    for (std::size_t i = first; i < std::min(count, first + kBatch); ++i) {
      buffers.push_back({plan.headers.data() + i * kCallHeaderSize, kCallHeaderSize});
      buffers.push_back({stub.data() + plan.offsets[i], plan.offsets[i + 1] - plan.offsets[i]});
    }
    const os::IoResult r = socket_.SendAll(buffers);
    if (r != os::IoResult::kOk) return r;
  }
  return os::IoResult::kOk;
}

}  // namespace rdx::rpc
