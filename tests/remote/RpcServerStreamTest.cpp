// Byte streams that are not a well-behaved client: the server ends that one connection,
// within a bounded time, and keeps serving everybody else.

#include <gtest/gtest.h>

#include "platform/os/StreamSocket.h"
#include "remote/EchoInterface.h"
#include "remote/TestServer.h"
#include "remote/runtime/Pdu.h"
#include "remote/runtime/PduStream.h"
#include "remote/runtime/RpcServer.h"

namespace rdx::rpc::test {
namespace {

using Bytes = std::vector<std::uint8_t>;

Bytes Bind() {
  BindBody body;
  body.elements = {{0, EchoSyntax(), {Ndr20Syntax()}}};
  return EncodeBind(PduType::kBind, 1, body);
}

// Reads what the server sends until it closes; false when it neither answers nor closes in
// 10 s.
bool ReadUntilClosed(os::StreamSocket& socket, Bytes& received) {
  std::uint8_t buffer[4096];
  for (;;) {
    std::size_t got = 0;
    switch (socket.Receive(buffer, sizeof buffer, got, 10'000)) {
      case os::IoResult::kOk: received.insert(received.end(), buffer, buffer + got); break;
      case os::IoResult::kTimeout: return false;
      default: return true;
    }
  }
}

class RpcServerStream : public ::testing::Test {
 protected:
  os::StreamSocket Connect() { return os::StreamSocket::ConnectTcp("127.0.0.1", server_.Port()); }

  // Binds on `stream`; the answer's type is left in `header`.
  static void BindOn(PduStream& stream, PduHeader& header) {
    std::span<const std::uint8_t> pdu;
    ASSERT_EQ(stream.Send(Bind()), os::IoResult::kOk);
    ASSERT_EQ(stream.Next(header, pdu, 10'000, 10'000), PduStream::Result::kPdu);
    EXPECT_EQ(header.type, PduType::kBindAck);
  }

  // A bound connection answers an echo call.
  void ExpectServing() {
    os::StreamSocket socket = Connect();
    PduStream stream(socket);
    PduHeader header;
    ASSERT_NO_FATAL_FAILURE(BindOn(stream, header));
    std::span<const std::uint8_t> pdu;
    const Bytes stub = {1, 2, 3};
    ASSERT_EQ(stream.SendCall(PduType::kRequest, 2, 0, 0, stub, 5840), os::IoResult::kOk);
    ASSERT_EQ(stream.Next(header, pdu, 10'000, 10'000), PduStream::Result::kPdu);
    EXPECT_EQ(header.type, PduType::kResponse);
    EXPECT_EQ(pdu.size(), kCallHeaderSize + 3);
  }

  EchoInterface echo_;
  TestServer server_{{&echo_}, 3};
};

TEST_F(RpcServerStream, EndsBrokenStreamsWithoutAnAnswer) {
  Bytes tiny = Bind();
  tiny[8] = 10;
  tiny[9] = 0;
  Bytes half = Bind();
  half.resize(half.size() / 2);
  Bytes header = Bind();
  header[8] = header[9] = 0xFF;  // announces 65535 bytes, sends 72
  struct Row {
    const char* name;
    Bytes bytes;
  };
  for (const Row& row :
       {Row{"frag_length below 16", tiny}, Row{"half a bind", half},
        Row{"fewer bytes than announced", header}, Row{"a few header bytes", Bytes{5, 0, 11}}}) {
    SCOPED_TRACE(row.name);
    os::StreamSocket socket = Connect();
    ASSERT_EQ(socket.SendAll(row.bytes.data(), row.bytes.size()), os::IoResult::kOk);
    Bytes received;
    EXPECT_TRUE(ReadUntilClosed(socket, received));
    EXPECT_TRUE(received.empty());
  }
  ExpectServing();
}

TEST_F(RpcServerStream, RefusesConnectionsBeyondItsLimit) {
  // Three bound connections fill the server; a fourth is refused with reason 2.
  std::vector<os::StreamSocket> held;
  for (int i = 0; i < 3; ++i) {
    held.push_back(Connect());
    PduStream stream(held.back());
    PduHeader header;
    ASSERT_NO_FATAL_FAILURE(BindOn(stream, header));
  }
  os::StreamSocket refused = Connect();
  const Bytes bind = Bind();
  ASSERT_EQ(refused.SendAll(bind.data(), bind.size()), os::IoResult::kOk);
  Bytes received;
  ASSERT_TRUE(ReadUntilClosed(refused, received));
  ASSERT_EQ(received.size(), 24u);
  EXPECT_EQ(received[2], static_cast<std::uint8_t>(PduType::kBindNak));
  EXPECT_EQ(received[16], kNakLocalLimitExceeded);
}

}  // namespace
}  // namespace rdx::rpc::test
