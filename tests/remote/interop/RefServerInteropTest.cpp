// Our client stubs against the reference server process, over TCP and the pipe socket: the
// documented fixed answers, the size protocol's second call, stub data of many fragments in
// both directions, and the failures a Windows client sees.

#include <gtest/gtest.h>

#include <rdx/foundation/Status.h>
#include <rdx/remote/RpcHandle.h>

#include <chrono>
#include <csignal>
#include <cstdlib>
#include <filesystem>
#include <functional>
#include <future>
#include <optional>
#include <string>
#include <thread>
#include <vector>

#include "platform/os/LastError.h"
#include "remote/interop/ChildProcess.h"
#include "remote/runtime/RpcRuntime.h"
#include "remote/stubs/OperationShape.h"
#include "remote/stubs/ServerCoreClient.h"
#include "remote/stubs/ServiceProviderClient.h"

namespace {

namespace core = rdx::rpc::servercore;
namespace provider = rdx::rpc::serviceprovider;
using QUORVAN::Rendix::GeneralUtilityLib::FreeRpcHandle;
using QUORVAN::Rendix::GeneralUtilityLib::GetRpcHandle;
using QUORVAN::Rendix::GeneralUtilityLib::Status;
using rdx::testing::ChildProcess;

constexpr std::int32_t kTextSize = 5000;  // above the proxies' first 4000-byte offer

std::string Expected(const std::string& operation, std::size_t size = kTextSize) {
  std::string text = operation.substr(0, size);
  text.resize(size, '.');
  return text;
}

// A caller buffer as the proxies prepare it: 'A' up to the last byte, then NUL.
std::vector<char> Buffer(std::size_t capacity) {
  std::vector<char> buffer(capacity, 'A');
  buffer.back() = '\0';
  return buffer;
}

// The proxies' two-call size protocol: offer 4000 bytes; a larger answer r is fetched again
// with exactly r bytes and must then return 0.
std::optional<std::string> FetchText(const std::function<std::int32_t(std::int32_t, char*)>& call,
                                      int* calls = nullptr) {
  std::vector<char> first = Buffer(4000);
  const std::int32_t size = call(4000, first.data());
  if (calls) *calls = 1;
  if (size < 0) return std::nullopt;
  if (size <= 4000) return std::string(first.data(), strnlen(first.data(), first.size()));
  std::vector<char> second = Buffer(static_cast<std::size_t>(size) + 1);
  if (calls) *calls = 2;
  if (call(size, second.data()) != 0) return std::nullopt;
  return std::string(second.data(), strnlen(second.data(), second.size()));
}

class RefServerInterop : public ::testing::Test {
 protected:
  void SetUp() override {
    pipeFolder_ = std::filesystem::temp_directory_path() /
                  ("rdx-interop-" + std::to_string(::testing::UnitTest::GetInstance()->random_seed()) +
                   "-" + std::to_string(rdx::testing::FreeLoopbackPort()));
    std::filesystem::create_directories(pipeFolder_);
    // The client resolves the pipe folder from the same variable as the server.
    setenv("RDX_PIPE_DIR", pipeFolder_.c_str(), 1);
    port_ = std::to_string(rdx::testing::FreeLoopbackPort());
    server_ = rdx::testing::StartRefServer(
        static_cast<std::uint16_t>(std::stoi(port_)),
        {"--pipe", "RefServerInterop", "--text-size", std::to_string(kTextSize)},
        {"RDX_PIPE_DIR=" + pipeFolder_.string()});
    ASSERT_NE(server_, nullptr);
  }

  void TearDown() override {
    for (void*& handle : handles_) FreeRpcHandle(handle);
    server_.reset();
    unsetenv("RDX_PIPE_DIR");
    std::error_code ignored;
    std::filesystem::remove_all(pipeFolder_, ignored);
  }

  void* Handle(const std::string& protocol = "ncacn_ip_tcp", std::string endpoint = "") {
    if (endpoint.empty()) endpoint = port_;
    std::string host = "127.0.0.1";
    std::string errorText;
    void* handle = GetRpcHandle(reinterpret_cast<unsigned char*>(host.data()),
                                reinterpret_cast<unsigned char*>(endpoint.data()),
                                reinterpret_cast<unsigned char*>(const_cast<char*>(protocol.c_str())),
                                errorText);
    EXPECT_NE(handle, nullptr);
    handles_.push_back(handle);
    return handle;
  }

  // The status a refusal carried in its error text.
  static Status Parsed(const char* xml) {
    Status status;
    EXPECT_TRUE(status.Append(std::string(xml))) << xml;
    return status;
  }

  std::filesystem::path pipeFolder_;
  std::string port_;
  std::unique_ptr<ChildProcess> server_;
  std::vector<void*> handles_;
};

TEST_F(RefServerInterop, ServerInterfaceAnswersAsDocumented) {
  void* binding = Handle();
  std::vector<char> version = Buffer(100);
  ASSERT_EQ(core::GetVersion(binding, version.data()), 1);
  EXPECT_STREQ(version.data(), "1.0.0.2");

  std::vector<char> session = Buffer(1000), error = Buffer(1000);
  ASSERT_EQ(core::OpenSession(binding, "<SessionInfo/>", session.data(), error.data()), 1);
  const std::string id = session.data();
  EXPECT_EQ(id.rfind('S', 0), 0u) << id;

  // Texts through the size protocol: 5000 bytes do not fit the first offer.
  struct Row {
    const char* name;
    std::function<std::int32_t(std::int32_t, char*)> call;
  };
  std::vector<char> err = Buffer(4000);
  const std::vector<Row> rows = {
      {"QueryText", [&](std::int32_t n, char* t) { return core::QueryText(binding, "q", n, t); }},
      {"GetServiceProviderFor",
       [&](std::int32_t n, char* t) {
         return core::GetServiceProviderFor(binding, id.c_str(), "svc", n, t, err.data());
       }},
      {"GetServiceInfo",
       [&](std::int32_t n, char* t) {
         return core::GetServiceInfo(binding, id.c_str(), "svc", "prov", n, t, err.data());
       }},
      {"Op47", [&](std::int32_t n, char* t) { return core::Op47(binding, "a", "b", n, t, err.data()); }},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.name);
    int calls = 0;
    EXPECT_EQ(FetchText(row.call, &calls), Expected(row.name));
    EXPECT_EQ(calls, 2);
  }

  // A request of many fragments (the server's reassembly) with an in size_is(n) block.
  std::string providerInfo(100000, 'p');
  for (std::size_t i = 0; i < providerInfo.size(); i += 97) providerInfo[i] = 'x';
  EXPECT_EQ(core::AddServiceProvider(binding, id.c_str(), "prov",
                                     static_cast<std::int32_t>(providerInfo.size() + 1),
                                     providerInfo.c_str(), err.data()),
            1);

  // Unknown sessions: false or a negative size, with a status XML naming the operation.
  std::vector<char> text = Buffer(4000);
  err = Buffer(4000);
  EXPECT_LT(core::GetServiceProviders(binding, "S0", 4000, text.data(), err.data()), 0);
  Status refused = Parsed(err.data());
  ASSERT_EQ(refused.items.size(), 1u);
  EXPECT_EQ(refused.items[0].id, 0x7E01);
  EXPECT_NE(refused.items[0].source.find("GetServiceProviders"), std::string::npos);
  err = Buffer(4000);
  EXPECT_EQ(core::RefreshAllServices(binding, "nope", err.data()), 0);
  EXPECT_EQ(Parsed(err.data()).items.at(0).message, "Unknown session 'nope'");

  EXPECT_EQ(core::CloseSession(binding, id.c_str()), 1);
  EXPECT_EQ(core::CloseSession(binding, id.c_str()), 0);
}

TEST_F(RefServerInterop, ServiceProviderInterfaceAnswersAsDocumented) {
  void* binding = Handle();
  EXPECT_EQ(provider::Ping(binding), 1);
  std::vector<char> session = Buffer(1000), error = Buffer(1000);
  ASSERT_EQ(provider::OpenServiceSession(binding, "Imagery", "client", session.data(),
                                         error.data()), 1);
  // The session is the caller's own string from here on, as the proxy keeps it.
  std::string id = session.data();
  std::vector<char> own(id.begin(), id.end());
  own.push_back('\0');

  struct Aoi {
    double xmin, ymin, xmax, ymax;
    std::int8_t want;
  };
  for (const Aoi& aoi : {Aoi{0.5, 1.0, 2.0, 3.25, 1}, Aoi{-1.5, -2.25, -1.25, 0.0, 1},
                         Aoi{2.0, 0.0, 0.5, 1.0, 0}, Aoi{0.0, 1.0, 1.0, 1.0, 0}}) {
    SCOPED_TRACE(std::to_string(aoi.xmin) + " " + std::to_string(aoi.ymin) + " " +
                 std::to_string(aoi.xmax) + " " + std::to_string(aoi.ymax));
    std::vector<char> err = Buffer(4000);
    EXPECT_EQ(provider::SetAOI(binding, own.data(), aoi.xmin, aoi.ymin, aoi.xmax, aoi.ymax, 640,
                               480, "x", err.data()),
              aoi.want);
    EXPECT_STREQ(own.data(), id.c_str());
    if (!aoi.want) {
      EXPECT_EQ(Parsed(err.data()).items.at(0).id, 0x7E02);
    }
  }

  // A response of many fragments; byte i is (i + a + b) mod 256.
  struct Stream {
    std::int32_t size, a, b;
  };
  for (const Stream& row : {Stream{8 * 1024 * 1024 + 5, 7, 300}, Stream{0, 1, 2},
                            Stream{1, -5, 4}}) {
    SCOPED_TRACE(row.size);
    std::vector<std::uint8_t> buffer(static_cast<std::size_t>(row.size) + 1, 0xEE);
    std::int32_t size = row.size;
    std::vector<char> err = Buffer(4000);
    ASSERT_EQ(provider::StreamImageBuffer(binding, own.data(), &size, buffer.data(), row.a,
                                          row.b, err.data()),
              1);
    ASSERT_EQ(size, row.size);
    std::size_t wrong = 0;
    for (std::int32_t i = 0; i < row.size; ++i) {
      wrong += buffer[i] != static_cast<std::uint8_t>(i + row.a + row.b);
    }
    EXPECT_EQ(wrong, 0u);
    EXPECT_EQ(buffer.back(), 0xEE);  // nothing written past what was offered
  }

  std::vector<char> err = Buffer(4000);
  EXPECT_EQ(FetchText([&](std::int32_t n, char* t) {
              return provider::GetDefinition(binding, own.data(), 3, n, t, err.data());
            }),
            Expected("GetDefinition"));
  double value = -1.25;
  provider::Op19(binding, &value);
  EXPECT_EQ(value, -2.5);
  EXPECT_EQ(provider::QueryProviderState(binding), 2);
  EXPECT_EQ(provider::CloseSession(binding, own.data(), err.data()), 1);
  EXPECT_EQ(provider::ExtractAOI(binding, own.data(), err.data()), 0);
}

TEST_F(RefServerInterop, PipeEndpointServesTheSameAnswers) {
  void* binding = Handle("ncacn_np", "\\pipe\\RefServerInterop");
  std::vector<char> version = Buffer(100);
  ASSERT_EQ(core::GetVersion(binding, version.data()), 1);
  EXPECT_STREQ(version.data(), "1.0.0.2");
  std::vector<char> text(kTextSize);
  EXPECT_EQ(core::QueryTextAlt(binding, "q", kTextSize, text.data()), 0);
  EXPECT_EQ(std::string(text.data(), text.size()), Expected("QueryTextAlt"));
}

// Failures as a Windows client sees them, each with its standard text.
TEST_F(RefServerInterop, FailuresCarryWindowsStatusesAndTexts) {
  const rdx::rpc::SyntaxId unknown =
      rdx::rpc::shape::MakeSyntax("12345678-1234-1234-1234-123456789abc", 1, 0);
  const std::vector<std::uint8_t> badString = {0xFF, 0xFF, 0xFF, 0xFF, 0, 0, 0, 0,
                                               4,    0,    0,    0,    'A', 'A', 'A', 0};
  struct Row {
    const char* what;
    rdx::rpc::SyntaxId syntax;
    std::uint16_t opnum;
    std::vector<std::uint8_t> stub;
    std::uint32_t status;
    const char* text;
  };
  const std::vector<Row> rows = {
      {"unknown operation", rdx::rpc::ServerCoreShape().syntax, 48, {}, 1745,
       "The procedure number is out of range."},
      {"unknown interface", unknown, 0, {}, 1717, "The interface is unknown."},
      {"bad stub data", rdx::rpc::ServerCoreShape().syntax, 0, badString, 1783,
       "The stub received bad data."},
  };
  void* binding = Handle();
  for (const Row& row : rows) {
    SCOPED_TRACE(row.what);
    try {
      rdx::rpc::CallRemote(binding, row.syntax, row.opnum, row.stub);
      ADD_FAILURE() << "no exception";
    } catch (const rdx::rpc::RpcException& failure) {
      EXPECT_EQ(failure.Status(), row.status);
      EXPECT_EQ(rdx::os::GetLastError(), row.status);
      EXPECT_EQ(rdx::os::Win32ErrorText(row.status), row.text);
    }
  }
  // The connection survived all three: a good call still works on the same handle.
  std::vector<char> version = Buffer(100);
  EXPECT_EQ(core::GetVersion(binding, version.data()), 1);

  // Once the server is gone nothing listens: 1722.
  EXPECT_EQ(server_->Stop(SIGTERM, std::chrono::seconds(10)), 0) << server_->Output();
  EXPECT_NE(server_->Output().find("ServerCoreInterface.GetVersion"), std::string::npos);
  void* fresh = Handle();
  try {
    core::GetVersion(fresh, version.data());
    ADD_FAILURE() << "no exception";
  } catch (const rdx::rpc::RpcException& failure) {
    EXPECT_EQ(failure.Status(), 1722u);
    EXPECT_EQ(rdx::os::Win32ErrorText(1722), "The RPC server is unavailable.");
  }
}

// A server that dies while our call waits for its answer: the caller gets an exception, not
// a hang. The server is stopped first, so the request is surely sent and unanswered when
// it dies.
TEST_F(RefServerInterop, ServerKilledDuringACallRaisesInsteadOfHanging) {
  void* binding = Handle();
  std::vector<char> version = Buffer(100);
  ASSERT_EQ(core::GetVersion(binding, version.data()), 1);  // bound and connected

  ASSERT_TRUE(server_->Pause());
  std::promise<std::uint32_t> outcome;
  std::future<std::uint32_t> status = outcome.get_future();
  std::thread caller([&outcome, binding] {
    std::vector<char> answer = Buffer(100);
    try {
      core::GetVersion(binding, answer.data());
      outcome.set_value(0);
    } catch (const rdx::rpc::RpcException& failure) {
      outcome.set_value(failure.Status());
    }
  });
  // The call cannot finish while the server is stopped; then the server dies.
  EXPECT_EQ(status.wait_for(std::chrono::milliseconds(200)), std::future_status::timeout);
  server_->Kill();
  if (status.wait_for(std::chrono::seconds(20)) != std::future_status::ready) {
    caller.detach();  // still blocked: report the hang rather than join it
    FAIL() << "the call did not return after the server died";
  }
  caller.join();
  EXPECT_EQ(status.get(), 1726u);  // the request went out whole; the answer never came
}

}  // namespace
