// Report text reaches the console formatter from other processes (pipes, status XML): any bytes
// must format without reading absent arguments and without unbounded output.
#include "reporting/ReportFormatter.h"

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string text(reinterpret_cast<const char*>(data), size);
  const std::string printed = rdx::reporting::FormatWithoutArguments(text);
  // Every conversion takes at least two bytes of input and prints at most a capped field.
  if (printed.size() > size * 4200 + 16) std::abort();
  return 0;
}
