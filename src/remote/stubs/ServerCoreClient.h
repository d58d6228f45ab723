#pragma once
// Client stubs of the server interface, one typed function per operation, with the
// parameter conventions of interpreted stubs so that the proxies prepare buffers exactly as
// they would for a Windows server:
// - `const char*` in-strings must not be null (1780 before anything is sent);
// - `char*` in/out strings are the caller's buffers: they travel with strlen + 1 bytes and the
//   answer is written back in place; an answer longer than what was sent fails with 1783 and
//   leaves the buffer untouched;
// - `(n, text)` out-texts: `text` has room for n bytes and receives exactly n;
// - `(size, buffer)`: `buffer` has room for *size bytes; *size comes back as the count written.
// Every failure, local or remote, throws rdx::rpc::RpcException with the Win32 RPC status.

#include <cstdint>

namespace rdx::rpc::servercore {

std::int8_t GetVersion(void* binding, char* version);
std::int8_t Op1(void* binding, const char* text);
std::int8_t Op2(void* binding, const char* text, const char* data, std::int32_t dataSize,
                std::uint8_t* buffer, std::int32_t* bufferSize);
std::int8_t Op3(void* binding, const char* text);
std::int8_t OpenSession(void* binding, const char* sessionInfoXml, char* sessionId, char* error);
std::int32_t QueryText(void* binding, const char* query, std::int32_t n, char* text);
std::int32_t QueryTextAlt(void* binding, const char* query, std::int32_t n, char* text);
std::int8_t PostText(void* binding, const char* text);
std::int8_t CloseSession(void* binding, const char* session);
std::int8_t Op9(void* binding, const char* text);
std::int8_t Op10(void* binding, const char* first, std::int8_t flag, const char* second,
                 char* third);
std::int8_t AddServiceProvider(void* binding, const char* session, const char* providerName,
                               std::int32_t n, const char* providerInfo, char* error);
std::int8_t RemoveServiceProvider(void* binding, const char* session, const char* providerName,
                                  char* error);
std::int32_t GetServiceProviderFor(void* binding, const char* session, const char* serviceName,
                                   std::int32_t n, char* text, char* error);
std::int32_t GetServiceProviderInfo(void* binding, const char* session, const char* providerName,
                                    std::int32_t n, char* text, char* error);
std::int8_t UpdateServiceProviderInfo(void* binding, const char* session, const char* providerName,
                                      std::int32_t n, const char* providerInfo, char* error);
std::int8_t AddServices(void* binding, const char* session, const char* providerName,
                        std::int32_t n, const char* services, char* error);
std::int8_t RemoveServices(void* binding, const char* session, const char* providerName,
                           std::int32_t n, const char* services, char* error);
std::int32_t GetInfo(void* binding, const char* session, const char* what, std::int32_t n,
                     char* text, char* error);
std::int32_t GetServiceProviders(void* binding, const char* session, std::int32_t n, char* text,
                                 char* error);
std::int32_t GetServiceProvidersWithInfo(void* binding, const char* session, std::int32_t n,
                                         char* text, char* error);
std::int32_t GetServices(void* binding, const char* session, const char* providerName,
                         std::int32_t n, char* text, char* error);
std::int32_t GetServiceInfos(void* binding, const char* session, const char* providerName,
                             std::int32_t n, char* text, char* error);
std::int32_t GetServiceInfo(void* binding, const char* session, const char* serviceName,
                            const char* providerName, std::int32_t n, char* text, char* error);
std::int8_t StopServer(void* binding, const char* session, const char* text);
std::int8_t OpenManagerSession(void* binding, const char* sessionInfoXml, char* sessionId,
                               char* error);
std::int8_t Op26(void* binding, char* first, char* second);
std::int32_t GetServerInfo(void* binding, const char* session, std::int32_t n, char* text,
                           char* error);
std::int8_t CreateServiceProvider(void* binding, const char* session, const char* first,
                                  const char* second, const char* third, char* error);
std::int8_t DeleteServiceProvider(void* binding, const char* session, const char* providerName,
                                  char* error);
std::int8_t Op30(void* binding, const char* first, const char* second, char* third);
std::int8_t StopServiceProvider(void* binding, const char* session, const char* providerName,
                                char* error);
std::int32_t GetServerConfigXml(void* binding, const char* session, std::int32_t n, char* text,
                                char* error);
std::int8_t UpdateServerConfigXml(void* binding, const char* session, const char* xml, char* error);
std::int32_t GetServiceProviderConfigXml(void* binding, const char* session,
                                         const char* providerName, std::int32_t n, char* text,
                                         char* error);
std::int8_t UpdateServiceProviderConfigXml(void* binding, const char* session,
                                           const char* providerName, const char* xml, char* error);
std::int32_t GetServiceProvidersXml(void* binding, const char* session, std::int32_t n, char* text,
                                    char* error);
std::int32_t GetServicesXml(void* binding, const char* session, std::int32_t n, char* text,
                            char* error);
std::int8_t UpdateServicesXml(void* binding, const char* session, const char* xml, char* error);
std::int8_t AddServicesForManager(void* binding, const char* session, const char* first,
                                  const char* second, const char* third, const char* fourth,
                                  char* error);
std::int8_t RemoveService(void* binding, const char* session, const char* first, const char* second,
                          char* error);
std::int8_t StartService(void* binding, const char* session, const char* serviceName, char* error);
std::int8_t StopService(void* binding, const char* session, const char* serviceName, char* error);
std::int8_t Op43(void* binding, const char* first, const char* second, char* third, char* fourth);
std::int8_t RefreshService(void* binding, const char* session, const char* serviceName,
                           char* error);
std::int8_t RefreshAllServices(void* binding, const char* session, char* error);
std::int32_t Op46(void* binding, const char* first, const char* second, std::int32_t n, char* text,
                  char* third);
std::int32_t Op47(void* binding, const char* first, const char* second, std::int32_t n, char* text,
                  char* third);

}  // namespace rdx::rpc::servercore
