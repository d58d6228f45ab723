// Large answers: fragments that come as the sender planned them are read straight into the
// reply buffer, anything else is left whole to the ordinary reader (and never waited for),
// and the buffers kept between calls stay correct and within their pool.

#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <vector>

#include <rdx/remote/IServiceProviderManager.h>
#include <rdx/remote/ServiceProviderProxy.h>

#include "platform/os/StreamSocket.h"
#include "remote/EchoInterface.h"
#include "remote/TestServer.h"
#include "remote/runtime/KeepAllowance.h"
#include "remote/runtime/Pdu.h"
#include "remote/runtime/PduStream.h"

namespace rdx::rpc::test {
namespace {

using Bytes = std::vector<std::uint8_t>;
constexpr std::uint32_t kCall = 7;

// A response fragment carrying stub bytes [offset, offset + size) of the pattern.
Bytes Fragment(std::uint8_t flags, std::size_t offset, std::size_t size, std::uint32_t hint,
               std::uint32_t callId = kCall) {
  Bytes pdu(kCallHeaderSize + size);
  EncodeCallHeader(PduType::kResponse, flags, callId, static_cast<std::uint16_t>(pdu.size()), hint,
                   0, 0, pdu.data());
  for (std::size_t i = 0; i < size; ++i) pdu[kCallHeaderSize + i] = PatternByte(offset + i, 3);
  return pdu;
}

enum class Next { kNothing, kFull, kHalf, kLast, kFullLast, kFault, kOtherCall, kCut };

TEST(BulkTransfer, FragmentRunsTakeWhatIsPlannedAndLeaveTheRest) {
  using enum Next;
  const struct {
    const char* name;
    std::vector<Next> rest;     // what follows the first fragment
    std::size_t hintFragments;  // the run by alloc_hint: this many full fragments and a half
    std::size_t placedFragments;
    bool last;
    Next leftOver;         // what Next reads afterwards
    bool endsCall = true;  // false: the run is a slice of whole fragments, more follow
  } rows[] = {
      {"as planned", {kFull, kFull, kLast}, 2, 2, true, kFault},
      {"answer shorter than announced", {kFull, kLast}, 5, 1, false, kLast},
      {"answer longer than announced", {kFull, kFull, kLast}, 0, 0, false, kFull},
      {"last flag early", {kFull, kFullLast}, 4, 1, false, kFullLast},
      {"smaller fragments midway", {kFull, kHalf}, 4, 1, false, kHalf},
      {"fault midway", {kFull, kFault}, 4, 1, false, kFault},
      {"another call's fragment", {kOtherCall}, 4, 0, false, kOtherCall},
      {"slice of a longer answer", {kFull, kFull, kFull, kLast}, 2, 2, false, kFull, false},
      {"connection ends midway", {kFull, kCut}, 4, 0, false, kNothing},
  };
  for (const std::size_t capacity : {std::size_t{40}, std::size_t{5816}}) {
    for (const auto& row : rows) {
      SCOPED_TRACE(std::string(row.name) + ", fragments of " + std::to_string(capacity));
      os::StreamListener listener = os::StreamListener::ListenTcp(0).value;
      os::StreamSocket writer = os::StreamSocket::ConnectTcp("127.0.0.1", listener.Port());
      os::StreamSocket reader = listener.Accept();
      // The run's stub: everything after the first fragment, by its alloc_hint.
      const std::size_t runBytes = row.hintFragments * capacity + (row.endsCall ? capacity / 2 : 0);
      const auto hint = static_cast<std::uint32_t>(capacity + runBytes);
      Bytes sent = Fragment(kFirstFragment, 0, capacity, hint);
      std::size_t offset = capacity;
      auto pdu = [&](Next kind) -> Bytes {
        switch (kind) {
          case Next::kFull: return Fragment(0, offset, capacity, 0);
          case Next::kHalf: return Fragment(0, offset, capacity / 2, 0);
          case Next::kLast: return Fragment(kLastFragment, offset, capacity / 2, 0);
          case Next::kFullLast: return Fragment(kLastFragment, offset, capacity, 0);
          case Next::kFault: return EncodeFault(kCall, 0, 0x1c010002, false);
          case Next::kOtherCall: return Fragment(0, offset, capacity, 0, kCall + 1);
          case Next::kCut: {  // a header cut short, then nothing more
            const Bytes whole = Fragment(0, offset, capacity, 0);
            return Bytes(whole.begin(), whole.begin() + 10);
          }
          case Next::kNothing: break;
        }
        return {};
      };
      for (const Next kind : row.rest) {
        const Bytes more = pdu(kind);
        sent.insert(sent.end(), more.begin(), more.end());
        if (kind == Next::kFull) offset += capacity;
      }
      if (row.leftOver == Next::kFault && row.last) {
        const Bytes fault = pdu(Next::kFault);  // a later PDU must not be read into the run
        sent.insert(sent.end(), fault.begin(), fault.end());
      }
      ASSERT_EQ(writer.SendAll(sent.data(), sent.size()), os::IoResult::kOk);
      if (row.rest.back() == Next::kCut) writer.Shutdown();

      PduStream stream(reader);
      PduHeader header;
      std::span<const std::uint8_t> first;
      ASSERT_EQ(stream.Next(header, first, 5'000, 5'000), PduStream::Result::kPdu);
      FragmentRun run;
      run.callId = kCall;
      run.fragLength = header.fragLength;
      run.stubBytes = runBytes;
      run.endsCall = row.endsCall;
      Bytes stub(runBytes, 0xEE);
      std::size_t placed = 99;
      bool last = false;
      // Bounded: a run that waited for bytes nobody promised would time out here.
      const auto r = stream.ReceiveRun(run, stub.data(), placed, last, 5'000);
      if (row.leftOver == Next::kNothing) {
        EXPECT_EQ(r, PduStream::Result::kClosed);
        continue;
      }
      ASSERT_EQ(r, PduStream::Result::kPdu);
      const std::size_t expected = row.last ? runBytes : row.placedFragments * capacity;
      EXPECT_EQ(placed, expected);
      EXPECT_EQ(last, row.last);
      std::size_t wrong = 0;
      for (std::size_t i = 0; i < placed; ++i) wrong += stub[i] != PatternByte(capacity + i, 3);
      EXPECT_EQ(wrong, 0u);

      std::span<const std::uint8_t> next;
      ASSERT_EQ(stream.Next(header, next, 5'000, 5'000), PduStream::Result::kPdu);
      const Bytes whole = row.leftOver == Next::kFault ? pdu(Next::kFault) : [&] {
        offset = capacity + placed;
        return pdu(row.leftOver);
      }();
      EXPECT_EQ(Bytes(next.begin(), next.end()), whole);
    }
  }
}

TEST(BulkTransfer, KeptBuffersStayWithinTheirPool) {
  constexpr std::size_t kMiB = 1024 * 1024;
  KeepPool pool(3 * kMiB);
  Bytes small, first, second;
  KeepAllowance smallHolder(pool), firstHolder(pool), secondHolder(pool);
  small.reserve(kFreelyKept);
  smallHolder.Settle(small);
  EXPECT_GE(small.capacity(), kFreelyKept);  // kept, and free of charge
  EXPECT_EQ(pool.Used(), 0u);

  first.reserve(2 * kMiB);
  firstHolder.Settle(first);
  EXPECT_GE(first.capacity(), 2 * kMiB);
  EXPECT_EQ(pool.Used(), first.capacity());

  second.reserve(2 * kMiB);
  secondHolder.Settle(second);  // no room left: freed after its call
  EXPECT_EQ(second.capacity(), 0u);
  EXPECT_EQ(pool.Used(), first.capacity());

  firstHolder.Drop(first);
  EXPECT_EQ(first.capacity(), 0u);
  EXPECT_EQ(pool.Used(), 0u);
  {
    KeepAllowance shortLived(pool);
    shortLived.Settle(second = Bytes(2 * kMiB));
    EXPECT_EQ(pool.Used(), second.capacity());
  }
  EXPECT_EQ(pool.Used(), 0u);  // handed back when its holder ends
}

// Fills the first half of each image with a pattern of its arguments, the rest left as it came.
class PatternProvider : public QUORVAN::Rendix::ServiceProvider::IServiceProviderManager {
 public:
  std::int8_t Ping() override { return 1; }
  std::int8_t StreamImageBuffer(std::string&, std::int32_t& size, std::uint8_t* buffer,
                                std::int32_t a, std::int32_t b, std::string&) override {
    zeroedOnEntry =
        zeroedOnEntry && std::all_of(buffer, buffer + size, [](std::uint8_t v) { return v == 0; });
    for (std::int32_t i = 0; i < size / 2; ++i) buffer[i] = std::uint8_t(i + a + b);
    return 1;
  }
  bool zeroedOnEntry = true;
};

// Images through the proxy into the caller's own buffer, each call leaving the kept buffers
// larger or smaller than the next needs (9 MiB is read into place in more than one slice):
// every byte arrives, and not one is written past the caller's size.
TEST(BulkTransfer, ImagesShrinkingAndGrowingOnOneConnectionArriveWhole) {
  PatternProvider provider;
  TestServer server(nullptr, &provider, nullptr);
  QUORVAN::Rendix::ServiceProvider::ServiceProviderProxy proxy;
  QUORVAN::Rendix::GeneralUtilityLib::PropertyLookUp where;
  where["HostMachine"] = "127.0.0.1";
  where["Endpoint"] = server.Endpoint();
  ASSERT_TRUE(proxy.Init(where));
  constexpr std::uint32_t kMiB = 1024 * 1024;
  const struct {
    std::uint32_t size, a;
  } rows[] = {{3 * kMiB + 5, 3},    {kMiB + 3, 0xFFFFFFFFu}, {0, 1},       {17, 2},
              {70000, 0xFFFFFFFFu}, {9 * kMiB + 1, 5},       {2 * kMiB, 4}};
  for (const auto& row : rows) {
    SCOPED_TRACE(std::to_string(row.size) + " bytes, a " + std::to_string(row.a));
    std::vector<char> buffer(row.size + 8, '\x55');
    std::uint32_t size = row.size;
    ASSERT_TRUE(proxy.StreamImageBuffer("", buffer.data(), size, row.a, 250))
        << proxy.GetStatus().ToTextString(nullptr);
    EXPECT_EQ(size, row.size);
    std::size_t wrong = 0;
    for (std::uint32_t i = 0; i < row.size; ++i) {
      wrong += std::uint8_t(buffer[i]) != (i < row.size / 2 ? std::uint8_t(i + row.a + 250) : 0);
    }
    EXPECT_EQ(wrong, 0u);
    EXPECT_EQ(std::string(buffer.end() - 8, buffer.end()), std::string(8, '\x55'));
  }
  EXPECT_TRUE(provider.zeroedOnEntry);  // the kept answer buffer is cleared for each call
}

}  // namespace
}  // namespace rdx::rpc::test
