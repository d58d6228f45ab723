#include "remote/runtime/PduStream.h"

#include <algorithm>
#include <cstring>

namespace rdx::rpc {
namespace {

// Idle connections keep a small buffer; one that keeps filling it grows it up to room for
// the largest PDU several times over, so bulk transfers need few reads.
constexpr std::size_t kInitialBuffer = 16 * 1024;
constexpr std::size_t kMaxBuffer = 256 * 1024;
// One gathered read of a fragment run covers at most this many fragments or bytes.
constexpr std::size_t kRunFragments = 256;
constexpr std::size_t kRunBytes = 2 * 1024 * 1024;

}  // namespace

PduStream::PduStream(os::StreamSocket& socket) : socket_(socket), buffer_(kInitialBuffer) {}

PduStream::Result PduStream::Fill(std::size_t needed, int idleTimeoutMs,
                                  std::chrono::steady_clock::time_point deadline, bool started) {
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
      case os::IoResult::kClosed: return Result::kClosed;
      case os::IoResult::kTimeout: return Result::kTimeout;
      case os::IoResult::kError: return Result::kError;
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
  if (!DecodeHeader(std::span<const std::uint8_t>(buffer_.data() + begin_, kHeaderSize), header)) {
    return Result::kMalformed;
  }
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

bool PduStream::Planned(const FragmentRun& run, const std::uint8_t* bytes, std::size_t stubSize,
                        bool last) const {
  PduHeader header;
  if (!DecodeHeader(std::span(bytes, kHeaderSize), header)) return false;
  // Exactly what Next and the caller's checks would take as the next fragment of the call.
  const std::uint8_t flags = last ? kLastFragment : 0;
  return header.versionMajor == 5 && header.SupportedRepresentation() &&
         header.BigEndian() == run.bigEndian && header.type == run.type &&
         (header.flags & (kFirstFragment | kLastFragment)) == flags &&
         (header.flags & kObjectUuid) == 0 && header.fragLength == kCallHeaderSize + stubSize &&
         header.authLength == 0 && header.callId == run.callId;
}

void PduStream::Unread(std::span<const std::uint8_t> bytes) {
  std::vector<std::uint8_t> joined(bytes.begin(), bytes.end());
  joined.insert(joined.end(), buffer_.begin() + std::ptrdiff_t(begin_),
                buffer_.begin() + std::ptrdiff_t(end_));
  if (buffer_.size() < joined.size()) buffer_.resize(joined.size());
  std::memcpy(buffer_.data(), joined.data(), joined.size());
  begin_ = 0;
  end_ = joined.size();
}

PduStream::Result PduStream::ReceiveRun(const FragmentRun& run, std::uint8_t* stub,
                                        std::size_t& placed, bool& last, int timeoutMs) {
  placed = 0;
  last = false;
  if (run.fragLength <= kCallHeaderSize) return Result::kPdu;
  const std::size_t capacity = run.fragLength - kCallHeaderSize;
  std::uint8_t headers[kRunFragments][kCallHeaderSize];
  std::vector<os::MutableBuffer> pieces;  // header 0, stub 0, header 1, stub 1, ...
  pieces.reserve(2 * kRunFragments);
  while (placed < run.stubBytes) {
    pieces.clear();
    std::size_t planned = placed;
    for (std::size_t i = 0;
         i < kRunFragments && planned < run.stubBytes && planned - placed < kRunBytes; ++i) {
      const std::size_t size = std::min(capacity, run.stubBytes - planned);
      pieces.push_back({headers[i], kCallHeaderSize});
      pieces.push_back({stub + planned, size});
      planned += size;
    }
    std::size_t piece = 0;    // the piece being filled
    std::size_t offset = 0;   // bytes of it filled
    std::size_t checked = 0;  // headers found as planned
    std::size_t batchPlaced = placed;
    while (piece < pieces.size()) {
      std::size_t got = 0;
      if (begin_ < end_) {  // what the last read brought beyond the previous PDU comes first
        got = std::min(end_ - begin_, pieces[piece].size - offset);
        std::memcpy(static_cast<std::uint8_t*>(pieces[piece].data) + offset,
                    buffer_.data() + begin_, got);
        begin_ += got;
      } else {
        os::MutableBuffer gather[os::StreamSocket::kMaxReceiveBuffers];
        std::size_t count = 0;
        for (std::size_t i = piece; i < pieces.size() && count < std::size(gather); ++i) {
          const std::size_t skip = i == piece ? offset : 0;
          gather[count++] = {static_cast<std::uint8_t*>(pieces[i].data) + skip,
                             pieces[i].size - skip};
        }
        switch (socket_.Receive(std::span(gather, count), got, timeoutMs)) {
          case os::IoResult::kOk: break;
          case os::IoResult::kClosed: return Result::kClosed;
          case os::IoResult::kTimeout: return Result::kTimeout;
          case os::IoResult::kError: return Result::kError;
        }
      }
      for (std::size_t left = got; left > 0;) {
        const std::size_t step = std::min(left, pieces[piece].size - offset);
        offset += step;
        left -= step;
        if (offset == pieces[piece].size) {
          ++piece;
          offset = 0;
        }
      }
      // A header is judged once it is whole, before anything it announces is waited for.
      while (2 * checked < piece) {
        const std::size_t stubSize = pieces[2 * checked + 1].size;
        const bool final = run.endsCall && batchPlaced + stubSize == run.stubBytes;
        if (!Planned(run, headers[checked], stubSize, final)) {
          // Hand this header and whatever came after it back to Next, in stream order.
          std::vector<std::uint8_t> back;
          for (std::size_t i = 2 * checked; i <= piece && i < pieces.size(); ++i) {
            const auto* data = static_cast<const std::uint8_t*>(pieces[i].data);
            const std::size_t size = i == piece ? offset : pieces[i].size;
            back.insert(back.end(), data, data + size);
          }
          Unread(back);
          placed = batchPlaced;
          return Result::kPdu;
        }
        batchPlaced += stubSize;
        ++checked;
      }
    }
    placed = batchPlaced;
    last = run.endsCall && placed == run.stubBytes;
  }
  return Result::kPdu;
}

}  // namespace rdx::rpc
