#pragma once
#include <rdx/Export.h>

#include <cstdint>
#include <string>

namespace QUORVAN::Rendix::ServerCore {

/// The server side of the server interface (8a60fd6c-7ebf-4aee-839c-1df4243d03d2 v1.0): a host
/// process implements IServerCoreManager, wraps it with CreateServerCoreInterfaceSpec and hands
/// the result to StartRpcListener. Each remote call runs one member on an RPC thread; several
/// calls may run at once, so an implementation synchronises its own state.
///
/// Argument conventions, the same for every member:
/// - `const char*` in-strings are NUL-terminated and never null.
/// - `std::string&` in/out strings arrive with the caller's text; what the member leaves there
///   goes back. The caller's buffer only holds as many bytes as it sent, so an answer longer
///   than the incoming text is cut to that length.
/// - `(std::int32_t n, char* text)` out-texts: `text` holds n zero bytes; whatever is not
///   overwritten travels back as zeros. A `long` result follows the size protocol: negative =
///   failure, 0..n = the answer fitted, above n = the size the caller must offer.
/// - `(std::int32_t n, const char* data)` in-data: n bytes (senders count the text's NUL in
///   n), always followed by one more NUL, so `data` can be read as a text even when the
///   sender left its NUL out.
/// - `(std::int32_t& size, buffer)`: the buffer holds `size` zero bytes; set `size` to the
///   bytes written. A larger value than received is cut back; a negative one reads as 0.
/// - `small` results are booleans: non-zero = success; on failure put a status XML text in
///   the error string.
/// A member the host does not override fails the call: a `small` result 0, a `long` -1.
/// An exception escaping a member becomes a fault for that call; the server goes on.
/// The number after a member is its operation number.
class RDX_API IServerCoreManager {
 public:
  virtual ~IServerCoreManager();

  virtual std::int8_t GetVersion(std::string& version);  ///< 0
  virtual std::int8_t Op1(const char* text);             ///< 1
  virtual std::int8_t Op2(const char* text, const char* data, std::int32_t dataSize,
                          std::uint8_t* buffer, std::int32_t& bufferSize);  ///< 2
  virtual std::int8_t Op3(const char* text);                                ///< 3
  virtual std::int8_t OpenSession(const char* sessionInfoXml, std::string& sessionId,
                                  std::string& error);                            ///< 4
  virtual std::int32_t QueryText(const char* query, std::int32_t n, char* text);  ///< 5
  /// Operation 6.
  virtual std::int32_t QueryTextAlt(const char* query, std::int32_t n, char* text);
  virtual std::int8_t PostText(const char* text);         ///< 7
  virtual std::int8_t CloseSession(const char* session);  ///< 8
  virtual std::int8_t Op9(const char* text);              ///< 9
  virtual std::int8_t Op10(const char* first, std::int8_t flag, const char* second,
                           std::string& third);  ///< 10
  virtual std::int8_t AddServiceProvider(const char* session, const char* providerName,
                                         std::int32_t n, const char* providerInfo,
                                         std::string& error);  ///< 11
  virtual std::int8_t RemoveServiceProvider(const char* session, const char* providerName,
                                            std::string& error);  ///< 12
  virtual std::int32_t GetServiceProviderFor(const char* session, const char* serviceName,
                                             std::int32_t n, char* text,
                                             std::string& error);  ///< 13
  virtual std::int32_t GetServiceProviderInfo(const char* session, const char* providerName,
                                              std::int32_t n, char* text,
                                              std::string& error);  ///< 14
  virtual std::int8_t UpdateServiceProviderInfo(const char* session, const char* providerName,
                                                std::int32_t n, const char* providerInfo,
                                                std::string& error);  ///< 15
  virtual std::int8_t AddServices(const char* session, const char* providerName, std::int32_t n,
                                  const char* services,
                                  std::string& error);  ///< 16
  virtual std::int8_t RemoveServices(const char* session, const char* providerName, std::int32_t n,
                                     const char* services,
                                     std::string& error);  ///< 17
  virtual std::int32_t GetInfo(const char* session, const char* what, std::int32_t n, char* text,
                               std::string& error);  ///< 18
  virtual std::int32_t GetServiceProviders(const char* session, std::int32_t n, char* text,
                                           std::string& error);  ///< 19
  virtual std::int32_t GetServiceProvidersWithInfo(const char* session, std::int32_t n, char* text,
                                                   std::string& error);  ///< 20
  virtual std::int32_t GetServices(const char* session, const char* providerName, std::int32_t n,
                                   char* text, std::string& error);  ///< 21
  virtual std::int32_t GetServiceInfos(const char* session, const char* providerName,
                                       std::int32_t n, char* text,
                                       std::string& error);  ///< 22
  virtual std::int32_t GetServiceInfo(const char* session, const char* serviceName,
                                      const char* providerName, std::int32_t n, char* text,
                                      std::string& error);                ///< 23
  virtual std::int8_t StopServer(const char* session, const char* text);  ///< 24
  virtual std::int8_t OpenManagerSession(const char* sessionInfoXml, std::string& sessionId,
                                         std::string& error);         ///< 25
  virtual std::int8_t Op26(std::string& first, std::string& second);  ///< 26
  virtual std::int32_t GetServerInfo(const char* session, std::int32_t n, char* text,
                                     std::string& error);  ///< 27
  virtual std::int8_t CreateServiceProvider(const char* session, const char* first,
                                            const char* second, const char* third,
                                            std::string& error);  ///< 28
  virtual std::int8_t DeleteServiceProvider(const char* session, const char* providerName,
                                            std::string& error);  ///< 29
  /// Operation 30.
  virtual std::int8_t Op30(const char* first, const char* second, std::string& third);
  virtual std::int8_t StopServiceProvider(const char* session, const char* providerName,
                                          std::string& error);  ///< 31
  virtual std::int32_t GetServerConfigXml(const char* session, std::int32_t n, char* text,
                                          std::string& error);  ///< 32
  virtual std::int8_t UpdateServerConfigXml(const char* session, const char* xml,
                                            std::string& error);  ///< 33
  virtual std::int32_t GetServiceProviderConfigXml(const char* session, const char* providerName,
                                                   std::int32_t n, char* text,
                                                   std::string& error);  ///< 34
  virtual std::int8_t UpdateServiceProviderConfigXml(const char* session, const char* providerName,
                                                     const char* xml,
                                                     std::string& error);  ///< 35
  virtual std::int32_t GetServiceProvidersXml(const char* session, std::int32_t n, char* text,
                                              std::string& error);  ///< 36
  virtual std::int32_t GetServicesXml(const char* session, std::int32_t n, char* text,
                                      std::string& error);  ///< 37
  virtual std::int8_t UpdateServicesXml(const char* session, const char* xml,
                                        std::string& error);  ///< 38
  virtual std::int8_t AddServicesForManager(const char* session, const char* first,
                                            const char* second, const char* third,
                                            const char* fourth, std::string& error);  ///< 39
  virtual std::int8_t RemoveService(const char* session, const char* first, const char* second,
                                    std::string& error);  ///< 40
  virtual std::int8_t StartService(const char* session, const char* serviceName,
                                   std::string& error);  ///< 41
  virtual std::int8_t StopService(const char* session, const char* serviceName,
                                  std::string& error);  ///< 42
  virtual std::int8_t Op43(const char* first, const char* second, std::string& third,
                           std::string& fourth);  ///< 43
  virtual std::int8_t RefreshService(const char* session, const char* serviceName,
                                     std::string& error);                           ///< 44
  virtual std::int8_t RefreshAllServices(const char* session, std::string& error);  ///< 45
  virtual std::int32_t Op46(const char* first, const char* second, std::int32_t n, char* text,
                            std::string& third);  ///< 46
  virtual std::int32_t Op47(const char* first, const char* second, std::int32_t n, char* text,
                            std::string& third);  ///< 47
};

/// The interface description to pass to StartRpcListener (and StopRpcListener) as its
/// interfaceSpec; calls go to `manager`, which is borrowed and must outlive the listener.
/// Null when `manager` is null or memory is short. Free it with DestroyServerCoreInterfaceSpec
/// once the listener has stopped.
RDX_API void* CreateServerCoreInterfaceSpec(IServerCoreManager* manager) noexcept;
/// Frees what CreateServerCoreInterfaceSpec returned, once its listener has stopped;
/// null is ignored.
RDX_API void DestroyServerCoreInterfaceSpec(void* interfaceSpec) noexcept;

}  // namespace QUORVAN::Rendix::ServerCore
