#include "platform/services/ServiceState.h"

#include <algorithm>

namespace rdx::services {

std::uint32_t StateOf(const std::string& activeState, bool jobQueued) {
  if (activeState == "active" || activeState == "reloading") return kRunning;
  if (activeState == "activating") return kStartPending;
  if (activeState == "deactivating") return kStopPending;
  return jobQueued ? kStartPending : kStopped;
}

std::uint32_t PollIntervalMs(std::uint32_t waitHintMs) {
  return std::clamp<std::uint32_t>(waitHintMs / 10, 1000, 10000);
}

std::uint32_t WaitHintMs(std::uint64_t timeoutStartUSec) {
  return static_cast<std::uint32_t>(std::min<std::uint64_t>(timeoutStartUSec / 1000, 0xFFFFFFFF));
}

void WaitWhileStartPending(const StartProbe& probe, StartProbe::Status& status) {
  std::uint32_t startTick = probe.tickCount();
  std::uint32_t oldCheckPoint = status.checkPoint;
  while (status.state == kStartPending) {
    probe.sleepMs(PollIntervalMs(status.waitHintMs));
    if (!probe.query(status)) break;
    if (status.checkPoint > oldCheckPoint) {
      probe.log("The service is making progress...");
      startTick = probe.tickCount();
      oldCheckPoint = status.checkPoint;
    } else if (probe.tickCount() - startTick > status.waitHintMs) {
      probe.log("No progress made within the wait hint");
      break;
    }
  }
}

}  // namespace rdx::services
