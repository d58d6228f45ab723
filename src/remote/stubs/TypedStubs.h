#pragma once
// Compile-time glue between the typed stubs of both sides and the operation tables: a typed
// client function or a manager member whose parameters do not match its table row, in count,
// order or kind, or whose result does not, fails to compile. Arguments then always reach the
// wire, and the manager, in declaration order.

#include <array>
#include <cstddef>
#include <cstdint>
#include <string>
#include <type_traits>
#include <utility>

#include "remote/stubs/ClientCall.h"
#include "remote/stubs/ServerCall.h"

namespace rdx::rpc {

template <typename R>
constexpr bool ResultFits(ResultKind kind) {
  switch (kind) {
    case ResultKind::kSmall: return std::is_same_v<R, std::int8_t>;
    case ResultKind::kLong: return std::is_same_v<R, std::int32_t>;
    case ResultKind::kNone: return std::is_void_v<R>;
  }
  return false;
}

// The C++ type a parameter kind takes in a manager member.
template <typename P>
constexpr bool ManagerParamFits(ParamKind kind) {
  switch (kind) {
    case ParamKind::kInString:
    case ParamKind::kInData: return std::is_same_v<P, const char*>;
    case ParamKind::kInOutString: return std::is_same_v<P, std::string&>;
    case ParamKind::kInLong:
    case ParamKind::kInEnum: return std::is_same_v<P, std::int32_t>;
    case ParamKind::kInSmall: return std::is_same_v<P, std::int8_t>;
    case ParamKind::kInDouble: return std::is_same_v<P, double>;
    case ParamKind::kOutText: return std::is_same_v<P, char*>;
    case ParamKind::kOutSized: return std::is_same_v<P, char*> || std::is_same_v<P, std::uint8_t*>;
    case ParamKind::kInOutSize: return std::is_same_v<P, std::int32_t&>;
    case ParamKind::kInOutDouble: return std::is_same_v<P, double&>;
  }
  return false;
}

// The C++ type a parameter kind takes in a typed client stub (see ClientArg).
template <typename A>
constexpr bool ClientParamFits(ParamKind kind) {
  switch (kind) {
    case ParamKind::kInString:
    case ParamKind::kInData: return std::is_same_v<A, const char*>;
    case ParamKind::kInOutString:
    case ParamKind::kOutText: return std::is_same_v<A, char*>;
    case ParamKind::kOutSized: return std::is_same_v<A, char*> || std::is_same_v<A, std::uint8_t*>;
    case ParamKind::kInLong:
    case ParamKind::kInEnum: return std::is_same_v<A, std::int32_t>;
    case ParamKind::kInSmall: return std::is_same_v<A, std::int8_t>;
    case ParamKind::kInDouble: return std::is_same_v<A, double>;
    case ParamKind::kInOutSize: return std::is_same_v<A, std::int32_t*>;
    case ParamKind::kInOutDouble: return std::is_same_v<A, double*>;
  }
  return false;
}

template <typename R, typename... A>
constexpr bool ClientSignatureFits(const OperationShape& op) {
  std::size_t i = 0;
  return sizeof...(A) == op.paramCount && ResultFits<R>(op.result) &&
         (ClientParamFits<A>(op.params[i++].kind) && ...);
}

// Client side: calls operation `Op` of `Table` with the typed stub's arguments.
template <const auto& Table, std::size_t Op, typename R, typename... A>
R TypedCall(void* binding, const InterfaceShape& shape, A... args) {
  static_assert(ClientSignatureFits<R, A...>(Table[Op]), "stub does not match its table row");
  const std::int32_t result = CallWith(binding, shape, std::uint16_t(Op), args...);
  if constexpr (!std::is_void_v<R>) return static_cast<R>(result);
}

// Server side: the argument of index `I` of kind `K` as a manager member takes it.
template <typename P, ParamKind K>
P ManagerArgument(ServerCall& call, std::size_t i) {
  if constexpr (K == ParamKind::kInString)
    return call.In(i);
  else if constexpr (K == ParamKind::kInData)
    return call.Data(i);
  else if constexpr (K == ParamKind::kInOutString)
    return call.InOut(i);
  else if constexpr (K == ParamKind::kInLong)
    return call.Long(i);
  else if constexpr (K == ParamKind::kInEnum)
    return call.Enum(i);
  else if constexpr (K == ParamKind::kInSmall)
    return call.Small(i);
  else if constexpr (K == ParamKind::kInDouble)
    return call.Real(i);
  else if constexpr (K == ParamKind::kInOutSize)
    return call.Size(i);
  else if constexpr (K == ParamKind::kInOutDouble)
    return call.RealRef(i);
  else if constexpr (std::is_same_v<P, char*>)
    return call.Text(i);
  else
    return call.Bytes(i);
}

template <const auto& Table, std::size_t Op, auto Member>
struct MemberCall;

template <const auto& Table, std::size_t Op, typename M, typename R, typename... P,
          R (M::*Member)(P...)>
struct MemberCall<Table, Op, Member> {
  static constexpr const OperationShape& kOperation = Table[Op];

  static constexpr bool Fits() {
    std::size_t i = 0;
    return sizeof...(P) == kOperation.paramCount && ResultFits<R>(kOperation.result) &&
           (ManagerParamFits<P>(kOperation.params[i++].kind) && ...);
  }
  static_assert(Fits(), "manager member does not match its table row");

  template <std::size_t... I>
  static std::int32_t Call(M& manager, ServerCall& call, std::index_sequence<I...>) {
    if constexpr (std::is_void_v<R>) {
      (manager.*Member)(ManagerArgument<P, kOperation.params[I].kind>(call, I)...);
      return 0;
    } else {
      return (manager.*Member)(ManagerArgument<P, kOperation.params[I].kind>(call, I)...);
    }
  }
  static std::int32_t Invoke(void* manager, ServerCall& call) {
    return Call(*static_cast<M*>(manager), call, std::index_sequence_for<P...>{});
  }
};

// The invoker of an interface: operation n calls the n-th member of `Members`.
template <const auto& Table, auto... Members>
struct ManagerDispatch {
  static_assert(sizeof...(Members) == std::size(Table), "one member per operation");
  using Call = std::int32_t (*)(void*, ServerCall&);

  template <std::size_t... I>
  static constexpr std::array<Call, sizeof...(I)> Make(std::index_sequence<I...>) {
    return {&MemberCall<Table, I, Members>::Invoke...};
  }
  static constexpr std::array<Call, sizeof...(Members)> kCalls =
      Make(std::make_index_sequence<sizeof...(Members)>{});

  // The dispatcher checked `opnum` against the table, which has as many rows as kCalls.
  static std::int32_t Invoke(void* manager, std::uint16_t opnum, ServerCall& call) {
    return kCalls[opnum](manager, call);
  }
};

}  // namespace rdx::rpc
