#pragma once
#include <rdx/Export.h>
#include <rdx/foundation/IObject.h>
#include <rdx/foundation/NameValueMap.h>
#include <rdx/foundation/Status.h>
#include <rdx/platform/PropertyLookUp.h>

#include <string>

namespace QUORVAN::Rendix::ServerCore {

/// IServerProxy: a client's connection to the central server process. It opens a session
/// (with a version check) and then registers and queries service providers and services.
/// Every failure is reported through GetStatus() and a false, 0 or empty result; nothing is
/// thrown.
///
///   IServerProxy* server = IServerProxy::Create();
///   server->SetApplicationName("Viewer");
///   if (server->Init("imaging-host:3982")) {
///     std::string providers = server->GetServiceProviders();
///   } else {
///     std::puts(server->GetStatus().ToTextString("").c_str());
///   }
///   server->Close();
///   delete server;
///
/// A proxy is used by one thread at a time.
class RDX_API IServerProxy : public virtual Global::IObject {
 public:
  /// Closes first, then connects to "host" or "host:endpoint" (endpoint a TCP port or a pipe
  /// path such as "\\pipe\\QUORVANRendix") and opens a session. A host alone tries TCP port
  /// 3982, then that pipe. Non-zero on success; 0 with status items (36628 for "").
  virtual int Init(const std::string& serverString) = 0;
  ///@{
  /// The same with the values "HostMachine" and "Endpoint" (missing ones count as empty).
  virtual int Init(const Global::NameValueMap& properties) = 0;
  virtual int Init(const GeneralUtilityLib::PropertyLookUp& properties) = 0;
  virtual int Init(const std::string& hostMachine, const std::string& endpoint) = 0;
  ///@}

  ///@{
  /// The server's free-form text query; no session needed, no status written. False when the
  /// server refuses or cannot be reached.
  virtual bool QueryText(const std::string& request, std::string& answer) = 0;
  virtual bool QueryTextAlt(const std::string& request, std::string& answer) = 0;
  ///@}
  /// Hands `text` to the server; its answer, false when it cannot be reached. No status.
  virtual bool PostText(const std::string& text) = 0;
  /// Asks the server process to stop; false with a status item when it refuses.
  virtual bool StopServer(const std::string& text) = 0;

  /// The server's version as one number ("1.0.0.2" is 1.002); 0 until a session is open.
  virtual double GetVersion() = 0;
  /// Always true.
  virtual bool IsValid() = 0;
  /// The server's information of that kind; "" with status items on failure.
  virtual std::string GetInfo(const std::string& kind) = 0;

  ///@{
  /// Registration of providers and their services. `infoXml` and `servicesXml` are the
  /// server's XML texts, passed unchanged. False with status items on failure.
  virtual bool AddServiceProvider(const std::string& name, const std::string& infoXml) = 0;
  virtual bool RemoveServiceProvider(const std::string& name) = 0;
  virtual bool UpdateServiceProviderInfo(const std::string& name, const std::string& infoXml) = 0;
  virtual bool AddServices(const std::string& provider, const std::string& servicesXml) = 0;
  virtual bool RemoveServices(const std::string& provider, const std::string& servicesXml) = 0;
  ///@}

  ///@{
  /// Queries; each returns the server's text (of any length) or "" with status items.
  virtual std::string GetServiceProviders() = 0;
  virtual std::string GetServiceProvidersWithInfo() = 0;
  virtual std::string GetServiceProviderFor(const std::string& service) = 0;
  virtual std::string GetServiceProviderInfo(const std::string& provider) = 0;
  virtual std::string GetServices(const std::string& provider) = 0;
  virtual std::string GetServiceInfos(const std::string& provider) = 0;
  virtual std::string GetServiceInfo(const std::string& service, const std::string& provider) = 0;
  ///@}

  /// The name announced in the session information of the next Init; "" by default.
  virtual void SetApplicationName(const std::string& name) = 0;
  /// Ends the session and drops the connection; true, also when nothing was open. False
  /// (connection kept for the next Init) when a connection has no session.
  virtual bool Close() = 0;

  /// A new proxy, not connected; the caller deletes it through this interface. Null only
  /// when memory ran out.
  static IServerProxy* Create();
  /// Makes `handle` (overwritten, not freed) a binding to the server and pings it. False when
  /// no handle could be made (36610) or nobody answers (36609, the system text of 1722 as
  /// details; the handle is then left allocated). Any other fault counts as a server
  /// answering: true.
  static bool TryConnecting(const std::string& hostMachine, const std::string& endpoint,
                            void*& handle, GeneralUtilityLib::Status& status);
};

}  // namespace QUORVAN::Rendix::ServerCore
