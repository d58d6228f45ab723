#pragma once
// Encodes NDR 2.0 stub data, always little-endian (we answer in our own representation
// whatever the peer used). Alignment counts from the first byte written, which is the first
// stub byte of the message.

#include <cstddef>
#include <cstdint>
#include <span>
#include <string_view>
#include <utility>
#include <vector>

namespace rdx::rpc {

class NdrWriter {
 public:
  NdrWriter() = default;
  // Goes on writing after the bytes of `start`, which begin the stub.
  explicit NdrWriter(std::vector<std::uint8_t>&& start) noexcept : data_(std::move(start)) {}

  // Pads with zeros up to the next multiple of `alignment` (1, 2, 4 or 8).
  void Align(std::size_t alignment);

  void WriteU8(std::uint8_t value) { data_.push_back(value); }
  void WriteI8(std::int8_t value) { data_.push_back(static_cast<std::uint8_t>(value)); }
  void WriteU32(std::uint32_t value);  // aligned to 4
  void WriteI32(std::int32_t value) { WriteU32(static_cast<std::uint32_t>(value)); }
  void WriteDouble(double value);  // IEEE 754 binary64, aligned to 8

  // A conformant varying string: max_count = actual_count = text.size() + 1, offset 0, the
  // bytes, then the terminating NUL. `text` must hold no NUL of its own.
  void WriteString(std::string_view text);

  // A conformant array of bytes: max_count (aligned to 4), then the bytes.
  void WriteConformantBytes(std::span<const std::uint8_t> bytes);

  void WriteRaw(std::span<const std::uint8_t> bytes);

  std::size_t Size() const noexcept { return data_.size(); }
  const std::vector<std::uint8_t>& Data() const noexcept { return data_; }
  std::vector<std::uint8_t> Take() noexcept { return std::move(data_); }

 private:
  std::vector<std::uint8_t> data_;
};

}  // namespace rdx::rpc
