// The module core's process-wide state, and the holder of the registrations the module keeps for
// the life of the process.
#pragma once

#include <atomic>
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "base/export.h"
#include "base/immortal.h"
#include "base/mutex.h"
#include "core/tl_event_listener.h"
#include "platform/registration.h"

namespace tl::core {

// One per process, never torn down: the module lives as long as the daemon's process.
struct CoreState {
  // Seconds per tick of the monotonic clock, 0 until first computed; a race computes it twice.
  std::atomic<double> secondsPerTick{0.0};
  // The hub, empty until the entry has run; it doubles as the entry's run-once guard.
  std::unique_ptr<TLEventListener> hub;
  // The thermal registration is made once per process, whatever the number of hubs.
  std::once_flag thermalOnce;
  // The thermal registration's token, kept for the life of the process like the registration.
  int32_t thermalToken = 0;
  // InMultiUserMode's answer once computed; unlocked, as every thread computes the same answer.
  std::atomic<bool> multiUserComputed{false};
  std::atomic<bool> multiUser{false};
  // TLContainerPath's answer once found (it points into containerPathText); a failed lookup is
  // not kept, so that the next call looks again.
  std::atomic<const char*> containerPath{nullptr};
  std::unique_ptr<const std::string> containerPathText;
  // Registrations made once and never cancelled: the thermal level, the session listener's
  // named notifications and schedule, the battery interest, low-power mode, the daily timers.
  Mutex keptLock;
  std::vector<std::unique_ptr<platform::Registration>> kept TL_GUARDED_BY(keptLock);
};

extern TL_HIDDEN constinit Immortal<CoreState> g_core;
inline CoreState& Core() { return g_core.value; }

// Keeps registration for the rest of the process; it is never cancelled.
void KeepForProcess(std::unique_ptr<platform::Registration> registration);

}  // namespace tl::core
