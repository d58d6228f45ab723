// Demonstration of the library: each section shows one subsystem at work.
#include <rdx/RDXGlobalLib.h>

#include <cstdio>

int main() {
  std::puts("RDXGlobalLib demonstration");
  return 0;
}
