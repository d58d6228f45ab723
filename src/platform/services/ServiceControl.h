#pragma once
// What a WinServiceManager's handle holds: the connection to a systemd manager and the unit
// folder of the same machine.

#include "platform/os/SystemdBus.h"
#include "platform/services/UnitStore.h"

#include <memory>

namespace rdx::services {

struct ServiceControl {
  std::unique_ptr<os::SystemdBus> bus;
  std::unique_ptr<UnitStore> store;
};

}  // namespace rdx::services
