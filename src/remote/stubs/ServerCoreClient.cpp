// Client stubs of the server interface: each marshals through its operation's row of the
// interface table, against which its signature is checked when this file is compiled.

#include "remote/stubs/ServerCoreClient.h"

#include "remote/runtime/RpcRuntime.h"
#include "remote/stubs/InterfaceTables.h"
#include "remote/stubs/TypedStubs.h"

namespace rdx::rpc::servercore {
namespace {

template <std::size_t Op, typename R, typename... A>
R Call(void* binding, A... args) {
  return TypedCall<tables::kServerCore, Op, R>(binding, ServerCoreShape(), args...);
}

}  // namespace

std::int8_t GetVersion(void* binding, char* version) {
  return Call<0, std::int8_t>(binding, version);
}

std::int8_t Op1(void* binding, const char* text) { return Call<1, std::int8_t>(binding, text); }

std::int8_t Op2(void* binding, const char* text, const char* data, std::int32_t dataSize,
                std::uint8_t* buffer, std::int32_t* bufferSize) {
  return Call<2, std::int8_t>(binding, text, data, dataSize, buffer, bufferSize);
}

std::int8_t Op3(void* binding, const char* text) { return Call<3, std::int8_t>(binding, text); }

std::int8_t OpenSession(void* binding, const char* sessionInfoXml, char* sessionId, char* error) {
  return Call<4, std::int8_t>(binding, sessionInfoXml, sessionId, error);
}

std::int32_t QueryText(void* binding, const char* query, std::int32_t n, char* text) {
  return Call<5, std::int32_t>(binding, query, n, text);
}

std::int32_t QueryTextAlt(void* binding, const char* query, std::int32_t n, char* text) {
  return Call<6, std::int32_t>(binding, query, n, text);
}

std::int8_t PostText(void* binding, const char* text) {
  return Call<7, std::int8_t>(binding, text);
}

std::int8_t CloseSession(void* binding, const char* session) {
  return Call<8, std::int8_t>(binding, session);
}

std::int8_t Op9(void* binding, const char* text) { return Call<9, std::int8_t>(binding, text); }

std::int8_t Op10(void* binding, const char* first, std::int8_t flag, const char* second,
                 char* third) {
  return Call<10, std::int8_t>(binding, first, flag, second, third);
}

std::int8_t AddServiceProvider(void* binding, const char* session, const char* providerName,
                               std::int32_t n, const char* providerInfo, char* error) {
  return Call<11, std::int8_t>(binding, session, providerName, n, providerInfo, error);
}

std::int8_t RemoveServiceProvider(void* binding, const char* session, const char* providerName,
                                  char* error) {
  return Call<12, std::int8_t>(binding, session, providerName, error);
}

std::int32_t GetServiceProviderFor(void* binding, const char* session, const char* serviceName,
                                   std::int32_t n, char* text, char* error) {
  return Call<13, std::int32_t>(binding, session, serviceName, n, text, error);
}

std::int32_t GetServiceProviderInfo(void* binding, const char* session, const char* providerName,
                                    std::int32_t n, char* text, char* error) {
  return Call<14, std::int32_t>(binding, session, providerName, n, text, error);
}

std::int8_t UpdateServiceProviderInfo(void* binding, const char* session, const char* providerName,
                                      std::int32_t n, const char* providerInfo, char* error) {
  return Call<15, std::int8_t>(binding, session, providerName, n, providerInfo, error);
}

std::int8_t AddServices(void* binding, const char* session, const char* providerName,
                        std::int32_t n, const char* services, char* error) {
  return Call<16, std::int8_t>(binding, session, providerName, n, services, error);
}

std::int8_t RemoveServices(void* binding, const char* session, const char* providerName,
                           std::int32_t n, const char* services, char* error) {
  return Call<17, std::int8_t>(binding, session, providerName, n, services, error);
}

std::int32_t GetInfo(void* binding, const char* session, const char* what, std::int32_t n,
                     char* text, char* error) {
  return Call<18, std::int32_t>(binding, session, what, n, text, error);
}

std::int32_t GetServiceProviders(void* binding, const char* session, std::int32_t n, char* text,
                                 char* error) {
  return Call<19, std::int32_t>(binding, session, n, text, error);
}

std::int32_t GetServiceProvidersWithInfo(void* binding, const char* session, std::int32_t n,
                                         char* text, char* error) {
  return Call<20, std::int32_t>(binding, session, n, text, error);
}

std::int32_t GetServices(void* binding, const char* session, const char* providerName,
                         std::int32_t n, char* text, char* error) {
  return Call<21, std::int32_t>(binding, session, providerName, n, text, error);
}

std::int32_t GetServiceInfos(void* binding, const char* session, const char* providerName,
                             std::int32_t n, char* text, char* error) {
  return Call<22, std::int32_t>(binding, session, providerName, n, text, error);
}

std::int32_t GetServiceInfo(void* binding, const char* session, const char* serviceName,
                            const char* providerName, std::int32_t n, char* text, char* error) {
  return Call<23, std::int32_t>(binding, session, serviceName, providerName, n, text, error);
}

std::int8_t StopServer(void* binding, const char* session, const char* text) {
  return Call<24, std::int8_t>(binding, session, text);
}

std::int8_t OpenManagerSession(void* binding, const char* sessionInfoXml, char* sessionId,
                               char* error) {
  return Call<25, std::int8_t>(binding, sessionInfoXml, sessionId, error);
}

std::int8_t Op26(void* binding, char* first, char* second) {
  return Call<26, std::int8_t>(binding, first, second);
}

std::int32_t GetServerInfo(void* binding, const char* session, std::int32_t n, char* text,
                           char* error) {
  return Call<27, std::int32_t>(binding, session, n, text, error);
}

std::int8_t CreateServiceProvider(void* binding, const char* session, const char* first,
                                  const char* second, const char* third, char* error) {
  return Call<28, std::int8_t>(binding, session, first, second, third, error);
}

std::int8_t DeleteServiceProvider(void* binding, const char* session, const char* providerName,
                                  char* error) {
  return Call<29, std::int8_t>(binding, session, providerName, error);
}

std::int8_t Op30(void* binding, const char* first, const char* second, char* third) {
  return Call<30, std::int8_t>(binding, first, second, third);
}

std::int8_t StopServiceProvider(void* binding, const char* session, const char* providerName,
                                char* error) {
  return Call<31, std::int8_t>(binding, session, providerName, error);
}

std::int32_t GetServerConfigXml(void* binding, const char* session, std::int32_t n, char* text,
                                char* error) {
  return Call<32, std::int32_t>(binding, session, n, text, error);
}

std::int8_t UpdateServerConfigXml(void* binding, const char* session, const char* xml,
                                  char* error) {
  return Call<33, std::int8_t>(binding, session, xml, error);
}

std::int32_t GetServiceProviderConfigXml(void* binding, const char* session,
                                         const char* providerName, std::int32_t n, char* text,
                                         char* error) {
  return Call<34, std::int32_t>(binding, session, providerName, n, text, error);
}

std::int8_t UpdateServiceProviderConfigXml(void* binding, const char* session,
                                           const char* providerName, const char* xml, char* error) {
  return Call<35, std::int8_t>(binding, session, providerName, xml, error);
}

std::int32_t GetServiceProvidersXml(void* binding, const char* session, std::int32_t n, char* text,
                                    char* error) {
  return Call<36, std::int32_t>(binding, session, n, text, error);
}

std::int32_t GetServicesXml(void* binding, const char* session, std::int32_t n, char* text,
                            char* error) {
  return Call<37, std::int32_t>(binding, session, n, text, error);
}

std::int8_t UpdateServicesXml(void* binding, const char* session, const char* xml, char* error) {
  return Call<38, std::int8_t>(binding, session, xml, error);
}

std::int8_t AddServicesForManager(void* binding, const char* session, const char* first,
                                  const char* second, const char* third, const char* fourth,
                                  char* error) {
  return Call<39, std::int8_t>(binding, session, first, second, third, fourth, error);
}

std::int8_t RemoveService(void* binding, const char* session, const char* first, const char* second,
                          char* error) {
  return Call<40, std::int8_t>(binding, session, first, second, error);
}

std::int8_t StartService(void* binding, const char* session, const char* serviceName, char* error) {
  return Call<41, std::int8_t>(binding, session, serviceName, error);
}

std::int8_t StopService(void* binding, const char* session, const char* serviceName, char* error) {
  return Call<42, std::int8_t>(binding, session, serviceName, error);
}

std::int8_t Op43(void* binding, const char* first, const char* second, char* third, char* fourth) {
  return Call<43, std::int8_t>(binding, first, second, third, fourth);
}

std::int8_t RefreshService(void* binding, const char* session, const char* serviceName,
                           char* error) {
  return Call<44, std::int8_t>(binding, session, serviceName, error);
}

std::int8_t RefreshAllServices(void* binding, const char* session, char* error) {
  return Call<45, std::int8_t>(binding, session, error);
}

std::int32_t Op46(void* binding, const char* first, const char* second, std::int32_t n, char* text,
                  char* third) {
  return Call<46, std::int32_t>(binding, first, second, n, text, third);
}

std::int32_t Op47(void* binding, const char* first, const char* second, std::int32_t n, char* text,
                  char* third) {
  return Call<47, std::int32_t>(binding, first, second, n, text, third);
}

}  // namespace rdx::rpc::servercore
