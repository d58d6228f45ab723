#include "remote/stubs/ServerCall.h"

#include <algorithm>
#include <cstring>
#include <new>
#include <stdexcept>

#include "remote/ndr/NdrReader.h"

namespace rdx::rpc {
namespace {

const char* AsChars(std::span<const std::uint8_t> bytes) {
  return reinterpret_cast<const char*>(bytes.data());
}

}  // namespace

std::uint32_t ServerCall::Decode(std::span<const std::uint8_t> request, bool bigEndian) {
  NdrReader reader(request, bigEndian);
  for (std::size_t i = 0; i < operation_->paramCount; ++i) {
    if (const std::uint32_t status = DecodeOne(i, reader); status != 0) return status;
  }
  // Bytes left after the last parameter (a verification trailer, say) are no error. Sizes
  // are checked against their arrays only now: a size may follow its array.
  return CheckCorrelations();
}

std::uint32_t ServerCall::DecodeOne(std::size_t index, NdrReader& reader) {
  Arg& arg = args_[index];
  std::span<const std::uint8_t> bytes;
  switch (operation_->params[index].kind) {
    case ParamKind::kInString:
      if (!reader.ReadString(bytes)) return kFaultBadStubData;
      arg.view = AsChars(bytes);
      return 0;
    case ParamKind::kInOutString:
      if (!reader.ReadString(bytes)) return kFaultBadStubData;
      // The text ends at its first NUL; the room is everything that came in.
      arg.text.assign(AsChars(bytes));
      arg.capacity = bytes.size();
      return 0;
    case ParamKind::kInLong:
    case ParamKind::kInEnum:
      return reader.ReadI32(arg.value) ? 0 : kFaultBadStubData;
    case ParamKind::kInSmall: {
      std::int8_t small = 0;
      if (!reader.ReadI8(small)) return kFaultBadStubData;
      arg.value = small;
      return 0;
    }
    case ParamKind::kInDouble:
    case ParamKind::kInOutDouble:
      return reader.ReadDouble(arg.real) ? 0 : kFaultBadStubData;
    case ParamKind::kInData:
      if (!reader.ReadConformantBytes(bytes)) return kFaultBadStubData;
      arg.view = AsChars(bytes);
      arg.value = static_cast<std::int32_t>(bytes.size());
      return 0;
    case ParamKind::kInOutSize:
      if (!reader.ReadI32(arg.value)) return kFaultBadStubData;
      arg.received = arg.value;
      return 0;
    case ParamKind::kOutText:
    case ParamKind::kOutSized:
      return 0;  // nothing travels in
  }
  return kFaultBadStubData;
}

std::uint32_t ServerCall::CheckCorrelations() {
  const auto params = operation_->Params();
  for (std::size_t i = 0; i < params.size(); ++i) {
    const ParamKind kind = params[i].kind;
    if (kind != ParamKind::kInData && kind != ParamKind::kOutText &&
        kind != ParamKind::kOutSized) {
      continue;
    }
    const std::int32_t size = args_[static_cast<std::size_t>(params[i].sizeFrom)].value;
    if (kind == ParamKind::kInData) {
      if (size != args_[i].value) return kFaultBadStubData;  // max_count must equal n
      continue;
    }
    if (size < 0 || static_cast<std::uint32_t>(size) > kMaxNdrCount) return kFaultBadStubData;
    try {
      args_[i].buffer.assign(static_cast<std::size_t>(size), 0);
    } catch (const std::bad_alloc&) {
      return kFaultRemoteNoMemory;
    }
  }
  return 0;
}

void ServerCall::Encode(std::int32_t result, NdrWriter& response) const {
  const auto params = operation_->Params();
  // Sizes as they will go out: never more than came in, never negative.
  std::array<std::int32_t, kMaxParams> sizes{};
  std::size_t estimate = 16;
  for (std::size_t i = 0; i < params.size(); ++i) {
    if (params[i].kind == ParamKind::kInOutSize) {
      sizes[i] = std::clamp(args_[i].value, 0, std::max(args_[i].received, 0));
    }
    estimate += 24 + args_[i].text.size() + args_[i].buffer.size();
  }
  response.Reserve(estimate);

  for (std::size_t i = 0; i < params.size(); ++i) {
    const Arg& arg = args_[i];
    switch (params[i].kind) {
      case ParamKind::kInOutString: {
        // Only the room that came in exists in the caller's memory: cut a longer answer.
        std::size_t length = std::strlen(arg.text.c_str());
        length = std::min(length, arg.capacity - 1);
        response.WriteString(std::string_view(arg.text.data(), length));
        break;
      }
      case ParamKind::kOutText:
        response.WriteConformantBytes(arg.buffer);
        break;
      case ParamKind::kInOutSize:
        response.WriteI32(sizes[i]);
        break;
      case ParamKind::kOutSized: {
        const auto from = static_cast<std::size_t>(params[i].sizeFrom);
        const auto count = static_cast<std::size_t>(sizes[from]);
        response.WriteConformantBytes(std::span(arg.buffer).first(count));
        break;
      }
      case ParamKind::kInOutDouble:
        response.WriteDouble(arg.real);
        break;
      default:
        break;  // in-only parameters do not travel back
    }
  }
  switch (operation_->result) {
    case ResultKind::kSmall:
      response.WriteI8(static_cast<std::int8_t>(result));
      break;
    case ResultKind::kLong:
      response.WriteI32(result);
      break;
    case ResultKind::kNone:
      break;
  }
}

ServerCall::Arg& ServerCall::Checked(std::size_t index, ParamKind kind) {
  if (index >= operation_->paramCount || operation_->params[index].kind != kind) {
    throw std::logic_error("stub argument does not match the operation's shape");
  }
  return args_[index];
}

const ServerCall::Arg& ServerCall::Checked(std::size_t index, ParamKind kind) const {
  return const_cast<ServerCall*>(this)->Checked(index, kind);
}

const char* ServerCall::In(std::size_t index) const {
  return Checked(index, ParamKind::kInString).view;
}
std::string& ServerCall::InOut(std::size_t index) {
  return Checked(index, ParamKind::kInOutString).text;
}
std::int32_t ServerCall::Long(std::size_t index) const {
  return Checked(index, ParamKind::kInLong).value;
}
std::int8_t ServerCall::Small(std::size_t index) const {
  return static_cast<std::int8_t>(Checked(index, ParamKind::kInSmall).value);
}
double ServerCall::Real(std::size_t index) const {
  return Checked(index, ParamKind::kInDouble).real;
}
std::int32_t ServerCall::Enum(std::size_t index) const {
  return Checked(index, ParamKind::kInEnum).value;
}
const char* ServerCall::Data(std::size_t index) const {
  return Checked(index, ParamKind::kInData).view;
}
char* ServerCall::Text(std::size_t index) {
  const bool sized = index < operation_->paramCount &&
                     operation_->params[index].kind == ParamKind::kOutSized;
  Arg& arg = Checked(index, sized ? ParamKind::kOutSized : ParamKind::kOutText);
  return reinterpret_cast<char*>(arg.buffer.data());
}
std::uint8_t* ServerCall::Bytes(std::size_t index) {
  return Checked(index, ParamKind::kOutSized).buffer.data();
}
std::int32_t& ServerCall::Size(std::size_t index) {
  return Checked(index, ParamKind::kInOutSize).value;
}
double& ServerCall::RealRef(std::size_t index) {
  return Checked(index, ParamKind::kInOutDouble).real;
}

}  // namespace rdx::rpc
