#include "RefServerCore.h"

#include <string>

namespace rdx::refserver {
namespace {
constexpr const char* kCore = "ServerCoreInterface";
constexpr const char* kAutoBind = "ServerAutoBindInterface";
}  // namespace

// ---- shapes shared by many operations ---------------------------------------------------

std::int8_t RefServerCore::True(const char* operation, const char* detail) {
  answers_.Log(kCore, operation, detail, 1);
  return 1;
}

std::int8_t RefServerCore::Session(const char* operation, const char* session, std::string& error) {
  return answers_.SessionCall(kCore, operation, session, error);
}

std::int32_t RefServerCore::SessionText(const char* operation, const char* session, std::int32_t n,
                                        char* text, std::string& error) {
  return answers_.SessionText(kCore, operation, session, n, text, error);
}

std::int32_t RefServerCore::Text(const char* operation, const char* detail, std::int32_t n,
                                 char* text) {
  const std::int32_t result = answers_.SizedText(operation, n, text);
  answers_.Log(kCore, operation, std::string(detail) + ", n=" + std::to_string(n), result);
  return result;
}

std::int8_t RefServerCore::Open(const char* operation, std::string& sessionId, std::string& error) {
  sessionId = answers_.OpenSession();
  error.clear();
  answers_.Log(kCore, operation, sessionId, 1);
  return 1;
}

// ---- the operations -----------------------------------------------------------------------

std::int8_t RefServerCore::GetVersion(std::string& version) {
  version = version_;
  return True("GetVersion", version_.c_str());
}
std::int8_t RefServerCore::Op1(const char* text) { return True("Op1", text); }
std::int8_t RefServerCore::Op2(const char* text, const char*, std::int32_t dataSize,
                               std::uint8_t* buffer, std::int32_t& bufferSize) {
  bufferSize = answers_.CutText("Op2", bufferSize, reinterpret_cast<char*>(buffer));
  return True("Op2", (std::string(text) + ", data " + std::to_string(dataSize)).c_str());
}
std::int8_t RefServerCore::Op3(const char* text) { return True("Op3", text); }
std::int8_t RefServerCore::OpenSession(const char*, std::string& sessionId, std::string& error) {
  return Open("OpenSession", sessionId, error);
}
std::int32_t RefServerCore::QueryText(const char* query, std::int32_t n, char* text) {
  return Text("QueryText", query, n, text);
}
std::int32_t RefServerCore::QueryTextAlt(const char* query, std::int32_t n, char* text) {
  return Text("QueryTextAlt", query, n, text);
}
std::int8_t RefServerCore::PostText(const char* text) { return True("PostText", text); }
std::int8_t RefServerCore::CloseSession(const char* session) {
  const bool closed = answers_.CloseSession(session);
  answers_.Log(kCore, "CloseSession", session, closed ? 1 : 0);
  return closed ? 1 : 0;
}
std::int8_t RefServerCore::Op9(const char* text) { return True("Op9", text); }
std::int8_t RefServerCore::Op10(const char* first, std::int8_t, const char*, std::string&) {
  return True("Op10", first);
}
std::int8_t RefServerCore::AddServiceProvider(const char* session, const char*, std::int32_t,
                                              const char*, std::string& error) {
  return Session("AddServiceProvider", session, error);
}
std::int8_t RefServerCore::RemoveServiceProvider(const char* session, const char*,
                                                 std::string& error) {
  return Session("RemoveServiceProvider", session, error);
}
std::int32_t RefServerCore::GetServiceProviderFor(const char* session, const char*, std::int32_t n,
                                                  char* text, std::string& error) {
  return SessionText("GetServiceProviderFor", session, n, text, error);
}
std::int32_t RefServerCore::GetServiceProviderInfo(const char* session, const char*, std::int32_t n,
                                                   char* text, std::string& error) {
  return SessionText("GetServiceProviderInfo", session, n, text, error);
}
std::int8_t RefServerCore::UpdateServiceProviderInfo(const char* session, const char*, std::int32_t,
                                                     const char*, std::string& error) {
  return Session("UpdateServiceProviderInfo", session, error);
}
std::int8_t RefServerCore::AddServices(const char* session, const char*, std::int32_t, const char*,
                                       std::string& error) {
  return Session("AddServices", session, error);
}
std::int8_t RefServerCore::RemoveServices(const char* session, const char*, std::int32_t,
                                          const char*, std::string& error) {
  return Session("RemoveServices", session, error);
}
std::int32_t RefServerCore::GetInfo(const char* session, const char*, std::int32_t n, char* text,
                                    std::string& error) {
  return SessionText("GetInfo", session, n, text, error);
}
std::int32_t RefServerCore::GetServiceProviders(const char* session, std::int32_t n, char* text,
                                                std::string& error) {
  return SessionText("GetServiceProviders", session, n, text, error);
}
std::int32_t RefServerCore::GetServiceProvidersWithInfo(const char* session, std::int32_t n,
                                                        char* text, std::string& error) {
  return SessionText("GetServiceProvidersWithInfo", session, n, text, error);
}
std::int32_t RefServerCore::GetServices(const char* session, const char*, std::int32_t n,
                                        char* text, std::string& error) {
  return SessionText("GetServices", session, n, text, error);
}
std::int32_t RefServerCore::GetServiceInfos(const char* session, const char*, std::int32_t n,
                                            char* text, std::string& error) {
  return SessionText("GetServiceInfos", session, n, text, error);
}
std::int32_t RefServerCore::GetServiceInfo(const char* session, const char*, const char*,
                                           std::int32_t n, char* text, std::string& error) {
  return SessionText("GetServiceInfo", session, n, text, error);
}
std::int8_t RefServerCore::StopServer(const char* session, const char*) {
  std::string ignored;
  return Session("StopServer", session, ignored);
}
std::int8_t RefServerCore::OpenManagerSession(const char*, std::string& sessionId,
                                              std::string& error) {
  return Open("OpenManagerSession", sessionId, error);
}
std::int8_t RefServerCore::Op26(std::string& first, std::string&) {
  return True("Op26", first.c_str());
}
std::int32_t RefServerCore::GetServerInfo(const char* session, std::int32_t n, char* text,
                                          std::string& error) {
  return SessionText("GetServerInfo", session, n, text, error);
}
std::int8_t RefServerCore::CreateServiceProvider(const char* session, const char*, const char*,
                                                 const char*, std::string& error) {
  return Session("CreateServiceProvider", session, error);
}
std::int8_t RefServerCore::DeleteServiceProvider(const char* session, const char*,
                                                 std::string& error) {
  return Session("DeleteServiceProvider", session, error);
}
std::int8_t RefServerCore::Op30(const char* first, const char*, std::string&) {
  return True("Op30", first);
}
std::int8_t RefServerCore::StopServiceProvider(const char* session, const char*,
                                               std::string& error) {
  return Session("StopServiceProvider", session, error);
}
std::int32_t RefServerCore::GetServerConfigXml(const char* session, std::int32_t n, char* text,
                                               std::string& error) {
  return SessionText("GetServerConfigXml", session, n, text, error);
}
std::int8_t RefServerCore::UpdateServerConfigXml(const char* session, const char*,
                                                 std::string& error) {
  return Session("UpdateServerConfigXml", session, error);
}
std::int32_t RefServerCore::GetServiceProviderConfigXml(const char* session, const char*,
                                                        std::int32_t n, char* text,
                                                        std::string& error) {
  return SessionText("GetServiceProviderConfigXml", session, n, text, error);
}
std::int8_t RefServerCore::UpdateServiceProviderConfigXml(const char* session, const char*,
                                                          const char*, std::string& error) {
  return Session("UpdateServiceProviderConfigXml", session, error);
}
std::int32_t RefServerCore::GetServiceProvidersXml(const char* session, std::int32_t n, char* text,
                                                   std::string& error) {
  return SessionText("GetServiceProvidersXml", session, n, text, error);
}
std::int32_t RefServerCore::GetServicesXml(const char* session, std::int32_t n, char* text,
                                           std::string& error) {
  return SessionText("GetServicesXml", session, n, text, error);
}
std::int8_t RefServerCore::UpdateServicesXml(const char* session, const char*, std::string& error) {
  return Session("UpdateServicesXml", session, error);
}
std::int8_t RefServerCore::AddServicesForManager(const char* session, const char*, const char*,
                                                 const char*, const char*, std::string& error) {
  return Session("AddServicesForManager", session, error);
}
std::int8_t RefServerCore::RemoveService(const char* session, const char*, const char*,
                                         std::string& error) {
  return Session("RemoveService", session, error);
}
std::int8_t RefServerCore::StartService(const char* session, const char*, std::string& error) {
  return Session("StartService", session, error);
}
std::int8_t RefServerCore::StopService(const char* session, const char*, std::string& error) {
  return Session("StopService", session, error);
}
std::int8_t RefServerCore::Op43(const char* first, const char*, std::string&, std::string&) {
  return True("Op43", first);
}
std::int8_t RefServerCore::RefreshService(const char* session, const char*, std::string& error) {
  return Session("RefreshService", session, error);
}
std::int8_t RefServerCore::RefreshAllServices(const char* session, std::string& error) {
  return Session("RefreshAllServices", session, error);
}
std::int32_t RefServerCore::Op46(const char* first, const char*, std::int32_t n, char* text,
                                 std::string&) {
  return Text("Op46", first, n, text);
}
std::int32_t RefServerCore::Op47(const char* first, const char*, std::int32_t n, char* text,
                                 std::string&) {
  return Text("Op47", first, n, text);
}

// ---- the automatic-binding interface ----------------------------------------------------

std::int8_t RefServerAutoBind::Sized(const char* operation, std::int32_t& size, char* text) {
  const std::int32_t offered = size;
  size = answers_.CutText(operation, size, text);
  answers_.Log(kAutoBind, operation, "size=" + std::to_string(offered), 1);
  return 1;
}

std::int8_t RefServerAutoBind::Op0(std::string& text) {
  answers_.Log(kAutoBind, "Op0", text, 1);
  return 1;
}
std::int8_t RefServerAutoBind::Op1(const char* first, std::string&, std::string&) {
  answers_.Log(kAutoBind, "Op1", first, 1);
  return 1;
}
std::int8_t RefServerAutoBind::Op2(const char* text) {
  answers_.Log(kAutoBind, "Op2", text, 1);
  return 1;
}
std::int8_t RefServerAutoBind::Op3(const char* first, std::int8_t, const char*, std::string&) {
  answers_.Log(kAutoBind, "Op3", first, 1);
  return 1;
}
std::int8_t RefServerAutoBind::Op4(const char*, const char*, std::int32_t& size, char* text,
                                   std::string&) {
  return Sized("Op4", size, text);
}
std::int8_t RefServerAutoBind::Op5(const char*, const char*, std::int32_t& size, char* text,
                                   std::string&) {
  return Sized("Op5", size, text);
}

}  // namespace rdx::refserver
