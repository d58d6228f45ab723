#include "RefServiceProvider.h"

#include <cstdio>
#include <string>

namespace rdx::refserver {
namespace {
constexpr const char* kProvider = "ServiceProviderInterface";
// What QueryProviderState answers: the provider is ready.
constexpr std::int32_t kProviderReady = 2;
}  // namespace

// ---- shapes shared by many operations ---------------------------------------------------

std::int8_t RefServiceProvider::True(const char* operation, const std::string& detail) {
  answers_.Log(kProvider, operation, detail, 1);
  return 1;
}

std::int8_t RefServiceProvider::Session(const char* operation, const std::string& session,
                                        std::string& error) {
  return answers_.SessionCall(kProvider, operation, session, error);
}

std::int32_t RefServiceProvider::SessionText(const char* operation, const std::string& session,
                                             std::int32_t n, char* text, std::string& error) {
  return answers_.SessionText(kProvider, operation, session, n, text, error);
}

std::int32_t RefServiceProvider::Text(const char* operation, std::int32_t n, char* text,
                                      std::string& error) {
  error.clear();
  const std::int32_t result = answers_.SizedText(operation, n, text);
  answers_.Log(kProvider, operation, "n=" + std::to_string(n), result);
  return result;
}

// ---- the operations -----------------------------------------------------------------------

std::int8_t RefServiceProvider::Ping() {
  answers_.Log(kProvider, "Ping", "", pingAnswer_ ? 1 : 0);
  return pingAnswer_ ? 1 : 0;
}

std::int8_t RefServiceProvider::OpenServiceSession(const char* serviceName, const char*,
                                                   std::string& session, std::string& error) {
  session = answers_.OpenSession();
  error.clear();
  answers_.Log(kProvider, "OpenServiceSession", std::string(serviceName) + " -> " + session, 1);
  return 1;
}
std::int8_t RefServiceProvider::CloseSession(std::string& session, std::string& error) {
  if (!answers_.CloseSession(session)) {
    error = RefAnswers::UnknownSession("CloseSession", session);
    answers_.Log(kProvider, "CloseSession", session, 0);
    return 0;
  }
  error.clear();
  answers_.Log(kProvider, "CloseSession", session, 1);
  return 1;
}
std::int32_t RefServiceProvider::GetServiceInfo(std::string& session, std::int32_t n, char* text,
                                                std::string& error) {
  return SessionText("GetServiceInfo", session, n, text, error);
}
std::int32_t RefServiceProvider::GetServiceMetadata(std::string& session, const char*,
                                                    std::int32_t n, char* text,
                                                    std::string& error) {
  return SessionText("GetServiceMetadata", session, n, text, error);
}
std::int32_t RefServiceProvider::GetClientProperties(std::string& session, std::int32_t n,
                                                     char* text, std::string& error) {
  return SessionText("GetClientProperties", session, n, text, error);
}
std::int32_t RefServiceProvider::GetDefinition(std::string& session, std::int32_t, std::int32_t n,
                                               char* text, std::string& error) {
  return SessionText("GetDefinition", session, n, text, error);
}
std::int8_t RefServiceProvider::SetClientProperties(std::string& session, const char*,
                                                    std::string& error) {
  return Session("SetClientProperties", session, error);
}
std::int8_t RefServiceProvider::SetAOI(std::string& session, double xmin, double ymin, double xmax,
                                       double ymax, std::int32_t width, std::int32_t height,
                                       const char*, std::string& error) {
  char area[160];
  std::snprintf(area, sizeof area, "%.17g, %.17g, %.17g, %.17g, %d x %d", xmin, ymin, xmax, ymax,
                static_cast<int>(width), static_cast<int>(height));
  if (!answers_.CheckSession(kProvider, "SetAOI", session, session, 0, error)) return 0;
  // Written as a negated "less than" so that NaN coordinates count as an empty area too.
  if (!(xmin < xmax && ymin < ymax)) {
    error = RefAnswers::StatusXml(kEmptyAreaId, "RefServer.SetAOI",
                                  std::string("Empty area of interest: ") + area);
    answers_.Log(kProvider, "SetAOI", area, 0);
    return 0;
  }
  error.clear();
  answers_.Log(kProvider, "SetAOI", area, 1);
  return 1;
}
std::int8_t RefServiceProvider::ExtractAOI(std::string& session, std::string& error) {
  return Session("ExtractAOI", session, error);
}
std::int8_t RefServiceProvider::GetStreamingProperties(std::string& session, std::string&,
                                                       std::string& error) {
  return Session("GetStreamingProperties", session, error);
}
std::int8_t RefServiceProvider::StreamImageBuffer(std::string& session, std::int32_t& size,
                                                  std::uint8_t* buffer, std::int32_t a,
                                                  std::int32_t b, std::string& error) {
  const std::string detail = session + ", size=" + std::to_string(size) +
                             ", a=" + std::to_string(a) + ", b=" + std::to_string(b);
  if (!answers_.CheckSession(kProvider, "StreamImageBuffer", session, detail, 0, error)) {
    size = 0;
    return 0;
  }
  for (std::int32_t i = 0; i < size; ++i) {
    buffer[i] = StreamByte(static_cast<std::uint32_t>(i), a, b);
  }
  error.clear();
  answers_.Log(kProvider, "StreamImageBuffer", detail, 1);
  return 1;
}
std::int8_t RefServiceProvider::DoneWithImage(std::string& session, std::string& error) {
  return Session("DoneWithImage", session, error);
}
std::int32_t RefServiceProvider::GetImageMetadata(std::string& session, const char*, std::int32_t n,
                                                  char* text, std::string& error) {
  return SessionText("GetImageMetadata", session, n, text, error);
}
std::int8_t RefServiceProvider::Op14(std::string&, std::int32_t& size, char* buffer) {
  const std::int32_t offered = size;
  size = answers_.CutText("Op14", size, buffer);
  return True("Op14", "size=" + std::to_string(offered));
}
std::int32_t RefServiceProvider::GetInfo(const char*, std::int32_t n, char* text,
                                         std::string& error) {
  return Text("GetInfo", n, text, error);
}
std::int32_t RefServiceProvider::GetServiceStates(std::int32_t n, char* text, std::string& error) {
  return Text("GetServiceStates", n, text, error);
}
std::int8_t RefServiceProvider::Synchronize(const char* text, std::string& error) {
  error.clear();
  return True("Synchronize", text);
}
std::int8_t RefServiceProvider::UpdateServiceStates(const char* states, std::string&) {
  return True("UpdateServiceStates", states);
}
void RefServiceProvider::Op19(double& value) {
  // Doubled, so a caller sees that the value made the round trip.
  char detail[64];
  std::snprintf(detail, sizeof detail, "%.17g", value);
  value *= 2;
  answers_.Log(kProvider, "Op19", detail, 0);
}
std::int8_t RefServiceProvider::StopServiceProvider(const char* text) {
  return True("StopServiceProvider", text);
}
std::int32_t RefServiceProvider::QueryProviderState() {
  answers_.Log(kProvider, "QueryProviderState", "", kProviderReady);
  return kProviderReady;
}
std::int8_t RefServiceProvider::Op22(const char* text, std::int32_t n, char* answer) {
  answers_.CutText("Op22", n, answer);
  return True("Op22", text);
}
std::int8_t RefServiceProvider::Op23(const char* first, const char*, const char*, const char*,
                                     std::string&) {
  return True("Op23", first);
}
std::int8_t RefServiceProvider::Op24(const char* first, const char*, std::string&) {
  return True("Op24", first);
}
std::int8_t RefServiceProvider::Op25(const char* first, std::string&) {
  return True("Op25", first);
}
std::int8_t RefServiceProvider::Op26(const char* first, std::string&) {
  return True("Op26", first);
}

}  // namespace rdx::refserver
