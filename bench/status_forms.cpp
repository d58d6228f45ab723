// Status formatting and XML round trips against their plain baselines, measured in one run:
//   printToString of a typical status message   vs  snprintf into a stack buffer
//   Status::ToString + Status::Append, 100 items  vs  pugixml parsing and serialising it
// Ratios are printed after the table.
#include <rdx/foundation/Status.h>
#include <rdx/foundation/StringUtility.h>

#include "RatioReporter.h"

#include <benchmark/benchmark.h>
#include <pugixml.hpp>

#include <cstdio>
#include <string>

namespace {

using QUORVAN::Rendix::GeneralUtilityLib::Status;
using QUORVAN::Rendix::GeneralUtilityLib::StringUtility::printToString;

const char* const kFormat =
    "Could not open the session to %s on port %lu (attempt %lu of %lu): %06X";

void BM_SnprintfStackBuffer(benchmark::State& state) {
  unsigned long attempt = 0;
  for (auto _ : state) {
    char buffer[4096];
    const int length = std::snprintf(buffer, sizeof buffer, kFormat, "imageserver.example.org",
                                     3982ul, ++attempt % 5, 5ul, 0x6BAu);
    benchmark::DoNotOptimize(buffer);
    benchmark::DoNotOptimize(length);
  }
}
BENCHMARK(BM_SnprintfStackBuffer);

void BM_PrintToString(benchmark::State& state) {
  unsigned long attempt = 0;
  for (auto _ : state) {
    std::string text =
        printToString(kFormat, "imageserver.example.org", 3982ul, ++attempt % 5, 5ul, 0x6BAu);
    benchmark::DoNotOptimize(text);
  }
}
BENCHMARK(BM_PrintToString);

Status HundredItems() {
  Status status;
  for (int i = 0; i < 100; ++i) {
    status.Append(0x100 + i, printToString("Could not extract the area of interest %d.", i),
                  "QUORVAN.Rendix.ServiceProvider::ServiceProviderProxy::ExtractAOI",
                  i % 3 == 0 ? "rows 0-512 < limit & columns 0-512" : "");
  }
  return status;
}

class StringWriter : public pugi::xml_writer {
 public:
  void write(const void* data, std::size_t size) override {
    text.append(static_cast<const char*>(data), size);
  }
  std::string text;
};

void BM_PugixmlParseAndSerialise(benchmark::State& state) {
  const std::string xml = HundredItems().ToString(nullptr);
  for (auto _ : state) {
    pugi::xml_document document;
    benchmark::DoNotOptimize(document.load_buffer(xml.data(), xml.size()));
    StringWriter writer;
    document.save(writer, "\t", pugi::format_raw);
    benchmark::DoNotOptimize(writer.text);
  }
}
BENCHMARK(BM_PugixmlParseAndSerialise);

void BM_StatusToStringAndAppend(benchmark::State& state) {
  const Status status = HundredItems();
  for (auto _ : state) {
    const std::string xml = status.ToString(nullptr);
    Status back;
    benchmark::DoNotOptimize(back.Append(xml));
    benchmark::DoNotOptimize(back.items.data());
  }
}
BENCHMARK(BM_StatusToStringAndAppend);

// The two halves alone, to see where the time of the round trip goes.
void BM_StatusToStringOnly(benchmark::State& state) {
  const Status status = HundredItems();
  for (auto _ : state) benchmark::DoNotOptimize(status.ToString(nullptr));
}
BENCHMARK(BM_StatusToStringOnly);

void BM_StatusAppendOnly(benchmark::State& state) {
  const std::string xml = HundredItems().ToString(nullptr);
  for (auto _ : state) {
    Status back;
    benchmark::DoNotOptimize(back.Append(xml));
    benchmark::DoNotOptimize(back.items.data());
  }
}
BENCHMARK(BM_StatusAppendOnly);

}  // namespace

int main(int argc, char** argv) {
  return rdx::bench::RunBenchmarksAndPrintRatios(
      argc, argv, [](const rdx::bench::RatioReporter& reporter) {
        // Each line gives the time of the second benchmark over that of its baseline, the first.
        reporter.PrintRatios({{"BM_SnprintfStackBuffer", "BM_PrintToString"}}, "(aim <= 1.3)");
        reporter.PrintRatios({{"BM_PugixmlParseAndSerialise", "BM_StatusToStringAndAppend"}},
                             "(aim <= 1.5)");
      });
}
