#pragma once
// Managers of the three interfaces that write down each call as "Name(arg,arg,...)" and give
// fixed answers: in/out strings become "r<index>", out buffers start with 'T', sizes
// shrink by one, doubles double, smalls return 1 and longs 7. Tests compare the record with
// what the client sent, which shows that each operation reaches its own member with its
// arguments in order.

#include <rdx/remote/IServerAutoBindManager.h>
#include <rdx/remote/IServerCoreManager.h>
#include <rdx/remote/IServiceProviderManager.h>

#include <cstdio>
#include <string>

namespace rdx::test {

// Short names keep each recorded member on one line.
using In = const char*;
using Io = std::string&;
using L = std::int32_t;
using Y = std::int8_t;
using U = std::uint8_t;

class Recorder {
 public:
  std::string record;

 protected:
  template <typename... A>
  std::int8_t Yes(const char* name, A&&... args) {
    Note(name, args...);
    return 1;
  }
  template <typename... A>
  std::int32_t Seven(const char* name, A&&... args) {
    Note(name, args...);
    return 7;
  }
  template <typename... A>
  void Note(const char* name, A&&... args) {
    record = name;
    record += '(';
    std::size_t index = 0;
    (Add(index++, args), ...);
    record += ')';
  }

 private:
  void Separate(std::size_t index) {
    if (index > 0) record += ',';
  }
  void Add(std::size_t index, const char* text) {
    Separate(index);
    record += text;
  }
  void Add(std::size_t index, std::string& text) {
    Separate(index);
    record += text;
    text = "r" + std::to_string(index);
  }
  void Add(std::size_t index, std::int32_t value) {
    Separate(index);
    record += std::to_string(value);
  }
  void Add(std::size_t index, std::int8_t value) { Add(index, std::int32_t{value}); }
  void Add(std::size_t index, double value) {
    Separate(index);
    char text[32];
    std::snprintf(text, sizeof text, "%g", value);
    record += text;
  }
  void Add(std::size_t index, std::int32_t* size) {
    Add(index, *size);
    *size -= 1;
  }
  void Add(std::size_t index, double* value) {
    Add(index, *value);
    *value *= 2;
  }
  void Add(std::size_t index, char* text) {
    Separate(index);
    record += "out";
    if (text != nullptr) text[0] = 'T';
  }
  void Add(std::size_t index, std::uint8_t* bytes) {
    Separate(index);
    record += "out";
    if (bytes != nullptr) bytes[0] = 'T';
  }
};

class RecordingServerCoreManager : public QUORVAN::Rendix::ServerCore::IServerCoreManager,
                                   public Recorder {
 public:
  Y GetVersion(Io a) override { return Yes("GetVersion", a); }
  Y Op1(In a) override { return Yes("Op1", a); }
  Y Op2(In a, In b, L c, U* d, L& e) override { return Yes("Op2", a, b, c, d, &e); }
  Y Op3(In a) override { return Yes("Op3", a); }
  Y OpenSession(In a, Io b, Io c) override { return Yes("OpenSession", a, b, c); }
  L QueryText(In a, L b, char* c) override { return Seven("QueryText", a, b, c); }
  L QueryTextAlt(In a, L b, char* c) override { return Seven("QueryTextAlt", a, b, c); }
  Y PostText(In a) override { return Yes("PostText", a); }
  Y CloseSession(In a) override { return Yes("CloseSession", a); }
  Y Op9(In a) override { return Yes("Op9", a); }
  Y Op10(In a, Y b, In c, Io d) override { return Yes("Op10", a, b, c, d); }
  Y AddServiceProvider(In a, In b, L c, In d, Io e) override {
    return Yes("AddServiceProvider", a, b, c, d, e);
  }
  Y RemoveServiceProvider(In a, In b, Io c) override {
    return Yes("RemoveServiceProvider", a, b, c);
  }
  L GetServiceProviderFor(In a, In b, L c, char* d, Io e) override {
    return Seven("GetServiceProviderFor", a, b, c, d, e);
  }
  L GetServiceProviderInfo(In a, In b, L c, char* d, Io e) override {
    return Seven("GetServiceProviderInfo", a, b, c, d, e);
  }
  Y UpdateServiceProviderInfo(In a, In b, L c, In d, Io e) override {
    return Yes("UpdateServiceProviderInfo", a, b, c, d, e);
  }
  Y AddServices(In a, In b, L c, In d, Io e) override { return Yes("AddServices", a, b, c, d, e); }
  Y RemoveServices(In a, In b, L c, In d, Io e) override {
    return Yes("RemoveServices", a, b, c, d, e);
  }
  L GetInfo(In a, In b, L c, char* d, Io e) override { return Seven("GetInfo", a, b, c, d, e); }
  L GetServiceProviders(In a, L b, char* c, Io d) override {
    return Seven("GetServiceProviders", a, b, c, d);
  }
  L GetServiceProvidersWithInfo(In a, L b, char* c, Io d) override {
    return Seven("GetServiceProvidersWithInfo", a, b, c, d);
  }
  L GetServices(In a, In b, L c, char* d, Io e) override {
    return Seven("GetServices", a, b, c, d, e);
  }
  L GetServiceInfos(In a, In b, L c, char* d, Io e) override {
    return Seven("GetServiceInfos", a, b, c, d, e);
  }
  L GetServiceInfo(In a, In b, In c, L d, char* e, Io f) override {
    return Seven("GetServiceInfo", a, b, c, d, e, f);
  }
  Y StopServer(In a, In b) override { return Yes("StopServer", a, b); }
  Y OpenManagerSession(In a, Io b, Io c) override { return Yes("OpenManagerSession", a, b, c); }
  Y Op26(Io a, Io b) override { return Yes("Op26", a, b); }
  L GetServerInfo(In a, L b, char* c, Io d) override { return Seven("GetServerInfo", a, b, c, d); }
  Y CreateServiceProvider(In a, In b, In c, In d, Io e) override {
    return Yes("CreateServiceProvider", a, b, c, d, e);
  }
  Y DeleteServiceProvider(In a, In b, Io c) override {
    return Yes("DeleteServiceProvider", a, b, c);
  }
  Y Op30(In a, In b, Io c) override { return Yes("Op30", a, b, c); }
  Y StopServiceProvider(In a, In b, Io c) override { return Yes("StopServiceProvider", a, b, c); }
  L GetServerConfigXml(In a, L b, char* c, Io d) override {
    return Seven("GetServerConfigXml", a, b, c, d);
  }
  Y UpdateServerConfigXml(In a, In b, Io c) override {
    return Yes("UpdateServerConfigXml", a, b, c);
  }
  L GetServiceProviderConfigXml(In a, In b, L c, char* d, Io e) override {
    return Seven("GetServiceProviderConfigXml", a, b, c, d, e);
  }
  Y UpdateServiceProviderConfigXml(In a, In b, In c, Io d) override {
    return Yes("UpdateServiceProviderConfigXml", a, b, c, d);
  }
  L GetServiceProvidersXml(In a, L b, char* c, Io d) override {
    return Seven("GetServiceProvidersXml", a, b, c, d);
  }
  L GetServicesXml(In a, L b, char* c, Io d) override {
    return Seven("GetServicesXml", a, b, c, d);
  }
  Y UpdateServicesXml(In a, In b, Io c) override { return Yes("UpdateServicesXml", a, b, c); }
  Y AddServicesForManager(In a, In b, In c, In d, In e, Io f) override {
    return Yes("AddServicesForManager", a, b, c, d, e, f);
  }
  Y RemoveService(In a, In b, In c, Io d) override { return Yes("RemoveService", a, b, c, d); }
  Y StartService(In a, In b, Io c) override { return Yes("StartService", a, b, c); }
  Y StopService(In a, In b, Io c) override { return Yes("StopService", a, b, c); }
  Y Op43(In a, In b, Io c, Io d) override { return Yes("Op43", a, b, c, d); }
  Y RefreshService(In a, In b, Io c) override { return Yes("RefreshService", a, b, c); }
  Y RefreshAllServices(In a, Io b) override { return Yes("RefreshAllServices", a, b); }
  L Op46(In a, In b, L c, char* d, Io e) override { return Seven("Op46", a, b, c, d, e); }
  L Op47(In a, In b, L c, char* d, Io e) override { return Seven("Op47", a, b, c, d, e); }
};

class RecordingServiceProviderManager
    : public QUORVAN::Rendix::ServiceProvider::IServiceProviderManager,
      public Recorder {
 public:
  Y Ping() override { return Yes("Ping"); }
  Y OpenServiceSession(In a, In b, Io c, Io d) override {
    return Yes("OpenServiceSession", a, b, c, d);
  }
  Y CloseSession(Io a, Io b) override { return Yes("CloseSession", a, b); }
  L GetServiceInfo(Io a, L b, char* c, Io d) override {
    return Seven("GetServiceInfo", a, b, c, d);
  }
  L GetServiceMetadata(Io a, In b, L c, char* d, Io e) override {
    return Seven("GetServiceMetadata", a, b, c, d, e);
  }
  L GetClientProperties(Io a, L b, char* c, Io d) override {
    return Seven("GetClientProperties", a, b, c, d);
  }
  L GetDefinition(Io a, L b, L c, char* d, Io e) override {
    return Seven("GetDefinition", a, b, c, d, e);
  }
  Y SetClientProperties(Io a, In b, Io c) override { return Yes("SetClientProperties", a, b, c); }
  Y SetAOI(Io a, double b, double c, double d, double e, L f, L g, In h, Io i) override {
    return Yes("SetAOI", a, b, c, d, e, f, g, h, i);
  }
  Y ExtractAOI(Io a, Io b) override { return Yes("ExtractAOI", a, b); }
  Y GetStreamingProperties(Io a, Io b, Io c) override {
    return Yes("GetStreamingProperties", a, b, c);
  }
  Y StreamImageBuffer(Io a, L& b, U* c, L d, L e, Io f) override {
    return Yes("StreamImageBuffer", a, &b, c, d, e, f);
  }
  Y DoneWithImage(Io a, Io b) override { return Yes("DoneWithImage", a, b); }
  L GetImageMetadata(Io a, In b, L c, char* d, Io e) override {
    return Seven("GetImageMetadata", a, b, c, d, e);
  }
  Y Op14(Io a, L& b, char* c) override { return Yes("Op14", a, &b, c); }
  L GetInfo(In a, L b, char* c, Io d) override { return Seven("GetInfo", a, b, c, d); }
  L GetServiceStates(L a, char* b, Io c) override { return Seven("GetServiceStates", a, b, c); }
  Y Synchronize(In a, Io b) override { return Yes("Synchronize", a, b); }
  Y UpdateServiceStates(In a, Io b) override { return Yes("UpdateServiceStates", a, b); }
  void Op19(double& a) override { Note("Op19", &a); }
  Y StopServiceProvider(In a) override { return Yes("StopServiceProvider", a); }
  L QueryProviderState() override { return Seven("QueryProviderState"); }
  Y Op22(In a, L b, char* c) override { return Yes("Op22", a, b, c); }
  Y Op23(In a, In b, In c, In d, Io e) override { return Yes("Op23", a, b, c, d, e); }
  Y Op24(In a, In b, Io c) override { return Yes("Op24", a, b, c); }
  Y Op25(In a, Io b) override { return Yes("Op25", a, b); }
  Y Op26(In a, Io b) override { return Yes("Op26", a, b); }
};

class RecordingServerAutoBindManager : public QUORVAN::Rendix::ServerCore::IServerAutoBindManager,
                                       public Recorder {
 public:
  Y Op0(Io a) override { return Yes("Op0", a); }
  Y Op1(In a, Io b, Io c) override { return Yes("Op1", a, b, c); }
  Y Op2(In a) override { return Yes("Op2", a); }
  Y Op3(In a, Y b, In c, Io d) override { return Yes("Op3", a, b, c, d); }
  Y Op4(In a, In b, L& c, char* d, Io e) override { return Yes("Op4", a, b, &c, d, e); }
  Y Op5(In a, In b, L& c, char* d, Io e) override { return Yes("Op5", a, b, &c, d, e); }
};

}  // namespace rdx::test
