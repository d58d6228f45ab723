#pragma once
// Buffered PDU framing over a stream socket: reads whole PDUs with few system calls and
// sends a fragmented call with one gathered write per batch of fragments.

#include <chrono>
#include <cstdint>
#include <span>
#include <vector>

#include "platform/os/StreamSocket.h"
#include "remote/runtime/Pdu.h"

namespace rdx::rpc {

// Fragments a sender's plan makes of (part of) the rest of a call after its first fragment:
// each `fragLength` bytes long until `stubBytes` stub bytes have come. When `endsCall`, the
// last of them may be shorter and carries the last-fragment flag; otherwise `stubBytes` is a
// whole number of fragments and more follow.
struct FragmentRun {
  PduType type = PduType::kResponse;
  std::uint32_t callId = 0;
  bool bigEndian = false;        // the integer order of the call's first fragment
  std::uint16_t fragLength = 0;  // above kCallHeaderSize
  std::size_t stubBytes = 0;
  bool endsCall = true;
};

class PduStream {
 public:
  enum class Result { kPdu, kClosed, kTimeout, kMalformed, kError };

  // `socket` is borrowed and must outlive the stream.
  explicit PduStream(os::StreamSocket& socket);

  // Reads the next PDU into `pdu` (valid until the next call). Waits without limit for its
  // first byte when `idleTimeoutMs` < 0, then at most `pduTimeoutMs` for the whole PDU.
  // kMalformed when frag_length is below 16; `header` is filled for every result but
  // kClosed/kTimeout/kError.
  [[nodiscard]] Result Next(PduHeader& header, std::span<const std::uint8_t>& pdu,
                            int idleTimeoutMs, int pduTimeoutMs);

  // Sends `stub` as request or response fragments of at most `fragmentSize` bytes; kTimeout
  // when the socket's send time-out passes.
  [[nodiscard]] os::IoResult SendCall(PduType type, std::uint32_t callId, std::uint16_t contextId,
                                      std::uint16_t opnum, std::span<const std::uint8_t> stub,
                                      std::uint16_t fragmentSize);
  [[nodiscard]] os::IoResult Send(std::span<const std::uint8_t> pdu);

  // Bulk transfers: reads the fragments of `run` that come exactly as planned (well-formed,
  // ours, no auth trailer), their stub bytes straight into `stub` (room for run.stubBytes),
  // with gathered reads and no copy. Stops at the first fragment that differs in any way,
  // leaving it whole to Next. `placed` receives the stub bytes placed, `last` whether the
  // call's last fragment was among them. Waits at most `timeoutMs` (< 0: no limit) per read.
  [[nodiscard]] Result ReceiveRun(const FragmentRun& run, std::uint8_t* stub, std::size_t& placed,
                                  bool& last, int timeoutMs);

  // Whether bytes of a PDU not yet complete have arrived (a timeout then was not idleness).
  bool Started() const noexcept { return end_ > begin_; }

 private:
  Result Fill(std::size_t needed, int idleTimeoutMs, std::chrono::steady_clock::time_point deadline,
              bool started);
  bool Planned(const FragmentRun& run, const std::uint8_t* bytes, std::size_t stubSize,
               bool last) const;
  // Puts `bytes` back in front of what is buffered, to be read again.
  void Unread(std::span<const std::uint8_t> bytes);

  os::StreamSocket& socket_;
  std::vector<std::uint8_t> buffer_;
  std::size_t begin_ = 0;  // first byte not yet handed out
  std::size_t end_ = 0;    // one past the last byte received
};

}  // namespace rdx::rpc
