#pragma once
#include <rdx/Export.h>
#include <rdx/foundation/Object.h>
#include <rdx/platform/XMLProperties.h>

#include <cstdint>
#include <string>

namespace QUORVAN::Rendix::ServiceProvider {

/// ProxyForManager: the managing side's connection to one service-provider process over TCP,
/// without a session. It reads and pushes the states of the provider's services, synchronises
/// the provider, asks for its basic or detailed information and stops it.
///
///   ProxyForManager provider;
///   if (provider.Init("<ServiceProvider><Config><HostMachine>imaging01</HostMachine>"
///                     "<Endpoint>3990</Endpoint></Config></ServiceProvider>") == 1) {
///     std::string errorText;
///     std::string states = provider.GetServiceStates(errorText);
///   }
///   provider.Close();
///
/// Results are int 1 (success) or 0, texts "" on failure; a failed call leaves items in the
/// status (Object::GetStatus) and, where the member has one, the provider's error text in
/// `errorText`. Not synchronised: one thread at a time; hand a copy to another thread.
class RDX_API ProxyForManager : public Global::Object {
 public:
  /// Not connected, empty configuration.
  ProxyForManager();
  /// Frees the binding handle.
  ~ProxyForManager() override;
  ///@{
  /// Copies every member; a connected source gives the copy a binding handle of its own to the
  /// same host and endpoint, so each copy frees only its own.
  ProxyForManager(const ProxyForManager& other);
  ProxyForManager& operator=(const ProxyForManager& other);
  ///@}

  /// Init: loads `configXml` (XML text or a file), reads "HostMachine" (empty = this machine)
  /// and "Endpoint" from the children of "//ServiceProvider/Config", connects over TCP and
  /// pings. 1 when the provider answers true; 0 otherwise (id 38145), and 0 without an item
  /// for XML that does not load. An earlier connection is closed first; a failure leaves the
  /// proxy unconnected.
  virtual int Init(const std::string& configXml);
  /// Close: frees the binding handle; 1 (0 with id 38399 on an unexpected failure).
  virtual int Close();
  /// GetServiceStates: the provider's service states; "" on failure, with the provider's error
  /// text (or, when the call itself failed, the status as XML, id 38146) in `errorText`.
  virtual std::string GetServiceStates(std::string& errorText);
  /// UpdateServiceStates: pushes `states`; 1 when the provider accepts them. On refusal
  /// `errorText` is the provider's answer; when the call fails, the status as XML (id 38147).
  virtual int UpdateServiceStates(const std::string& states, std::string& errorText);
  /// Synchronize: 1 when the provider answers true; 0 otherwise (id 38148 when the call fails).
  virtual int Synchronize(const std::string& text);
  ///@{
  /// GetInfo / GetDetailedInfo: the provider's basic or detailed information; "" on failure
  /// (ids 38149 and 38150).
  virtual std::string GetInfo();
  virtual std::string GetDetailedInfo();
  ///@}
  /// GetConnectionInfo: always "".
  virtual std::string GetConnectionInfo();
  /// StopServiceProvider: asks the provider to stop; 1 when it agrees, 0 otherwise (id 38150
  /// when the call fails).
  virtual int StopServiceProvider(const std::string& text);

 private:
  std::string Information(const char* source, std::int32_t id, const char* kind);
  void FreeHandle();

  /// status: Object::status_.
  GeneralUtilityLib::XMLProperties config_;  ///< the provider's configuration as loaded
  std::string hostMachine_;
  std::string endpoint_;
  void* handle_ = nullptr;  ///< owned binding handle; null = not connected
};

}  // namespace QUORVAN::Rendix::ServiceProvider
