// Client stubs of the service-provider interface: each marshals through its operation's row of the
// interface table, against which its signature is checked when this file is compiled.

#include "remote/stubs/ServiceProviderClient.h"

#include "remote/runtime/RpcRuntime.h"
#include "remote/stubs/InterfaceTables.h"
#include "remote/stubs/TypedStubs.h"

namespace rdx::rpc::serviceprovider {
namespace {

template <std::size_t Op, typename R, typename... A>
R Call(void* binding, A... args) {
  return TypedCall<tables::kServiceProvider, Op, R>(binding, ServiceProviderShape(), args...);
}

}  // namespace

std::int8_t Ping(void* binding) { return Call<0, std::int8_t>(binding); }

std::int8_t OpenServiceSession(void* binding, const char* serviceName, const char* clientInfo,
                               char* session, char* error) {
  return Call<1, std::int8_t>(binding, serviceName, clientInfo, session, error);
}

std::int8_t CloseSession(void* binding, char* session, char* error) {
  return Call<2, std::int8_t>(binding, session, error);
}

std::int32_t GetServiceInfo(void* binding, char* session, std::int32_t n, char* text, char* error) {
  return Call<3, std::int32_t>(binding, session, n, text, error);
}

std::int32_t GetServiceMetadata(void* binding, char* session, const char* which, std::int32_t n,
                                char* text, char* error) {
  return Call<4, std::int32_t>(binding, session, which, n, text, error);
}

std::int32_t GetClientProperties(void* binding, char* session, std::int32_t n, char* text,
                                 char* error) {
  return Call<5, std::int32_t>(binding, session, n, text, error);
}

std::int32_t GetDefinition(void* binding, char* session, std::int32_t kind, std::int32_t n,
                           char* text, char* error) {
  return Call<6, std::int32_t>(binding, session, kind, n, text, error);
}

std::int8_t SetClientProperties(void* binding, char* session, const char* properties, char* error) {
  return Call<7, std::int8_t>(binding, session, properties, error);
}

std::int8_t SetAOI(void* binding, char* session, double xmin, double ymin, double xmax, double ymax,
                   std::int32_t width, std::int32_t height, const char* options, char* error) {
  return Call<8, std::int8_t>(binding, session, xmin, ymin, xmax, ymax, width, height, options,
                              error);
}

std::int8_t ExtractAOI(void* binding, char* session, char* error) {
  return Call<9, std::int8_t>(binding, session, error);
}

std::int8_t GetStreamingProperties(void* binding, char* session, char* properties, char* error) {
  return Call<10, std::int8_t>(binding, session, properties, error);
}

std::int8_t StreamImageBuffer(void* binding, char* session, std::int32_t* size,
                              std::uint8_t* buffer, std::int32_t a, std::int32_t b, char* error) {
  return Call<11, std::int8_t>(binding, session, size, buffer, a, b, error);
}

std::int8_t DoneWithImage(void* binding, char* session, char* error) {
  return Call<12, std::int8_t>(binding, session, error);
}

std::int32_t GetImageMetadata(void* binding, char* session, const char* which, std::int32_t n,
                              char* text, char* error) {
  return Call<13, std::int32_t>(binding, session, which, n, text, error);
}

std::int8_t Op14(void* binding, char* text, std::int32_t* size, char* buffer) {
  return Call<14, std::int8_t>(binding, text, size, buffer);
}

std::int32_t GetInfo(void* binding, const char* infoKind, std::int32_t n, char* text, char* error) {
  return Call<15, std::int32_t>(binding, infoKind, n, text, error);
}

std::int32_t GetServiceStates(void* binding, std::int32_t n, char* text, char* error) {
  return Call<16, std::int32_t>(binding, n, text, error);
}

std::int8_t Synchronize(void* binding, const char* text, char* error) {
  return Call<17, std::int8_t>(binding, text, error);
}

std::int8_t UpdateServiceStates(void* binding, const char* states, char* answer) {
  return Call<18, std::int8_t>(binding, states, answer);
}

void Op19(void* binding, double* value) { Call<19, void>(binding, value); }

std::int8_t StopServiceProvider(void* binding, const char* text) {
  return Call<20, std::int8_t>(binding, text);
}

std::int32_t QueryProviderState(void* binding) { return Call<21, std::int32_t>(binding); }

std::int8_t Op22(void* binding, const char* text, std::int32_t n, char* answer) {
  return Call<22, std::int8_t>(binding, text, n, answer);
}

std::int8_t Op23(void* binding, const char* first, const char* second, const char* third,
                 const char* fourth, char* fifth) {
  return Call<23, std::int8_t>(binding, first, second, third, fourth, fifth);
}

std::int8_t Op24(void* binding, const char* first, const char* second, char* third) {
  return Call<24, std::int8_t>(binding, first, second, third);
}

std::int8_t Op25(void* binding, const char* first, char* second) {
  return Call<25, std::int8_t>(binding, first, second);
}

std::int8_t Op26(void* binding, const char* first, char* second) {
  return Call<26, std::int8_t>(binding, first, second);
}

}  // namespace rdx::rpc::serviceprovider
