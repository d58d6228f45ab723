#pragma once
// Figures a benchmark measures itself (per repetition, possibly from several threads), kept by
// name so a program can print ratios between benchmarks of the same run once they have ended.

#include <algorithm>
#include <map>
#include <mutex>
#include <string>
#include <vector>

namespace rdx::bench {

class MedianFigures {
 public:
  void Record(const std::string& name, double value) {
    std::lock_guard lock(lock_);
    runs_[name].push_back(value);
  }
  // The median over the repetitions: steadier than one run on a busy machine. 0 when none.
  double Median(const std::string& name) {
    std::lock_guard lock(lock_);
    std::vector<double> runs = runs_[name];
    if (runs.empty()) return 0;
    std::sort(runs.begin(), runs.end());
    return runs[runs.size() / 2];
  }

 private:
  std::mutex lock_;
  std::map<std::string, std::vector<double>> runs_;
};

}  // namespace rdx::bench
