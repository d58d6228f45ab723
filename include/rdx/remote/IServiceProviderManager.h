#pragma once
#include <rdx/Export.h>

#include <cstdint>
#include <string>

namespace QUORVAN::Rendix::ServiceProvider {

/// The server side of the service-provider interface (b9730071-b03f-42b3-b002-2c3996f28928
/// v1.0): a provider process implements IServiceProviderManager, wraps it with
/// CreateServiceProviderInterfaceSpec and hands the result to StartRpcListener. Calls may run
/// concurrently. The argument conventions are those of IServerCoreManager: `const char*`
/// in-strings, `std::string&` in/out strings cut to the length that came in, `(n, text)` out
/// texts of n zero bytes, `(size, buffer)` pairs whose buffer holds `size` zero bytes and whose
/// `size` the member sets to the bytes written. The session id is in/out throughout. A member
/// the host does not override fails the call: a `small` result 0, a `long` -1.
/// The number after a member is its operation number.
class RDX_API IServiceProviderManager {
 public:
  virtual ~IServiceProviderManager();

  virtual std::int8_t Ping();  ///< 0
  virtual std::int8_t OpenServiceSession(const char* serviceName, const char* clientInfo,
                                         std::string& session, std::string& error);  ///< 1
  virtual std::int8_t CloseSession(std::string& session, std::string& error);        ///< 2
  virtual std::int32_t GetServiceInfo(std::string& session, std::int32_t n, char* text,
                                      std::string& error);  ///< 3
  virtual std::int32_t GetServiceMetadata(std::string& session, const char* which, std::int32_t n,
                                          char* text,
                                          std::string& error);  ///< 4
  virtual std::int32_t GetClientProperties(std::string& session, std::int32_t n, char* text,
                                           std::string& error);  ///< 5
  /// `kind` travels as a 32-bit enumeration; its values are the provider's.
  virtual std::int32_t GetDefinition(std::string& session, std::int32_t kind, std::int32_t n,
                                     char* text, std::string& error);  ///< 6
  virtual std::int8_t SetClientProperties(std::string& session, const char* properties,
                                          std::string& error);  ///< 7
  virtual std::int8_t SetAOI(std::string& session, double xmin, double ymin, double xmax,
                             double ymax, std::int32_t width, std::int32_t height,
                             const char* options, std::string& error);       ///< 8
  virtual std::int8_t ExtractAOI(std::string& session, std::string& error);  ///< 9
  virtual std::int8_t GetStreamingProperties(std::string& session, std::string& properties,
                                             std::string& error);  ///< 10
  /// `buffer` holds `size` zero bytes; set `size` to the count written (0 is a valid answer).
  virtual std::int8_t StreamImageBuffer(std::string& session, std::int32_t& size,
                                        std::uint8_t* buffer, std::int32_t a, std::int32_t b,
                                        std::string& error);                    ///< 11
  virtual std::int8_t DoneWithImage(std::string& session, std::string& error);  ///< 12
  virtual std::int32_t GetImageMetadata(std::string& session, const char* which, std::int32_t n,
                                        char* text,
                                        std::string& error);                      ///< 13
  virtual std::int8_t Op14(std::string& text, std::int32_t& size, char* buffer);  ///< 14
  /// `infoKind` is "Basic" or "Detailed".
  virtual std::int32_t GetInfo(const char* infoKind, std::int32_t n, char* text,
                               std::string& error);  ///< 15
  /// Operation 16.
  virtual std::int32_t GetServiceStates(std::int32_t n, char* text, std::string& error);
  virtual std::int8_t Synchronize(const char* text, std::string& error);             ///< 17
  virtual std::int8_t UpdateServiceStates(const char* states, std::string& answer);  ///< 18
  virtual void Op19(double& value);                                                  ///< 19
  virtual std::int8_t StopServiceProvider(const char* text);                         ///< 20
  virtual std::int32_t QueryProviderState();                                         ///< 21
  virtual std::int8_t Op22(const char* text, std::int32_t n, char* answer);          ///< 22
  virtual std::int8_t Op23(const char* first, const char* second, const char* third,
                           const char* fourth, std::string& fifth);  ///< 23
  /// Operation 24.
  virtual std::int8_t Op24(const char* first, const char* second, std::string& third);
  virtual std::int8_t Op25(const char* first, std::string& second);  ///< 25
  virtual std::int8_t Op26(const char* first, std::string& second);  ///< 26
};

/// The interface description to pass to StartRpcListener (and StopRpcListener) as its
/// interfaceSpec; calls go to `manager`, which is borrowed and must outlive the listener.
/// Null when `manager` is null or memory is short. Free it with
/// DestroyServiceProviderInterfaceSpec once the listener has stopped.
RDX_API void* CreateServiceProviderInterfaceSpec(IServiceProviderManager* manager) noexcept;
/// Frees what CreateServiceProviderInterfaceSpec returned, once its listener has stopped;
/// null is ignored.
RDX_API void DestroyServiceProviderInterfaceSpec(void* interfaceSpec) noexcept;

}  // namespace QUORVAN::Rendix::ServiceProvider
