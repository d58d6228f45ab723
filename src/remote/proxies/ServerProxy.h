#pragma once
// ServerProxy: the one implementation of IServerProxy. Every remote member runs the proxy
// calling pattern: status cleared under the member's source, the typed client stub called
// inside the RPC exception frame, a failure turned into the server's error text plus one
// summary item in front of it.

#include <rdx/foundation/Object.h>
#include <rdx/remote/IServerProxy.h>

#include <cstdint>
#include <functional>
#include <string>

namespace QUORVAN::Rendix::ServerCore {

class ServerProxy final : public IServerProxy, public Global::Object {
 public:
  ServerProxy() = default;
  // Closes the session; a connection left without one is freed as well.
  ~ServerProxy() override;
  ServerProxy(const ServerProxy&) = delete;
  ServerProxy& operator=(const ServerProxy&) = delete;

  int Init(const std::string& serverString) override;
  int Init(const Global::NameValueMap& properties) override;
  int Init(const GeneralUtilityLib::PropertyLookUp& properties) override;
  int Init(const std::string& hostMachine, const std::string& endpoint) override;

  bool QueryText(const std::string& request, std::string& answer) override;
  bool QueryTextAlt(const std::string& request, std::string& answer) override;
  bool PostText(const std::string& text) override;
  bool StopServer(const std::string& text) override;

  double GetVersion() override;
  bool IsValid() override { return true; }
  std::string GetInfo(const std::string& kind) override;

  bool AddServiceProvider(const std::string& name, const std::string& infoXml) override;
  bool RemoveServiceProvider(const std::string& name) override;
  bool UpdateServiceProviderInfo(const std::string& name, const std::string& infoXml) override;
  bool AddServices(const std::string& provider, const std::string& servicesXml) override;
  bool RemoveServices(const std::string& provider, const std::string& servicesXml) override;

  std::string GetServiceProviders() override;
  std::string GetServiceProvidersWithInfo() override;
  std::string GetServiceProviderFor(const std::string& service) override;
  std::string GetServiceProviderInfo(const std::string& provider) override;
  std::string GetServices(const std::string& provider) override;
  std::string GetServiceInfos(const std::string& provider) override;
  std::string GetServiceInfo(const std::string& service, const std::string& provider) override;

  void SetApplicationName(const std::string& name) override { applicationName_ = name; }
  bool Close() override;

  // Connects (TCP port 3982, then the server's pipe, when `endpoint` is empty), checks the
  // server's version and opens a session. False with status items.
  bool OpenSession(std::string hostMachine, std::string endpoint);

  // What a remote member needs besides its stub call: where its items come from and what
  // they say.
  struct Member {
    const char* source;          // "ServerCore.ServerProxy.<Member>"
    std::int32_t id;             // of the summary item
    const char* message;         // first "%s" the session id, a second one the argument
    std::int32_t firstSize = 0;  // text members: the first buffer offered
    // Text members whose refused first result (negative, or 1 to firstSize) has its own item.
    std::int32_t refusedId = 0;
    const char* refusedMessage = nullptr;
  };

 private:
  // The stub call of a boolean member, given the error buffer.
  using BooleanCall = std::function<std::int8_t(char* error)>;
  // The stub call of a text member, given the size offered, the text and error buffers.
  using TextCall = std::function<std::int32_t(std::int32_t size, char* text, char* error)>;

  bool CallBoolean(const Member& member, const std::string& argument, const BooleanCall& call);
  // `argument` and `second` fill the message after the session id.
  std::string CallText(const Member& member, const std::string& argument, const std::string& second,
                       const TextCall& call);
  // QueryText and QueryTextAlt: no session, no error buffer, no status.
  bool CallQuery(const char* source, const std::string& request, std::string& answer,
                 std::int32_t (*stub)(void*, const char*, std::int32_t, char*));
  // Clears the status under `source` and makes it the operation in progress.
  void Begin(const char* source);
  // The server's error text, then the member's summary item in front of it.
  void Fail(std::int32_t id, const char* message, const char* source, const std::string& argument,
            const std::string& second, const std::string& errorText);
  // Frees a connection left by an attempt that opened no session.
  void DropHandle();

  std::string operation_;     // source of the operation in progress
  void* handle_ = nullptr;    // null when not connected
  double serverVersion_ = 0;  // 0 until a session is open
  std::string applicationName_;
  // Kept after Close on purpose: messages of later failed calls still name the last session.
  std::string sessionId_;
};

}  // namespace QUORVAN::Rendix::ServerCore
