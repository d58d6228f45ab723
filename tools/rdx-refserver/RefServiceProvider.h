#pragma once
// The reference server's answers on the service-provider interface: Ping is true (false when
// started with --ping false), sessions "S1", "S2", ..., StreamImageBuffer's byte i is
// (i + a + b) mod 256, SetAOI refuses an empty area, every out-text operation answers the
// fixed text, every other boolean one true.

#include <rdx/remote/IServiceProviderManager.h>

#include "RefAnswers.h"

namespace rdx::refserver {

using QUORVAN::Rendix::ServiceProvider::IServiceProviderManager;

class RefServiceProvider final : public IServiceProviderManager {
 public:
  // `answers` borrowed; `pingAnswer` is what Ping returns.
  explicit RefServiceProvider(RefAnswers& answers, bool pingAnswer = true)
      : answers_(answers), pingAnswer_(pingAnswer) {}

  std::int8_t Ping() override;
  std::int8_t OpenServiceSession(const char* serviceName, const char* clientInfo,
                                 std::string& session, std::string& error) override;
  std::int8_t CloseSession(std::string& session, std::string& error) override;
  std::int32_t GetServiceInfo(std::string& session, std::int32_t n, char* text,
                              std::string& error) override;
  std::int32_t GetServiceMetadata(std::string& session, const char* which, std::int32_t n,
                                  char* text, std::string& error) override;
  std::int32_t GetClientProperties(std::string& session, std::int32_t n, char* text,
                                   std::string& error) override;
  std::int32_t GetDefinition(std::string& session, std::int32_t kind, std::int32_t n, char* text,
                             std::string& error) override;
  std::int8_t SetClientProperties(std::string& session, const char* properties,
                                  std::string& error) override;
  std::int8_t SetAOI(std::string& session, double xmin, double ymin, double xmax, double ymax,
                     std::int32_t width, std::int32_t height, const char* options,
                     std::string& error) override;
  std::int8_t ExtractAOI(std::string& session, std::string& error) override;
  std::int8_t GetStreamingProperties(std::string& session, std::string& properties,
                                     std::string& error) override;
  std::int8_t StreamImageBuffer(std::string& session, std::int32_t& size, std::uint8_t* buffer,
                                std::int32_t a, std::int32_t b, std::string& error) override;
  std::int8_t DoneWithImage(std::string& session, std::string& error) override;
  std::int32_t GetImageMetadata(std::string& session, const char* which, std::int32_t n, char* text,
                                std::string& error) override;
  std::int8_t Op14(std::string& text, std::int32_t& size, char* buffer) override;
  std::int32_t GetInfo(const char* infoKind, std::int32_t n, char* text,
                       std::string& error) override;
  std::int32_t GetServiceStates(std::int32_t n, char* text, std::string& error) override;
  std::int8_t Synchronize(const char* text, std::string& error) override;
  std::int8_t UpdateServiceStates(const char* states, std::string& answer) override;
  void Op19(double& value) override;
  std::int8_t StopServiceProvider(const char* text) override;
  std::int32_t QueryProviderState() override;
  std::int8_t Op22(const char* text, std::int32_t n, char* answer) override;
  std::int8_t Op23(const char* first, const char* second, const char* third, const char* fourth,
                   std::string& fifth) override;
  std::int8_t Op24(const char* first, const char* second, std::string& third) override;
  std::int8_t Op25(const char* first, std::string& second) override;
  std::int8_t Op26(const char* first, std::string& second) override;

 private:
  std::int8_t True(const char* operation, const std::string& detail);
  std::int8_t Session(const char* operation, const std::string& session, std::string& error);
  std::int32_t SessionText(const char* operation, const std::string& session, std::int32_t n,
                           char* text, std::string& error);
  std::int32_t Text(const char* operation, std::int32_t n, char* text, std::string& error);

  RefAnswers& answers_;
  const bool pingAnswer_;
};

}  // namespace rdx::refserver
