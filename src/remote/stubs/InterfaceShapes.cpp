// The three interfaces: identity and operation table.

#include "remote/stubs/InterfaceTables.h"

namespace rdx::rpc {

const InterfaceShape& ServerCoreShape() noexcept {
  static const InterfaceShape shape{"ServerCoreInterface",
                                    shape::MakeSyntax("8a60fd6c-7ebf-4aee-839c-1df4243d03d2", 1, 0),
                                    tables::kServerCore};
  return shape;
}

const InterfaceShape& ServiceProviderShape() noexcept {
  static const InterfaceShape shape{"ServiceProviderInterface",
                                    shape::MakeSyntax("b9730071-b03f-42b3-b002-2c3996f28928", 1, 0),
                                    tables::kServiceProvider};
  return shape;
}

const InterfaceShape& ServerAutoBindShape() noexcept {
  static const InterfaceShape shape{"ServerAutoBindInterface",
                                    shape::MakeSyntax("e02cd9b0-c582-4f18-946f-b62ee9560d27", 1, 0),
                                    tables::kServerAutoBind};
  return shape;
}

}  // namespace rdx::rpc
