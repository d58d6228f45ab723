#pragma once
// Tests start their peers (Impacket's server script, our own programs) with the library's
// child-process runner; this header keeps the name they know it by.

#include "platform/os/ChildProcess.h"

namespace rdx::test {
using os::ChildProcess;
}  // namespace rdx::test

namespace rdx {
namespace testing = test;
}  // namespace rdx
