// A bounded soak of the reference server: 128 clients, each on its own binding, make a mix of
// calls for $RDX_SOAK_SECONDS seconds and check every answer against the server's documented
// ones, while the server's resident size is sampled. Run by its own CTest entry (label
// "soak"); without the variable it is skipped, so developers choose when to pay for it.

#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "remote/RefServerChild.h"
#include "remote/TestServer.h"
#include "remote/stubs/ServerCoreClient.h"
#include "remote/stubs/ServiceProviderClient.h"

namespace rdx::rpc::test {
namespace {

constexpr int kClients = 128;
constexpr std::int32_t kTextSize = 6000;  // above the 4000 a caller offers first
constexpr std::size_t kMiB = 1024 * 1024;

using Clock = std::chrono::steady_clock;

// What one client saw: latencies in microseconds and the first few failures.
struct Tally {
  std::vector<std::uint32_t> latencies;
  std::vector<std::string> failures;
  std::size_t failed = 0;
};

// A buffer for an in/out string: `room` 'A's, as callers prepare them.
std::string Room(std::size_t room) { return std::string(room, 'A'); }

class SoakClient {
 public:
  SoakClient(const std::string& endpoint, unsigned seed, Tally& tally)
      : binding_("127.0.0.1", endpoint), seed_(seed), tally_(tally) {}

  // One round of calls; every answer is checked.
  void Round() {
    Check("Ping", [&] { return serviceprovider::Ping(binding_.h) == 1; });
    Check("GetVersion", [&] {
      std::string version = Room(15);
      return servercore::GetVersion(binding_.h, version.data()) == 1 &&
             std::strcmp(version.c_str(), "1.0.0.2") == 0;
    });
    std::string session = Room(15);
    std::string error = Room(1023);
    if (!Check("OpenServiceSession", [&] {
          return serviceprovider::OpenServiceSession(binding_.h, "Soak", "client", session.data(),
                                                     error.data()) == 1 &&
                 session[0] == 'S' && error[0] == '\0';
        })) {
      return;
    }
    session.resize(std::strlen(session.c_str()));
    Check("GetServiceInfo", [&] { return SizedText(session); });
    Check("SetAOI", [&] {
      error = Room(1023);
      return serviceprovider::SetAOI(binding_.h, session.data(), 0, 0, 10.5, 20, 64, 64, "",
                                     error.data()) == 1 &&
             error[0] == '\0';
    });
    Check("SetAOI empty", [&] {
      error = Room(1023);
      return serviceprovider::SetAOI(binding_.h, session.data(), 5, 0, 5, 20, 64, 64, "",
                                     error.data()) == 0 &&
             std::strstr(error.c_str(), "Empty area of interest: ") != nullptr &&
             std::strstr(error.c_str(), "RefServer.SetAOI") != nullptr;
    });
    static constexpr std::int32_t kSizes[] = {0, 17, 4096, 300'000, 1024 * 1024 + 3};
    const std::int32_t size = kSizes[Next() % std::size(kSizes)];
    Check("StreamImageBuffer", [&] { return Image(session, size); });
    Check("CloseSession", [&] {
      error = Room(1023);
      return serviceprovider::CloseSession(binding_.h, session.data(), error.data()) == 1;
    });
  }

 private:
  // The two-call size protocol: 4000 bytes offered, the size needed answered, then the text.
  bool SizedText(std::string& session) {
    std::string error = Room(1023);
    std::vector<char> text(4000, '?');
    if (serviceprovider::GetServiceInfo(binding_.h, session.data(), 4000, text.data(),
                                        error.data()) != kTextSize) {
      return false;
    }
    text.assign(kTextSize + 1, '\0');
    error = Room(1023);
    if (serviceprovider::GetServiceInfo(binding_.h, session.data(), kTextSize, text.data(),
                                        error.data()) != 0) {
      return false;
    }
    std::string expected = "GetServiceInfo";
    expected.resize(kTextSize, '.');
    return std::string(text.data(), kTextSize) == expected && error[0] == '\0';
  }

  bool Image(std::string& session, std::int32_t size) {
    const std::int32_t a = static_cast<std::int32_t>(Next() % 1000);
    const std::int32_t b = static_cast<std::int32_t>(Next() % 7);
    image_.assign(static_cast<std::size_t>(size) + 1, 0xEE);
    std::string error = Room(1023);
    std::int32_t inOut = size;
    if (serviceprovider::StreamImageBuffer(binding_.h, session.data(), &inOut, image_.data(), a, b,
                                           error.data()) != 1 ||
        inOut != size || image_.back() != 0xEE) {
      return false;
    }
    for (std::int32_t i = 0; i < size; ++i) {
      if (image_[static_cast<std::size_t>(i)] != static_cast<std::uint8_t>((i + a + b) % 256)) {
        return false;
      }
    }
    return true;
  }

  template <typename Call>
  bool Check(const char* name, Call call) {
    const auto start = Clock::now();
    bool ok = false;
    std::string why;
    try {
      ok = call();
    } catch (const RpcException& e) {
      why = " raised " + std::to_string(e.Status());
    }
    tally_.latencies.push_back(static_cast<std::uint32_t>(
        std::chrono::duration_cast<std::chrono::microseconds>(Clock::now() - start).count()));
    if (!ok && ++tally_.failed <= 5) tally_.failures.push_back(name + why);
    return ok;
  }

  unsigned Next() { return seed_ = seed_ * 1103515245u + 12345u; }

  Binding binding_;
  unsigned seed_;
  Tally& tally_;
  std::vector<std::uint8_t> image_;
};

TEST(RefServerSoak, ManyClientsMixedCallsNoFailureNoGrowth) {
  const char* seconds = std::getenv("RDX_SOAK_SECONDS");
  if (seconds == nullptr || std::atoi(seconds) <= 0) {
    GTEST_SKIP() << "set RDX_SOAK_SECONDS to run the soak (CTest's soak entry does)";
  }
  const auto duration = std::chrono::seconds(std::atoi(seconds));
  RefServerChild::Options options;
  options.arguments = {"--text-size", std::to_string(kTextSize)};
  auto server = RefServerChild::Start(options);
  ASSERT_NE(server, nullptr);

  std::vector<Tally> tallies(kClients);
  std::atomic<bool> stop{false};
  std::vector<std::thread> clients;
  const auto start = Clock::now();
  for (int i = 0; i < kClients; ++i) {
    clients.emplace_back([&, i] {
      SoakClient client(server->Endpoint(), static_cast<unsigned>(i) + 1, tallies[i]);
      while (!stop) client.Round();
    });
  }
  // Resident size every half second; the first quarter of the run is warm-up.
  struct Sample {
    double at;
    std::uint64_t bytes;
  };
  std::vector<Sample> samples;
  while (Clock::now() - start < duration) {
    std::this_thread::sleep_for(std::chrono::milliseconds(500));
    samples.push_back(
        {std::chrono::duration<double>(Clock::now() - start).count(), server->ResidentBytes()});
  }
  stop = true;
  for (std::thread& t : clients) t.join();
  const double elapsed = std::chrono::duration<double>(Clock::now() - start).count();

  std::vector<std::uint32_t> latencies;
  std::size_t failed = 0;
  for (const Tally& t : tallies) {
    latencies.insert(latencies.end(), t.latencies.begin(), t.latencies.end());
    failed += t.failed;
    for (const std::string& f : t.failures) ADD_FAILURE() << "failed call: " << f;
  }
  EXPECT_EQ(failed, 0u);
  ASSERT_FALSE(latencies.empty());
  std::sort(latencies.begin(), latencies.end());
  const auto percentile = [&](double p) {
    return latencies[std::min(latencies.size() - 1,
                              static_cast<std::size_t>(p * static_cast<double>(latencies.size())))];
  };

  const double warmUp = std::chrono::duration<double>(duration).count() / 4;
  std::uint64_t level = 0;  // the highest resident size during warm-up
  std::uint64_t highest = 0;
  for (const Sample& s : samples) {
    std::uint64_t& bound = s.at <= warmUp ? level : highest;
    bound = std::max(bound, s.bytes);
  }
  std::printf("soak: %d clients, %.0f s, %zu calls, %.0f calls/s, latency p50 %u us, p99 %u us,"
              " max %u us; server resident %llu MiB after warm-up, at most %llu MiB later\n",
              kClients, elapsed, latencies.size(), static_cast<double>(latencies.size()) / elapsed,
              percentile(0.5), percentile(0.99), latencies.back(),
              static_cast<unsigned long long>(level / kMiB),
              static_cast<unsigned long long>(highest / kMiB));
  // Kept answer buffers move between connections, so the level wavers; a leak climbs.
  ASSERT_GT(level, 0u);
  if (kResidentSizeMeaningful) {
    EXPECT_LE(highest, level + level / 4 + 32 * kMiB);
  }
  EXPECT_TRUE(server->Running());
  EXPECT_EQ(server->Stop(), 0);
}

}  // namespace
}  // namespace rdx::rpc::test
