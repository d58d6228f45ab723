#pragma once
#include <rdx/Export.h>
#include <rdx/foundation/NameValueMap.h>
#include <rdx/foundation/Object.h>
#include <rdx/platform/PropertyLookUp.h>

#include <cstddef>
#include <cstdint>
#include <functional>
#include <string>

namespace rdx::remote {
class ServiceProviderProxyInspector;
struct ProviderOperation;  ///< a session member's source and status ids
}  // namespace rdx::remote

namespace QUORVAN::Rendix::ServiceProvider {

/// ServiceProviderProxy: a client's connection to one service-provider process over TCP. It
/// opens a session on one image service, then asks for service information and metadata,
/// sets an area of interest, streams image buffers and closes the session.
///
///   ServiceProviderProxy proxy;
///   PropertyLookUp where;
///   where["HostMachine"] = "imaging01";  where["Endpoint"] = "3990";
///   if (proxy.Init(where) && !proxy.OpenServiceSession("Ortho2024", "<Client/>").empty()) {
///     std::string info = proxy.GetServiceInfo();
///     proxy.CloseSession("");
///   }
///   proxy.Close();
///
/// Every operation clears the status (Object::GetStatus) and fills it when it fails; items
/// carry the source "ServiceProviderProxy.<Member>". The session id lives in a 100-byte
/// buffer inside the proxy that travels as the in/out session of every session operation, so
/// the provider may rewrite it on any call; the session arguments of the members are not sent.
/// A communication failure in a session operation counts the session as lost.
/// Not synchronised: one thread at a time. Not copyable: the proxy owns its binding handle.
class RDX_API ServiceProviderProxy : public Global::Object {
 public:
  /// Not connected, no session.
  ServiceProviderProxy();
  /// Frees the binding handle; an open session is not closed remotely.
  ~ServiceProviderProxy() override;
  ServiceProviderProxy(const ServiceProviderProxy&) = delete;
  ServiceProviderProxy& operator=(const ServiceProviderProxy&) = delete;

  /// Init: connects to the provider at properties["Endpoint"] (a TCP port), trying
  /// "HostMachine" (empty = this machine), then "FQDN", then "IPAddress" (each only when
  /// given), and stops at the first that answers Ping with true. False when none does; the
  /// status then holds one item (id 36354) per failed attempt. Any earlier connection is
  /// closed first and the proxy starts without a session.
  virtual bool Init(const Global::NameValueMap& properties);
  /// The same with the values of a PropertyLookUp.
  virtual bool Init(const GeneralUtilityLib::PropertyLookUp& properties);
  /// Close: frees the binding handle; the session is not closed remotely (use CloseSession
  /// first). True; false with id 36607 on an unexpected failure.
  virtual bool Close();
  /// OpenServiceSession: opens a session on `service`; the session id, or "" on failure
  /// (id 36354: "Failed to open service: '<service>'." and the provider's error text).
  virtual std::string OpenServiceSession(const std::string& service, const std::string& clientInfo);
  /// CloseSession: closes the proxy's session (`session` is not sent) and forgets it, also
  /// when the provider refuses (false, id 36356 "Failed to close session: '<id>'.").
  virtual bool CloseSession(const std::string& session);
  ///@{
  /// The text members: the provider's answer, "" on failure. Only `request` of the metadata
  /// members is sent; GetClientProperties sends neither string; GetDefinition sends `level`.
  virtual std::string GetServiceInfo();
  virtual std::string GetServiceMetadata(const std::string& kind, const std::string& request);
  virtual std::string GetDefinition(const std::string& kind, int level);
  virtual std::string GetClientProperties(const std::string& a, const std::string& b);
  ///@}
  /// SetClientProperties: sends `properties` (`a` is not sent); the provider's answer.
  virtual bool SetClientProperties(const std::string& a, const std::string& properties);
  /// SetAOI: sends the area, width, height and options; the provider's answer.
  virtual bool SetAOI(const std::string& session, double xmin, double ymin, double xmax,
                      double ymax, std::uint32_t width, std::uint32_t height,
                      const std::string& options);
  /// ExtractAOI: calls the provider in the proxy's session (`session` is not sent); the
  /// provider's answer.
  virtual bool ExtractAOI(const std::string& session);
  /// GetStreamingProperties: the text the provider leaves in a 4000-byte buffer offered for
  /// it ("" on failure). `properties` is not sent: the buffer is all room for the answer.
  virtual std::string GetStreamingProperties(std::string properties);
  /// StreamImageBuffer: the provider writes up to `size` bytes into `buffer` (caller-owned,
  /// written although declared const); `size` comes back as the bytes written. `a` and `b`
  /// go as two 32-bit values. A null buffer with a non-zero size is refused without a call.
  virtual bool StreamImageBuffer(const std::string& session, const char* buffer,
                                 std::uint32_t& size, std::uint32_t a, std::uint32_t b);
  /// DoneWithImage: calls the provider in the proxy's session (`session` is not sent); the
  /// provider's answer.
  virtual bool DoneWithImage(const std::string& session);
  /// GetImageMetadata: only `request` is sent; the provider's answer, "" on failure.
  virtual std::string GetImageMetadata(const std::string& kind, const std::string& request);

  /// DoesSessionExist: whether the proxy holds a session id (not asked of the provider).
  bool DoesSessionExist();

 private:
  friend class rdx::remote::ServiceProviderProxyInspector;
  using Operation = rdx::remote::ProviderOperation;
  using BooleanCall = std::function<std::int8_t(void* handle, char* session, char* error)>;
  using TextCall = std::function<std::int32_t(void* handle, char* session, std::int32_t n,
                                              char* text, char* error)>;
  static constexpr std::size_t kSessionBytes = 100;

  /// ConnectionAlive: one Ping; false also when the call fails.
  bool ConnectionAlive();
  /// InitCheck: true with a handle; otherwise id 36355 and false.
  bool InitCheck();
  /// TryConnecting: 0 connected, 1 refused (Ping false), -1 no connection.
  int TryConnecting(const std::string& hostMachine, const std::string& endpoint);

  /// Clears the status and notes `source` as the operation in progress.
  void Begin(const char* source);
  bool InitFrom(const std::string& host, const std::string& fqdn, const std::string& address,
                const std::string& endpoint);
  bool CallBoolean(const Operation& operation, const BooleanCall& call);
  std::string CallText(const Operation& operation, const TextCall& call);
  /// After a communication failure: the member's item with the error text, session gone.
  void LoseSession(std::int32_t id);
  void FreeHandle();

  /// status: Object::status_.
  std::string operation_;   ///< source of the operation in progress
  void* handle_ = nullptr;  ///< owned binding handle; null = not connected
  /// The session id as NUL-terminated text, sent as is with every session operation and
  /// rewritten in place by the provider; all zero = no session.
  char sessionBuffer_[kSessionBytes] = {};
};

}  // namespace QUORVAN::Rendix::ServiceProvider
