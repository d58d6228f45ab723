#include "remote/stubs/ClientCall.h"

#include <cstring>

#include "remote/ndr/NdrReader.h"
#include "remote/runtime/RpcRuntime.h"

namespace rdx::rpc {
namespace {

template <typename T>
bool Holds(const ClientArg& arg) {
  return std::holds_alternative<T>(arg);
}

bool Fits(ParamKind kind, const ClientArg& arg) {
  switch (kind) {
    case ParamKind::kInString:
    case ParamKind::kInData: return Holds<const char*>(arg);
    case ParamKind::kInOutString:
    case ParamKind::kOutText: return Holds<char*>(arg);
    case ParamKind::kOutSized: return Holds<char*>(arg) || Holds<std::uint8_t*>(arg);
    case ParamKind::kInLong:
    case ParamKind::kInEnum: return Holds<std::int32_t>(arg);
    case ParamKind::kInSmall: return Holds<std::int8_t>(arg);
    case ParamKind::kInDouble: return Holds<double>(arg);
    case ParamKind::kInOutSize: return Holds<std::int32_t*>(arg);
    case ParamKind::kInOutDouble: return Holds<double*>(arg);
  }
  return false;
}

void* OutPointer(const ClientArg& arg) {
  if (const auto* chars = std::get_if<char*>(&arg)) return *chars;
  return std::get<std::uint8_t*>(arg);
}

std::span<const std::uint8_t> AsBytes(const char* text, std::size_t size) {
  return {reinterpret_cast<const std::uint8_t*>(text), size};
}

}  // namespace

std::uint32_t ClientCall::EncodeRequest(NdrWriter& request) {
  const auto params = operation_.Params();
  if (args_.size() != params.size()) return os::kRpcInternalError;
  for (std::size_t i = 0; i < params.size(); ++i) {
    if (!Fits(params[i].kind, args_[i])) return os::kRpcInternalError;
  }
  // The size an array is correlated with, as the caller passed it.
  auto sizeOf = [&](const ParamShape& param) -> std::int32_t {
    const ClientArg& size = args_[static_cast<std::size_t>(param.sizeFrom)];
    if (const auto* value = std::get_if<std::int32_t>(&size)) return *value;
    const auto* pointer = std::get<std::int32_t*>(size);
    return pointer != nullptr ? *pointer : 0;
  };
  for (std::size_t i = 0; i < params.size(); ++i) {
    const ClientArg& arg = args_[i];
    switch (params[i].kind) {
      case ParamKind::kInString:
      case ParamKind::kInOutString: {
        const char* text = params[i].kind == ParamKind::kInString ? std::get<const char*>(arg)
                                                                  : std::get<char*>(arg);
        if (text == nullptr) return os::kRpcNullRefPointer;
        const std::size_t length = std::strlen(text);
        if (length >= kMaxNdrCount) return os::kRpcInvalidBound;
        sent_[i] = static_cast<std::uint32_t>(length + 1);
        request.WriteString(std::string_view(text, length));
        break;
      }
      case ParamKind::kInLong:
      case ParamKind::kInEnum: request.WriteI32(std::get<std::int32_t>(arg)); break;
      case ParamKind::kInSmall: request.WriteI8(std::get<std::int8_t>(arg)); break;
      case ParamKind::kInDouble: request.WriteDouble(std::get<double>(arg)); break;
      case ParamKind::kInData: {
        const std::int32_t size = sizeOf(params[i]);
        const char* data = std::get<const char*>(arg);
        if (size < 0) return os::kRpcInvalidBound;
        if (data == nullptr && size > 0) return os::kRpcNullRefPointer;
        request.WriteConformantBytes(AsBytes(data, static_cast<std::size_t>(size)));
        break;
      }
      case ParamKind::kOutText:
      case ParamKind::kOutSized: {
        const std::int32_t size = sizeOf(params[i]);
        if (size < 0) return os::kRpcInvalidBound;
        if (OutPointer(arg) == nullptr && size > 0) return os::kRpcNullRefPointer;
        break;  // nothing travels out
      }
      case ParamKind::kInOutSize: {
        const std::int32_t* size = std::get<std::int32_t*>(arg);
        if (size == nullptr) return os::kRpcNullRefPointer;
        if (*size < 0) return os::kRpcInvalidBound;
        sent_[i] = static_cast<std::uint32_t>(*size);
        request.WriteI32(*size);
        break;
      }
      case ParamKind::kInOutDouble: {
        const double* value = std::get<double*>(arg);
        if (value == nullptr) return os::kRpcNullRefPointer;
        request.WriteDouble(*value);
        break;
      }
    }
  }
  return 0;
}

std::uint32_t ClientCall::DecodeResponse(std::span<const std::uint8_t> response, bool bigEndian,
                                         std::int32_t& result) {
  const auto params = operation_.Params();
  NdrReader reader(response, bigEndian);
  // Decoded values wait here until every check has passed.
  std::array<std::span<const std::uint8_t>, kMaxParams> bytes{};
  std::array<std::int32_t, kMaxParams> sizes{};
  std::array<double, kMaxParams> reals{};
  for (std::size_t i = 0; i < params.size(); ++i) {
    switch (params[i].kind) {
      case ParamKind::kInOutString:
        // The answer goes back into the caller's buffer, whose room is what we sent.
        if (!reader.ReadString(bytes[i]) || bytes[i].size() > sent_[i]) {
          return os::kRpcBadStubData;
        }
        break;
      case ParamKind::kOutText:
      case ParamKind::kOutSized:
        if (!reader.ReadConformantBytes(bytes[i])) return os::kRpcBadStubData;
        break;
      case ParamKind::kInOutSize:
        if (!reader.ReadI32(sizes[i]) || sizes[i] < 0 ||
            static_cast<std::uint32_t>(sizes[i]) > sent_[i]) {
          return os::kRpcBadStubData;
        }
        break;
      case ParamKind::kInOutDouble:
        if (!reader.ReadDouble(reals[i])) return os::kRpcBadStubData;
        break;
      default: break;  // in-only parameters do not come back
    }
  }
  std::int32_t value = 0;
  if (operation_.result == ResultKind::kSmall) {
    std::int8_t small = 0;
    if (!reader.ReadI8(small)) return os::kRpcBadStubData;
    value = small;
  } else if (operation_.result == ResultKind::kLong) {
    if (!reader.ReadI32(value)) return os::kRpcBadStubData;
  }
  // Arrays must have exactly the count they are correlated with: n for out-texts, the
  // returned *size for out-sized buffers.
  for (std::size_t i = 0; i < params.size(); ++i) {
    const auto from = static_cast<std::size_t>(params[i].sizeFrom);
    if (params[i].kind == ParamKind::kOutText &&
        bytes[i].size() != static_cast<std::size_t>(std::get<std::int32_t>(args_[from]))) {
      return os::kRpcBadStubData;
    }
    if (params[i].kind == ParamKind::kOutSized &&
        bytes[i].size() != static_cast<std::size_t>(sizes[from])) {
      return os::kRpcBadStubData;
    }
  }
  for (std::size_t i = 0; i < params.size(); ++i) {
    const ClientArg& arg = args_[i];
    switch (params[i].kind) {
      case ParamKind::kInOutString:
      case ParamKind::kOutText:
      case ParamKind::kOutSized:
        if (!bytes[i].empty()) std::memcpy(OutPointer(arg), bytes[i].data(), bytes[i].size());
        break;
      case ParamKind::kInOutSize: *std::get<std::int32_t*>(arg) = sizes[i]; break;
      case ParamKind::kInOutDouble: *std::get<double*>(arg) = reals[i]; break;
      default: break;
    }
  }
  result = value;
  return 0;
}

std::int32_t CallOperation(void* binding, const InterfaceShape& shape, std::uint16_t opnum,
                           std::span<const ClientArg> args) {
  if (opnum >= shape.operations.size()) throw RpcException(os::kRpcInternalError);
  ClientCall call(shape.operations[opnum], args);
  NdrWriter request;
  if (const std::uint32_t status = call.EncodeRequest(request); status != 0) {
    throw RpcException(status);
  }
  // Decoded where the run time received it: the copy into the caller's memory is the only one.
  std::int32_t result = 0;
  std::uint32_t status = 0;
  CallRemote(binding, shape.syntax, opnum, request.Data(),
             [&](std::span<const std::uint8_t> response, bool bigEndian) {
               status = call.DecodeResponse(response, bigEndian, result);
             });
  if (status != 0) throw RpcException(status);
  return result;
}

}  // namespace rdx::rpc
