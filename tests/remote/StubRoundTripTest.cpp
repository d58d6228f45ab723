// The typed client stubs against the server stubs and a host's managers over loopback TCP:
// failures, automatic binding and defaults. (The size protocol's second call, with answers
// of many fragments: ServerProxyTest and ServiceProviderProxyTest against rdx-refserver; each
// parameter shape: NdrShapesTest.)

#include <gtest/gtest.h>

#include <string>

#include "TestServer.h"
#include "platform/os/LastError.h"
#include "remote/stubs/ServerAutoBindClient.h"
#include "remote/stubs/ServerCoreClient.h"
#include "remote/stubs/ServiceProviderClient.h"

namespace rdx::rpc {
namespace {

class AutoBind : public QUORVAN::Rendix::ServerCore::IServerAutoBindManager {
 public:
  std::int8_t Op4(const char*, const char*, std::int32_t& size, char* text,
                  std::string& third) override {
    text[0] = 'T';
    size -= 1;
    third = "r4";
    return 1;
  }
};

class StubRoundTrip : public ::testing::Test {
 protected:
  QUORVAN::Rendix::ServerCore::IServerCoreManager core_;  // all defaults
  QUORVAN::Rendix::ServiceProvider::IServiceProviderManager provider_;
  AutoBind autoBind_;
  test::TestServer server_{&core_, &provider_, &autoBind_};
  test::Binding binding{server_};
  void* binding_ = binding.h;
};

TEST_F(StubRoundTrip, FailuresRaiseWithTheirStatus) {
  const struct {
    const char* name;
    void (*call)(void* binding);
    std::uint32_t status;
  } rows[] = {
      {"null reference argument", [](void* b) { servercore::Op1(b, nullptr); }, 1780},
      {"automatic binding not set", [](void*) { autobind::Op2("x"); }, 1702},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.name);
    try {
      row.call(binding_);
      ADD_FAILURE() << "no exception";
    } catch (const RpcException& e) {
      EXPECT_EQ(e.Status(), row.status);
      EXPECT_EQ(os::GetLastError(), row.status);
    }
  }
  autobind::SetBinding(binding_);
  char text[] = "AAAAAAA";
  char answer[4] = {'?', '?', '?', '?'};
  std::int32_t size = 4;
  EXPECT_EQ(autobind::Op4("a", "b", &size, answer, text), 1);
  EXPECT_EQ(size, 3);
  EXPECT_EQ(std::string(answer, 4), std::string("T\0\0?", 4));
  EXPECT_STREQ(text, "r4");
  autobind::SetBinding(nullptr);

  // Members the host left alone fail the call as the result convention says.
  EXPECT_EQ(servercore::PostText(binding_, "x"), 0);
  char states[8], error[] = "AAA";
  EXPECT_EQ(serviceprovider::GetServiceStates(binding_, sizeof states, states, error), -1);
}

}  // namespace
}  // namespace rdx::rpc
