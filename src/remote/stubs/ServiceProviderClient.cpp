// Client stubs of the service-provider interface: each marshals through the operation's row of the
// interface table; the operation number is the row.

#include "remote/stubs/ServiceProviderClient.h"

#include "remote/runtime/RpcRuntime.h"
#include "remote/stubs/ClientCall.h"

namespace rdx::rpc::serviceprovider {
namespace {

template <typename... A>
std::int32_t Call(void* binding, std::uint16_t opnum, A... args) {
  return CallWith(binding, ServiceProviderShape(), opnum, args...);
}

std::int8_t Small(std::int32_t result) { return static_cast<std::int8_t>(result); }

}  // namespace

std::int8_t Ping(void* binding) { return Small(Call(binding, 0)); }

std::int8_t OpenServiceSession(void* binding, const char* serviceName, const char* clientInfo,
                               char* session, char* error) {
  return Small(Call(binding, 1, serviceName, clientInfo, session, error));
}

std::int8_t CloseSession(void* binding, char* session, char* error) {
  return Small(Call(binding, 2, session, error));
}

std::int32_t GetServiceInfo(void* binding, char* session, std::int32_t n, char* text, char* error) {
  return Call(binding, 3, session, n, text, error);
}

std::int32_t GetServiceMetadata(void* binding, char* session, const char* which, std::int32_t n,
                                char* text, char* error) {
  return Call(binding, 4, session, which, n, text, error);
}

std::int32_t GetClientProperties(void* binding, char* session, std::int32_t n, char* text,
                                 char* error) {
  return Call(binding, 5, session, n, text, error);
}

std::int32_t GetDefinition(void* binding, char* session, std::int32_t kind, std::int32_t n,
                           char* text, char* error) {
  return Call(binding, 6, session, kind, n, text, error);
}

std::int8_t SetClientProperties(void* binding, char* session, const char* properties, char* error) {
  return Small(Call(binding, 7, session, properties, error));
}

std::int8_t SetAOI(void* binding, char* session, double xmin, double ymin, double xmax, double ymax,
                   std::int32_t width, std::int32_t height, const char* options, char* error) {
  return Small(Call(binding, 8, session, xmin, ymin, xmax, ymax, width, height, options, error));
}

std::int8_t ExtractAOI(void* binding, char* session, char* error) {
  return Small(Call(binding, 9, session, error));
}

std::int8_t GetStreamingProperties(void* binding, char* session, char* properties, char* error) {
  return Small(Call(binding, 10, session, properties, error));
}

std::int8_t StreamImageBuffer(void* binding, char* session, std::int32_t* size,
                              std::uint8_t* buffer, std::int32_t a, std::int32_t b, char* error) {
  return Small(Call(binding, 11, session, size, buffer, a, b, error));
}

std::int8_t DoneWithImage(void* binding, char* session, char* error) {
  return Small(Call(binding, 12, session, error));
}

std::int32_t GetImageMetadata(void* binding, char* session, const char* which, std::int32_t n,
                              char* text, char* error) {
  return Call(binding, 13, session, which, n, text, error);
}

std::int8_t Op14(void* binding, char* text, std::int32_t* size, char* buffer) {
  return Small(Call(binding, 14, text, size, buffer));
}

std::int32_t GetInfo(void* binding, const char* infoKind, std::int32_t n, char* text, char* error) {
  return Call(binding, 15, infoKind, n, text, error);
}

std::int32_t GetServiceStates(void* binding, std::int32_t n, char* text, char* error) {
  return Call(binding, 16, n, text, error);
}

std::int8_t Synchronize(void* binding, const char* text, char* error) {
  return Small(Call(binding, 17, text, error));
}

std::int8_t UpdateServiceStates(void* binding, const char* states, char* answer) {
  return Small(Call(binding, 18, states, answer));
}

void Op19(void* binding, double* value) { Call(binding, 19, value); }

std::int8_t StopServiceProvider(void* binding, const char* text) {
  return Small(Call(binding, 20, text));
}

std::int32_t QueryProviderState(void* binding) { return Call(binding, 21); }

std::int8_t Op22(void* binding, const char* text, std::int32_t n, char* answer) {
  return Small(Call(binding, 22, text, n, answer));
}

std::int8_t Op23(void* binding, const char* first, const char* second, const char* third,
                 const char* fourth, char* fifth) {
  return Small(Call(binding, 23, first, second, third, fourth, fifth));
}

std::int8_t Op24(void* binding, const char* first, const char* second, char* third) {
  return Small(Call(binding, 24, first, second, third));
}

std::int8_t Op25(void* binding, const char* first, char* second) {
  return Small(Call(binding, 25, first, second));
}

std::int8_t Op26(void* binding, const char* first, char* second) {
  return Small(Call(binding, 26, first, second));
}

}  // namespace rdx::rpc::serviceprovider
