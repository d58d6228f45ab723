// String bindings: composing escapes, parsing removes one level of escaping, and the
// endpoint forms of the two protocol sequences.

#include <gtest/gtest.h>

#include "remote/runtime/StringBinding.h"

namespace rdx::rpc::test {
namespace {

TEST(StringBinding, ComposesAndParsesEveryForm) {
  struct Row {
    StringBindingParts parts;
    const char* text;
  };
  const Row rows[] = {
      {{"", "ncacn_ip_tcp", "", "3982", ""}, "ncacn_ip_tcp:[3982]"},
      {{"", "ncacn_ip_tcp", "::1", "3982", ""}, "ncacn_ip_tcp:\\:\\:1[3982]"},
      {{"", "ncacn_np", "myhost", "\\pipe\\name", ""}, "ncacn_np:myhost[\\\\pipe\\\\name]"},
      {{"12345678-1234-1234-1234-123456789abc", "ncacn_ip_tcp", "h", "1", "opt=1"},
       "12345678-1234-1234-1234-123456789abc@ncacn_ip_tcp:h[1,opt=1]"},
      {{"", "ncacn_ip_tcp", "h", "", ""}, "ncacn_ip_tcp:h"},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.text);
    std::string text;
    ASSERT_EQ(ComposeStringBinding(row.parts, text), 0u);
    EXPECT_EQ(text, row.text);
    StringBindingParts parsed;
    ASSERT_EQ(ParseStringBinding(text, parsed), 0u);
    EXPECT_EQ(parsed.objectUuid, row.parts.objectUuid);
    EXPECT_EQ(parsed.protocolSequence, row.parts.protocolSequence);
    EXPECT_EQ(parsed.networkAddress, row.parts.networkAddress);
    EXPECT_EQ(parsed.endpoint, row.parts.endpoint);
    EXPECT_EQ(parsed.options, row.parts.options);
  }
  StringBindingParts parsed;
  // A lone backslash escapes the next character away, as Windows parses it.
  ASSERT_EQ(ParseStringBinding("ncacn_np:.[\\pipe\\test]", parsed), 0u);
  EXPECT_EQ(parsed.endpoint, "pipetest");
  ASSERT_EQ(ParseStringBinding("ncacn_ip_tcp:h[endpoint=3982]", parsed), 0u);
  EXPECT_EQ(parsed.endpoint, "3982");
  EXPECT_EQ(ParseStringBinding("no colon here", parsed), 1700u);
  EXPECT_EQ(ParseStringBinding("ncacn_ip_tcp:h[3982", parsed), 1700u);
  EXPECT_EQ(ParseStringBinding("{12345678-1234-1234-1234-123456789abc}@ncacn_np:h", parsed), 1705u);
}

TEST(StringBinding, EndpointFormsOfEachProtocol) {
  std::uint16_t port = 0;
  for (const char* bad : {"0", "65536", "", "12a", "-1", "999999"}) {
    SCOPED_TRACE(bad);
    EXPECT_FALSE(ParseTcpEndpoint(bad, port));
  }
  ASSERT_TRUE(ParseTcpEndpoint("65535", port));
  EXPECT_EQ(port, 65535);
  std::string path;
  for (const char* good :
       {"\\pipe\\QUORVANRendix", "/pipe/quorvanrendix", "\\PIPE\\QuorvanRendix"}) {
    SCOPED_TRACE(good);
    ASSERT_TRUE(PipeSocketPath(good, path));
    EXPECT_EQ(path.substr(path.rfind('/')), "/quorvanrendix");  // names ignore case
  }
  for (const char* bad : {"\\pipe\\", "pipe\\x", "\\pip\\x", "\\pipe\\..", "3982"}) {
    SCOPED_TRACE(bad);
    EXPECT_FALSE(PipeSocketPath(bad, path));
  }
  // Clients pick the transport by a plain, case-sensitive substring search.
  for (const auto& [endpoint, protocol] : {std::pair{"3982", kTcpProtocol},
                                           {"\\pipe\\QUORVANRendix", kPipeProtocol},
                                           {"host/pipe/x", kPipeProtocol},
                                           {"\\PIPE\\x", kTcpProtocol},
                                           {"pipe", kTcpProtocol}}) {
    SCOPED_TRACE(endpoint);
    EXPECT_STREQ(ProtocolSequenceFor(endpoint), protocol);
  }
  EXPECT_EQ(CheckProtocolSequence("ncacn_np"), 0u);
  EXPECT_EQ(CheckProtocolSequence("ncalrpc"), 1703u);
  EXPECT_EQ(CheckProtocolSequence("ncacn ip"), 1704u);
}

}  // namespace
}  // namespace rdx::rpc::test
