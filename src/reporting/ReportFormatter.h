#pragma once
// The console prints report text through the formatter as a format string, so "%" sequences
// in a report are interpreted. This does the same without reading absent arguments: every
// conversion formats a zero (numbers), an empty string (%s) or nothing (%c, %n, %m).

#include <string>

namespace rdx::reporting {

// format as printf would print it if every argument were zero or empty. Stops at the first
// zero byte, like the formatter. Widths and precisions are capped at 4096 so a hostile
// "%999999999d" cannot allocate without bound.
std::string FormatWithoutArguments(const std::string& format);

}  // namespace rdx::reporting
