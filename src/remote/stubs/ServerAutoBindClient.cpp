// Client stubs of the automatic-binding interface: each marshals through its operation's row of the
// interface table, against which its signature is checked when this file is compiled.

#include "remote/stubs/ServerAutoBindClient.h"

#include <atomic>

#include "remote/runtime/RpcRuntime.h"
#include "remote/stubs/InterfaceTables.h"
#include "remote/stubs/TypedStubs.h"

namespace rdx::rpc::autobind {
namespace {

std::atomic<void*> g_binding{nullptr};

void* CurrentBinding() {
  void* binding = g_binding.load(std::memory_order_acquire);
  if (binding == nullptr) throw RpcException(os::kRpcInvalidBinding);
  return binding;
}

template <std::size_t Op, typename R, typename... A>
R Call(void* binding, A... args) {
  return TypedCall<tables::kServerAutoBind, Op, R>(binding, ServerAutoBindShape(), args...);
}

}  // namespace

void SetBinding(void* binding) noexcept { g_binding.store(binding, std::memory_order_release); }

std::int8_t Op0(char* text) { return Call<0, std::int8_t>(CurrentBinding(), text); }

std::int8_t Op1(const char* first, char* second, char* third) {
  return Call<1, std::int8_t>(CurrentBinding(), first, second, third);
}

std::int8_t Op2(const char* text) { return Call<2, std::int8_t>(CurrentBinding(), text); }

std::int8_t Op3(const char* first, std::int8_t flag, const char* second, char* third) {
  return Call<3, std::int8_t>(CurrentBinding(), first, flag, second, third);
}

std::int8_t Op4(const char* first, const char* second, std::int32_t* size, char* text,
                char* third) {
  return Call<4, std::int8_t>(CurrentBinding(), first, second, size, text, third);
}

std::int8_t Op5(const char* first, const char* second, std::int32_t* size, char* text,
                char* third) {
  return Call<5, std::int8_t>(CurrentBinding(), first, second, size, text, third);
}

}  // namespace rdx::rpc::autobind
