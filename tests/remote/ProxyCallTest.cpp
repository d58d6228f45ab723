// The proxies' calling pattern: buffers as the server expects them and the two-call fetch.

#include <gtest/gtest.h>

#include <cstring>
#include <string>
#include <vector>

#include "remote/proxies/ProxyCall.h"

namespace rdx::rpc::test {
namespace {

TEST(ProxyCall, FetchesUnknownLengthsInAtMostTwoCalls) {
  struct Row {
    const char* name;
    std::vector<std::int32_t> results;  // what the server returns, call by call
    std::size_t written;                // length of the server's text in each buffer
    bool ok;
    std::size_t answerLength;
  };
  const Row rows[] = {
      {"short answer", {0}, 2, true, 2},
      {"answer filling the first buffer", {4000}, 4000, true, 4000},
      {"one byte too long", {4001, 0}, 4001, true, 4001},
      {"failure", {-1}, 0, false, 0},
      {"second call not 0", {5000, 5000}, 0, false, 0},
      {"size no array can have", {0x7FFFFFFF}, 0, false, 0},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.name);
    std::vector<std::int32_t> offered;
    std::vector<std::size_t> prepared;  // the 'A's found in each buffer before the NUL
    const SizedCall call = [&](std::int32_t size, char* buffer) {
      offered.push_back(size);
      prepared.push_back(std::strlen(buffer));
      // As the stub leaves it: all `size` bytes written, the text then zeros.
      std::memset(buffer, 0, std::size_t(size));
      std::memset(buffer, 'x', std::min<std::size_t>(row.written, std::size_t(size)));
      return row.results.at(offered.size() - 1);
    };
    std::string answer = "untouched";
    EXPECT_EQ(FetchSizedText(call, answer), row.ok);
    ASSERT_EQ(offered.size(), row.results.size());
    EXPECT_EQ(offered[0], 4000);
    EXPECT_EQ(prepared[0], 3999u);
    if (offered.size() == 2) {
      EXPECT_EQ(offered[1], row.results[0]);
      EXPECT_EQ(prepared[1], std::size_t(row.results[0]));  // r 'A's and the NUL at r
    }
    EXPECT_EQ(answer, row.ok ? std::string(row.answerLength, 'x') : "untouched");
  }
  const std::vector<char> version = CallerBuffer(kVersionCapacity);
  EXPECT_EQ(std::string(version.data()), std::string(99, 'A'));
  EXPECT_EQ(version.size(), 100u);
}

}  // namespace
}  // namespace rdx::rpc::test
