#pragma once
// The reference server's answers on the server interface and the automatic-binding
// interface: the version "1.0.0.2" (or the one given), sessions "S1", "S2", ..., the fixed
// text of every out-text operation, true from every other boolean operation.

#include <rdx/remote/IServerAutoBindManager.h>
#include <rdx/remote/IServerCoreManager.h>

#include <string>
#include <utility>

#include "RefAnswers.h"

namespace rdx::refserver {

using QUORVAN::Rendix::ServerCore::IServerAutoBindManager;
using QUORVAN::Rendix::ServerCore::IServerCoreManager;

class RefServerCore final : public IServerCoreManager {
 public:
  // `answers` borrowed; `version` is what GetVersion writes.
  explicit RefServerCore(RefAnswers& answers, std::string version = "1.0.0.2")
      : answers_(answers), version_(std::move(version)) {}

  std::int8_t GetVersion(std::string& version) override;
  std::int8_t Op1(const char* text) override;
  std::int8_t Op2(const char* text, const char* data, std::int32_t dataSize, std::uint8_t* buffer,
                  std::int32_t& bufferSize) override;
  std::int8_t Op3(const char* text) override;
  std::int8_t OpenSession(const char* sessionInfoXml, std::string& sessionId,
                          std::string& error) override;
  std::int32_t QueryText(const char* query, std::int32_t n, char* text) override;
  std::int32_t QueryTextAlt(const char* query, std::int32_t n, char* text) override;
  std::int8_t PostText(const char* text) override;
  std::int8_t CloseSession(const char* session) override;
  std::int8_t Op9(const char* text) override;
  std::int8_t Op10(const char* first, std::int8_t flag, const char* second,
                   std::string& third) override;
  std::int8_t AddServiceProvider(const char* session, const char* providerName, std::int32_t n,
                                 const char* providerInfo, std::string& error) override;
  std::int8_t RemoveServiceProvider(const char* session, const char* providerName,
                                    std::string& error) override;
  std::int32_t GetServiceProviderFor(const char* session, const char* serviceName, std::int32_t n,
                                     char* text, std::string& error) override;
  std::int32_t GetServiceProviderInfo(const char* session, const char* providerName, std::int32_t n,
                                      char* text, std::string& error) override;
  std::int8_t UpdateServiceProviderInfo(const char* session, const char* providerName,
                                        std::int32_t n, const char* providerInfo,
                                        std::string& error) override;
  std::int8_t AddServices(const char* session, const char* providerName, std::int32_t n,
                          const char* services, std::string& error) override;
  std::int8_t RemoveServices(const char* session, const char* providerName, std::int32_t n,
                             const char* services, std::string& error) override;
  std::int32_t GetInfo(const char* session, const char* what, std::int32_t n, char* text,
                       std::string& error) override;
  std::int32_t GetServiceProviders(const char* session, std::int32_t n, char* text,
                                   std::string& error) override;
  std::int32_t GetServiceProvidersWithInfo(const char* session, std::int32_t n, char* text,
                                           std::string& error) override;
  std::int32_t GetServices(const char* session, const char* providerName, std::int32_t n,
                           char* text, std::string& error) override;
  std::int32_t GetServiceInfos(const char* session, const char* providerName, std::int32_t n,
                               char* text, std::string& error) override;
  std::int32_t GetServiceInfo(const char* session, const char* serviceName,
                              const char* providerName, std::int32_t n, char* text,
                              std::string& error) override;
  std::int8_t StopServer(const char* session, const char* text) override;
  std::int8_t OpenManagerSession(const char* sessionInfoXml, std::string& sessionId,
                                 std::string& error) override;
  std::int8_t Op26(std::string& first, std::string& second) override;
  std::int32_t GetServerInfo(const char* session, std::int32_t n, char* text,
                             std::string& error) override;
  std::int8_t CreateServiceProvider(const char* session, const char* first, const char* second,
                                    const char* third, std::string& error) override;
  std::int8_t DeleteServiceProvider(const char* session, const char* providerName,
                                    std::string& error) override;
  std::int8_t Op30(const char* first, const char* second, std::string& third) override;
  std::int8_t StopServiceProvider(const char* session, const char* providerName,
                                  std::string& error) override;
  std::int32_t GetServerConfigXml(const char* session, std::int32_t n, char* text,
                                  std::string& error) override;
  std::int8_t UpdateServerConfigXml(const char* session, const char* xml,
                                    std::string& error) override;
  std::int32_t GetServiceProviderConfigXml(const char* session, const char* providerName,
                                           std::int32_t n, char* text, std::string& error) override;
  std::int8_t UpdateServiceProviderConfigXml(const char* session, const char* providerName,
                                             const char* xml, std::string& error) override;
  std::int32_t GetServiceProvidersXml(const char* session, std::int32_t n, char* text,
                                      std::string& error) override;
  std::int32_t GetServicesXml(const char* session, std::int32_t n, char* text,
                              std::string& error) override;
  std::int8_t UpdateServicesXml(const char* session, const char* xml, std::string& error) override;
  std::int8_t AddServicesForManager(const char* session, const char* first, const char* second,
                                    const char* third, const char* fourth,
                                    std::string& error) override;
  std::int8_t RemoveService(const char* session, const char* first, const char* second,
                            std::string& error) override;
  std::int8_t StartService(const char* session, const char* serviceName,
                           std::string& error) override;
  std::int8_t StopService(const char* session, const char* serviceName,
                          std::string& error) override;
  std::int8_t Op43(const char* first, const char* second, std::string& third,
                   std::string& fourth) override;
  std::int8_t RefreshService(const char* session, const char* serviceName,
                             std::string& error) override;
  std::int8_t RefreshAllServices(const char* session, std::string& error) override;
  std::int32_t Op46(const char* first, const char* second, std::int32_t n, char* text,
                    std::string& third) override;
  std::int32_t Op47(const char* first, const char* second, std::int32_t n, char* text,
                    std::string& third) override;

 private:
  std::int8_t True(const char* operation, const char* detail);
  std::int8_t Session(const char* operation, const char* session, std::string& error);
  std::int32_t SessionText(const char* operation, const char* session, std::int32_t n, char* text,
                           std::string& error);
  std::int32_t Text(const char* operation, const char* detail, std::int32_t n, char* text);
  std::int8_t Open(const char* operation, std::string& sessionId, std::string& error);

  RefAnswers& answers_;
  const std::string version_;
};

class RefServerAutoBind final : public IServerAutoBindManager {
 public:
  explicit RefServerAutoBind(RefAnswers& answers) : answers_(answers) {}  // answers borrowed

  std::int8_t Op0(std::string& text) override;
  std::int8_t Op1(const char* first, std::string& second, std::string& third) override;
  std::int8_t Op2(const char* text) override;
  std::int8_t Op3(const char* first, std::int8_t flag, const char* second,
                  std::string& third) override;
  std::int8_t Op4(const char* first, const char* second, std::int32_t& size, char* text,
                  std::string& third) override;
  std::int8_t Op5(const char* first, const char* second, std::int32_t& size, char* text,
                  std::string& third) override;

 private:
  std::int8_t Sized(const char* operation, std::int32_t& size, char* text);

  RefAnswers& answers_;
};

}  // namespace rdx::refserver
