#include "remote/ndr/NdrWriter.h"

#include <bit>
#include <cstring>

namespace rdx::rpc {

void NdrWriter::Align(std::size_t alignment) {
  const std::size_t misalignment = data_.size() % alignment;
  if (misalignment != 0) data_.resize(data_.size() + alignment - misalignment, 0);
}

void NdrWriter::WriteU32(std::uint32_t value) {
  Align(4);
  const std::uint8_t bytes[4] = {
      static_cast<std::uint8_t>(value), static_cast<std::uint8_t>(value >> 8),
      static_cast<std::uint8_t>(value >> 16), static_cast<std::uint8_t>(value >> 24)};
  data_.insert(data_.end(), bytes, bytes + 4);
}

void NdrWriter::WriteDouble(double value) {
  Align(8);
  auto bits = std::bit_cast<std::uint64_t>(value);
  for (int i = 0; i < 8; ++i) {
    data_.push_back(static_cast<std::uint8_t>(bits));
    bits >>= 8;
  }
}

void NdrWriter::WriteString(std::string_view text) {
  const auto count = static_cast<std::uint32_t>(text.size() + 1);
  WriteU32(count);
  WriteU32(0);
  WriteU32(count);
  data_.insert(data_.end(), text.begin(), text.end());
  data_.push_back(0);
}

void NdrWriter::WriteConformantBytes(std::span<const std::uint8_t> bytes) {
  WriteU32(static_cast<std::uint32_t>(bytes.size()));
  WriteRaw(bytes);
}

void NdrWriter::WriteRaw(std::span<const std::uint8_t> bytes) {
  if (bytes.empty()) return;
  const std::size_t at = data_.size();
  data_.resize(at + bytes.size());
  std::memcpy(data_.data() + at, bytes.data(), bytes.size());
}

}  // namespace rdx::rpc
