#pragma once
// Each file of the demonstration registers one section; main runs them in order of rank, so
// a subsystem adds its part of the tour without touching the others.

#include <functional>
#include <string>

namespace rdx::demo {

struct Section {
  int rank;  // sections run in ascending rank
  std::string title;
  std::function<void()> run;
};

// Registers a section at static-initialisation time; returns true so it can seed a constant.
bool RegisterSection(int rank, std::string title, std::function<void()> run);

}  // namespace rdx::demo
