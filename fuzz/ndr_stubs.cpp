// Server-side stub decoding of every operation of the three interfaces, and client-side
// decoding of the same bytes taken as a response. Input: byte 0 picks the interface, byte 1
// the operation (one past the last too), byte 2 bit 0 the integer order; the rest is stub data.

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <string>
#include <vector>

#include "remote/stubs/ClientCall.h"
#include "remote/stubs/StubServerInterface.h"

namespace {

using namespace rdx::rpc;

// Touches every argument the way a manager may: reads in-strings and data, fills out-buffers
// to the last byte, answers in/out strings longer than they came, stretches sizes.
std::int32_t TouchEverything(ServerCall& call, const OperationShape& op) {
  std::size_t sum = 0;
  const auto params = op.Params();
  for (std::size_t i = 0; i < params.size(); ++i) {
    switch (params[i].kind) {
      case ParamKind::kInString: sum += std::strlen(call.In(i)); break;
      case ParamKind::kInOutString: call.InOut(i).assign(300, 'x'); break;
      case ParamKind::kInData: sum += std::size_t(call.Data(i) != nullptr); break;
      case ParamKind::kInOutSize: call.Size(i) += 3; break;
      case ParamKind::kInOutDouble: call.RealRef(i) *= 2; break;
      default: break;
    }
  }
  for (std::size_t i = 0; i < params.size(); ++i) {
    const auto from = std::size_t(params[i].sizeFrom);
    if (params[i].kind == ParamKind::kOutText && call.Long(from) > 0) {
      std::memset(call.Text(i), 'y', std::size_t(call.Long(from)));
    }
  }
  return static_cast<std::int32_t>(sum);
}

struct Manager {
  const InterfaceShape* shape;
};

std::int32_t Invoke(void* manager, std::uint16_t opnum, ServerCall& call) {
  return TouchEverything(call, static_cast<Manager*>(manager)->shape->operations[opnum]);
}

void DecodeAsResponse(const OperationShape& op, std::span<const std::uint8_t> stub) {
  std::vector<std::string> storage;
  storage.reserve(kMaxParams);
  std::vector<ClientArg> args;
  std::int32_t size = 64;
  double real = 1;
  for (const ParamShape& param : op.Params()) {
    switch (param.kind) {
      case ParamKind::kInString: args.emplace_back("in"); break;
      case ParamKind::kInData:  // as long as the size parameters say
        args.emplace_back(static_cast<const char*>(storage.emplace_back(64, 'd').c_str()));
        break;
      case ParamKind::kInOutString: args.emplace_back(storage.emplace_back(63, 'A').data()); break;
      case ParamKind::kInLong: args.emplace_back(std::int32_t{64}); break;
      case ParamKind::kInEnum: args.emplace_back(std::int32_t{1}); break;
      case ParamKind::kInSmall: args.emplace_back(std::int8_t{1}); break;
      case ParamKind::kInDouble: args.emplace_back(1.0); break;
      case ParamKind::kOutText:
      case ParamKind::kOutSized: args.emplace_back(storage.emplace_back(64, '?').data()); break;
      case ParamKind::kInOutSize: args.emplace_back(&size); break;
      case ParamKind::kInOutDouble: args.emplace_back(&real); break;
    }
  }
  ClientCall call(op, args);
  NdrWriter request;
  std::int32_t result = 0;
  if (call.EncodeRequest(request) == 0) (void)call.DecodeResponse(stub, false, result);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  if (size < 3) return 0;
  const InterfaceShape* shapes[] = {&ServerCoreShape(), &ServiceProviderShape(),
                                    &ServerAutoBindShape()};
  const InterfaceShape& shape = *shapes[data[0] % 3];
  const auto opnum = static_cast<std::uint16_t>(data[1] % (shape.operations.size() + 1));
  const bool bigEndian = (data[2] & 1) != 0;
  const std::span<const std::uint8_t> stub(data + 3, size - 3);

  Manager manager{&shape};
  StubServerInterface server(shape, &manager, &Invoke);
  std::vector<std::uint8_t> response;
  (void)server.Dispatch(opnum, stub, bigEndian, response);
  if (opnum < shape.operations.size()) DecodeAsResponse(shape.operations[opnum], stub);
  return 0;
}
