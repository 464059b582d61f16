// The holder of the registrations kept for the process.
#include "core/core_state.h"

namespace tl::core {

constinit Immortal<CoreState> g_core;

void KeepForProcess(std::unique_ptr<platform::Registration> registration) {
  if (!registration) return;
  CoreState& core = Core();
  MutexLock lock(core.keptLock);
  core.kept.push_back(std::move(registration));
}

}  // namespace tl::core
