#include "remote/ndr/NdrReader.h"

#include <bit>

namespace rdx::rpc {

bool NdrReader::Align(std::size_t alignment) noexcept {
  const std::size_t misalignment = Position() % alignment;
  if (misalignment == 0) return true;
  const std::size_t padding = alignment - misalignment;
  if (padding > Remaining()) return false;
  position_ += padding;
  return true;
}

std::uint64_t NdrReader::Load(std::size_t at, std::size_t width) const noexcept {
  std::uint64_t value = 0;
  for (std::size_t i = 0; i < width; ++i) {
    const std::size_t index = bigEndian_ ? i : width - 1 - i;
    value = (value << 8) | data_[at + index];
  }
  return value;
}

bool NdrReader::ReadU8(std::uint8_t& value) noexcept {
  if (Remaining() < 1) return false;
  value = data_[position_++];
  return true;
}

bool NdrReader::ReadI8(std::int8_t& value) noexcept {
  std::uint8_t raw = 0;
  if (!ReadU8(raw)) return false;
  value = static_cast<std::int8_t>(raw);
  return true;
}

bool NdrReader::ReadU32(std::uint32_t& value) noexcept {
  const std::size_t saved = position_;
  if (!Align(4) || Remaining() < 4) {
    position_ = saved;
    return false;
  }
  value = static_cast<std::uint32_t>(Load(position_, 4));
  position_ += 4;
  return true;
}

bool NdrReader::ReadI32(std::int32_t& value) noexcept {
  std::uint32_t raw = 0;
  if (!ReadU32(raw)) return false;
  value = static_cast<std::int32_t>(raw);
  return true;
}

bool NdrReader::ReadDouble(double& value) noexcept {
  const std::size_t saved = position_;
  if (!Align(8) || Remaining() < 8) {
    position_ = saved;
    return false;
  }
  value = std::bit_cast<double>(Load(position_, 8));
  position_ += 8;
  return true;
}

bool NdrReader::ReadBytes(std::size_t count, std::span<const std::uint8_t>& bytes) noexcept {
  if (count > Remaining()) return false;
  bytes = data_.subspan(position_, count);
  position_ += count;
  return true;
}

bool NdrReader::ReadString(std::span<const std::uint8_t>& text) noexcept {
  const std::size_t saved = position_;
  std::uint32_t maxCount = 0, offset = 0, actualCount = 0;
  // Counts above 2^31 - 1 are covered by the ceiling, which is far below it.
  const bool ok = ReadU32(maxCount) && ReadU32(offset) && ReadU32(actualCount) &&
                  maxCount <= kMaxNdrCount && offset == 0 && actualCount >= 1 &&
                  actualCount <= maxCount && ReadBytes(actualCount, text) &&
                  text[actualCount - 1] == 0;
  if (!ok) position_ = saved;
  return ok;
}

bool NdrReader::ReadConformantBytes(std::span<const std::uint8_t>& bytes) noexcept {
  const std::size_t saved = position_;
  std::uint32_t count = 0;
  const bool ok = ReadU32(count) && count <= kMaxNdrCount && ReadBytes(count, bytes);
  if (!ok) position_ = saved;
  return ok;
}

bool NdrReader::Sub(std::size_t count, NdrReader& sub) noexcept {
  if (count > Remaining()) return false;
  sub = NdrReader(data_.subspan(position_, count), bigEndian_, Position());
  position_ += count;
  return true;
}

}  // namespace rdx::rpc
