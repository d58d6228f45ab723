#pragma once
// Decodes NDR 2.0 stub data received from a peer, in either integer order. Every read is
// checked against the bytes left before anything is taken, and every count against
// kMaxNdrCount before anyone allocates from it; a failed read leaves the reader where it was
// and the caller answers 1783 (bad stub data). Nothing is copied: strings and arrays come
// back as views into the received bytes, valid while those bytes live.

#include <cstddef>
#include <cstdint>
#include <span>

namespace rdx::rpc {

// The largest element count accepted from the wire for any string or array, and the largest
// out-buffer a server hands its manager (256 MiB).
inline constexpr std::uint32_t kMaxNdrCount = 256u * 1024u * 1024u;

class NdrReader {
 public:
  // `data` is the reassembled stub data; `bigEndian` comes from the PDU's data representation.
  NdrReader(std::span<const std::uint8_t> data, bool bigEndian) noexcept
      : data_(data), bigEndian_(bigEndian) {}

  [[nodiscard]] bool ReadU8(std::uint8_t& value) noexcept;
  [[nodiscard]] bool ReadI8(std::int8_t& value) noexcept;
  [[nodiscard]] bool ReadU32(std::uint32_t& value) noexcept;  // aligned to 4
  [[nodiscard]] bool ReadI32(std::int32_t& value) noexcept;   // aligned to 4
  [[nodiscard]] bool ReadDouble(double& value) noexcept;      // aligned to 8

  // A conformant varying string. Fails unless offset = 0, 1 <= actual_count <= max_count <=
  // kMaxNdrCount, the bytes are present and the last of them is NUL. `text` receives the
  // actual_count bytes, NUL included.
  [[nodiscard]] bool ReadString(std::span<const std::uint8_t>& text) noexcept;

  // A conformant array count (aligned to 4), at most kMaxNdrCount and at most the bytes left,
  // followed by that many bytes, returned in `bytes`.
  [[nodiscard]] bool ReadConformantBytes(std::span<const std::uint8_t>& bytes) noexcept;

  // `count` raw bytes.
  [[nodiscard]] bool ReadBytes(std::size_t count, std::span<const std::uint8_t>& bytes) noexcept;

  // A reader over the next `count` bytes that keeps counting alignment from the same first
  // stub byte; this reader moves past them.
  [[nodiscard]] bool Sub(std::size_t count, NdrReader& sub) noexcept;

  std::size_t Position() const noexcept { return base_ + position_; }
  std::size_t Remaining() const noexcept { return data_.size() - position_; }
  bool BigEndian() const noexcept { return bigEndian_; }

 private:
  NdrReader(std::span<const std::uint8_t> data, bool bigEndian, std::size_t base) noexcept
      : data_(data), bigEndian_(bigEndian), base_(base) {}

  // Moves to the next multiple of `alignment` counted from the first stub byte.
  [[nodiscard]] bool Align(std::size_t alignment) noexcept;
  std::uint64_t Load(std::size_t at, std::size_t width) const noexcept;

  std::span<const std::uint8_t> data_;
  bool bigEndian_ = false;
  std::size_t base_ = 0;      // offset of data_[0] from the first stub byte
  std::size_t position_ = 0;  // invariant: position_ <= data_.size()
};

}  // namespace rdx::rpc
