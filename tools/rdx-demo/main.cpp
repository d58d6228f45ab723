// Demonstration of the library: each registered section shows one subsystem at work.
#include "DemoSection.h"

#include <rdx/RDXGlobalLib.h>

#include <algorithm>
#include <cstdio>
#include <vector>

namespace rdx::demo {
namespace {
std::vector<Section>& Sections() {
  static std::vector<Section> sections;
  return sections;
}
}  // namespace

bool RegisterSection(int rank, std::string title, std::function<void()> run) {
  Sections().push_back({rank, std::move(title), std::move(run)});
  return true;
}

}  // namespace rdx::demo

int main() {
  auto& sections = rdx::demo::Sections();
  std::stable_sort(sections.begin(), sections.end(),
                   [](const auto& a, const auto& b) { return a.rank < b.rank; });
  std::puts("RDXGlobalLib demonstration");
  for (const auto& section : sections) {
    std::printf("\n=== %s ===\n", section.title.c_str());
    section.run();
  }
  return 0;
}
