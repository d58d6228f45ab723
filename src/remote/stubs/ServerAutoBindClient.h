#pragma once
// Client stubs of the automatic-binding interface. Its operations carry no binding handle;
// with no name service to find a server, the process names one once with SetBinding and
// every stub uses it. Conventions and failures as in ServerCoreClient.h; a call before any
// binding was set throws 1702.

#include <cstdint>

namespace rdx::rpc::autobind {

// The binding handle (from GetRpcHandle, borrowed) every stub below uses; null clears it.
void SetBinding(void* binding) noexcept;

std::int8_t Op0(char* text);
std::int8_t Op1(const char* first, char* second, char* third);
std::int8_t Op2(const char* text);
std::int8_t Op3(const char* first, std::int8_t flag, const char* second, char* third);
std::int8_t Op4(const char* first, const char* second, std::int32_t* size, char* text, char* third);
std::int8_t Op5(const char* first, const char* second, std::int32_t* size, char* text, char* third);

}  // namespace rdx::rpc::autobind
