// Client stubs of the server interface: each marshals through the operation's row of the
// interface table; the operation number is the row.

#include "remote/stubs/ServerCoreClient.h"

#include "remote/runtime/RpcRuntime.h"
#include "remote/stubs/ClientCall.h"

namespace rdx::rpc::servercore {
namespace {

template <typename... A>
std::int32_t Call(void* binding, std::uint16_t opnum, A... args) {
  return CallWith(binding, ServerCoreShape(), opnum, args...);
}

std::int8_t Small(std::int32_t result) { return static_cast<std::int8_t>(result); }

}  // namespace

std::int8_t GetVersion(void* binding, char* version) { return Small(Call(binding, 0, version)); }

std::int8_t Op1(void* binding, const char* text) { return Small(Call(binding, 1, text)); }

std::int8_t Op2(void* binding, const char* text, const char* data, std::int32_t dataSize,
                std::uint8_t* buffer, std::int32_t* bufferSize) {
  return Small(Call(binding, 2, text, data, dataSize, buffer, bufferSize));
}

std::int8_t Op3(void* binding, const char* text) { return Small(Call(binding, 3, text)); }

std::int8_t OpenSession(void* binding, const char* sessionInfoXml, char* sessionId, char* error) {
  return Small(Call(binding, 4, sessionInfoXml, sessionId, error));
}

std::int32_t QueryText(void* binding, const char* query, std::int32_t n, char* text) {
  return Call(binding, 5, query, n, text);
}

std::int32_t QueryTextAlt(void* binding, const char* query, std::int32_t n, char* text) {
  return Call(binding, 6, query, n, text);
}

std::int8_t PostText(void* binding, const char* text) { return Small(Call(binding, 7, text)); }

std::int8_t CloseSession(void* binding, const char* session) {
  return Small(Call(binding, 8, session));
}

std::int8_t Op9(void* binding, const char* text) { return Small(Call(binding, 9, text)); }

std::int8_t Op10(void* binding, const char* first, std::int8_t flag, const char* second,
                 char* third) {
  return Small(Call(binding, 10, first, flag, second, third));
}

std::int8_t AddServiceProvider(void* binding, const char* session, const char* providerName,
                               std::int32_t n, const char* providerInfo, char* error) {
  return Small(Call(binding, 11, session, providerName, n, providerInfo, error));
}

std::int8_t RemoveServiceProvider(void* binding, const char* session, const char* providerName,
                                  char* error) {
  return Small(Call(binding, 12, session, providerName, error));
}

std::int32_t GetServiceProviderFor(void* binding, const char* session, const char* serviceName,
                                   std::int32_t n, char* text, char* error) {
  return Call(binding, 13, session, serviceName, n, text, error);
}

std::int32_t GetServiceProviderInfo(void* binding, const char* session, const char* providerName,
                                    std::int32_t n, char* text, char* error) {
  return Call(binding, 14, session, providerName, n, text, error);
}

std::int8_t UpdateServiceProviderInfo(void* binding, const char* session, const char* providerName,
                                      std::int32_t n, const char* providerInfo, char* error) {
  return Small(Call(binding, 15, session, providerName, n, providerInfo, error));
}

std::int8_t AddServices(void* binding, const char* session, const char* providerName,
                        std::int32_t n, const char* services, char* error) {
  return Small(Call(binding, 16, session, providerName, n, services, error));
}

std::int8_t RemoveServices(void* binding, const char* session, const char* providerName,
                           std::int32_t n, const char* services, char* error) {
  return Small(Call(binding, 17, session, providerName, n, services, error));
}

std::int32_t GetInfo(void* binding, const char* session, const char* what, std::int32_t n,
                     char* text, char* error) {
  return Call(binding, 18, session, what, n, text, error);
}

std::int32_t GetServiceProviders(void* binding, const char* session, std::int32_t n, char* text,
                                 char* error) {
  return Call(binding, 19, session, n, text, error);
}

std::int32_t GetServiceProvidersWithInfo(void* binding, const char* session, std::int32_t n,
                                         char* text, char* error) {
  return Call(binding, 20, session, n, text, error);
}

std::int32_t GetServices(void* binding, const char* session, const char* providerName,
                         std::int32_t n, char* text, char* error) {
  return Call(binding, 21, session, providerName, n, text, error);
}

std::int32_t GetServiceInfos(void* binding, const char* session, const char* providerName,
                             std::int32_t n, char* text, char* error) {
  return Call(binding, 22, session, providerName, n, text, error);
}

std::int32_t GetServiceInfo(void* binding, const char* session, const char* serviceName,
                            const char* providerName, std::int32_t n, char* text, char* error) {
  return Call(binding, 23, session, serviceName, providerName, n, text, error);
}

std::int8_t StopServer(void* binding, const char* session, const char* text) {
  return Small(Call(binding, 24, session, text));
}

std::int8_t OpenManagerSession(void* binding, const char* sessionInfoXml, char* sessionId,
                               char* error) {
  return Small(Call(binding, 25, sessionInfoXml, sessionId, error));
}

std::int8_t Op26(void* binding, char* first, char* second) {
  return Small(Call(binding, 26, first, second));
}

std::int32_t GetServerInfo(void* binding, const char* session, std::int32_t n, char* text,
                           char* error) {
  return Call(binding, 27, session, n, text, error);
}

std::int8_t CreateServiceProvider(void* binding, const char* session, const char* first,
                                  const char* second, const char* third, char* error) {
  return Small(Call(binding, 28, session, first, second, third, error));
}

std::int8_t DeleteServiceProvider(void* binding, const char* session, const char* providerName,
                                  char* error) {
  return Small(Call(binding, 29, session, providerName, error));
}

std::int8_t Op30(void* binding, const char* first, const char* second, char* third) {
  return Small(Call(binding, 30, first, second, third));
}

std::int8_t StopServiceProvider(void* binding, const char* session, const char* providerName,
                                char* error) {
  return Small(Call(binding, 31, session, providerName, error));
}

std::int32_t GetServerConfigXml(void* binding, const char* session, std::int32_t n, char* text,
                                char* error) {
  return Call(binding, 32, session, n, text, error);
}

std::int8_t UpdateServerConfigXml(void* binding, const char* session, const char* xml,
                                  char* error) {
  return Small(Call(binding, 33, session, xml, error));
}

std::int32_t GetServiceProviderConfigXml(void* binding, const char* session,
                                         const char* providerName, std::int32_t n, char* text,
                                         char* error) {
  return Call(binding, 34, session, providerName, n, text, error);
}

std::int8_t UpdateServiceProviderConfigXml(void* binding, const char* session,
                                           const char* providerName, const char* xml, char* error) {
  return Small(Call(binding, 35, session, providerName, xml, error));
}

std::int32_t GetServiceProvidersXml(void* binding, const char* session, std::int32_t n, char* text,
                                    char* error) {
  return Call(binding, 36, session, n, text, error);
}

std::int32_t GetServicesXml(void* binding, const char* session, std::int32_t n, char* text,
                            char* error) {
  return Call(binding, 37, session, n, text, error);
}

std::int8_t UpdateServicesXml(void* binding, const char* session, const char* xml, char* error) {
  return Small(Call(binding, 38, session, xml, error));
}

std::int8_t AddServicesForManager(void* binding, const char* session, const char* first,
                                  const char* second, const char* third, const char* fourth,
                                  char* error) {
  return Small(Call(binding, 39, session, first, second, third, fourth, error));
}

std::int8_t RemoveService(void* binding, const char* session, const char* first, const char* second,
                          char* error) {
  return Small(Call(binding, 40, session, first, second, error));
}

std::int8_t StartService(void* binding, const char* session, const char* serviceName, char* error) {
  return Small(Call(binding, 41, session, serviceName, error));
}

std::int8_t StopService(void* binding, const char* session, const char* serviceName, char* error) {
  return Small(Call(binding, 42, session, serviceName, error));
}

std::int8_t Op43(void* binding, const char* first, const char* second, char* third, char* fourth) {
  return Small(Call(binding, 43, first, second, third, fourth));
}

std::int8_t RefreshService(void* binding, const char* session, const char* serviceName,
                           char* error) {
  return Small(Call(binding, 44, session, serviceName, error));
}

std::int8_t RefreshAllServices(void* binding, const char* session, char* error) {
  return Small(Call(binding, 45, session, error));
}

std::int32_t Op46(void* binding, const char* first, const char* second, std::int32_t n, char* text,
                  char* third) {
  return Call(binding, 46, first, second, n, text, third);
}

std::int32_t Op47(void* binding, const char* first, const char* second, std::int32_t n, char* text,
                  char* third) {
  return Call(binding, 47, first, second, n, text, third);
}

}  // namespace rdx::rpc::servercore
