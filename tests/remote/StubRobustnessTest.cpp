// Hostile or broken stub data on both sides: the server answers with the right fault and never
// enters the manager; the client raises 1783 and leaves the caller's memory as it was.

#include <gtest/gtest.h>

#include <cstring>
#include <new>
#include <stdexcept>

#include "StubTestSupport.h"
#include "remote/ndr/NdrReader.h"
#include "remote/stubs/StubServerInterface.h"

namespace rdx::rpc {
namespace {

using test::Hex;

struct CountingManager {
  int calls = 0;
  std::int32_t (*answer)(ServerCall&) = [](ServerCall&) { return 1; };
};

std::int32_t InvokeCounting(void* manager, std::uint16_t, ServerCall& call) {
  auto& counting = *static_cast<CountingManager*>(manager);
  ++counting.calls;
  return counting.answer(call);
}

std::uint32_t Dispatch(const InterfaceShape& shape, CountingManager& manager, std::uint16_t opnum,
                       const std::vector<std::uint8_t>& request,
                       std::vector<std::uint8_t>* response = nullptr) {
  StubServerInterface server(shape, &manager, &InvokeCounting);
  std::vector<std::uint8_t> ignored;
  return server.Dispatch(opnum, request, false, response != nullptr ? *response : ignored);
}

TEST(ServerStubs, HostileRequestsGetFaultsWithoutEnteringTheManager) {
  const struct {
    const char* name;
    const InterfaceShape& (*shape)();
    std::uint16_t opnum;
    const char* request;
    std::uint32_t status;
  } rows[] = {
      {"operation past the table", ServerCoreShape, 48, "", 0x1c010002},
      {"max_count 0xffffffff", ServerCoreShape, 0, "ff ff ff ff 00 00 00 00 02 00 00 00 41 00",
       0x6f7},
      {"actual_count above max_count", ServerCoreShape, 0,
       "02 00 00 00 00 00 00 00 03 00 00 00 41 41 00", 0x6f7},
      {"offset not 0", ServerCoreShape, 0, "02 00 00 00 01 00 00 00 02 00 00 00 41 00", 0x6f7},
      {"no terminating NUL", ServerCoreShape, 0, "02 00 00 00 00 00 00 00 02 00 00 00 41 41",
       0x6f7},
      {"actual_count 0", ServerCoreShape, 0, "01 00 00 00 00 00 00 00 00 00 00 00", 0x6f7},
      {"actual_count past the stub", ServerCoreShape, 0,
       "00 01 00 00 00 00 00 00 00 01 00 00 41 00", 0x6f7},
      {"out text with negative n", ServerCoreShape, 5,
       "02 00 00 00 00 00 00 00 02 00 00 00 61 00 00 00 ff ff ff ff", 0x6f7},
      {"out text above 256 MiB", ServerCoreShape, 5,
       "02 00 00 00 00 00 00 00 02 00 00 00 61 00 00 00 01 00 00 10", 0x6f7},
      {"in data count differs from n", ServerCoreShape, 16,
       "02 00 00 00 00 00 00 00 02 00 00 00 53 00 00 00 02 00 00 00 00 00 00 00"
       " 02 00 00 00 70 00 00 00 06 00 00 00 05 00 00 00 61 62 63 64 00 00 00 00"
       " 02 00 00 00 00 00 00 00 02 00 00 00 41 00",
       0x6f7},
      {"in data count past the stub", ServerCoreShape, 2,
       "02 00 00 00 00 00 00 00 02 00 00 00 74 00 00 00 00 00 01 00 78 79 00", 0x6f7},
      {"negative *size", ServiceProviderShape, 14,
       "02 00 00 00 00 00 00 00 02 00 00 00 41 00 00 00 f0 ff ff ff", 0x6f7},
      {"bytes after the last parameter are no error", ServerCoreShape, 0,
       "02 00 00 00 00 00 00 00 02 00 00 00 41 00 8a e3 13 71 02 f4 36 71", 0},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.name);
    CountingManager manager;
    EXPECT_EQ(Dispatch(row.shape(), manager, row.opnum, Hex(row.request)), row.status);
    EXPECT_EQ(manager.calls, row.status == 0 ? 1 : 0);
  }
}

// StreamImageBuffer, session "S", *size = 8, a = 1, b = 2, err "AAA".
constexpr const char* kStreamRequest =
    "02 00 00 00 00 00 00 00 02 00 00 00 53 00 00 00 08 00 00 00 01 00 00 00"
    " 02 00 00 00 04 00 00 00 00 00 00 00 04 00 00 00 41 41 41 00";

TEST(ServerStubs, EveryTruncationOfAValidRequestIsBadStubData) {
  const struct {
    std::uint16_t opnum;
    const char* request;
  } rows[] = {
      {8,  // SetAOI: strings, doubles, longs
       "03 00 00 00 00 00 00 00 03 00 00 00 53 31 00 00 00 00 00 00 00 00 e0 3f"
       " 00 00 00 00 00 00 f0 3f 00 00 00 00 00 00 00 40 00 00 00 00 00 00 f8 bf"
       " 80 02 00 00 e0 01 00 00 02 00 00 00 00 00 00 00 02 00 00 00 78 00 00 00"
       " 04 00 00 00 00 00 00 00 04 00 00 00 41 41 41 00"},
      {11, kStreamRequest},
  };
  for (const auto& row : rows) {
    const std::vector<std::uint8_t> full = Hex(row.request);
    CountingManager manager;
    ASSERT_EQ(Dispatch(ServiceProviderShape(), manager, row.opnum, full), 0u);
    for (std::size_t length = 0; length < full.size(); ++length) {
      SCOPED_TRACE("opnum " + std::to_string(row.opnum) + ", " + std::to_string(length) + " bytes");
      const std::vector<std::uint8_t> cut(full.begin(), full.begin() + long(length));
      EXPECT_EQ(Dispatch(ServiceProviderShape(), manager, row.opnum, cut), 0x6f7u);
    }
    EXPECT_EQ(manager.calls, 1);
  }
}

// A manager that misbehaves cannot make the server send what the caller has no room for, and
// whatever it throws becomes a fault for that call only.
TEST(ServerStubs, ManagerAnswersAreHeldToTheCallersRoom) {
  const auto request = Hex(kStreamRequest);
  // The same with session "ABCDEFG" and *size = 4.
  const auto longSession =
      Hex("08 00 00 00 00 00 00 00 08 00 00 00 41 42 43 44 45 46 47 00 04 00 00 00"
          " 01 00 00 00 02 00 00 00 04 00 00 00 00 00 00 00 04 00 00 00 41 41 41 00");
  using Answer = std::int32_t (*)(ServerCall&);
  const struct {
    const char* name;
    Answer answer;
    std::uint32_t status;
    const char* response;
    bool sessionShrinks = false;
  } rows[] = {
      {"longer strings are cut to what came in, sizes to what was offered",
       [](ServerCall& c) {
         c.InOut(0) = "much longer";
         c.Size(1) = 100;
         c.InOut(5) = "a long error text";
         return 1;
       },
       0,
       "02 00 00 00 00 00 00 00 02 00 00 00 6d 00 00 00 08 00 00 00 08 00 00 00"
       " 00 00 00 00 00 00 00 00 04 00 00 00 00 00 00 00 04 00 00 00 61 20 6c 00 01"},
      {"a shorter string before the bytes moves them down",
       [](ServerCall& c) {
         c.InOut(0).clear();
         std::memcpy(c.Bytes(2), "wxyz", 4);
         return 1;
       },
       0,
       "01 00 00 00 00 00 00 00 01 00 00 00 00 00 00 00 04 00 00 00 04 00 00 00"
       " 77 78 79 7a 04 00 00 00 00 00 00 00 04 00 00 00 41 41 41 00 01",
       true},
      {"a negative size goes out as 0",
       [](ServerCall& c) {
         c.Size(1) = -5;
         return 0;
       },
       0,
       "02 00 00 00 00 00 00 00 02 00 00 00 53 00 00 00 00 00 00 00 00 00 00 00"
       " 04 00 00 00 00 00 00 00 04 00 00 00 41 41 41 00 00"},
      {"an exception", [](ServerCall&) -> std::int32_t { throw std::runtime_error("x"); },
       0x1c000012, ""},
      {"out of memory", [](ServerCall&) -> std::int32_t { throw std::bad_alloc(); }, 0x1c00001b,
       ""},
      {"an argument asked for by the wrong kind", [](ServerCall& c) { return c.Long(0); },
       0x1c000012, ""},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.name);
    CountingManager manager{0, row.answer};
    std::vector<std::uint8_t> response;
    EXPECT_EQ(Dispatch(ServiceProviderShape(), manager, 11,
                       row.sessionShrinks ? longSession : request, &response),
              row.status);
    if (row.status == 0) {
      EXPECT_EQ(test::ToHex(response), test::ToHex(Hex(row.response)));
    }
  }
}

TEST(ClientStubs, BadResponsesRaise1783AndLeaveTheCallerMemoryAlone) {
  const struct {
    const char* name;
    const InterfaceShape& (*shape)();
    std::uint16_t opnum;
    std::vector<std::string> args;
    const char* response;
  } rows[] = {
      {"in/out answer longer than what was sent",
       ServerCoreShape,
       0,
       {"AAA"},
       "05 00 00 00 00 00 00 00 05 00 00 00 31 2e 30 2e 00 01"},
      {"no result byte", ServerCoreShape, 0, {"AAA"}, "02 00 00 00 00 00 00 00 02 00 00 00 31 00"},
      {"out text count differs from n",
       ServerCoreShape,
       5,
       {"q", "4", ""},
       "03 00 00 00 68 69 00 00 00 00 00 00"},
      {"returned *size above the one sent",
       ServiceProviderShape,
       14,
       {"A", "2", ""},
       "02 00 00 00 00 00 00 00 02 00 00 00 41 00 00 00 03 00 00 00 03 00 00 00 61 62 63 01"},
      {"array count differs from the returned *size",
       ServiceProviderShape,
       14,
       {"A", "2", ""},
       "02 00 00 00 00 00 00 00 02 00 00 00 41 00 00 00 01 00 00 00 02 00 00 00 61 62 01"},
      {"an empty response", ServiceProviderShape, 21, {}, ""},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.name);
    const OperationShape& op = row.shape().operations[row.opnum];
    test::ClientArgs client(op, row.args);
    ClientCall call(op, client.args);
    NdrWriter request;
    ASSERT_EQ(call.EncodeRequest(request), 0u);
    const std::string before = client.Describe(0);
    std::int32_t result = 0;
    EXPECT_EQ(call.DecodeResponse(Hex(row.response), false, result), 1783u);
    EXPECT_EQ(client.Describe(0), before);
  }
}

TEST(ClientStubs, BadArgumentsAreRefusedBeforeSending) {
  char buffer[8] = "AAAAAAA";
  std::int32_t negative = -1;
  char* const noText = nullptr;
  std::int32_t* const noSize = nullptr;
  const struct {
    const char* name;
    const InterfaceShape& (*shape)();
    std::uint16_t opnum;
    std::vector<ClientArg> args;
    std::uint32_t status;
  } rows[] = {
      {"null in/out string", ServerCoreShape, 0, {noText}, 1780},
      {"null out text", ServerCoreShape, 5, {"q", std::int32_t{4}, noText}, 1780},
      {"negative n", ServerCoreShape, 5, {"q", std::int32_t{-1}, buffer}, 1734},
      {"negative *size", ServiceProviderShape, 14, {buffer, &negative, buffer}, 1734},
      {"null size pointer", ServiceProviderShape, 14, {buffer, noSize, buffer}, 1780},
      {"argument of the wrong kind", ServerCoreShape, 0, {std::int32_t{1}}, 1766},
      {"too few arguments", ServerCoreShape, 4, {"x"}, 1766},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.name);
    ClientCall call(row.shape().operations[row.opnum], row.args);
    NdrWriter request;
    EXPECT_EQ(call.EncodeRequest(request), row.status);
  }
}

TEST(NdrReader, SubReadersKeepTheAlignmentOfTheWholeStub) {
  // A u32 at offset 4 of a sub-reader that starts at offset 2 of the stub: the sub-reader
  // must pad 2 bytes (to stub offset 4), not 0.
  const auto bytes = Hex("00 00 ee ee 01 00 00 00 02 00 00 00");
  for (bool bigEndian : {false, true}) {
    SCOPED_TRACE(bigEndian ? "big-endian" : "little-endian");
    NdrReader reader(bytes, bigEndian);
    std::uint8_t skipped = 0;
    ASSERT_TRUE(reader.ReadU8(skipped) && reader.ReadU8(skipped));
    NdrReader sub(std::span<const std::uint8_t>{}, false);
    ASSERT_TRUE(reader.Sub(6, sub));
    std::uint32_t value = 0;
    ASSERT_TRUE(sub.ReadU32(value));
    EXPECT_EQ(value, bigEndian ? 0x01000000u : 1u);
    EXPECT_FALSE(sub.ReadU32(value));  // the sub-reader ends at its own limit
    EXPECT_EQ(sub.Remaining(), 0u);
    ASSERT_TRUE(reader.ReadU32(value));
    EXPECT_EQ(value, bigEndian ? 0x02000000u : 2u);
    EXPECT_FALSE(reader.Sub(1, sub));
  }
}

}  // namespace
}  // namespace rdx::rpc
