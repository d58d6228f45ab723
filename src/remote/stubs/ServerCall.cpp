#include "remote/stubs/ServerCall.h"

#include <algorithm>
#include <cstring>
#include <new>
#include <stdexcept>

#include "platform/os/LargePages.h"
#include "remote/ndr/NdrReader.h"
#include "remote/runtime/CallMemory.h"

namespace rdx::rpc {
namespace {

const char* AsChars(std::span<const std::uint8_t> bytes) {
  return reinterpret_cast<const char*>(bytes.data());
}

}  // namespace

std::uint32_t ServerCall::Decode(std::span<const std::uint8_t> request, bool bigEndian) {
  NdrReader reader(request, bigEndian);
  requestSize_ = request.size();
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
    case ParamKind::kInEnum: return reader.ReadI32(arg.value) ? 0 : kFaultBadStubData;
    case ParamKind::kInSmall: {
      std::int8_t small = 0;
      if (!reader.ReadI8(small)) return kFaultBadStubData;
      arg.value = small;
      return 0;
    }
    case ParamKind::kInDouble:
    case ParamKind::kInOutDouble: return reader.ReadDouble(arg.real) ? 0 : kFaultBadStubData;
    case ParamKind::kInData:
      if (!reader.ReadConformantBytes(bytes)) return kFaultBadStubData;
      // Senders include the text's NUL, but nothing on the wire promises one: a copy gives
      // the manager a terminated text whatever came.
      arg.text.assign(AsChars(bytes), bytes.size());
      arg.view = arg.text.c_str();
      arg.value = static_cast<std::int32_t>(bytes.size());
      return 0;
    case ParamKind::kInOutSize:
      if (!reader.ReadI32(arg.value)) return kFaultBadStubData;
      arg.received = arg.value;
      return 0;
    case ParamKind::kOutText:
    case ParamKind::kOutSized: return 0;  // nothing travels in
  }
  return kFaultBadStubData;
}

std::uint32_t ServerCall::CheckCorrelations() {
  const auto params = operation_->Params();
  for (std::size_t i = 0; i < params.size(); ++i) {
    const ParamKind kind = params[i].kind;
    if (kind != ParamKind::kInData && kind != ParamKind::kOutText && kind != ParamKind::kOutSized) {
      continue;
    }
    const std::int32_t size = args_[static_cast<std::size_t>(params[i].sizeFrom)].value;
    if (kind == ParamKind::kInData) {
      if (size != args_[i].value) return kFaultBadStubData;  // max_count must equal n
      continue;
    }
    if (size < 0 || static_cast<std::uint32_t>(size) > kMaxNdrCount) return kFaultBadStubData;
    try {
      if (answerParam_ == kMaxParams) {
        // The first out-array lives where the answer will carry it, so a large one is
        // neither allocated twice nor copied.
        answerParam_ = i;
        answerOffset_ = LargestPrefix(i);
        const std::size_t total = answerOffset_ + static_cast<std::size_t>(size);
        // Room for what follows the array as well (in/out strings no longer than they came
        // in, fixed-size fields), so finishing the answer never moves it.
        const std::size_t room = total + requestSize_ + 16 * kMaxParams;
        if (answer_.capacity() < room) {
          std::vector<std::uint8_t>().swap(answer_);  // nothing in it is worth copying
          if (!ChargeAnswerRoom(room)) return kFaultRemoteNoMemory;
          answer_.reserve(room);  // advised before the first byte is touched
          os::AdviseLargePages(answer_.data(), answer_.capacity());
        }
        // Managers are promised a zeroed buffer: bytes kept from the previous answer come
        // zeroed from the run time (see Dispatch), the rest from resize.
        answer_.resize(total);
      } else {
        if (!ChargeCallScratch(static_cast<std::size_t>(size))) return kFaultRemoteNoMemory;
        args_[i].buffer.assign(static_cast<std::size_t>(size), 0);
      }
    } catch (const std::bad_alloc&) {
      return kFaultRemoteNoMemory;
    }
  }
  return 0;
}

std::size_t ServerCall::LargestPrefix(std::size_t index) const {
  // In/out strings may only shrink and padding only grows with position, so the answer up
  // to this array is never longer than with every string at its full room.
  auto align = [](std::size_t at, std::size_t to) { return (at + to - 1) / to * to; };
  std::size_t at = 0;
  const auto params = operation_->Params();
  for (std::size_t i = 0; i < index; ++i) {
    switch (params[i].kind) {
      case ParamKind::kInOutString: at = align(at, 4) + 12 + args_[i].capacity; break;
      case ParamKind::kInOutSize: at = align(at, 4) + 4; break;
      case ParamKind::kInOutDouble: at = align(at, 8) + 8; break;
      case ParamKind::kOutText:
      case ParamKind::kOutSized: at = align(at, 4) + 4 + args_[i].buffer.size(); break;
      default: break;
    }
  }
  return align(at, 4) + 4;  // the array's max_count
}

std::span<std::uint8_t> ServerCall::OutArray(std::size_t index) {
  if (index == answerParam_) {
    return std::span(answer_).subspan(answerOffset_);
  }
  return args_[index].buffer;
}

void ServerCall::EncodeParam(std::size_t index, NdrWriter& writer) const {
  const auto params = operation_->Params();
  const Arg& arg = args_[index];
  switch (params[index].kind) {
    case ParamKind::kInOutString: {
      // Only the room that came in exists in the caller's memory: cut a longer answer.
      std::size_t length = std::strlen(arg.text.c_str());
      length = std::min(length, arg.capacity - 1);
      writer.WriteString(std::string_view(arg.text.data(), length));
      break;
    }
    case ParamKind::kInOutSize: writer.WriteI32(OutgoingSize(index)); break;
    case ParamKind::kOutText:
    case ParamKind::kOutSized: {
      const std::size_t count = OutgoingCount(index);
      if (index == answerParam_) {
        writer.WriteU32(static_cast<std::uint32_t>(count));  // the bytes are in place
      } else {
        writer.WriteConformantBytes(std::span(arg.buffer).first(count));
      }
      break;
    }
    case ParamKind::kInOutDouble: writer.WriteDouble(arg.real); break;
    default: break;  // in-only parameters do not travel back
  }
}

std::int32_t ServerCall::OutgoingSize(std::size_t index) const {
  // Never more than came in, never negative: the caller's buffer has exactly that room.
  return std::clamp(args_[index].value, 0, std::max(args_[index].received, 0));
}

std::size_t ServerCall::OutgoingCount(std::size_t index) const {
  const ParamShape& param = operation_->params[index];
  const auto from = static_cast<std::size_t>(param.sizeFrom);
  if (param.kind == ParamKind::kOutSized) return static_cast<std::size_t>(OutgoingSize(from));
  return static_cast<std::size_t>(args_[from].value);
}

void ServerCall::Encode(std::int32_t result) {
  const std::size_t count = operation_->paramCount;
  NdrWriter head;
  const std::size_t split = std::min(answerParam_ + 1, count);
  for (std::size_t i = 0; i < split; ++i) EncodeParam(i, head);
  if (answerParam_ < count) {
    // The head ends with the array's max_count; its bytes already sit at answerOffset_.
    const std::size_t headSize = head.Size();
    const std::size_t bytes = OutgoingCount(answerParam_);
    if (headSize < answerOffset_) {
      std::memmove(answer_.data() + headSize, answer_.data() + answerOffset_, bytes);
    } else if (headSize > answerOffset_) {  // cannot happen by LargestPrefix; stay correct
      answer_.insert(answer_.begin() + std::ptrdiff_t(answerOffset_), headSize - answerOffset_, 0);
    }
    std::memcpy(answer_.data(), head.Data().data(), headSize);
    answer_.resize(headSize + bytes);
  } else {
    answer_.assign(head.Data().begin(), head.Data().end());  // keeps the storage
  }
  NdrWriter writer(std::move(answer_));
  for (std::size_t i = split; i < count; ++i) EncodeParam(i, writer);
  switch (operation_->result) {
    case ResultKind::kSmall: writer.WriteI8(static_cast<std::int8_t>(result)); break;
    case ResultKind::kLong: writer.WriteI32(result); break;
    case ResultKind::kNone: break;
  }
  answer_ = writer.Take();
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
  const bool sized =
      index < operation_->paramCount && operation_->params[index].kind == ParamKind::kOutSized;
  Checked(index, sized ? ParamKind::kOutSized : ParamKind::kOutText);
  return reinterpret_cast<char*>(OutArray(index).data());
}
std::uint8_t* ServerCall::Bytes(std::size_t index) {
  Checked(index, ParamKind::kOutSized);
  return OutArray(index).data();
}
std::int32_t& ServerCall::Size(std::size_t index) {
  return Checked(index, ParamKind::kInOutSize).value;
}
double& ServerCall::RealRef(std::size_t index) {
  return Checked(index, ParamKind::kInOutDouble).real;
}

}  // namespace rdx::rpc
