// Client stubs of the automatic-binding interface: each marshals through the operation's row
// of the interface table; the operation number is the row.

#include "remote/stubs/ServerAutoBindClient.h"

#include <atomic>

#include "remote/runtime/RpcRuntime.h"
#include "remote/stubs/ClientCall.h"

namespace rdx::rpc::autobind {
namespace {

std::atomic<void*> g_binding{nullptr};

void* CurrentBinding() {
  void* binding = g_binding.load(std::memory_order_acquire);
  if (binding == nullptr) throw RpcException(kStatusInvalidBinding);
  return binding;
}

template <typename... A>
std::int32_t Call(void* binding, std::uint16_t opnum, A... args) {
  return CallWith(binding, ServerAutoBindShape(), opnum, args...);
}

std::int8_t Small(std::int32_t result) { return static_cast<std::int8_t>(result); }

}  // namespace

void SetBinding(void* binding) noexcept { g_binding.store(binding, std::memory_order_release); }

std::int8_t Op0(char* text) { return Small(Call(CurrentBinding(), 0, text)); }

std::int8_t Op1(const char* first, char* second, char* third) {
  return Small(Call(CurrentBinding(), 1, first, second, third));
}

std::int8_t Op2(const char* text) { return Small(Call(CurrentBinding(), 2, text)); }

std::int8_t Op3(const char* first, std::int8_t flag, const char* second, char* third) {
  return Small(Call(CurrentBinding(), 3, first, flag, second, third));
}

std::int8_t Op4(const char* first, const char* second, std::int32_t* size, char* text,
                char* third) {
  return Small(Call(CurrentBinding(), 4, first, second, size, text, third));
}

std::int8_t Op5(const char* first, const char* second, std::int32_t* size, char* text,
                char* third) {
  return Small(Call(CurrentBinding(), 5, first, second, size, text, third));
}

}  // namespace rdx::rpc::autobind
