// Our client stubs against Impacket's DCERPCServer (impacket_server.py), an independent
// implementation: it decodes our requests with its own NDR classes and echoes what it
// decoded, so a wrong byte in any shape shows up here as a wrong answer. It also plays the
// server that dies while our call waits for its answer.

#include <gtest/gtest.h>

#include <chrono>
#include <filesystem>
#include <future>
#include <sstream>
#include <string>
#include <thread>
#include <vector>

#include "remote/TestServer.h"
#include "remote/interop/ChildProcess.h"
#include "remote/runtime/RpcRuntime.h"
#include "remote/stubs/ServerCoreClient.h"
#include "remote/stubs/ServiceProviderClient.h"

namespace rdx::rpc::test {
namespace {

// A caller buffer as the proxies prepare it: 'A' up to the last byte, then NUL.
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
        {RDX_SYSTEM_PYTHON, RDX_INTEROP_DIR "/impacket_server.py"}, {"PYTHONDONTWRITEBYTECODE=1"});
    ASSERT_NE(server_, nullptr);
    const auto ports = server_->WaitForLine("PORTS ", std::chrono::seconds(30));
    if (!ports) {
      if (server_->Output().find("No module named 'impacket'") != std::string::npos) {
        GTEST_SKIP() << "python3-impacket is not installed";
      }
      FAIL() << "Impacket server did not start:\n" << server_->Output();
    }
    std::string corePort, providerPort;
    std::istringstream(ports->substr(ports->find("PORTS ") + 6)) >> corePort >> providerPort;
    core_ = std::make_unique<Binding>("127.0.0.1", corePort);
    provider_ = std::make_unique<Binding>("127.0.0.1", providerPort);
    ASSERT_NE(core_->h, nullptr);
    ASSERT_NE(provider_->h, nullptr);
  }

  void TearDown() override {
    core_.reset();
    provider_.reset();
    if (server_) {
      EXPECT_EQ(server_->Stop(std::chrono::seconds(10)), exitStatus_) << server_->Output();
    }
  }

  std::unique_ptr<rdx::testing::ChildProcess> server_;
  std::unique_ptr<Binding> core_, provider_;
  int exitStatus_ = 0;
};

TEST_F(ImpacketServerInterop, ServerInterfaceShapesDecodeAsSent) {
  std::vector<char> version = Buffer(100);
  ASSERT_EQ(servercore::GetVersion(core_->h, version.data()), 1);
  EXPECT_STREQ(version.data(), "1.0.0.2");

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
    EXPECT_EQ(servercore::QueryText(core_->h, "hello", row.n, text.data()), row.result);
    EXPECT_EQ(std::string(text.data(), text.size()), row.text);
  }

  // in size_is(n) data long enough to need several request fragments; the harness reassembles.
  std::string data(20000, '\0');
  unsigned long sum = 0;
  for (std::size_t i = 0; i + 1 < data.size(); ++i) {
    data[i] = static_cast<char>('a' + i % 26);
    sum += static_cast<unsigned char>(data[i]);
  }
  std::vector<char> err = Buffer(200);
  ASSERT_EQ(
      servercore::AddServiceProvider(core_->h, "S", "prov", static_cast<std::int32_t>(data.size()),
                                     data.data(), err.data()),
      1);
  EXPECT_EQ(std::string(err.data()), "prov n=20000 len=20000 sum=" + std::to_string(sum));
}

TEST_F(ImpacketServerInterop, ServiceProviderShapesDecodeAsSent) {
  EXPECT_EQ(serviceprovider::Ping(provider_->h), 1);
  char session[] = "S7";
  std::vector<char> err = Buffer(200);
  ASSERT_EQ(serviceprovider::SetAOI(provider_->h, session, 0.5, 1.25, 2.0, -1.5, 640, 480, "x",
                                    err.data()),
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
    ASSERT_EQ(serviceprovider::StreamImageBuffer(provider_->h, session, &size, buffer.data(), row.a,
                                                 row.b, err.data()),
              1);
    ASSERT_EQ(size, row.written);
    for (std::int32_t i = 0; i < size; ++i) {
      ASSERT_EQ(buffer[i], static_cast<std::uint8_t>(3 * i + row.a - row.b)) << i;
    }
    EXPECT_EQ(buffer[std::size_t(row.offered)], 0xEE);
  }

  // An operation the script does not serve: its nca_s_op_rng_error is 1745 for the caller,
  // and the connection goes on serving.
  try {
    serviceprovider::QueryProviderState(provider_->h);
    ADD_FAILURE() << "no exception";
  } catch (const RpcException& failure) {
    EXPECT_EQ(failure.Status(), 1745u);
  }
  EXPECT_EQ(serviceprovider::Ping(provider_->h), 1);
}

// The server has the whole request and dies without answering (the script kills itself):
// the caller gets an exception, not a hang.
TEST_F(ImpacketServerInterop, ServerKilledDuringACallRaisesInsteadOfHanging) {
  std::vector<char> version = Buffer(100);
  ASSERT_EQ(servercore::GetVersion(core_->h, version.data()), 1);  // bound and connected
  std::promise<std::uint32_t> outcome;
  std::future<std::uint32_t> status = outcome.get_future();
  std::thread caller([&outcome, binding = core_->h] {
    try {
      servercore::Op1(binding, "die");
      outcome.set_value(0);
    } catch (const RpcException& failure) {
      outcome.set_value(failure.Status());
    }
  });
  if (status.wait_for(std::chrono::seconds(20)) != std::future_status::ready) {
    caller.detach();  // still blocked: report the hang rather than join it
    FAIL() << "the call did not return after the server died";
  }
  caller.join();
  EXPECT_EQ(status.get(), 1726u);  // the request went out whole; the answer never came
  exitStatus_ = 128 + 9;           // SIGKILL
}

}  // namespace
}  // namespace rdx::rpc::test
