#pragma once
// Client stubs of the service-provider interface, one typed function per operation; the
// buffer conventions and failures are those of ServerCoreClient.h. The session id is an
// in/out string here: the caller's own buffer, answered in place.

#include <cstdint>

namespace rdx::rpc::serviceprovider {

std::int8_t Ping(void* binding);
std::int8_t OpenServiceSession(void* binding, const char* serviceName, const char* clientInfo,
                               char* session, char* error);
std::int8_t CloseSession(void* binding, char* session, char* error);
std::int32_t GetServiceInfo(void* binding, char* session, std::int32_t n, char* text, char* error);
std::int32_t GetServiceMetadata(void* binding, char* session, const char* which, std::int32_t n,
                                char* text, char* error);
std::int32_t GetClientProperties(void* binding, char* session, std::int32_t n, char* text,
                                 char* error);
std::int32_t GetDefinition(void* binding, char* session, std::int32_t kind, std::int32_t n,
                           char* text, char* error);
std::int8_t SetClientProperties(void* binding, char* session, const char* properties, char* error);
std::int8_t SetAOI(void* binding, char* session, double xmin, double ymin, double xmax, double ymax,
                   std::int32_t width, std::int32_t height, const char* options, char* error);
std::int8_t ExtractAOI(void* binding, char* session, char* error);
std::int8_t GetStreamingProperties(void* binding, char* session, char* properties, char* error);
std::int8_t StreamImageBuffer(void* binding, char* session, std::int32_t* size,
                              std::uint8_t* buffer, std::int32_t a, std::int32_t b, char* error);
std::int8_t DoneWithImage(void* binding, char* session, char* error);
std::int32_t GetImageMetadata(void* binding, char* session, const char* which, std::int32_t n,
                              char* text, char* error);
std::int8_t Op14(void* binding, char* text, std::int32_t* size, char* buffer);
std::int32_t GetInfo(void* binding, const char* infoKind, std::int32_t n, char* text, char* error);
std::int32_t GetServiceStates(void* binding, std::int32_t n, char* text, char* error);
std::int8_t Synchronize(void* binding, const char* text, char* error);
std::int8_t UpdateServiceStates(void* binding, const char* states, char* answer);
void Op19(void* binding, double* value);
std::int8_t StopServiceProvider(void* binding, const char* text);
std::int32_t QueryProviderState(void* binding);
std::int8_t Op22(void* binding, const char* text, std::int32_t n, char* answer);
std::int8_t Op23(void* binding, const char* first, const char* second, const char* third,
                 const char* fourth, char* fifth);
std::int8_t Op24(void* binding, const char* first, const char* second, char* third);
std::int8_t Op25(void* binding, const char* first, char* second);
std::int8_t Op26(void* binding, const char* first, char* second);

}  // namespace rdx::rpc::serviceprovider
