// Every parameter shape of the interfaces against worked byte listings, as a round trip
// through our client and our server: what the client encodes, what the server stub decodes
// from it, what it encodes back and what the client then leaves in the caller's memory.
// Offsets count from the first stub byte.

#include <gtest/gtest.h>

#include <cstring>

#include <rdx/remote/RpcExceptionFrame.h>

#include "StubTestSupport.h"
#include "TestServer.h"
#include "remote/stubs/StubServerInterface.h"

namespace rdx::rpc {
namespace {

using test::Hex;

using Fill = std::int32_t (*)(ServerCall&);

struct Example {
  const char* name;
  const InterfaceShape& (*shape)();
  std::uint16_t opnum;
  std::vector<std::string> args;
  const char* request;
  const char* serverSees;
  Fill fill;             // the manager's answer
  const char* response;  // empty: not compared
  const char* clientSees;
};

// Manager side of a table row: records what arrived, then answers as the row says.
struct RowManager {
  const OperationShape* op;
  Fill fill;
  std::string seen;
};

std::int32_t InvokeRow(void* manager, std::uint16_t, ServerCall& call) {
  auto& row = *static_cast<RowManager*>(manager);
  row.seen = test::DescribeServerCall(*row.op, call);
  return row.fill(call);
}

const Example kExamples[] = {
    {"GetVersion: in/out string, small result",
     ServerCoreShape,
     0,
     {"AAAAAAA"},
     "08 00 00 00 00 00 00 00 08 00 00 00 41 41 41 41 41 41 41 00",
     "AAAAAAA",
     [](ServerCall& c) {
       c.InOut(0) = "1.0.0.2";
       return 1;
     },
     "08 00 00 00 00 00 00 00 08 00 00 00 31 2e 30 2e 30 2e 32 00 01",
     "1.0.0.2|1"},
    {"QueryText: out text(n) padded before a long result",
     ServerCoreShape,
     5,
     {"ab", "10", ""},
     "03 00 00 00 00 00 00 00 03 00 00 00 61 62 00 00 0a 00 00 00",
     "ab,10",
     [](ServerCall& c) {
       std::memcpy(c.Text(2), "hi", 2);
       return 0;
     },
     "0a 00 00 00 68 69 00 00 00 00 00 00 00 00 00 00 00 00 00 00",
     "hi|0"},
    {"SetAOI: doubles aligned to 8 after a string",
     ServiceProviderShape,
     8,
     {"S1", "0.5", "1.0", "2.0", "-1.5", "640", "480", "x", "AAA"},
     "03 00 00 00 00 00 00 00 03 00 00 00 53 31 00 00 00 00 00 00 00 00 e0 3f"
     " 00 00 00 00 00 00 f0 3f 00 00 00 00 00 00 00 40 00 00 00 00 00 00 f8 bf"
     " 80 02 00 00 e0 01 00 00 02 00 00 00 00 00 00 00 02 00 00 00 78 00 00 00"
     " 04 00 00 00 00 00 00 00 04 00 00 00 41 41 41 00",
     "S1,0.5,1,2,-1.5,640,480,x,AAA",
     [](ServerCall& c) {
       c.InOut(8) = "ok";
       return 1;
     },
     "03 00 00 00 00 00 00 00 03 00 00 00 53 31 00 00"
     " 03 00 00 00 00 00 00 00 03 00 00 00 6f 6b 00 01",
     "S1|ok|1"},
    {"GetDefinition: v1_enum is 4 bytes",
     ServiceProviderShape,
     6,
     {"S", "2", "16", "", "AA"},
     "02 00 00 00 00 00 00 00 02 00 00 00 53 00 00 00 02 00 00 00 10 00 00 00"
     " 03 00 00 00 00 00 00 00 03 00 00 00 41 41 00",
     "S,2,16,AA",
     [](ServerCall& c) {
       std::memcpy(c.Text(3), "def", 3);
       c.InOut(4) = "ok";
       return 3;
     },
     "02 00 00 00 00 00 00 00 02 00 00 00 53 00 00 00 10 00 00 00 64 65 66 00"
     " 00 00 00 00 00 00 00 00 00 00 00 00 03 00 00 00 00 00 00 00 03 00 00 00"
     " 6f 6b 00 00 03 00 00 00",
     "S|def|ok|3"},
    {"StreamImageBuffer: size* and out bytes(*size)",
     ServiceProviderShape,
     11,
     {"S", "8", "", "1", "2", "AAA"},
     "02 00 00 00 00 00 00 00 02 00 00 00 53 00 00 00 08 00 00 00 01 00 00 00"
     " 02 00 00 00 04 00 00 00 00 00 00 00 04 00 00 00 41 41 41 00",
     "S,8,1,2,AAA",
     [](ServerCall& c) {
       std::memcpy(c.Bytes(2), "\xde\xad\xbe\xef\x01", 5);
       c.Size(1) = 5;
       c.InOut(5).clear();
       return 1;
     },
     "02 00 00 00 00 00 00 00 02 00 00 00 53 00 00 00 05 00 00 00 05 00 00 00"
     " de ad be ef 01 00 00 00 01 00 00 00 00 00 00 00 01 00 00 00 00 01",
     "S|5|\xde\xad\xbe\xef\x01???||1"},
    {"AddServiceProvider: in data(n) with its count",
     ServerCoreShape,
     11,
     {"S", "p", "6", "abcde", "AA"},
     "02 00 00 00 00 00 00 00 02 00 00 00 53 00 00 00 02 00 00 00 00 00 00 00"
     " 02 00 00 00 70 00 00 00 06 00 00 00 06 00 00 00 61 62 63 64 65 00 00 00"
     " 03 00 00 00 00 00 00 00 03 00 00 00 41 41 00",
     "S,p,6,abcde,AA",
     [](ServerCall&) { return 1; },
     "03 00 00 00 00 00 00 00 03 00 00 00 41 41 00 01",
     "AA|1"},
    {"AddServices: in data without its NUL still reads as a text",
     ServerCoreShape,
     16,
     {"S", "p", "4", "abcd", "AA"},
     "02 00 00 00 00 00 00 00 02 00 00 00 53 00 00 00 02 00 00 00 00 00 00 00"
     " 02 00 00 00 70 00 00 00 04 00 00 00 04 00 00 00 61 62 63 64"
     " 03 00 00 00 00 00 00 00 03 00 00 00 41 41 00",
     "S,p,4,abcd,AA",
     [](ServerCall&) { return 1; },
     "03 00 00 00 00 00 00 00 03 00 00 00 41 41 00 01",
     "AA|1"},
    {"Op19: in/out double, no result",
     ServiceProviderShape,
     19,
     {"3.25"},
     "00 00 00 00 00 00 0a 40",
     "3.25",
     [](ServerCall& c) {
       c.RealRef(0) = -2;
       return 0;
     },
     "00 00 00 00 00 00 00 c0",
     "-2|0"},
    {"Op10: a small between strings",
     ServerCoreShape,
     10,
     {"a", "7", "b", "A"},
     "02 00 00 00 00 00 00 00 02 00 00 00 61 00 07 00 02 00 00 00 00 00 00 00"
     " 02 00 00 00 62 00 00 00 02 00 00 00 00 00 00 00 02 00 00 00 41 00",
     "a,7,b,A",
     [](ServerCall&) { return 0; },
     "02 00 00 00 00 00 00 00 02 00 00 00 41 00 00",
     "A|0"},
    {"Op2: in data before its size, out bytes before theirs",
     ServerCoreShape,
     2,
     {"t", "xy", "3", "", "4"},
     "02 00 00 00 00 00 00 00 02 00 00 00 74 00 00 00 03 00 00 00 78 79 00 00"
     " 03 00 00 00 04 00 00 00",
     "t,xy,3,4",
     [](ServerCall& c) {
       c.Bytes(3)[0] = 'z';
       c.Size(4) = 1;
       return 1;
     },
     "01 00 00 00 7a 00 00 00 01 00 00 00 01",
     "z???|1|1"},
};

TEST(NdrShapes, WorkedExamplesBothWays) {
  for (const Example& example : kExamples) {
    SCOPED_TRACE(example.name);
    const InterfaceShape& shape = example.shape();
    const OperationShape& op = shape.operations[example.opnum];

    test::ClientArgs client(op, example.args);
    ClientCall call(op, client.args);
    NdrWriter request;
    ASSERT_EQ(call.EncodeRequest(request), 0u);
    EXPECT_EQ(test::ToHex(request.Data()), test::ToHex(Hex(example.request)));

    // Through our run time over loopback: what went out is what the server stub decodes.
    RowManager manager{&op, example.fill, {}};
    StubServerInterface server(shape, &manager, &InvokeRow);
    test::TestServer running({&server});
    test::Binding binding(running);
    std::vector<std::uint8_t> response;
    ASSERT_EQ(QUORVAN::Rendix::GeneralUtilityLib::RunInRpcExceptionFrame([&] {
                response = CallRemote(binding.h, shape.syntax, example.opnum, request.Data());
              }),
              0);
    EXPECT_EQ(manager.seen, example.serverSees);
    EXPECT_EQ(test::ToHex(response), test::ToHex(Hex(example.response)));

    std::int32_t result = -1;
    ASSERT_EQ(call.DecodeResponse(response, false, result), 0u);
    EXPECT_EQ(client.Describe(result), example.clientSees);
  }
}

// An answer a big-endian server wrote reads as its little-endian twin.
TEST(NdrShapes, BigEndianResponsesDecodeAsTheirLittleEndianTwins) {
  const OperationShape& op = ServerCoreShape().operations[2];
  test::ClientArgs client(op, {"t", "xy", "3", "", "4"});
  ClientCall call(op, client.args);
  NdrWriter request;
  ASSERT_EQ(call.EncodeRequest(request), 0u);
  std::int32_t result = -1;
  ASSERT_EQ(call.DecodeResponse(Hex("00 00 00 01 7a 00 00 00 00 00 00 01 01"), true, result), 0u);
  EXPECT_EQ(client.Describe(result), "z???|1|1");
}

// A big-endian client: the server makes it right, doubles included.
TEST(NdrShapes, BigEndianRequestsDecodeAsTheirLittleEndianTwins) {
  const OperationShape& op = ServiceProviderShape().operations[8];
  RowManager manager{&op, [](ServerCall&) { return 1; }, {}};
  StubServerInterface server(ServiceProviderShape(), &manager, &InvokeRow);
  std::vector<std::uint8_t> response;
  ASSERT_EQ(
      server.Dispatch(8,
                      Hex("00 00 00 03 00 00 00 00 00 00 00 03 53 31 00 00 3f e0 00 00 00 00"
                          " 00 00 3f f0 00 00 00 00 00 00 40 00 00 00 00 00 00 00 bf f8 00 00"
                          " 00 00 00 00 00 00 02 80 00 00 01 e0 00 00 00 02 00 00 00 00 00 00"
                          " 00 02 78 00 00 00 00 00 00 04 00 00 00 00 00 00 00 04 41 41 41 00"),
                      true, response),
      0u);
  EXPECT_EQ(manager.seen, "S1,0.5,1,2,-1.5,640,480,x,AAA");
  EXPECT_EQ(response.back(), 1);
}

// What a bind carries as each interface's abstract syntax: UUID fields in wire order, v1.0.
TEST(NdrShapes, InterfaceIdentitiesInWireOrder) {
  const struct {
    const InterfaceShape& (*shape)();
    const char* wire;
  } rows[] = {
      {ServerCoreShape, "6c fd 60 8a bf 7e ee 4a 83 9c 1d f4 24 3d 03 d2"},
      {ServiceProviderShape, "71 00 73 b9 3f b0 b3 42 b0 02 2c 39 96 f2 89 28"},
      {ServerAutoBindShape, "b0 d9 2c e0 82 c5 18 4f 94 6f b6 2e e9 56 0d 27"},
  };
  for (const auto& row : rows) {
    const SyntaxId& syntax = row.shape().syntax;
    SCOPED_TRACE(std::string(row.shape().name));
    EXPECT_EQ(test::ToHex({syntax.uuid.begin(), syntax.uuid.end()}), test::ToHex(Hex(row.wire)));
    EXPECT_EQ(syntax.versionMajor, 1);
    EXPECT_EQ(syntax.versionMinor, 0);
  }
}

}  // namespace
}  // namespace rdx::rpc
