// Our client stubs against Impacket's DCERPCServer (impacket_server.py), an independent
// implementation: it decodes our requests with its own NDR classes and echoes what it
// decoded, so a wrong byte in any shape shows up here as a wrong answer.

#include <gtest/gtest.h>

#include <rdx/remote/RpcHandle.h>

#include <chrono>
#include <cstdio>
#include <filesystem>
#include <sstream>
#include <string>
#include <vector>

#include "remote/interop/ChildProcess.h"
#include "remote/runtime/RpcRuntime.h"
#include "remote/stubs/ServerCoreClient.h"
#include "remote/stubs/ServiceProviderClient.h"

namespace {

namespace core = rdx::rpc::servercore;
namespace provider = rdx::rpc::serviceprovider;
using QUORVAN::Rendix::GeneralUtilityLib::FreeRpcHandle;
using QUORVAN::Rendix::GeneralUtilityLib::GetRpcHandle;

std::vector<char> Buffer(std::size_t capacity) {
  std::vector<char> buffer(capacity, 'A');
  buffer.back() = '\0';
  return buffer;
}

class ImpacketServerInterop : public ::testing::Test {
 protected:
  void SetUp() override {
    if (!std::filesystem::exists(RDX_SYSTEM_PYTHON)) {
      GTEST_SKIP() << RDX_SYSTEM_PYTHON " is not installed";
    }
    server_ = rdx::testing::ChildProcess::Start(
        {RDX_SYSTEM_PYTHON, RDX_INTEROP_DIR "/impacket_server.py"},
        {"PYTHONDONTWRITEBYTECODE=1"});
    ASSERT_NE(server_, nullptr);
    const auto ports = server_->WaitForLine("PORTS ", std::chrono::seconds(30));
    if (!ports) {
      // Without python3-impacket there is no independent server to talk to.
      if (server_->Output().find("No module named 'impacket'") != std::string::npos) {
        GTEST_SKIP() << "python3-impacket is not installed";
      }
      FAIL() << "Impacket server did not start:\n" << server_->Output();
    }
    std::istringstream words(ports->substr(ports->find("PORTS ") + 6));
    words >> corePort_ >> providerPort_;
    ASSERT_FALSE(corePort_.empty());
    ASSERT_FALSE(providerPort_.empty());
  }

  void TearDown() override {
    for (void*& handle : handles_) FreeRpcHandle(handle);
    if (server_) {
      server_->CloseInput();  // the script serves until its standard input ends
      EXPECT_EQ(server_->Stop(0, std::chrono::seconds(10)), 0) << server_->Output();
    }
  }

  void* Handle(std::string port) {
    std::string host = "127.0.0.1";
    std::string protocol = "ncacn_ip_tcp";
    std::string errorText;
    void* handle = GetRpcHandle(reinterpret_cast<unsigned char*>(host.data()),
                                reinterpret_cast<unsigned char*>(port.data()),
                                reinterpret_cast<unsigned char*>(protocol.data()), errorText);
    EXPECT_NE(handle, nullptr);
    handles_.push_back(handle);
    return handle;
  }

  std::unique_ptr<rdx::testing::ChildProcess> server_;
  std::string corePort_, providerPort_;
  std::vector<void*> handles_;
};

TEST_F(ImpacketServerInterop, ServerInterfaceShapesDecodeAsSent) {
  void* binding = Handle(corePort_);
  std::vector<char> version = Buffer(100);
  ASSERT_EQ(core::GetVersion(binding, version.data()), 1);
  EXPECT_STREQ(version.data(), "1.0.0.2");

  std::vector<char> session = Buffer(1000), error = Buffer(1000);
  ASSERT_EQ(core::OpenSession(binding, "<Info a='1'/>", session.data(), error.data()), 1);
  EXPECT_STREQ(session.data(), "sess:<Info a='1'/>");
  EXPECT_STREQ(error.data(), "");

  // out text(n) and the long result of the size protocol, on both sides of the bound.
  struct Row {
    std::int32_t n;
    std::int32_t result;
    std::string text;
  };
  for (const Row& row : {Row{4, 10, std::string(4, '\0')}, Row{10, 0, "echo:hello"},
                         Row{16, 0, std::string("echo:hello") + std::string(6, '\0')}}) {
    SCOPED_TRACE(row.n);
    std::vector<char> text(static_cast<std::size_t>(row.n), 'Z');
    EXPECT_EQ(core::QueryText(binding, "hello", row.n, text.data()), row.result);
    EXPECT_EQ(std::string(text.data(), text.size()), row.text);
  }

  // in size_is(n) data long enough to need several request fragments; Impacket reassembles.
  std::string data(20000, '\0');
  unsigned long sum = 0;
  for (std::size_t i = 0; i + 1 < data.size(); ++i) {
    data[i] = static_cast<char>('a' + i % 26);
    sum += static_cast<unsigned char>(data[i]);
  }
  std::vector<char> err = Buffer(200);
  ASSERT_EQ(core::AddServiceProvider(binding, "S", "prov", static_cast<std::int32_t>(data.size()),
                                     data.data(), err.data()),
            1);
  EXPECT_EQ(std::string(err.data()), "prov n=20000 len=20000 sum=" + std::to_string(sum));
}

TEST_F(ImpacketServerInterop, ServiceProviderShapesDecodeAsSent) {
  void* binding = Handle(providerPort_);
  EXPECT_EQ(provider::Ping(binding), 1);

  char session[] = "S7";
  std::vector<char> err = Buffer(200);
  std::vector<char> text(64, 'Z');
  EXPECT_EQ(provider::GetDefinition(binding, session, 3, 64, text.data(), err.data()), 0);
  EXPECT_STREQ(text.data(), "kind=3 session=S7");
  EXPECT_EQ(provider::GetDefinition(binding, session, 3, 5, text.data(), err.data()), 17);

  err = Buffer(200);
  ASSERT_EQ(provider::SetAOI(binding, session, 0.5, 1.25, 2.0, -1.5, 640, 480, "x", err.data()),
            1);
  EXPECT_STREQ(err.data(), "0.5 1.25 2.0 -1.5 640 480 x");
  EXPECT_STREQ(session, "S7");

  // size* with out bytes(*size): the server writes fewer bytes than offered.
  struct Row {
    std::int32_t offered, written, a, b;
  };
  for (const Row& row : {Row{4000, 1000, 9, 2}, Row{10, 10, 0, 0}, Row{0, 0, 1, 1}}) {
    SCOPED_TRACE(row.offered);
    std::vector<std::uint8_t> buffer(static_cast<std::size_t>(row.offered) + 1, 0xEE);
    std::int32_t size = row.offered;
    err = Buffer(200);
    ASSERT_EQ(provider::StreamImageBuffer(binding, session, &size, buffer.data(), row.a, row.b,
                                          err.data()),
              1);
    ASSERT_EQ(size, row.written);
    for (std::int32_t i = 0; i < size; ++i) {
      ASSERT_EQ(buffer[i], static_cast<std::uint8_t>(3 * i + row.a - row.b)) << i;
    }
  }

  double value = 3.25;
  provider::Op19(binding, &value);
  EXPECT_EQ(value, 6.5);
  EXPECT_EQ(provider::QueryProviderState(binding), 4);
}

TEST_F(ImpacketServerInterop, FaultFromTheIndependentServerRaisesWindowsStatus) {
  void* binding = Handle(providerPort_);
  EXPECT_EQ(provider::Ping(binding), 1);
  // Operation 13 is not served by the script: it answers nca_s_op_rng_error.
  std::vector<char> text(16);
  std::vector<char> err = Buffer(100);
  char session[] = "S1";
  try {
    provider::GetImageMetadata(binding, session, "x", 16, text.data(), err.data());
    ADD_FAILURE() << "no exception";
  } catch (const rdx::rpc::RpcException& failure) {
    EXPECT_EQ(failure.Status(), 1745u);
  }
  EXPECT_EQ(provider::Ping(binding), 1);
}

}  // namespace
