#pragma once
// The parameter shapes of a remote operation, described as data: one table per interface,
// indexed by operation number, that one engine marshals on both sides (ClientCall.h for
// proxies, ServerCall.h for servers).
// The binding handle is never listed; it does not travel.

#include <array>
#include <cstdint>
#include <span>
#include <string_view>

#include "remote/runtime/RpcRuntime.h"

namespace rdx::rpc {

enum class ParamKind : std::uint8_t {
  kInString,     // [in, string] char*
  kInOutString,  // [in, out, string] char*
  kInLong,       // [in] long (also the size of a size_is(n) array)
  kInSmall,      // [in] small
  kInDouble,     // [in] double
  kInEnum,       // [in] v1_enum: 4 bytes on the wire, any value
  kInData,       // [in, size_is(n)] char*: n from the kInLong named by sizeFrom
  kOutText,      // [out, size_is(n)] char*: n from the kInLong named by sizeFrom
  kInOutSize,    // [in, out] long*
  kOutSized,     // [out, size_is(*size)] byte* or char*: from the kInOutSize named by sizeFrom
  kInOutDouble,  // [in, out] double*
};

enum class ResultKind : std::uint8_t { kNone, kSmall, kLong };

struct ParamShape {
  ParamKind kind = ParamKind::kInString;
  std::int8_t sizeFrom = -1;  // index of the correlated size parameter, or -1
};

inline constexpr std::size_t kMaxParams = 10;

struct OperationShape {
  std::string_view name;
  ResultKind result = ResultKind::kSmall;
  std::uint8_t paramCount = 0;
  std::array<ParamShape, kMaxParams> params{};

  std::span<const ParamShape> Params() const noexcept { return {params.data(), paramCount}; }
};

struct InterfaceShape {
  std::string_view name;
  SyntaxId syntax;
  std::span<const OperationShape> operations;
};

// The three interfaces of the product.
const InterfaceShape& ServerCoreShape() noexcept;
const InterfaceShape& ServiceProviderShape() noexcept;
const InterfaceShape& ServerAutoBindShape() noexcept;

// Table-building helpers, so that each row reads like the interface definition.
namespace shape {

constexpr ParamShape S{ParamKind::kInString};      // in string
constexpr ParamShape IO{ParamKind::kInOutString};  // in/out string (error, session, ...)
constexpr ParamShape N{ParamKind::kInLong};        // in long
constexpr ParamShape Small{ParamKind::kInSmall};
constexpr ParamShape D{ParamKind::kInDouble};
constexpr ParamShape Enum{ParamKind::kInEnum};
constexpr ParamShape SizePtr{ParamKind::kInOutSize};
constexpr ParamShape DoublePtr{ParamKind::kInOutDouble};
constexpr ParamShape Data(int sizeFrom) { return {ParamKind::kInData, std::int8_t(sizeFrom)}; }
constexpr ParamShape Text(int sizeFrom) { return {ParamKind::kOutText, std::int8_t(sizeFrom)}; }
constexpr ParamShape Sized(int sizeFrom) { return {ParamKind::kOutSized, std::int8_t(sizeFrom)}; }

template <typename... P>
constexpr OperationShape Op(std::string_view name, ResultKind result, P... params) {
  static_assert(sizeof...(P) <= kMaxParams);
  return OperationShape{name, result, std::uint8_t(sizeof...(P)), {params...}};
}

// A UUID in its textual form turned into the NDR wire order of a syntax identifier (first
// three fields little-endian, the last eight bytes as written).
constexpr SyntaxId MakeSyntax(std::string_view uuid, std::uint16_t major, std::uint16_t minor) {
  auto nibble = [](char c) -> std::uint8_t {
    return static_cast<std::uint8_t>(c <= '9' ? c - '0' : (c | 0x20) - 'a' + 10);
  };
  std::array<std::uint8_t, 16> text{};  // the 16 bytes in textual order
  std::size_t out = 0;
  for (std::size_t i = 0; i + 1 < uuid.size() && out < 16; ++i) {
    if (uuid[i] == '-') continue;
    text[out++] = static_cast<std::uint8_t>(nibble(uuid[i]) << 4 | nibble(uuid[i + 1]));
    ++i;
  }
  SyntaxId id;
  constexpr std::array<std::uint8_t, 16> order{3, 2, 1,  0,  5,  4,  7,  6,
                                               8, 9, 10, 11, 12, 13, 14, 15};
  for (std::size_t i = 0; i < 16; ++i) id.uuid[i] = text[order[i]];
  id.versionMajor = major;
  id.versionMinor = minor;
  return id;
}

}  // namespace shape
}  // namespace rdx::rpc
