// NameValueMap flat form: Save and Load of 1000 pairs, in MB/s of flat bytes. Baselines from
// the same run: walking a plain std::map<std::string, std::string> of the same pairs and
// appending them to a string (what Save must do at least), a memcpy of the block (the floor
// of any copy), and building that std::map from the pairs (the allocations Load cannot
// avoid). The ratios are printed after the table.
#include <rdx/foundation/NameValueMap.h>

#include "RatioReporter.h"

#include <benchmark/benchmark.h>
#include <pugixml.hpp>

#include <cstdio>
#include <cstring>
#include <map>
#include <string>
#include <utility>
#include <vector>

namespace {

using QUORVAN::Rendix::Global::NameValueMap;

constexpr int kPairs = 1000;

std::vector<std::pair<std::string, std::string>> MakePairs() {
  std::vector<std::pair<std::string, std::string>> pairs;
  for (int i = 0; i < kPairs; ++i) {
    char name[32];
    std::snprintf(name, sizeof name, "Service.Property%04d", i);
    pairs.emplace_back(name, "value of property " + std::to_string(i * 7919));
  }
  return pairs;
}

const std::vector<std::pair<std::string, std::string>>& Pairs() {
  static const auto pairs = MakePairs();
  return pairs;
}

NameValueMap& Map() {
  static NameValueMap map = [] {
    NameValueMap m;
    for (const auto& [name, value] : Pairs()) m[name] = value;
    return m;
  }();
  return map;
}

const std::vector<char>& Block() {
  static const std::vector<char> block = [] {
    std::uint32_t size = 0;
    Map().Save(&size, nullptr);
    std::vector<char> b(size);
    Map().Save(&size, b.data());
    return b;
  }();
  return block;
}

void SetBytes(benchmark::State& state) {
  state.SetBytesProcessed(static_cast<std::int64_t>(state.iterations()) *
                          static_cast<std::int64_t>(Block().size()));
}

void BM_Save(benchmark::State& state) {
  std::vector<char> out(Block().size());
  for (auto _ : state) {
    std::uint32_t size = 0;
    Map().Save(&size, nullptr);  // the two-call protocol: ask for the size, then write
    benchmark::DoNotOptimize(Map().Save(&size, out.data()));
    benchmark::ClobberMemory();
  }
  SetBytes(state);
}
BENCHMARK(BM_Save);

void BM_Load(benchmark::State& state) {
  const std::vector<char>& block = Block();
  NameValueMap map;
  for (auto _ : state) {
    benchmark::DoNotOptimize(map.Load(static_cast<std::uint32_t>(block.size()), block.data()));
  }
  if (map.size() != static_cast<std::size_t>(kPairs)) state.SkipWithError("lost pairs");
  SetBytes(state);
}
BENCHMARK(BM_Load);

void BM_BaselineMemcpy(benchmark::State& state) {
  const std::vector<char>& block = Block();
  std::vector<char> out(block.size());
  for (auto _ : state) {
    std::memcpy(out.data(), block.data(), block.size());
    benchmark::ClobberMemory();
  }
  SetBytes(state);
}
BENCHMARK(BM_BaselineMemcpy);

void BM_BaselineStdMapWalk(benchmark::State& state) {
  const std::map<std::string, std::string> map(Pairs().begin(), Pairs().end());
  std::string out;
  out.reserve(Block().size());
  for (auto _ : state) {
    out.clear();
    for (const auto& [name, value] : map) {
      out.append(name.c_str(), name.size() + 1);
      out.append(value.c_str(), value.size() + 1);
    }
    benchmark::DoNotOptimize(out.data());
  }
  SetBytes(state);
}
BENCHMARK(BM_BaselineStdMapWalk);

void BM_BaselineStdMapBuild(benchmark::State& state) {
  for (auto _ : state) {
    std::map<std::string, std::string> map;
    for (const auto& [name, value] : Pairs()) map.emplace(name, value);
    benchmark::DoNotOptimize(map);
  }
  SetBytes(state);
}
BENCHMARK(BM_BaselineStdMapBuild);

// The XML form of the same map: LoadXml, which goes through the XML document cursor, against
// parsing the same text with pugixml directly and copying each child's name and text.
const std::string& XmlText() {
  static const std::string xml = Map().ToXmlString("Props");
  return xml;
}

void BM_LoadXml(benchmark::State& state) {
  NameValueMap map;
  for (auto _ : state) benchmark::DoNotOptimize(map.LoadXml(XmlText(), ""));
  if (map.size() != static_cast<std::size_t>(kPairs)) state.SkipWithError("lost pairs");
  state.SetBytesProcessed(static_cast<std::int64_t>(state.iterations()) *
                          static_cast<std::int64_t>(XmlText().size()));
}
BENCHMARK(BM_LoadXml);

void BM_BaselinePugixmlRead(benchmark::State& state) {
  for (auto _ : state) {
    pugi::xml_document document;
    document.load_buffer(XmlText().data(), XmlText().size());
    std::map<std::string, std::string> map;
    for (const pugi::xml_node& child : document.document_element().children()) {
      map.emplace(child.name(), child.text().get());
    }
    benchmark::DoNotOptimize(map);
  }
  state.SetBytesProcessed(static_cast<std::int64_t>(state.iterations()) *
                          static_cast<std::int64_t>(XmlText().size()));
}
BENCHMARK(BM_BaselinePugixmlRead);

}  // namespace

int main(int argc, char** argv) {
  return rdx::bench::RunBenchmarksAndPrintRatios(
      argc, argv, [](const rdx::bench::RatioReporter& reporter) {
        std::printf("flat block: %zu bytes, %d pairs\n", Block().size(), kPairs);
        // Each line reads "<measured> vs <baseline>: time of baseline / time of measured".
        reporter.PrintRatios({{"BM_Save", "BM_BaselineStdMapWalk"},
                              {"BM_Save", "BM_BaselineMemcpy"},
                              {"BM_Load", "BM_BaselineStdMapBuild"},
                              {"BM_LoadXml", "BM_BaselinePugixmlRead"}},
                             "");
      });
}
